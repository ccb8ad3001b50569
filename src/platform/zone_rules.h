/// From the offsets that a zone has through one year to the record that tells them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/text.h"
#include "platform/zones.h"

namespace qvant::platform {

/// A stretch of time with one offset from UTC.
struct OffsetPeriod {
    std::int64_t nBegin = 0;          ///< seconds since 1970, UTC
    std::int64_t nEnd = 0;            ///< the first second after it
    std::int32_t nOffsetMinutes = 0;  ///< local less UTC

    bool operator==(const OffsetPeriod&) const = default;
};

/// The stretches of the zone's local year, in their order and without gaps; neighbours differ in their offset.
/// @param strName  the zone's name in the system's zone data, "Asia/Taipei"
/// @return nothing when the system has no such zone
std::vector<OffsetPeriod> ReadOffsets(const std::string& strName, int nYear);

/// Name in the system's zone data of a zone key; empty for a key that isn't known.
std::string FindZoneName(TextView strKey);

/// Sets the biases and the rule dates.
///
/// A record knows two offsets: one inside a span of the year, one outside of it. The span is the one that agrees with
/// the zone for the longest part of the year, so that a year with two changes, or with one, is told exactly, and one
/// with more (a second pair of changes around a month of fasting) as well as a record can. The higher offset is always
/// the daylight one, however the zone's own law calls it. One hour can be wrong where a year begins in the higher
/// offset and changes once.
void SetRules(ZoneRecord& record, const std::vector<OffsetPeriod>& arPeriods);

}  // namespace qvant::platform
