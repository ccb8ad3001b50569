#include "rolls/hot_month_times.h"

#include <gtest/gtest.h>

namespace qvant::test {

constexpr TextView MINE = u"QV.F.CME.ES.HOT_MINE";
constexpr TextView LOCAL = u"QV.F.TWF.TXF.HOT_MINE";  ///< of an exchange without daylight saving
constexpr std::int32_t WINTER = 20201215;
constexpr std::int32_t SUMMER = 20200715;
constexpr std::int64_t TAIPEI = 480;
constexpr std::int64_t CHICAGO = -360;

TEST(FollowsUsDaylightSaving, HoldsForFourExchanges) {
    for (const auto* psz : {u"QV.F.CME.ES.HOT_A", u"QV.F.CBOT.ZC.HOT_A", u"QV.F.CFE.VX.HOT_A", u"QV.F.NYBOT.SB.HOT_A"})
        EXPECT_TRUE(FollowsUsDaylightSaving(psz));
    for (const auto* psz : {u"QV.F.TWF.TXF.HOT_A", u"QV.F.NYMEX.CL.HOT_A", u"QV.F.CME", u"QV.F.cme.ES.HOT_A", u""})
        EXPECT_FALSE(FollowsUsDaylightSaving(psz));
    EXPECT_TRUE(FollowsUsDaylightSaving(u"QV.F.TWF.TXF.HOT_.CME.")) << "wherever it stands in the title";
}

TEST(MakeResetVariables, AnotherExchangeHasOneTimeInUtcAndOneOfTheMachine) {
    const auto variables = MakeResetVariables(u"223000", false, false, TAIPEI);
    EXPECT_EQ(variables.utcStd, u"223000");
    EXPECT_EQ(variables.localStd, u"063000");
    EXPECT_EQ(variables.utcDst, u"");
    EXPECT_EQ(variables.localDst, u"");
    EXPECT_EQ(variables.fileStd, u"");
    EXPECT_EQ(variables.fileDst, u"");
}

TEST(MakeResetVariables, InsideDaylightSavingTheTimeOutsideIsAnHourLater) {
    const auto variables = MakeResetVariables(u"220000", true, true, TAIPEI);
    EXPECT_EQ(variables.utcDst, u"220000");
    EXPECT_EQ(variables.utcStd, u"230000");
    EXPECT_EQ(variables.localDst, u"060000");
    EXPECT_EQ(variables.localStd, u"070000");
}

TEST(MakeResetVariables, TheHourLaterWrapsAtMidnight) {
    const auto variables = MakeResetVariables(u"231500", true, true, 0);
    EXPECT_EQ(variables.utcStd, u"001500");
    EXPECT_EQ(variables.localStd, u"001500");
}

TEST(MakeResetVariables, OutsideDaylightSavingTheTimeInsideIsAnHourEarlier) {
    const auto variables = MakeResetVariables(u"230000", true, false, CHICAGO);
    EXPECT_EQ(variables.utcStd, u"230000");
    EXPECT_EQ(variables.utcDst, u"220000");
    EXPECT_EQ(variables.localStd, u"170000");
    EXPECT_EQ(variables.localDst, u"160000");
}

TEST(MakeResetVariables, TheHourEarlierWrapsInUtcOnly) {
    const auto variables = MakeResetVariables(u"000000", true, false, 0);
    EXPECT_EQ(variables.utcDst, u"230000");
    EXPECT_EQ(variables.localDst, u"-10000");
    EXPECT_EQ(MakeResetVariables(u"160000", true, false, TAIPEI).localDst, u"-10000");
}

TEST(MakeResetVariables, TheMachinesMinutesOfDayWrapOnceInEitherDirection) {
    EXPECT_EQ(MakeResetVariables(u"160000", false, false, TAIPEI).localStd, u"000000");
    EXPECT_EQ(MakeResetVariables(u"155900", false, false, TAIPEI).localStd, u"235900");
    EXPECT_EQ(MakeResetVariables(u"055900", false, false, CHICAGO).localStd, u"235900");
    EXPECT_EQ(MakeResetVariables(u"010000", false, false, 345).localStd, u"064500");
}

TEST(MakeResetVariables, NoResetTimeIsMidnight) {
    EXPECT_EQ(MakeResetVariables(u"", false, false, 0).utcStd, u"000000");
    EXPECT_EQ(MakeResetVariables(u"garbage", false, false, 60).localStd, u"010000");
}

TEST(MakeResetVariables, ANumberBeyondAnyTimeGivesTheHoursThatItHas) {
    EXPECT_EQ(MakeResetVariables(u"99999999999999999999", true, true, TAIPEI).utcDst, u"2147483600");
    EXPECT_EQ(MakeResetVariables(u"990000", true, true, 0).utcStd, u"760000");
}

TEST(HotMonthTimes, WithoutAnySettingASeriesRollsAtTheExchangesTime) {
    CHotMonthTimes times(LOCAL, u"223000", WINTER, TAIPEI);
    EXPECT_EQ(times.GetReset(), 223000);
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200305223000) << "the machine's 06:30 of that day";
    EXPECT_EQ(times.GetReset(), 223000);
}

