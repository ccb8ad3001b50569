/// Asking the servers; the load stands in contract_list_load.cpp.
#include "documents/contract_list_document.h"

#include "base/format.h"
#include "documents/contract_list_name.h"
#include "documents/reply_text.h"
#include "net/http_query.h"
#include "platform/files.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr int BAD_NAME = 22;  ///< the system's "invalid argument"

/// Whether a reply is too short to be an answer: "{}" is none, and neither is an error code. A unit takes three bytes
/// at most, so that the start of the reply tells.
bool IsTooShort(std::string_view strReply) {
    constexpr std::size_t LEAST_UNITS = 5;
    return Widen(strReply.substr(0, LEAST_UNITS * 3)).size() < LEAST_UNITS;
}

/// The version of a reply, when it is another than the client's. Versions are compared as text: a lower one is as new
/// as a higher one.
std::optional<Text> FindNewVersion(const JsonDocument& document, const Text& strClientVersion) {
    const JsonValue* pVersion = FindMember(document, u"LastVersion");
    auto strVersion = pVersion ? RenderName(*pVersion) : std::nullopt;
    return strVersion != strClientVersion ? strVersion : std::nullopt;
}

}  // namespace

bool CContractListDocument::QueryContractList() {
    m_parts.builder.m_listChangedClassification.clear();
    Change record;
    if (CBaseData* pLumivale = m_parts.storage.GetLumivale()) record.emplace(*pLumivale);
    bool bNews = false;
    // A copy: the host may sign in anew from inside a log line.
    const auto arClassification = m_parts.state.m_arClassification;
    for (const Text& strEntry : arClassification) {
        if (platform::StopRequested()) break;
        bNews |= QueryClassification(strEntry, record);
    }
    if (record && bNews) record->Commit();
    return bNews;
}

/// @return true when the list has a new version and a new file
bool CContractListDocument::QueryClassification(const Text& strEntry, Change& record) {
    const ContractListName name(strEntry);
    Query query{strEntry, name.strName, name.strCname, NOTHING_HELD, name.IsUsable()};
    // Without the file the version means nothing, whatever the settings remember.
    const auto pVersion = m_parts.state.m_mapContractVersion.find(query.strName);
    if (query.bUsable && pVersion != m_parts.state.m_mapContractVersion.end() &&
        platform::CanReadFile(GetPath(query.strName))) {
        query.strClientVersion = pVersion->second;
    }
    bool bNews = false;
    Text strError;
    m_parts.servers.Walk([&](const Text& strServer) { return AskServer(query, strServer, record, strError, bNews); });
    // Only the last server's failure is told, and none that is but our own stop.
    if (!platform::StopRequested()) m_parts.errors.PostErrorMsg(strError);
    return bNews;
}

/// @param bNews  out: whether the list has a new version and a new file
/// @return true when the server's reply was JSON: it ends the walk, whatever it holds
bool CContractListDocument::AskServer(const Query& query, const Text& strServer, Change& record, Text& strError,
                                      bool& bNews) {
    if (platform::StopRequested()) return false;
    strError.clear();
    const Text strUrl = Format(u"%s%s?cname=%s&lastVersion=%s%s", strServer, u"Classification_getClassification.do",
                               query.strCname, query.strClientVersion, m_parts.session.GetSessionQuery());
    m_parts.host.LogMessage(u"QueryContractList-Start:" + query.strEntry);
    std::uint32_t nLength = 0;
    ReplyBuffer pReply = DoGetHttpQuery(strUrl, &nLength, m_parts.session.GetProxy(), strError, true, 0);
    m_parts.host.LogMessage(u"QueryContractList-ClientVer:" + query.strClientVersion);
    if (!pReply) {
        m_parts.host.LogMessage(u"QueryContractList Fail:" + strUrl);
        return false;
    }
    const std::string_view strReply = GetReplyText(pReply, nLength);
    JsonDocument document;
    if (IsTooShort(strReply) || !ParseReply(document, strReply, strUrl)) return false;
    const std::size_t nReplySize = strReply.size();
    pReply.reset();  // lists are large, and the document has all that is in it
    bNews = TakeReply(query, document, nReplySize, strServer, record);
    return true;
}

bool CContractListDocument::ParseReply(JsonDocument& document, std::string_view strReply, const Text& strUrl) {
    if (ParseUtf8(document, strReply)) return true;
    m_parts.host.LogMessage(u"QueryContractList-URlError:" + strUrl);
    m_parts.host.LogMessage(Format(u"QueryContractList. Result=%s.", GetReplyStart(strReply)));
    return false;
}

/// @return true when there is a new version, and its list reached the disk
bool CContractListDocument::TakeReply(const Query& query, const JsonDocument& document, std::size_t nReplySize,
                                      const Text& strServer, Change& record) {
    const bool bWritten = SaveList(query, document, nReplySize);
    const auto strVersion = FindNewVersion(document, query.strClientVersion);
    m_parts.host.LogMessage(Format(u"QueryContractList-ServerVer:%s(%s)", strVersion.value_or(Text()), strServer));
    // A version without its file isn't taken, so that the list comes again; a file without one keeps the old version.
    if (!bWritten || !strVersion) return false;
    TakeVersion(query.strName, *strVersion, record);
    return true;
}

bool CContractListDocument::SaveList(const Query& query, const JsonDocument& document, std::size_t nReplySize) {
    constexpr std::size_t LEAST_UNITS = 6;
    const JsonValue* pList = FindMember(document, u"Classification");
    if (!pList || !pList->IsObject()) return false;
    Text strFile;
    strFile.reserve(nReplySize);
    strFile.push_back(u'\uFEFF');
    AppendJson(strFile, *pList);
    if (strFile.size() - 1 < LEAST_UNITS) return false;
    if (query.bUsable && platform::ReplaceFile(GetPath(query.strName), BytesOf(strFile))) return true;
    m_parts.host.LogMessage(Format(u"QueryContractList Fill Open Fail. GetLastError=%d.",
                                   query.bUsable ? platform::GetLastFileError() : BAD_NAME));
    return false;
}

void CContractListDocument::TakeVersion(const Text& strName, const Text& strVersion, Change& record) {
    m_parts.state.m_mapContractVersion[strName] = strVersion;
    m_parts.builder.m_listChangedClassification.push_back(strName);
    if (!record) {
        m_parts.state.m_mapContractVersionUnsaved[strName] = strVersion;
        return;
    }
    record->SetValue(strName + u".Version", strVersion);
    m_parts.host.LogMessage(u"QueryContractList-SaveVer:" + strVersion);
}

}  // namespace qvant
