/// Adjustment factors that are fetched again when their products reset.
#include "adjustment_factors_fixture.h"
#include "platform/thread.h"

namespace qvant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST_F(AdjustmentFactorsTest, AtItsResetMinuteASymbolIsFetchedAgain) {
    m_resetTimes.Set(u"QV.F.CME.ES", u"003000");
    Request(HOT);
    m_host.TakeTopics();
    for (const std::int32_t nTime : {2959, 3100, 300, 0, 213000}) MoveClock(nTime);
    EXPECT_EQ(CountQueries(), 1u);
    Answer(R"({"data":[]})");
    MoveClock(3000);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT, R"({"data":[]})")));
    MoveClock(3059);
    EXPECT_EQ(CountQueries(), 3u) << "each change of the clock within the minute counts";
    EXPECT_EQ(m_nArmed, 1);
}

TEST_F(AdjustmentFactorsTest, AProductWithoutAResetTimeIsFetchedAgainAtMidnight) {
    Request(STOCK);
    EXPECT_THAT(m_host.GetLog().back(), HasSubstr("strResetTime=0, strVal=QV.S.SSE.600001;, strResetTime2=."));
    MoveClock(59);
    EXPECT_EQ(CountQueries(), 2u);
}

TEST_F(AdjustmentFactorsTest, SymbolsOfOneResetTimeAreFetchedOnceEach) {
    for (const auto* pszKey : {u"QV.F.CME.ES", u"QV.F.CME.NQ"}) m_resetTimes.Set(pszKey, u"210000");
    Request(HOT);
    Request(u"QV.F.CME.NQ.HOT");
    EXPECT_THAT(m_host.GetLog().back(),
                HasSubstr("strResetTime=2100, strVal=QV.F.CME.ES.HOT;QV.F.CME.NQ.HOT;, strResetTime2=210000."));
    MoveClock(210000);
    MoveClock(210001);
    EXPECT_EQ(CountQueries(), 6u);
}

TEST_F(AdjustmentFactorsTest, ASymbolThatIsPartOfOneEnteredBeforeIsNotEntered) {
    Request(u"QV.S.SSE.600001");
    Request(u"QV.S.SSE.6000");
    MoveClock(0);
    EXPECT_EQ(CountQueries(), 3u);
}

TEST_F(AdjustmentFactorsTest, AResetTimeThatMovesLeavesTheSymbolUnderBoth) {
    m_resetTimes.Set(u"QV.F.CME.ES", u"210000");
    Request(HOT);
    m_resetTimes.Set(u"QV.F.CME.ES", u"220000");
    MoveClock(210000);
    MoveClock(220000);
    EXPECT_EQ(CountQueries(), 3u);
}

TEST_F(AdjustmentFactorsTest, AResetWithoutAnAnswerLeavesTheOldFactorsInPlace) {
    Request(STOCK);
    m_host.TakeTopics();
    Fail();
    MoveClock(0);
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    Request(STOCK);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre("3 QV.S.SSE.600001 " + ENRICHED));
}

TEST_F(AdjustmentFactorsTest, AResetWithAnEmptyAnswerForgetsTheSymbolAndKeepsItsText) {
    Request(STOCK);
    m_server.SetAnswer("Bnonsense");
    MoveClock(0);
    EXPECT_EQ(GetStored(STOCK), ENRICHED);
    EXPECT_EQ(m_host.TakeTopics().back(), "0 QV.S.SSE.600001 (empty)");
    Answer(FACTORS);
    Request(STOCK);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(STOCK)));
}

TEST_F(AdjustmentFactorsTest, ADroppedSymbolIsServedAgainOnceAResetBringsItsFactors) {
    Request(STOCK);
    m_clock.Pass(HOUR);
    m_factors.CheckExpireCQYZ(800);
    Fail();
    Request(STOCK);
    m_host.TakeTopics();
    Answer(FACTORS);
    Request(STOCK);
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    MoveClock(0);
    Request(STOCK);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(STOCK), "3 QV.S.SSE.600001 " + ENRICHED));
}

TEST_F(AdjustmentFactorsTest, AStopEndsAResetAndLeavesTheOldFactorsInPlace) {
    Request(STOCK);
    Request(u"QV.S.SSE.600002");
    m_server.Hang();
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Reset", [this] { MoveClock(0); }));
    m_server.WaitForQueries(3);
    thread.StopAndJoin();
    EXPECT_EQ(CountQueries(), 3u);
    m_host.TakeTopics();
    Request(STOCK);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre("3 QV.S.SSE.600001 " + ENRICHED));
}

}  // namespace
}  // namespace qvant::test
