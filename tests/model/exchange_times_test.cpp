#include "model/exchange_times.h"

#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/format.h"
#include "exchange_zones.h"

namespace qvant {
namespace {

class ExchangeTimes : public testing::Test {
protected:
    /// The code that `FormatTradeSession` raises; 0 for none.
    std::int32_t FailureOf(TextView strText) {
        try {
            m_times.FormatTradeSession(strText);
            return 0;
        } catch (const CFailure& failure) {
            return failure.GetCode();
        }
    }

    platform::CVariable m_machineZone{"TZ", "Asia/Taipei"};
    CExchangeZones m_world;
    CManualClock& m_clock = m_world.m_clock;
    CExchangeTimes m_times{m_world.m_zones, m_world.m_clock};
};

constexpr auto UNSPECIFIED = static_cast<std::int32_t>(CFailure::UNSPECIFIED);

TEST_F(ExchangeTimes, OfTheMachinesZoneAreMovedToUtc) {
    EXPECT_EQ(m_times.FormatTradeSession(u"09:00~11:30;13:00~15:15"), u"01:00~03:30;05:00~07:15");
}

TEST_F(ExchangeTimes, OfTheMachinesZoneMayBeSingle) {
    EXPECT_EQ(m_times.FormatTradeSession(u"14:30"), u"06:30");
    EXPECT_EQ(m_times.FormatTradeSession(u"1430"), u"06:30");
}

TEST_F(ExchangeTimes, FollowTheZonesWhenTheyAreReadAnew) {
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"09:00", u"TAIPEI"), u"01:00");
    platform::CTestFolder folder;
    std::ofstream(folder.GetPath() / "cities.txt") << "Taipei,Eastern Standard Time\n";
    m_world.m_zones.LoadCities(folder / "cities.txt");
    m_world.m_zones.LoadTimeZones(m_clock);
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"09:00", u"TAIPEI"), u"14:00");
}

TEST_F(ExchangeTimes, LoseTheMidnightThatEndsTheLastSessionOnly) {
    const platform::CVariable utc("TZ", "UTC");
    EXPECT_EQ(m_times.FormatTradeSession(u"21:00~00:00"), u"21:00");
    EXPECT_EQ(m_times.FormatTradeSession(u"21:00~00:00;09:00~10:00"), u"21:00~00:00;09:00~10:00");
}

TEST_F(ExchangeTimes, GetAnExtraTimeFromASeparatorAtTheEnd) {
    EXPECT_EQ(m_times.FormatTradeSession(u"09:00~11:30;"), u"01:00~03:30;16:00");
}

TEST_F(ExchangeTimes, OfANullTextAreEmptyAndOfAnEmptyOneMidnight) {
    EXPECT_EQ(m_times.FormatTradeSession(TextView{}), u"");
    EXPECT_EQ(m_times.FormatTradeSession(u""), u"16:00");
}

TEST_F(ExchangeTimes, OfTheMachinesZoneUseTheOffsetOfJanuary2000InSummerToo) {
    const platform::CVariable zone("TZ", "America/New_York");
    m_clock.Set(2024, 7, 16, 12, 0);
    EXPECT_EQ(m_times.FormatTradeSession(u"09:30~16:00"), u"14:30~21:00");
}

TEST_F(ExchangeTimes, FollowAMachineThatChangesItsZone) {
    EXPECT_EQ(m_times.FormatTradeSession(u"09:00"), u"01:00");
    const platform::CVariable zone("TZ", "UTC");
    m_clock.Set(2024, 1, 16, 12, 0, 1);
    EXPECT_EQ(m_times.FormatTradeSession(u"09:00"), u"09:00");
}

TEST_F(ExchangeTimes, OfTheMachinesZoneRaiseAFailureOutOfTheirRanges) {
    EXPECT_EQ(FailureOf(u"24:00~12:00"), UNSPECIFIED);
    EXPECT_EQ(FailureOf(u"09:60~12:00"), UNSPECIFIED);
    EXPECT_EQ(FailureOf(u"09:00~99:99"), UNSPECIFIED);
    EXPECT_EQ(FailureOf(u"99:99;09:00"), UNSPECIFIED);
    EXPECT_EQ(FailureOf(u"99999999999999:00"), UNSPECIFIED);
    EXPECT_EQ(FailureOf(u"23:59~00:59"), 0);
}

TEST_F(ExchangeTimes, OfAZoneUseItsOffsetOfToday) {
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"09:30", u"NEW_YORK"), u"14:30");
    m_clock.Set(2024, 7, 16, 12, 0);
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"09:30", u"NEW_YORK"), u"13:30");
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"09:00", u"TAIPEI"), u"01:00");
}

TEST_F(ExchangeTimes, OfAZoneChangeWithItsLocalDate) {
    // In New York the clocks go forward at two in the morning of 10 March 2024.
    m_clock.Set(2024, 3, 10, 4, 59);
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"09:30", u"NEW_YORK"), u"14:30");
    m_clock.Set(2024, 3, 10, 5, 0);
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"09:30", u"NEW_YORK"), u"13:30");
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"01:30", u"NEW_YORK"), u"06:30");
}

