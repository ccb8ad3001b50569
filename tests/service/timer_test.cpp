#include "service/timer.h"

#include <atomic>
#include <fstream>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "platform/event.h"
#include "platform/stop.h"
#include "support/driven_clock.h"
#include "support/limits.h"

namespace qvant::test {

using platform::CEvent;
using platform::WaitResult;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class TimerTest : public ::testing::Test {
protected:
    static constexpr std::uint32_t ID = 7;
    static constexpr std::uint32_t SECOND = 1'000;

    TimerTest() {
        m_clock.Expect([this] { return GetDueTimes(); });
    }
    ~TimerTest() override { m_stop.request_stop(); }

    std::optional<std::vector<std::int64_t>> GetDueTimes() const {
        std::vector<std::int64_t> arDue;
        for (const TimerState& timer : m_timer.List()) {
            if (timer.bRunning) return std::nullopt;
            arDue.push_back(*timer.nNextDue);
        }
        return arDue;
    }

    /// Milliseconds since the start of the test.
    std::int64_t GetTime() const { return m_clock.TickMilliseconds() - m_nStart; }
    void Note() {
        const std::lock_guard lock(m_mutex);
        m_arCalls.push_back(GetTime());
    }
    /// Arms a timer that notes when it is called.
    std::uint32_t Arm(std::uint32_t nId, std::uint32_t nInterval) {
        return m_timer.SetTimer(nId, nInterval, [this](std::uint32_t) { Note(); });
    }

    CDrivenClock m_clock{0};
    const std::int64_t m_nStart = m_clock.TickMilliseconds();
    std::stop_source m_stop;
    std::mutex m_mutex;
    std::vector<std::int64_t> m_arCalls;
    CTimer m_timer{m_clock, [this] { return m_stop.get_token(); }};
};

TEST_F(TimerTest, TheFirstCallComesOneWholeIntervalAfterTheArming) {
    EXPECT_EQ(Arm(ID, SECOND), ID);
    m_clock.Advance(999);
    EXPECT_THAT(m_arCalls, IsEmpty());
    m_clock.Advance(1);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000));
}

TEST_F(TimerTest, TheOthersFollowOnTheGridOfTheInterval) {
    Arm(ID, SECOND);
    m_clock.Advance(3'500);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000, 2'000, 3'000));
}

TEST_F(TimerTest, ThePeriodicRefreshIsCalled272TimesAWeek) {
    constexpr std::int64_t WEEK = std::int64_t{7} * 24 * 3'600 * 1'000;
    Arm(ID, 2'220'000);
    m_clock.Advance(WEEK);
    EXPECT_EQ(m_arCalls.size(), 272u);
}

TEST_F(TimerTest, AnArmedTimerIsNotArmedAgainAndKeepsItsRhythm) {
    Arm(ID, SECOND);
    m_clock.Advance(500);
    EXPECT_EQ(Arm(ID, 10), 0u);
    m_clock.Advance(1'500);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000, 2'000));
    EXPECT_EQ(m_timer.List().at(0).nInterval, SECOND);
}

TEST_F(TimerTest, ACallbackThatThrowsDoesNotStopItsTimer) {
    m_timer.SetTimer(ID, SECOND, [this](std::uint32_t) {
        Note();
        throw std::runtime_error("a pass that failed");
    });
    m_clock.Advance(2'000);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000, 2'000));
}

TEST_F(TimerTest, ACallbackLongerThanTheIntervalIsCalledOnceForAllThatItMissed) {
    m_timer.SetTimer(ID, SECOND, [this](std::uint32_t) {
        Note();
        if (GetTime() == 1'000) m_clock.Pass(2'500);
    });
    m_clock.Advance(1'000);
    m_clock.Advance(1'500);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000, 3'500, 4'000, 5'000));
}

