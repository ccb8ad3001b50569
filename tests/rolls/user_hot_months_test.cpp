#include "rolls/user_hot_months.h"

#include <filesystem>

#include "base/format.h"
#include "platform/stop.h"
#include "rolls/user_hot_months_fixture.h"

namespace qvant::test {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST_F(UserHotMonthsTest, ASeriesFromItsDefinitionToTheMomentOfItsNextRoll) {
    Serve({{{"I.F.CME.ES.202009", 202006160500}, "3066.5"},
           {{"I.F.CME.ES.202012", 202006160500}, "3058.25"},
           {{"I.F.CME.ES.202012", 202009150500}, "3383.0"},
           {{"I.F.CME.ES.202103", 202009150500}, "3383.5"}});
    Define(MINE,
           "TimeZone=UTC\n"
           "ResetTime=220000\n"
           "20200615->202009\n"
           "20200914->202012\n"
           "20201221->202103\n",
           1'608'512'400);
    SetClock(20201221, 83000);
    m_series.LoadConfig(u"ALL");

    // Summer on both days: an hour before the time that the file names. In China it is the next morning.
    EXPECT_THAT(m_pServer->GetCommands(),
                ElementsAre("{\"s\":\"HistoryData\",\"c\":\"lastk\",\"r\":\"QueryLastK__163000000A\",\"d\":{\"s\":{"
                            "\"I.F.CME.ES.202009\":[202006160500],"
                            "\"I.F.CME.ES.202012\":[202006160500,202009150500],"
                            "\"I.F.CME.ES.202103\":[202009150500]}}}"));
    EXPECT_EQ(GetCompanion(),
              "UDHMLastWriteTime=20201221090000\n"
              "20200615210000->-82500000000\n"
              "20200914210000->5000000000\n");
    EXPECT_EQ(GetReset(), 220000);
    EXPECT_THAT(GetTold(), ElementsAre(MINE));

    for (const std::int32_t nTime : {215959, 220000, 220059, 220100}) {
        SetClock(20201221, nTime);
        m_series.OnClock();
    }
    EXPECT_THAT(m_arPosted, ElementsAre(Widen(MINE), Widen(MINE))) << "once for each change within the minute";
    EXPECT_EQ(m_host.GetLog().back(),
              "WM_UPDATE_BA. llQvantSystemDateTime=20201221220000, strTmp=QV.F.CME.ES.HOT_MINE.");

    // The newest month has no successor yet: there is nothing to ask for.
    m_series.LoadConfig(m_arPosted.front());
    EXPECT_THAT(m_pServer->GetCommands(), SizeIs(1));
    EXPECT_THAT(GetTold(), SizeIs(1));
}

TEST_F(UserHotMonthsTest, TheGapOfARollIsFilledInWhenItsMomentComes) {
    Serve({{{"I.F.CME.ES.202012", 202012211700}, "1.5"}, {{"I.F.CME.ES.202103", 202012211700}, "2.0"}});
    Define(MINE, "timezone=UTC\nresettime=90000\n20201221->202012\n20210315->202103\n");
    m_series.LoadConfig(u"ALL");
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201221090000->\n");
    EXPECT_THAT(m_pServer->GetCommands(), IsEmpty());
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), SizeIs(1)) << "nothing is missing yet";

    SetClock(20201221, 90001);
    m_series.OnClock();
    ASSERT_THAT(m_arPosted, SizeIs(1));
    m_series.LoadConfig(m_arPosted[0]);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201221090000->5000000000\n");
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(m_pServer->GetCommands(), SizeIs(1));
    EXPECT_THAT(GetTold(), SizeIs(2));
}

TEST_F(UserHotMonthsTest, APastRollWithoutAGapIsAskedForEachTime) {
    Serve({});
    Define(MINE, "20200615->202009\n20200914->202012\n");
    for (std::size_t nTimes = 1; nTimes <= 3; ++nTimes) {
        m_series.LoadConfig(u"");
        EXPECT_THAT(m_pServer->GetCommands(), SizeIs(nTimes));
        EXPECT_THAT(GetTold(), SizeIs(nTimes));
    }
}

TEST_F(UserHotMonthsTest, AFileThatWasWrittenAnewHasItsCompanionMadeAnew) {
    Define(MINE, "20200615->202009\n");
    m_series.LoadConfig(u"ALL");
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), SizeIs(1));
    Define(MINE, "20200615->202009\n20300914->202012\n", 1'608'429'660);
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), SizeIs(2));
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100100\n20200614230000->\n");
}

TEST_F(UserHotMonthsTest, OnlyFilesWithTheMarkAndTheExtensionAreDefinitions) {
    for (const char* psz : {"QV.F.CME.ES.udhm", "QV.F.CME.ES.HOT_A.txt", "QV.F.CME.ES.HOT_B.UDHM",
                            "QV.F.CME.ES.hot_C.udhm", "QV.F.CME.ES.HOT_D.udhm.bak", "HOT_E.udhm", ".udhm"}) {
        m_home.Write(FOLDER + std::string(psz), "20200615->202009\n");
    }
    std::filesystem::create_directories(m_home.GetPath() / FOLDER / "QV.F.CME.ES.HOT_F.udhm");
    Define("QV.F.CME.ES.HOT_", "20200615->202009\n");
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), ElementsAre("QV.F.CME.ES.HOT_"));
}

