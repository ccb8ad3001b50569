/// The securities document: asked for by version, kept on disk, handed to the parser.
#pragma once

#include <functional>
#include <string_view>

#include "model/json_document.h"
#include "model/run_state.h"
#include "model/securities_parser.h"
#include "model/storage_tables.h"
#include "net/error_report.h"
#include "net/http_query.h"
#include "net/server_list.h"
#include "net/session.h"
#include "store/host.h"

namespace qvant {

class CReplyFile;

/// What the document works with; all outlive it.
struct SecuritiesDocumentParts {
    IHost& host;
    CSession& session;
    CServerList& servers;
    CErrorReport& errors;
    CStorageTables& storage;
    CSecuritiesParser& parser;
    RunState& state;
};

/// A pair of operations that runs on one thread at a time. Between a query with news and the next load the parsed
/// document waits in memory, so that the load needs neither the disk nor a second parse.
class CSecuritiesDocument {
public:
    /// @param makeUnderlyingList  builds the underlying lists from the store
    CSecuritiesDocument(const SecuritiesDocumentParts& parts, std::function<void()> makeUnderlyingList)
        : m_parts(parts), m_makeUnderlyingList(std::move(makeUnderlyingList)) {}

    /// Folder of the terminal, with its trailing slash.
    void SetHomeDir(TextView strHomeDir) { m_strPath = Text(strHomeDir) + u"Configs/LumivaleInfo.dat"; }

    /// Asks the servers for a newer document and saves it.
    /// @return true when one was received and saved, so that the caller should load it
    bool QuerySecuritiesInfo();

    /// The part of the query behind the transfer: parses a server's reply, and saves it when it holds securities.
    /// @param strReply  as it came, in UTF-8
    /// @param strUrl    where it came from, for the log
    /// @return true when the reply was JSON: it ends the walk, whatever it holds
    bool TakeReply(std::string_view strReply, const Text& strUrl);

    /// Parses what the query received, else the copy on disk, into the store, and builds the underlying lists.
    /// @throw CFailure  from a time that can't be; the store stands as it was
    /// @param pSecurityInfo  the table "Security.Info"
    void LoadSecuritiesInfo(CBaseData* pSecurityInfo);

private:
    bool AskServer(const Text& strServer, Text& strError);
    bool ParseReply(std::string_view strReply, const Text& strUrl);
    bool TakeNews(CReplyFile& file);
    void TakeVersion(const Text& strVersion);
    bool ReadDocument();
    void DropDocument();

    const SecuritiesDocumentParts m_parts;
    const std::function<void()> m_makeUnderlyingList;
    Text m_strPath;
    JsonDocument m_docSecurities;
    bool m_bNews = false;
};

}  // namespace qvant
