#include "rolls/last_bars.h"

#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"
#include "platform/thread.h"
#include "rolls/history_server.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"
#include "symbols/manual_clock.h"
#include "symbols/symbol_grammar.h"

namespace qvant::test {

using ::testing::ContainerEq;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* TOPIC = "SendTopic API_UpdateUDHotMonth 1 2 QV.F.CME.ES.HOT_MINE";

class LastBarsTest : public ::testing::Test {
protected:
    ~LastBarsTest() override { g_mapISymbolToQV.RemoveAll(); }

    void AskServers(const std::vector<Text>& arUrls) {
        for (const Text& strUrl : arUrls) m_servers.Append(CRollServers::List::History, strUrl);
    }

    static UDHMRoll MakeRoll(TextView strMonth, std::int64_t nMoment) {
        return {Concatenate({u"QV.F.CME.ES.", strMonth}), nMoment};
    }
    UDHMNode MakeNode(std::vector<UDHMRoll> rolls) const {
        return {1'608'429'600, u"QV.F.CME.ES.HOT_MINE", std::move(rolls), m_folder / "series.ba"};
    }
    std::int32_t Query(std::vector<UDHMRoll> rolls) {
        const UDHMNode node = MakeNode(std::move(rolls));
        return m_bars.QueryLastK(&node);
    }
    std::string GetCompanion() const { return m_folder.Read("series.ba"); }

    Text ParseBytes(std::string_view strBytes) {
        ReplyBuffer pReply(new std::uint8_t[strBytes.size() + 1]());
        std::copy(strBytes.begin(), strBytes.end(), pReply.get());
        return m_bars.ParseLastK(std::move(pReply), static_cast<std::uint32_t>(strBytes.size() + 1));
    }
    Text Parse(std::string_view strJson) { return ParseBytes(MakeHistoryReply(strJson)); }
    /// The close of the only bar of a reply, 17:00 in China on 2020-12-11, written so.
    std::int64_t ParseClose(const std::string& strClose) {
        Parse("{\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":202012111700,\"c\":" + strClose + "}]}");
        return m_bars.GetClose(u"QV.F.CME.ES.202012", 20201211090000);
    }

    CEnvironment m_zone{"TZ", "Asia/Taipei"};
    CScratchFolder m_folder;
    CManualClock m_clock{2020, 12, 20, 10, 0, 0};
    CTestHost m_host;
    CSession m_session{m_clock};
    CRollServers m_servers;
    CSymbolMapping m_mapping{m_host};
    std::int64_t m_nNow = 20201221083000;
    CLastBars m_bars{{m_host, m_session, m_servers, m_mapping}, [this] { return m_nNow; }};
};

TEST_F(LastBarsTest, NoSeriesIsNoWork) {
    EXPECT_EQ(m_bars.QueryLastK(nullptr), 0);
    EXPECT_THAT(m_host.GetSaid(), IsEmpty());
}

TEST_F(LastBarsTest, ARollThatHasComeIsAskedForAndItsGapWritten) {
    CHistoryServer server(
        {{{"I.F.CME.ES.202012", 202012111700}, "3663.25"}, {{"I.F.CME.ES.202103", 202012111700}, "3657.5"}});
    AskServers({server.GetUrl()});
    EXPECT_EQ(Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)}), 1);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->-57500000000\n");
    EXPECT_THAT(server.GetCommands(),
                ElementsAre("{\"s\":\"HistoryData\",\"c\":\"lastk\",\"r\":\"QueryLastK__180000000A\",\"d\":{\"s\":{"
                            "\"I.F.CME.ES.202012\":[202012111700],\"I.F.CME.ES.202103\":[202012111700]}}}"));
    const auto arSaid = m_host.GetSaid();
    ASSERT_EQ(arSaid.size(), 4u);
    EXPECT_EQ(arSaid[0], "WriteLog " + Narrow(server.GetUrl()) +
                             server.GetServer().GetTargets()[0].substr(std::size("/History.do")));
    EXPECT_EQ(arSaid[1],
              "WriteLog {\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":202012111700,\"c\":3663.25},"
              "{\"s\":\"I.F.CME.ES.202103\",\"dm\":202012111700,\"c\":3657.5}]}");
    EXPECT_EQ(arSaid[2], "WriteLog QueryLastK End. Symbol=QV.F.CME.ES.HOT_MINE.");
    EXPECT_EQ(arSaid[3], TOPIC);
}

