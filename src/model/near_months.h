/// The near months: the first two months of each product, in the order of the files.
#pragma once

#include <unordered_map>

#include "model/contract_symbol.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// Belongs to the thread of the pass.
class CNearMonths {
public:
    /// Gives the contract's month a near symbol, as long as its product has one left. Stocks and placeholder months
    /// have none.
    /// @param mapSymbolToNear  first five parts of a contract to its near symbol
    void Add(const ContractSymbol& symbol, TextMap& mapSymbolToNear);
    void Clear();

private:
    using FrontList = std::unordered_map<Text, int, TextHash, std::equal_to<>>;
    int& FindCount(TextView strProductKey);

    FrontList m_mapFrontList;                  ///< product to the number of near symbols handed out
    FrontList::value_type* m_pLast = nullptr;  ///< the product that was asked for last: a leaf asks for one many times
};

}  // namespace qvant
