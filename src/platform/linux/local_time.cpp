#include <ctime>

#include "base/mutex.h"
#include "platform/calendar.h"

namespace qvant::platform {

namespace {

// The C library has one zone for the process: it is read anew and used in one go.
CMutex g_mutexZone;

}  // namespace

SystemTime ToLocal(std::int64_t nMilliseconds) {
    const auto nSeconds = static_cast<std::time_t>(FloorDivide(nMilliseconds, 1'000));
    std::tm parts{};
    const CLock lock(g_mutexZone);
    // localtime_r alone may go on with the zone that it met first.
    tzset();
    if (!localtime_r(&nSeconds, &parts)) return ToUtc(nMilliseconds);
    return {.nYear = parts.tm_year + 1900,
            .nMonth = parts.tm_mon + 1,
            .nDayOfWeek = parts.tm_wday,
            .nDay = parts.tm_mday,
            .nHour = parts.tm_hour,
            .nMinute = parts.tm_min,
            .nSecond = parts.tm_sec,
            .nMilliseconds = static_cast<int>(FloorRemainder(nMilliseconds, 1'000))};
}

std::optional<std::int64_t> FromLocal(const SystemTime& time) {
    constexpr int LEAST_YEAR = -100'000'000;
    constexpr int NO_DAY_OF_WEEK = -1;
    if (time.nYear < LEAST_YEAR || time.nMonth < LEAST_YEAR) return std::nullopt;
    std::tm parts{};
    parts.tm_year = time.nYear - 1900;
    parts.tm_mon = time.nMonth - 1;
    parts.tm_mday = time.nDay;
    parts.tm_hour = time.nHour;
    parts.tm_min = time.nMinute;
    parts.tm_sec = time.nSecond;
    parts.tm_isdst = -1;
    // -1 is a time like any other; only the day of the week, which a failure leaves alone, tells them apart.
    parts.tm_wday = NO_DAY_OF_WEEK;
    const CLock lock(g_mutexZone);
    const std::time_t nSeconds = std::mktime(&parts);
    if (parts.tm_wday == NO_DAY_OF_WEEK) return std::nullopt;
    return static_cast<std::int64_t>(nSeconds);
}

}  // namespace qvant::platform
