#include "local_time.h"

#include <cstdio>

#include "form.h"

namespace qvant::host {

namespace {

constexpr std::chrono::minutes DAY{24 * 60};
constexpr std::int64_t TIMES_OF_A_DAY = 1'000'000;  ///< hhmmss has six decimal digits
constexpr std::int64_t DATES_END = 100'000'000;     ///< yyyymmdd has eight

std::int64_t Pack(const std::tm& time) {
    const std::int64_t nDate = (time.tm_year + 1900) * 10'000LL + (time.tm_mon + 1) * 100 + time.tm_mday;
    return nDate * TIMES_OF_A_DAY + time.tm_hour * 10'000 + time.tm_min * 100 + time.tm_sec;
}

/// None when it isn't there, or has more digits than belong there.
std::optional<std::int64_t> ReadNumber(const std::optional<CStoreTable>& clock, TextView strKey, std::int64_t nEnd) {
    const auto nNumber = clock ? ParseInteger(ToText(clock->GetValue(strKey))) : std::nullopt;
    return nNumber && *nNumber >= 0 && *nNumber < nEnd ? nNumber : std::nullopt;
}

}  // namespace

std::tm NoonOf(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    std::tm noon{};
    noon.tm_year = int{date.year()} - 1900;
    noon.tm_mon = static_cast<int>(unsigned{date.month()}) - 1;
    noon.tm_mday = static_cast<int>(unsigned{date.day()});
    noon.tm_hour = 12;
    noon.tm_isdst = -1;
    std::mktime(&noon);
    return noon;
}

Text ShowZone(std::chrono::minutes offset) {
    const auto nMinutes = static_cast<int>(std::chrono::abs(offset).count());
    char szZone[32];
    std::snprintf(szZone, sizeof szZone, "UTC%c%02d:%02d", offset < std::chrono::minutes(0) ? '-' : '+', nMinutes / 60,
                  nMinutes % 60);
    return Widen(szZone);
}

Text ShowTime(std::chrono::minutes time) {
    const auto nTime = static_cast<int>(((time % DAY) + DAY).count() % DAY.count());
    char szTime[16];
    std::snprintf(szTime, sizeof szTime, "%02d:%02d", nTime / 60, nTime % 60);
    return Widen(szTime);
}

std::optional<std::chrono::sys_seconds> ToMoment(std::int64_t nMoment) {
    const auto day = nMoment < 0 ? std::nullopt : ToDay(nMoment / TIMES_OF_A_DAY);
    const std::int64_t nTime = nMoment % TIMES_OF_A_DAY;
    if (!day || nTime / 10'000 > 23 || nTime / 100 % 100 > 59 || nTime % 100 > 59) return std::nullopt;
    return *day + std::chrono::hours(nTime / 10'000) + std::chrono::minutes(nTime / 100 % 100) +
           std::chrono::seconds(nTime % 100);
}

std::int64_t ToNumber(std::chrono::sys_seconds moment) {
    const std::time_t seconds = moment.time_since_epoch().count();
    std::tm time{};
    gmtime_r(&seconds, &time);
    return Pack(time);
}

std::int64_t ToLocalNumber(std::chrono::sys_seconds moment) {
    const std::time_t seconds = moment.time_since_epoch().count();
    std::tm time{};
    localtime_r(&seconds, &time);
    return Pack(time);
}

std::int64_t ReadNow(const CTables& tables) {
    const auto clock = tables.Find(u"QvantSystemTime");
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    const std::int64_t nNow = ToNumber(now);
    return ReadNumber(clock, u"SystemDate", DATES_END).value_or(nNow / TIMES_OF_A_DAY) * TIMES_OF_A_DAY +
           ReadNumber(clock, u"SystemTime", TIMES_OF_A_DAY).value_or(nNow % TIMES_OF_A_DAY);
}

}  // namespace qvant::host
