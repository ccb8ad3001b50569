// The words that ask for a product's rolls and expiry dates.
#include <csignal>

#include "system/answers.h"
#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* HOT = "HOTCHANGE.REQUEST";
constexpr const char* EXPIRY = "EXPIREDATE.REQUEST";
constexpr const char* ROLLS = "210000\r\n20201211->202103\r\n20200911->202012\r\n20200612->202009\r\n";

class HostRolls : public HostTest {
protected:
    std::string HotFile(const std::string& strKey) const {
        return (m_home.GetPath() / "common/Qvant/HotChange" / (strKey + ".HOT.txt")).string();
    }
    std::string ExpiryFile(const std::string& strKey) const {
        return (m_home.GetPath() / "common/Qvant/ExpireDate" / (strKey + ".txt")).string();
    }
    void WriteHotFile(const std::string& strContent) const {
        m_home.Write("common/Qvant/HotChange/QV.F.CME.ES.HOT.txt", strContent);
    }
    /// What the service does for one symbol when its servers answer.
    std::string AnswerBoth(const std::string& strTopic) const {
        return AnswerTo(strTopic,
                        {Log("QueryHotChange. strSymbol=$."), WriteFile(HotFile("QV.F.CME.ES"), ROLLS), Send(HOT, 1),
                         Log("QueryHotChange End. strSymbol=$."), Log("QueryExpireDate. strSymbol=$."),
                         WriteFile(ExpiryFile("QV.F.CME.ES"), "0\r\n20201218->202012\r\n20210319->202103\r\n"),
                         Send(EXPIRY, 1), Log("QueryExpireDate End. strSymbol=$.")},
                        Times::Once);
    }
    /// A host whose module answers the hot-change topic with these lines of the log.
    CHostProcess& StartFailing(std::initializer_list<std::string> arSteps) {
        CHostProcess& host = Start();
        host.Ask(AnswerTo(HOT, arSteps));
        return host;
    }
};

TEST_F(HostRolls, AreShownToAPersonWithTheResetTimeInLocalTime) {
    const CEnvironment zone("TZ", "Asia/Taipei");
    EXPECT_THAT(RunWords("clock 20260105 0\n" + AnswerBoth(HOT) + "rolls QV.F.CME.ES\n"),
                AllOf(HasSubstr("  key        QV.F.CME.ES\n"
                                "  reset      05:00\n"
                                "  reset utc  21:00\n"
                                "  zone       UTC+08:00\n"
                                "  saved      20"),
                      HasSubstr("3 rolls\n"
                                "  from            month\n"
                                "  2020-12-11 Fri  202103\n"
                                "  2020-09-11 Fri  202012\n"
                                "  2020-06-12 Fri  202009\n"),
                      Not(HasSubstr("note"))));
}

TEST_F(HostRolls, AreMembersForMachines) {
    const CEnvironment zone("TZ", "America/Chicago");
    CHostProcess& host = Start();
    host.Ask("clock 20260705 0");
    host.Ask(AnswerBoth(HOT));
    const rapidjson::Document reply = host.Ask(R"({"do":"rolls","symbol":"QV.F.CME.ES.HOT","first":2})");
    EXPECT_EQ(ToJson(reply["rolls"]),
              R"({"total":3,"rows":[{"from":20201211,"month":"202103"},{"from":20200911,"month":"202012"}]})");
    EXPECT_THAT(ToJson(reply["product"]),
                MatchesRegex(R"(\{"key":"QV\.F\.CME\.ES","reset":"16:00","reset_utc":"21:00","zone":"UTC-05:00",)"
                             R"("saved":20[0-9]+,"note":null\})"));
}

TEST_F(HostRolls, HaveTheirTwinInTheExpiryDates) {
    CHostProcess& host = Start();
    host.Ask(AnswerBoth(EXPIRY));
    const rapidjson::Document reply = host.Ask("expiry QV.F.CME.ES");
    EXPECT_EQ(ToJson(reply["expiry"]),
              R"({"total":2,"rows":[{"month":"202012","expiry":20201218},{"month":"202103","expiry":20210319}]})");
    EXPECT_TRUE(reply["product"]["reset"].IsNull());
    EXPECT_TRUE(reply["product"]["reset_utc"].IsNull());
}

