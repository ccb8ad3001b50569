#include "service/history_thread.h"

#include <atomic>
#include <functional>
#include <latch>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/format.h"
#include "platform/event.h"
#include "platform/stop.h"
#include "support/listening_host.h"
#include "support/stop_limit.h"
#include "support/threads.h"

namespace qvant::test {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Ge;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Lt;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;
using Clock = std::chrono::steady_clock;
using platform::CEvent;

constexpr const char* THREAD = "CQYZ";

class HistoryThread : public ::testing::Test {
protected:
    HistoryThread() {
        m_history.emplace(m_host, MakeWork(), [this] { return m_stop.get_token(); });
    }

    HistoryWork MakeWork() {
        return {[this](const Text& str) { Note(std::string("query ").append(Narrow(str))); }, [this] { Note("reset"); },
                [this](const Text& str) { Note(std::string("months ").append(Narrow(str))); },
                [this] { Note("update"); }};
    }
    void Note(const std::string& strDone) {
        if (m_onWork) m_onWork(strDone);
        const std::lock_guard lock(m_mutex);
        m_arDone.push_back(strDone);
        m_done.notify_all();
    }
    bool WaitForDone(std::size_t nCount) {
        std::unique_lock lock(m_mutex);
        return m_done.wait_for(lock, std::chrono::seconds(20), [&] { return m_arDone.size() >= nCount; });
    }
    std::vector<std::string> GetDone() {
        const std::lock_guard lock(m_mutex);
        return m_arDone;
    }
    /// Has the thread stand in the work on "QV.HOLD" until it is told to stop.
    void HoldThread() {
        m_onWork = [this](const std::string& strDone) {
            if (strDone != "query QV.HOLD") return;
            m_holding.Set();
            CEvent(CEvent::Reset::Manual, false).Wait();
        };
        m_history->HandOver(WM_QUERY_CQYZ, u"QV.HOLD");
        m_holding.Wait();
    }

    CListeningHost m_host;
    std::stop_source m_stop;
    std::function<void(const std::string& strDone)> m_onWork;  ///< on the thread, before a work is noted
    CEvent m_holding{CEvent::Reset::Manual, false};
    std::mutex m_mutex;
    std::condition_variable m_done;
    std::vector<std::string> m_arDone;
    std::optional<CHistoryThread> m_history;
};

TEST_F(HistoryThread, BeginsWithTheFirstRequestAndTellsItsNumber) {
    EXPECT_EQ(m_history->GetThreadId(), 0u);
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
    m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600000");
    ASSERT_TRUE(WaitForDone(1));
    EXPECT_EQ(CountThreads(THREAD), 1);
    EXPECT_THAT(m_history->GetThreadId(), Ge(1u));
    EXPECT_TRUE(m_host.HasLogged(Narrow(Format(u"ProcessMsgLoopCQYZ. Thread=%d.", m_history->GetThreadId()))));
    m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600001");
    ASSERT_TRUE(WaitForDone(2));
    EXPECT_EQ(CountThreads(THREAD), 1);
}

TEST_F(HistoryThread, WorksOnMessagesInTheirOrderAndTellsOfThem) {
    m_history->HandOver(WM_QUERY_CQYZ, u"QV.F.CME.ES.HOT");
    m_history->HandOver(WM_QUERY_BA, u"ALL");
    EXPECT_TRUE(m_history->Post(WM_RESET_CQYZ));
    EXPECT_TRUE(m_history->Post(WM_UPDATE_BA));
    EXPECT_TRUE(m_history->Post(WM_QUERY_BA, u"QV.F.CME.ES.HOT_MINE"));
    ASSERT_TRUE(WaitForDone(5));
    EXPECT_THAT(GetDone(),
                ElementsAre("query QV.F.CME.ES.HOT", "months ALL", "reset", "update", "months QV.F.CME.ES.HOT_MINE"));
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre(StartsWith("ProcessMsgLoopCQYZ. Thread="),
                            MatchesRegex("WM_QUERY_CQYZ\\. msg\\.wParam=[0-9a-f]+\\."), "WM_QUERY_BA. msg.wParam=ALL.",
                            "WM_QUERY_BA. msg.wParam=QV.F.CME.ES.HOT_MINE."));
}