TEST_F(LastBarsTest, ASeriesWithOneRollHasOnlyTheFirstLine) {
    CHistoryServer server;
    AskServers({server.GetUrl()});
    EXPECT_EQ(Query({MakeRoll(u"202012", 20201211090000)}), 1);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n");
    EXPECT_EQ(Query({}), 1);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n");
    EXPECT_THAT(server.GetCommands(), IsEmpty());
    EXPECT_THAT(m_host.GetSaid(), Contains(TOPIC).Times(2));
}

TEST_F(LastBarsTest, AFutureRollIsWrittenWithoutAGapAndNotAskedFor) {
    CHistoryServer server;
    AskServers({server.GetUrl()});
    Query({MakeRoll(u"202012", 20201221083100), MakeRoll(u"202103", 20210312090000)});
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201221083100->\n");
    EXPECT_THAT(server.GetCommands(), IsEmpty());
}

TEST_F(LastBarsTest, TheQuestionGoesByMinutesAndTheGapBySeconds) {
    CHistoryServer server({{{"I.F.CME.ES.202012", 202012211630}, "1.5"}, {{"I.F.CME.ES.202103", 202012211630}, "2.5"}});
    AskServers({server.GetUrl()});
    m_nNow = 20201221083010;
    Query({MakeRoll(u"202012", 20201221083030), MakeRoll(u"202103", 20210312090000)});
    EXPECT_EQ(server.GetCommands().size(), 1u);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201221083030->\n");

    m_nNow = 20201221083000;
    Query({MakeRoll(u"202012", 20201221083000), MakeRoll(u"202103", 20210312090000)});
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201221083000->10000000000\n");
}

TEST_F(LastBarsTest, BothClosesAreThoseAtTheMomentOfTheFirst) {
    CHistoryServer server({{{"I.F.CME.ES.202009", 202006191700}, "1.25"},
                           {{"I.F.CME.ES.202012", 202006191700}, "1.5"},
                           {{"I.F.CME.ES.202012", 202009181700}, "7.5"},
                           {{"I.F.CME.ES.202103", 202009181700}, "7.0"}});
    AskServers({server.GetUrl()});
    Query({MakeRoll(u"202009", 20200619090000), MakeRoll(u"202012", 20200918090000),
           MakeRoll(u"202103", 20201211090000)});
    EXPECT_EQ(GetCompanion(),
              "UDHMLastWriteTime=20201220100000\n20200619090000->2500000000\n20200918090000->-5000000000\n");
    ASSERT_EQ(server.GetCommands().size(), 1u);
    EXPECT_THAT(server.GetCommands()[0], HasSubstr("\"d\":{\"s\":{\"I.F.CME.ES.202009\":[202006191700],"
                                                   "\"I.F.CME.ES.202012\":[202006191700,202009181700],"
                                                   "\"I.F.CME.ES.202103\":[202009181700]}}}"));
}

TEST_F(LastBarsTest, ElevenContractsMakeTwoBatches) {
    CHistoryServer server;
    AskServers({server.GetUrl()});
    std::vector<UDHMRoll> rolls;
    for (int i = 1; i <= 11; ++i) rolls.push_back(MakeRoll(Format(u"2020%02d", i), 20200000090000 + i * 100000000LL));
    Query(rolls);
    const auto arCommands = server.GetCommands();
    ASSERT_EQ(arCommands.size(), 2u);
    EXPECT_THAT(arCommands[0], HasSubstr("\"I.F.CME.ES.202001\":["));
    EXPECT_THAT(arCommands[0], HasSubstr("\"I.F.CME.ES.202010\":["));
    EXPECT_THAT(arCommands[0], Not(HasSubstr("202011\"")));
    EXPECT_THAT(arCommands[1], HasSubstr("QueryLastK__180000000B\",\"d\":{\"s\":{\"I.F.CME.ES.202011\":["));
    EXPECT_THAT(arCommands[1], Not(HasSubstr("202010\"")));
}

