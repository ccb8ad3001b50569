/// Roll moments under the operations of the clock.
#pragma once

#include <cstdint>

namespace qvant {

/// A date-and-time number so many ticks later. What a broken line gives, which may be no date and time at all, goes
/// through as well: it counts as the start of the clock.
std::int64_t ShiftMoment(std::int64_t nMoment, std::int64_t nTicks);

/// Minutes that the machine's zone is ahead of UTC at a time, cut towards zero.
/// @param nMilliseconds  since 1970
std::int64_t GetZoneOffset(std::int64_t nMilliseconds);

}  // namespace qvant
