/// The timers, the clock and the language in a whole service.
#include <future>
#include <set>

#include "refresh_fixture.h"
#include "service_fixture.h"
#include "support/stop_limit.h"
#include "support/threads.h"

namespace qvant::test {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;

constexpr std::int64_t PERIOD = 2'220'000;
constexpr std::int64_t MINUTE = 60'000;
/// Sleepers by the clock beside the timers, once a user is signed in: the loop of the holiday calendar.
constexpr std::size_t CALENDAR = 1;

/// The service at a clock that the test drives, with one contract list. "TXF" is reset at 08:30 in Taipei.
class RefreshingService : public ServiceTest {
protected:
    RefreshingService() {
        for (const auto* pszTable : {u"Contract.List", u"Contract.List.Name", u"HOTMONTHTABLE", u"NearbyMonth"}) {
            m_host.MakeTable(pszTable);
        }
        m_host.SetRows(u"PERMISSIONS.LUMIVale", {u"Classification=fut:cn-fut"});
        m_server.PublishList("CN-FUT", "1", LIST_1);
        m_pClock = &m_clock;
        Load();
        m_clock.Expect([this] { return GetDueTimes(m_service->ListTimers()); });
    }
    /// The clock goes before the members of the base.
    ~RefreshingService() override { m_service.reset(); }

    /// The rolls of moved hot months follow a sign-in after 50 milliseconds.
    void LetRollsFollow() { m_clock.Advance(50); }
    void SignIn() {
        ServiceTest::SignIn();
        LetRollsFollow();
    }
    void TickAt(const Text& strTime) {
        m_host.Set(u"QvantSystemTime", {{u"SystemDate", u"20260302"}, {u"SystemTime", strTime}});
    }
    std::size_t CountPasses() const {
        const auto arLog = m_host.GetLog();
        return static_cast<std::size_t>(std::ranges::count(arLog, "TimerQueryAll m_hEventSymbolLookUp Done"));
    }
    std::set<std::uint32_t> GetTimers() const {
        std::set<std::uint32_t> setIds;
        for (const TimerState& timer : m_service->ListTimers()) setIds.insert(timer.nId);
        return setIds;
    }
    /// Lets timer 100 fire while the server doesn't answer. @return who drives the clock until the pass has ended
    std::future<void> BeginHangingPass() {
        m_server.Hang();
        const auto nBefore = m_server.GetTargets().size();
        m_clock.WaitForSleepers(1 + CALENDAR);
        auto driver = std::async(std::launch::async, [this] { m_clock.Advance(PERIOD); });
        m_server.WaitForQueries(nBefore + 1);
        return driver;
    }

