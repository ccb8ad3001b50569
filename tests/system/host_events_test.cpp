#include <csignal>

#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class HostEvents : public HostTest {};

TEST_F(HostEvents, AreNumberedFromOneAndComeBeforeTheReplyOfTheCallThatFiredThem) {
    CHostProcess& host = Start();
    host.Send("topic log 0 2 hello\n");
    const rapidjson::Document first = host.ReadNext();
    EXPECT_EQ(first["n"].GetInt(), 1);
    EXPECT_GE(first["ms"].GetInt(), 0);
    EXPECT_THAT(ToJson(first), ::testing::MatchesRegex(R"(\{"event":"WriteLog","n":1,"ms":[0-9]+,"line":"hello"\})"));
    EXPECT_EQ(host.ReadNext()["n"].GetInt(), 2);
    EXPECT_TRUE(host.ReadNext().HasMember("reply"));
}

TEST_F(HostEvents, ShowTheSixCallsOfTheService) {
    CHostProcess& host = Start();
    host.Ask("topic register 0 0 New.Table");
    host.Ask("topic cookie 0 0 Missing");
    host.Ask(R"({"do":"topic","topic":"send","type":1,"param":4,"text":"QV.F.CME.ES","data":"payload"})");
    host.Ask(R"({"do":"topic","topic":"send","type":2,"param":4,"text":"QV.F.CME.ES","data":"payload"})");
    host.Ask(R"({"do":"topic","topic":"error","type":3,"param":-9,"text":"{\"Message\":\"é\"}"})");
    host.Ask("topic log 0 0 \"a line\"");
    EXPECT_THAT(host.GetEvents("RegisterTable"), ElementsAre(R"({"table":"New.Table","flag":1})"));
    EXPECT_THAT(host.GetEvents("RegisterTopic"), ElementsAre(R"({"topic":"New.Table"})"));
    EXPECT_THAT(host.GetEvents("GetTableCookie"), ElementsAre(R"({"table":"Missing","cookie":0})"));
    EXPECT_THAT(host.GetEvents("SendTopic"),
                ElementsAre(R"({"topic":"TEST.INFO","type":1,"param":4,"text":"QV.F.CME.ES","data":"payload"})",
                            R"({"topic":"TEST.INFO","type":2,"param":4,"text":"QV.F.CME.ES","data":null})"));
    EXPECT_THAT(host.GetEvents("ReportError"), ElementsAre(R"({"code":3,"param":-9,"text":"{\"Message\":\"é\"}"})"));
    EXPECT_THAT(host.GetEvents("WriteLog"), ElementsAre(R"({"line":"a line"})"));
}

TEST_F(HostEvents, ShowTheModulesMessageBoxes) {
    CHostProcess& host = Start();
    host.Ask("topic box 0 0 \"Can't go on\"");
    EXPECT_THAT(host.GetEvents("MessageBox"), ElementsAre(R"({"title":"Title","text":"Can't go on"})"));
}

TEST_F(HostEvents, TurnBrokenTextIntoValidLines) {
    CHostProcess& host = Start();
    host.Ask(R"({"do":"topic","topic":"log","text":"a\udc00b\u0001\n"})");
    EXPECT_THAT(host.GetEvents("WriteLog"), ElementsAre("{\"line\":\"a\xEF\xBF\xBD"
                                                        R"(b\u0001\n"})"));
}

TEST_F(HostEvents, OfManyThreadsKeepTheirLinesWholeAndTheirNumbersRising) {
    CHostProcess& host = Start();
    host.Ask("topic threads 0 8 \"a line of some length that would show any mixing of two lines\"");
    const auto arEvents = host.GetEvents();
    ASSERT_EQ(arEvents.size(), 800u);
    for (std::size_t i = 0; i < arEvents.size(); ++i) EXPECT_EQ(arEvents[i]["n"].GetUint64(), i + 1);
}

TEST_F(HostEvents, RegisteringMakesTheTableUnlessItIsThere) {
    CHostProcess& host = Start();
    host.Ask("set Kept key value");
    host.Ask("topic register 0 0 Kept");
    host.Ask("topic register 0 0 Made");
    EXPECT_EQ(host.AskFor("topic read 0 0 Kept", "data"), R"("value")");
    EXPECT_EQ(host.AskFor("dump Made", "dump"), R"({"values":{},"rows":[],"tables":{}})");
}

TEST_F(HostEvents, GiveCookiesThatReachTheHostsTables) {
    CHostProcess& host = Start();
    host.Ask("set T key 5");
    EXPECT_EQ(host.AskFor("topic read 0 0 T", "data"), "5");
    host.Ask("set T key \"later\"");
    EXPECT_EQ(host.AskFor("topic read 0 0 T", "data"), R"("later")");
    const std::string strFirst = host.AskFor("topic cookie 0 0 T", "data");
    EXPECT_EQ(host.AskFor("topic cookie 0 0 T", "data"), strFirst);
    EXPECT_NE(strFirst, "0");
    host.Ask("drop T");
    EXPECT_EQ(host.AskFor("topic cookie 0 0 T", "data"), "0");
}

/// Events that a watch still has to show when it ends.
class HostEventsOfAnsweredCommits : public HostTest {
protected:
    static constexpr std::size_t KEYS = 20'000;

    /// A host whose watch is far behind: the events of one commit come on another thread.
    CHostProcess& StartWithBacklog() {
        CHostProcess& host = Start();
        host.Ask("set T k v");
        host.Ask("status init");
        host.Ask("watch T");
        std::string strSet = R"({"do":"set","table":"T","values":{"k":0)";
        for (std::size_t i = 1; i < KEYS; ++i) strSet += ",\"" + std::to_string(i) + "\":0";
        EXPECT_EQ(host.AskForError(strSet + "}}"), "");
        return host;
    }
    static std::size_t CountUpdates(const CHostProcess& host) { return host.GetEvents("OnUpdate").size(); }
};

TEST_F(HostEventsOfAnsweredCommits, ComeBeforeTheReplyOfTheRequestThatEndsTheWatch) {
    for (const char* pszRequest : {"unwatch T", "drop T", "quit"}) {
        CHostProcess& host = StartWithBacklog();
        EXPECT_EQ(host.AskForError(pszRequest), "");
        EXPECT_EQ(CountUpdates(host), KEYS) << pszRequest;
        EXPECT_EQ(host.Finish(), 0);
        EXPECT_EQ(CountUpdates(host), KEYS) << pszRequest;
    }
}

TEST_F(HostEventsOfAnsweredCommits, ComeBeforeTheEndOfTheHost) {
    CHostProcess& atEndOfInput = StartWithBacklog();
    EXPECT_EQ(atEndOfInput.Finish(), 0);
    EXPECT_EQ(CountUpdates(atEndOfInput), KEYS);
    for (const int nSignal : {SIGTERM, SIGINT, SIGHUP}) {
        CHostProcess& host = StartWithBacklog();
        host.GetProcess().Signal(nSignal);
        EXPECT_EQ(host.Finish(), 0);
        EXPECT_EQ(CountUpdates(host), KEYS) << nSignal;
    }
}

class HostWait : public HostTest {};

TEST_F(HostWait, FindsEventsThatCameBeforeAndGoesOnBehindThem) {
    CHostProcess& host = Start();
    host.Ask("topic log 0 2 alpha");
    host.Ask("topic log 0 1 beta");
    const rapidjson::Document reply = host.Ask(R"({"do":"wait","event":"WriteLog","match":{"line":"lph"}})");
    EXPECT_THAT(ToJson(reply),
                ::testing::MatchesRegex(
                    R"(\{"reply":3,"ok":true,"found":\{"event":"WriteLog","n":1,"ms":[0-9]+,"line":"alpha"\}\})"));
    EXPECT_EQ(host.Ask("wait WriteLog line=alpha")["found"]["n"].GetInt(), 2);
    EXPECT_EQ(host.AskForError("wait WriteLog line=alpha timeout 1"), "timeout");
    // A wait that found nothing leaves the place where the next one begins.
    EXPECT_EQ(host.Ask("wait WriteLog")["found"]["n"].GetInt(), 3);
}

TEST_F(HostWait, BeginsAboveTheNumberThatItIsGiven) {
    CHostProcess& host = Start();
    host.Ask("topic log 0 5 x");
    EXPECT_EQ(host.Ask("wait WriteLog after 3")["found"]["n"].GetInt(), 4);
    EXPECT_EQ(host.Ask("wait WriteLog after 0")["found"]["n"].GetInt(), 1);
    EXPECT_EQ(host.Ask("wait WriteLog")["found"]["n"].GetInt(), 2);
    EXPECT_EQ(host.AskForError(R"({"do":"wait","event":"WriteLog","after":5,"timeout_ms":1})"), "timeout");
    EXPECT_EQ(host.AskForError(R"({"do":"wait","event":"WriteLog","after":18446744073709551615,"timeout_ms":1})"),
              "timeout");
}

TEST_F(HostWait, WantsEveryFieldToMatch) {
    CHostProcess& host = Start();
    host.Ask("topic error 12 34 one");
    host.Ask("topic error 12 56 two");
    EXPECT_EQ(host.Ask("wait ReportError param=56")["found"]["text"], "two");
    EXPECT_EQ(host.Ask("wait ReportError code=2 text=on after 0")["found"]["text"], "one");
    EXPECT_EQ(host.AskForError("wait ReportError code=12 text=three after 0 timeout 1"), "timeout");
    EXPECT_EQ(host.AskForError("wait ReportError line=one after 0 timeout 1"), "timeout");
    EXPECT_EQ(host.AskForError("wait WriteLog text=one after 0 timeout 1"), "timeout");
}

TEST_F(HostWait, ComparesAnIntegerWithTheWholeField) {
    CHostProcess& host = Start();
    host.Ask("topic error 12 0 one");
    EXPECT_EQ(host.AskForError(R"({"do":"wait","event":"ReportError","match":{"code":2},"timeout_ms":1})"), "timeout");
    EXPECT_EQ(host.Ask(R"({"do":"wait","event":"ReportError","match":{"code":12}})")["found"]["text"], "one");
}

TEST_F(HostWait, EndsWithAnEventThatComesLater) {
    CHostProcess& host = Start();
    host.Ask("clock tick on");
    host.Ask("watch QvantSystemTime");
    // The clock's next second is still to come when these are read.
    EXPECT_EQ(host.Ask("wait OnUpdate key=SystemTime")["found"]["table"], "QvantSystemTime");
    EXPECT_EQ(host.Ask("wait OnUpdate key=SystemDate")["found"]["table"], "QvantSystemTime");
}

TEST_F(HostWait, ForgetsTheOldestOfMoreThanAHundredThousandEvents) {
    CHostProcess& host = Start();
    host.Ask("topic log 0 1 first");
    host.Ask("topic log 0 100000 more");
    EXPECT_EQ(host.AskForError("wait WriteLog line=first after 0 timeout 1"), "timeout");
    EXPECT_EQ(host.Ask("wait WriteLog after 0")["found"]["n"].GetInt(), 2);
}

}  // namespace

}  // namespace qvant::test
