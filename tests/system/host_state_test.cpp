// What the host shows of the service's background work, and the line that follows a refresh pass at the prompt.
#include "system/host_fixture.h"
#include "system/terminal.h"

namespace qvant::test {

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// The words that have the module show a state.
std::string ShowState(const std::string& strWhat, const std::string& strJson) {
    std::string strQuoted;
    for (const char ch : strJson) strQuoted += ch == '"' ? std::string("\\\"") : std::string(1, ch);
    return "topic state 0 0 " + strWhat + " \"" + strQuoted + "\"\n";
}

constexpr const char* TIMERS =
    R"({"timers":[{"id":100,"interval":2220000,"due":2219000,"running":false},)"
    R"({"id":102,"interval":60000,"due":null,"running":true},{"id":5,"interval":50,"due":0,"running":false}]})";
constexpr const char* REFRESH = R"({"passes":3,"left":7,"last":24,"running":true})";
constexpr const char* SERVERS =
    R"({"servers":[{"url":"http://a/","state":"answered","latency":31,"handicap":0,"inUse":false},)"
    R"({"url":"http://b/","state":"answered","latency":5,"handicap":50,"inUse":true},)"
    R"({"url":"http://c/","state":"failed","latency":null,"handicap":100,"inUse":false}]})";

class HostState : public HostTest {};

TEST_F(HostState, ShowsTimersWithWhatTheyAreForAndThePasses) {
    CHostProcess& host = Start();
    host.Send(ShowState("timers", TIMERS) + ShowState("refresh", REFRESH));
    host.ReadReply();
    host.ReadReply();
    const rapidjson::Document reply = host.Ask("timers");
    EXPECT_EQ(
        ToJson(reply["timers"]),
        R"({"total":3,"rows":[{"id":100,"purpose":"a refresh from time to time","interval_ms":2220000,"due_in_ms":2219000,"running":false},)"
        R"({"id":102,"purpose":"the next refresh at a reset time","interval_ms":60000,"due_in_ms":null,"running":true},)"
        R"({"id":5,"purpose":null,"interval_ms":50,"due_in_ms":0,"running":false}]})");
    EXPECT_EQ(ToJson(reply["refresh"]), R"({"passes":3,"left_of_burst":7,"last_took_ms":24,"running":true})");
}

TEST_F(HostState, ShowsAPersonTimersInColumns) {
    EXPECT_THAT(RunWords(ShowState("timers", TIMERS) + ShowState("refresh", REFRESH) + "timers\n"),
                HasSubstr("3 timers\n"
                          "  id   purpose                           interval  due in       running\n"
                          "  100  a refresh from time to time       37 min    36 min 59 s  no\n"
                          "  102  the next refresh at a reset time  1 min                  yes\n"
                          "  5                                      50 ms     0 ms         no\n"
                          "  passes         3\n"
                          "  left of burst  7\n"
                          "  last took      24 ms\n"
                          "  running        yes\n"));
}

TEST_F(HostState, ShowsServersInTheirOrder) {
    CHostProcess& host = Start();
    host.Ask(ShowState("servers", SERVERS));
    EXPECT_EQ(
        host.AskFor(R"({"do":"servers"})", "servers"),
        R"({"total":3,"rows":[{"rank":1,"url":"http://a/","state":"answered","latency_ms":31,"handicap_ms":0,"in_use":false},)"
        R"({"rank":2,"url":"http://b/","state":"answered","latency_ms":5,"handicap_ms":50,"in_use":true},)"
        R"({"rank":3,"url":"http://c/","state":"failed","latency_ms":null,"handicap_ms":100,"in_use":false}]})");
    EXPECT_THAT(RunWords(ShowState("servers", SERVERS) + "servers\n"),
                HasSubstr("3 servers\n"
                          "  rank  url        state     latency  handicap  in use\n"
                          "  1     http://a/  answered  31 ms    0 ms      no\n"
                          "  2     http://b/  answered  5 ms     50 ms     yes\n"
                          "  3     http://c/  failed             100 ms    no\n"));
}

TEST_F(HostState, TakesTextsOfAnyShapeForWhatTheyAre) {
    CHostProcess& host = Start();
    const std::pair<const char*, const char*> CASES[] = {
        {"{}", R"({"total":0,"rows":[]})"},
        {"[]", R"({"total":0,"rows":[]})"},
        {R"({"servers":{}})", R"({"total":0,"rows":[]})"},
        {R"({"servers":[7]})",
         R"({"total":1,"rows":[{"rank":1,"url":null,"state":null,"latency_ms":null,"handicap_ms":null,"in_use":null}]})"},
    };
    for (const auto& [pszState, pszShown] : CASES) {
        host.Ask(ShowState("servers", pszState));
        EXPECT_EQ(host.AskFor("servers", "servers"), pszShown) << pszState;
    }
    host.Ask(ShowState("servers", "{"));
    EXPECT_THAT(host.AskForError("servers"), StartsWith("bad JSON at byte "));
}

TEST_F(HostState, TellsOfAServiceThatShowsNothing) {
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskForError("timers"), "the service doesn't show its timers");
    EXPECT_EQ(host.AskForError("servers"), "the service doesn't show its servers");
    EXPECT_THAT(host.AskForError("timers now"), StartsWith("usage: timers"));
}

class HostProgress : public HostTest {
protected:
    std::vector<std::string> MakeCommand() const {
        std::vector<std::string> arCommand = MakeOptions();
        arCommand.insert(arCommand.begin(), ProgramPath("lumivale-host"));
        return arCommand;
    }