    CDrivenClock m_clock{platform::FromUtc({.nYear = 2026, .nMonth = 3, .nDay = 2, .nHour = 0, .nMinute = 20})};
};

TEST_F(RefreshingService, AWeekOfPassesIsOverInAMoment) {
    SignIn();
    m_host.Forget();
    const auto nBefore = m_server.GetTargets().size();
    m_clock.Advance(std::int64_t{7} * 24 * 60 * MINUTE);
    EXPECT_EQ(CountPasses(), 272u);
    EXPECT_EQ(m_server.GetTargets().size(), nBefore + 2 * 272);
    Leave();
}

TEST_F(RefreshingService, SigningInTwiceArmsTimer100Once) {
    SignIn();
    const auto arBefore = m_service->ListTimers();
    ASSERT_EQ(arBefore.size(), 1u);
    EXPECT_EQ(arBefore[0].nId, 100u);
    EXPECT_EQ(arBefore[0].nInterval, 2'220'000u);
    m_clock.Advance(MINUTE);
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    LetRollsFollow();
    const auto arAfter = m_service->ListTimers();
    ASSERT_EQ(arAfter.size(), 1u);
    EXPECT_EQ(arAfter[0].nNextDue, arBefore[0].nNextDue);
    Leave();
}

TEST_F(RefreshingService, ASignInThatLoadsHasTheRollsAskedForAndTheOneAfterItTheSame) {
    ServiceTest::SignIn();
    EXPECT_THAT(GetTimers(), ElementsAre(100u, 999u)) << "the lists were loaded";
    LetRollsFollow();
    EXPECT_TRUE(m_host.HasLogged("OnLumTimer ID:999"));
    EXPECT_THAT(GetTimers(), ElementsAre(100u));
    m_host.Forget();
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = 0 "));
    EXPECT_THAT(GetTimers(), ElementsAre(100u, 999u)) << "nothing was loaded";
    LetRollsFollow();
    EXPECT_TRUE(m_host.HasLogged("OnLumTimer ID:999"));
    Leave();
}

TEST_F(RefreshingService, APassThatLoadsHasTheRollsAskedForAndOneWithoutNewsHasNot) {
    SignIn();
    m_host.Forget();
    m_clock.Advance(PERIOD);
    EXPECT_EQ(CountPasses(), 1u);
    EXPECT_FALSE(m_host.HasLogged("OnLumTimer ID:999"));
    m_server.PublishList("CN-FUT", "2", LIST_2);
    m_clock.Advance(PERIOD);
    EXPECT_TRUE(m_host.HasLogged("OnLumTimer ID:999"));
    Leave();
}

TEST_F(RefreshingService, AFirstLoadLeavesTheRollsToTheSignIn) {
    SignIn();
    Leave();
    m_host.Forget();
    Load();
    Status(SYSTEM_STATUS_INIT);
    ASSERT_TRUE(m_host.WaitForLog("LoadContractList-End"));
    EXPECT_THAT(GetTimers(), IsEmpty());
    Leave();
}

TEST_F(RefreshingService, AStopKillsRollsThatAreDue) {
    ServiceTest::SignIn();
    Status(SYSTEM_STATUS_STOP);
    EXPECT_THAT(GetTimers(), IsEmpty());
    m_clock.Advance(MINUTE);
    EXPECT_FALSE(m_host.HasLogged("OnLumTimer ID:999"));
    Status(SYSTEM_STATUS_EXIT);
}

TEST_F(RefreshingService, TheHostsClockAtAResetTimeStartsABurst) {
    SignIn();
    m_host.Forget();
    TickAt(u"003000");
    m_clock.WaitForSleepers(2 + CALENDAR);
    EXPECT_THAT(GetTimers(), ElementsAre(100u, 101u));
    m_server.Publish("8", SECURITIES_8);
    m_clock.Advance(50);
    EXPECT_TRUE(m_host.HasLogged("OnLumTimer ID:101"));
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"09:00");
    m_clock.Advance(10 * MINUTE);
    EXPECT_EQ(CountPasses(), 10u);
    EXPECT_THAT(GetTimers(), ElementsAre(100u));
    Leave();
}

TEST_F(RefreshingService, BeforeTheSignInTheHostsClockStartsABurstAsWell) {
    SignIn();
    Leave();
    m_host.Forget();
    Load();
    Status(SYSTEM_STATUS_INIT);
    ASSERT_TRUE(m_host.WaitForLog("LoadContractList-End"));
    TickAt(u"3500");
    m_clock.WaitForSleepers(1);
    m_clock.Advance(10 * MINUTE);
    EXPECT_EQ(CountPasses(), 5u);
    Leave();
}

TEST_F(RefreshingService, AfterTheStopTheHostsClockStartsNothing) {
    SignIn();
    TickAt(u"003000");
    m_clock.WaitForSleepers(2 + CALENDAR);
    Status(SYSTEM_STATUS_STOP);
    TickAt(u"003100");
    EXPECT_THAT(GetTimers(), IsEmpty());
    m_clock.Advance(PERIOD);
    EXPECT_EQ(CountPasses(), 0u);
    Status(SYSTEM_STATUS_EXIT);
    EXPECT_TRUE(WaitForThreads("Timer", 0));
}

TEST_F(RefreshingService, AChangeOfTheHostsLanguageLoadsTheContractsAnew) {
    m_host.Set(u"GeneralService", {{u"AppManager_Culture", u"en-US"}});
    SignIn();
    m_host.Forget();
    m_host.Set(u"GeneralService", {{u"AppManager_Culture", u"zh-CHT"}});
    ASSERT_TRUE(m_host.WaitForLog("LoadContractList-End"));
    EXPECT_TRUE(m_host.HasLogged("GeneralService Change Language:CHT"));
    Status(SYSTEM_STATUS_STOP);
    Status(SYSTEM_STATUS_EXIT);
    EXPECT_EQ(ReadSetting(u"AppsLanguage"), u"CHT");
}

