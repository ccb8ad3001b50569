#include "model/securities_pass.h"

#include "base/format.h"
#include "base/numbers.h"
#include "base/token_view.h"

namespace qvant {

namespace {

using Conversion = Text (CExchangeTimes::*)(TextView strText, TextView strZone);

/// How each member with times is converted, in the order of `SecurityMember`.
constexpr std::array<Conversion, SECURITY_TIMES> CONVERSIONS = {
    &CExchangeTimes::ConvertSession,         // TradeTime
    &CExchangeTimes::ConvertSession,         // OpenCloseTime
    &CExchangeTimes::ConvertSession,         // Underlying.OpenCloseTime
    &CExchangeTimes::ConvertNewFormatOCT,    // NewFormatOCT
    &CExchangeTimes::ConvertSpecificOCT,     // SpecificOCT
    &CExchangeTimes::ConvertSingle,          // ResetTime
    &CExchangeTimes::ConvertSingle,          // ResetTime.UDHotMonth
    &CExchangeTimes::ConvertNewFormatReset,  // NewFormatReset
    &CExchangeTimes::ConvertSpecificReset,   // SpecificReset
    &CExchangeTimes::ConvertSingle           // SettlementTime
};

/// A weekly list without its weekday is none, and stays where it is.
bool IsConvertible(SecurityMember member, TextView strText) {
    const bool bWeekly = member == SecurityMember::NewFormatOCT || member == SecurityMember::NewFormatReset;
    return !strText.empty() && (!bWeekly || Contains(strText, u":"));
}

/// "HH:MM" to HHMM and two more digits.
Text PackTime(TextView strTime, TextView strSuffix) {
    int nPosition = 0;
    const int nHour = ToInt(NextTokenView(strTime, u":", nPosition));
    const TextView strMinute = NextTokenView(strTime, u":", nPosition);
    if (nHour < 0 || nHour > 99) return Format(u"%02d%s%s", nHour, strMinute, strSuffix);
    const char16_t arHour[] = {static_cast<char16_t>(u'0' + nHour / 10), static_cast<char16_t>(u'0' + nHour % 10)};
    return Text(arHour, 2).append(strMinute).append(strSuffix);
}

TextView GetToken(TextView strText, int nIndex) {
    int nPosition = 0;
    TextView strToken;
    for (int i = 0; i <= nIndex; ++i) strToken = NextTokenView(strText, u".", nPosition);
    return strToken;
}

}  // namespace

CSecuritiesPass::CSecuritiesPass(CSecuritiesParser& parser, CExchangeTimes& times, CBaseData& securityInfo)
    : m_parser(parser), m_times(times), m_infoUpdate(securityInfo) {
    m_infoUpdate.Clear(store::MASK_ROWS);
    m_infoUpdate.Clear(store::MASK_TABLES);
    m_infoUpdate.Clear(store::MASK_ALL);
}

void CSecuritiesPass::AddSecurity(TextView strKey, const JsonValue& value) {
    Security& security = AddToBatch();
    security.strKey = strKey;
    security.pValue = &value;
    security.bConverted = false;
    ++m_pBatch->nCount;
    security.strJson.clear();
    if (value.IsObject()) {
        security.members.Read(value);
        ReadZone(security.members);
        try {
            ConvertTimes(security);
        } catch (...) {
            FinishTables();
            throw;
        }
        WriteJson(security);
    } else {
        AppendJson(security.strJson, value);
    }
    security.bConverted = true;
    if (m_pBatch->nCount == Batch::MOST) HandOver();
}

CSecuritiesPass::Security& CSecuritiesPass::AddToBatch() {
    if (!m_pBatch) {
        m_pBatch = &m_arBatches[m_follower.GetPlace()];
        m_pBatch->nCount = 0;
    }
    if (m_pBatch->nCount == m_pBatch->arSecurities.size()) m_pBatch->arSecurities.emplace_back();
    return m_pBatch->arSecurities[m_pBatch->nCount];
}

void CSecuritiesPass::HandOver() {
    m_pBatch = nullptr;
    m_follower.HandOver();
}

void CSecuritiesPass::FinishTables() {
    if (m_pBatch) HandOver();
    m_follower.Finish();
}

void CSecuritiesPass::Commit() {
    CommitGroups();
    for (auto& [strGroup, group] : m_mapGroupTable) {
        if (!group.pTable) continue;
        m_infoUpdate.SetTable(strGroup, *group.pTable);
        group.pTable.reset();
    }
    m_mapGroupTable.clear();
    m_infoUpdate.Commit();
}

/// The groups' tables aren't anywhere to be found yet, so that it doesn't matter which of them is committed first.
void CSecuritiesPass::CommitGroups() {
    std::vector<GroupTable*> arGroups;
    for (auto& [strGroup, group] : m_mapGroupTable) {
        if (group.pTable) arGroups.push_back(&group);
    }
    const auto commit = [&arGroups](std::size_t i) { arGroups[i]->update->Commit(); };
    if (m_follower.IsShared()) return platform::ShareWork(arGroups.size(), commit);
    for (std::size_t i = 0; i < arGroups.size(); ++i) commit(i);
}

void CSecuritiesPass::ReadZone(const CSecurityMembers& members) {
    const TextView strTimeZone = members.GetText(SecurityMember::TimeZone);
    // Neighbours in the document mostly share their zone.
    if (strTimeZone == m_strTimeZone) return;
    m_strTimeZone = strTimeZone;
    const std::size_t nSlash = strTimeZone.find(u'/');
    m_strZone = ToUpper(nSlash == TextView::npos ? strTimeZone : strTimeZone.substr(nSlash + 1));
}

void CSecuritiesPass::ConvertTimes(Security& security) {
    for (auto& strConverted : security.arConverted) strConverted.reset();
    for (std::size_t i = 0; i < SECURITY_TIMES; ++i) {
        const auto member = static_cast<SecurityMember>(i);
        const TextView strText = security.members.GetText(member);
        if (IsConvertible(member, strText)) security.arConverted[i] = (m_times.*CONVERSIONS[i])(strText, m_strZone);
    }
}

/// Converted members stand behind those that came through untouched.
void CSecuritiesPass::WriteJson(Security& security) {
    Text& strJson = security.strJson;
    const auto AppendName = [&strJson](TextView strName) {
        strJson.push_back(strJson.empty() ? u'{' : u',');
        AppendJsonString(strJson, strName);
        strJson.push_back(u':');
    };
    const JsonValue& value = *security.pValue;
    std::size_t nMember = 0;
    for (auto pMember = value.MemberBegin(); pMember != value.MemberEnd(); ++pMember, ++nMember) {
        const auto nKind = static_cast<std::size_t>(security.members.GetKind(nMember));
        if (nKind < SECURITY_TIMES && security.arConverted[nKind]) continue;
        AppendName(GetText(pMember->name));
        AppendJson(strJson, pMember->value);
    }
    for (std::size_t i = 0; i < SECURITY_TIMES; ++i) {
        if (!security.arConverted[i]) continue;
        AppendName(GetMemberName(static_cast<SecurityMember>(i)));
        AppendJsonString(strJson, *security.arConverted[i]);
    }
    strJson.append(strJson.empty() ? u"{}" : u"}");
}

void CSecuritiesPass::FollowBatch(const Batch& batch) {
    for (std::size_t i = 0; i < batch.nCount; ++i) {
        const Security& security = batch.arSecurities[i];
        TakeKey(security.strKey);
        if (security.pValue->IsObject()) {
            NoteTimes(security);
            if (!security.bConverted) return;
            NoteNames(security.strKey, security.members);
            NoteRoutes(security.strKey, *security.pValue);
        }
        Store(security.strKey, security.strJson);
    }
}

void CSecuritiesPass::TakeKey(TextView strKey) {
    std::size_t nDots = 0;
    std::size_t nGroup = 0;
    bool bEmptyField = strKey.empty() || strKey.front() == u'.' || strKey.back() == u'.';
    for (std::size_t i = 0; i < strKey.size(); ++i) {
        if (strKey[i] != u'.') continue;
        bEmptyField |= i > 0 && strKey[i - 1] == u'.';
        if (++nDots == 3) nGroup = i;
    }
    // Nearly every key has its four parts and no more.
    const bool bPlain = nDots == 3 && !bEmptyField;
    m_strSecurityKey = bPlain ? strKey : TextView(GetSecurityKey(strKey));
    m_strGroup = bPlain ? strKey.substr(0, nGroup) : TextView(GetSecurityGroup(strKey));
}

void CSecuritiesPass::NoteTimes(const Security& security) {
    const auto GetConverted = [&security](SecurityMember member) -> const std::optional<Text>& {
        return security.arConverted[static_cast<std::size_t>(member)];
    };
    if (const auto& strSessions = GetConverted(SecurityMember::OpenCloseTime)) NoteSessions(*strSessions);
    if (const auto& strReset = GetConverted(SecurityMember::ResetTime)) NoteReset(*strReset);
}

void CSecuritiesPass::NoteSessions(TextView strSessions) {
    auto& setStarts = m_mapOpenTime[m_strGroup];
    for (int nPosition = 0;;) {
        TextView strSession = NextTokenView(strSessions, u";", nPosition);
        if (nPosition == -1) break;
        const TextView strStart = CutPiece(strSession, u'~');
        if (!setStarts.contains(strStart)) setStarts.emplace(strStart);
    }
    // Without any "~" the single time is the last close as well.
    const TextView strLastClose = strSessions.substr(strSessions.rfind(u'~') + 1);
    m_parser.m_mapCloseTime.insert_or_assign(m_strSecurityKey, PackTime(strLastClose, u"01"));
}

void CSecuritiesPass::NoteReset(TextView strReset) {
    if (strReset.empty()) return;
    m_parser.m_mapResetTime.SetAt(strReset, Text(strReset));
    m_parser.m_mapSymbolResetTime.Set(m_strSecurityKey, PackTime(strReset, u"00"));
}

void CSecuritiesPass::NoteNames(TextView strKey, const CSecurityMembers& members) {
    const TextView strPinyin = members.GetText(SecurityMember::Pinyin);
    if (!strPinyin.empty()) m_parser.m_mapPinyin.insert_or_assign(strKey, strPinyin);
    const TextView strMainType = members.GetText(SecurityMember::MainType);
    if (!strMainType.empty()) m_parser.m_mapMainType.insert_or_assign(strKey, strMainType);
}

void CSecuritiesPass::NoteRoutes(TextView strKey, const JsonValue& value) {
    m_arRoutes.clear();
    TextView strExchange;
    for (auto pMember = value.MemberBegin(); pMember != value.MemberEnd(); ++pMember) {
        const TextView strName = GetText(pMember->name);
        // Few names begin so; the first unit settles it for the others.
        if (strName.empty() || strName.front() != u'E' || !pMember->value.IsString()) continue;
        if (strName == u"EXG") strExchange = Trim(GetText(pMember->value), u"\"");
        if (strName.starts_with(u"EXG.")) m_arRoutes.push_back(GetToken(strName, 1));
    }
    if (strExchange.empty()) strExchange = GetToken(strKey, 2);
    if (strExchange.empty()) return;
    for (const TextView strRoute : m_arRoutes) AddRoute(strRoute, strExchange);
}

void CSecuritiesPass::AddRoute(TextView strRoute, TextView strExchange) {
    Text& strExchanges = m_mapOrder[strRoute];
    if (strExchanges.empty()) {
        strExchanges = strExchange;
    } else if (!Contains(strExchanges, strExchange)) {
        // A part of another exchange's name counts as being there, on purpose: the readers of the table search it so.
        strExchanges = Format(u"%s:%s", strExchange, strExchanges);
    }
}

void CSecuritiesPass::Store(TextView strKey, TextView strJson) {
    const auto [pGroup, bNew] = m_mapGroupTable.try_emplace(m_strGroup);
    if (bNew) m_infoUpdate.SetRow(m_nGroups++, m_strGroup);
    GroupTable& group = pGroup->second;
    if (!group.pTable) {
        group.pTable = CBaseData::CreateNew();
        if (!group.pTable) return;
        group.update.emplace(*group.pTable);
    }
    group.update->SetValue(strKey, strJson);
}

}  // namespace qvant