TEST(HotMonthTimes, AMissingTimeInDaylightSavingIsAnHourLess) {
    CHotMonthTimes times(MINE, u"220000", WINTER, TAIPEI);
    times.TakeSetting(u"timezone=UTC");
    times.TakeSetting(u"resettime=170000");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306170000);
    EXPECT_EQ(times.TakeRoll(u"20200309"), 20200309160000);
    EXPECT_EQ(times.TakeRoll(u"20201031"), 20201031160000);
    EXPECT_EQ(times.TakeRoll(u"20201101"), 20201101170000);
}

TEST(HotMonthTimes, ATimeInDaylightSavingOfItsOwnIsTakenAsItStands) {
    CHotMonthTimes times(MINE, u"220000", WINTER, TAIPEI);
    times.TakeSetting(u"timezone=UTC");
    times.TakeSetting(u"resettime=170000");
    times.TakeSetting(u"resettimedst=123456");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306170000);
    EXPECT_EQ(times.TakeRoll(u"20200309"), 20200309123456);
}

TEST(HotMonthTimes, ATimeInDaylightSavingAloneLeavesTheOtherToTheExchange) {
    CHotMonthTimes times(MINE, u"220000", WINTER, TAIPEI);
    times.TakeSetting(u"timezone=UTC");
    times.TakeSetting(u"resettimedst=123456");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306220000);
    EXPECT_EQ(times.TakeRoll(u"20200309"), 20200309123456);
}

TEST(HotMonthTimes, AnEarlyTimeLessAnHourLosesItsLeadingZeros) {
    CHotMonthTimes times(MINE, u"", WINTER, TAIPEI);
    times.TakeSetting(u"timezone=UTC");
    times.TakeSetting(u"resettime=013000");
    EXPECT_EQ(times.TakeRoll(u"20200309"), 202003093000) << "twelve digits";
    times.TakeSetting(u"resettime=050000");
    EXPECT_EQ(times.TakeRoll(u"20200309"), 2020030940000) << "thirteen";
    times.TakeSetting(u"resettime=010000");
    EXPECT_EQ(times.TakeRoll(u"20200309"), 202003090) << "nine";
    times.TakeSetting(u"resettime=001000");
    EXPECT_EQ(times.TakeRoll(u"20200309"), 20200309231000) << "the hour before midnight";
}

TEST(HotMonthTimes, AnExchangeWithoutDaylightSavingTakesTheOneTimeAllYear) {
    CHotMonthTimes times(LOCAL, u"", SUMMER, TAIPEI);
    times.TakeSetting(u"timezone=UTC");
    times.TakeSetting(u"resettime=170000");
    times.TakeSetting(u"resettimedst=180000");
    EXPECT_EQ(times.TakeRoll(u"20200709"), 20200709170000);
    EXPECT_EQ(times.GetReset(), 170000);
}

TEST(HotMonthTimes, ASettingHoldsForTheRollsBehindIt) {
    CHotMonthTimes times(MINE, u"230000", WINTER, 0);
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306230000);
    times.TakeSetting(u"timezone=UTC");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306230000);
    times.TakeSetting(u"resettime=170000");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306170000);
    times.TakeSetting(u"resettime=180000");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306180000);
}

TEST(HotMonthTimes, TheTimesOfTheFileAreOfTheZoneThatItNames) {
    CHotMonthTimes times(MINE, u"230000", WINTER, CHICAGO);
    times.TakeSetting(u"resettime=170000");
    times.TakeSetting(u"timezone=LOCAL");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306230000);
    EXPECT_EQ(times.TakeRoll(u"20200309"), 20200309220000);
    EXPECT_EQ(times.GetVariables().utcStd, u"230000") << "the exchange's, which no line in UTC has replaced";
    times.TakeSetting(u"timezone=UTC");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306170000);
    times.TakeSetting(u"timezone=");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306230000);
}

TEST(HotMonthTimes, ALocalTimeMayBelongToAnotherDayOfUtc) {
    CHotMonthTimes times(LOCAL, u"", WINTER, TAIPEI);
    times.TakeSetting(u"resettime=050000");
    EXPECT_EQ(times.TakeRoll(u"20200301"), 20200229210000);
    EXPECT_EQ(times.GetReset(), 210000);
}

