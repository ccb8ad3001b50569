#include "platform/zones.h"

#include <algorithm>

#include <date/tz.h>
#include <gtest/gtest.h>

#include "calendar_times.h"
#include "platform/calendar.h"
#include "platform/zone_rules.h"

namespace qvant::platform {
namespace {

SystemTime MakeRule(int nMonth, int nDay, int nDayOfWeek, int nHour, int nMinute = 0) {
    return {0, nMonth, nDayOfWeek, nDay, nHour, nMinute, 0, 0};
}

std::int64_t ToSeconds(const SystemTime& time) { return FromUtc(time) / 1'000; }

/// A stretch between two UTC times.
OffsetPeriod MakePeriod(const SystemTime& begin, const SystemTime& end, std::int32_t nOffset) {
    return {ToSeconds(begin), ToSeconds(end), nOffset};
}

/// Hours of the year in which the record's local time isn't that of the periods, there and back.
int CountWrongHours(const ZoneRecord& record, const std::vector<OffsetPeriod>& arPeriods) {
    int nWrong = 0;
    for (const OffsetPeriod& period : arPeriods) {
        for (std::int64_t n = period.nBegin; n < period.nEnd; n += 3'600) {
            const SystemTime local = UtcToZone(record, ToUtc(n * 1'000));
            if (ToSeconds(local) - n != std::int64_t{period.nOffsetMinutes} * 60) ++nWrong;
        }
    }
    return nWrong;
}

TEST(GetZoneKeys, AreThePlatformsOwnNamesInOrder) {
    const std::vector<Text> arKeys = GetZoneKeys();
    EXPECT_GT(arKeys.size(), 100U);
    EXPECT_TRUE(std::is_sorted(arKeys.begin(), arKeys.end()));
    for (const TextView strKey : {u"Taipei Standard Time", u"Eastern Standard Time", u"UTC", u"China Standard Time"}) {
        EXPECT_TRUE(std::binary_search(arKeys.begin(), arKeys.end(), strKey)) << Narrow(strKey);
    }
}

TEST(ReadZone, GivesAZeroedRecordForAKeyThatIsNotKnown) {
    for (const TextView strKey : {u"", u"Atlantis Standard Time", u"mapTimezones", u"Taipei"}) {
        const ZoneRecord record = ReadZone(strKey, 2026);
        EXPECT_EQ(record.display + record.standardName + record.daylightName, "");
        EXPECT_EQ(record.bias, 0);
        EXPECT_EQ(record.standardDate, SystemTime{});
    }
}

TEST(ReadZone, HasNoRuleDatesWithoutDaylightSaving) {
    const ZoneRecord record = ReadZone(u"Taipei Standard Time", 2026);
    EXPECT_EQ(record.bias, -480);
    EXPECT_EQ(record.standardBias, 0);
    EXPECT_EQ(record.daylightBias, 0);
    EXPECT_EQ(record.standardDate, SystemTime{});
    EXPECT_EQ(record.daylightDate, SystemTime{});
}

TEST(ReadZone, NamesTheZoneByItsKey) {
    const ZoneRecord taipei = ReadZone(u"Taipei Standard Time", 2026);
    EXPECT_EQ(taipei.display, "(UTC+08:00) Taipei Standard Time");
    EXPECT_EQ(taipei.standardName, "Taipei Standard Time");
    EXPECT_EQ(taipei.daylightName, "Taipei Daylight Time");
    EXPECT_EQ(taipei.mapId, "");
    EXPECT_EQ(GetZoneKeys()[static_cast<std::size_t>(taipei.index)], u"Taipei Standard Time");
    EXPECT_EQ(ReadZone(u"Newfoundland Standard Time", 2026).display, "(UTC-03:30) Newfoundland Standard Time");
    EXPECT_EQ(ReadZone(u"UTC", 2026).display, "(UTC) UTC");
}

TEST(ReadZone, TellsTheAmericanRules) {
    const ZoneRecord record = ReadZone(u"Eastern Standard Time", 2026);
    EXPECT_EQ(record.bias, 300);
    EXPECT_EQ(record.standardBias, 0);
    EXPECT_EQ(record.daylightBias, -60);
    EXPECT_EQ(record.daylightDate, MakeRule(3, 2, 0, 2));
    EXPECT_EQ(record.standardDate, MakeRule(11, 1, 0, 2));
}

TEST(ReadZone, TellsTheLastSundayAsTheFifth) {
    const ZoneRecord record = ReadZone(u"W. Europe Standard Time", 2026);
    EXPECT_EQ(record.bias, -60);
    EXPECT_EQ(record.daylightDate, MakeRule(3, 5, 0, 2));
    EXPECT_EQ(record.standardDate, MakeRule(10, 5, 0, 3));
}

TEST(ReadZone, TellsTheRulesOfTheSouth) {
    const ZoneRecord record = ReadZone(u"AUS Eastern Standard Time", 2026);
    EXPECT_EQ(record.bias, -600);
    EXPECT_EQ(record.daylightDate, MakeRule(10, 1, 0, 2));
    EXPECT_EQ(record.standardDate, MakeRule(4, 1, 0, 3));
}

TEST(ReadZone, KnowsHalfAnHourOfDaylightSaving) {
    const ZoneRecord record = ReadZone(u"Lord Howe Standard Time", 2026);
    EXPECT_EQ(record.bias, -630);
    EXPECT_EQ(record.daylightBias, -30);
}

TEST(ReadZone, GivesTheUsualSummerTimeWhereTheLawCallsWinterTheException) {
    // GMT Standard Time is London's; Dublin, whose winter time is the saved one by law, shares its offsets.
    ZoneRecord dublin;
    SetRules(dublin, ReadOffsets("Europe/Dublin", 2026));
    EXPECT_EQ(dublin.bias, 0);
    EXPECT_EQ(dublin.daylightBias, -60);
    EXPECT_EQ(dublin.daylightDate, MakeRule(3, 5, 0, 1));
    EXPECT_EQ(dublin.standardDate, MakeRule(10, 5, 0, 2));
}

TEST(ReadZone, TakesTheRulesOfTheYearThatIsAskedFor) {
    // The United States began and ended daylight saving on other Sundays up to 2006.
    const ZoneRecord record = ReadZone(u"Eastern Standard Time", 2006);
    EXPECT_EQ(record.daylightDate, MakeRule(4, 1, 0, 2));
    EXPECT_EQ(record.standardDate, MakeRule(10, 5, 0, 2));
}

TEST(ReadZone, GoesOnWithTheLastRulesThatAreListed) {
    for (const int nYear : {2038, 2100, 9999}) {
        const ZoneRecord record = ReadZone(u"Eastern Standard Time", nYear);
        EXPECT_EQ(record.daylightBias, -60);
        EXPECT_EQ(record.daylightDate, MakeRule(3, 2, 0, 2));
    }
}

TEST(ReadOffsets, GivesNothingForAZoneThatTheSystemLacks) {
    EXPECT_TRUE(ReadOffsets("Atlantis/Capital", 2026).empty());
    EXPECT_TRUE(ReadOffsets("", 2026).empty());
}

TEST(ReadOffsets, CoversTheLocalYearWithoutGaps) {
    const auto arPeriods = ReadOffsets("America/New_York", 2026);
    ASSERT_EQ(arPeriods.size(), 3U);
    EXPECT_EQ(arPeriods[0], MakePeriod(MakeTime(2026, 1, 1, 5), MakeTime(2026, 3, 8, 7), -300));
    EXPECT_EQ(arPeriods[1], MakePeriod(MakeTime(2026, 3, 8, 7), MakeTime(2026, 11, 1, 6), -240));
    EXPECT_EQ(arPeriods[2], MakePeriod(MakeTime(2026, 11, 1, 6), MakeTime(2027, 1, 1, 5), -300));
}

TEST(SetRules, TellsAYearOfOneLastingChange) {
    for (const std::int32_t nLater : {180, 300}) {
        const std::vector<OffsetPeriod> arPeriods{
            MakePeriod(MakeTime(2025, 12, 31, 20), MakeTime(2026, 5, 20, 21), 240),
            MakePeriod(MakeTime(2026, 5, 20, 21), MakeTime(2026, 12, 31, 19), nLater)};
        ZoneRecord record;
        SetRules(record, arPeriods);
        EXPECT_EQ(record.bias, -std::min(240, nLater));
        // A year that begins in the higher offset is met an hour late: its rule is read on the lower one's clock.
        EXPECT_EQ(CountWrongHours(record, arPeriods), nLater < 240 ? 1 : 0);
    }
}

TEST(SetRules, TellsAMonthOfFastingExactly) {
    const std::vector<OffsetPeriod> arPeriods{MakePeriod(MakeTime(2025, 12, 31, 23), MakeTime(2026, 2, 15, 2), 60),
                                              MakePeriod(MakeTime(2026, 2, 15, 2), MakeTime(2026, 3, 22, 2), 0),
                                              MakePeriod(MakeTime(2026, 3, 22, 2), MakeTime(2026, 12, 31, 23), 60)};
    ZoneRecord record;
    SetRules(record, arPeriods);
    EXPECT_EQ(record.bias, 0);
    EXPECT_EQ(record.daylightBias, -60);
    EXPECT_EQ(CountWrongHours(record, arPeriods), 0);
}

TEST(SetRules, IsRightForMostOfAYearOfFourChanges) {
    // Daylight saving, broken off for a month of fasting.
    const std::vector<OffsetPeriod> arPeriods{MakePeriod(MakeTime(2009, 12, 31, 22), MakeTime(2010, 4, 29, 22), 120),
                                              MakePeriod(MakeTime(2010, 4, 29, 22), MakeTime(2010, 8, 10, 21), 180),
                                              MakePeriod(MakeTime(2010, 8, 10, 21), MakeTime(2010, 9, 9, 22), 120),
                                              MakePeriod(MakeTime(2010, 9, 9, 22), MakeTime(2010, 9, 30, 21), 180),
                                              MakePeriod(MakeTime(2010, 9, 30, 21), MakeTime(2010, 12, 31, 22), 120)};
    ZoneRecord record;
    SetRules(record, arPeriods);
    EXPECT_EQ(record.bias, -120);
    EXPECT_EQ(record.daylightBias, -60);
    EXPECT_EQ(CountWrongHours(record, arPeriods), 21 * 24 - 1) << "the shorter piece is given up";
}

TEST(SetRules, LeavesARecordOfNoOffsetsZeroed) {
    ZoneRecord record;
    SetRules(record, {});
    EXPECT_EQ(record.bias, 0);
    EXPECT_EQ(record.daylightDate, SystemTime{});
}

/// The year of each test against the system's own conversion, hour by hour, of every zone.
class EveryZone : public testing::TestWithParam<int> {};

TEST_P(EveryZone, ConvertsFromUtcAsTheSystemDoes) {
    for (const Text& strKey : GetZoneKeys()) {
        const std::string strName = FindZoneName(strKey);
        ASSERT_NE(strName, "") << Narrow(strKey);
        const date::time_zone* pZone = date::locate_zone(strName);
        const ZoneRecord record = ReadZone(strKey, GetParam());
        const std::int64_t nEnd = DaysFromDate(GetParam() + 1, 1, 1) * 24 - 14;
        for (std::int64_t nHour = DaysFromDate(GetParam(), 1, 1) * 24 + 14; nHour < nEnd; ++nHour) {
            const date::sys_seconds utc{std::chrono::hours(nHour)};
            const std::int64_t nExpected = pZone->to_local(utc).time_since_epoch().count();
            ASSERT_EQ(ToSeconds(UtcToZone(record, ToUtc(nHour * 3'600'000))), nExpected)
                << strName << " at " << utc.time_since_epoch().count();
        }
    }
}

TEST_P(EveryZone, ConvertsBackToUtcWhereTheClockIsPlain) {
    for (const Text& strKey : GetZoneKeys()) {
        const date::time_zone* pZone = date::locate_zone(FindZoneName(strKey));
        const ZoneRecord record = ReadZone(strKey, GetParam());
        for (std::int64_t nHour = DaysFromDate(GetParam(), 1, 1) * 24; nHour < DaysFromDate(GetParam() + 1, 1, 1) * 24;
             ++nHour) {
            const date::local_seconds wall{std::chrono::hours(nHour)};
            const date::local_info info = pZone->get_info(wall);
            if (info.result != date::local_info::unique) continue;
            SystemTime local = ToUtc(nHour * 3'600'000);
            ASSERT_EQ(ToSeconds(ZoneToUtc(record, local)), nHour * 3'600 - info.first.offset.count())
                << Narrow(strKey) << " at " << nHour;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Years, EveryZone, testing::Values(2025, 2026, 2027));

TEST(UtcToZone, ChangesWithTheSeasonAtTheVeryMillisecond) {
    const ZoneRecord zone = ReadZone(u"Eastern Standard Time", 2026);
    const std::int64_t nBegin = FromUtc(MakeTime(2026, 3, 8, 7));
    const std::int64_t nEnd = FromUtc(MakeTime(2026, 11, 1, 6));
    EXPECT_EQ(UtcToZone(zone, ToUtc(nBegin - 1)), (SystemTime{2026, 3, 0, 8, 1, 59, 59, 999}));
    EXPECT_EQ(UtcToZone(zone, ToUtc(nBegin)), (SystemTime{2026, 3, 0, 8, 3, 0, 0, 0}));
    EXPECT_EQ(UtcToZone(zone, ToUtc(nEnd - 1)), (SystemTime{2026, 11, 0, 1, 1, 59, 59, 999}));
    EXPECT_EQ(UtcToZone(zone, ToUtc(nEnd)), (SystemTime{2026, 11, 0, 1, 1, 0, 0, 0}));
}

TEST(ZoneToUtc, TakesAnHourThatIsTwiceOrMissingAsDaylightTime) {
    const ZoneRecord zone = ReadZone(u"Eastern Standard Time", 2026);
    SystemTime twice = MakeTime(2026, 11, 1, 1, 30);
    EXPECT_EQ(ZoneToUtc(zone, twice), ToUtc(FromUtc(MakeTime(2026, 11, 1, 5, 30))));
    SystemTime missing = MakeTime(2026, 3, 8, 2, 30);
    EXPECT_EQ(ZoneToUtc(zone, missing), ToUtc(FromUtc(MakeTime(2026, 3, 8, 6, 30))));
}

TEST(ZoneToUtc, BringsATimePastItsDayIntoProperForm) {
    const ZoneRecord zone = ReadZone(u"Taipei Standard Time", 2026);
    SystemTime midnight{2026, 12, 0, 31, 24, 0, 15, 7};
    EXPECT_EQ(ZoneToUtc(zone, midnight), (SystemTime{2026, 12, 4, 31, 16, 0, 15, 7}));
    EXPECT_EQ(midnight, (SystemTime{2027, 1, 5, 1, 0, 0, 15, 7}));
    SystemTime nonsense = MakeTime(2026, 6, 1, 99, 99);
    EXPECT_EQ(ZoneToUtc(zone, nonsense), ToUtc(FromUtc(MakeTime(2026, 6, 4, 20, 39))));
    EXPECT_EQ(nonsense, ToUtc(FromUtc(MakeTime(2026, 6, 5, 4, 39))));
}

TEST(ZoneToUtc, SetsTheDayOfTheWeekOfBothTimes) {
    const ZoneRecord zone = ReadZone(u"China Standard Time", 2026);
    SystemTime local = MakeTime(2026, 11, 22, 7, 59);  // a Sunday
    EXPECT_EQ(ZoneToUtc(zone, local).nDayOfWeek, 6);
    EXPECT_EQ(local.nDayOfWeek, 0);
}

TEST(ZoneConversions, FollowRulesOfOneDate) {
    ZoneRecord zone;
    zone.bias = -60;
    zone.daylightBias = -60;
    zone.daylightDate = MakeTime(2026, 3, 29, 2);
    zone.standardDate = MakeTime(2026, 10, 25, 3);
    EXPECT_EQ(UtcToZone(zone, MakeTime(2026, 7, 1, 12)).nHour, 14);
    EXPECT_EQ(UtcToZone(zone, MakeTime(2026, 12, 1, 12)).nHour, 13);
    EXPECT_EQ(UtcToZone(zone, MakeTime(2027, 7, 1, 12)).nHour, 13);
}

TEST(ZoneConversions, AddTheStandardBiasOfAZoneThatHasOne) {
    ZoneRecord zone = ReadZone(u"Eastern Standard Time", 2026);
    zone.standardBias = 30;
    EXPECT_EQ(UtcToZone(zone, MakeTime(2026, 1, 10, 12)), ToUtc(FromUtc(MakeTime(2026, 1, 10, 6, 30))));
    SystemTime local = MakeTime(2026, 1, 10, 6, 30);
    EXPECT_EQ(ZoneToUtc(zone, local), ToUtc(FromUtc(MakeTime(2026, 1, 10, 12))));
}

TEST(ZoneConversions, SurviveRulesOfNonsense) {
    for (const int n : {-2'000'000'000, -1, 0, 6, 99, 2'000'000'000}) {
        ZoneRecord zone;
        zone.bias = zone.daylightBias = zone.standardBias = n / 4;
        zone.daylightDate = {0, n, n, n, n, n, n, n};
        zone.standardDate = {0, 3, n, n, 2, 0, 0, 0};
        SystemTime local = MakeTime(2026, 6, 1);
        const SystemTime utc = ZoneToUtc(zone, local);
        EXPECT_EQ(local, ToUtc(FromUtc(MakeTime(2026, 6, 1))));
        EXPECT_EQ(utc.nMilliseconds, 0);
    }
}

}  // namespace
}  // namespace qvant::platform