TEST_F(HistoryThread, IgnoresAMessageWithoutItsText) {
    m_history->HandOver(WM_QUERY_CQYZ, u"");
    EXPECT_TRUE(WaitForDone(1));
    EXPECT_TRUE(m_history->Post(WM_QUERY_CQYZ));
    EXPECT_TRUE(m_history->Post(WM_QUERY_BA));
    EXPECT_TRUE(m_history->Post(4711));
    EXPECT_TRUE(m_history->Post(WM_UPDATE_BA));
    ASSERT_TRUE(WaitForDone(2));
    EXPECT_THAT(GetDone(), ElementsAre("query ", "update")) << "an empty text is one";
    EXPECT_TRUE(m_host.HasLogged("WM_QUERY_CQYZ. msg.wParam=0."));
}

TEST_F(HistoryThread, TakesASymbolOfAnyLengthAndAnySign) {
    Text strSymbol(10'000, u'x');
    strSymbol.append({char16_t{1}, u'.', u'.', u'/', char16_t{0xD800}});
    Text strSeen;
    m_history.emplace(m_host,
                      HistoryWork{[&](const Text& str) {
                                      strSeen = str;
                                      Note("query");
                                  },
                                  [] {}, [](const Text&) {}, [] {}},
                      [this] { return m_stop.get_token(); });
    m_history->HandOver(WM_QUERY_CQYZ, strSymbol);
    ASSERT_TRUE(WaitForDone(1));
    EXPECT_EQ(strSeen, strSymbol);
}

TEST_F(HistoryThread, IsNotBegunByAPost) {
    EXPECT_FALSE(m_history->Post(WM_RESET_CQYZ));
    EXPECT_FALSE(m_history->Post(WM_QUERY_BA, u"ALL"));
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

TEST_F(HistoryThread, SurvivesAMessageWhoseWorkFails) {
    m_onWork = [](const std::string& strDone) {
        if (strDone == "query a") throw CFailure(CFailure::INVALID_ARGUMENT);
        if (strDone == "months b") throw std::bad_alloc();
        if (strDone == "reset") throw 1;
        if (strDone == "update") throw CFailure(CFailure::UNSPECIFIED);
    };
    m_history->HandOver(WM_QUERY_CQYZ, u"a");
    m_history->HandOver(WM_QUERY_BA, u"b");
    m_history->Post(WM_RESET_CQYZ);
    m_history->Post(WM_UPDATE_BA);
    m_history->HandOver(WM_QUERY_CQYZ, u"c");
    ASSERT_TRUE(WaitForDone(1));
    EXPECT_THAT(GetDone(), ElementsAre("query c"));
    EXPECT_TRUE(m_host.HasLogged("WM_QUERY_CQYZ Fail, Error : 80070057"));
    EXPECT_TRUE(m_host.HasLogged("WM_QUERY_BA Fail, Error : 8007000e"));
    EXPECT_TRUE(m_host.HasLogged("WM_RESET_CQYZ Fail, Error : 8000ffff"));
    EXPECT_TRUE(m_host.HasLogged("WM_UPDATE_BA Fail, Error : 80004005"));
}

TEST_F(HistoryThread, LosesNoneOfAThousandRequestsFromSeveralThreads) {
    std::vector<std::thread> arAskers;
    for (int nAsker = 0; nAsker < 4; ++nAsker) {
        arAskers.emplace_back([this] {
            for (int i = 0; i < 250; ++i) m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600000");
        });
    }
    for (std::thread& asker : arAskers) asker.join();
    EXPECT_TRUE(WaitForDone(1'000));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("PostThreadMessage Fail!"))));
    EXPECT_EQ(CountThreads(THREAD), 1);
}

TEST_F(HistoryThread, ServesAThousandSymbolsAtOnceInTheirOrder) {
    for (int i = 0; i < 1'000; ++i) m_history->HandOver(WM_QUERY_CQYZ, Format(u"%d", i));
    ASSERT_TRUE(WaitForDone(1'000));
    const auto arDone = GetDone();
    for (int i = 0; i < 1'000; ++i) {
        EXPECT_EQ(arDone[static_cast<std::size_t>(i)], Narrow(Format(u"query %d", i)));
    }
}

TEST_F(HistoryThread, EndsItsWorkAtAStopAndDropsWhatWaits) {
    HoldThread();
    m_history->HandOver(WM_QUERY_CQYZ, u"QV.LATER");
    m_history->RequestStop();
    m_history->StopAndJoin();
    EXPECT_THAT(GetDone(), ElementsAre("query QV.HOLD"));
    EXPECT_EQ(m_history->GetThreadId(), 0u);
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
    EXPECT_FALSE(m_history->Post(WM_RESET_CQYZ));
}

TEST_F(HistoryThread, BeginsAnewWithTheRequestAfterAStopAndNotBeforeTheOldOneHasEnded) {
    HoldThread();
    const std::uint32_t nOld = m_history->GetThreadId();
    m_history->RequestStop();
    m_history->HandOver(WM_QUERY_CQYZ, u"QV.NEXT");
    ASSERT_TRUE(WaitForDone(2));
    EXPECT_THAT(GetDone(), ElementsAre("query QV.HOLD", "query QV.NEXT"));
    EXPECT_NE(m_history->GetThreadId(), nOld);
    EXPECT_TRUE(WaitForThreads(THREAD, 1));
}

TEST_F(HistoryThread, IsNotBegunOnceTheServiceWasToldToStop) {
    m_stop.request_stop();
    const platform::CStopScope scope(m_stop.get_token());
    const auto start = Clock::now();
    m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600000");
    m_history->HandOver(WM_QUERY_BA, u"ALL");
    EXPECT_THAT(Clock::now() - start, Lt(STOP_LIMIT));
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
    EXPECT_THAT(m_host.GetLog(), ElementsAre("PostThreadMessage Fail! (WM_QUERY_CQYZ) ErrorCode:3",
                                             "PostThreadMessage Fail! (UpdateUDHotMonth) ErrorCode:3"));
    m_stop = std::stop_source();
    const platform::CStopScope fresh(m_stop.get_token());
    m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600000");
    EXPECT_TRUE(WaitForDone(1));
}

TEST_F(HistoryThread, HoldsACallerOfAFullQueueForTwoSecondsAndThenTellsTheLog) {
    HoldThread();
    for (int i = 0; i < 10'000; ++i) ASSERT_TRUE(m_history->Post(WM_RESET_CQYZ));
    const auto start = Clock::now();
    m_history->HandOver(WM_QUERY_BA, u"ALL");
    EXPECT_THAT(Clock::now() - start, AllOf(Ge(std::chrono::seconds(2)), Lt(std::chrono::seconds(15))));
    EXPECT_THAT(m_host.GetLog(), Contains("PostThreadMessage Fail! (UpdateUDHotMonth) ErrorCode:11"));
}

TEST_F(HistoryThread, LetsAStopEndTheTriesOfACaller) {
    HoldThread();
    for (int i = 0; i < 10'000; ++i) ASSERT_TRUE(m_history->Post(WM_RESET_CQYZ));
    std::stop_source stop;
    std::thread asker([&] {
        const platform::CStopScope scope(stop.get_token());
        m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600000");
    });
    const auto start = Clock::now();
    stop.request_stop();
    asker.join();
    EXPECT_THAT(Clock::now() - start, Lt(STOP_LIMIT));
    EXPECT_THAT(m_host.GetLog(), Contains("PostThreadMessage Fail! (WM_QUERY_CQYZ) ErrorCode:11"));
}

TEST_F(HistoryThread, MayAskItselfAndMayBeToldToEndFromItsOwnWork) {
    m_onWork = [this](const std::string& strDone) {
        if (strDone == "months ALL") m_history->HandOver(WM_QUERY_BA, u"one file");
        if (strDone == "months one file") m_history->StopAndJoin();
    };
    m_history->HandOver(WM_QUERY_BA, u"ALL");
    ASSERT_TRUE(WaitForDone(2));
    m_history->StopAndJoin();
    EXPECT_THAT(GetDone(), ElementsAre("months ALL", "months one file"));
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

TEST_F(HistoryThread, TakesTheClockWhileItBeginsAndEnds) {
    std::jthread ticker([this](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            m_history->Post(WM_RESET_CQYZ);
            m_history->Post(WM_UPDATE_BA);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 50; ++i) {
        m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600000");
        i % 2 == 0 ? m_history->RequestStop() : m_history->StopAndJoin();
    }
    ticker.request_stop();
    ticker.join();
    m_history.reset();
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

TEST_F(HistoryThread, MayBeToldToEndByTwoAtOnce) {
    for (std::size_t nRound = 1; nRound <= 50; ++nRound) {
        m_history->HandOver(WM_QUERY_CQYZ, u"QV.S.SSE.600000");
        ASSERT_TRUE(WaitForDone(nRound));
        std::latch together(2);
        const auto end = [&] {
            together.arrive_and_wait();
            m_history->StopAndJoin();
        };
        const std::jthread first(end);
        const std::jthread second(end);
    }
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

TEST_F(HistoryThread, EndsWithItsOwner) {
    HoldThread();
    const auto start = Clock::now();
    m_history.reset();
    EXPECT_THAT(Clock::now() - start, Lt(STOP_LIMIT));
    EXPECT_TRUE(WaitForThreads(THREAD, 0));
}

}  // namespace qvant::test
