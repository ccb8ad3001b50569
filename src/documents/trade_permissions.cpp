#include "documents/trade_permissions.h"

#include <cstring>

#include "base/split.h"
#include "base/token_view.h"
#include "net/http_query.h"
#include "net/url_list.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr const char16_t* ALL_APPS = u"AllAppsTrade";
constexpr const char16_t* BLANKS = u" \t\r\n\v\f";

/// The names of a group's members, each followed by ";"; what they stand for doesn't matter.
Text JoinNames(const CJsonValue& group) {
    Text strNames;
    if (const auto* pMembers = group.Get<CJsonValue::Object>()) {
        for (const auto& [strName, pValue] : *pMembers) strNames.append(strName).append(u";");
    }
    return strNames;
}

}  // namespace

Text CutPermissionDocument(TextView strReply) {
    Text strDocument(strReply);
    const std::size_t nWord = strDocument.find(u"\"QVANT\"");
    if (nWord != Text::npos && nWord > 0) strDocument.replace(0, nWord, u"{");
    const std::size_t nFirst = strDocument.find(u'{');
    if (nFirst != Text::npos) strDocument.erase(0, nFirst);
    const std::size_t nLast = strDocument.rfind(u'}');
    if (nLast != Text::npos) strDocument.resize(nLast + 1);
    return strDocument;
}

void CTradePermissions::QueryAppsTradePermission(TextView strURLs) {
    m_parts.host.LogMessage(u"QueryAppsTradePermission-Start");
    CJsonValue document;
    Text strError;
    const auto ask = [&](const Text& strUrl) { return AskUrl(strUrl, document, strError); };
    const bool bReceived = AskInTurn(SplitTokens(strURLs, u"|"), ask).has_value();
    if (platform::StopRequested()) return;
    if (bReceived && !Publish(document)) return;
    m_parts.host.LogMessage(u"QueryAppsTradePermission-End");
    m_parts.errors.PostErrorMsg(strError);
}

bool CTradePermissions::AskUrl(const Text& strUrl, CJsonValue& document, Text& strError) {
    IHost& host = m_parts.host;
    strError.clear();
    host.LogMessage(u"QueryAppsTradePermission Query URL:" + strUrl);
    std::uint32_t nLength = 0;
    const ReplyBuffer pReply = DoGetHttpQuery(strUrl, &nLength, m_parts.session.GetProxy(), strError, true, 0);
    if (!pReply) {
        host.LogMessage(u"QueryAppsTradePermission Query Error:" + strError);
        return false;
    }
    const auto* pText = reinterpret_cast<const char*>(pReply.get());
    const Text strDocument = CutPermissionDocument(Widen(std::string_view(pText, ::strnlen(pText, nLength))));
    if (ParseValue(document, strDocument.data(), static_cast<std::int32_t>(strDocument.size())) > 0) return true;
    host.LogMessage(u"QueryAppsTradePermission-URlError:" + strUrl);
    return false;
}

/// @return false when the query ends here, without its last line
bool CTradePermissions::Publish(const CJsonValue& document) {
    Text strAllApps;
    if (const auto pRights = m_parts.host.OpenTable(u"PERMISSIONS.AppsTradePermission", nullptr))
        strAllApps = pRights->GetString(ALL_APPS);
    const auto pWorking = m_parts.host.OpenTable(u"AppsTradePermission", nullptr);
    if (!pWorking) {
        m_parts.host.LogMessage(u"AppsTradePermission BaseData Error!");
        return false;
    }
    CTransaction transaction(*pWorking);
    if (strAllApps == u"1") transaction.SetValue(ALL_APPS, u"1");
    if (!WriteGroups(document, transaction)) return false;
    m_parts.storage.PublishTradePermissions(*pWorking, transaction);
    return true;
}

/// Writes the groups of the user's region. One that the document lacks keeps what it had.
/// @return false when the region stands as null, which takes nothing over
bool CTradePermissions::WriteGroups(const CJsonValue& document, CTransaction& transaction) const {
    const CJsonValue* pRegion = document.Find(m_parts.session.GetRegion());
    if (!pRegion) return true;
    if (pRegion->GetType() == CJsonValue::TYPE_NULL) return false;
    if (const auto* pGroups = pRegion->Get<CJsonValue::Object>()) {
        for (const auto& [strGroup, pGroup] : *pGroups) transaction.SetValue(strGroup, JoinNames(*pGroup));
    }
    return true;
}

void CTradePermissions::LoadExchangePermissions() {
    RunState& state = m_parts.state;
    state.m_mapExchanges.clear();
    const auto pExchanges = m_parts.host.OpenTable(u"PERMISSIONS.EXCHANGES", nullptr);
    const std::int32_t nCount = pExchanges ? pExchanges->GetCount() : 0;
    if (nCount < 1) return;
    Text strList;
    for (std::int32_t nIndex = 0; nIndex < nCount; ++nIndex) {
        const Text strRow = pExchanges->GetKeyAt(nIndex);
        TextView strRest = strRow;
        const TextView strName = Trim(CutPiece(strRest, u'='), BLANKS);
        if (strName.empty() || Trim(CutPiece(strRest, u'='), BLANKS).empty()) continue;
        state.m_mapExchanges.emplace(strName);
        strList.append(u"||").append(strName);
    }
    state.m_strExgListNew = strList.empty() ? strList : strList.substr(2);
}

}  // namespace qvant
