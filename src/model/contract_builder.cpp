#include "model/contract_builder.h"

#include <algorithm>
#include <utility>

#include "model/contract_file.h"
#include "model/contract_walk.h"

namespace qvant {

void CContractBuilder::Clear() {
    m_arAllContract.clear();
    m_arContractInsertData.clear();
    m_symbols.Clear();
    m_mapSymbolToNear.clear();
    m_mapContractListName.clear();
    m_nearMonths.Clear();
    m_cffex.Clear();
}

/// Makes room for the contracts of one more file, so that a large one doesn't move what is there again and again.
void CContractBuilder::Reserve(std::size_t nContracts) {
    m_symbols.Reserve(m_symbols.GetSize() + nContracts);
    const auto Reserve = [nContracts](auto& list) {
        const std::size_t nSize = list.size() + nContracts;
        if (nSize > list.capacity()) list.reserve(std::max(nSize, 2 * list.capacity()));
    };
    Reserve(m_arAllContract);
    Reserve(m_arContractInsertData);
}

void CContractBuilder::MakeContractList(TextView strText, CTransaction* pHotMonth, CTransaction* pNearbyMonth,
                                        TextView strClassification, Text& strClassifyText) {
    JsonDocument file;
    ParseContractFile(file, strText);
    MakeContractList(file, pHotMonth, pNearbyMonth, strClassification, strClassifyText);
}

void CContractBuilder::MakeContractList(const JsonValue& file, CTransaction* pHotMonth, CTransaction* pNearbyMonth,
                                        TextView strClassification, Text& strClassifyText) {
    auto pRoot = MakeRootNode(file, strClassification, m_parts.state.AppsLanguage);
    if (!pRoot) return;
    AppendAll(strClassifyText, {pRoot->strEng, u",", pRoot->strLocal, u"|"});
    Reserve(CountContracts(file));
    m_cffex.BeginFile();
    CContractRecorder recorder(m_parts, {*this, m_nearMonths, m_cffex, pHotMonth}, strClassification);
    CContractWalk(recorder, m_mapContractListName, m_parts.state, strClassification).Walk(std::move(pRoot));
    recorder.Commit();
    if (pNearbyMonth) m_cffex.WriteNearbyMonth(*pNearbyMonth);
}

}  // namespace qvant