TEST_F(TimerTest, ACallbackThatKillsItsTimerRunsToItsEndUncut) {
    WaitResult result = WaitResult::Signalled;
    m_timer.SetTimer(ID, SECOND, [&](std::uint32_t nId) {
        m_timer.KillTimer(nId);
        CEvent never(CEvent::Reset::Manual, false);
        result = never.WaitFor(std::chrono::milliseconds(5));
        Note();
    });
    m_clock.Advance(5'000);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000));
    EXPECT_EQ(result, WaitResult::TimedOut);
    EXPECT_THAT(m_timer.List(), IsEmpty());
}

TEST_F(TimerTest, AnIdCanBeArmedAgainRightAfterItWasKilledInItsOwnCallback) {
    std::vector<TimerState> arDuring;
    m_timer.SetTimer(ID, SECOND, [&](std::uint32_t nId) {
        m_timer.KillTimer(nId);
        EXPECT_EQ(Arm(nId, 50), nId);
        arDuring = m_timer.List();
    });
    m_clock.Advance(1'120);
    EXPECT_THAT(m_arCalls, ElementsAre(1'050, 1'100));
    ASSERT_EQ(arDuring.size(), 2u);
    EXPECT_EQ(arDuring[0].nInterval, 50u);
    EXPECT_FALSE(arDuring[0].bRunning);
    EXPECT_EQ(arDuring[1].nInterval, SECOND);
    EXPECT_TRUE(arDuring[1].bRunning);
    EXPECT_EQ(arDuring[1].nNextDue, std::nullopt);
}

TEST_F(TimerTest, AKilledTimerIsNotCalledAnyMore) {
    Arm(ID, SECOND);
    m_clock.Advance(1'000);
    m_timer.KillTimer(ID);
    m_clock.Advance(5'000);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000));
    EXPECT_EQ(Arm(ID, SECOND), ID);
}

TEST_F(TimerTest, TheKillOfAnIdThatIsNotArmedIsNoFault) {
    Arm(ID, SECOND);
    m_timer.KillTimer(ID + 1);
    EXPECT_EQ(m_timer.List().size(), 1u);
}

TEST_F(TimerTest, AKillDoesNotWaitForTheCallback) {
    CEvent called(CEvent::Reset::Manual, false);
    CEvent killed(CEvent::Reset::Manual, false);
    m_timer.SetTimer(ID, SECOND, [&](std::uint32_t) {
        called.Set();
        EXPECT_EQ(killed.Wait(), WaitResult::Signalled);
        Note();
    });
    m_clock.WaitForSleepers(1);
    platform::CThread driver;
    ASSERT_TRUE(driver.Start("Driver", [this] { m_clock.Advance(SECOND); }));
    called.Wait();
    m_timer.KillTimer(ID);
    killed.Set();
    driver.Wait();
    EXPECT_THAT(m_arCalls, ElementsAre(1'000));
}

TEST_F(TimerTest, ACallbackHoldsUpNoOtherTimer) {
    CEvent other(CEvent::Reset::Manual, false);
    m_timer.SetTimer(ID, SECOND, [&](std::uint32_t nId) {
        m_timer.KillTimer(nId);
        EXPECT_EQ(other.WaitFor(std::chrono::seconds(20)), WaitResult::Signalled);
    });
    m_timer.SetTimer(ID + 1, SECOND, [&](std::uint32_t) { other.Set(); });
    m_clock.Advance(SECOND);
    EXPECT_TRUE(other.IsSet());
}

TEST_F(TimerTest, TellsWhatIsArmedAndWhenItIsDue) {
    Arm(102, 60'000);
    Arm(100, 2'220'000);
    m_clock.Advance(61'000);
    const auto arTimers = m_timer.List();
    ASSERT_EQ(arTimers.size(), 2u);
    EXPECT_EQ(arTimers[0].nId, 100u);
    EXPECT_EQ(arTimers[0].nNextDue, m_nStart + 2'220'000);
    EXPECT_EQ(arTimers[1].nId, 102u);
    EXPECT_EQ(arTimers[1].nNextDue, m_nStart + 120'000);
    EXPECT_FALSE(arTimers[1].bRunning);
}

TEST_F(TimerTest, AllEndsWithCallbacksThatWereToldToEnd) {
    CEvent called(CEvent::Reset::Manual, false);
    WaitResult result = WaitResult::Signalled;
    m_timer.SetTimer(ID, SECOND, [&](std::uint32_t) {
        called.Set();
        CEvent never(CEvent::Reset::Manual, false);
        result = never.Wait();
    });
    Arm(ID + 1, 1'000'000);
    m_clock.WaitForSleepers(2);
    platform::CThread driver;
    ASSERT_TRUE(driver.Start("Driver", [this] { m_clock.Advance(SECOND); }));
    called.Wait();
    m_stop.request_stop();
    m_timer.EndAll();
    EXPECT_EQ(result, WaitResult::Stopped);
    EXPECT_THAT(m_timer.List(), IsEmpty());
    EXPECT_EQ(m_clock.GetSleepers(), 0u);
}

TEST_F(TimerTest, ACallbackMayEndAllTimersItsOwnIncluded) {
    Arm(ID + 1, 5 * SECOND);
    m_timer.SetTimer(ID, SECOND, [this](std::uint32_t) {
        m_timer.EndAll();
        Note();
    });
    m_clock.Advance(10 * SECOND);
    EXPECT_THAT(m_arCalls, ElementsAre(1'000));
    EXPECT_THAT(m_timer.List(), IsEmpty());
}

TEST_F(TimerTest, NothingIsArmedOnceTheServiceWasToldToStop) {
    m_stop.request_stop();
    EXPECT_EQ(Arm(ID, SECOND), 0u);
    EXPECT_THAT(m_timer.List(), IsEmpty());
    m_stop = std::stop_source();
    EXPECT_EQ(Arm(ID, SECOND), ID);
}

TEST_F(TimerTest, HundredsOfTimersOneAfterTheOtherLeaveNoStackOfAThreadBehind) {
    constexpr std::uint32_t TIMERS = 400;
    constexpr std::uint64_t STACK = 8U << 20U;
    const auto GetSize = [] {
        std::uint64_t nPages = 0;
        std::ifstream("/proc/self/statm") >> nPages;
        return nPages * static_cast<std::uint64_t>(getpagesize());
    };
    const std::uint64_t nBefore = GetSize();
    for (std::uint32_t i = 0; i < TIMERS; ++i) {
        m_timer.SetTimer(ID, SECOND, [this](std::uint32_t nId) {
            m_timer.KillTimer(nId);
            Note();
        });
        m_clock.Advance(SECOND);
    }
    EXPECT_EQ(m_arCalls.size(), TIMERS);
    EXPECT_LT(GetSize(), nBefore + TIMERS / 4 * STACK);
}

/// In a process of its own, which gives up its rights and with them every further thread.
TEST_F(TimerTest, WithoutAThreadForItTheUserIsToldAndTheTimerIsNotArmed) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto arm = [this] {
        constexpr uid_t NOBODY = 65'534;
        if (geteuid() == 0 && setuid(NOBODY) != 0) _exit(2);
        const CLimit noThreads(RLIMIT_NPROC, 0);
        const auto start = std::chrono::steady_clock::now();
        const bool bArmed = Arm(ID, SECOND) != 0 || !m_timer.List().empty();
        const bool bTried = std::chrono::steady_clock::now() - start >= std::chrono::milliseconds(50);
        _exit(bArmed || !bTried ? 1 : 0);
    };
    EXPECT_EXIT(arm(), ::testing::ExitedWithCode(0),
                "Error: Win32 API function 'CreateThread' fails!\r\n\r\nErrorCode : 11\r\n"
                "Decription : Resource temporarily unavailable");
}

}  // namespace qvant::test
