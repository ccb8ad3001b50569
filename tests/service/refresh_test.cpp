#include <filesystem>
#include <future>
#include <thread>

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "refresh_fixture.h"

namespace qvant::test {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr std::int64_t PERIOD = 2'220'000;
constexpr std::int64_t MINUTE = 60'000;

/// Counts what a table tells its listeners.
class CWitness : public CBaseDataEventReceiver {
public:
    void OnUpdate(CBaseData*, std::int32_t, const Text&) override { ++m_nEvents; }
    void OnReplace(CBaseData*, std::int32_t) override { ++m_nEvents; }
    int GetEvents() const { return m_nEvents; }

private:
    std::atomic<int> m_nEvents{0};
};

TEST_F(RefreshTest, TheTimerPassesEvery37Minutes) {
    m_refresh.Start();
    m_clock.Advance(PERIOD - 1);
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
    m_clock.Advance(1);
    EXPECT_THAT(m_host.GetLog(), AllOf(Contains("OnLumTimer ID:100"),
                                       Contains("TimerQueryAll WaitForSingleObject : m_hEventSymbolLookUp"),
                                       Contains("TimerQueryAll m_hEventSymbolLookUp Done")));
    m_clock.Advance(2 * PERIOD);
    EXPECT_EQ(CountPasses(), 3u);
}

TEST_F(RefreshTest, ABurstOfTenIsTenPassesAMinuteApart) {
    m_refresh.StartBurst(10);
    EXPECT_TRUE(m_refresh.IsBurst());
    m_clock.Advance(49);
    EXPECT_EQ(CountPasses(), 0u);
    m_clock.Advance(1);
    EXPECT_EQ(CountPasses(), 1u);
    m_clock.Advance(MINUTE - 1);
    EXPECT_EQ(CountPasses(), 1u);
    m_clock.Advance(1);
    EXPECT_EQ(CountPasses(), 2u);
    m_clock.Advance(60 * MINUTE);
    EXPECT_EQ(CountPasses(), 10u);
    EXPECT_EQ(CountLog("OnLumTimer ID:101"), 1u);
    EXPECT_EQ(CountLog("OnLumTimer ID:102"), 9u);
    EXPECT_FALSE(m_refresh.IsBurst());
    EXPECT_THAT(m_timer.List(), IsEmpty());
}

TEST_F(RefreshTest, ACountedPassAtACountOfOneArmsNothing) {
    m_refresh.StartBurst(1);
    m_clock.Advance(50);
    EXPECT_EQ(CountPasses(), 1u);
    EXPECT_FALSE(m_refresh.IsBurst());
    EXPECT_THAT(m_timer.List(), IsEmpty());
}

TEST_F(RefreshTest, APassThatTakesLongPutsTheNextOneOffByAsMuch) {
    m_host.onLog = [this](TextView strLine) {
        if (strLine == u"OnLumTimer ID:101") m_clock.Pass(20'000);
    };
    m_refresh.StartBurst(2);
    m_clock.Advance(50);
    m_clock.Advance(MINUTE - 1);
    EXPECT_EQ(CountPasses(), 1u);
    m_clock.Advance(1);
    EXPECT_EQ(CountPasses(), 2u);
}

TEST_F(RefreshTest, WhileABurstLastsTimer100DoesNothingButItsLine) {
    m_refresh.Start();
    m_clock.Advance(PERIOD - 1'000);
    m_refresh.StartBurst(2);
    m_clock.Advance(1'000);
    EXPECT_EQ(CountLog("OnLumTimer ID:100"), 1u);
    EXPECT_EQ(CountPasses(), 1u);
    m_clock.Advance(MINUTE);
    EXPECT_EQ(CountPasses(), 2u);
    m_clock.Advance(PERIOD);
    EXPECT_EQ(CountPasses(), 3u);
}

TEST_F(RefreshTest, AStopEndsBurstAndTimers) {
    m_refresh.Start();
    m_refresh.StartBurst(10);
    m_clock.Advance(50);
    m_refresh.Stop();
    EXPECT_FALSE(m_refresh.IsBurst());
    m_clock.Advance(2 * PERIOD);
    EXPECT_EQ(CountPasses(), 1u);
}

TEST_F(RefreshTest, TheRequestIdCarriesTheTimersName) {
    const auto nBefore = m_server.GetTargets().size();
    m_refresh.Start();
    m_clock.Advance(PERIOD);
    m_refresh.StartBurst(2);
    m_clock.Advance(50 + MINUTE);
    const auto arTargets = m_server.GetTargets();
    ASSERT_EQ(arTargets.size(), nBefore + 6);
    for (const auto& [nTarget, pszWord] : {std::pair{0U, "Timer100"}, {2U, "Timer101"}, {4U, "Timer102"}}) {
        EXPECT_THAT(arTargets[nBefore + nTarget], AllOf(StartsWith("/OutsideData_"), HasSubstr(pszWord)));
        EXPECT_THAT(arTargets[nBefore + nTarget + 1], StartsWith("/Classification_"));
    }
}

TEST_F(RefreshTest, APassWithoutNewsTouchesNoTableAndWritesNoFile) {
    CWitness witness;
    std::vector<std::unique_ptr<CBaseData>> arWatched;
    for (const auto* pszTable : {u"STORAGE", u"OpenTimeExchange", u"orderExchange", u"Security.Info", u"Contract.List",
                                 u"Contract.List.Name", u"HOTMONTHTABLE", u"NearbyMonth"}) {
        arWatched.push_back(CBaseData::WrapCookie(m_host.MakeTable(pszTable).GlobalCookie(), &witness));
    }
    arWatched.push_back(m_host.MakeTable(u"STORAGE").GetSubTable(u"Lumivale", &witness));
    const auto GetFiles = [this] {
        std::map<std::string, std::filesystem::file_time_type> mapFiles;
        for (const auto& file : std::filesystem::recursive_directory_iterator(m_folder.GetPath())) {
            mapFiles[file.path().string()] = file.last_write_time();
        }
        return mapFiles;
    };
    const auto before = GetFiles();
    EXPECT_THAT(before, SizeIs(4));
    m_refresh.Start();
    m_clock.Advance(PERIOD);
    EXPECT_EQ(CountPasses(), 1u);
    EXPECT_EQ(GetFiles(), before);
    arWatched.clear();  // behind the last event
    EXPECT_EQ(witness.GetEvents(), 0);
}

TEST_F(RefreshTest, NewSecuritiesAreLoadedAndTheSettingsSaved) {
    m_server.Publish("8", SECURITIES_8);
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"09:00");
    EXPECT_EQ(ReadSetting(u"Version"), u"8");
    EXPECT_THAT(m_host.GetLog(), Not(Contains("LoadContractList-Start")));
}

TEST_F(RefreshTest, ANewContractListIsLoadedAndTheSettingsSaved) {
    m_server.PublishList("CN-FUT", "2", LIST_2);
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_EQ(m_host.Get(u"HOTMONTHTABLE", u"QV.F.CME.ES.HOT"), u"QV.F.CME.ES.202703");
    EXPECT_EQ(ReadSetting(u"ContractVersion"), u"FUT:2|");
    EXPECT_THAT(m_host.GetLog(), Not(Contains("LoadSecuritiesInfo-End")));
}

TEST_F(RefreshTest, WithEveryServerDownThePassEndsWithNothingChanged) {
    m_server.AnswerAlways("down", 503);
    m_refresh.StartBurst(2);
    m_clock.Advance(50 + MINUTE);
    EXPECT_EQ(CountPasses(), 2u);
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"08:45");
}

TEST_F(RefreshTest, APassThatFailsTellsSoAndTheBurstGoesOn) {
    m_server.Publish("9", SECURITIES_WITH_A_FAULT);
    m_refresh.StartBurst(2);
    m_clock.Advance(50);
    EXPECT_THAT(m_host.GetLog(), Contains("TimerQueryAll Fail, Error : 80004005"));
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"08:45");
    EXPECT_TRUE(m_eventTimerIdle.IsSet());
    m_server.Publish("8", SECURITIES_8);
    m_clock.Advance(MINUTE);
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"09:00");
    EXPECT_FALSE(m_refresh.IsBurst());
}

