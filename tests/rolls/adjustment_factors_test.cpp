/// Requests for adjustment factors.
#include <chrono>
#include <filesystem>
#include <stop_token>

#include "adjustment_factors_fixture.h"
#include "base/failure.h"
#include "platform/stop.h"
#include "platform/thread.h"
#include "support/stop_limit.h"

namespace qvant::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

TEST_F(AdjustmentFactorsTest, ARequestIsFetchedEnrichedStoredAndAnsweredTwice) {
    Request(HOT);
    EXPECT_EQ(GetStored(HOT), ENRICHED);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT)));
    EXPECT_THAT(m_arSignals, ElementsAre(u"CQYZRequestEventKey.QV.F.CME.ES.HOT"));
    EXPECT_EQ(m_nArmed, 1);
}

TEST_F(AdjustmentFactorsTest, TheServerIsSentTheCommandWithTheQuoteClass) {
    m_session.SetMachineId(u"M1");
    OpenChild(m_host.MakeTable(u"Security.Info"), u"QV.F.CME");
    const auto pGroup = m_host.Open(u"Security.Info")->GetSubTable(u"QV.F.CME", nullptr);
    CTransaction transaction(*pGroup);
    transaction.SetValue(u"QV.F.CME.ES", uR"({"EXG.mo":"GLOBEX","Symbol.HX2":"ES"})");
    transaction.Commit();
    Request(HOT);
    EXPECT_THAT(
        m_server.GetTargets(),
        ElementsAre("/History.do?cmdLine=%7B%22s%22%3A%22HistoryData%22%2C+%22c%22%3A%22cqyz%22%2C+%22r%22%3A%22"
                    "QueryCQYZ%5FM1%5F060000000A%22%2C+%22d%22%3A%7B%22s%22%3A%22I%2EF%2EGLOBEX%2EES%22%7D%7D"));
}

TEST_F(AdjustmentFactorsTest, TheStepsOfARequestAreLogged) {
    m_resetTimes.Set(u"QV.F.CME.ES", u"210000");
    Request(HOT);
    const std::string strUrl = Narrow(m_server.GetUrl()) + m_server.GetTargets().at(0).substr(1);
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("WM_QUERY_CQYZ. strSymbol=QV.F.CME.ES.HOT.",
                            R"({"s":"HistoryData", "c":"cqyz", "r":"QueryCQYZ__060000000A", "d":{"s":"I.F.CME.ES"}})",
                            strUrl, "SaveCQYZData. strSymbol=QV.F.CME.ES.HOT, strData2=" + ENRICHED + ".",
                            "SaveCQYZData. strSymbol=QV.F.CME.ES.HOT, strResetTime=2100, strVal=QV.F.CME.ES.HOT;, "
                            "strResetTime2=210000."));
}

TEST_F(AdjustmentFactorsTest, ASingleContractIsRefusedWithASignalAndAnAnswer) {
    for (const Text strSymbol : {u"QV.F.CME.ES.202012", u"QV.O.CME.ES.202012.C.2000", u"QV.F.CME.ES"}) {
        Request(strSymbol);
        EXPECT_EQ(m_arSignals.back(), u"CQYZRequestEventKey." + strSymbol);
        EXPECT_THAT(m_host.TakeTopics(), ElementsAre("0 " + Narrow(strSymbol) + " (empty)"));
    }
    EXPECT_EQ(CountQueries(), 0u);
    EXPECT_EQ(m_nArmed, 0);
}

TEST_F(AdjustmentFactorsTest, StocksHotSymbolsAndAllElseAreAskedFor) {
    for (const Text strSymbol : {HOT, STOCK, u"QV.O.CME.ES.HOT.C.2000", u"QV.F.CME.ES.HOT2", u"anything"}) {
        Request(strSymbol);
    }
    EXPECT_EQ(CountQueries(), 5u);
    EXPECT_THAT(m_host.TakeTopics(), SizeIs(5));
}

TEST_F(AdjustmentFactorsTest, ASavedSymbolIsAnsweredFromTheTableWithoutTheNetwork) {
    Request(HOT);
    m_host.TakeTopics();
    m_host.Forget();
    m_arSignals.clear();
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre("3 QV.F.CME.ES.HOT " + ENRICHED));
    EXPECT_THAT(m_host.GetLog(), ElementsAre("WM_QUERY_CQYZ. strSymbol=QV.F.CME.ES.HOT.",
                                             "QUERY_CQYZ. strSymbol=QV.F.CME.ES.HOT, strData=" + ENRICHED + "."));
    EXPECT_THAT(m_arSignals, IsEmpty());
    EXPECT_EQ(CountQueries(), 1u);
    EXPECT_EQ(m_nArmed, 1);
}