TEST_F(ExchangeTimes, AgreeWithThePlatformsConversionForEveryMinuteOfADay) {
    for (const auto& [nMonth, nDay] : {std::pair{1, 16}, {3, 10}, {3, 31}, {7, 16}, {11, 3}}) {
        m_clock.Set(2024, nMonth, nDay, 17, 0);
        for (const TextView strZone : {u"NEW_YORK", u"LONDON", u"AUCKLAND", u"TAIPEI"}) {
            const platform::ZoneRecord& record = *m_world.m_zones.FindCity(strZone);
            for (int nMinute = 0; nMinute < 2 * 1440; ++nMinute) {
                platform::SystemTime local = platform::UtcToZone(record, platform::ToUtc(m_clock.NowMilliseconds()));
                local.nHour = nMinute % 1440 / 60;
                local.nMinute = nMinute % 60;
                const Text strTime = Format(u"%02d:%02d", local.nHour, local.nMinute);
                const platform::SystemTime utc = platform::ZoneToUtc(record, local);
                ASSERT_EQ(m_times.ConvertTimeToUtc(strTime, strZone), Format(u"%.2d:%.2d", utc.nHour, utc.nMinute));
                ASSERT_EQ(m_times.GetDayShift(), local.nDay == utc.nDay ? 0 : strZone == u"NEW_YORK" ? 1 : -1);
            }
        }
    }
}

TEST_F(ExchangeTimes, TellHowTheLastOneMovedTheDay) {
    EXPECT_EQ(m_times.GetDayShift(), 0);
    m_times.ConvertTimeToUtc(u"07:00", u"TAIPEI");
    EXPECT_EQ(m_times.GetDayShift(), -1);
    m_times.ConvertTimeToUtc(u"20:00", u"NEW_YORK");
    EXPECT_EQ(m_times.GetDayShift(), 1);
    m_times.ConvertTimeToUtc(u"12:00", u"NEW_YORK");
    EXPECT_EQ(m_times.GetDayShift(), 0);
}

TEST_F(ExchangeTimes, TellTheDayOverTheEndOfAMonthAndAYear) {
    m_clock.Set(2024, 1, 1, 2, 0);
    m_times.ConvertTimeToUtc(u"07:00", u"TAIPEI");
    EXPECT_EQ(m_times.GetDayShift(), -1);
    m_clock.Set(2023, 12, 31, 14, 0);
    m_times.ConvertTimeToUtc(u"20:00", u"NEW_YORK");
    EXPECT_EQ(m_times.GetDayShift(), 1);
}

TEST_F(ExchangeTimes, OfAnUnknownZoneStayWithTheShiftLeftByTheOneBefore) {
    m_times.ConvertTimeToUtc(u"07:00", u"TAIPEI");
    for (const TextView strZone : {u"NOWHERE", u"ATLANTIS", u"taipei", u""}) {
        EXPECT_EQ(m_times.ConvertTimeToUtc(u"x9:5", strZone), u"x9:5");
        EXPECT_EQ(m_times.ConvertSessionToUtc(u"09:00~10:00", strZone), u"09:00~10:00");
        EXPECT_EQ(m_times.GetDayShift(), -1);
    }
    m_times.FormatTradeSession(u"12:00");
    EXPECT_EQ(m_times.GetDayShift(), -1);
}

TEST_F(ExchangeTimes, OfAZoneTakeMidnightAtTheEndForTheNextDays) {
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"24:00", u"TAIPEI"), u"16:00");
    EXPECT_EQ(m_times.GetDayShift(), -1);
    EXPECT_EQ(m_times.ConvertTimeToUtc(u"24:00", u"NEW_YORK"), u"05:00");
    EXPECT_EQ(m_times.GetDayShift(), 0);
}

TEST_F(ExchangeTimes, OfAZoneSurviveNumbersThatAreNoTimes) {
    for (const TextView strTime :
         {u"", u":", u"~", u"-1:-1", u"99:99", u"2147483647:2147483647", u"-99999999999:1", u"a:b"}) {
        const Text strResult = m_times.ConvertTimeToUtc(strTime, u"NEW_YORK");
        ASSERT_EQ(strResult.size(), 5u);
        EXPECT_EQ(strResult[2], u':');
    }
}

TEST_F(ExchangeTimes, OfAZonesSessionsKeepTheirShape) {
    EXPECT_EQ(m_times.ConvertSessionToUtc(u"09:00~11:30;13:00~15:15", u"TAIPEI"), u"01:00~03:30;05:00~07:15");
    EXPECT_EQ(m_times.ConvertSessionToUtc(u"09:00", u"TAIPEI"), u"01:00");
    EXPECT_EQ(m_times.ConvertSessionToUtc(u"21:00~00:00", u"TAIPEI"), u"13:00~16:00");
}

TEST_F(ExchangeTimes, OfAZonesSessionsLoseEmptyPieces) {
    EXPECT_EQ(m_times.ConvertSessionToUtc(u";;09:00~~11:30~;;13:00;", u"TAIPEI"), u"01:00~03:30;05:00");
    EXPECT_EQ(m_times.ConvertSessionToUtc(u";", u"TAIPEI"), u"");
    EXPECT_EQ(m_times.ConvertSessionToUtc(u"", u"TAIPEI"), u"");
}

TEST_F(ExchangeTimes, OfAZonesSessionsLeaveTheShiftOfTheLastTime) {
    m_times.ConvertSessionToUtc(u"07:00~09:00", u"TAIPEI");
    EXPECT_EQ(m_times.GetDayShift(), 0);
    m_times.ConvertSessionToUtc(u"18:00~07:00", u"TAIPEI");
    EXPECT_EQ(m_times.GetDayShift(), -1);
}

TEST_F(ExchangeTimes, ChooseTheMachinesZoneWhenThereIsNone) {
    EXPECT_EQ(m_times.ConvertSession(u"09:00~10:00", u""), u"01:00~02:00");
    EXPECT_EQ(m_times.ConvertSession(u"09:00~10:00", u"NEW_YORK"), u"14:00~15:00");
    EXPECT_EQ(m_times.ConvertSingle(u"09:00", u""), u"01:00");
    EXPECT_EQ(m_times.ConvertSingle(u"09:00", u"NEW_YORK"), u"14:00");
}

}  // namespace
}  // namespace qvant
