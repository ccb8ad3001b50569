#include "net/latency_test.h"

#include <algorithm>
#include <deque>
#include <future>

#include <gmock/gmock.h>

#include "base/format.h"
#include "net/net_fixture.h"
#include "net/probe_server.h"
#include "net/server_list.h"
#include "support/stop_limit.h"
#include "support/threads.h"

namespace qvant::test {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;
constexpr const char* WORKER = "LatencyWorker";

class LatencyTest : public NetTest {
protected:
    /// So many more servers, which keep silent.
    void Serve(std::size_t nCount) {
        for (std::size_t n = 0; n < nCount; ++n) m_arServers.emplace_back();
    }
    void ServeWell(std::size_t nCount) {
        for (std::size_t n = 0; n < nCount; ++n) m_arServers.emplace_back(MakeReply(R"({"LastVersion":"7"})"));
    }
    /// The URLs in this order, as the list.
    void Assign(const std::vector<Text>& arUrls) {
        Text strUrls;
        for (const Text& strUrl : arUrls) strUrls.append(strUrl).append(u"|");
        m_list.Assign(strUrls, [] { return 0U; });
    }
    void AssignAll() {
        std::vector<Text> arUrls;
        for (const CProbeServer& server : m_arServers) arUrls.push_back(server.GetUrl());
        Assign(arUrls);
    }
    Text Url(std::size_t nServer) const { return m_arServers[nServer].GetUrl(); }

    void Run() { m_list.StartLatencyTest(m_test, m_host); }
    std::future<void> RunAside() {
        return std::async(std::launch::async, [this] { Run(); });
    }
    void WaitForAllRequests() {
        for (CProbeServer& server : m_arServers) ASSERT_TRUE(server.WaitForRequest());
    }
    /// Lets the server answer at that time of the day, and waits until the worker has reported.
    void AnswerAt(std::int64_t nTime, std::size_t nServer, TextView strReported) {
        m_clock.Set(nTime);
        m_arServers[nServer].AnswerWell();
        EXPECT_TRUE(m_host.WaitForLine(strReported));
    }

    std::vector<Text> GetOrder() const {
        std::vector<Text> arOrder;
        for (const ServerRow& row : m_list.GetListing().arServers) arOrder.push_back(row.strServer);
        return arOrder;
    }
    std::vector<std::int32_t> GetLatencies() const {
        std::vector<std::int32_t> arLatencies;
        for (const ServerRow& row : m_list.GetListing().arServers) arLatencies.push_back(row.measured->nLatency);
        return arLatencies;
    }
    std::vector<std::int32_t> GetIntervals() const {
        std::vector<std::int32_t> arIntervals;
        for (const ServerRow& row : m_list.GetListing().arServers) arIntervals.push_back(row.measured->nInterval);
        return arIntervals;
    }
    bool HasEnded() { return m_test.WaitForEnd(milliseconds(0)) == platform::WaitResult::Signalled; }

