#include "documents/stock_info.h"

#include <cstring>

#include "base/format.h"
#include "documents/reply_text.h"
#include "documents/stock_info_parser.h"
#include "net/http_query.h"
#include "platform/files.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::size_t LONGEST_EMPTY = 5;  ///< units of a body that holds nothing, such as "[]" or "null"

constexpr TextView SHANGHAI = u"sse";
constexpr TextView SHENZHEN = u"szse";

/// The code of a document's second file, which only Shenzhen has.
Text Second(TextView strCode) { return Format(u"%s-2", strCode); }

}  // namespace

bool CStockInfo::QueryStkInfo() {
    bool bNews = false;
    for (const TextView strCode : {SHANGHAI, SHENZHEN}) {
        if (platform::StopRequested()) break;
        if (QueryDocument(strCode)) bNews = true;
    }
    return bNews;
}

/// Files that are there are as good as any: without the CGI flag a server is asked for a missing one only.
/// @return true when a newer document was received and saved
bool CStockInfo::QueryDocument(TextView strCode) {
    MoveFiles(u"ComShared", strCode);
    if (!m_bCgi && HasFiles(strCode)) return false;
    MoveFiles(u"Configs", strCode);
    if (!m_bCgi && HasFiles(strCode)) return false;
    const Text strHeld = GetHeldVersion(strCode);
    if (m_parts.servers.GetCount() == 0) return false;
    m_parts.host.LogMessage(Format(u"QueryStkInfo-Start:%s", strCode));
    m_parts.host.LogMessage(u"QueryStkInfo-ClientVer:" + strHeld);
    JsonDocument document;
    Text strError;
    Text strServer;
    const auto ask = [&](const Text& strAsked) {
        strServer = strAsked;
        const Text strUrl = Format(u"%s%s?exg=%s&LastVersion=%s", strServer, u"stkinfo.do", strCode, strHeld);
        return AskServer(strUrl, document, strError);
    };
    if (m_parts.servers.Walk(ask)) return TakeReply(document, strCode, strHeld, strServer);
    if (!platform::StopRequested()) m_parts.errors.PostErrorMsg(strError);
    return false;
}

bool CStockInfo::HasFiles(TextView strCode) const {
    return platform::CanReadFile(GetPath(u"Data", strCode)) &&
           (strCode != SHENZHEN || platform::CanReadFile(GetPath(u"Data", Second(strCode))));
}

void CStockInfo::MoveFiles(TextView strFolder, TextView strCode) const {
    MoveFile(GetPath(strFolder, strCode), GetPath(u"Data", strCode));
    if (strCode == SHENZHEN) MoveFile(GetPath(strFolder, Second(strCode)), GetPath(u"Data", Second(strCode)));
}

/// The file goes only when its copy stands whole, and the one in use stands until then.
void CStockInfo::MoveFile(const Text& strFrom, const Text& strTo) const {
    const auto strBytes = platform::ReadWholeFile(strFrom);
    if (strBytes && WriteFile(strTo, *strBytes)) platform::DeleteFile(strFrom);
}

/// Without all of its files a document isn't held, whatever the settings remember.
Text CStockInfo::GetHeldVersion(TextView strCode) const {
    const auto& mapVersions = m_parts.state.m_mapStkInfoVersion;
    const auto pFound = mapVersions.find(Text(strCode));
    if (!HasFiles(strCode) || pFound == mapVersions.end()) return NOTHING_HELD;
    Text strVersion = pFound->second;
    RemoveAll(strVersion, u'"');
    return strVersion.empty() ? Text(NOTHING_HELD) : strVersion;
}