TEST_F(AdjustmentFactorsTest, TheTableCountsAndNotWhatWasSaved) {
    Request(HOT);
    m_host.TakeTopics();
    m_host.Set(u"CQYZ", {{HOT, u"of somebody else"}});
    Request(HOT);
    CTransaction transaction(*m_pTable);
    transaction.SetNumber(HOT, 7);
    transaction.Commit();
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre("3 QV.F.CME.ES.HOT of somebody else", "3 QV.F.CME.ES.HOT 7"));
}

TEST_F(AdjustmentFactorsTest, WithoutTheTableTheFactorsAreAnsweredAndNothingIsKept) {
    m_pTable = nullptr;
    Request(HOT);
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT), "3 QV.F.CME.ES.HOT "));
    EXPECT_EQ(CountQueries(), 1u);
}

TEST_F(AdjustmentFactorsTest, TheEventComesBeforeTheTableAndTheTopicBehindIt) {
    m_onSignal = [this] {
        EXPECT_EQ(GetStored(HOT), "");
        EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    };
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT)));
}

TEST_F(AdjustmentFactorsTest, ARequestDuringAQueryGetsNoAnswerOfItsOwn) {
    m_server.Hang();
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Request", [this] { Request(HOT); }));
    m_server.WaitForQuery();
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    m_server.Release();
    thread.Wait();
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT)));
    EXPECT_EQ(CountQueries(), 1u);
}

TEST_F(AdjustmentFactorsTest, AReplyThatHoldsNothingUsableIsAnsweredWithNothingAndAskedForAgain) {
    const std::string strZipped = GzipBytes(FACTORS);
    const std::string strCut = "B" + MakeBson("\x01" + strZipped.substr(0, strZipped.size() / 2));
    for (const std::string& strReply :
         {std::string(FACTORS), "A" + MakeHistoryReply(FACTORS).substr(1), std::string("B"), std::string("Bnonsense"),
          "B" + MakeBson(strZipped, "e"), strCut, MakeHistoryReply("")}) {
        m_server.SetAnswer(strReply);
        m_arSignals.clear();
        Request(HOT);
        EXPECT_THAT(m_host.TakeTopics(), ElementsAre("0 QV.F.CME.ES.HOT (empty)"));
        EXPECT_THAT(m_arSignals, SizeIs(1));
    }
    EXPECT_EQ(GetStored(HOT), "");
    EXPECT_EQ(CountQueries(), 7u);
    EXPECT_EQ(m_nArmed, 7);
}

TEST_F(AdjustmentFactorsTest, ATextThatIsNoJsonIsSavedAsAnEmptyOne) {
    m_host.Set(u"CQYZ", {{HOT, u"old"}});
    Answer("{\"data\":[");
    Request(HOT);
    EXPECT_EQ(GetStored(HOT), "");
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre("1 QV.F.CME.ES.HOT ", "3 QV.F.CME.ES.HOT "));
    EXPECT_EQ(CountQueries(), 1u);
}

TEST_F(AdjustmentFactorsTest, OnlyTheProductInAnotherUnitIsRescaled) {
    const std::string strRescaled = R"({"data":[{"od":20201218,"t":93000000,"sxd":120.0,"odt_utc":20201218013000}]})";
    Request(u"QV.F.CME.6J.HOT");
    EXPECT_EQ(GetStored(u"QV.F.CME.6J.HOT"), strRescaled);
    Request(u"QV.F.CME.6E.HOT");
    EXPECT_EQ(GetStored(u"QV.F.CME.6E.HOT"), ENRICHED);
}

TEST_F(AdjustmentFactorsTest, AnEmptySymbolIsAskedForAndAnsweredWithNothing) {
    Request(u"");
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre("0  (empty)"));
    EXPECT_THAT(m_arSignals, ElementsAre(u"CQYZRequestEventKey."));
    EXPECT_EQ(CountQueries(), 1u);
}

