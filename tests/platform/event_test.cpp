#include "platform/event.h"

#include <memory>

#include <gtest/gtest.h>

#include "platform/stop.h"
#include "platform/thread.h"

namespace qvant::platform {
namespace {

using namespace std::chrono_literals;
using Reset = CEvent::Reset;

TEST(CEvent, BeginsAsItWasMade) {
    EXPECT_TRUE(CEvent(Reset::Manual, true).IsSet());
    EXPECT_FALSE(CEvent(Reset::Automatic, false).IsSet());
}

TEST(CEvent, StaysSignalledWhenManual) {
    CEvent event(Reset::Manual, false);
    event.Set();
    EXPECT_EQ(event.Wait(), WaitResult::Signalled);
    EXPECT_EQ(event.WaitFor(0ms), WaitResult::Signalled);
    EXPECT_TRUE(event.IsSet());
    event.Clear();
    EXPECT_EQ(event.WaitFor(0ms), WaitResult::TimedOut);
}

TEST(CEvent, LetsOneThroughWhenAutomatic) {
    CEvent event(Reset::Automatic, false);
    event.Set();
    event.Set();
    EXPECT_EQ(event.Wait(), WaitResult::Signalled);
    EXPECT_FALSE(event.IsSet());
    EXPECT_EQ(event.WaitFor(0ms), WaitResult::TimedOut);
}

TEST(CEvent, TimesOutAfterItsLimitAndNotBefore) {
    CEvent event(Reset::Manual, false);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(event.WaitFor(20ms), WaitResult::TimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);
}

TEST(CEvent, WinsOverAStopWhenSignalled) {
    std::stop_source source;
    source.request_stop();
    const CStopScope scope(source.get_token());
    CEvent event(Reset::Automatic, true);
    EXPECT_EQ(event.Wait(), WaitResult::Signalled);
    EXPECT_EQ(event.Wait(), WaitResult::Stopped);
    EXPECT_EQ(event.WaitFor(1h), WaitResult::Stopped);
    event.Set();
    EXPECT_EQ(event.WaitFor(1h), WaitResult::Signalled);
}

/// A thread that tells that it runs, waits, and keeps the result.
struct Waiter {
    explicit Waiter(CEvent& event, std::chrono::milliseconds limit = std::chrono::milliseconds::max()) {
        thread.Start("waiter", [this, &event, limit] {
            running.Set();
            result = limit == std::chrono::milliseconds::max() ? event.Wait() : event.WaitFor(limit);
        });
        running.Wait();
    }
    CEvent running{Reset::Manual, false};
    WaitResult result = WaitResult::TimedOut;
    CThread thread;
};

TEST(CEvent, WakesAThreadThatWaits) {
    CEvent event(Reset::Manual, false);
    Waiter waiter(event);
    event.Set();
    ASSERT_EQ(waiter.thread.Wait(), WaitResult::Signalled);
    EXPECT_EQ(waiter.result, WaitResult::Signalled);
}

TEST(CEvent, WakesEveryThreadWhenManual) {
    CEvent event(Reset::Manual, false);
    Waiter first(event);
    Waiter second(event, 1h);
    event.Set();
    first.thread.Wait();
    second.thread.Wait();
    EXPECT_EQ(first.result, WaitResult::Signalled);
    EXPECT_EQ(second.result, WaitResult::Signalled);
}

TEST(CEvent, EndsItsWaitsOnAStop) {
    CEvent event(Reset::Automatic, false);
    Waiter endless(event);
    Waiter limited(event, std::chrono::hours(24 * 365 * 200));
    endless.thread.StopAndJoin();
    limited.thread.StopAndJoin();
    EXPECT_EQ(endless.result, WaitResult::Stopped);
    EXPECT_EQ(limited.result, WaitResult::Stopped);
}

TEST(CEvent, CountsOneWaitForEachSignalThatWasTaken) {
    constexpr int ROUNDS = 1'000;
    CEvent ball(Reset::Automatic, false);
    CEvent back(Reset::Automatic, false);
    int nReturned = 0;
    CThread thread;
    ASSERT_TRUE(thread.Start("player", [&] {
        while (ball.Wait() == WaitResult::Signalled) {
            ++nReturned;
            back.Set();
        }
    }));
    for (int i = 0; i < ROUNDS; ++i) {
        ball.Set();
        ASSERT_EQ(back.Wait(), WaitResult::Signalled);
    }
    thread.StopAndJoin();
    EXPECT_EQ(nReturned, ROUNDS);
}

TEST(CEvent, MayBeDestroyedByTheOneWhoWaitedForIt) {
    for (int i = 0; i < 500; ++i) {
        auto pEvent = std::make_unique<CEvent>(Reset::Manual, false);
        CThread thread;
        ASSERT_TRUE(thread.Start("setter", [&event = *pEvent] { event.Set(); }));
        ASSERT_EQ(pEvent->Wait(), WaitResult::Signalled);
        pEvent.reset();
    }
}

}  // namespace
}  // namespace qvant::platform