/// @return true when the server's reply was JSON: it ends the walk, whatever it holds
bool CStockInfo::AskServer(const Text& strUrl, JsonDocument& document, Text& strError) const {
    strError.clear();
    std::uint32_t nLength = 0;
    const ReplyBuffer pReply = DoGetHttpQuery(strUrl, &nLength, m_parts.session.GetProxy(), strError, true, 0);
    if (!pReply) {
        m_parts.host.LogMessage(u"QueryStkInfo Fail:" + strUrl);
        return false;
    }
    const auto* pText = reinterpret_cast<const char*>(pReply.get());
    auto nParseError = rapidjson::kParseErrorNone;
    if (ParseUtf8(document, std::string_view(pText, ::strnlen(pText, nLength)), &nParseError)) return true;
    m_parts.host.LogMessage(Format(u"QueryStkInfo-json parse error (%d)", static_cast<std::int32_t>(nParseError)));
    return false;
}

/// Saves what a reply holds, and takes its version over.
bool CStockInfo::TakeReply(const JsonValue& reply, TextView strCode, TextView strHeld, TextView strServer) {
    if (!reply.IsObject()) return false;
    bool bReplaced = false;
    std::optional<Text> strNewVersion;
    for (auto pMember = reply.MemberBegin(); pMember != reply.MemberEnd(); ++pMember) {
        const TextView strName = GetText(pMember->name);
        if (strName == u"LastVersion") {
            auto strVersion = RenderName(pMember->value);
            if (strVersion && *strVersion != strHeld) strNewVersion = std::move(strVersion);
        } else if (strName == u"cashauctionparams" || strName == u"cpxx") {
            if (SaveMember(pMember->value, GetPath(u"Data", strCode))) bReplaced = true;
        } else if (strName == u"securities") {
            // The maturities come along with the limits and are no news by themselves: the version is that of the
            // main file, and must not move on without it.
            SaveMember(pMember->value, GetPath(u"Data", Second(strCode)));
        }
    }
    if (!bReplaced || !strNewVersion) return false;
    m_parts.state.m_mapStkInfoVersion[Text(strCode)] = *strNewVersion;
    m_parts.host.LogMessage(Format(u"QueryStkInfo-ServerVer:%s(%s)", *strNewVersion, strServer));
    return true;
}

/// @return false when there is nothing in it, or when it didn't reach the disk
bool CStockInfo::SaveMember(const JsonValue& value, const Text& strPath) const {
    Text strJson;
    AppendJson(strJson, value);
    return strJson.size() > LONGEST_EMPTY && WriteFile(strPath, BytesOf(strJson));
}

bool CStockInfo::WriteFile(const Text& strPath, std::string_view strBytes) const {
    platform::CreateFolders(m_strHomeDir + u"Data");
    return platform::ReplaceFile(strPath, strBytes);
}

void CStockInfo::LoadStkInfo() {
    m_parts.host.LogMessage(u"LoadStkInfo-begin");
    StockLimitMap mapLimits;
    LoadFile(SHANGHAI, mapLimits);
    LoadFile(SHENZHEN, mapLimits);
    LoadFile(Second(SHENZHEN), mapLimits);
    {
        const CLock lock(m_mutex);
        m_mapStockLimits.swap(mapLimits);
    }
    m_parts.host.LogMessage(u"LoadStkInfo-end");
}

void CStockInfo::LoadFile(TextView strCode, StockLimitMap& mapLimits) const {
    const Text strPath = GetPath(u"Data", strCode);
    const auto strBytes = platform::ReadWholeFile(strPath);
    if (!strBytes) return m_parts.host.LogMessage(u"LoadStkInfo-no file :" + strPath);
    JsonDocument document;
    if (!ParseUtf16(document, *strBytes)) return m_parts.host.LogMessage(u"LoadStkInfo-" + strPath);
    ParseJsonStkInofData(document, strCode, mapLimits, m_parts.host);
}

std::optional<StockLimits> CStockInfo::FindLimits(TextView strSymbol) const {
    const CLock lock(m_mutex);
    const auto pFound = m_mapStockLimits.find(strSymbol);
    return pFound == m_mapStockLimits.end() ? std::nullopt : std::optional(pFound->second);
}

Text CStockInfo::GetPath(TextView strFolder, TextView strCode) const {
    return Format(u"%s%s/StkInfo_%s.dat", m_strHomeDir, strFolder, strCode);
}

}  // namespace qvant
