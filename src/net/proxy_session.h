/// The session that one HTTP call runs in: how it presents itself and through which proxy it goes.
#pragma once

#include <optional>

#include "base/text.h"
#include "net/session.h"
#include "platform/internet.h"

namespace qvant {

struct HttpSession {
    Text strAgent;
    std::optional<platform::Proxy> proxy;
};

/// A session through a proxy, with the proxy's credentials where `g_nProxyAuthState` says that it wants them. At -1 it
/// asks the proxy first, with one request for the URL's path.
/// @param nError  out: why there is no session
/// @return nothing when the question couldn't be sent
std::optional<HttpSession> OpenProxySession(const Text& strUrl, const ProxySettings& settings, int& nError);

/// Joins scheme, host and port of a cracked URL with an object.
Text MakeUrl(TextView strScheme, const platform::UrlParts& parts, std::uint16_t nPort, TextView strObject);

}  // namespace qvant