TEST_F(LastBarsTest, TenContractsMakeOneBatch) {
    CHistoryServer server;
    AskServers({server.GetUrl()});
    std::vector<UDHMRoll> rolls;
    for (int i = 1; i <= 10; ++i) rolls.push_back(MakeRoll(Format(u"2020%02d", i), 20200000090000 + i * 100000000LL));
    Query(rolls);
    EXPECT_EQ(server.GetCommands().size(), 1u);
}

TEST_F(LastBarsTest, AServerIsAskedByItsOwnCodesAndItsAnswerFindsTheWayBack) {
    {
        CBaseData& table = m_host.MakeTable(u"Security.Info");
        OpenChild(table, u"QV.F.CME");
        const auto pGroup = m_host.Open(u"Security.Info")->GetSubTable(u"QV.F.CME", nullptr);
        CTransaction transaction(*pGroup);
        transaction.SetValue(u"QV.F.CME.ES", u"{\"Symbol.mo\":\"EMD\",\"EXG.mo\":\"GLOBEX\",\"Symbol.HX2\":\"x\"}");
        transaction.Commit();
    }
    CHistoryServer server(
        {{{"I.F.GLOBEX.EMD.202012", 202012111700}, "1.5"}, {{"I.F.GLOBEX.EMD.202103", 202012111700}, "2.0"}});
    AskServers({server.GetUrl()});
    Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)});
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->5000000000\n");
}

TEST_F(LastBarsTest, AServerThatFailsIsFollowedByTheNextWithAnIdOfItsOwn) {
    CHistoryServer broken;
    broken.GetServer().SetAnswer("", 500);
    CHistoryServer server({{{"I.F.CME.ES.202012", 202012111700}, "1.5"}, {{"I.F.CME.ES.202103", 202012111700}, "2.0"}});
    AskServers({broken.GetUrl(), server.GetUrl()});
    Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)});
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->5000000000\n");
    EXPECT_THAT(broken.GetCommands(), ElementsAre(HasSubstr("QueryLastK__180000000A")));
    EXPECT_THAT(server.GetCommands(), ElementsAre(HasSubstr("QueryLastK__180000000B")));
    EXPECT_THAT(m_host.GetLog()[1], StartsWith("DoQueryLastK Fail : "));
    EXPECT_THAT(m_host.GetLog()[1], HasSubstr(". " + Narrow(broken.GetUrl())));
}

TEST_F(LastBarsTest, WithoutAServerTheGapsStayOpenAndTheUserIsNotTold) {
    CHistoryServer broken;
    broken.GetServer().SetAnswer("", 500);
    AskServers({broken.GetUrl(), broken.GetUrl()});
    EXPECT_EQ(Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)}), 1);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->\n");
    EXPECT_EQ(m_host.GetSaid().back(), TOPIC);
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("ParseLastK"))));
}

TEST_F(LastBarsTest, WithoutAnyUrlNobodyIsAsked) {
    Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)});
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->\n");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("QueryLastK End. Symbol=QV.F.CME.ES.HOT_MINE."));
}

TEST_F(LastBarsTest, ACloseThatOneMonthLacksLeavesTheGapOpenUntilItIsThere) {
    CHistoryServer half({{{"I.F.CME.ES.202012", 202012111700}, "1.5"}});
    AskServers({half.GetUrl()});
    const std::vector<UDHMRoll> rolls = {MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)};
    Query(rolls);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->\n");
    Parse("{\"data\":[{\"s\":\"I.F.CME.ES.202103\",\"dm\":202012111700,\"c\":1.75}]}");
    Query(rolls);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->2500000000\n");
}

TEST_F(LastBarsTest, AGapBeyondSixtyFourBitsIsNone) {
    CHistoryServer server(
        {{{"I.F.CME.ES.202012", 202012111700}, "9e8"}, {{"I.F.CME.ES.202103", 202012111700}, "-9e8"}});
    AskServers({server.GetUrl()});
    Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)});
    EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 20201211090000), 9'000'000'000'000'000'000);
    EXPECT_EQ(GetCompanion(), "UDHMLastWriteTime=20201220100000\n20201211090000->\n");
}

