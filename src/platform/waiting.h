/// The longest wait with a limit: what a caller asks for beyond it could leave the clock's range.
#pragma once

#include <algorithm>
#include <chrono>

namespace qvant::platform {

inline std::chrono::milliseconds LimitWait(std::chrono::milliseconds wait) {
    return std::min<std::chrono::milliseconds>(wait, std::chrono::hours(24 * 365 * 10));
}

}  // namespace qvant::platform
