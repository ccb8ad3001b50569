#include "platform/linux/internet_errors.h"

#include <cerrno>

#include "platform/internet.h"

namespace qvant::platform {

namespace {

struct ResultNumber {
    CURLcode result;
    int nError;
};

constexpr ResultNumber NUMBERS[] = {
    {CURLE_OK, INTERNET_OK},
    {CURLE_OPERATION_TIMEDOUT, INTERNET_TIMEOUT},
    {CURLE_URL_MALFORMAT, INTERNET_BAD_URL},
    {CURLE_COULDNT_RESOLVE_HOST, INTERNET_NAME_NOT_RESOLVED},
    {CURLE_COULDNT_RESOLVE_PROXY, INTERNET_NAME_NOT_RESOLVED},
    {CURLE_COULDNT_CONNECT, INTERNET_CANNOT_CONNECT},
    {CURLE_INTERFACE_FAILED, INTERNET_CANNOT_CONNECT},
    {CURLE_GOT_NOTHING, INTERNET_CLOSED_EARLY},
    {CURLE_PARTIAL_FILE, INTERNET_CLOSED_EARLY},
    {CURLE_SEND_ERROR, INTERNET_RESET},
    {CURLE_SSL_CACERT_BADFILE, INTERNET_CERTIFICATE_AUTHORITY},
    {CURLE_WEIRD_SERVER_REPLY, INTERNET_NOT_HTTP},
    {CURLE_TOO_MANY_REDIRECTS, INTERNET_TOO_MANY_REDIRECTS},
    {CURLE_SSL_CONNECT_ERROR, INTERNET_SECURE_CHANNEL},
    {CURLE_SSL_CERTPROBLEM, INTERNET_SECURE_CHANNEL},
    {CURLE_SSL_CIPHER, INTERNET_SECURE_CHANNEL},
    {CURLE_SSL_ENGINE_INITFAILED, INTERNET_SECURE_CHANNEL},
    {CURLE_SSL_SHUTDOWN_FAILED, INTERNET_SECURE_CHANNEL},
    {CURLE_USE_SSL_FAILED, INTERNET_SECURE_CHANNEL},
};

long GetInfo(CURL* hEasy, CURLINFO info) {
    long nValue = 0;
    curl_easy_getinfo(hEasy, info, &nValue);
    return nValue;
}

// One result of the library stands for several things; the connection's own error and the words tell them apart.
int FromReceiveError(const TransferEnd& end) {
    if (GetInfo(end.hEasy, CURLINFO_HTTP_CONNECTCODE) >= 300) return INTERNET_CANNOT_CONNECT;
    const long nSystem = GetInfo(end.hEasy, CURLINFO_OS_ERRNO);
    if (nSystem == ECONNRESET || nSystem == EPIPE) return INTERNET_RESET;
    if (end.strText.find("chunk") != std::string_view::npos) return INTERNET_NOT_HTTP;
    if (end.strText.find("eof") != std::string_view::npos) return INTERNET_CLOSED_EARLY;
    if (end.strText.find("closed") != std::string_view::npos) return INTERNET_CLOSED_EARLY;
    return INTERNET_RESET;
}

}  // namespace

int ToInternetError(const TransferEnd& end) {
    if (end.bCertificateRefused) return INTERNET_CERTIFICATE_AUTHORITY;
    switch (end.result) {
        case CURLE_PEER_FAILED_VERIFICATION:
            // The chain was good, or its refusal would have been noted: it is the name.
            return INTERNET_CERTIFICATE_NAME;
        case CURLE_RECV_ERROR:
            return FromReceiveError(end);
        case CURLE_UNSUPPORTED_PROTOCOL:
            return end.bRedirected ? INTERNET_UNKNOWN_SCHEME : INTERNET_NOT_HTTP;
        default:
            break;
    }
    for (const ResultNumber& entry : NUMBERS) {
        if (entry.result == end.result) return entry.nError;
    }
    return INTERNET_OTHER;
}

int ReadTunnelRefusal(CURL* hEasy, CURLcode result) {
    constexpr long PROXY_UNAUTHORIZED = 407;
    if (result != CURLE_RECV_ERROR && result != CURLE_COULDNT_CONNECT) return 0;
    const long nStatus = GetInfo(hEasy, CURLINFO_HTTP_CONNECTCODE);
    return nStatus == PROXY_UNAUTHORIZED ? static_cast<int>(nStatus) : 0;
}

}  // namespace qvant::platform