TEST_F(RefreshTest, ATimerOfAnyOtherIdDoesNothingButItsLine) {
    m_refresh.OnLumTimer(7);
    EXPECT_THAT(m_host.GetLog(), ElementsAre("OnLumTimer ID:7"));
}

TEST_F(RefreshTest, TheRollsAreAskedForOnceForEachArmingAndAtTheLowestPriority) {
    int nNice = -1;
    m_processRequery = [&] {
        ++m_nRequeries;
        nNice = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
    };
    m_refresh.ArmRequery();
    m_clock.Advance(49);
    m_refresh.ArmRequery();
    EXPECT_EQ(m_nRequeries, 0);
    m_clock.Advance(1);
    EXPECT_EQ(m_nRequeries, 1) << "an arming while it is pending changes nothing";
    EXPECT_EQ(nNice, 10);
    m_clock.Advance(PERIOD);
    EXPECT_EQ(m_nRequeries, 1);
    EXPECT_THAT(m_timer.List(), IsEmpty());
    m_refresh.ArmRequery();
    m_clock.Advance(50);
    EXPECT_EQ(m_nRequeries, 2);
    EXPECT_EQ(CountLog("OnLumTimer ID:999"), 2u);
}

TEST_F(RefreshTest, TheRollsMayBeArmedAnewFromTheirOwnCallback) {
    m_processRequery = [&] {
        if (++m_nRequeries < 3) m_refresh.ArmRequery();
    };
    m_refresh.ArmRequery();
    m_clock.Advance(MINUTE);
    EXPECT_EQ(m_nRequeries, 3);
}

