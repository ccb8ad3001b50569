/// Clock values, date-and-time numbers and the table of US daylight saving.
///
/// A clock value counts 100-ns ticks of a calendar time whose year was raised by 1600, so that differences are true
/// durations. A date-and-time number is YYYYMMDDhhmmss; dates alone are YYYYMMDD, times HHMMSS, minutes of day HHMM.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace qvant {

inline constexpr std::int64_t CLOCK_MINUTE = 600000000;
inline constexpr std::int64_t CLOCK_HOUR = 36000000000;
inline constexpr std::int64_t CLOCK_CHINA_OFFSET = 288000000000;  ///< China time is eight hours ahead of UTC

std::int64_t ClockNowUtc(const platform::IClock& clock);
std::int64_t ClockNowLocal(const platform::IClock& clock);
/// 0 for a date of 0; 240000 and above is the next day's midnight; a minute of 60 counts as an hour.
/// @throw CFailure  unspecified, when the calendar refuses the date that has to move
std::int64_t MakeClock(std::int32_t nDate, std::int32_t nTime);
/// As above, with HHMMSSmmm and neither special case.
std::int64_t MakeClockMs(std::int32_t nDate, std::int32_t nTimeMs);
std::int64_t MakeClockNumber(std::int64_t nNumber);
std::int64_t RenderClock(std::int64_t nClock);
std::int64_t ChinaToUtcNumber(std::int64_t nNumber);
/// Seconds since 1970 to a date-and-time number in the machine's zone.
std::int64_t FormatLocalTime(std::int64_t nSeconds);
std::int64_t NowUtcNumber(const platform::IClock& clock);
/// Moves an HHMM by minutes, within a day.
std::int32_t ShiftMinutes(std::int32_t nHhmm, std::int32_t nMinutes);
bool IsUsDaylightSaving(std::int32_t nDate);

}  // namespace qvant