    std::deque<CProbeServer> m_arServers;
    CListeningHost m_host;
    CDayClock m_clock;
    CSession m_session{m_clock};
    CServerList m_list;
    CLatencyTest m_test{m_host, m_session, m_clock};
};

TEST_F(LatencyTest, RanksByTheTimeOfTheAnswerAndTheHandicapOfThePlace) {
    Serve(3);
    AssignAll();
    m_clock.Set(34'200'000);
    auto run = RunAside();
    WaitForAllRequests();
    EXPECT_FALSE(HasEnded());
    AnswerAt(34'200'040, 2, u"CountsOfGetQuery:1, Interval=100");
    AnswerAt(34'200'100, 1, u"CountsOfGetQuery:2, Interval=50");
    AnswerAt(34'200'120, 0, u"CountsOfGetQuery:3, Interval=0");
    run.get();
    EXPECT_TRUE(HasEnded());
    EXPECT_THAT(GetOrder(), ElementsAre(Url(0), Url(2), Url(1)));
    EXPECT_THAT(GetLatencies(), ElementsAre(120, 140, 150));
    EXPECT_THAT(GetIntervals(), ElementsAre(0, 100, 50));
    EXPECT_EQ(m_list.GetServer(), Url(0));
    EXPECT_EQ(m_host.CountLines(u"Before Query Time:34200000"), 3u);
    EXPECT_EQ(m_host.CountLines(Format(u"URL:%sOutsideData_getMainLastVer.do(cookie:%s)", Url(1), Url(1))), 1u);
    EXPECT_EQ(m_host.CountLines(u"Latency:40"), 1u);
    EXPECT_EQ(m_host.CountLines(u"The fastest server:" + Url(0)), 1u);
    EXPECT_THAT(m_arServers[1].GetLastRequest(), StartsWith("GET /OutsideData_getMainLastVer.do HTTP/1.1\r\n"));
    EXPECT_THAT(m_arServers[1].GetLastRequest(), HasSubstr("gzip"));
}

TEST_F(LatencyTest, RanksByTheRawTimesWithoutAHandicap) {
    Serve(2);
    AssignAll();
    m_test.SetResponseInterval(0);
    auto run = RunAside();
    WaitForAllRequests();
    AnswerAt(11, 1, u"CountsOfGetQuery:1, Interval=0");
    AnswerAt(12, 0, u"CountsOfGetQuery:2, Interval=0");
    run.get();
    EXPECT_THAT(GetOrder(), ElementsAre(Url(1), Url(0)));
    EXPECT_THAT(GetLatencies(), ElementsAre(11, 12));
}

TEST_F(LatencyTest, RanksAnAnswerOverMidnightFirst) {
    Serve(3);
    AssignAll();
    m_clock.Set(86'399'900);
    auto run = RunAside();
    WaitForAllRequests();
    AnswerAt(86'399'990, 0, u"CountsOfGetQuery:1, Interval=0");
    AnswerAt(86'400'000 + 20, 1, u"CountsOfGetQuery:2, Interval=50");
    AnswerAt(86'400'000 + 30, 2, u"CountsOfGetQuery:3, Interval=100");
    run.get();
    EXPECT_EQ(m_host.CountLines(u"Latency:-86399880"), 1u);
    EXPECT_THAT(GetOrder(), ElementsAre(Url(1), Url(2), Url(0)));
    EXPECT_THAT(GetLatencies(), ElementsAre(-86'399'830, -86'399'770, 90));
}

TEST_F(LatencyTest, EndsWithTheFourthGoodAnswerAndHearsNobodyAfterIt) {
    ServeWell(4);
    Serve(2);
    AssignAll();
    const auto start = Clock::now();
    Run();
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    std::vector<std::int32_t> arLatencies = GetLatencies();
    EXPECT_EQ(std::count(arLatencies.begin(), arLatencies.end(), LATENCY_UNREPORTED), 2);
    EXPECT_EQ(arLatencies[4], LATENCY_UNREPORTED);
    EXPECT_EQ(arLatencies[5], LATENCY_UNREPORTED);

    WaitForAllRequests();
    m_arServers[4].AnswerWell();
    m_arServers[5].AnswerWell();
    ASSERT_TRUE(WaitForThreads(WORKER, 0));
    EXPECT_EQ(m_host.CountLines(u"Latency:"), 4u);
    EXPECT_EQ(m_host.CountLines(u"CountsOfGetQuery:"), 4u);
    EXPECT_EQ(GetLatencies(), arLatencies);
}

TEST_F(LatencyTest, CountsNoAnswerWithoutAVersionAmongTheFour) {
    ServeWell(3);
    m_arServers.emplace_back(MakeReply("<html>Welcome, lastversion</html>"));
    Serve(2);
    AssignAll();
    auto run = RunAside();
    ASSERT_TRUE(m_host.WaitForLine(u"CountsOfGetQuery:4, "));
    EXPECT_EQ(run.wait_for(milliseconds(0)), std::future_status::timeout);
    EXPECT_FALSE(HasEnded());
    m_arServers[4].AnswerWell();
    run.get();
    EXPECT_EQ(m_host.CountLines(u"Latency:9999"), 1u);
    const auto listing = m_list.GetListing();
    const auto itFailed = std::find_if(listing.arServers.begin(), listing.arServers.end(),
                                       [&](const ServerRow& row) { return row.strServer == Url(3); });
    EXPECT_EQ(itFailed->measured->nLatency, LATENCY_FAILED);
    EXPECT_GE(itFailed - listing.arServers.begin(), 4);
}

TEST_F(LatencyTest, RewritesTheListWhenAllServersFail) {
    m_arServers.emplace_back(MakeReply("{\"LastVersion\":\"7\"}", "503 Service Unavailable"));
    m_arServers.emplace_back(MakeReply("no version"));
    m_arServers.emplace_back("junk\r\n\r\n");
    const Text strDead = Format(u"http://127.0.0.1:%d/", FindFreePort());
    std::vector<Text> arUrls = {Url(0), Url(1), Url(2), strDead};
    std::sort(arUrls.begin(), arUrls.end());
    const std::vector<Text> arSorted = arUrls;
    std::reverse(arUrls.begin(), arUrls.end());
    Assign(arUrls);
    Run();
    EXPECT_EQ(GetOrder(), arSorted);
    EXPECT_THAT(GetLatencies(), ::testing::Each(LATENCY_FAILED));
    EXPECT_EQ(m_host.CountLines(u"CountsOfGetQuery:4, Interval=0"), 1u);
    EXPECT_EQ(m_list.GetServer(), arSorted.front());
    EXPECT_EQ(m_host.CountLines(u"The fastest server:" + arSorted.front()), 1u);
    EXPECT_TRUE(HasEnded());
}

TEST_F(LatencyTest, WaitsTenSecondsForASilentServerAndIgnoresWhatItSaysAfterwards) {
    Serve(1);
    ServeWell(2);
    AssignAll();
    const auto start = Clock::now();
    Run();
    const auto taken = Clock::now() - start;
    EXPECT_GE(taken, milliseconds(9900));
    EXPECT_LT(taken, std::chrono::seconds(12));
    EXPECT_EQ(GetLatencies().back(), LATENCY_UNREPORTED);
    EXPECT_EQ(GetOrder().back(), Url(0));
    m_arServers[0].AnswerWell();
    ASSERT_TRUE(WaitForThreads(WORKER, 0));
    EXPECT_EQ(m_host.CountLines(u"Latency:"), 2u);
    EXPECT_EQ(GetLatencies().back(), LATENCY_UNREPORTED);
}

TEST_F(LatencyTest, KeepsTheOrderOfAListWithAServerTwice) {
    ServeWell(2);
    const Text strDead = Format(u"http://127.0.0.1:%d/", FindFreePort());
    Assign({strDead, Url(0), Url(1), Url(0)});
    Run();
    EXPECT_THAT(GetOrder(), ElementsAre(strDead, Url(0), Url(1), Url(0)));
    EXPECT_EQ(m_list.GetServer(), strDead);
    EXPECT_EQ(m_host.CountLines(u"The fastest server:" + strDead), 1u);
    EXPECT_EQ(m_arServers[0].CountRequests(), 2);
}

TEST_F(LatencyTest, NeverAsksASingleServer) {
    ServeWell(1);
    AssignAll();
    EXPECT_FALSE(HasEnded());
    Run();
    EXPECT_TRUE(HasEnded());
    EXPECT_EQ(m_arServers[0].CountRequests(), 0);
    EXPECT_TRUE(m_host.m_arLines.empty());
    EXPECT_EQ(m_list.GetServer(), Url(0));
    const auto listing = m_list.GetListing();
    ASSERT_EQ(listing.arServers.size(), 1u);
    EXPECT_FALSE(listing.arServers[0].measured);
    EXPECT_TRUE(listing.arServers[0].bInUse);
}

TEST_F(LatencyTest, EndsAtOnceWithoutServers) {
    Run();
    EXPECT_TRUE(HasEnded());
    EXPECT_TRUE(m_host.m_arLines.empty());
    EXPECT_TRUE(m_list.GetListing().arServers.empty());
}

TEST_F(LatencyTest, AsksThroughTheProxyOfTheService) {
    CProbeServer proxy(MakeReply(R"({"LastVersion":"7"})"));
    m_session.SetProxy({.strAddress = u"127.0.0.1", .nPort = proxy.GetPort(), .strAccount = {}, .strPassword = {}});
    Assign({u"http://one.invalid/", u"http://two.invalid/"});
    Run();
    EXPECT_EQ(proxy.CountRequests(), 2);
    EXPECT_THAT(proxy.GetLastRequest(), HasSubstr(".invalid/OutsideData_getMainLastVer.do HTTP"));
    EXPECT_EQ(m_host.CountLines(u"Latency:0"), 2u);
}

TEST_F(LatencyTest, LeavesThePositionOfTheWalkAlone) {
    ServeWell(2);
    Serve(1);
    m_arServers[2].Answer(MakeReply("down"));
    AssignAll();
    m_list.Walk([&](const Text& strServer) { return strServer == Url(2); });
    Run();
    EXPECT_EQ(m_list.GetListing().nIndex, 2u);
    EXPECT_EQ(GetOrder()[2], Url(2));
    AssignAll();
    EXPECT_EQ(m_list.GetListing().nIndex, 0u);
    EXPECT_FALSE(m_list.GetListing().arServers[0].measured);
}

TEST_F(LatencyTest, KeepsAWalkOverTheOldOrderOutOfTheNewOne) {
    ServeWell(1);
    const Text strDead = Format(u"http://127.0.0.1:%d/", FindFreePort());
    Assign({strDead, Url(0)});
    m_list.Walk([&](const Text& strServer) {
        if (strServer == strDead) Run();
        return strServer == Url(0);
    });
    EXPECT_THAT(GetOrder(), ElementsAre(Url(0), strDead));
    EXPECT_EQ(m_list.GetIndex(), 0u);
    EXPECT_EQ(m_list.GetServer(), Url(0));
    std::vector<Text> arAsked;
    m_list.Walk([&](const Text& strServer) {
        arAsked.push_back(strServer);
        return false;
    });
    EXPECT_THAT(arAsked, ElementsAre(Url(0), strDead));
}

TEST_F(LatencyTest, LeavesAListAloneThatReplacedItsOwn) {
    Serve(2);
    AssignAll();
    auto run = RunAside();
    WaitForAllRequests();
    Assign({u"http://other/"});
    for (CProbeServer& server : m_arServers) server.AnswerWell();
    run.get();
    EXPECT_THAT(GetOrder(), ElementsAre(u"http://other/"));
    EXPECT_EQ(m_list.GetServer(), u"http://other/");
    EXPECT_EQ(m_host.CountLines(u"The fastest server:"), 0u);
}

TEST_F(LatencyTest, EndsAtOnceWhenItsThreadIsToldToStop) {
    Serve(3);
    AssignAll();
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("test", [this] { Run(); }));
    WaitForAllRequests();
    const auto start = Clock::now();
    thread.StopAndJoin();
    EXPECT_TRUE(HasEnded());
    m_test.StopWorkers();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    EXPECT_TRUE(WaitForThreads(WORKER, 0));
    EXPECT_EQ(m_host.CountLines(u"Latency:"), 0u);
    EXPECT_EQ(m_host.CountLines(u"The fastest server:"), 0u);
    EXPECT_THAT(GetOrder(), ElementsAre(Url(0), Url(1), Url(2)));
}