TEST_F(HostRolls, AreNotWaitedForWhenTheyWereAskedForBefore) {
    CHostProcess& host = Start();
    host.Ask(AnswerBoth(HOT));
    host.Ask("rolls QV.F.CME.ES");
    // The service answers no second time, and the wait would be longer than this test may take.
    const rapidjson::Document reply = host.Ask("rolls QV.F.CME.ES timeout 2000000000");
    EXPECT_EQ(reply["rolls"]["total"].GetInt(), 3);
    EXPECT_TRUE(reply["product"]["note"].IsNull());
    EXPECT_EQ(host.Ask("expiry QV.F.CME.ES timeout 2000000000")["expiry"]["total"].GetInt(), 2);
}

TEST_F(HostRolls, AreWaitedForAgainOnceTheServiceHasStartedAnew) {
    CHostProcess& host = Start();
    host.Ask(AnswerBoth(HOT));
    host.Ask("rolls QV.F.CME.ES");
    host.Ask("topic register 0 0 HOTCHANGE.REQUEST");
    host.Ask(AnswerTo(HOT, {WriteFile(HotFile("QV.F.CME.ES"), "0\r\n20210611->202109\r\n"), Send(HOT, 1)}));
    const rapidjson::Document reply = host.Ask("rolls QV.F.CME.ES timeout 2000000000");
    EXPECT_EQ(ToJson(reply["rolls"]), R"({"total":1,"rows":[{"from":20210611,"month":"202109"}]})");
    EXPECT_TRUE(reply["product"]["note"].IsNull());
}

TEST_F(HostRolls, OfAnEarlierRunStandInForAnAnswerThatDoesntCome) {
    WriteHotFile(ROLLS);
    CHostProcess& host = Start();
    const rapidjson::Document silent = host.Ask("rolls QV.F.CME.ES timeout 20");
    EXPECT_EQ(silent["rolls"]["total"].GetInt(), 3);
    EXPECT_STREQ(silent["product"]["note"].GetString(), "of an earlier answer; now: no answer in 20 ms");
    host.Ask(AnswerTo(HOT, {Log("QueryHotChange. strSymbol=$."), Log("QueryHotChange Fail. strMsg=Error : 12029"),
                            Log("QueryHotChange End. strSymbol=$.")}));
    const rapidjson::Document failed = host.Ask("rolls QV.F.CME.ES timeout 2000000000");
    EXPECT_EQ(failed["rolls"]["total"].GetInt(), 3);
    EXPECT_STREQ(failed["product"]["note"].GetString(), "of an earlier answer; now: strMsg=Error : 12029");
}

TEST_F(HostRolls, SayWhyThereAreNone) {
    const std::string strBegin = Log("QueryHotChange. strSymbol=$.");
    const std::string strEnd = Log("QueryHotChange End. strSymbol=$.");
    const char* const pszAsk = "rolls QV.F.CME.ES timeout 2000000000";
    const std::string strNone = R"(no rolls of "QV.F.CME.ES": )";
    EXPECT_EQ(StartFailing({strBegin, Log("QueryHotChange Empty."), strEnd}).AskForError(pszAsk),
              strNone + "the server has none");
    EXPECT_EQ(
        StartFailing({strBegin, Log("QueryHotChange Fail. strMsg=one"), Log("QueryHotChange Fail. strMsg=two"), strEnd})
            .AskForError(pszAsk),
        strNone + "strMsg=two");
    EXPECT_EQ(StartFailing({strBegin, Log("QueryHotChange. OpenFile fail. strPath=p, GetLastError()=13."), strEnd})
                  .AskForError(pszAsk),
              strNone + "strPath=p, GetLastError()=13.");
    EXPECT_EQ(StartFailing({Log("QueryHotChange Fail. strMsg=of another"), strBegin, strEnd}).AskForError(pszAsk),
              strNone + "the service has no server to ask");
    EXPECT_EQ(StartFailing({Send(HOT, 1)}).AskForError(pszAsk), strNone + "the answer came, but its file isn't there");
}

