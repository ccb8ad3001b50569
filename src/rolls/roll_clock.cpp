#include "rolls/roll_clock.h"

#include "base/failure.h"
#include "platform/calendar.h"
#include "symbols/time_base.h"

namespace qvant {

namespace {

std::int64_t ReadMoment(std::int64_t nMoment) {
    try {
        return MakeClockNumber(nMoment);
    } catch (const CFailure&) {
        return 0;
    }
}

}  // namespace

std::int64_t ShiftMoment(std::int64_t nMoment, std::int64_t nTicks) {
    return RenderClock(ReadMoment(nMoment) + nTicks);
}

/// From one reading of the clock: two of them could lie on both sides of a minute.
std::int64_t GetZoneOffset(std::int64_t nMilliseconds) {
    const std::int64_t nLocal = platform::FromUtc(platform::ToLocal(nMilliseconds));
    return (nLocal - nMilliseconds) / platform::MILLISECONDS_A_MINUTE;
}

}  // namespace qvant
