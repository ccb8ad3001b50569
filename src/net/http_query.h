/// The one HTTP GET.
#pragma once

#include <cstdint>
#include <memory>

#include "base/text.h"
#include "net/session.h"

namespace qvant {

/// A reply, owned by the caller; always one NUL longer than what the server sent.
using ReplyBuffer = std::unique_ptr<std::uint8_t[]>;

/// Whether the proxy wants credentials: -1 unknown, ask it; 0 no; 1 yes. Process-wide and not locked.
///
/// It starts at 0 and nothing sets it to -1: the question is never asked, and a proxy's password is never sent, until
/// somebody starts it at -1. Keep this starting value.
extern std::int32_t g_nProxyAuthState;

/// Fetches a URL into memory. Blocking, re-entrant, any thread; ends early when the calling thread is told to stop.
/// @param strUrl    with "https://" anywhere in it the secure path is taken, which applies no time-out, never looks
///                  at the status and sends no cookies
/// @param pnLength  out: bytes with the NUL; written on success, and set to 0 by a failed gzip step
/// @param strError  out: one text on failure; left as it was on success and by a failed gzip step
/// @param bGzip     asks for compression and decodes a reply that begins as a gzip does
/// @param nTimeout  milliseconds to connect, to receive and to send; 0 leaves the platform's
/// @return the bytes, or null
ReplyBuffer DoGetHttpQuery(const Text& strUrl, std::uint32_t* pnLength, const ProxySettings& proxy, Text& strError,
                           bool bGzip, std::int32_t nTimeout);

}  // namespace qvant
