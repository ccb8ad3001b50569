#include "platform/stop.h"

#include <gtest/gtest.h>

#include "platform/event.h"
#include "platform/thread.h"

namespace qvant::platform {
namespace {

using namespace std::chrono_literals;

TEST(CurrentStop, NeverComesWhereNobodySetAny) {
    EXPECT_FALSE(CurrentStop().stop_possible());
    EXPECT_FALSE(StopRequested());
}

TEST(CStopScope, SetsTheSignalAndPutsTheOneBeforeBack) {
    std::stop_source outer;
    std::stop_source inner;
    const CStopScope outerScope(outer.get_token());
    {
        const CStopScope innerScope(inner.get_token());
        inner.request_stop();
        EXPECT_TRUE(StopRequested());
    }
    EXPECT_FALSE(StopRequested());
    EXPECT_EQ(CurrentStop(), outer.get_token());
}

TEST(CStopScope, IsForItsOwnThreadOnly) {
    std::stop_source source;
    source.request_stop();
    const CStopScope scope(source.get_token());
    bool bElsewhere = true;
    CThread thread;
    ASSERT_TRUE(thread.Start("elsewhere", [&bElsewhere] { bElsewhere = StopRequested(); }));
    std::stop_source none;
    {
        const CStopScope unstopped(none.get_token());
        ASSERT_EQ(thread.Wait(), WaitResult::Signalled);
    }
    EXPECT_FALSE(bElsewhere);
    EXPECT_TRUE(StopRequested());
}

TEST(SleepFor, SleepsThroughWithoutAStop) {
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(SleepFor(20ms));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);
}

TEST(SleepFor, ReturnsAtOnceWithoutAPause) {
    EXPECT_TRUE(SleepFor(0ms));
    EXPECT_TRUE(SleepFor(-5ms));
}

TEST(SleepFor, ReturnsAtOnceWhenTheStopCameBefore) {
    std::stop_source source;
    source.request_stop();
    const CStopScope scope(source.get_token());
    EXPECT_FALSE(SleepFor(std::chrono::hours(1)));
}

TEST(SleepFor, IsCutShortByAStop) {
    CEvent started(CEvent::Reset::Manual, false);
    bool bWhole = true;
    CThread thread;
    ASSERT_TRUE(thread.Start("sleeper", [&] {
        started.Set();
        bWhole = SleepFor(std::chrono::milliseconds::max());
    }));
    ASSERT_EQ(started.Wait(), WaitResult::Signalled);
    thread.StopAndJoin();
    EXPECT_FALSE(bWhole);
}

}  // namespace
}  // namespace qvant::platform
