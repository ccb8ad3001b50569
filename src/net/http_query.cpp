#include "net/http_query.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "base/format.h"
#include "net/gzip_file.h"
#include "net/proxy_session.h"
#include "platform/internet.h"
#include "platform/stop.h"

namespace qvant {

namespace {

constexpr std::size_t READ_STEP = 65536;
constexpr std::size_t MOST_BODY = std::numeric_limits<std::uint32_t>::max() - 1;
constexpr int STATUS_OK = 200;

using Request = std::unique_ptr<platform::IHttpRequest>;

// What a call was asked, and where its results go.
struct Call {
    const Text& strUrl;
    std::uint32_t* pnLength;
    const ProxySettings& proxy;
    Text& strError;
    bool bGzip;
    std::int32_t nTimeout;
};

// The body as far as it was read, and why the reading ended.
struct Body {
    TextView strReadError;  // how the path that read it tells of a failure
    std::string strBytes;
    bool bSucceeded = false;
    Text strInfo;
};

std::nullptr_t Fail(const Call& call, TextView strFormat, int nNumber) {
    call.strError = Format(strFormat, nNumber);
    return nullptr;
}

void ReadInto(platform::IHttpRequest& request, Body& body) {
    for (;;) {
        const std::size_t nBefore = body.strBytes.size();
        const int nError = request.Read(body.strBytes, READ_STEP);
        if (nError != platform::INTERNET_OK) {
            body.strInfo = Format(body.strReadError, nError);
            return;
        }
        if (body.strBytes.size() > MOST_BODY) throw std::bad_alloc();
        if (body.strBytes.size() == nBefore) {
            body.bSucceeded = true;
            return;
        }
    }
}

Body ReadBody(platform::IHttpRequest& request, TextView strReadError) {
    Body body{.strReadError = strReadError, .strBytes = {}, .strInfo = {}};
    try {
        ReadInto(request, body);
    } catch (const std::bad_alloc&) {
        body.strInfo = Format(u"Memory Errror, Error : %d", ENOMEM);
    }
    return body;
}

std::nullptr_t FailRead(const Call& call, const Body& body) {
    const auto nAddress = body.strBytes.empty() ? 0 : reinterpret_cast<std::uintptr_t>(body.strBytes.data());
    call.strError =
        Format(u"DoGetHttpQuery Fail, Info : %s, pData=%x, nDataLen=%d, bSuccessed=%d, strURL=%s.", body.strInfo,
               static_cast<std::uint32_t>(nAddress), body.strBytes.size(), body.bSucceeded ? 1 : 0, call.strUrl);
    return nullptr;
}

ReplyBuffer CopyWithNul(const std::string& strBytes) {
    auto pCopy = std::make_unique_for_overwrite<std::uint8_t[]>(strBytes.size() + 1);
    std::memcpy(pCopy.get(), strBytes.c_str(), strBytes.size() + 1);
    return pCopy;
}

// A reply that begins as a gzip does is decoded; what the headers say of it is no matter. The NUL goes along with it.
// A broken stream is told to nobody; one that unpacks to more than a reply may have is a read that broke off.
ReplyBuffer Decode(const Call& call, Body& body) {
    ReplyBuffer pDecoded;
    bool bTooLong = false;
    const std::string_view strWithNul(body.strBytes.c_str(), body.strBytes.size() + 1);
    *call.pnLength = GunzipBuffer(pDecoded, strWithNul, GUNZIP_PAUSE, &bTooLong);
    if (!bTooLong) return pDecoded;
    body.bSucceeded = false;
    body.strInfo = Format(body.strReadError, static_cast<int>(platform::INTERNET_CLOSED_EARLY));
    return FailRead(call, body);
}

ReplyBuffer Finish(const Call& call, Body body) {
    if (!body.bSucceeded || body.strBytes.empty()) return FailRead(call, body);
    if (call.bGzip && body.strBytes.starts_with("\x1F\x8B")) return Decode(call, body);
    *call.pnLength = static_cast<std::uint32_t>(body.strBytes.size() + 1);
    return CopyWithNul(body.strBytes);
}

// The sessions' limits of connections to one server have no counterpart: the stack has none that a fetch could queue
// behind.
std::optional<HttpSession> OpenSession(const Call& call) {
    if (!call.proxy.strAddress.empty() && call.proxy.nPort != 0) {
        int nError = platform::INTERNET_OK;
        auto session = OpenProxySession(call.strUrl, call.proxy, nError);
        if (!session) Fail(call, u"InternetOpen Fail, Error : %d", nError);
        return session;
    }
    return HttpSession{.strAgent = u"LUM Qvant", .proxy = {}};
}

platform::RequestOptions PlainOptions(const Call& call, const HttpSession& session) {
    platform::RequestOptions options;
    options.strUrl = call.strUrl;
    options.strAgent = session.strAgent;
    options.proxy = session.proxy;
    options.bAcceptGzip = call.bGzip;
    // Only a request that asks for compression goes with the process's cookies; the servers tell the two apart by it.
    options.bCookies = call.bGzip;
    options.timeout = std::chrono::milliseconds(call.nTimeout);
    return options;
}

// Sends the request again for as long as the reply carries a Refresh header, without bound or delay: a server that is
// busy holds its clients so. A stop ends it.
Request OpenUrl(const Call& call, const platform::RequestOptions& options) {
    for (;;) {
        Request pRequest = platform::StopRequested() ? nullptr : platform::OpenRequest(options);
        int nError = platform::StopRequested() ? platform::INTERNET_STOPPED : platform::INTERNET_OTHER;
        if (pRequest) nError = pRequest->Send();
        if (nError != platform::INTERNET_OK) return Fail(call, u"InternetOpenUrl Fail, Error : %d", nError);
        Text strRefresh;
        if (pRequest->QueryHeader(u"Refresh", strRefresh) == platform::INTERNET_NO_SUCH_HEADER) return pRequest;
    }
}

ReplyBuffer QueryPlain(const Call& call) {
    const auto session = OpenSession(call);
    if (!session) return nullptr;
    const Request pRequest = OpenUrl(call, PlainOptions(call, *session));
    if (!pRequest) return nullptr;
    if (pRequest->GetStatus() != STATUS_OK) {
        return Fail(call, u"Http STATUS_CODE Fail(%d)", pRequest->GetStatus());
    }
    return Finish(call, ReadBody(*pRequest, u"InternetReadFile Fail, Error : %d"));
}

// The secure path speaks TLS to the URL's host and port whatever its scheme is, and leaves its credentials aside.
platform::RequestOptions SecureOptions(const Call& call, const HttpSession& session, const platform::UrlParts& parts) {
    platform::RequestOptions options;
    options.strUrl = MakeUrl(u"https", parts, parts.nPort, parts.strPath + parts.strExtra);
    options.strAgent = session.strAgent;
    options.proxy = session.proxy;
    options.bAcceptGzip = call.bGzip;
    return options;
}

// Neither the status nor a Refresh header is looked at here: an error page of a secure server is content to its
// callers.
ReplyBuffer QuerySecure(const Call& call) {
    const auto session = OpenSession(call);
    if (!session) return nullptr;
    platform::UrlParts parts;
    if (!platform::CrackUrl(call.strUrl, parts)) {
        return Fail(call, u"InternetOpenUrl Fail, Error : %d", platform::INTERNET_BAD_URL);
    }
    const Request pRequest = platform::OpenRequest(SecureOptions(call, *session, parts));
    if (!pRequest) return Fail(call, u"HttpOpenRequest Fail, Error : %d", platform::INTERNET_OTHER);
    const int nError = pRequest->Send();
    if (nError != platform::INTERNET_OK) return Fail(call, u"HttpSendRequest Fail, Error : %d", nError);
    return Finish(call, ReadBody(*pRequest, u"SSL InternetReadFile Fail, Error : %d"));
}

}  // namespace

ReplyBuffer DoGetHttpQuery(const Text& strUrl, std::uint32_t* pnLength, const ProxySettings& proxy, Text& strError,
                           bool bGzip, std::int32_t nTimeout) {
    const Call call{strUrl, pnLength, proxy, strError, bGzip, nTimeout};
    // Anywhere in the URL, its query too, and as it is written: the addresses in the settings count on both.
    return Contains(strUrl, u"https://") ? QuerySecure(call) : QueryPlain(call);
}

}  // namespace qvant
