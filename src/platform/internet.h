/// The HTTP stack: sessions and GET requests, with the platform's error numbers.
///
/// The process shares one pool of connections, kept open between requests, and one cookie jar in memory. Every step
/// of a request ends at once, with the number of a stop, when the calling thread is told to stop. No proxy of the
/// environment is ever used.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "base/text.h"

namespace qvant::platform {

/// Error numbers of the HTTP stack.
enum InternetError : int {
    INTERNET_OK = 0,
    INTERNET_TIMEOUT = 12002,
    INTERNET_OTHER = 12004,
    INTERNET_BAD_URL = 12005,
    INTERNET_UNKNOWN_SCHEME = 12006,
    INTERNET_NAME_NOT_RESOLVED = 12007,
    INTERNET_STOPPED = 12017,
    INTERNET_WRONG_HANDLE = 12018,  ///< a header asked of a connection that is no request
    INTERNET_CANNOT_CONNECT = 12029,
    INTERNET_CLOSED_EARLY = 12030,
    INTERNET_RESET = 12031,
    INTERNET_CERTIFICATE_NAME = 12038,
    INTERNET_CERTIFICATE_AUTHORITY = 12045,
    INTERNET_NO_SUCH_HEADER = 12150,
    INTERNET_NOT_HTTP = 12152,
    INTERNET_TOO_MANY_REDIRECTS = 12156,
    INTERNET_SECURE_CHANNEL = 12157
};

/// What a URL falls into when it is cracked.
struct UrlParts {
    Text strScheme;
    Text strHost;
    std::uint16_t nPort = 0;  ///< the URL's own or the scheme's default
    Text strUser;
    Text strPassword;
    Text strPath;
    Text strExtra;  ///< the query with its "?", and any fragment
};

/// @return false, with the parts left as they were, for a text that isn't a URL
bool CrackUrl(TextView strUrl, UrlParts& parts);

/// A named proxy, with credentials when it wants them.
struct Proxy {
    Text strHost;
    std::uint32_t nPort = 0;
    Text strAccount;  ///< sent only when not empty
    Text strPassword;
};

/// How one request is made.
struct RequestOptions {
    Text strUrl;
    Text strAgent;
    std::optional<Proxy> proxy;            ///< nothing: direct
    bool bAcceptGzip = false;              ///< sends "Accept-Encoding:gzip,deflate"; the body is never decoded
    bool bCookies = false;                 ///< sends and keeps the cookies of the process
    std::chrono::milliseconds timeout{0};  ///< to connect and between two bytes; 0: 60 s and 30 s
    Text strAccount;                       ///< credentials for the server; empty: none
    Text strPassword;
};

/// One GET request, from sending it to the end of its body. Belongs to one thread.
class IHttpRequest {
public:
    virtual ~IHttpRequest() = default;

    /// Sends the request and reads the headers of the final reply.
    /// @return INTERNET_OK or the number of the failure
    virtual int Send() = 0;

    /// Status of the reply; 0 when there is none.
    virtual int GetStatus() const = 0;

    /// A header of the reply.
    /// @return INTERNET_OK, or INTERNET_NO_SUCH_HEADER
    virtual int QueryHeader(TextView strName, Text& strValue) const = 0;

    /// Appends the next bytes of the body, at least one unless the body has ended.
    /// @param nMost  most bytes to append
    /// @return INTERNET_OK, or the number of the failure
    virtual int Read(std::string& strBody, std::size_t nMost) = 0;
};

/// @return null when the stack has no request to give
std::unique_ptr<IHttpRequest> OpenRequest(const RequestOptions& options);

/// The stack's own text of one of its error numbers; empty for a number that has none.
Text DescribeInternetError(int nError);

/// Closes the idle connections of the process.
void CloseIdleConnections();

}  // namespace qvant::platform
