#include <gtest/gtest.h>

#include "base/failure.h"
#include "exchange_zones.h"
#include "model/exchange_times.h"

namespace qvant {
namespace {

constexpr auto UNSPECIFIED = static_cast<std::int32_t>(CFailure::UNSPECIFIED);

class TimeLists : public testing::Test {
protected:
    /// Leaves a day shift for what follows.
    void ShiftBack() { m_times.ConvertTimeToUtc(u"07:00", u"TAIPEI"); }
    void ShiftForward() { m_times.ConvertTimeToUtc(u"20:00", u"NEW_YORK"); }

    std::int32_t FailureOfDate(TextView strText) {
        try {
            m_times.ConvertSpecificOCT(strText, u"TAIPEI");
            return 0;
        } catch (const CFailure& failure) {
            return failure.GetCode();
        }
    }

    platform::CVariable m_machineZone{"TZ", "Asia/Taipei"};
    CExchangeZones m_world;
    CExchangeTimes m_times{m_world.m_zones, m_world.m_clock};
};

TEST_F(TimeLists, OfAWeekKeepTheTildeBetweenTheirTimes) {
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0845-1345|1500-0500:3", u"TAIPEI"), u"0045~0545|0700~2100:2");
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0930-1600:5", u"NEW_YORK"), u"1430~2100:5");
}

TEST_F(TimeLists, OfAWeekUseTheMachinesZoneWithoutOne) {
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0830-1500:1", u""), u"0030~0700:1");
    EXPECT_EQ(m_times.ConvertNewFormatReset(u"0830|1500:1", u""), u"0030|0700:1");
}

TEST_F(TimeLists, OfAWeekMoveTheWeekdayAndWrapIt) {
    ShiftBack();
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0830-1500:1", u""), u"0030~0700:7");
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0830-1500:5", u"NOWHERE"), u"0830~1500:4");
    ShiftForward();
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0830-1500:7", u""), u"0030~0700:1");
    EXPECT_EQ(m_times.ConvertNewFormatReset(u"0830:7", u"NOWHERE"), u"0830:1");
}

TEST_F(TimeLists, OfAWeekMoveTheWeekdayWithTheLastTimeOfTheList) {
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0900-1000|1700-0500:1", u"NEW_YORK"), u"1400~1500|2200~1000:1");
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0900-1000|1700-2000:1", u"NEW_YORK"), u"1400~1500|2200~0100:2");
}

TEST_F(TimeLists, OfAWeekKeepAWeekdayThatIsNoNumberWithoutAShift) {
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0900-1000:X", u"TAIPEI"), u"0100~0200:X");
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0900-1000:", u"TAIPEI"), u"0100~0200:");
}

TEST_F(TimeLists, OfAWeekIgnoreWhatFollowsTheWeekday) {
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0900-1000:2:junk", u"TAIPEI"), u"0100~0200:2");
    EXPECT_EQ(m_times.ConvertNewFormatReset(u"0900:2:junk", u"TAIPEI"), u"0100:2");
}

TEST_F(TimeLists, OfAWeekStayWithoutAColon) {
    EXPECT_EQ(m_times.ConvertNewFormatOCT(u"0900-1000", u"TAIPEI"), u"0900-1000");
    EXPECT_EQ(m_times.ConvertNewFormatReset(u"", u"TAIPEI"), u"");
}

TEST_F(TimeLists, OfWeeklyResetsHoldSingleTimes) {
    EXPECT_EQ(m_times.ConvertNewFormatReset(u"0830|1430:1", u"TAIPEI"), u"0030|0630:1");
    EXPECT_EQ(m_times.ConvertNewFormatReset(u"0700:1", u"TAIPEI"), u"2300:7");
}

TEST_F(TimeLists, OfDatesGoBackToTheDashBetweenTheirTimes) {
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"20240213:0845-1345,1500-1700", u"TAIPEI"), u"20240213:0045-0545,0700-0900");
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"20240213:0845-1345", u""), u"20240213:0045-0545");
}

TEST_F(TimeLists, OfDatesMoveTheDateBackWhenTheFirstHourGrows) {
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"20240301:0700-0900|20240101:0100-0300", u"TAIPEI"),
              u"20240229:2300-0100|20231231:1700-1900");
    EXPECT_EQ(m_times.ConvertSpecificReset(u"20240301:0700,0900", u"TAIPEI"), u"20240229:2300,0100");
}

TEST_F(TimeLists, OfDatesFollowTheHourEvenWhereTheDayDidNotChange) {
    // 9:30 in New York is 14:30 of the same day, and the date goes back all the same.
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"20240213:0930-1300", u"NEW_YORK"), u"20240212:1430-1800");
    EXPECT_EQ(m_times.ConvertSpecificReset(u"20240213:0930", u"NEW_YORK"), u"20240212:1430");
}

TEST_F(TimeLists, OfDatesKeepTheDateOfATimeThatMovesForwardAcrossMidnight) {
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"20240213:2000-2300", u"NEW_YORK"), u"20240213:0100-0400");
}

TEST_F(TimeLists, OfDatesKeepEmptyItemsAndSkipThoseWithoutADate) {
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"20240213:0900-1000,,1100-1200,", u"NOWHERE"),
              u"20240213:0900-1000,,1100-1200,");
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"20240213:0900-1000,,1100-1200", u"TAIPEI"),
              u"20240213:0100-0200,1600,0300-0400");
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"junk|20240213:0900-1000||", u"TAIPEI"), u"20240213:0100-0200");
    EXPECT_EQ(m_times.ConvertSpecificOCT(u"", u"TAIPEI"), u"");
}

TEST_F(TimeLists, OfDatesPassANegativeResetThrough) {
    EXPECT_EQ(m_times.ConvertSpecificReset(u"20240101:-1", u"TAIPEI"), u"20240101:-1");
    EXPECT_EQ(m_times.ConvertSpecificReset(u"20240101:-1,0900|20240213:0900", u"TAIPEI"),
              u"20240101:-1,0900|20240213:0100");
}

TEST_F(TimeLists, OfDatesRaiseAFailureForADateThatHasToMoveAndCannot) {
    for (const TextView strDate : {u"18991231", u"20241301", u"20240001", u"20240100", u"20240132", u"junk", u""}) {
        EXPECT_EQ(FailureOfDate(Text(strDate) + u":0700-0900"), UNSPECIFIED) << Narrow(strDate);
        EXPECT_EQ(FailureOfDate(Text(strDate) + u":0900-1000"), 0) << Narrow(strDate);
    }
    // Within the ranges, and before the calendar begins.
    EXPECT_EQ(FailureOfDate(u"19500101:0700-0900"), static_cast<std::int32_t>(CFailure::INVALID_ARGUMENT));
}

TEST_F(TimeLists, SurviveItemsOfAnyLength) {
    for (const TextView strItem :
         {u"", u"-", u"0", u"09", u"090", u"0900", u"0900-", u"0900-1", u"-----------", u"~;,"}) {
        EXPECT_NE(m_times.ConvertNewFormatOCT(Text(strItem) + u":1", u"TAIPEI"), u"");
        EXPECT_NE(m_times.ConvertNewFormatReset(Text(strItem) + u":1", u"TAIPEI"), u"");
    }
}

}  // namespace
}  // namespace qvant
