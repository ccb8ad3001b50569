#include "platform/stoppable_lock.h"

#include <atomic>

#include <gtest/gtest.h>

#include "platform/event.h"
#include "platform/stop.h"
#include "platform/thread.h"

namespace qvant::platform {
namespace {

/// What another thread gets that tries to take the lock.
bool IsFree(CStoppableLock& lock) {
    std::stop_source stop;
    stop.request_stop();
    bool bTaken = false;
    CThread thread;
    EXPECT_TRUE(thread.Start("Other", [&] {
        const CStopScope scope(stop.get_token());
        bTaken = static_cast<bool>(CStoppableHold(lock));
    }));
    EXPECT_EQ(thread.Wait(), WaitResult::Signalled);
    return bTaken;
}

TEST(CStoppableLock, IsTakenEvenByAThreadThatWasToldToStopAsLongAsItIsFree) {
    CStoppableLock lock;
    EXPECT_TRUE(IsFree(lock));
}

TEST(CStoppableLock, KeepsOtherThreadsOutUntilItIsGivenBack) {
    CStoppableLock lock;
    ASSERT_TRUE(lock.Lock());
    EXPECT_FALSE(IsFree(lock));
    lock.Unlock();
    EXPECT_TRUE(IsFree(lock));
}

TEST(CStoppableLock, IsTakenAgainByTheThreadThatHasItAndGivenBackAsOften) {
    CStoppableLock lock;
    ASSERT_TRUE(lock.Lock());
    ASSERT_TRUE(lock.Lock());
    lock.Unlock();
    EXPECT_FALSE(IsFree(lock));
    lock.Unlock();
    EXPECT_TRUE(IsFree(lock));
}

TEST(CStoppableLock, GoesToWhoWaitsForIt) {
    CStoppableLock lock;
    std::atomic<bool> bReleased = false;
    bool bInTurn = false;
    CEvent started(CEvent::Reset::Manual, false);
    CThread thread;
    {
        const CStoppableHold hold(lock);
        ASSERT_TRUE(thread.Start("Waiter", [&] {
            started.Set();
            const CStoppableHold mine(lock);
            bInTurn = mine && bReleased;
        }));
        ASSERT_EQ(started.Wait(), WaitResult::Signalled);
        bReleased = true;
    }
    ASSERT_EQ(thread.Wait(), WaitResult::Signalled);
    EXPECT_TRUE(bInTurn);
}

TEST(CStoppableLock, IsNotWaitedForByAThreadThatIsToldToStop) {
    CStoppableLock lock;
    const CStoppableHold hold(lock);
    bool bTaken = true;
    CEvent started(CEvent::Reset::Manual, false);
    CThread thread;
    ASSERT_TRUE(thread.Start("Waiter", [&] {
        started.Set();
        bTaken = static_cast<bool>(CStoppableHold(lock));
    }));
    ASSERT_EQ(started.Wait(), WaitResult::Signalled);
    thread.StopAndJoin();
    EXPECT_FALSE(bTaken);
}

TEST(CStoppableHold, GivesBackOnceWhatItReleasedBefore) {
    CStoppableLock lock;
    const CStoppableHold outer(lock);
    {
        CStoppableHold inner(lock);
        inner.Release();
        EXPECT_FALSE(inner);
    }
    EXPECT_FALSE(IsFree(lock));
}

}  // namespace
}  // namespace qvant::platform