TEST_F(HostRolls, SayThatTheServerIsSilent) {
    CHostProcess& host = StartFailing({Log("QueryHotChange. strSymbol=$.")});
    EXPECT_EQ(host.AskForError("rolls QV.F.CME.NQ timeout 30"), R"(no rolls of "QV.F.CME.NQ": no answer in 30 ms)");
    host.Ask(AnswerTo(HOT, {Log("QueryHotChange Fail. strMsg=late")}));
    // Long enough for the line to come on a busy machine.
    EXPECT_EQ(host.AskForError("rolls QV.F.CME.YM timeout 2000"),
              R"(no rolls of "QV.F.CME.YM": no answer in 2.0 s; so far: strMsg=late)");
}

TEST_F(HostRolls, TakeOnlyTheAnswerAboutTheirSymbol) {
    CHostProcess& host = Start();
    host.Ask(AnswerTo("other", {Send(HOT, 1)}));
    host.Ask("topic other 0 0 QV.F.CME.NQ");
    host.Ask(AnswerTo(HOT, {Send(HOT, 0), Send(EXPIRY, 1), Log("QueryExpireDate End. strSymbol=$."),
                            Log("QueryHotChange End. strSymbol=QV.F.CME.$.")}));
    EXPECT_THAT(host.AskForError("rolls QV.F.CME.ES timeout 30"), EndsWith("no answer in 30 ms"));
}

TEST_F(HostRolls, AreNotAskedForAStock) {
    CHostProcess& host = Start();
    host.Ask(AnswerTo(HOT, {}));
    EXPECT_EQ(host.AskForError("rolls QV.S.SSE.600000"), R"("QV.S.SSE.600000" is a stock: stocks have no rolls)");
    EXPECT_EQ(host.AskForError("expiry QV.S.SSE.600000"),
              R"("QV.S.SSE.600000" is a stock: stocks have no expiry dates)");
    EXPECT_TRUE(host.GetEvents("WriteLog").empty()) << "nothing was sent";
}

TEST_F(HostRolls, LeaveTheFolderForNoSymbol) {
    m_home.Write("common/Qvant/secret.HOT.txt", ROLLS);
    m_home.Write("secret.HOT.txt", ROLLS);
    CHostProcess& host = Start();
    host.Ask(AnswerTo(HOT, {}));
    EXPECT_THAT(host.AskForError("rolls ../secret"), HasSubstr("names no product"));
    EXPECT_THAT(host.AskForError("rolls x.y.z./../secret"), HasSubstr("can't be a symbol"));
    EXPECT_THAT(host.AskForError("rolls x.y.z.\\..\\secret"), HasSubstr("can't be a symbol"));
    EXPECT_THAT(host.AskForError("rolls ...."), HasSubstr("names no product"));
    EXPECT_THAT(host.AskForError("rolls QV"), HasSubstr("names no product"));
    EXPECT_THAT(host.AskForError(R"({"do":"rolls","symbol":""})"), HasSubstr("names no product"));
    EXPECT_TRUE(host.GetEvents("WriteLog").empty()) << "nothing was sent";
}

