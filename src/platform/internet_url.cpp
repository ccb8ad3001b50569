// Cracking of URLs, and the texts of the HTTP stack's numbers.
#include <algorithm>
#include <optional>

#include "platform/internet.h"

namespace qvant::platform {

namespace {

struct DefaultPort {
    TextView strScheme;
    std::uint16_t nPort;
};
constexpr DefaultPort DEFAULT_PORTS[] = {{u"http", 80}, {u"https", 443}, {u"ftp", 21}};

struct ErrorText {
    int nError;
    const char16_t* pszText;
};
constexpr ErrorText ERROR_TEXTS[] = {
    {INTERNET_TIMEOUT, u"The server didn't answer in time"},
    {INTERNET_OTHER, u"The transfer failed"},
    {INTERNET_BAD_URL, u"The address isn't valid"},
    {INTERNET_UNKNOWN_SCHEME, u"The address has an unknown scheme"},
    {INTERNET_NAME_NOT_RESOLVED, u"The server's name couldn't be resolved"},
    {INTERNET_STOPPED, u"The transfer was cut short by a stop"},
    {INTERNET_WRONG_HANDLE, u"The connection is of the wrong kind"},
    {INTERNET_CANNOT_CONNECT, u"A connection with the server couldn't be established"},
    {INTERNET_CLOSED_EARLY, u"The server closed the connection early"},
    {INTERNET_RESET, u"The connection with the server was reset"},
    {INTERNET_CERTIFICATE_NAME, u"The server's certificate carries another name"},
    {INTERNET_CERTIFICATE_AUTHORITY, u"The server's certificate comes from an unknown authority"},
    {INTERNET_NO_SUCH_HEADER, u"The reply has no such header"},
    {INTERNET_NOT_HTTP, u"The server's reply isn't HTTP"},
    {INTERNET_TOO_MANY_REDIRECTS, u"The server redirected too many times"},
    {INTERNET_SECURE_CHANNEL, u"A secure channel couldn't be established"},
};

bool IsAlpha(char16_t ch) { return (ch >= u'a' && ch <= u'z') || (ch >= u'A' && ch <= u'Z'); }
bool IsDigit(char16_t ch) { return ch >= u'0' && ch <= u'9'; }

bool IsScheme(TextView strText) {
    const auto isUnit = [](char16_t ch) {
        return IsAlpha(ch) || IsDigit(ch) || ch == u'+' || ch == u'-' || ch == u'.';
    };
    return !strText.empty() && IsAlpha(strText.front()) && std::all_of(strText.begin(), strText.end(), isUnit);
}

bool IsHost(TextView strText) {
    const auto isBad = [](char16_t ch) { return ch <= u' ' || ch == 127 || Contains(u"\"<>\\^`{|}[]%", {&ch, 1}); };
    return !strText.empty() && std::none_of(strText.begin(), strText.end(), isBad);
}

std::uint16_t FindDefaultPort(TextView strScheme) {
    for (const DefaultPort& entry : DEFAULT_PORTS) {
        if (entry.strScheme == strScheme) return entry.nPort;
    }
    return 0;
}

// @return nothing for a port that is none; an empty one is the default
std::optional<std::uint16_t> ReadPort(TextView strPort, std::uint16_t nDefault) {
    if (strPort.empty()) return nDefault;
    unsigned nPort = 0;
    for (const char16_t ch : strPort) {
        if (!IsDigit(ch)) return std::nullopt;
        nPort = nPort * 10 + static_cast<unsigned>(ch - u'0');
        if (nPort > 65535) return std::nullopt;
    }
    if (nPort == 0) return std::nullopt;
    return static_cast<std::uint16_t>(nPort);
}

// The end of the host in "host:port": behind the bracket of an IPv6 literal, else the last colon.
std::size_t FindHostEnd(TextView strHostPort) {
    if (!strHostPort.starts_with(u'[')) return std::min(strHostPort.find(u':'), strHostPort.size());
    const std::size_t nBracket = strHostPort.find(u']');
    return nBracket == TextView::npos ? 0 : nBracket + 1;
}

bool CrackHostPort(TextView strHostPort, UrlParts& parts) {
    const std::size_t nEnd = FindHostEnd(strHostPort);
    TextView strHost = strHostPort.substr(0, nEnd);
    TextView strRest = strHostPort.substr(nEnd);
    if (!strRest.empty() && strRest.front() != u':') return false;
    const auto nPort = ReadPort(strRest.empty() ? strRest : strRest.substr(1), FindDefaultPort(parts.strScheme));
    if (strHost.starts_with(u'[')) strHost = strHost.substr(1, strHost.size() - 2);
    if (!nPort || !IsHost(strHost)) return false;
    parts.strHost = strHost;
    parts.nPort = *nPort;
    return true;
}

void CrackUser(TextView strUserInfo, UrlParts& parts) {
    const std::size_t nColon = std::min(strUserInfo.find(u':'), strUserInfo.size());
    parts.strUser = strUserInfo.substr(0, nColon);
    if (nColon < strUserInfo.size()) parts.strPassword = strUserInfo.substr(nColon + 1);
}

}  // namespace

bool CrackUrl(TextView strUrl, UrlParts& parts) {
    const std::size_t nScheme = strUrl.find(u"://");
    if (nScheme == TextView::npos || !IsScheme(strUrl.substr(0, nScheme))) return false;
    UrlParts cracked;
    cracked.strScheme = ToLower(strUrl.substr(0, nScheme));
    const TextView strRest = strUrl.substr(nScheme + 3);
    const std::size_t nPath = std::min(strRest.find_first_of(u"/?#"), strRest.size());
    TextView strAuthority = strRest.substr(0, nPath);
    if (const std::size_t nAt = strAuthority.rfind(u'@'); nAt != TextView::npos) {
        CrackUser(strAuthority.substr(0, nAt), cracked);
        strAuthority.remove_prefix(nAt + 1);
    }
    if (!CrackHostPort(strAuthority, cracked)) return false;
    const std::size_t nExtra = std::min(strRest.find_first_of(u"?#", nPath), strRest.size());
    cracked.strPath = strRest.substr(nPath, nExtra - nPath);
    cracked.strExtra = strRest.substr(nExtra);
    parts = std::move(cracked);
    return true;
}

Text DescribeInternetError(int nError) {
    for (const ErrorText& entry : ERROR_TEXTS) {
        if (entry.nError == nError) return entry.pszText;
    }
    return {};
}

}  // namespace qvant::platform
