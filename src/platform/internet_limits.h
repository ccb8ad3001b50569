/// The HTTP stack's own limits: how long a request may take that names no time-out, and how long any reply may be.
#pragma once

#include <chrono>
#include <cstddef>

namespace qvant::platform {

struct InternetLimits {
    std::chrono::milliseconds connect{60'000};  ///< to connect, name and secure channel included
    std::chrono::milliseconds silence{30'000};  ///< without a byte, once connected
    /// Bytes of a reply's body. A longer one is broken off where it passes them, or at once when it says its length.
    std::size_t nMostBody = std::size_t{512} << 20;
};

/// Any thread; holds for requests opened afterwards.
InternetLimits GetInternetLimits();
void SetInternetLimits(const InternetLimits& limits);

/// The limit of the bodies alone, likewise.
void SetMostBody(std::size_t nBytes);

}  // namespace qvant::platform
