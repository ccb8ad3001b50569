#include "platform/zones.h"

#include <algorithm>

#include "platform/calendar.h"

namespace qvant::platform {

namespace {

/// Wall-clock milliseconds at which a rule strikes in a year.
std::int64_t FindRuleTime(const SystemTime& rule, int nYear) {
    SystemTime time = rule;
    if (rule.nYear == 0) {
        constexpr int LAST_IN_MONTH = 5;
        const std::int64_t nFirst = DaysFromDate(nYear, rule.nMonth, 1);
        const std::int64_t nNextMonth = DaysFromDate(nYear, std::int64_t{rule.nMonth} + 1, 1);
        std::int64_t nDay = nFirst + (rule.nDayOfWeek % 7 - DayOfWeek(nFirst) + 7) % 7 +
                            (std::int64_t{std::clamp(rule.nDay, 1, LAST_IN_MONTH)} - 1) * 7;
        // The fifth of a month that has four is its last.
        while (nDay >= nNextMonth) nDay -= 7;
        time.nYear = nYear;
        time.nDay = static_cast<int>(nDay - nFirst) + 1;
    }
    return FromUtc(time);
}

/// Whether daylight time is on at a wall-clock time, given as the two clocks would show it.
bool IsDaylight(const ZoneRecord& zone, int nYear, std::int64_t nStandardClock, std::int64_t nDaylightClock) {
    const std::int64_t nDaylightRule = FindRuleTime(zone.daylightDate, nYear);
    const std::int64_t nStandardRule = FindRuleTime(zone.standardDate, nYear);
    const bool bBegun = nStandardClock >= nDaylightRule;
    const bool bNotEnded = nDaylightClock < nStandardRule;
    // South of the equator the year begins and ends in daylight time.
    return nDaylightRule < nStandardRule ? bBegun && bNotEnded : bBegun || bNotEnded;
}

bool HasDaylight(const ZoneRecord& zone) { return zone.standardDate.nMonth != 0 && zone.daylightDate.nMonth != 0; }

std::int64_t ToMilliseconds(std::int64_t nMinutes) { return nMinutes * MILLISECONDS_A_MINUTE; }

}  // namespace

SystemTime UtcToZone(const ZoneRecord& zone, const SystemTime& utc) {
    const std::int64_t nPlain = FromUtc(utc) - ToMilliseconds(zone.bias);
    if (!HasDaylight(zone)) return ToUtc(nPlain);
    const std::int64_t nStandard = nPlain - ToMilliseconds(zone.standardBias);
    const std::int64_t nDaylight = nPlain - ToMilliseconds(zone.daylightBias);
    const SystemTime standard = ToUtc(nStandard);
    return IsDaylight(zone, standard.nYear, nStandard, nDaylight) ? ToUtc(nDaylight) : standard;
}

SystemTime ZoneToUtc(const ZoneRecord& zone, SystemTime& local) {
    const std::int64_t nLocal = FromUtc(local);
    local = ToUtc(nLocal);
    std::int64_t nBias = zone.bias;
    // An hour that the clock shows twice, or skips, is taken by the wall clock alone: as daylight time.
    if (HasDaylight(zone)) {
        nBias += IsDaylight(zone, local.nYear, nLocal, nLocal) ? zone.daylightBias : zone.standardBias;
    }
    return ToUtc(nLocal + ToMilliseconds(nBias));
}

}  // namespace qvant::platform
