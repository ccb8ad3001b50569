/// From the contract list files to everything that is asked of a contract: names, months, expiry, margins, the pickers'
/// tree and the rows of the search database.
#pragma once

#include <vector>

#include "base/text.h"
#include "model/cffex_contracts.h"
#include "model/contract_rows.h"
#include "model/json_document.h"
#include "model/near_months.h"
#include "model/run_state.h"
#include "model/underlying_lists.h"
#include "store/base_data.h"
#include "store/host.h"
#include "symbols/local_exchanges.h"
#include "symbols/symbol_grammar.h"
#include "symbols/symbol_table.h"

namespace qvant {

/// What the builder works with; all outlive it.
struct ContractBuilderParts {
    IHost& host;
    const RunState& state;          ///< language and permitted exchanges
    const CUnderlyingLists& lists;  ///< product names and "SetPRIADJ"
    const SymbolWords& words;
    const CLocalExchanges& localExchanges;  ///< asked anew for each file: the start fills them while a first load runs
};

/// Owned by the service; a pass runs on one thread, which alone writes the results while it runs. They are read by
/// those who come after the pass.
class CContractBuilder {
public:
    explicit CContractBuilder(const ContractBuilderParts& parts) : m_parts(parts) {}

    /// Empties all results but the list of changed classifications. Called once before the first file of a pass.
    void Clear();

    /// Adds the contracts of one file. A text that is no JSON object adds nothing and says nothing.
    /// @param strText            the whole file
    /// @param pHotMonth          open update of "HOTMONTHTABLE"; null when the host has no such table
    /// @param pNearbyMonth       open update of "NearbyMonth"; likewise
    /// @param strClassification  name of the classification, as in the name of its file
    /// @param strClassifyText    in and out: "name,local name|" of every file so far
    void MakeContractList(TextView strText, CTransaction* pHotMonth, CTransaction* pNearbyMonth,
                          TextView strClassification, Text& strClassifyText);
    /// The same for a file that `ParseContractFile` has read.
    void MakeContractList(const JsonValue& file, CTransaction* pHotMonth, CTransaction* pNearbyMonth,
                          TextView strClassification, Text& strClassifyText);

    /// Adds a symbol to `m_arAllContract`, for the pass that runs.
    void AddContract(TextView strSymbol) { AddContract(m_symbols.Enter(strSymbol)); }
    void AddContract(CSymbolTable::Row row) { m_arAllContract.push_back(m_symbols.GetSymbol(row)); }

    CSymbolTable m_symbols;  ///< what the columns below belong to, and the other lists borrow their symbols from
    std::vector<TextView> m_arAllContract;  ///< the search list: contracts, hot symbols, synthetic underlyings
    CContractRows m_arContractInsertData;   ///< rows of "ContractList", without their timestamp
    CSymbolColumn m_mapSymbolToName{m_symbols, 0};
    CSymbolColumn m_mapSynuSymbolToName{m_symbols, 1};  ///< synthetic underlying to display name
    CSymbolColumn m_mapExpireDate{m_symbols, 2};
    CSymbolColumn m_mapLongMargin{m_symbols, 3};
    CSymbolColumn m_mapShortMargin{m_symbols, 4};
    CSymbolColumn m_mapSymbolToHot{m_symbols, 5};         ///< contract to its hot symbol
    CSymbolColumn m_mapSymbolToInstrument{m_symbols, 6};  ///< symbol to instrument text
    TextMap m_mapSymbolToNear;                            ///< first five parts of a contract to its near symbol
    TextMap m_mapContractListName;                        ///< English path to the pickers' text
    std::vector<Text> m_listChangedClassification;        ///< not empty: only these classifications add new contracts

private:
    void Reserve(std::size_t nContracts);

    const ContractBuilderParts m_parts;
    CNearMonths m_nearMonths;
    CCffexContracts m_cffex;
};

}  // namespace qvant
