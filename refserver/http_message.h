/// HTTP/1.1 as far as a reference-data client speaks it: a request read from a connection, a reply to it.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "connection.h"

namespace qvant::refserver {

struct HttpRequest {
    std::string strMethod;
    std::string strTarget;  // as sent: path and query
    std::string strPath;
    std::map<std::string, std::string> mapQuery;    // decoded; of a name that stands twice the first
    std::map<std::string, std::string> mapHeaders;  // names in lower case
    std::string strBody;
    bool bKeepAlive = true;

    /// The value of a query member, empty when there is none.
    std::string_view GetQuery(const std::string& strName) const;

    bool AcceptsGzip() const;
};

/// The bytes of a body, shared by all who send them at the moment.
using Body = std::shared_ptr<const std::string>;

/// The type of a body that is no text.
inline constexpr std::string_view BinaryType = "application/octet-stream";

struct HttpReply {
    int nStatus = 200;
    Body body;
    std::string_view strType = "application/json";
    bool bGzip = false;
    std::vector<std::pair<std::string, std::string>> arHeaders;
};

enum class RequestState { Complete, Bad, Gone };

/// Waits for the next request of a connection and reads it whole. `Bad` is worth an answer of 400, `Gone` is not.
RequestState ReadRequest(CConnection& connection, HttpRequest& request);

/// A reply with a small body.
HttpReply MakeReply(int nStatus, std::string strBody);

/// The status line and the headers, up to and with the empty line. The length is that of the whole body.
std::string FormatHead(const HttpReply& reply, bool bKeepAlive);

}  // namespace qvant::refserver
