#include "symbols/time_base.h"

#include <algorithm>
#include <array>

#include "base/failure.h"

namespace qvant {

namespace {

constexpr int YEAR_SHIFT = 1600;
constexpr std::int64_t TICKS_A_MILLISECOND = 10000;
constexpr std::int64_t TICKS_TO_1970 = 116444736000000000;  ///< from the first day of 1601
constexpr int FIRST_YEAR = 1601;                            ///< of the years that ticks can count
constexpr int LAST_YEAR = 30827;
constexpr std::int64_t LEAST_SECONDS = -62135596800;  ///< the first of year 1
constexpr std::int64_t MOST_SECONDS = 253402300799;   ///< the last of year 9999
constexpr std::int32_t MIDNIGHT = 240000;

struct Period {
    std::int32_t nFrom;
    std::int32_t nBefore;
};

// Written out on purpose: files and peers rely on these years and no others.
constexpr std::array<Period, 19> US_DAYLIGHT = {{
    {20080309, 20081102}, {20090308, 20091101}, {20100314, 20101107}, {20110313, 20111106}, {20120311, 20121104},
    {20130310, 20131103}, {20140309, 20141102}, {20150308, 20151101}, {20160313, 20161106}, {20170312, 20171105},
    {20180311, 20181104}, {20190310, 20191103}, {20200308, 20201101}, {20210314, 20211107}, {20220313, 20221106},
    {20230312, 20231105}, {20240310, 20241103}, {20250309, 20251102}, {20260308, 20261101},
}};

/// A day or an hour that the calendar doesn't have.
bool IsCalendarTime(const platform::SystemTime& time, std::int64_t nMilliseconds) {
    const platform::SystemTime same = platform::ToUtc(nMilliseconds);
    return same.nMonth == time.nMonth && same.nDay == time.nDay && same.nHour == time.nHour &&
           same.nMinute == time.nMinute && same.nSecond == time.nSecond;
}

/// Ticks of a calendar time whose year isn't raised yet; 0 when there is no such time.
std::int64_t ToClock(platform::SystemTime time) {
    time.nYear += YEAR_SHIFT;
    if (time.nYear < FIRST_YEAR || time.nYear > LAST_YEAR) return 0;
    const std::int64_t nMilliseconds = platform::FromUtc(time);
    if (!IsCalendarTime(time, nMilliseconds)) return 0;
    return nMilliseconds * TICKS_A_MILLISECOND + TICKS_TO_1970;
}

platform::SystemTime SplitDate(std::int32_t nDate) {
    return {.nYear = nDate / 10000, .nMonth = nDate % 10000 / 100, .nDay = nDate % 100};
}

platform::SystemTime SplitDateAndTime(std::int32_t nDate, std::int32_t nTime) {
    platform::SystemTime time = SplitDate(nDate);
    time.nHour = nTime / 10000;
    time.nMinute = nTime % 10000 / 100;
    time.nSecond = nTime % 100;
    return time;
}

std::int64_t PackDateAndTime(const platform::SystemTime& time) {
    const std::int64_t nDate = std::int64_t{time.nYear} * 10000 + time.nMonth * 100 + time.nDay;
    return nDate * 1000000 + time.nHour * 10000 + time.nMinute * 100 + time.nSecond;
}

/// The day after, by the machine's calendar; noon stays clear of every change of its clock.
platform::SystemTime MoveToNextDay(platform::SystemTime date) {
    const bool bInRange =
        date.nYear >= 1900 && date.nMonth >= 1 && date.nMonth <= 12 && date.nDay >= 1 && date.nDay <= 31;
    if (!bInRange) throw CFailure(CFailure::UNSPECIFIED);
    ++date.nDay;
    date.nHour = 12;
    const auto nSeconds = platform::FromLocal(date);
    if (!nSeconds) throw CFailure(CFailure::UNSPECIFIED);
    const platform::SystemTime next = platform::ToLocal(*nSeconds * 1000);
    return {.nYear = next.nYear, .nMonth = next.nMonth, .nDay = next.nDay};
}

}  // namespace

std::int64_t ClockNowUtc(const platform::IClock& clock) { return ToClock(platform::ToUtc(clock.NowMilliseconds())); }

std::int64_t ClockNowLocal(const platform::IClock& clock) {
    return ToClock(platform::ToLocal(clock.NowMilliseconds()));
}

std::int64_t MakeClock(std::int32_t nDate, std::int32_t nTime) {
    if (nDate == 0) return 0;
    if (nTime >= MIDNIGHT) return ToClock(MoveToNextDay(SplitDate(nDate)));
    platform::SystemTime time = SplitDateAndTime(nDate, nTime);
    if (time.nMinute != 60) return ToClock(time);
    time.nMinute = 0;
    return ToClock(time) + CLOCK_HOUR;
}

std::int64_t MakeClockMs(std::int32_t nDate, std::int32_t nTimeMs) {
    if (nDate == 0) return 0;
    platform::SystemTime time = SplitDateAndTime(nDate, nTimeMs / 1000);
    time.nMilliseconds = nTimeMs % 1000;
    return ToClock(time);
}

std::int64_t MakeClockNumber(std::int64_t nNumber) {
    return MakeClock(static_cast<std::int32_t>(nNumber / 1000000), static_cast<std::int32_t>(nNumber % 1000000));
}

std::int64_t RenderClock(std::int64_t nClock) {
    if (nClock < 0) return 0;
    platform::SystemTime time = platform::ToUtc((nClock - TICKS_TO_1970) / TICKS_A_MILLISECOND);
    time.nYear -= YEAR_SHIFT;
    return PackDateAndTime(time);
}

std::int64_t ChinaToUtcNumber(std::int64_t nNumber) {
    return RenderClock(MakeClockNumber(nNumber) - CLOCK_CHINA_OFFSET);
}

std::int64_t FormatLocalTime(std::int64_t nSeconds) {
    if (nSeconds < LEAST_SECONDS || nSeconds > MOST_SECONDS) return 0;
    return PackDateAndTime(platform::ToLocal(nSeconds * 1000));
}

std::int64_t NowUtcNumber(const platform::IClock& clock) {
    return PackDateAndTime(platform::ToUtc(clock.NowMilliseconds()));
}

std::int32_t ShiftMinutes(std::int32_t nHhmm, std::int32_t nMinutes) {
    constexpr std::int64_t MINUTES_A_DAY = 1440;
    std::int64_t nOfDay = std::int64_t{nHhmm} - std::int64_t{nHhmm / 100} * 40 + nMinutes;
    if (nOfDay < 0) {
        nOfDay += MINUTES_A_DAY;
    } else if (nOfDay >= MINUTES_A_DAY) {
        nOfDay -= MINUTES_A_DAY;
    }
    return static_cast<std::int32_t>(nOfDay + nOfDay / 60 * 40);
}

bool IsUsDaylightSaving(std::int32_t nDate) {
    return std::any_of(US_DAYLIGHT.begin(), US_DAYLIGHT.end(),
                       [nDate](const Period& period) { return nDate >= period.nFrom && nDate < period.nBefore; });
}

}  // namespace qvant
