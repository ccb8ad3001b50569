// The transfer library's results in the platform's numbers.
#pragma once

#include <string_view>

#include <curl/curl.h>

namespace qvant::platform {

/// How a transfer ended.
struct TransferEnd {
    CURL* hEasy;
    CURLcode result;
    std::string_view strText;  ///< the library's own words
    bool bCertificateRefused;
    bool bRedirected;  ///< the last reply sent the client elsewhere
};

int ToInternetError(const TransferEnd& end);

/// The status with which a proxy asked for credentials instead of opening a tunnel; 0 for any other end.
int ReadTunnelRefusal(CURL* hEasy, CURLcode result);

}  // namespace qvant::platform
