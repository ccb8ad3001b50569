/// Calendar arithmetic of the Gregorian calendar, without any zone.
#pragma once

#include <cstdint>

#include "platform/clock.h"

namespace qvant::platform {

constexpr std::int64_t MILLISECONDS_A_MINUTE = 60'000;
constexpr std::int64_t MILLISECONDS_A_DAY = 86'400'000;

/// Division towards the past, and what it leaves: never below 0.
constexpr std::int64_t FloorDivide(std::int64_t n, std::int64_t nBy) { return n / nBy - (n % nBy < 0 ? 1 : 0); }
constexpr std::int64_t FloorRemainder(std::int64_t n, std::int64_t nBy) { return n % nBy + (n % nBy < 0 ? nBy : 0); }

/// Days since 1970-01-01 of a date; months outside 1 to 12 and days outside their month carry over.
std::int64_t DaysFromDate(std::int64_t nYear, std::int64_t nMonth, std::int64_t nDay);

/// 0 Sunday to 6, of days since 1970-01-01.
int DayOfWeek(std::int64_t nDays);

}  // namespace qvant::platform
