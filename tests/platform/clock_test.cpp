#include "platform/clock.h"

#include <chrono>
#include <ctime>
#include <limits>

#include <gtest/gtest.h>

#include "calendar_times.h"
#include "platform/calendar.h"
#include "platform/event.h"
#include "platform/thread.h"
#include "surroundings.h"

namespace qvant::platform {

namespace {

TEST(MachineClock, IsTheSystemsClock) {
    const std::time_t nBefore = std::time(nullptr);
    const std::int64_t nNow = MachineClock().NowMilliseconds();
    EXPECT_GE(nNow / 1'000 + 1, nBefore);
    EXPECT_LE(nNow / 1'000, std::time(nullptr));
}

TEST(ToUtc, GivesDateTimeAndDayOfWeek) {
    EXPECT_EQ(ToUtc(0), (SystemTime{1970, 1, 4, 1, 0, 0, 0, 0}));
    EXPECT_EQ(ToUtc(1'608'249'599'123), (SystemTime{2020, 12, 4, 17, 23, 59, 59, 123}));
    EXPECT_EQ(ToUtc(951'782'400'000), (SystemTime{2000, 2, 2, 29, 0, 0, 0, 0}));
}

TEST(ToUtc, CountsBackBefore1970) {
    EXPECT_EQ(ToUtc(-1), (SystemTime{1969, 12, 3, 31, 23, 59, 59, 999}));
    EXPECT_EQ(ToUtc(-62'135'596'800'000), (SystemTime{1, 1, 1, 1, 0, 0, 0, 0}));
}

TEST(ToUtc, SurvivesEveryNumber) {
    EXPECT_GT(ToUtc(std::numeric_limits<std::int64_t>::max()).nYear, 200'000'000);
    EXPECT_LT(ToUtc(std::numeric_limits<std::int64_t>::min()).nYear, -200'000'000);
}

TEST(FromUtc, IsTheWayBackForEveryDayOfTheCalendar) {
    const std::int64_t nLast = DaysFromDate(9999, 12, 31);
    int nDayOfWeek = 1;
    for (std::int64_t nDays = DaysFromDate(1, 1, 1); nDays <= nLast; ++nDays) {
        const SystemTime time = ToUtc(nDays * MILLISECONDS_A_DAY + 12'345);
        ASSERT_EQ(FromUtc(time), nDays * MILLISECONDS_A_DAY + 12'345);
        ASSERT_EQ(time.nDayOfWeek, nDayOfWeek);
        nDayOfWeek = (nDayOfWeek + 1) % 7;
    }
}

TEST(ToUtc, AgreesWithTheSystemsCalendar) {
    for (std::int64_t nDays = DaysFromDate(1600, 1, 1); nDays < DaysFromDate(2500, 1, 1); nDays += 11) {
        const std::time_t nSeconds = nDays * 86'400;
        std::tm parts{};
        gmtime_r(&nSeconds, &parts);
        const SystemTime time = ToUtc(nSeconds * 1'000);
        ASSERT_EQ(time, (SystemTime{parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_wday, parts.tm_mday, 0, 0, 0, 0}));
    }
}

TEST(FromUtc, CarriesOverWhatIsPastItsEnd) {
    EXPECT_EQ(FromUtc(MakeTime(2020, 12, 31, 24)), FromUtc(MakeTime(2021, 1, 1)));
    EXPECT_EQ(FromUtc(MakeTime(2020, 12, 31, 23, 60)), FromUtc(MakeTime(2021, 1, 1)));
    EXPECT_EQ(FromUtc(MakeTime(2021, 2, 29)), FromUtc(MakeTime(2021, 3, 1)));
    EXPECT_EQ(FromUtc(MakeTime(2021, 3, 0)), FromUtc(MakeTime(2021, 2, 28)));
    EXPECT_EQ(FromUtc(MakeTime(2020, 13, 1)), FromUtc(MakeTime(2021, 1, 1)));
    EXPECT_EQ(FromUtc(MakeTime(2020, 0, 1)), FromUtc(MakeTime(2019, 12, 1)));
    EXPECT_EQ(FromUtc(MakeTime(2020, 1, 1, -1)), FromUtc(MakeTime(2019, 12, 31, 23)));
}

TEST(FromUtc, SurvivesEveryField) {
    for (const int n : {std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        const SystemTime time{n, n, n, n, n, n, n, n};
        EXPECT_EQ(FromUtc(time) > 0, n > 0);
    }
}

TEST(ToLocal, FollowsTheZoneOfTheProcess) {
    constexpr std::int64_t MIDNIGHT = 1'608'163'200'000;  // 2020-12-17 00:00 UTC
    const CVariable taipei("TZ", "Asia/Taipei");
    EXPECT_EQ(ToLocal(MIDNIGHT + 7), (SystemTime{2020, 12, 4, 17, 8, 0, 0, 7}));
    const CVariable newYork("TZ", "America/New_York");
    EXPECT_EQ(ToLocal(MIDNIGHT), (SystemTime{2020, 12, 3, 16, 19, 0, 0, 0}));
}

TEST(ToLocal, CountsBackBefore1970) {
    const CVariable zone("TZ", "UTC");
    EXPECT_EQ(ToLocal(-1), (SystemTime{1969, 12, 3, 31, 23, 59, 59, 999}));
}

TEST(ToLocal, SurvivesEveryNumber) {
    EXPECT_GT(ToLocal(std::numeric_limits<std::int64_t>::max()).nYear, 200'000'000);
    EXPECT_LT(ToLocal(std::numeric_limits<std::int64_t>::min()).nYear, -200'000'000);
}

TEST(FromLocal, IsTheWayBack) {
    const CVariable zone("TZ", "Asia/Taipei");
    EXPECT_EQ(FromLocal(MakeTime(2000, 1, 1, 9)), 946'688'400);
    EXPECT_EQ(FromLocal(MakeTime(2000, 1, 1, 24)), 946'742'400);
}

TEST(FromLocal, LeavesDaylightSavingToTheZone) {
    const CVariable zone("TZ", "America/New_York");
    EXPECT_EQ(FromLocal(MakeTime(2020, 1, 1)), 1'577'854'800);
    EXPECT_EQ(FromLocal(MakeTime(2020, 7, 1)), 1'593'576'000);
}

TEST(FromLocal, KnowsTheSecondBefore1970FromAFailure) {
    const CVariable zone("TZ", "UTC");
    EXPECT_EQ(FromLocal(MakeTime(1969, 12, 31, 23, 59, 59)), -1);
}

TEST(FromLocal, GivesNothingForWhatTheCalendarCannotHold) {
    const CVariable zone("TZ", "UTC");
    EXPECT_EQ(FromLocal(MakeTime(std::numeric_limits<int>::max(), 12, 31, 2'000'000'000)), std::nullopt);
    EXPECT_EQ(FromLocal(MakeTime(std::numeric_limits<int>::min(), 1, 1)), std::nullopt);
    EXPECT_EQ(FromLocal(MakeTime(2000, std::numeric_limits<int>::min(), 1)), std::nullopt);
}

TEST(SleepUntilTick, PausesUntilTheCountIsThere) {
    const std::int64_t nTick = MachineClock().TickMilliseconds() + 20;
    EXPECT_TRUE(MachineClock().SleepUntilTick(nTick));
    EXPECT_GE(MachineClock().TickMilliseconds(), nTick);
}

TEST(SleepUntilTick, ReturnsAtOnceFromAPauseThatIsPast) {
    EXPECT_TRUE(MachineClock().SleepUntilTick(MachineClock().TickMilliseconds()));
}

TEST(SleepUntilTick, IsCutShortByAStop) {
    constexpr std::int64_t WEEK = std::int64_t{7} * 24 * 3600 * 1000;
    CEvent asleep(CEvent::Reset::Manual, false);
    bool bWhole = true;
    CThread thread;
    ASSERT_TRUE(thread.Start("Sleeper", [&] {
        asleep.Set();
        bWhole = MachineClock().SleepUntilTick(MachineClock().TickMilliseconds() + WEEK);
    }));
    asleep.Wait();
    thread.StopAndJoin();
    EXPECT_FALSE(bWhole);
}

}  // namespace
}  // namespace qvant::platform
