/// The months of the exchange CFFEX that "NearbyMonth" shows.
#pragma once

#include <vector>

#include "model/contract_symbol.h"
#include "store/base_data.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// Remembers what it has seen across the files of a pass; belongs to the pass's thread.
class CCffexContracts {
public:
    void Clear();
    void BeginFile();
    /// Looks at a contract of any exchange.
    void Add(const ContractSymbol& symbol);
    /// Writes what is new since `BeginFile`: the futures, and the options whose month a future of any file has.
    void WriteNearbyMonth(CTransaction& nearbyMonth) const;

private:
    TextSet MakeOptionRoots() const;

    CAcceptedContracts m_listCffexFuture;
    TextSet m_listCffexOption;
    // Of this file; each lies in one of the lists above.
    std::vector<const Text*> m_arNearbyFutures;
    std::vector<const Text*> m_arNearbyOptions;
};

}  // namespace qvant
