#include <algorithm>
#include <chrono>
#include <stdexcept>

#include <date/tz.h>

#include "platform/calendar.h"
#include "platform/zone_rules.h"

namespace qvant::platform {

namespace {

using date::sys_seconds;

/// The first second of a local year. The offset is the one that holds when UTC begins that year.
sys_seconds StartOfYear(const date::time_zone& zone, int nYear) {
    const sys_seconds start{std::chrono::seconds(DaysFromDate(nYear, 1, 1) * 86'400)};
    return start - zone.get_info(start).offset;
}

std::vector<OffsetPeriod> ReadPeriods(const date::time_zone& zone, sys_seconds start, sys_seconds end) {
    std::vector<OffsetPeriod> arPeriods;
    while (start < end) {
        const date::sys_info info = zone.get_info(start);
        const sys_seconds next = std::min(info.end, end);
        if (next <= start) break;
        const auto nOffset =
            static_cast<std::int32_t>(std::chrono::duration_cast<std::chrono::minutes>(info.offset).count());
        if (!arPeriods.empty() && arPeriods.back().nOffsetMinutes == nOffset) {
            arPeriods.back().nEnd = next.time_since_epoch().count();
        } else {
            arPeriods.push_back({start.time_since_epoch().count(), next.time_since_epoch().count(), nOffset});
        }
        start = next;
    }
    return arPeriods;
}

}  // namespace

std::vector<OffsetPeriod> ReadOffsets(const std::string& strName, int nYear) {
    // The zone files list their changes up to 2037. The rules in force then are those of all the years after it.
    constexpr int LAST_YEAR = 2037;
    nYear = std::clamp(nYear, 1, LAST_YEAR);
    try {
        const date::time_zone& zone = *date::locate_zone(strName);
        return ReadPeriods(zone, StartOfYear(zone, nYear), StartOfYear(zone, nYear + 1));
    } catch (const std::runtime_error&) {
        return {};
    }
}

}  // namespace qvant::platform
