#include "model/underlying_lists.h"

#include <array>

#include "base/format.h"
#include "base/token_view.h"

namespace qvant {

namespace {

/// Enters a member's value; an absent or empty one leaves no trace.
void Enter(TextMap& map, TextView strKey, TextView strValue) {
    if (!strValue.empty()) map.insert_or_assign(strKey, strValue);
}

void Publish(CBaseData* pTable, const TextMap& map) {
    if (!pTable) return;
    CTransaction transaction(*pTable);
    transaction.Clear(store::MASK_VALUES);
    for (const auto& [strKey, strValue] : map) transaction.SetValue(strKey, strValue);
    transaction.Commit();
}

}  // namespace

void CUnderlyingLists::MakeUnderlyingList(const UnderlyingTables& tables, TextView strLanguage) {
    m_host.LogMessage(u"MakeUnderlyingList-Start");
    Clear();
    const std::int32_t nGroups = tables.pSecurityInfo ? tables.pSecurityInfo->GetCount() : 0;
    const Text strNameField = Format(u"Name.%s", strLanguage);
    for (std::int32_t i = 0; i < nGroups; ++i) {
        const auto pGroup = tables.pSecurityInfo->GetSubTable(tables.pSecurityInfo->GetKeyAt(i), nullptr);
        if (pGroup) ReadGroup(*pGroup, strNameField);
    }
    Publish(tables.pUnderlyingList, m_mapUnderlying);
    Publish(tables.pUnderlyingFList, m_mapUnderlyingF);
    Publish(tables.pOptionStyle, m_mapOptionStyle);
    m_host.LogMessage(Format(u"MakeUnderlyingList-End:%ld", nGroups));
}

void CUnderlyingLists::Clear() {
    for (auto* pMap :
         {&m_mapSecurityName, &m_mapUnderlying, &m_mapUnderlyingF, &m_mapOptionStyle, &m_mapOptionSetPriAdj}) {
        pMap->clear();
    }
}

void CUnderlyingLists::ReadGroup(const CBaseData& group, TextView strNameField) {
    std::optional<Text> strKeys = group.GetKeys();
    if (!strKeys) return;
    // The store marks each key with "T:". It goes wherever it stands, inside a key as well.
    ReplaceAll(*strKeys, u"T:", u"");
    for (int nPosition = 0;;) {
        const TextView strKey = NextTokenView(*strKeys, u";", nPosition);
        if (nPosition == -1) return;
        ReadSecurity(group, strKey, strNameField);
    }
}

void CUnderlyingLists::ReadSecurity(const CBaseData& group, TextView strKey, TextView strNameField) {
    enum Field { NAME, UNDERLYING, UNDERLYING_F, OPTION_STYLE, SET_PRI_ADJ, FIELDS };
    const std::array<TextView, FIELDS> arNames = {strNameField, u"Underlying", u"Underlying.F", u"OptionStyle",
                                                  u"SetPRIADJ"};
    const bool bOption = Contains(strKey, u"QV.O");
    // Members that the class has no use for stand at the end of the list, and aren't asked for.
    const std::size_t nAsked = bOption ? FIELDS : UNDERLYING + 1;
    group.GetJsonFields(strKey, std::span(arNames).first(nAsked), m_arTexts);
    Enter(m_mapSecurityName, strKey, m_arTexts[NAME]);
    if (!Contains(strKey, u"QV.S.")) Enter(m_mapUnderlying, strKey, m_arTexts[UNDERLYING]);
    if (!bOption) return;
    Enter(m_mapUnderlyingF, strKey, m_arTexts[UNDERLYING_F]);
    if (!m_arTexts[OPTION_STYLE].empty()) {
        Enter(m_mapOptionStyle, strKey, m_arTexts[OPTION_STYLE] == u"American" ? u"1" : u"0");
    }
    Enter(m_mapOptionSetPriAdj, strKey, m_arTexts[SET_PRI_ADJ]);
}

}  // namespace qvant