TEST_F(LastBarsTest, RollsThatAreNoDateAndTimeGoThroughWithoutAFailure) {
    CHistoryServer server;
    AskServers({server.GetUrl()});
    EXPECT_EQ(Query({MakeRoll(u"a", 20200309), MakeRoll(u"b", 202003093000), MakeRoll(u"c", 2020030940000),
                     MakeRoll(u"d", -5), MakeRoll(u"e", NO_PRICE), MakeRoll(u"f", 9'223'372'036'854'775'807)}),
              1);
    EXPECT_EQ(GetCompanion(),
              "UDHMLastWriteTime=20201220100000\n20200309->\n202003093000->\n2020030940000->\n-5->\n"
              "-9223372036854775808->\n");
    ASSERT_EQ(server.GetCommands().size(), 1u);
    EXPECT_THAT(server.GetCommands()[0], HasSubstr("\"I.F.CME.ES.a\":[101010800],"));
}

TEST_F(LastBarsTest, ACompanionThatCanNotBeWrittenStaysAndTheTopicGoesOut) {
    std::filesystem::create_directories(m_folder.GetPath() / "series.ba");
    EXPECT_EQ(Query({MakeRoll(u"202012", 20210312090000)}), 1);
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.GetPath() / "series.ba"));
    EXPECT_TRUE(m_host.HasLogged("QueryLastK End. Symbol=QV.F.CME.ES.HOT_MINE."));
    EXPECT_EQ(m_host.GetSaid().back(), TOPIC);
}

TEST_F(LastBarsTest, AStopDuringTheQuestionLeavesTheCompanionAndTellsNobody) {
    m_folder.Write("series.ba", "old\n");
    CHistoryServer server;
    server.GetServer().Hang();
    AskServers({server.GetUrl(), server.GetUrl()});
    std::int32_t nResult = 0;
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("LastBars", [&] {
        nResult = Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)});
    }));
    server.GetServer().WaitForQuery();
    thread.StopAndJoin();
    EXPECT_EQ(nResult, 1);
    EXPECT_EQ(GetCompanion(), "old\n");
    EXPECT_EQ(server.GetCommands().size(), 1u);
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(TOPIC)));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("QueryLastK End"))));
}

TEST_F(LastBarsTest, AStopDuringThePausesBeforeABusyCompanionTellsNobody) {
    std::filesystem::create_directories(m_folder.GetPath() / "series.ba");
    CHistoryServer server;
    AskServers({server.GetUrl()});
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("LastBars", [&] {
        Query({MakeRoll(u"202012", 20201211090000), MakeRoll(u"202103", 20210312090000)});
    }));
    ASSERT_TRUE(m_host.WaitForLog("\"data\""));
    thread.StopAndJoin();
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(TOPIC)));
}

TEST_F(LastBarsTest, ClosesAreRoundedHalfAwayFromZero) {
    EXPECT_EQ(ParseClose("0.1"), 1'000'000'000);
    EXPECT_EQ(ParseClose("-0.1"), -1'000'000'000);
    EXPECT_EQ(ParseClose("3663.25"), 36'632'500'000'000);
    EXPECT_EQ(ParseClose("0.00000000005"), 1);
    EXPECT_EQ(ParseClose("-0.00000000005"), -1);
    EXPECT_EQ(ParseClose("0.00000000004"), 0);
    EXPECT_EQ(ParseClose("0.0"), 0);
    EXPECT_EQ(ParseClose("-0.0"), 0);
    EXPECT_EQ(ParseClose("1e0"), 10'000'000'000);
}

TEST_F(LastBarsTest, WhatIsNoCloseIsKeptAsNone) {
    for (const char* psz : {"1", "-1", "0", "\"1.5\"", "null", "true", "[1.5]", "{}", "12345678901234567890"}) {
        ASSERT_EQ(ParseClose("2.5"), 25'000'000'000);
        EXPECT_EQ(ParseClose(psz), NO_PRICE) << psz;
    }
    Parse("{\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":202012111700}]}");
    EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 20201211090000), NO_PRICE);
}