TEST_F(RefreshTest, TheFactorsAreLookedThroughEvery16MinutesUntilTheTimerIsKilled) {
    m_refresh.ArmExpiry();
    m_clock.Advance(16 * MINUTE - 1);
    m_refresh.ArmExpiry();
    EXPECT_THAT(m_arExpiryChecks, IsEmpty());
    m_clock.Advance(1 + 16 * MINUTE);
    EXPECT_THAT(m_arExpiryChecks, ElementsAre(800u, 800u));
    m_refresh.StopExpiry();
    m_clock.Advance(60 * MINUTE);
    EXPECT_THAT(m_arExpiryChecks, SizeIs(2));
    m_refresh.ArmExpiry();
    m_clock.Advance(16 * MINUTE);
    EXPECT_THAT(m_arExpiryChecks, SizeIs(3));
}

TEST_F(RefreshTest, AStopKillsTheRollsAndLeavesTheFactors) {
    m_refresh.ArmRequery();
    m_refresh.ArmExpiry();
    m_refresh.Stop();
    m_clock.Advance(16 * MINUTE);
    EXPECT_EQ(m_nRequeries, 0);
    EXPECT_THAT(m_arExpiryChecks, SizeIs(1));
}

TEST_F(RefreshTest, OnceTheServiceWasToldToStopNeitherIsArmed) {
    m_stop.request_stop();
    m_refresh.ArmRequery();
    m_refresh.ArmExpiry();
    EXPECT_THAT(m_timer.List(), IsEmpty());
}

TEST_F(RefreshTest, RollsThatWaitForAServerHoldUpNoPass) {
    platform::CEvent asked(platform::CEvent::Reset::Manual, false);
    platform::CEvent answered(platform::CEvent::Reset::Manual, false);
    m_processRequery = [&] {
        asked.Set();
        answered.Wait();
    };
    std::thread timer([this] { m_refresh.OnLumTimer(CRefresh::TIMER_REQUERY); });
    asked.Wait();
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_EQ(CountPasses(), 1u);
    answered.Set();
    timer.join();
}

TEST_F(RefreshTest, WhileATimerRunsTheServiceIsNotIdle) {
    bool bIdle = true;
    m_host.onLog = [&](TextView strLine) {
        if (strLine == u"OnLumTimer ID:100") bIdle = m_eventTimerIdle.IsSet();
    };
    // On a thread of its own: its priority is lowered for good.
    std::async(std::launch::async, [this] { m_refresh.OnLumTimer(CRefresh::TIMER_PERIODIC); }).get();
    EXPECT_FALSE(bIdle);
    EXPECT_TRUE(m_eventTimerIdle.IsSet());
}

TEST_F(RefreshTest, PassesRunAtTheLowestPriority) {
    int nBefore = -1;
    int nDuring = -1;
    m_host.onLog = [&](TextView strLine) {
        const int nNice = getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid)));
        if (strLine == u"OnLumTimer ID:101") nBefore = nNice;
        if (strLine == u"TimerQueryAll m_hEventSymbolLookUp Done") nDuring = nNice;
    };
    m_refresh.StartBurst(1);
    m_clock.Advance(50);
    EXPECT_LT(nBefore, 10);
    EXPECT_EQ(nDuring, 10);
}

