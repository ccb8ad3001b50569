#include "platform/thread.h"

#include <memory>
#include <stdexcept>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qvant::platform {
namespace {

int GetNiceOfThisThread() { return getpriority(PRIO_PROCESS, static_cast<id_t>(syscall(SYS_gettid))); }

TEST(CThread, RunsUnderItsNameCutToFifteenBytes) {
    char szName[32] = "";
    CThread thread;
    ASSERT_TRUE(thread.Start("a name that is too long",
                             [&szName] { pthread_getname_np(pthread_self(), szName, sizeof szName); }));
    ASSERT_EQ(thread.Wait(), WaitResult::Signalled);
    EXPECT_STREQ(szName, "a name that is ");
}

TEST(CThread, IsStartedUntilItIsJoined) {
    CThread thread;
    EXPECT_FALSE(thread.IsStarted());
    ASSERT_TRUE(thread.Start("short", [] {}));
    EXPECT_TRUE(thread.IsStarted());
    thread.Wait();
    EXPECT_TRUE(thread.IsStarted());
    thread.StopAndJoin();
    EXPECT_FALSE(thread.IsStarted());
}

TEST(CThread, DoesNothingWhereNothingWasStarted) {
    CThread thread;
    thread.RequestStop();
    thread.StopAndJoin();
    EXPECT_EQ(thread.Wait(), WaitResult::Signalled);
}

TEST(CThread, IsWaitedForNoLongerThanTheLimit) {
    CEvent end(CEvent::Reset::Manual, false);
    CThread thread;
    EXPECT_EQ(thread.WaitFor(std::chrono::hours(1)), WaitResult::Signalled);
    ASSERT_TRUE(thread.Start("waiting", [&end] { end.Wait(); }));
    EXPECT_EQ(thread.WaitFor(std::chrono::milliseconds(1)), WaitResult::TimedOut);
    end.Set();
    EXPECT_EQ(thread.WaitFor(std::chrono::hours(1)), WaitResult::Signalled);
}

TEST(CThread, HasItsOwnStopSignal) {
    CEvent running(CEvent::Reset::Manual, false);
    bool bStopped = false;
    CThread thread;
    ASSERT_TRUE(thread.Start("stoppable", [&] {
        const bool bBefore = StopRequested();
        running.Set();
        SleepFor(std::chrono::hours(1));
        bStopped = !bBefore && StopRequested();
    }));
    running.Wait();
    thread.RequestStop();
    EXPECT_EQ(thread.Wait(), WaitResult::Signalled);
    EXPECT_TRUE(bStopped);
}

TEST(CThread, StopsAndJoinsWhenItIsDestroyed) {
    bool bEnded = false;
    {
        CThread thread;
        ASSERT_TRUE(thread.Start("owned", [&bEnded] {
            SleepFor(std::chrono::hours(1));
            bEnded = true;
        }));
    }
    EXPECT_TRUE(bEnded);
}

TEST(CThread, CanBeStartedAgain) {
    int nRuns = 0;
    CThread thread;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(thread.Start("again", [&nRuns] { ++nRuns; }));
        ASSERT_EQ(thread.Wait(), WaitResult::Signalled);
        ASSERT_EQ(nRuns, i + 1);
    }
}

TEST(CThread, StopsTheOneBeforeWhenItIsStartedAgain) {
    bool bFirstEnded = false;
    bool bSecondSawIt = false;
    CThread thread;
    ASSERT_TRUE(thread.Start("first", [&bFirstEnded] { bFirstEnded = !SleepFor(std::chrono::hours(1)); }));
    ASSERT_TRUE(thread.Start("second", [&] { bSecondSawIt = bFirstEnded; }));
    thread.Wait();
    EXPECT_TRUE(bSecondSawIt);
}

TEST(CThread, EndsByAnExceptionAndNothingElseDoes) {
    CThread thread;
    ASSERT_TRUE(thread.Start("thrower", [] { throw std::runtime_error("a failure"); }));
    EXPECT_EQ(thread.Wait(), WaitResult::Signalled);
    ASSERT_TRUE(thread.Start("thrower", [] { throw 5; }));
    EXPECT_EQ(thread.Wait(), WaitResult::Signalled);
}

TEST(CThread, LetsGoOfWhatItRanBeforeItIsFinished) {
    auto pHeld = std::make_shared<int>(1);
    const std::weak_ptr<int> pWatch = pHeld;
    CThread thread;
    ASSERT_TRUE(thread.Start("holder", [pHeld = std::move(pHeld)] {}));
    ASSERT_EQ(thread.Wait(), WaitResult::Signalled);
    EXPECT_TRUE(pWatch.expired());
}

TEST(CThread, EndsTheWaitOfAnOwnerThatIsToldToStop) {
    CThread thread;
    ASSERT_TRUE(thread.Start("long", [] { SleepFor(std::chrono::hours(1)); }));
    std::stop_source owner;
    owner.request_stop();
    const CStopScope scope(owner.get_token());
    EXPECT_EQ(thread.Wait(), WaitResult::Stopped);
    EXPECT_TRUE(thread.IsStarted());
}

TEST(CThread, RunsAtTheLowestPriorityWhenTold) {
    const int nOwn = GetNiceOfThisThread();
    int nNormal = -100;
    int nLowest = -100;
    CThread thread;
    ASSERT_TRUE(thread.Start("normal", [&nNormal] { nNormal = GetNiceOfThisThread(); }));
    thread.Wait();
    ASSERT_TRUE(thread.Start(
        "lowest", [&nLowest] { nLowest = GetNiceOfThisThread(); }, Priority::Lowest));
    thread.Wait();
    EXPECT_EQ(nNormal, nOwn);
    EXPECT_GE(nLowest, 10);
    EXPECT_EQ(GetNiceOfThisThread(), nOwn) << "the priority is the thread's own";
}

TEST(SetThreadPriority, LowersTheThreadThatCalls) {
    int nNice = -100;
    CThread thread;
    ASSERT_TRUE(thread.Start("lowers itself", [&nNice] {
        SetThreadPriority(Priority::Lowest);
        nNice = GetNiceOfThisThread();
    }));
    thread.Wait();
    EXPECT_GE(nNice, 10);
}

/// Makes the system refuse new threads: their stacks would be larger than memory can be addressed.
class CNoNewThreads {
public:
    CNoNewThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t huge;
        pthread_attr_init(&huge);
        pthread_attr_setstacksize(&huge, std::size_t{1} << 60);
        pthread_setattr_default_np(&huge);
        pthread_attr_destroy(&huge);
    }
    ~CNoNewThreads() {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    CNoNewThreads(const CNoNewThreads&) = delete;
    CNoNewThreads& operator=(const CNoNewThreads&) = delete;

private:
    pthread_attr_t m_before;
};

TEST(CThread, TellsWhenTheSystemHasNoThreadToGive) {
    CThread thread;
    {
        const CNoNewThreads refused;
        EXPECT_FALSE(thread.Start("none", [] {}));
    }
    EXPECT_FALSE(thread.IsStarted());
    EXPECT_EQ(thread.Wait(), WaitResult::Signalled);
    bool bRan = false;
    ASSERT_TRUE(thread.Start("one", [&bRan] { bRan = true; }));
    thread.Wait();
    EXPECT_TRUE(bRan);
}

}  // namespace
}  // namespace qvant::platform
