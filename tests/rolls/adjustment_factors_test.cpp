#include "rolls/adjustment_factors.h"

#include <chrono>
#include <filesystem>
#include <stop_token>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/failure.h"
#include "base/format.h"
#include "documents/answering_server.h"
#include "platform/stop.h"
#include "platform/thread.h"
#include "support/driven_clock.h"
#include "support/history_reply.h"
#include "support/listening_host.h"
#include "support/scratch_folder.h"

namespace qvant::test {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;

constexpr std::int64_t HOUR = 3'600'000;
constexpr const char* FACTORS = R"({"data":[{"od":20201218,"t":93000000,"sxd":0.00012}]})";
const std::string ENRICHED = R"({"data":[{"od":20201218,"t":93000000,"sxd":0.00012,"odt_utc":20201218013000}]})";
constexpr const char16_t* HOT = u"QV.F.CME.ES.HOT";
constexpr const char16_t* STOCK = u"QV.S.SSE.600001";

/// Remembers the topics with what they carry, in one line each: "1 QV.F.CME.ES.HOT {...}".
class CTopicHost : public CListeningHost {
public:
    void SendTopic(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                   VARIANT* pData) override {
        const std::lock_guard lock(m_mutex);
        EXPECT_EQ(strTopic, u"API_CQYZ.INFO");
        EXPECT_EQ(nType, 1);
        const Text strData =
            pData->vt == VT_EMPTY ? Text(u"(empty)") : Text(pData->bstrVal, SysStringLen(pData->bstrVal));
        m_arTopics.push_back(Narrow(Format(u"%d %s %s", nParameter, strText, strData)));
    }
    /// The topics since the last call.
    std::vector<std::string> TakeTopics() {
        const std::lock_guard lock(m_mutex);
        return std::exchange(m_arTopics, {});
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_arTopics;
};

/// Runs what the test wants, once, when it is asked for the time.
class CInterruptingClock : public CDrivenClock {
public:
    using CDrivenClock::CDrivenClock;
    mutable std::function<void()> m_onNow;
    std::int64_t NowMilliseconds() const override {
        if (const auto onNow = std::exchange(m_onNow, nullptr)) onNow();
        return CDrivenClock::NowMilliseconds();
    }
};

class AdjustmentFactorsTest : public ::testing::Test {
protected:
    AdjustmentFactorsTest() {
        m_pTable = &m_host.MakeTable(u"CQYZ");
        m_servers.Append(CRollServers::List::History, m_server.GetUrl() + u"History.do?");
        m_server.SetAnswer(MakeHistoryReply(FACTORS));
    }

    void Request(const Text& strSymbol) { m_factors.OnRequest(strSymbol); }
    void Fail() { m_server.SetAnswer("", 503); }
    void Answer(std::string_view strJson) { m_server.SetAnswer(MakeHistoryReply(strJson)); }
    void MoveClock(std::int32_t nHhmmss) {
        m_nSystemTime = nHhmmss;
        m_factors.OnClock();
    }
    std::size_t CountQueries() const { return m_server.GetTargets().size(); }
    std::string GetStored(TextView strSymbol) { return Narrow(m_host.Get(u"CQYZ", strSymbol)); }
    static std::string Saved(const char16_t* pszSymbol, const std::string& strText = ENRICHED) {
        return "1 " + Narrow(pszSymbol) + " " + strText;
    }

    const CEnvironment m_zone{"TZ", "UTC"};
    CTopicHost m_host;
    CAnsweringServer m_server;
    CInterruptingClock m_clock{platform::FromUtc({.nYear = 2026, .nMonth = 11, .nDay = 20, .nHour = 6})};
    CSession m_session{m_clock};
    CErrorReport m_errors{m_host, m_clock};
    CRollServers m_servers;
    CSymbolMapping m_mapping{m_host};
    CResetTimes m_resetTimes;
    CBaseData* m_pTable = nullptr;
    std::int32_t m_nSystemTime = 0;
    int m_nArmed = 0;
    int m_nStopped = 0;
    std::function<void()> m_onSignal = [] {};
    std::vector<Text> m_arSignals;
    CAdjustmentFactors m_factors{{m_host, m_clock, m_session, m_errors, m_servers, m_mapping, m_resetTimes},
                                 {[this] { return m_pTable; }, [this] { return m_nSystemTime; }, [this] { ++m_nArmed; },
                                  [this] { ++m_nStopped; },
                                  [this](const Text& strName) {
                                      m_arSignals.push_back(strName);
                                      m_onSignal();
                                  }}};
};

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
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
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
        m_clock.m_onNow = [this, &arTopics] {
            m_factors.CheckExpireCQYZ(800);
            arTopics = m_host.TakeTopics();
        };
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

TEST_F(AdjustmentFactorsTest, ManySymbolsAreAnsweredInTheirOrder) {
    constexpr std::size_t SYMBOLS = 200;
    for (std::size_t i = 0; i < SYMBOLS; ++i) Request(Format(u"QV.S.SSE.%06d", i));
    const auto arTopics = m_host.TakeTopics();
    ASSERT_EQ(arTopics.size(), SYMBOLS);
    for (std::size_t i = 0; i < SYMBOLS; ++i) {
        EXPECT_EQ(arTopics[i], Narrow(Format(u"1 QV.S.SSE.%06d ", i)) + ENRICHED);
    }
}

TEST_F(AdjustmentFactorsTest, ExpiryAndRequestsMayRunAtOnce) {
    platform::CThread timer;
    std::atomic<bool> bDone = false;
    ASSERT_TRUE(timer.Start("Timer800", [&] {
        while (!bDone) m_factors.CheckExpireCQYZ(800);
    }));
    for (int i = 0; i < 200; ++i) {
        Request(i % 2 == 0 ? HOT : STOCK);
        if (i % 10 == 0) m_clock.Pass(HOUR);
    }
    bDone = true;
    timer.Wait();
    EXPECT_THAT(m_host.TakeTopics(), Contains(EndsWith("(empty)")));
}

}  // namespace
}  // namespace qvant::test
