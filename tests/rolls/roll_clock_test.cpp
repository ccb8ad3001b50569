#include "rolls/roll_clock.h"

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "support/scratch_folder.h"
#include "symbols/time_base.h"

namespace qvant::test {

namespace {

std::int64_t Milliseconds(int nYear, int nMonth, int nDay, int nHour = 0) {
    return platform::FromUtc({.nYear = nYear, .nMonth = nMonth, .nDay = nDay, .nHour = nHour});
}

}  // namespace

TEST(ShiftMoment, CarriesOverDaysMonthsAndYears) {
    EXPECT_EQ(ShiftMoment(20201211090000, CLOCK_CHINA_OFFSET), 20201211170000);
    EXPECT_EQ(ShiftMoment(20201231235959, 2 * CLOCK_HOUR), 20210101015959);
    EXPECT_EQ(ShiftMoment(20200301000000, -CLOCK_MINUTE), 20200229235900);
}

TEST(ShiftMoment, TakesMidnightAtTheEndOfADayForThatOfTheNext) {
    EXPECT_EQ(ShiftMoment(20201231240000, 0), 20210101000000);
}

TEST(ShiftMoment, LetsWhatIsNoDateAndTimeThroughAsTheStartOfTheClock) {
    const std::int64_t nStart = ShiftMoment(0, CLOCK_CHINA_OFFSET);
    EXPECT_EQ(nStart, 10101080000);
    for (const std::int64_t nMoment : {20200309LL, 202003090000LL, 202003091LL, 20201350000000LL, -20200309000000LL,
                                       9'223'372'036'854'775'807LL, -9'223'372'036'854'775'807LL - 1}) {
        EXPECT_EQ(ShiftMoment(nMoment, CLOCK_CHINA_OFFSET), nStart) << nMoment;
    }
    EXPECT_EQ(ShiftMoment(0, -CLOCK_CHINA_OFFSET), 0);
}

TEST(ShiftMoment, LetsADateThroughThatTheCalendarRefusesToMoveToTheNextDay) {
    // Thirteen digits: a date with a time of five.
    EXPECT_EQ(ShiftMoment(2020030940000, CLOCK_CHINA_OFFSET), 10101080000);
    EXPECT_EQ(ShiftMoment(18991231240000, CLOCK_CHINA_OFFSET), 10101080000);
}

TEST(GetZoneOffset, IsWhatTheMachinesClockIsAheadOfUtc) {
    const std::int64_t nSummer = Milliseconds(2026, 7, 1);
    const std::int64_t nWinter = Milliseconds(2026, 12, 1);
    {
        const CEnvironment zone("TZ", "Asia/Taipei");
        EXPECT_EQ(GetZoneOffset(nSummer), 480);
    }
    {
        const CEnvironment zone("TZ", "America/Chicago");
        EXPECT_EQ(GetZoneOffset(nSummer), -300);
        EXPECT_EQ(GetZoneOffset(nWinter), -360);
    }
    {
        const CEnvironment zone("TZ", "UTC");
        EXPECT_EQ(GetZoneOffset(nWinter), 0);
    }
}

TEST(GetZoneOffset, CutsSecondsTowardsZero) {
    {
        const CEnvironment zone("TZ", "ODD-1:02:59");
        EXPECT_EQ(GetZoneOffset(Milliseconds(2026, 7, 1)), 62);
    }
    const CEnvironment zone("TZ", "ODD1:02:59");
    EXPECT_EQ(GetZoneOffset(Milliseconds(2026, 7, 1)), -62);
}

}  // namespace qvant::test
