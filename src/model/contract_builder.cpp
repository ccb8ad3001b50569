#include "model/contract_builder.h"

#include <cstdint>
#include <limits>

#include "model/contract_walk.h"

namespace qvant {

namespace {

/// Reads a file's text. @return false when it isn't JSON
bool Parse(TextView strText, CJsonValue& file) {
    constexpr auto MOST_UNITS = static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max());
    return strText.size() <= MOST_UNITS &&
           ParseValue(file, strText.data(), static_cast<std::int32_t>(strText.size())) > 0;
}

}  // namespace

void CContractBuilder::Clear() {
    m_arAllContract.clear();
    m_arContractInsertData.clear();
    for (auto* pMap :
         {&m_mapSymbolToName, &m_mapSynuSymbolToName, &m_mapExpireDate, &m_mapLongMargin, &m_mapShortMargin,
          &m_mapSymbolToHot, &m_mapSymbolToNear, &m_mapSymbolToInstrument, &m_mapContractListName}) {
        pMap->clear();
    }
    m_nearMonths.Clear();
    m_cffex.Clear();
}

void CContractBuilder::MakeContractList(TextView strText, CTransaction* pHotMonth, CTransaction* pNearbyMonth,
                                        TextView strClassification, Text& strClassifyText) {
    CJsonValue file;
    if (!Parse(strText, file)) return;
    auto pRoot = MakeRootNode(file, strClassification, m_parts.state.AppsLanguage);
    if (!pRoot) return;
    AppendAll(strClassifyText, {pRoot->strEng, u",", pRoot->strLocal, u"|"});
    m_cffex.BeginFile();
    CContractRecorder recorder(m_parts, {*this, m_nearMonths, m_cffex, pHotMonth}, strClassification);
    CContractWalk(recorder, m_mapContractListName, m_parts.state, strClassification).Walk(std::move(pRoot));
    recorder.Commit();
    if (pNearbyMonth) m_cffex.WriteNearbyMonth(*pNearbyMonth);
}

}  // namespace qvant
