/// What one contract of a contract list file leaves behind.
#pragma once

#include <memory>
#include <optional>

#include "model/cffex_contracts.h"
#include "model/contract_builder.h"
#include "model/contract_node.h"
#include "model/contract_symbol.h"
#include "model/near_months.h"

namespace qvant {

/// What the recorder fills; all outlive it.
struct ContractResults {
    CContractBuilder& maps;
    CNearMonths& nearMonths;
    CCffexContracts& cffex;
    CTransaction* pHotMonth;  ///< open update of "HOTMONTHTABLE", or null
};

/// One for each file. Its texts and nodes outlive it.
class CContractRecorder {
public:
    CContractRecorder(const ContractBuilderParts& parts, const ContractResults& results, TextView strClassification);

    /// Records the contracts of a leaf, in their order.
    /// @param strPath     English path of the leaf
    /// @param strHotWord  "HOT" or "HOT2", or empty when the leaf holds plain months
    void RecordLeaf(const stcContractListNode& leaf, TextView strPath, TextView strHotWord);
    /// The permitted contracts of the last leaf: "symbol,name|".
    const Text& GetLeafList() const { return m_strLeafList; }
    /// The products of the stocks of the last leaf: "product|".
    const Text& GetInstrumentList() const { return m_strInstrumentList; }

    /// Publishes the expiry dates. Without it they are given up.
    void Commit();

private:
    void Record(const stcContractListNode& leaf, std::size_t nIndex);
    void AddHot(const ContractSymbol& symbol);
    void AddHotPair(TextView strContract, TextView strHot);
    bool EnterName(CSymbolTable::Row row);
    void EnterDetails(const ContractSymbol& symbol, CSymbolTable::Row row, const stcContractListNode& leaf,
                      std::size_t nIndex);
    void EnterExpiry(CSymbolTable::Row row, TextView strExpiry);
    void AddSyntheticUnderlying(const ContractSymbol& symbol, TextView strExpiry);
    bool IsPermitted(const ContractSymbol& symbol);
    void AddInstrument(const ContractSymbol& symbol, CSymbolTable::Row row, TextView strInstrument);

    const ContractBuilderParts& m_parts;
    CContractBuilder& m_maps;
    CNearMonths& m_nearMonths;
    CCffexContracts& m_cffex;
    CTransaction* m_pHotMonth;
    const NameSources m_names;
    const bool m_bAddsNew;  ///< whether this classification may add contracts that no other has shown

    std::unique_ptr<CBaseData> m_pExpireDate;
    std::optional<CTransaction> m_expireDate;  ///< opened with the table, at the first expiry
    TextSet m_mapHotSeen;                      ///< hot option classes of this file
    TextView m_strLastSeries;                  ///< exchange, product and month of the last option

    Text m_strRowStart;  ///< what the rows of the classification begin with
    TextView m_strHotWord;
    Text m_strName;
    Text m_strKey;
    Text m_strLeafList;
    Text m_strInstrumentList;
};

}  // namespace qvant
