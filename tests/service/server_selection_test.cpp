#include <future>

#include "service_fixture.h"
#include "support/stop_limit.h"
#include "support/threads.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::Each;
using ::testing::HasSubstr;
using ::testing::Not;
using Clock = std::chrono::steady_clock;

class ServerSelectionTest : public ServiceTest {
protected:
    /// The list that the last sign-in left.
    void Store(const Text& strServers) {
        m_folder.Write("LUMIVale.ini", "[LUMIVale]\r\nLUMIValeURL=" + Narrow(strServers) + "\r\n");
    }
    std::size_t CountLines(const std::string& strBegin) const {
        std::size_t nCount = 0;
        for (const std::string& strLine : m_host.GetLog()) nCount += strLine.starts_with(strBegin) ? 1 : 0;
        return nCount;
    }
    void ExpectToLeaveAtOnce() {
        const auto start = Clock::now();
        Leave();
        EXPECT_LT(Clock::now() - start, STOP_LIMIT);
        EXPECT_TRUE(WaitForThreads("LatencyWorker", 0));
        EXPECT_EQ(CountLines("The fastest server:"), 0U);
    }

    const Text m_strDead = u"http://127.0.0.1:1/";
    CDocumentServer m_second;
};

TEST_F(ServerSelectionTest, TheFirstLoadAsksTheFastestOfTheStoredServers) {
    Store(m_strDead + u"|" + m_server.GetUrl() + u"|" + m_strDead + u"x/");
    Status(SYSTEM_STATUS_INIT);
    ASSERT_TRUE(m_host.WaitForLog("LoadContractList-End"));
    EXPECT_TRUE(m_host.HasLogged("The fastest server:" + Narrow(m_server.GetUrl())));
    EXPECT_EQ(CountLines("QuerySecuritiesInfo Fail:"), 0U);
    EXPECT_EQ(m_server.GetTargets().front(), "/OutsideData_getMainLastVer.do");
    Leave();
}

TEST_F(ServerSelectionTest, ASignInRanksTheServersItIsGivenBeforeItAsksThem) {
    Permit(m_strDead + u"|" + m_server.GetUrl());
    SignIn();
    EXPECT_TRUE(m_host.HasLogged("The fastest server:" + Narrow(m_server.GetUrl())));
    EXPECT_EQ(CountLines("QuerySecuritiesInfo Fail:"), 0U);
    const std::size_t nProbes = CountLines("URL:");
    EXPECT_EQ(nProbes, 2U);
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    EXPECT_EQ(CountLines("URL:"), nProbes) << "the same list is measured again";
    Leave();
}

TEST_F(ServerSelectionTest, ASingleServerIsNeverProbed) {
    Store(m_server.GetUrl());
    SignIn();
    EXPECT_THAT(m_server.GetTargets(), Each(Not(HasSubstr("getMainLastVer"))));
    EXPECT_EQ(CountLines("The fastest server:"), 0U);
    const auto start = Clock::now();
    Leave();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
}

TEST_F(ServerSelectionTest, TheHandicapIsThatOfTheSettings) {
    m_folder.Write("terminal/ComShared/CustomSetting.ini", "[LUMIVale]\r\nResponseInterval=700\r\n");
    Permit(m_server.GetUrl() + u"|" + m_second.GetUrl());
    SignIn();
    EXPECT_EQ(CountLines("CountsOfGetQuery:1, Interval=0") + CountLines("CountsOfGetQuery:2, Interval=0"), 1U);
    EXPECT_EQ(CountLines("CountsOfGetQuery:1, Interval=700") + CountLines("CountsOfGetQuery:2, Interval=700"), 1U);
    Leave();
}

TEST_F(ServerSelectionTest, StopAndExitEndATestOfSilentServersAtOnce) {
    Store(m_server.GetUrl() + u"|" + m_second.GetUrl());
    m_server.Hang();
    m_second.Hang();
    Status(SYSTEM_STATUS_INIT);
    m_server.WaitForQuery();
    m_second.WaitForQuery();
    ExpectToLeaveAtOnce();
}

TEST_F(ServerSelectionTest, ExitRightAfterTheStartEndsATestThatHasHardlyBegun) {
    Store(m_server.GetUrl() + u"|" + m_second.GetUrl());
    m_server.Hang();
    m_second.Hang();
    Status(SYSTEM_STATUS_INIT);
    ExpectToLeaveAtOnce();
}

TEST_F(ServerSelectionTest, AStopFromAnotherThreadEndsASignInThatMeasures) {
    Permit(m_server.GetUrl() + u"|" + m_second.GetUrl());
    m_server.Hang();
    m_second.Hang();
    Status(SYSTEM_STATUS_INIT);
    auto login = std::async(std::launch::async, [this] { return Status(SYSTEM_STATUS_LOGIN); });
    m_server.WaitForQuery();
    m_second.WaitForQuery();
    ExpectToLeaveAtOnce();
    login.get();
    EXPECT_FALSE(m_host.HasLogged("MakeInitData-Start"));
}

TEST_F(ServerSelectionTest, AServiceDestroyedInTheMiddleOfATestLeavesNothingRunning) {
    Store(m_server.GetUrl() + u"|" + m_second.GetUrl());
    m_server.Hang();
    m_second.Hang();
    Status(SYSTEM_STATUS_INIT);
    m_server.WaitForQuery();
    m_service.reset();
    EXPECT_TRUE(WaitForThreads("LatencyWorker", 0));
}

TEST_F(ServerSelectionTest, AServiceThatStartsAgainMeasuresAgain) {
    Permit(m_server.GetUrl() + u"|" + m_strDead);
    SignIn();
    Leave();
    m_host.Forget();
    SignIn();
    EXPECT_EQ(CountLines("The fastest server:" + Narrow(m_server.GetUrl())), 1U);
    EXPECT_THAT(m_host.GetLog(), Contains(HasSubstr("InitContractList return")));
    const auto start = Clock::now();
    Leave();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
}

}  // namespace qvant::test
