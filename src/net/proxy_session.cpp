#include "net/proxy_session.h"

#include "base/format.h"
#include "net/http_query.h"

namespace qvant {

std::int32_t g_nProxyAuthState = 0;

namespace {

constexpr int STATUS_UNAUTHORIZED = 401;
constexpr int STATUS_PROXY_UNAUTHORIZED = 407;

// The request that asks: to the scheme's default port on http, whatever port the URL names, and without its query.
platform::RequestOptions ProbeOptions(const Text& strUrl, const HttpSession& session) {
    platform::UrlParts parts;
    platform::CrackUrl(strUrl, parts);
    const bool bSecure = Contains(strUrl, u"https://");
    platform::RequestOptions options;
    options.strUrl =
        bSecure ? MakeUrl(u"https", parts, parts.nPort, parts.strPath) : MakeUrl(u"http", parts, 80, parts.strPath);
    options.strAgent = session.strAgent;
    options.proxy = session.proxy;
    options.bCookies = true;
    return options;
}

int SendProbe(const platform::RequestOptions& options, int& nStatus) {
    const auto pRequest = platform::OpenRequest(options);
    if (!pRequest) return platform::INTERNET_OTHER;
    const int nError = pRequest->Send();
    nStatus = pRequest->GetStatus();
    return nError;
}

// @return the number of the first request's failure; those of the repetitions show in the fetch itself
int ProbeProxy(platform::RequestOptions options, const ProxySettings& settings) {
    int nStatus = 0;
    const int nError = SendProbe(options, nStatus);
    if (nError != platform::INTERNET_OK) return nError;
    g_nProxyAuthState = 0;
    if (nStatus == STATUS_UNAUTHORIZED) {
        options.strAccount = settings.strAccount;
        options.strPassword = settings.strPassword;
        SendProbe(options, nStatus);
        g_nProxyAuthState = 1;
    }
    if (nStatus == STATUS_PROXY_UNAUTHORIZED) {
        options.proxy->strAccount = settings.strAccount;
        options.proxy->strPassword = settings.strPassword;
        SendProbe(options, nStatus);
        g_nProxyAuthState = 1;
    }
    return platform::INTERNET_OK;
}

}  // namespace

Text MakeUrl(TextView strScheme, const platform::UrlParts& parts, std::uint16_t nPort, TextView strObject) {
    const bool bBrackets = Contains(parts.strHost, u":");
    const Text strHost = bBrackets ? u"[" + parts.strHost + u"]" : parts.strHost;
    const TextView strSlash = strObject.starts_with(u"/") ? u"" : u"/";
    return Format(u"%s://%s:%d%s%s", strScheme, strHost, nPort, strSlash, strObject);
}

std::optional<HttpSession> OpenProxySession(const Text& strUrl, const ProxySettings& settings, int& nError) {
    HttpSession session{.strAgent = u"Example",
                        .proxy = platform::Proxy{settings.strAddress, settings.nPort, Text(), Text()}};
    if (settings.strAccount.empty()) return session;
    if (g_nProxyAuthState == -1) {
        nError = ProbeProxy(ProbeOptions(strUrl, session), settings);
        if (nError != platform::INTERNET_OK) return std::nullopt;
    }
    if (g_nProxyAuthState == 1) {
        session.proxy->strAccount = settings.strAccount;
        session.proxy->strPassword = settings.strPassword;
    }
    return session;
}

}  // namespace qvant
