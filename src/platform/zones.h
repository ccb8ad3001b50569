/// The platform's time-zone records, and the two conversions that follow them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/text.h"
#include "platform/clock.h"

namespace qvant::platform {

/// One time zone. Minutes: UTC = local + bias + the bias of the season. Rule dates are zero in a zone without daylight
/// saving. A rule date with year 0 is a weekday rule: month, hour and minute, `nDayOfWeek`, and `nDay` as the
/// occurrence in the month (5: the last).
struct ZoneRecord {
    std::string display;
    std::string daylightName;
    std::string standardName;
    std::string mapId;
    std::int32_t index = 0;
    std::int32_t bias = 0;
    std::int32_t standardBias = 0;
    std::int32_t daylightBias = 0;
    SystemTime standardDate;
    SystemTime daylightDate;
};

/// The zone keys of this machine ("Taipei Standard Time"), sorted.
std::vector<Text> GetZoneKeys();

/// The record of one zone key, with the rules of the given year; a key that isn't known gives a zeroed record.
ZoneRecord ReadZone(TextView strKey, int nYear);

/// UTC to the zone's local time, by the record's rules.
SystemTime UtcToZone(const ZoneRecord& zone, const SystemTime& utc);

/// The zone's local time to UTC, by the record's rules. A time past the end of its day is taken as the next day's.
/// `local` is brought into its proper form: date, day of the week and time.
SystemTime ZoneToUtc(const ZoneRecord& zone, SystemTime& local);

}  // namespace qvant::platform