TEST_F(RefreshingService, StopAndExitCutAHangingPassShortAndLeaveNoThread) {
    SignIn();
    auto driver = BeginHangingPass();
    EXPECT_EQ(CountThreads("Timer100"), 1);
    const auto start = Clock::now();
    Leave();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    driver.get();
    EXPECT_TRUE(WaitForThreads("Timer", 0));
    EXPECT_EQ(m_clock.GetSleepers(), 0u);
}

TEST_F(RefreshingService, AnExitAloneCutsAHangingPassShort) {
    SignIn();
    auto driver = BeginHangingPass();
    const auto start = Clock::now();
    Status(SYSTEM_STATUS_EXIT);
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    driver.get();
    EXPECT_TRUE(WaitForThreads("Timer", 0));
}

TEST_F(RefreshingService, AServiceDestroyedInTheMiddleOfAPassLeavesNothingRunning) {
    SignIn();
    auto driver = BeginHangingPass();
    // The driver looks at the timers of the service.
    m_clock.Expect(nullptr);
    const auto start = Clock::now();
    m_service.reset();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    driver.get();
    EXPECT_TRUE(WaitForThreads("Timer", 0));
}

TEST_F(RefreshingService, ASignInWaitsForARunningPass) {
    SignIn();
    auto driver = BeginHangingPass();
    m_host.Forget();
    auto login = std::async(std::launch::async, [this] { return Status(SYSTEM_STATUS_LOGIN); });
    ASSERT_TRUE(m_host.WaitForLog("LonginOk m_hEventSymbolLookUp Done"));
    m_server.Release();
    EXPECT_EQ(login.get(), S_OK);
    driver.get();
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = 0 "));
    Leave();
}

TEST_F(RefreshingService, AStopEndsTheSignInThatWaitsForAHangingPass) {
    SignIn();
    auto driver = BeginHangingPass();
    m_host.Forget();
    auto login = std::async(std::launch::async, [this] { return Status(SYSTEM_STATUS_LOGIN); });
    ASSERT_TRUE(m_host.WaitForLog("LonginOk m_hEventSymbolLookUp Done"));
    const auto start = Clock::now();
    Leave();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    login.get();
    driver.get();
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("LoginID:"))));
}

TEST_F(RefreshingService, BetweenAStopAndTheNextSignInEverythingComesBack) {
    SignIn();
    auto driver = BeginHangingPass();
    Status(SYSTEM_STATUS_STOP);
    driver.get();
    m_server.Release();
    m_host.Forget();
    Status(SYSTEM_STATUS_INIT);
    Status(SYSTEM_STATUS_LOGIN);
    m_clock.Advance(PERIOD);
    EXPECT_EQ(CountPasses(), 1u);
    TickAt(u"003000");
    m_clock.WaitForSleepers(2 + CALENDAR);
    m_clock.Advance(10 * MINUTE);
    EXPECT_EQ(CountPasses(), 11u);
    Leave();
}

TEST_F(RefreshingService, APassASignInAndAChangeOfTheLanguageAtTheSameTimeTakeTurns) {
    SignIn();
    for (int i = 0; i < 10; ++i) {
        const std::string strVersion = std::to_string(i + 2);
        m_server.PublishList("CN-FUT", strVersion,
                             R"({"LastVersion":")" + strVersion + R"(","Classification":{"ENG":"Futures"}})");
        auto driver = std::async(std::launch::async, [this] { m_clock.Advance(PERIOD); });
        m_host.Set(u"GeneralService", {{u"AppManager_Culture", i % 2 == 0 ? u"zh-CHT" : u"en-US"}});
        EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
        driver.get();
    }
    Leave();
    EXPECT_EQ(ReadSetting(u"ContractVersion"), u"FUT:11|");
}

}  // namespace qvant::test
