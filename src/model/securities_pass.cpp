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

void CSecuritiesPass::AddSecurity(TextView strKey, const JsonValue& security) {
    TakeKey(strKey);
    m_strJson.clear();
    if (security.IsObject()) {
        m_members.Read(security);
        ReadZone();
        ConvertTimes();
        NoteNames(strKey);
        NoteRoutes(strKey, security);
        WriteJson(security);
    } else {
        AppendJson(m_strJson, security);
    }
    Store(strKey);
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

void CSecuritiesPass::Commit() {
    for (auto& [strGroup, group] : m_mapGroupTable) {
        if (!group.pTable) continue;
        group.update->Commit();
        m_infoUpdate.SetTable(strGroup, *group.pTable);
        group.pTable.reset();
    }
    m_mapGroupTable.clear();
    m_infoUpdate.Commit();
}

void CSecuritiesPass::ReadZone() {
    const TextView strTimeZone = m_members.GetText(SecurityMember::TimeZone);
    // Neighbours in the document mostly share their zone.
    if (strTimeZone == m_strTimeZone) return;
    m_strTimeZone = strTimeZone;
    const std::size_t nSlash = strTimeZone.find(u'/');
    m_strZone = ToUpper(nSlash == TextView::npos ? strTimeZone : strTimeZone.substr(nSlash + 1));
}

void CSecuritiesPass::ConvertTimes() {
    for (std::size_t i = 0; i < SECURITY_TIMES; ++i) {
        const auto member = static_cast<SecurityMember>(i);
        const TextView strText = m_members.GetText(member);
        m_arConverted[i].reset();
        if (!IsConvertible(member, strText)) continue;
        const Text& strConverted = m_arConverted[i].emplace((m_times.*CONVERSIONS[i])(strText, m_strZone));
        if (member == SecurityMember::OpenCloseTime) NoteSessions(strConverted);
        if (member == SecurityMember::ResetTime) NoteReset(strConverted);
    }
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
    m_parser.m_mapResetTime.insert_or_assign(strReset, strReset);
    m_parser.m_mapSymbolResetTime.insert_or_assign(m_strSecurityKey, PackTime(strReset, u"00"));
}

void CSecuritiesPass::NoteNames(TextView strKey) {
    const TextView strPinyin = m_members.GetText(SecurityMember::Pinyin);
    if (!strPinyin.empty()) m_parser.m_mapPinyin.insert_or_assign(strKey, strPinyin);
    const TextView strMainType = m_members.GetText(SecurityMember::MainType);
    if (!strMainType.empty()) m_parser.m_mapMainType.insert_or_assign(strKey, strMainType);
}

void CSecuritiesPass::NoteRoutes(TextView strKey, const JsonValue& security) {
    m_arRoutes.clear();
    TextView strExchange;
    for (auto pMember = security.MemberBegin(); pMember != security.MemberEnd(); ++pMember) {
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

/// Converted members stand behind those that came through untouched.
void CSecuritiesPass::WriteJson(const JsonValue& security) {
    const auto AppendName = [this](TextView strName) {
        m_strJson.push_back(m_strJson.empty() ? u'{' : u',');
        AppendJsonString(m_strJson, strName);
        m_strJson.push_back(u':');
    };
    std::size_t nMember = 0;
    for (auto pMember = security.MemberBegin(); pMember != security.MemberEnd(); ++pMember, ++nMember) {
        const auto nKind = static_cast<std::size_t>(m_members.GetKind(nMember));
        if (nKind < SECURITY_TIMES && m_arConverted[nKind]) continue;
        AppendName(GetText(pMember->name));
        AppendJson(m_strJson, pMember->value);
    }
    for (std::size_t i = 0; i < SECURITY_TIMES; ++i) {
        if (!m_arConverted[i]) continue;
        AppendName(GetMemberName(static_cast<SecurityMember>(i)));
        AppendJsonString(m_strJson, *m_arConverted[i]);
    }
    m_strJson.append(m_strJson.empty() ? u"{}" : u"}");
}

void CSecuritiesPass::Store(TextView strKey) {
    const auto [pGroup, bNew] = m_mapGroupTable.try_emplace(m_strGroup);
    if (bNew) m_infoUpdate.SetRow(m_nGroups++, m_strGroup);
    GroupTable& group = pGroup->second;
    if (!group.pTable) {
        group.pTable = CBaseData::CreateNew();
        if (!group.pTable) return;
        group.update.emplace(*group.pTable);
    }
    group.update->SetValue(strKey, m_strJson);
}

}  // namespace qvant
