#include "platform/calendar.h"

#include <algorithm>

namespace qvant::platform {

namespace {

// The year is counted from March, so that the leap day is a year's last, and in eras of 400 years, which are all of
// the same length.
constexpr std::int64_t DAYS_AN_ERA = 146'097;
constexpr std::int64_t DAYS_TO_1970 = 719'468;

/// Far beyond any year that the calendar is asked for, and near enough that no sum of fields leaves 64 bits.
constexpr std::int64_t YEAR_LIMIT = 1'000'000;

void SetDate(SystemTime& time, std::int64_t nDays) {
    const std::int64_t nShifted = nDays + DAYS_TO_1970;
    const std::int64_t nEra = FloorDivide(nShifted, DAYS_AN_ERA);
    const std::int64_t nDayOfEra = nShifted - nEra * DAYS_AN_ERA;
    const std::int64_t nYearOfEra =
        (nDayOfEra - nDayOfEra / 1460 + nDayOfEra / 36'524 - nDayOfEra / (DAYS_AN_ERA - 1)) / 365;
    const std::int64_t nDayOfYear = nDayOfEra - (365 * nYearOfEra + nYearOfEra / 4 - nYearOfEra / 100);
    const std::int64_t nMonthFromMarch = (5 * nDayOfYear + 2) / 153;
    time.nDay = static_cast<int>(nDayOfYear - (153 * nMonthFromMarch + 2) / 5 + 1);
    time.nMonth = static_cast<int>(nMonthFromMarch < 10 ? nMonthFromMarch + 3 : nMonthFromMarch - 9);
    time.nYear = static_cast<int>(nYearOfEra + nEra * 400 + (time.nMonth <= 2 ? 1 : 0));
    time.nDayOfWeek = DayOfWeek(nDays);
}

}  // namespace

std::int64_t DaysFromDate(std::int64_t nYear, std::int64_t nMonth, std::int64_t nDay) {
    const std::int64_t nMonthFromMarch = nMonth - 3;
    const std::int64_t nYears = FloorDivide(nMonthFromMarch, 12);
    const std::int64_t nYearFromMarch = std::clamp(nYear + nYears, -YEAR_LIMIT, YEAR_LIMIT);
    const std::int64_t nEra = FloorDivide(nYearFromMarch, 400);
    const std::int64_t nYearOfEra = nYearFromMarch - nEra * 400;
    const std::int64_t nDayOfYear = (153 * (nMonthFromMarch - nYears * 12) + 2) / 5 + nDay - 1;
    return nEra * DAYS_AN_ERA + nYearOfEra * 365 + nYearOfEra / 4 - nYearOfEra / 100 + nDayOfYear - DAYS_TO_1970;
}

int DayOfWeek(std::int64_t nDays) {
    const std::int64_t nDay = (nDays % 7 + 4) % 7;  // 1970 began on a Thursday
    return static_cast<int>(nDay < 0 ? nDay + 7 : nDay);
}

SystemTime ToUtc(std::int64_t nMilliseconds) {
    const std::int64_t nDays = FloorDivide(nMilliseconds, MILLISECONDS_A_DAY);
    const auto nInDay = static_cast<int>(FloorRemainder(nMilliseconds, MILLISECONDS_A_DAY));
    SystemTime time;
    SetDate(time, nDays);
    time.nHour = nInDay / 3'600'000;
    time.nMinute = nInDay / 60'000 % 60;
    time.nSecond = nInDay / 1'000 % 60;
    time.nMilliseconds = nInDay % 1'000;
    return time;
}

std::int64_t FromUtc(const SystemTime& time) {
    const std::int64_t nDays = DaysFromDate(time.nYear, time.nMonth, time.nDay);
    const std::int64_t nMinutes = std::int64_t{time.nHour} * 60 + time.nMinute;
    return nDays * MILLISECONDS_A_DAY + nMinutes * MILLISECONDS_A_MINUTE + std::int64_t{time.nSecond} * 1'000 +
           time.nMilliseconds;
}

}  // namespace qvant::platform