TEST_F(UserHotMonthsTest, ATitleChoosesItsFileAndAllOrNothingChoosesEach) {
    for (const char* psz : {"QV.F.CME.ES.HOT_A", "QV.F.CME.ES.HOT_B"})
        Define(psz, "20300615->203009\n20300915->203012\n");
    m_series.LoadConfig(u"QV.F.CME.ES.HOT_B");
    EXPECT_THAT(GetTold(), ElementsAre("QV.F.CME.ES.HOT_B"));
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), ElementsAre("QV.F.CME.ES.HOT_B", "QV.F.CME.ES.HOT_A"));
    std::filesystem::remove(m_home.GetPath() / FOLDER / "QV.F.CME.ES.HOT_B.ba");
    m_series.LoadConfig(u"");
    EXPECT_THAT(GetTold(), ElementsAre("QV.F.CME.ES.HOT_B", "QV.F.CME.ES.HOT_A", "QV.F.CME.ES.HOT_B"));
}

TEST_F(UserHotMonthsTest, ASelectorThatIsNoTitleChoosesNothing) {
    Define(MINE, "20200615->202009\n");
    for (const auto* psz : {u"qv.f.cme.es.hot_mine", u"all", u"All", u"QV.F.CME.ES", u"QV.F.CME.ES.HOT_MINE.udhm", u"*",
                            u" ", u"../UserDefHotMonth/QV.F.CME.ES.HOT_MINE"}) {
        m_series.LoadConfig(psz);
    }
    EXPECT_THAT(GetTold(), IsEmpty());
    EXPECT_EQ(GetReset(), -1);
}

TEST_F(UserHotMonthsTest, ALineBeforeTheSettingsRollsAtTheExchangesTime) {
    m_resetTimes.Set(u"QV.F.CME.ES", u"220000");
    // Without a zone the date is the machine's: there it is six in the morning.
    EXPECT_EQ(LoadLines("20200306->202003\n"
                        "timezone=UTC\n"
                        "20200306->202006\n"
                        "resettime=170000\n"
                        "20200306->202009\n"
                        "20200309->202012\n"
                        "20300101->203003\n"),
              "20200305220000->\n20200306220000->\n20200306170000->\n20200309160000->\n");
}

TEST_F(UserHotMonthsTest, TheResetTimeIsThatOfTheKeyInTheTitle) {
    m_resetTimes.Set(u"QV.F.TWF.TXF", u"223000");
    m_resetTimes.Set(u"QV.F.CME.ES", u"110000");
    EXPECT_EQ(LoadLines("timezone=UTC\n20200306->202003\n20300101->203003\n", "QV.F.TWF.TXF.HOT_A"),
              "20200306223000->\n");
    EXPECT_EQ(GetReset(u"QV.F.TWF.TXF.HOT_A"), 223000);
}

TEST_F(UserHotMonthsTest, WithNeitherSettingNorResetTimeASeriesRollsAtMidnight) {
    EXPECT_EQ(LoadLines("timezone=UTC\n20200306->202003\n20300101->203003\n", "QV.F.TWF.TXF.HOT_A"),
              "20200306000000->\n");
    EXPECT_EQ(GetReset(u"QV.F.TWF.TXF.HOT_A"), 0);
}

TEST_F(UserHotMonthsTest, TodaysSeasonIsThatOfTheHostsClock) {
    m_resetTimes.Set(u"QV.F.CME.ES", u"220000");
    SetClock(20200701, 0);
    EXPECT_EQ(LoadLines("timezone=UTC\n20200306->202003\n20300101->203003\n"), "20200306230000->\n");
}

TEST_F(UserHotMonthsTest, WithoutAHostsClockTodayIsTheMachinesDayOfUtc) {
    m_resetTimes.Set(u"QV.F.CME.ES", u"220000");
    // In UTC it is still the last day of daylight saving.
    m_clock.Set(2020, 10, 31, 23, 0, 0);
    for (const std::int32_t nDate : {0, -1}) {
        SetClock(nDate, 0);
        EXPECT_EQ(LoadLines("timezone=UTC\n20200306->202003\n20300101->203003\n"), "20200306230000->\n");
        std::filesystem::remove_all(m_home.GetPath() / FOLDER / "QV.F.CME.ES.HOT_MINE.ba");
    }
    m_clock.Set(2020, 11, 1, 0, 0, 0);
    EXPECT_EQ(LoadLines("timezone=UTC\n20200306->202003\n20300101->203003\n"), "20200306220000->\n");
}