TEST_F(AdjustmentFactorsTest, ALongSymbolAndOneOfControlCharactersAreServedAsAnyOther) {
    for (const Text& strSymbol : {Text(10'000, u'x'), Text(u"../\n\u0001\"\\"), Text(u"no dots")}) {
        Request(strSymbol);
        EXPECT_EQ(GetStored(strSymbol), ENRICHED);
    }
}

TEST_F(AdjustmentFactorsTest, WithoutAServerThatAnswersTheUserHearsOfItAndTheSymbolIsDropped) {
    m_servers.Append(CRollServers::List::History, m_server.GetUrl() + u"Second.do?");
    m_server.SetAnswer("", 404);
    Request(HOT);
    EXPECT_EQ(CountQueries(), 2u);
    EXPECT_THAT(m_host.GetLog().back(), HasSubstr("PostErrorMsg:Http STATUS_CODE Fail(404)"));
    EXPECT_THAT(m_host.GetLog(), Contains(HasSubstr("DoQueryCQYZ Fail : Http STATUS_CODE Fail(404). http://")));
    Answer(FACTORS);
    Request(HOT);
    EXPECT_EQ(CountQueries(), 2u);
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    EXPECT_THAT(m_arSignals, IsEmpty());
    EXPECT_EQ(m_nArmed, 1);
}

TEST_F(AdjustmentFactorsTest, ANetworkFailureIsReportedWithItsNumber) {
    CRollServers servers;
    servers.Append(CRollServers::List::History, u"unknown://host/History.do?");
    CAdjustmentFactors factors({m_host, m_clock, m_session, m_errors, servers, m_mapping, m_resetTimes},
                               {[this] { return m_pTable; }, [] { return 0; }, [] {}, [] {}, [](const Text&) {}});
    factors.OnRequest(HOT);
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("ReportError 13 0 ")));
}

TEST_F(AdjustmentFactorsTest, TheNextServerIsAskedWhereTheFirstFails) {
    m_servers.Append(CRollServers::List::History, m_server.GetUrl() + u"Second.do?");
    m_server.SetAnswers([](const std::string& strTarget) {
        return strTarget.starts_with("/Second") ? MakeHistoryReply(FACTORS) : std::string();
    });
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT)));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(HasSubstr("PostErrorMsg"))));
}

TEST_F(AdjustmentFactorsTest, BeforeAnyServerIsKnownARequestIsDroppedWithoutAWord) {
    const CRollServers none;
    CAdjustmentFactors factors({m_host, m_clock, m_session, m_errors, none, m_mapping, m_resetTimes},
                               {[this] { return m_pTable; }, [] { return 0; }, [] {}, [] {}, [](const Text&) {}});
    factors.OnRequest(HOT);
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    EXPECT_THAT(m_host.GetSaid(), SizeIs(2)) << "the request and its command";
}

TEST_F(AdjustmentFactorsTest, AQueryThatAStopCutsShortTellsNobodyAndIsMadeAgain) {
    m_server.Hang();
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("Request", [this] { Request(HOT); }));
    m_server.WaitForQuery();
    thread.StopAndJoin();
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(HasSubstr("PostErrorMsg"))));
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    EXPECT_THAT(m_arSignals, IsEmpty());
    EXPECT_EQ(m_nArmed, 0);
    m_server.Release();
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT)));
}

TEST_F(AdjustmentFactorsTest, AStopEndsTheTakingApartOfAReplyAndNobodyIsToldOfIt) {
    constexpr std::size_t LARGE = std::size_t{200} << 20;
    const CScratchFolder temporary;
    const CEnvironment folder("TMPDIR", temporary.GetPath().string());
    const std::string strLarge = MakeReplyOfGzip(GzipOfOneLetter(LARGE, '1'));
    std::stop_source stop;
    stop.request_stop();
    const platform::CStopScope scope(stop.get_token());
    const auto start = std::chrono::steady_clock::now();
    m_factors.TakeReply(HOT, strLarge);
    EXPECT_LT(std::chrono::steady_clock::now() - start, STOP_LIMIT);
    m_factors.TakeReply(HOT, MakeHistoryReply(FACTORS));
    EXPECT_THAT(m_host.GetSaid(), IsEmpty());
    EXPECT_THAT(m_host.TakeTopics(), IsEmpty());
    EXPECT_THAT(m_arSignals, IsEmpty());
    EXPECT_TRUE(std::filesystem::is_empty(temporary.GetPath()));
}

TEST_F(AdjustmentFactorsTest, AfterAFailureOfTheTableTheSymbolMayBeAskedForAgain) {
    m_onSignal = [] { throw CFailure(CFailure::UNSPECIFIED); };
    EXPECT_THROW(Request(HOT), CFailure);
    m_onSignal = [] {};
    Request(HOT);
    EXPECT_THAT(m_host.TakeTopics(), ElementsAre(Saved(HOT)));
}

TEST_F(AdjustmentFactorsTest, ManySymbolsAreAnsweredInTheirOrder) {
    constexpr std::size_t SYMBOLS = 200;
    for (std::size_t i = 0; i < SYMBOLS; ++i) Request(Format(u"QV.S.SSE.%06d", i));
    const auto arTopics = m_host.TakeTopics();
    ASSERT_EQ(arTopics.size(), SYMBOLS);
    for (std::size_t i = 0; i < SYMBOLS; ++i) {
        EXPECT_EQ(arTopics[i], Narrow(Format(u"1 QV.S.SSE.%06d ", i)) + ENRICHED);
    }
}

}  // namespace
}  // namespace qvant::test