TEST_F(RefreshTest, APassWaitsForTheSymbols) {
    m_eventSymbolLookUp.Clear();
    bool bBuilt = false;
    m_host.onLog = [&](TextView strLine) {
        if (strLine == u"TimerQueryAll m_hEventSymbolLookUp Done") bBuilt = m_eventSymbolLookUp.IsSet();
    };
    auto pass = std::async(std::launch::async, [this] { m_refresh.TimerQueryAll(false, u"Timer100"); });
    ASSERT_TRUE(m_host.WaitForLog("TimerQueryAll WaitForSingleObject"));
    m_eventSymbolLookUp.Set();
    pass.get();
    EXPECT_TRUE(bBuilt);
}

TEST_F(RefreshTest, NoPassBeginsWhileOthersWorkOnTheReferenceData) {
    std::atomic<bool> bWorking = true;
    bool bAlone = false;
    m_host.onLog = [&](TextView strLine) {
        if (strLine == u"TimerQueryAll m_hEventSymbolLookUp Done") bAlone = !bWorking;
    };
    std::future<void> pass;
    {
        const platform::CStoppableHold work(m_lockPass);
        pass = std::async(std::launch::async, [this] { m_refresh.TimerQueryAll(false, u"Timer100"); });
        bWorking = false;
    }
    pass.get();
    EXPECT_TRUE(bAlone);
}

TEST_F(RefreshTest, AStopEndsAPassThatWaitsForTheSymbolsAndItsBurst) {
    m_eventSymbolLookUp.Clear();
    m_refresh.StartBurst(10);
    m_clock.WaitForSleepers(1);
    auto driver = std::async(std::launch::async, [this] { m_clock.Advance(50); });
    ASSERT_TRUE(m_host.WaitForLog("TimerQueryAll WaitForSingleObject"));
    m_stop.request_stop();
    driver.get();
    EXPECT_EQ(CountPasses(), 0u);
    EXPECT_THAT(m_timer.List(), IsEmpty());
}

TEST_F(RefreshTest, NewsThatAStopKeptFromTheTablesAreLeftToTheNextSignIn) {
    m_state.m_strLumivaleURL = m_server.GetUrl();
    m_server.Publish("8", SECURITIES_8);
    m_host.onLog = [this](TextView strLine) {
        if (strLine.starts_with(u"QuerySecuritiesInfo-SaveVer")) m_stop.request_stop();
    };
    m_refresh.StartBurst(10);
    m_clock.Advance(50);
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"08:45");
    EXPECT_EQ(m_state.m_strLumivaleURL, u"");
    EXPECT_EQ(ReadSetting(u"Version"), u"7");
}

TEST_F(RefreshTest, RatesOfTodayStayJudged) {
    m_state.m_strCurrencyVersion = u"20260302";
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_TRUE(m_refresh.IsCurrencyChecked());
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_TRUE(m_refresh.IsCurrencyChecked());
}

TEST_F(RefreshTest, RatesOfAnotherDayAreJudgedAnewAtNineOrLater) {
    m_state.m_strCurrencyVersion = u"20260301";
    SetTimeOfDay(8, 59);
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_FALSE(m_refresh.IsCurrencyChecked());
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_FALSE(m_refresh.IsCurrencyChecked());
    SetTimeOfDay(9);
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_TRUE(m_refresh.IsCurrencyChecked());
}

TEST_F(RefreshTest, TheDayOfTheRatesIsThatOfTheMachinesZone) {
    const CEnvironment zone("TZ", "Asia/Taipei");
    SetTimeOfDay(23);
    m_state.m_strCurrencyVersion = u"20260303";
    m_refresh.TimerQueryAll(false, u"Timer100");
    EXPECT_TRUE(m_refresh.IsCurrencyChecked());
}

TEST_F(RefreshTest, NoTimerFetchesTheRatesAtAnyHour) {
    for (const auto* pszVersion : {u"20260301", u"20260302"}) {
        m_state.m_strCurrencyVersion = pszVersion;
        for (int nMinute = 0; nMinute < 24 * 60; nMinute += 30) {
            SetTimeOfDay(nMinute / 60, nMinute % 60);
            m_refresh.TimerQueryAll(false, u"Timer100");
        }
    }
    EXPECT_EQ(m_nCurrencyQueries, 0);
}

}  // namespace qvant::test
