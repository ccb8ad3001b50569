/// What the tests of the reference server share: a small world to edit, clients of different patience.
#pragma once

#include <string>
#include <string_view>

#include <httplib.h>
#include <rapidjson/document.h>

#include "support/scratch_folder.h"
#include "system/server_process.h"

namespace qvant::test {

/// A data folder with two exchanges and three securities.
class CSmallWorld : public CScratchFolder {
public:
    CSmallWorld();
};

struct Answer {
    int nStatus = 0;
    std::string strBody;
    std::string strEncoding;  // Content-Encoding
};

/// One GET on a connection of its own; the body stays as it came. Status 0: no whole reply.
Answer Get(const CServerProcess& server, const std::string& strTarget, bool bGzip = false);

/// A target for the securities document.
std::string MainForm(const std::string& strVersion, const std::string& strType = "ALL");

/// The text that gzip bytes stand for; empty when they don't.
std::string Gunzip(const std::string& strBytes);

/// Parsed; null when it isn't JSON.
rapidjson::Document ToJson(std::string_view text);

/// "LastVersion" of the probe.
std::string LastVersion(const CServerProcess& server);

/// A client that sends one request and then sees exactly what happens to its socket.
class CRawClient {
public:
    CRawClient(const CServerProcess& server, const std::string& strTarget);
    ~CRawClient();
    CRawClient(const CRawClient&) = delete;
    CRawClient& operator=(const CRawClient&) = delete;

    /// Reads to the end of the connection; `GetError` tells how it ended.
    std::string ReadAll();

    /// 0 for an ordinary end.
    int GetError() const { return m_nError; }

    /// Whether anything, the end included, can be read at this moment.
    bool HasNews() const;

private:
    int m_hSocket;
    int m_nError = 0;
};

}  // namespace qvant::test
