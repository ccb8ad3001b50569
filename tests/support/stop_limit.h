/// How soon work ends that is told to stop.
#pragma once

#include <chrono>

#include "support/sanitizers.h"

namespace qvant::test {

/// Half a second is promised. A sanitizer makes every step several times slower, beside other tests above all.
inline constexpr std::chrono::milliseconds STOP_LIMIT{UNDER_THREAD_SANITIZER || UNDER_ADDRESS_SANITIZER ? 2'000 : 500};

}  // namespace qvant::test
