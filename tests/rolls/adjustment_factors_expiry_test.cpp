/// Adjustment factors that grow old.
#include <atomic>
#include <thread>

#include "adjustment_factors_fixture.h"
#include "platform/thread.h"

namespace qvant::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::IsEmpty;

TEST_F(AdjustmentFactorsTest, FactorsExpireWhenTheyAreAnHourOldAndNotBefore) {
    Request(HOT);
    m_host.TakeTopics();
    m_host.Forget();
    m_clock.Pass(HOUR - 1);
    m_factors.CheckExpireCQYZ(800);
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
    m_clock.Pass(1);
    m_factors.CheckExpireCQYZ(800);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre("4 QV.F.CME.ES.HOT (empty)"));
    EXPECT_THAT(m_host.GetLog(), ElementsAre("CheckExpireCQYZ(1). ID=800, strSymbol=QV.F.CME.ES.HOT, lVal=1.",
                                             "CheckExpireCQYZ(3). ID=800, strSymbol=QV.F.CME.ES.HOT."));
    EXPECT_EQ(m_nStopped, 0);
    EXPECT_EQ(GetStored(HOT), ENRICHED);
}

TEST_F(AdjustmentFactorsTest, AnExpiredSymbolIsAskedForAgain) {
    Request(HOT);
    m_clock.Pass(HOUR);
    m_factors.CheckExpireCQYZ(800);
    m_host.TakeTopics();
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT)));
    EXPECT_EQ(CountQueries(), 2u);
    EXPECT_EQ(m_nArmed, 2);
}

TEST_F(AdjustmentFactorsTest, ASymbolInTheMiddleOfItsSaveHasNoTimeAndExpires) {
    std::vector<std::string> arTopics;
    m_host.onLog = [this, &arTopics](TextView strLine) {
        if (!strLine.starts_with(u"http:")) return;
        m_clock.InterruptOnce([this, &arTopics] {
            m_factors.CheckExpireCQYZ(800);
            arTopics = m_host.TakeTopics();
        });
    };
    Request(HOT);
    EXPECT_THAT(arTopics, ElementsAre("4 QV.F.CME.ES.HOT (empty)"));
}

TEST_F(AdjustmentFactorsTest, TheTimerStopsOnceNothingIsSavedAnyMore) {
    Request(HOT);
    Request(STOCK);
    m_factors.CheckExpireCQYZ(800);
    EXPECT_EQ(m_nStopped, 0);
    m_clock.Pass(HOUR);
    m_factors.CheckExpireCQYZ(800);
    EXPECT_EQ(m_nStopped, 0);
    m_factors.CheckExpireCQYZ(800);
    EXPECT_EQ(m_nStopped, 1);
}

TEST_F(AdjustmentFactorsTest, ASymbolWithoutAnAnswerDoesNotKeepTheTimer) {
    Fail();
    Request(HOT);
    m_factors.CheckExpireCQYZ(800);
    EXPECT_EQ(m_nStopped, 1);
}

TEST_F(AdjustmentFactorsTest, ExpiryAndRequestsMayRunAtOnce) {
    platform::CThread timer;
    std::atomic<bool> bDone = false;
    std::atomic<int> nLooks = 0;
    ASSERT_TRUE(timer.Start("Timer800", [&] {
        for (; !bDone; ++nLooks) m_factors.CheckExpireCQYZ(800);
    }));
    for (int i = 0; i < 200; ++i) {
        Request(i % 2 == 0 ? HOT : STOCK);
        if (i % 10 == 0) m_clock.Pass(HOUR);
    }
    m_clock.Pass(HOUR);
    // The look behind this one begins with the hour gone.
    for (const int nBefore = nLooks; nLooks < nBefore + 2;) std::this_thread::yield();
    bDone = true;
    timer.Wait();
    EXPECT_THAT(m_host.TakeTopics(), Contains(EndsWith("(empty)")));
}

}  // namespace
}  // namespace qvant::test
