#include "documents/securities_document.h"

#include <optional>

#include "base/format.h"
#include "documents/reply_file.h"
#include "documents/reply_text.h"
#include "platform/files.h"
#include "platform/stop.h"

namespace qvant {

namespace {

std::size_t CountSecurities(const JsonValue& value) {
    if (value.IsObject()) return value.MemberCount();
    return value.IsArray() ? value.Size() : 0;
}

}  // namespace

bool CSecuritiesDocument::QuerySecuritiesInfo() {
    RunState& state = m_parts.state;
    if (const CBaseData* pLumivale = m_parts.storage.GetLumivale())
        state.m_strVersion = pLumivale->GetString(u"Version");
    // Without the file the version means nothing, whatever the settings remember.
    if (!platform::CanReadFile(m_strPath) || state.m_strVersion.empty()) state.m_strVersion = NOTHING_HELD;
    DropDocument();
    m_parts.host.LogMessage(Format(u"QuerySecuritiesInfo-Start ClientVer:%s, Z:%s, %d", state.m_strVersion,
                                   m_parts.session.GetRequestId(), m_parts.servers.GetIndex()));
    Text strError;
    if (m_parts.servers.Walk([&](const Text& strServer) { return AskServer(strServer, strError); })) return m_bNews;
    // Only the last server's failure is told, and none that is but our own stop.
    if (!platform::StopRequested()) m_parts.errors.PostErrorMsg(strError);
    DropDocument();
    return false;
}

/// @return true when the server's reply was JSON: it ends the walk, whatever it holds
bool CSecuritiesDocument::AskServer(const Text& strServer, Text& strError) {
    IHost& host = m_parts.host;
    const RunState& state = m_parts.state;
    strError.clear();
    // The broker key always goes out without a value, and the user's own part stands before Z.
    const Text strUrl = Format(u"%s%s?lastVersion=%s&type=%s%s&Z=%s&broker=", strServer, u"OutsideData_getMainForm.do",
                               state.m_strVersion, state.m_strInfoListType, m_parts.session.GetSessionQuery(),
                               m_parts.session.GetRequestId());
    host.LogMessage(u"QuerySecuritiesInfo-Start Url:" + strServer);
    std::uint32_t nLength = 0;
    const ReplyBuffer pReply = DoGetHttpQuery(strUrl, &nLength, m_parts.session.GetProxy(), strError, true, 0);
    host.LogMessage(Format(u"QuerySecuritiesInfo Http End: %d", nLength));
    if (!pReply) {
        host.LogMessage(u"QuerySecuritiesInfo Fail:" + strUrl);
        return false;
    }
    return TakeReply(GetReplyText(pReply, nLength), strUrl);
}

bool CSecuritiesDocument::TakeReply(std::string_view strReply, const Text& strUrl) {
    CReplyFile file(m_strPath, strReply);
    if (!ParseReply(strReply, strUrl)) return false;
    m_bNews = TakeNews(file);
    return true;
}

bool CSecuritiesDocument::ParseReply(std::string_view strReply, const Text& strUrl) {
    if (ParseUtf8(m_docSecurities, strReply)) return true;
    m_parts.host.LogMessage(u"QuerySecuritiesInfo-URlError:" + strUrl);
    // The line names the contract list here too: the two documents share it, and those who read the logs know it so.
    m_parts.host.LogMessage(Format(u"QueryContractList. Result=%s.", GetReplyStart(strReply)));
    return false;
}

/// Saves a reply that holds securities, and takes its version over.
/// @return true when there are news, and they reached the disk
bool CSecuritiesDocument::TakeNews(CReplyFile& file) {
    bool bSaved = false;
    std::optional<Text> strNewVersion;
    if (const JsonDocument& document = m_docSecurities; document.IsObject()) {
        for (auto pMember = document.MemberBegin(); pMember != document.MemberEnd(); ++pMember) {
            const TextView strName = GetText(pMember->name);
            if (strName == u"SecuritiesInfo" && CountSecurities(pMember->value) > 0) {
                m_parts.host.LogMessage(u"QuerySecuritiesInfo have SecuritiesInfo");
                bSaved = bSaved || file.Commit();
            } else if (strName == u"LastVersion") {
                // Versions are compared as text: a lower one is as new as a higher one.
                auto strVersion = RenderName(pMember->value);
                if (strVersion && *strVersion != m_parts.state.m_strVersion) strNewVersion = std::move(strVersion);
            }
        }
    }
    if (!bSaved) {
        DropDocument();
        return false;
    }
    if (strNewVersion) TakeVersion(*strNewVersion);
    return true;
}

void CSecuritiesDocument::TakeVersion(const Text& strVersion) {
    RunState& state = m_parts.state;
    state.m_strVersion = strVersion;
    m_parts.host.LogMessage(u"QuerySecuritiesInfo-ServerVer:" + state.m_strVersion);
    if (!m_parts.storage.GetLumivale()) {
        state.m_bVersionUnsaved = true;
        return;
    }
    m_parts.storage.StoreVersion(true);
}

void CSecuritiesDocument::LoadSecuritiesInfo(CBaseData* pSecurityInfo) {
    struct CDropAtEnd {
        CSecuritiesDocument& document;
        ~CDropAtEnd() { document.DropDocument(); }
    };
    m_parts.host.LogMessage(u"LoadSecuritiesInfo-Start");
    {
        const CDropAtEnd dropAtEnd{*this};
        const bool bReceived = m_docSecurities.IsObject() && m_docSecurities.MemberCount() > 0;
        if (bReceived || ReadDocument()) m_parts.parser.ParseJsonData(m_docSecurities, pSecurityInfo);
    }
    m_makeUnderlyingList();
    m_parts.host.LogMessage(u"LoadSecuritiesInfo-End");
}

bool CSecuritiesDocument::ReadDocument() {
    const auto strBytes = platform::ReadWholeFile(m_strPath);
    if (!strBytes) {
        m_parts.errors.PostMsg(CErrorReport::NO_SECURITIES_FILE, u"");
        return false;
    }
    if (ParseUtf8(m_docSecurities, Narrow(FromUtf16Bytes(*strBytes)))) return true;
    m_parts.host.LogMessage(u"LoadSecuritiesInfo-json parse error!!");
    return false;
}

/// Gives the document's memory back, not only its content.
void CSecuritiesDocument::DropDocument() {
    JsonDocument().Swap(m_docSecurities);
    m_bNews = false;
}

}  // namespace qvant