    /// Has the module log lines of a pass, one after the other.
    static void Log(CTerminal& terminal, const std::vector<std::string>& arLines) {
        for (const std::string& strLine : arLines) {
            terminal.Type("topic log 0 0 \"<Lumivale> " + strLine + "\"\n");
            terminal.ReadTo("result 0  data ");
        }
    }
    static void Show(CTerminal& terminal, const std::string& strState) {
        terminal.Type(ShowState("refresh", strState));
        terminal.ReadTo("result 0  data ");
    }

    static constexpr const char* RUNNING = R"({"passes":1,"left":null,"last":null,"running":true})";
    static constexpr const char* ENDED = R"({"passes":2,"left":null,"last":231,"running":false})";
};

TEST_F(HostProgress, IsOneLineAboveThePromptFromTheTimerToTheEnd) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    Show(terminal, RUNNING);
    Log(terminal, {"OnLumTimer ID:101", "TimerQueryAll WaitForSingleObject : m_hEventSymbolLookUp"});
    terminal.ReadTo("refresh by timer 101: waiting for the symbols\r\n");
    terminal.ReadTo(PROMPT);
    Log(terminal, {"TimerQueryAll m_hEventSymbolLookUp Done", "QuerySecuritiesInfo-Start Url:http://a/"});
    terminal.ReadTo("refresh by timer 101: securities ...\r\n");
    Log(terminal, {"QuerySecuritiesInfo have SecuritiesInfo", "LoadSecuritiesInfo-Start"});
    terminal.ReadTo("refresh by timer 101: securities version up, loading the securities\r\n");
    Log(terminal,
        {"LoadSecuritiesInfo-End", "QueryContractList-Start:FUTURES", "QueryContractList-ServerVer:(http://a/)",
         "QueryContractList-Start:OPTIONS", "QueryContractList Fail:http://a/..."});
    terminal.ReadTo("refresh by timer 101: securities version up, FUTURES no news, OPTIONS failed\r\n");
    Show(terminal, ENDED);
    terminal.ReadTo("refresh by timer 101: securities version up, FUTURES no news, OPTIONS failed; 231 ms\r\n");
    terminal.ReadTo(PROMPT);
    terminal.Type("get CQYZ k\n");
    EXPECT_THAT(terminal.ReadTo("(none)"), Not(HasSubstr("refresh by"))) << "the line goes with the pass";
}

TEST_F(HostProgress, TakesTheNextServersAnswerForADocument) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    Show(terminal, RUNNING);
    Log(terminal, {"OnLumTimer ID:100", "TimerQueryAll WaitForSingleObject : m_hEventSymbolLookUp",
                   "TimerQueryAll m_hEventSymbolLookUp Done", "QuerySecuritiesInfo-Start Url:http://a/",
                   "QuerySecuritiesInfo Fail:http://a/...", "QuerySecuritiesInfo-Start Url:http://b/",
                   "QueryContractList-Start:FUTURES", "QueryContractList-URlError:http://a/...",
                   "QueryContractList-Start:FUTURES", "QueryContractList-SaveVer:2"});
    Show(terminal, ENDED);
    terminal.ReadTo("refresh by timer 100: securities no news, FUTURES version up; 231 ms\r\n");
}

TEST_F(HostProgress, StaysInOneRowOfANarrowTerminal) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    Show(terminal, RUNNING);
    Log(terminal, {"OnLumTimer ID:102", "TimerQueryAll WaitForSingleObject : m_hEventSymbolLookUp",
                   "TimerQueryAll m_hEventSymbolLookUp Done", "QueryContractList-Start:" + std::string(200, 'X')});
    const std::string strStart = "refresh by timer 102: ";
    terminal.ReadTo(strStart + std::string(78 - strStart.size(), 'X') + "\u2026\r\n");
}

TEST_F(HostProgress, IsntShownForATimerThatHasNothingToDoOrIsntOneOfPasses) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    Show(terminal, RUNNING);
    for (const char* pszTimer : {"OnLumTimer ID:100", "OnLumTimer ID:999", "OnLumTimer ID:x"}) {
        Log(terminal, {pszTimer, "LoadContractList-Start"});
    }
    terminal.Type("get CQYZ k\n");
    EXPECT_THAT(terminal.ReadTo("(none)"), Not(HasSubstr("refresh by")));
}

TEST_F(HostProgress, IsntShownToMachinesAndWhereNobodyTypes) {
    const std::string strPass =
        "topic log 0 0 \"<Lumivale> OnLumTimer ID:101\"\n"
        "topic log 0 0 \"<Lumivale> TimerQueryAll WaitForSingleObject : m_hEventSymbolLookUp\"\n";
    EXPECT_THAT(RunWords(ShowState("refresh", ENDED) + strPass), Not(HasSubstr("refresh by")));
    CHostProcess& host = Start();
    host.Send(ShowState("refresh", ENDED) + strPass);
    for (int i = 0; i < 3; ++i) host.ReadReply();
    EXPECT_EQ(host.Finish(), 0);
    for (const auto& event : host.GetEvents()) EXPECT_THAT(ToJson(event), StartsWith(R"({"event":"WriteLog")"));
}

TEST_F(HostProgress, IsGivenUpForAServiceThatDoesntShowItsPasses) {
    CTerminal terminal(MakeCommand());
    terminal.ReadTo(PROMPT);
    Log(terminal, {"OnLumTimer ID:101", "TimerQueryAll WaitForSingleObject : m_hEventSymbolLookUp"});
    terminal.Type("quit\n");
    EXPECT_EQ(terminal.Wait(), 0);
    EXPECT_THAT(terminal.GetRest(), Not(HasSubstr("refresh by")));
}

}  // namespace

}  // namespace qvant::test
