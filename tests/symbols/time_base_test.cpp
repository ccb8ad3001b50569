#include "symbols/time_base.h"

#include <limits>

#include <gtest/gtest.h>

#include "base/failure.h"
#include "platform/surroundings.h"
#include "symbols/manual_clock.h"

namespace qvant {
namespace {

TEST(MakeClock, CountsTicksFrom1601WithTheYearRaised) {
    // 1601 is 3201 raised: 1600 years of 146097 days each four centuries.
    EXPECT_EQ(MakeClock(16010101, 0), 4 * 146097 * 24 * CLOCK_HOUR);
    EXPECT_EQ(MakeClock(20201218, 10000) - MakeClock(20201218, 0), CLOCK_HOUR);
    EXPECT_EQ(MakeClock(20201218, 100) - MakeClock(20201218, 0), CLOCK_MINUTE);
}

TEST(MakeClock, TakesMidnightAtADaysEndForTheNextDays) {
    EXPECT_EQ(MakeClock(20201231, 240000), MakeClock(20210101, 0));
    EXPECT_EQ(MakeClock(20240228, 250000), MakeClock(20240229, 0));
}

TEST(MakeClock, MovesOneDayOnWhateverTheMachinesClockDoesThatDay) {
    const platform::CVariable zone("TZ", "America/New_York");
    EXPECT_EQ(MakeClock(20241103, 240000), MakeClock(20241104, 0));
    EXPECT_EQ(MakeClock(20240310, 240000), MakeClock(20240311, 0));
}

TEST(MakeClock, TakesAMinuteOf60ForAnHour) {
    EXPECT_EQ(MakeClock(20201231, 96000), MakeClock(20201231, 100000));
    EXPECT_EQ(RenderClock(MakeClock(20201231, 96000)), 20201231100000);
    EXPECT_EQ(MakeClock(20201231, 236000), MakeClock(20210101, 0));
}

TEST(MakeClock, RefusesToMoveADateThatIsNone) {
    for (const std::int32_t nDate : {18991231, 20201301, 20200001, 20201200, 20201232}) {
        try {
            MakeClock(nDate, 240000);
            ADD_FAILURE() << nDate;
        } catch (const CFailure& failure) {
            EXPECT_EQ(failure.GetCode(), static_cast<std::int32_t>(0x80004005));
        }
    }
}

TEST(MakeClock, OfNoDateIsZero) {
    EXPECT_EQ(MakeClock(0, 120000), 0);
    EXPECT_EQ(MakeClock(0, 240000), 0);
    EXPECT_EQ(MakeClockMs(0, 120000000), 0);
}

TEST(MakeClock, OfATimeThatTheCalendarDoesNotHaveIsZero) {
    EXPECT_EQ(MakeClock(20210229, 0), 0);
    EXPECT_EQ(MakeClock(20211301, 0), 0);
    EXPECT_EQ(MakeClock(20210101, 126100), 0);
    EXPECT_EQ(MakeClock(std::numeric_limits<std::int32_t>::max(), 0), 0);
    EXPECT_EQ(MakeClock(std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::min()), 0);
}

TEST(MakeClockMs, CountsMilliseconds) {
    EXPECT_EQ(MakeClockMs(20201218, 93000250), MakeClock(20201218, 93000) + 2500000);
}

TEST(RenderClock, GivesBackDateAndTime) {
    for (const std::int32_t nDate : {16010101, 19700101, 20200229, 20201231, 99991231}) {
        for (const std::int32_t nTime : {0, 1, 93015, 235959}) {
            EXPECT_EQ(RenderClock(MakeClock(nDate, nTime)), nDate * std::int64_t{1000000} + nTime);
        }
    }
}

TEST(MakeClockNumber, SplitsDateAndTime) { EXPECT_EQ(MakeClockNumber(20201218093015), MakeClock(20201218, 93015)); }

TEST(ChinaToUtcNumber, GoesEightHoursBack) { EXPECT_EQ(ChinaToUtcNumber(20201218000000), 20201217160000); }

TEST(ClockNow, FollowsTheClockInUtcAndInTheMachinesZone) {
    const platform::CVariable zone("TZ", "Asia/Taipei");
    const CManualClock clock(2020, 12, 17, 16, 30, 15);
    EXPECT_EQ(RenderClock(ClockNowUtc(clock)), 20201217163015);
    EXPECT_EQ(RenderClock(ClockNowLocal(clock)), 20201218003015);
    EXPECT_EQ(NowUtcNumber(clock), 20201217163015);
}

TEST(FormatLocalTime, ShowsTheMachinesZone) {
    const platform::CVariable zone("TZ", "Asia/Taipei");
    EXPECT_EQ(FormatLocalTime(0), 19700101080000);
    EXPECT_EQ(FormatLocalTime(1608220800), 20201218000000);
}

TEST(FormatLocalTime, OfSecondsBeyondTheCalendarIsZero) {
    EXPECT_EQ(FormatLocalTime(std::numeric_limits<std::int64_t>::max()), 0);
    EXPECT_EQ(FormatLocalTime(std::numeric_limits<std::int64_t>::min()), 0);
}

TEST(ShiftMinutes, StaysWithinTheDay) {
    EXPECT_EQ(ShiftMinutes(1700, -60), 1600);
    EXPECT_EQ(ShiftMinutes(10, -60), 2310);
    EXPECT_EQ(ShiftMinutes(2330, 45), 15);
    EXPECT_EQ(ShiftMinutes(0, 0), 0);
}

TEST(IsUsDaylightSaving, CountsTheFirstDayAndNotTheLast) {
    EXPECT_TRUE(IsUsDaylightSaving(20201031));
    EXPECT_FALSE(IsUsDaylightSaving(20201101));
    EXPECT_TRUE(IsUsDaylightSaving(20200308));
    EXPECT_FALSE(IsUsDaylightSaving(20200307));
    EXPECT_TRUE(IsUsDaylightSaving(20260701));
}

TEST(IsUsDaylightSaving, IsFalseOutsideOfItsYears) {
    EXPECT_FALSE(IsUsDaylightSaving(20270401));
    EXPECT_FALSE(IsUsDaylightSaving(20070701));
}

}  // namespace
}  // namespace qvant