TEST_F(LastBarsTest, ACloseBeyondSixtyFourBitsIsNone) {
    for (const char* psz : {"1e9", "-1e9", "922337203.6854775807", "-922337203.6854775808", "1e300", "-1e308"}) {
        ASSERT_EQ(ParseClose("2.5"), 25'000'000'000);
        EXPECT_EQ(ParseClose(psz), NO_PRICE) << psz;
    }
    EXPECT_EQ(ParseClose("922337203.0"), 9'223'372'030'000'000'000);
    EXPECT_EQ(ParseClose("-922337203.0"), -9'223'372'030'000'000'000);
}

TEST_F(LastBarsTest, AMinuteThatIsNoneGoesUnderTheMomentOfNoDate) {
    for (const char* psz : {"\"202012111700\"", "1.5", "null", "92233720368547758070", "9223372036854775807",
                            "-9223372036854775808", "92233720368547759"}) {
        const std::string strMinute = psz;
        Parse("{\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":1,\"c\":0.5}]}");
        Parse("{\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":" + strMinute + ",\"c\":1.5}]}");
        EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 0), 15'000'000'000) << strMinute;
    }
}

TEST_F(LastBarsTest, MinutesOfChinaBecomeMomentsOfUtc) {
    Parse("{\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":202101010030,\"c\":1.5}]}");
    EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 20201231163000), 15'000'000'000);
    EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 20210101003000), NO_PRICE);
}

TEST_F(LastBarsTest, OddElementsAreIgnoredAndTheOthersKept) {
    Parse(
        "{\"data\":[1,null,\"x\",[],{},{\"s\":7,\"dm\":202012111700,\"c\":9.5},"
        "{\"s\":\"I.F.CME.ES.202012\",\"dm\":202012111700,\"c\":1.5,\"more\":{\"s\":[]}}]}");
    EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 20201211090000), 15'000'000'000);
}

TEST_F(LastBarsTest, TheReplysTextIsLoggedAsItCameAndGivenBackCompact) {
    EXPECT_EQ(Parse(" { \"data\" : [ ] , \"n\" : \"\xC3\xA9\" } "), u"{\"data\":[],\"n\":\"\u00E9\"}");
    EXPECT_THAT(m_host.GetLog(), ElementsAre(" { \"data\" : [ ] , \"n\" : \"\xC3\xA9\" } "));
    EXPECT_EQ(Parse("{\"data\":7}"), u"{\"data\":7}");
    EXPECT_EQ(Parse("[{\"data\":[]}]"), u"[{\"data\":[]}]");
}

TEST_F(LastBarsTest, AReplyWithoutAJsonTextIsLoggedAndDropped) {
    const std::string strReply = MakeHistoryReply("{\"data\":[]}");
    EXPECT_EQ(ParseBytes(strReply.substr(1)), u"");
    EXPECT_EQ(ParseBytes(""), u"");
    EXPECT_EQ(ParseBytes("B"), u"");
    EXPECT_EQ(ParseBytes("{\"data\":[]}"), u"");
    EXPECT_EQ(ParseBytes(strReply.substr(0, strReply.size() / 2)), u"");
    EXPECT_EQ(m_host.GetLog(), std::vector<std::string>(5, "ParseLastK. Fail. strData=."));
}

TEST_F(LastBarsTest, NoReplyIsNotEvenLogged) {
    EXPECT_EQ(m_bars.ParseLastK(nullptr, 0), u"");
    EXPECT_THAT(m_host.GetSaid(), IsEmpty());
}

TEST_F(LastBarsTest, TextThatIsNoJsonIsLoggedAndGivesNothing) {
    EXPECT_EQ(Parse("{\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":202012111700,\"c\":1.5}"), u"");
    EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 20201211090000), NO_PRICE);
    EXPECT_EQ(Parse(std::string(100'000, '[')), u"");
    EXPECT_EQ(m_host.GetLog().size(), 2u);
}

TEST_F(LastBarsTest, DamagedRepliesOfEveryKindCostNothing) {
    ASSERT_EQ(ParseClose("1.5"), 15'000'000'000);
    const std::string strReply =
        MakeHistoryReply("{\"data\":[{\"s\":\"I.F.CME.ES.202012\",\"dm\":202012111701,\"c\":9.5}]}");
    for (std::size_t i = 0; i < strReply.size(); ++i) {
        std::string strDamaged = strReply;
        strDamaged[i] = static_cast<char>(strDamaged[i] ^ 0x55);
        ParseBytes(strDamaged);
        ParseBytes(std::string_view(strReply).substr(0, i));
    }
    EXPECT_EQ(m_bars.GetClose(u"QV.F.CME.ES.202012", 20201211090000), 15'000'000'000);
}

}  // namespace qvant::test
