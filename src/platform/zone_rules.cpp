#include "platform/zone_rules.h"

#include <algorithm>

#include "platform/calendar.h"

namespace qvant::platform {

namespace {

/// Two offsets: one for the periods from `nFirst` up to `nLast`, the other for the rest.
struct Split {
    std::size_t nFirst = 0;
    std::size_t nLast = 0;
    std::int32_t nInside = 0;
    std::int32_t nOutside = 0;
    std::int64_t nAgreed = -1;  ///< seconds of the year that it tells rightly
};

struct Choice {
    std::int32_t nOffset = 0;
    std::int64_t nSeconds = 0;
};

bool IsInside(const Split& split, std::size_t i) { return i >= split.nFirst && i < split.nLast; }

/// The offset that holds longest in the periods of one side of the split.
Choice ChooseOffset(const std::vector<OffsetPeriod>& arPeriods, const Split& split, bool bInside) {
    Choice best;
    for (const OffsetPeriod& candidate : arPeriods) {
        std::int64_t nSeconds = 0;
        for (std::size_t i = 0; i < arPeriods.size(); ++i) {
            const OffsetPeriod& period = arPeriods[i];
            const bool bCounts = IsInside(split, i) == bInside && period.nOffsetMinutes == candidate.nOffsetMinutes;
            if (bCounts) nSeconds += period.nEnd - period.nBegin;
        }
        if (nSeconds > best.nSeconds) best = {candidate.nOffsetMinutes, nSeconds};
    }
    return best;
}

/// A span that ends with the year leaves a rest that begins with it, which is tried as a span of its own.
Split FindBestSplit(const std::vector<OffsetPeriod>& arPeriods) {
    Split best;
    for (std::size_t nFirst = 0; nFirst < arPeriods.size(); ++nFirst) {
        for (std::size_t nLast = nFirst; nLast < arPeriods.size(); ++nLast) {
            Split split{.nFirst = nFirst, .nLast = nLast};
            const Choice inside = ChooseOffset(arPeriods, split, true);
            const Choice outside = ChooseOffset(arPeriods, split, false);
            split.nInside = inside.nOffset;
            split.nOutside = outside.nOffset;
            split.nAgreed = inside.nSeconds + outside.nSeconds;
            if (split.nAgreed > best.nAgreed) best = split;
        }
    }
    return best;
}

/// The weekday rule that gives this wall-clock time in its own year.
SystemTime MakeRule(std::int64_t nUtcSeconds, std::int32_t nOffsetMinutes) {
    constexpr int LAST_IN_MONTH = 5;
    SystemTime rule = ToUtc((nUtcSeconds + std::int64_t{nOffsetMinutes} * 60) * 1'000);
    const auto nDaysInMonth =
        static_cast<int>(DaysFromDate(rule.nYear, rule.nMonth + 1, 1) - DaysFromDate(rule.nYear, rule.nMonth, 1));
    rule.nDay = rule.nDay > nDaysInMonth - 7 ? LAST_IN_MONTH : (rule.nDay + 6) / 7;
    rule.nYear = 0;
    return rule;
}

}  // namespace

void SetRules(ZoneRecord& record, const std::vector<OffsetPeriod>& arPeriods) {
    const Split split = FindBestSplit(arPeriods);
    record.bias = -split.nOutside;
    if (split.nFirst == split.nLast || split.nInside == split.nOutside) return;
    const std::int32_t nStandard = std::min(split.nInside, split.nOutside);
    const std::int32_t nDaylight = std::max(split.nInside, split.nOutside);
    record.bias = -nStandard;
    record.daylightBias = nStandard - nDaylight;
    const OffsetPeriod& first = arPeriods[split.nFirst];
    const OffsetPeriod& last = arPeriods[split.nLast - 1];
    // A rule stands in the time that ends there. A span from the year's start begins with it in local time.
    const std::int32_t nBefore = split.nFirst == 0 ? split.nInside : split.nOutside;
    const SystemTime begin = MakeRule(first.nBegin, nBefore);
    const SystemTime end = MakeRule(last.nEnd, split.nInside);
    const bool bDaylightInside = split.nInside > split.nOutside;
    record.daylightDate = bDaylightInside ? begin : end;
    record.standardDate = bDaylightInside ? end : begin;
}

}  // namespace qvant::platform