TEST_F(HostRolls, StandALongSymbolAndControlCharacters) {
    const std::string strLong = "QV.F.CME." + std::string(10'000, 'y');
    CHostProcess& host = Start();
    EXPECT_THAT(host.AskForError("rolls " + strLong),
                AllOf(StartsWith("\"QV.F.CME.yyy"), EndsWith("can't be a symbol")));
    EXPECT_THAT(host.AskForError("rolls " + strLong).size(), ::testing::Lt(200u));
    EXPECT_THAT(host.AskForError(R"({"do":"rolls","symbol":"QV.F.CME.\u001b[2J\u0000"})"),
                HasSubstr("can't be a symbol"));
    EXPECT_THAT(host.AskForError("rolls QV.F.CME.ES." + std::string(10'000, 'x') + " timeout 10"),
                EndsWith("no answer in 10 ms"));
    const std::string strShown = RunWords("rolls QV.F.CME.\x1b[2J\nrolls \"QV.F.CME.E\tS\"\n");
    EXPECT_THAT(strShown, AllOf(Not(HasSubstr("\x1b")), Not(HasSubstr("\t")), HasSubstr("error: \"QV.F.CME. [2J\"")));
}

TEST_F(HostRolls, ShowADamagedFileAsFarAsItGoes) {
    CHostProcess& host = Start();
    const std::pair<std::string, std::string> CASES[] = {
        {"", R"({"total":0,"rows":[]})"},
        {"210000", R"({"total":0,"rows":[]})"},
        {"x\n20201211->202103", R"({"total":1,"rows":[{"from":20201211,"month":"202103"}]})"},
        {"0\r\nno arrow\r\n->\r\nsoon->2021\xFF\r\n",
         "{\"total\":2,\"rows\":[{\"from\":\"\",\"month\":\"\"},"
         "{\"from\":\"soon\",\"month\":\"2021\xEF\xBF\xBD\"}]}"},
        {"0\r\n-9223372036854775808->202103\r\n99999999999999999999->a->b\r\n",
         R"({"total":2,"rows":[{"from":-9223372036854775808,"month":"202103"},)"
         R"({"from":"99999999999999999999","month":"a->b"}]})"},
    };
    for (const auto& [strContent, strExpected] : CASES) {
        WriteHotFile(strContent);
        EXPECT_EQ(host.AskFor("rolls QV.F.CME.ES timeout 1", "rolls"), strExpected) << strContent;
    }
    for (const char* pszReset : {"0", "", "x", "250000", "-10000", "99999999999999999999"}) {
        WriteHotFile(pszReset);
        EXPECT_TRUE(host.Ask("rolls QV.F.CME.ES timeout 1")["product"]["reset_utc"].IsNull()) << pszReset;
    }
    WriteHotFile("003000");
    EXPECT_STREQ(host.Ask("rolls QV.F.CME.ES timeout 1")["product"]["reset_utc"].GetString(), "00:30");
}

TEST_F(HostRolls, AreRefusedWhenTheFileIsNone) {
    std::filesystem::create_directories(HotFile("QV.F.CME.ES"));
    WriteHotFile("");
    CHostProcess& host = Start();
    EXPECT_THAT(host.AskForError("rolls QV.F.CME.ES timeout 1"), HasSubstr("it isn't a file"));
    std::filesystem::remove(HotFile("QV.F.CME.ES"));
    std::filesystem::create_directories(std::filesystem::path(HotFile("QV.F.CME.ES")).parent_path());
    std::ofstream(HotFile("QV.F.CME.NQ")).close();
    std::filesystem::resize_file(HotFile("QV.F.CME.NQ"), std::uintmax_t{17} << 20);
    EXPECT_THAT(host.AskForError("rolls QV.F.CME.NQ timeout 1"), HasSubstr("it is too large"));
}

TEST_F(HostRolls, EndTheirWaitWhenTheHostIsToEnd) {
    for (const char* pszRequest : {"rolls QV.F.CME.ES timeout 2000000000", "expiry QV.F.CME.ES timeout 2000000000"}) {
        CHostProcess& host = Start();
        host.Ask(AnswerTo(HOT, {}));
        host.Ask(AnswerTo(EXPIRY, {}));
        host.Send(std::string(pszRequest) + '\n');
        EXPECT_EQ(std::string(host.ReadNext()["event"].GetString()), "WriteLog");
        host.GetProcess().Signal(SIGINT);
        EXPECT_EQ(std::string(host.ReadReply()["error"].GetString()), "the host ends");
        EXPECT_EQ(host.Finish(), 0);
    }
}

TEST_F(HostRolls, AreRefusedWithTooManyWordsOrWrongOnes) {
    CHostProcess& host = Start();
    for (const char* pszWord : {"rolls", "expiry"}) {
        const std::string strWord = pszWord;
        EXPECT_THAT(host.AskForError(strWord), StartsWith("usage: " + strWord));
        EXPECT_THAT(host.AskForError(strWord + " A B"), StartsWith("usage: " + strWord));
        EXPECT_THAT(host.AskForError(strWord + " A first"), StartsWith("usage: " + strWord));
        EXPECT_THAT(host.AskForError(strWord + " A timeout soon"), StartsWith("usage: " + strWord));
    }
    EXPECT_EQ(host.AskForError(R"({"do":"rolls"})"), R"("symbol" is missing)");
    EXPECT_EQ(host.AskForError(R"({"do":"rolls","symbol":"A","timeout_ms":-1})"),
              R"("timeout_ms" isn't a number of milliseconds)");
}

}  // namespace

}  // namespace qvant::test