TEST_F(LatencyTest, AsksNobodyOnAThreadThatWasToldToStop) {
    ServeWell(2);
    AssignAll();
    std::stop_source stop;
    stop.request_stop();
    const platform::CStopScope scope(stop.get_token());
    Run();
    EXPECT_TRUE(HasEnded());
    EXPECT_EQ(m_host.CountLines(u"URL:"), 0u);
}

TEST_F(LatencyTest, EndsAtOnceWhenItsOwnerStopsTheWorkersAndRunsAgainLater) {
    Serve(2);
    AssignAll();
    auto run = RunAside();
    WaitForAllRequests();
    const auto start = Clock::now();
    m_test.StopWorkers();
    run.get();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    EXPECT_TRUE(HasEnded());
    EXPECT_TRUE(WaitForThreads(WORKER, 0));
    EXPECT_EQ(m_host.CountLines(u"The fastest server:"), 0u);
    for (CProbeServer& server : m_arServers) server.AnswerWell();
    Run();
    EXPECT_EQ(m_host.CountLines(u"The fastest server:"), 1u);
}

TEST_F(LatencyTest, SweepsTheWorkersOfTheTestBefore) {
    ServeWell(4);
    Serve(2);
    AssignAll();
    Run();
    WaitForAllRequests();
    EXPECT_TRUE(WaitForThreads(WORKER, 2));
    EXPECT_EQ(CountThreads(WORKER), 2);
    Assign({Url(0), Url(1)});
    const auto start = Clock::now();
    Run();
    EXPECT_GE(Clock::now() - start, milliseconds(50));
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_TRUE(WaitForThreads(WORKER, 0));
    // Only those two reported: what the swept ones were told wasn't taken for an answer of this test.
    EXPECT_EQ(m_host.CountLines(u"CountsOfGetQuery:2, "), 2u);
    EXPECT_EQ(m_host.CountLines(u"CountsOfGetQuery:3, "), 1u);
}

TEST_F(LatencyTest, LeavesNoThreadBehindWhenItIsDestroyed) {
    ServeWell(4);
    Serve(1);
    AssignAll();
    auto pTest = std::make_unique<CLatencyTest>(m_host, m_session, m_clock);
    m_list.StartLatencyTest(*pTest, m_host);
    const auto start = Clock::now();
    pTest.reset();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    EXPECT_TRUE(WaitForThreads(WORKER, 0));
}

}  // namespace
}  // namespace qvant::test
