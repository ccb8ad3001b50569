/// From the files of the contract lists to the contract tables and the shared block.
#include "documents/contract_list_block.h"
#include "documents/contract_list_document.h"
#include "documents/contract_list_name.h"
#include "documents/contract_list_reader.h"
#include "documents/text_archive.h"
#include "platform/stop.h"

namespace qvant {

namespace {

using Change = std::optional<CTransaction>;

Change BeginEmptied(CBaseData* pTable) {
    Change change;
    if (!pTable) return change;
    change.emplace(*pTable);
    change->Clear(store::MASK_VALUES);
    return change;
}

void Commit(Change& change) {
    if (change) change->Commit();
}

CTransaction* Borrow(Change& change) { return change ? &*change : nullptr; }

}  // namespace

void CContractListDocument::LoadContractList(const ContractListTables& tables, bool bKeep) {
    m_parts.host.LogMessage(u"LoadContractList-Start");
    ClearResults(bKeep);
    Change name = BeginEmptied(tables.pContractListName);
    Text strClassifyText;
    bool bAllRead = true;
    if (!BuildTables(tables, strClassifyText, bAllRead)) return GiveUp();
    PublishNames(name);
    Finish(tables.pContractList, strClassifyText);
    m_parts.host.LogMessage(u"LoadContractList-End");
    if (!bAllRead) m_parts.errors.PostMsg(CErrorReport::NO_CONTRACT_FILE, u"");
    m_parts.builder.m_mapContractListName.clear();
    // Until here a reader that took the old name from the store could still open the old block.
    RetireBlock();
}

void CContractListDocument::ClearResults(bool bKeep) {
    CContractBuilder& builder = m_parts.builder;
    if (bKeep) {
        builder.m_arContractInsertData.clear();
        builder.m_mapContractListName.clear();
        return;
    }
    builder.Clear();
    builder.m_listChangedClassification.clear();
}

/// @return false when a stop cut the reading short
bool CContractListDocument::BuildTables(const ContractListTables& tables, Text& strClassifyText, bool& bAllRead) {
    Change hotMonth = BeginEmptied(tables.pHotMonth);
    Change nearbyMonth = BeginEmptied(tables.pNearbyMonth);
    if (!ReadLists(hotMonth, nearbyMonth, strClassifyText, bAllRead)) return false;
    Commit(nearbyMonth);
    Commit(hotMonth);
    if (!m_parts.state.m_arClassification.empty()) {
        m_parts.storage.StoreMarginRates(m_parts.builder.m_mapLongMargin, m_parts.builder.m_mapShortMargin);
    }
    return true;
}

/// @param bAllRead  out: false when a file couldn't be read
/// @return false when a stop cut the reading short
bool CContractListDocument::ReadLists(Change& hotMonth, Change& nearbyMonth, Text& strClassifyText, bool& bAllRead) {
    // A copy: the host may sign in anew from inside a log line.
    const auto arClassification = m_parts.state.m_arClassification;
    std::vector<Text> arPaths;
    for (const Text& strEntry : arClassification) {
        const ContractListName name(strEntry);
        arPaths.push_back(name.IsUsable() ? GetPath(name.strName) : Text());
    }
    CContractListReader reader(std::move(arPaths));
    for (const Text& strEntry : arClassification) {
        if (platform::StopRequested()) return false;
        const ContractListName name(strEntry);
        const Text strPath = GetPath(name.strName);
        if (const JsonValue* const pList = reader.ReadNext()) {
            m_parts.builder.MakeContractList(*pList, Borrow(hotMonth), Borrow(nearbyMonth), name.strName,
                                             strClassifyText);
        } else {
            m_parts.host.LogMessage(u"LoadContractList open file fail:" + strPath);
            bAllRead = false;
        }
        m_parts.host.LogMessage(u"LoadContractList-" + name.strName);
    }
    return true;
}

/// The tables stand as they were, and what was built of the lists goes with the load. So that nobody takes the empty
/// model for a current one, no classification counts as applied: the next sign-in loads.
void CContractListDocument::GiveUp() {
    m_parts.builder.Clear();
    m_parts.state.m_strClassification.clear();
}

/// A block that couldn't be made is published all the same: readers find none, and know that there is no list.
void CContractListDocument::PublishNames(Change& name) {
    const CTextMap& map = m_parts.builder.m_mapContractListName;
    const std::size_t nSize = MeasureArchive(map);
    ContractListBlock block = MakeContractListBlock(m_parts.host, m_parts.clock, this, nSize,
                                                    [&map](char* pBytes) { WriteArchive(map, pBytes); });
    if (name) {
        name->SetValue(u"ContractListName", block.strName);
        name->SetNumber(u"ContractListNameLen", static_cast<std::int32_t>(nSize));
        name->Commit();
    }
    if (m_hContractListMapping) RetireBlock();  // of a load that a failure broke off behind this point
    m_hContractListMapping = std::move(block.pMemory);
}

void CContractListDocument::Finish(CBaseData* pContractList, TextView strClassifyText) {
    const RunState& state = m_parts.state;
    Change list;
    if (pContractList) {
        list.emplace(*pContractList);
        list->SetValue(u"CLASSIFY", ToUpper(TrimRight(strClassifyText, u"|")));
    }
    if (state.m_bFirstSymbolBuild) {
        Commit(list);
        // The first load leaves the symbols to the sign-in, and the rolls, whose servers nobody has named yet.
        if (state.m_bPreProcessing) return;
        RefreshSymbols(true);
    } else {
        // A reader of the table sees the new classifications only when their symbols are ready.
        RefreshSymbols(false);
        Commit(list);
    }
    m_calls.armRequery();
}

/// @param bLoadAlways  loads the stock limits even if there are no new ones
void CContractListDocument::RefreshSymbols(bool bLoadAlways) {
    if (platform::StopRequested()) return;
    const bool bNews = m_calls.queryStkInfo();
    if (platform::StopRequested()) return;
    if (bNews || bLoadAlways) m_calls.loadStkInfo();
    m_calls.makeSymbolLookupList();
}

void CContractListDocument::RetireBlock() { m_hContractListMappingOld = std::move(m_hContractListMapping); }

void CContractListDocument::CloseBlock() {
    m_hContractListMapping.reset();
    m_hContractListMappingOld.reset();
}

}  // namespace qvant
