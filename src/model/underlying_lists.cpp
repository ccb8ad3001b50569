#include "model/underlying_lists.h"

#include <array>
#include <optional>
#include <utility>

#include "base/format.h"
#include "base/token_view.h"
#include "platform/two_threads.h"

namespace qvant {

namespace {

/// Enters a member's value; an absent or empty one leaves no trace.
void EnterValue(TextMap& map, TextView strKey, TextView strValue) {
    if (!strValue.empty()) map.insert_or_assign(strKey, strValue);
}

bool IsOption(TextView strKey) { return Contains(strKey, u"QV.O"); }

}  // namespace

/// Reads the securities of one group after another and hands them over to be taken apart and entered.
class CUnderlyingLists::CReader {
public:
    CReader(CUnderlyingLists& lists, TextView strNameField)
        : m_lists(lists), m_arNames{strNameField, u"Underlying", u"Underlying.F", u"OptionStyle", u"SetPRIADJ"} {}

    void ReadGroup(const CBaseData& group);
    /// @return whether there was enough to read for a second thread
    bool Finish();

private:
    static constexpr std::size_t PLACES = 4;

    void ReadSecurity(const CBaseData& group, TextView strKey);
    void HandOver();
    void EnterBatch(Batch& batch);

    CUnderlyingLists& m_lists;
    const std::array<TextView, FIELDS> m_arNames;
    std::array<Batch, PLACES> m_arBatches;
    Batch* m_pBatch = nullptr;    ///< the one that is being filled
    std::vector<Text> m_arTexts;  ///< the members of the security that is taken apart
    platform::CFollower m_follower{"MakeLists", PLACES,
                                   [this](std::size_t nPlace) { EnterBatch(m_arBatches[nPlace]); }};
};

void CUnderlyingLists::CReader::ReadGroup(const CBaseData& group) {
    std::optional<Text> strKeys = group.GetKeys();
    if (!strKeys) return;
    // The store marks each key with "T:". It goes wherever it stands, inside a key as well.
    ReplaceAll(*strKeys, u"T:", u"");
    for (int nPosition = 0;;) {
        const TextView strKey = NextTokenView(*strKeys, u";", nPosition);
        if (nPosition == -1) return;
        ReadSecurity(group, strKey);
    }
}

void CUnderlyingLists::CReader::ReadSecurity(const CBaseData& group, TextView strKey) {
    if (!m_pBatch) {
        m_pBatch = &m_arBatches[m_follower.GetPlace()];
        m_pBatch->nCount = 0;
    }
    if (m_pBatch->nCount == m_pBatch->arSecurities.size()) m_pBatch->arSecurities.emplace_back();
    Security& security = m_pBatch->arSecurities[m_pBatch->nCount];
    security.strKey = strKey;
    security.value = group.GetVariant(strKey);
    if (++m_pBatch->nCount == Batch::MOST) HandOver();
}

void CUnderlyingLists::CReader::EnterBatch(Batch& batch) {
    for (std::size_t i = 0; i < batch.nCount; ++i) {
        auto& [strKey, value] = batch.arSecurities[i];
        // Members that the class has no use for stand at the end of the list, and aren't asked for.
        const std::size_t nAsked = IsOption(strKey) ? FIELDS : UNDERLYING + 1;
        CBaseData::PickJsonFields(value, std::span(m_arNames).first(nAsked), m_arTexts);
        m_lists.Enter(strKey, m_arTexts);
    }
}

void CUnderlyingLists::CReader::HandOver() {
    m_pBatch = nullptr;
    m_follower.HandOver();
}

bool CUnderlyingLists::CReader::Finish() {
    if (m_pBatch) HandOver();
    m_follower.Finish();
    return m_follower.IsShared();
}

void CUnderlyingLists::MakeUnderlyingList(const UnderlyingTables& tables, TextView strLanguage) {
    m_host.LogMessage(u"MakeUnderlyingList-Start");
    Clear();
    const std::int32_t nGroups = tables.pSecurityInfo ? tables.pSecurityInfo->GetCount() : 0;
    const Text strNameField = Format(u"Name.%s", strLanguage);
    CReader reader(*this, strNameField);
    for (std::int32_t i = 0; i < nGroups; ++i) {
        const auto pGroup = tables.pSecurityInfo->GetSubTable(tables.pSecurityInfo->GetKeyAt(i), nullptr);
        if (pGroup) reader.ReadGroup(*pGroup);
    }
    Publish(tables, reader.Finish());
    m_host.LogMessage(Format(u"MakeUnderlyingList-End:%ld", nGroups));
}

void CUnderlyingLists::Clear() {
    for (auto* pMap :
         {&m_mapSecurityName, &m_mapUnderlying, &m_mapUnderlyingF, &m_mapOptionStyle, &m_mapOptionSetPriAdj}) {
        pMap->clear();
    }
}

void CUnderlyingLists::Enter(TextView strKey, const std::vector<Text>& arTexts) {
    EnterValue(m_mapSecurityName, strKey, arTexts[NAME]);
    if (!Contains(strKey, u"QV.S.")) EnterValue(m_mapUnderlying, strKey, arTexts[UNDERLYING]);
    if (!IsOption(strKey)) return;
    EnterValue(m_mapUnderlyingF, strKey, arTexts[UNDERLYING_F]);
    if (!arTexts[OPTION_STYLE].empty()) {
        EnterValue(m_mapOptionStyle, strKey, arTexts[OPTION_STYLE] == u"American" ? u"1" : u"0");
    }
    EnterValue(m_mapOptionSetPriAdj, strKey, arTexts[SET_PRI_ADJ]);
}

/// Fills the updates side by side; the tables change one after another.
void CUnderlyingLists::Publish(const UnderlyingTables& tables, bool bShared) const {
    const std::array<std::pair<CBaseData*, const TextMap*>, 3> arLists = {{{tables.pUnderlyingList, &m_mapUnderlying},
                                                                           {tables.pUnderlyingFList, &m_mapUnderlyingF},
                                                                           {tables.pOptionStyle, &m_mapOptionStyle}}};
    std::array<std::optional<CTransaction>, arLists.size()> arUpdates;
    const auto fill = [&](std::size_t i) {
        const auto& [pTable, pMap] = arLists[i];
        if (!pTable) return;
        CTransaction& update = arUpdates[i].emplace(*pTable);
        update.Clear(store::MASK_VALUES);
        for (const auto& [strKey, strValue] : *pMap) update.SetValue(strKey, strValue);
    };
    if (bShared) platform::ShareWork(arLists.size(), fill);
    for (std::size_t i = 0; i < arLists.size(); ++i) {
        if (!bShared) fill(i);
        if (arUpdates[i]) arUpdates[i]->Commit();
    }
}

}  // namespace qvant
