#include "platform/named_event.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace qvant::platform {
namespace {

using namespace std::chrono_literals;
using Reset = CEvent::Reset;
using Waited = CNamedEvents::Waited;

/// A thread that waits at an event, and how that ended.
class CWaiter {
public:
    CWaiter(CNamedEvents& events, CNamedEvents::Handle nHandle)
        : m_thread([this, &events, nHandle] { m_nResult = events.Wait(nHandle, std::nullopt); }) {}
    Waited Join() {
        m_thread.join();
        return m_nResult;
    }

private:
    Waited m_nResult = Waited::TimedOut;
    std::thread m_thread;
};

TEST(CNamedEvents, GiveTheSameEventToAllWhoHoldItsName) {
    CNamedEvents events;
    bool bExisted = true;
    const auto nFirst = events.Create(u"Ready", Reset::Manual, false, &bExisted);
    EXPECT_FALSE(bExisted);
    const auto nSecond = events.Create(u"Ready", Reset::Automatic, true, &bExisted);
    EXPECT_TRUE(bExisted);
    const auto nThird = events.Open(u"Ready");
    EXPECT_EQ(events.GetCount(), 1u);
    EXPECT_EQ(events.Wait(nThird, 0ms), Waited::TimedOut) << "the first one's state stands";
    EXPECT_TRUE(events.Set(nSecond));
    for (const auto nHandle : {nFirst, nSecond, nThird, nFirst})
        EXPECT_EQ(events.Wait(nHandle, 0ms), Waited::Signalled);
    EXPECT_TRUE(events.Clear(nThird));
    EXPECT_EQ(events.Wait(nFirst, 0ms), Waited::TimedOut);
}

TEST(CNamedEvents, TellNamesApartByEveryUnit) {
    CNamedEvents events;
    const auto nLower = events.Create(u"ready", Reset::Manual, true);
    const auto nUpper = events.Create(u"READY", Reset::Manual, false);
    const auto nLong = events.Create(Text(10'000, u'x'), Reset::Manual, true);
    EXPECT_EQ(events.Wait(nLower, 0ms), Waited::Signalled);
    EXPECT_EQ(events.Wait(nUpper, 0ms), Waited::TimedOut);
    EXPECT_EQ(events.Wait(nLong, 0ms), Waited::Signalled);
    EXPECT_EQ(events.Open(Text(9'999, u'x')), 0u);
}

TEST(CNamedEvents, AreGoneWithTheirLastHolder) {
    CNamedEvents events;
    const auto nFirst = events.Create(u"Ready", Reset::Manual, true);
    const auto nSecond = events.Open(u"Ready");
    EXPECT_TRUE(events.Close(nFirst));
    EXPECT_EQ(events.Wait(nSecond, 0ms), Waited::Signalled);
    EXPECT_TRUE(events.Close(nSecond));
    EXPECT_EQ(events.GetCount(), 0u);
    EXPECT_EQ(events.Open(u"Ready"), 0u);
    const auto nNew = events.Create(u"Ready", Reset::Manual, false);
    EXPECT_EQ(events.Wait(nNew, 0ms), Waited::TimedOut) << "nothing of the old one is left";
}

TEST(CNamedEvents, KnowAHandleThatIsNoneAndNeverGiveOneTwice) {
    CNamedEvents events;
    const auto nOld = events.Create(u"Ready", Reset::Manual, true);
    EXPECT_TRUE(events.Close(nOld));
    const auto nNew = events.Create(u"Ready", Reset::Manual, true);
    EXPECT_NE(nNew, nOld);
    std::uint64_t nSets = 0;
    for (const CNamedEvents::Handle nHandle : {CNamedEvents::Handle{0}, nOld, nNew + 1}) {
        EXPECT_FALSE(events.Set(nHandle));
        EXPECT_FALSE(events.Clear(nHandle));
        EXPECT_FALSE(events.Close(nHandle));
        EXPECT_EQ(events.Wait(nHandle, std::nullopt), Waited::NoHandle);
        EXPECT_EQ(events.Watch(nHandle, nSets, std::nullopt), Waited::NoHandle);
    }
}

TEST(CNamedEvents, LetOneThroughWhenAutomatic) {
    CNamedEvents events;
    const auto nHandle = events.Create(u"Ready", Reset::Automatic, false);
    const auto nOther = events.Open(u"Ready");
    events.Set(nOther);
    events.Set(nOther);
    EXPECT_EQ(events.Wait(nHandle, 0ms), Waited::Signalled);
    EXPECT_EQ(events.Wait(nOther, 0ms), Waited::TimedOut);
}

TEST(CNamedEvents, TimeOutAfterTheLimitAndNotBefore) {
    CNamedEvents events;
    const auto nHandle = events.Create(u"Ready", Reset::Manual, false);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(events.Wait(nHandle, 20ms), Waited::TimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);
}

TEST(CNamedEvents, LetEveryWaiterGoOnThoughTheSignalIsTakenBackAtOnce) {
    constexpr int ROUNDS = 200;
    for (int i = 0; i < ROUNDS; ++i) {
        CNamedEvents events;
        const auto nHandle = events.Create(u"Ready", Reset::Manual, false);
        CWaiter first(events, nHandle);
        CWaiter second(events, nHandle);
        // Whoever isn't waiting yet when the first signal comes is let through by a later one.
        std::jthread signaller([&](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                events.Set(nHandle);
                events.Clear(nHandle);
                std::this_thread::yield();
            }
        });
        EXPECT_EQ(first.Join(), Waited::Signalled);
        EXPECT_EQ(second.Join(), Waited::Signalled);
    }
}

TEST(CNamedEvents, EndTheWaitsOfAHoldingThatIsClosed) {
    CNamedEvents events;
    const auto nHandle = events.Create(u"Ready", Reset::Manual, false);
    const auto nOther = events.Open(u"Ready");
    CWaiter waiter(events, nHandle);
    CWaiter staying(events, nOther);
    EXPECT_TRUE(events.Close(nHandle));
    const Waited nResult = waiter.Join();
    // A thread that hadn't begun to wait finds no holding at all.
    EXPECT_TRUE(nResult == Waited::Closed || nResult == Waited::NoHandle);
    events.Set(nOther);
    EXPECT_EQ(staying.Join(), Waited::Signalled);
}

TEST(CNamedEvents, ShowEverySignalToThoseWhoWatchAndTakeNone) {
    CNamedEvents events;
    const auto nHandle = events.Create(u"Ready", Reset::Automatic, false);
    std::uint64_t nSets = 0;
    EXPECT_EQ(events.Watch(nHandle, nSets, 0ms), Waited::TimedOut);
    events.Set(nHandle);
    events.Clear(nHandle);
    events.Set(nHandle);
    EXPECT_EQ(events.Watch(nHandle, nSets, std::nullopt), Waited::Signalled);
    EXPECT_EQ(nSets, 2u);
    EXPECT_EQ(events.Watch(nHandle, nSets, 0ms), Waited::TimedOut);
    EXPECT_EQ(events.Wait(nHandle, 0ms), Waited::Signalled);
}

TEST(CNamedEvents, CountOnForWhoWatchesFromAnyThread) {
    constexpr std::uint64_t SETS = 10'000;
    CNamedEvents events;
    const auto nHandle = events.Create(u"Ready", Reset::Manual, false);
    std::uint64_t nSeen = 0;
    std::thread watcher([&] {
        while (nSeen < SETS) {
            const std::uint64_t nBefore = nSeen;
            ASSERT_EQ(events.Watch(nHandle, nSeen, std::nullopt), Waited::Signalled);
            ASSERT_GT(nSeen, nBefore);
        }
    });
    std::vector<std::thread> arSetters;
    for (int i = 0; i < 4; ++i) {
        arSetters.emplace_back([&] {
            for (std::uint64_t n = 0; n < SETS / 4; ++n) events.Set(nHandle);
        });
    }
    for (std::thread& setter : arSetters) setter.join();
    watcher.join();
    EXPECT_EQ(nSeen, SETS);
}

TEST(CNamedEvents, TakeHoldersThatComeAndGoOnManyThreads) {
    CNamedEvents events;
    std::vector<std::thread> arThreads;
    for (int i = 0; i < 4; ++i) {
        arThreads.emplace_back([&events] {
            for (int n = 0; n < 2'000; ++n) {
                const auto nHandle = events.Create(u"Ready", Reset::Manual, false);
                EXPECT_TRUE(events.Set(nHandle));
                EXPECT_EQ(events.Wait(nHandle, 0ms), Waited::Signalled);
                EXPECT_TRUE(events.Close(nHandle));
            }
        });
    }
    for (std::thread& thread : arThreads) thread.join();
    EXPECT_EQ(events.GetCount(), 0u);
}

}  // namespace
}  // namespace qvant::platform