TEST_F(UserHotMonthsTest, LocalTimesAreOfTheMachinesZoneOfToday) {
    const CEnvironment zone("TZ", "America/Chicago");
    EXPECT_EQ(LoadLines("timezone=LOCAL\nresettime=170000\n20200306->202003\n20200309->202006\n20300101->203003\n"),
              "20200306230000->\n20200309220000->\n");
    EXPECT_EQ(GetReset(), 230000);
}

TEST_F(UserHotMonthsTest, TheHourBeforeLocalMidnightRollsAtNoDateAndTime) {
    m_resetTimes.Set(u"QV.F.CME.ES", u"160000");
    EXPECT_EQ(LoadLines("20200306->202003\n20200309->202006\n20300101->203003\n"), "20200305160000->\n0->\n");
}

TEST_F(UserHotMonthsTest, AZoneOfAnotherNameLeavesDatesAloneWhichNoClockMeets) {
    EXPECT_EQ(LoadLines("timezone=Asia/Tokyo\n20201221->202003\n20201222->202006\n"), "20201221->\n");
    SetClock(20201221, 0);
    m_series.OnClock();
    SetClock(0, 20201221);
    m_series.OnClock();
    EXPECT_THAT(m_arPosted, IsEmpty());
}

TEST_F(UserHotMonthsTest, TheClockPostsEachFileThatRollsInItsMinute) {
    for (const char* psz : {"QV.F.CME.ES.HOT_A", "QV.F.CME.NQ.HOT_B"}) {
        Define(psz, "timezone=UTC\nresettime=170000\n20201221->202012\n20210315->202103\n");
    }
    m_series.LoadConfig(u"ALL");
    m_series.LoadConfig(u"ALL");
    m_host.Forget();
    SetClock(20201221, 170059);
    m_series.OnClock();
    EXPECT_THAT(m_arPosted, ElementsAre(u"QV.F.CME.ES.HOT_A", u"QV.F.CME.NQ.HOT_B"));
    EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog WM_UPDATE_BA. llQvantSystemDateTime=20201221170000, "
                                              "strTmp=QV.F.CME.ES.HOT_A,QV.F.CME.NQ.HOT_B."));
}

TEST_F(UserHotMonthsTest, AMinuteWithoutARollIsNotEvenLogged) {
    Define(MINE, "timezone=UTC\nresettime=170030\n20201221->202012\n");
    m_series.LoadConfig(u"ALL");
    m_host.Forget();
    for (const std::int32_t nTime : {165959, 170000, 170030, 170100}) {
        SetClock(20201221, nTime);
        m_series.OnClock();
    }
    EXPECT_THAT(m_host.GetSaid(), IsEmpty()) << "a roll with seconds is met by no minute";
    EXPECT_THAT(m_arPosted, IsEmpty());
}

TEST_F(UserHotMonthsTest, AFileThatCanNotBeReadIsLoggedAndTheNextIsRead) {
    std::filesystem::create_symlink("nowhere", m_home.GetPath() / FOLDER / "QV.F.CME.ES.HOT_A.udhm");
    Define("QV.F.CME.ES.HOT_B", "20200615->202009\n");
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(GetTold(), ElementsAre("QV.F.CME.ES.HOT_B"));
    EXPECT_EQ(m_host.GetLog().front(), "LoadConfig. strFilePath=" + m_home.GetPath().string() + "/" + FOLDER +
                                           "QV.F.CME.ES.HOT_A.udhm, GetLastError=2.");
    EXPECT_FALSE(Exists(FOLDER + std::string("QV.F.CME.ES.HOT_A.ba")));
    EXPECT_EQ(GetReset(u"QV.F.CME.ES.HOT_A"), 0) << "known before the file is opened";
}

TEST_F(UserHotMonthsTest, WithoutAFolderNothingHappens) {
    std::filesystem::remove_all(m_home.GetPath() / "Data");
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(m_host.GetSaid(), IsEmpty());
    EXPECT_FALSE(Exists("Data"));
}

TEST_F(UserHotMonthsTest, TheCompanionStandsBesideItsFileWhateverTheirNames) {
    CUserHotMonths series({m_host, m_clock, m_resetTimes, m_bars},
                          {[] { return 20201221; }, [] { return 0; }, [](const Text&) {}});
    m_home.Write("home.udhm/Data/UserDefHotMonth/QV.F.CME.ES.HOT_.udhm.udhm", "20200615->202009\n");
    series.SetHomeDir(m_home / "home.udhm/");
    series.LoadConfig(u"ALL");
    EXPECT_TRUE(Exists("home.udhm/Data/UserDefHotMonth/QV.F.CME.ES.HOT_.ba.ba"));
    EXPECT_FALSE(Exists("home.ba"));
}

TEST_F(UserHotMonthsTest, AStopEndsTheReadingBeforeTheNextFile) {
    Define(MINE, "20200615->202009\n");
    std::stop_source stop;
    stop.request_stop();
    const platform::CStopScope scope(stop.get_token());
    m_series.LoadConfig(u"ALL");
    EXPECT_THAT(m_host.GetSaid(), IsEmpty());
    EXPECT_FALSE(Exists(FOLDER + std::string(MINE) + ".ba"));
}

}  // namespace qvant::test
