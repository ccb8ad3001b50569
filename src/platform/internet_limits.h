/// The HTTP stack's own time-outs, where a request names none.
#pragma once

#include <chrono>

namespace qvant::platform {

struct InternetLimits {
    std::chrono::milliseconds connect{60'000};  ///< to connect, name and secure channel included
    std::chrono::milliseconds silence{30'000};  ///< without a byte, once connected
};

/// Any thread; holds for requests opened afterwards.
InternetLimits GetInternetLimits();
void SetInternetLimits(const InternetLimits& limits);

}  // namespace qvant::platform