TEST(HotMonthTimes, AnyOtherZoneLeavesTheDateAlone) {
    CHotMonthTimes times(MINE, u"230000", WINTER, TAIPEI);
    for (const auto* psz : {u"timezone=Asia/Tokyo", u"timezone=utc", u"timezone=Local", u"timezone= "}) {
        times.TakeSetting(psz);
        EXPECT_EQ(times.TakeRoll(u"20200309"), 20200309);
        EXPECT_EQ(times.GetReset(), 230000);
    }
}

TEST(HotMonthTimes, TheKeysOfSettingsAreReadWithoutRegardToCase) {
    CHotMonthTimes times(MINE, u"230000", WINTER, TAIPEI);
    times.TakeSetting(u"TimeZone=UTC");
    times.TakeSetting(u"RESETTIME=90000");
    times.TakeSetting(u"ResetTimeDST=80000");
    EXPECT_EQ(times.GetVariables().fileStd, u"090000");
    EXPECT_EQ(times.GetVariables().fileDst, u"080000");
    EXPECT_EQ(times.TakeRoll(u"20200309"), 20200309080000);
}

TEST(HotMonthTimes, UnknownSettingsAreIgnored) {
    CHotMonthTimes times(MINE, u"230000", WINTER, TAIPEI);
    for (const auto* psz : {u"resettime2=1", u" resettime=1", u"resettime =1", u"", u"=", u"=170000", u"; a comment"})
        times.TakeSetting(psz);
    EXPECT_EQ(times.GetVariables().fileStd, u"");
    EXPECT_EQ(times.GetVariables().fileDst, u"");
}

TEST(HotMonthTimes, ABadNumberReadsAsMidnight) {
    CHotMonthTimes times(MINE, u"230000", WINTER, TAIPEI);
    times.TakeSetting(u"timezone=UTC");
    times.TakeSetting(u"resettime=five");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306000000);
    times.TakeSetting(u"resettime");
    EXPECT_EQ(times.GetVariables().fileStd, u"000000");
    times.TakeSetting(u"resettime=17:00");
    EXPECT_EQ(times.GetVariables().fileStd, u"000017");
}

TEST(HotMonthTimes, TheResetTimeGoesByTodayAndTheRollByItsDate) {
    CHotMonthTimes times(MINE, u"220000", SUMMER, 0);
    EXPECT_EQ(times.GetReset(), 220000);
    EXPECT_EQ(times.GetVariables().utcStd, u"230000");
    times.TakeSetting(u"timezone=UTC");
    times.TakeSetting(u"resettime=170000");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306170000);
    EXPECT_EQ(times.GetReset(), 160000);
    times.TakeSetting(u"timezone=LOCAL");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306170000);
    EXPECT_EQ(times.GetReset(), 160000);
}

TEST(HotMonthTimes, TheHourBeforeLocalMidnightMakesNoDateAndTime) {
    CHotMonthTimes times(MINE, u"060000", WINTER, CHICAGO);
    EXPECT_EQ(times.GetVariables().localDst, u"-10000");
    EXPECT_EQ(times.TakeRoll(u"20200306"), 20200306060000);
    EXPECT_EQ(times.TakeRoll(u"20200309"), 10101060000) << "the start of the clock, six hours later";
    CHotMonthTimes ahead(MINE, u"160000", WINTER, TAIPEI);
    EXPECT_EQ(ahead.TakeRoll(u"20200309"), 0);
}

TEST(HotMonthTimes, BrokenDatesGiveSomeNumberAndNoFailure) {
    const std::u16string strLong(1000, u'9');
    for (const std::int64_t nOffset : {TAIPEI, CHICAGO}) {
        for (const auto* pszZone : {u"timezone=UTC", u"timezone=LOCAL", u"timezone=x"}) {
            CHotMonthTimes times(MINE, u"230000", WINTER, nOffset);
            times.TakeSetting(pszZone);
            times.TakeSetting(u"resettime=999999999999");
            for (const TextView strDate : {TextView(u""), TextView(u"tomorrow"), TextView(u"20209999"),
                                           TextView(u"99999999"), TextView(u"18990101"), TextView(strLong)}) {
                times.TakeRoll(strDate);
            }
            EXPECT_EQ(times.GetVariables().fileStd, u"2147483647");
        }
    }
    CHotMonthTimes times(MINE, u"230000", WINTER, TAIPEI);
    times.TakeSetting(u"timezone=UTC");
    EXPECT_EQ(times.TakeRoll(u""), 230000);
    EXPECT_EQ(times.TakeRoll(u"tomorrow"), 0);
    EXPECT_EQ(times.TakeRoll(strLong), 9'223'372'036'854'775'807);
}

}  // namespace qvant::test
