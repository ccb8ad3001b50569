#include <csignal>

#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

const char* const STOP_LINE = R"({"line":"status 1 4"})";
const char* const EXIT_LINE = R"({"line":"status 1 5"})";

class HostProgram : public HostTest {
protected:
    /// Runs the program with nothing to read. @return its exit status
    int RunWith(const std::vector<std::string>& arArguments) {
        std::vector<std::string> arCommand = arArguments;
        arCommand.insert(arCommand.begin(), ProgramPath("lumivale-host"));
        CProcess process(arCommand);
        process.CloseInput();
        m_strOutput = process.ReadAll();
        const int nStatus = process.Wait();
        m_strErrors = process.GetErrors();
        return nStatus;
    }

    std::string m_strOutput;
    std::string m_strErrors;
};

TEST_F(HostProgram, EndsWithStatusTwoForBadOptions) {
    const std::vector<std::vector<std::string>> CASES = {
        {"--nothing"}, {"word"}, {"--home"}, {"--module"}, {"--script"}, {"--script", "/no/such/file"}, {"--home", ""}};
    for (const auto& arArguments : CASES) {
        EXPECT_EQ(RunWith(arArguments), 2) << arArguments.front();
        EXPECT_THAT(m_strErrors, HasSubstr("usage: lumivale-host"));
        EXPECT_THAT(m_strOutput, IsEmpty());
    }
}

TEST_F(HostProgram, EndsWithStatusOneWhenTheModuleCantBeLoaded) {
    const std::string strHome = m_home.GetPath().string();
    EXPECT_EQ(RunWith({"--json", "--home", strHome, "--module", "/no/such/library.so"}), 1);
    EXPECT_THAT(m_strErrors, HasSubstr("/no/such/library.so"));
    EXPECT_THAT(m_strOutput, IsEmpty());
    EXPECT_EQ(RunWith({"--home", strHome, "--module", LibraryPath("libqvautomation.so")}), 1);
    EXPECT_THAT(m_strErrors, HasSubstr("DllGetClassObject"));
    EXPECT_EQ(RunWith({"--home", strHome, "--module", LibraryPath("libqvstore.so")}), 1);
    EXPECT_THAT(m_strErrors, HasSubstr("doesn't hold the service"));
}

TEST_F(HostProgram, TellsItsOptions) {
    EXPECT_EQ(RunWith({"--help"}), 0);
    for (const char* pszOption : {"--home", "--common-data", "--module", "--bare", "--json", "--script", "--prompt"})
        EXPECT_THAT(m_strOutput, HasSubstr(pszOption));
}

TEST_F(HostProgram, EndsAServiceThatWasToldInitAtTheEndOfTheInput) {
    CHostProcess& host = Start();
    host.Ask("status init");
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_THAT(host.GetEvents("WriteLog"), ElementsAre(R"({"line":"status 1 1"})", STOP_LINE, EXIT_LINE));
}

TEST_F(HostProgram, LeavesOutWhatTheServiceHasHeardAlready) {
    CHostProcess& host = Start();
    host.Ask("status init");
    host.Ask("status stop");
    EXPECT_EQ(host.AskForError("quit"), "");
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_THAT(host.GetEvents("WriteLog"), ElementsAre(R"({"line":"status 1 1"})", STOP_LINE, EXIT_LINE));
}

TEST_F(HostProgram, TellsNothingToAServiceThatNeverHeardInitOrHeardExit) {
    CHostProcess& fresh = Start();
    EXPECT_EQ(fresh.Finish(), 0);
    EXPECT_THAT(fresh.GetEvents("WriteLog"), IsEmpty());
    CHostProcess& ended = Start();
    for (const char* pszStatus : {"status init", "status stop", "status exit"}) ended.Ask(pszStatus);
    EXPECT_EQ(ended.Finish(), 0);
    EXPECT_EQ(ended.GetEvents("WriteLog").size(), 3u);
}

TEST_F(HostProgram, ReadsNothingBehindAQuit) {
    CHostProcess& host = Start();
    host.Send("quit\nset T k v\n");
    EXPECT_EQ(ToJson(host.ReadNext()), R"({"reply":1,"ok":true})");
    EXPECT_TRUE(host.ReadNext().IsNull());
    EXPECT_EQ(host.GetProcess().Wait(), 0);
}

TEST_F(HostProgram, TakesItsRequestsFromAScript) {
    m_home.Write("script", "\xEF\xBB\xBFset T k v\r\n{\"do\":\"get\",\"table\":\"T\",\"key\":\"k\"}\nget T none");
    CHostProcess& host = Start({"--script", (m_home.GetPath() / "script").string()});
    EXPECT_EQ(ToJson(host.ReadNext()), R"({"reply":1,"ok":true})");
    EXPECT_EQ(ToJson(host.ReadNext()), R"({"reply":2,"ok":true,"value":"v"})");
    EXPECT_EQ(ToJson(host.ReadNext()), R"({"reply":3,"ok":true,"value":null})");
    EXPECT_TRUE(host.ReadNext().IsNull());
    EXPECT_EQ(host.GetProcess().Wait(), 0);
}

TEST_F(HostProgram, GoesOnWithStandardInputBehindAScriptWhenAskedTo) {
    m_home.Write("script", "set T k v\n");
    CHostProcess& host = Start({"--script", (m_home.GetPath() / "script").string(), "--prompt"});
    EXPECT_EQ(ToJson(host.ReadNext()), R"({"reply":1,"ok":true})");
    host.Send("get T k\n");
    EXPECT_EQ(ToJson(host.ReadNext()), R"({"reply":2,"ok":true,"value":"v"})");
    EXPECT_EQ(host.Finish(), 0);
}

TEST_F(HostProgram, TakesItsHomeFromTheEnvironment) {
    const std::string strHome = m_home.GetPath().string();
    CHostProcess host({"--module", LibraryPath("libhost_test_module.so")}, {{"LUMIVALE_HOME", strHome}});
    host.Ask("set STORAGE k v");
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_TRUE(std::filesystem::exists(m_home.GetPath() / "Data" / "STORAGE.db"));
}

TEST_F(HostProgram, HandsItsFoldersOnToTheServiceInTheEnvironment) {
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskFor("topic environment 0 0 LUMIVALE_HOME", "data"), '"' + m_home.GetPath().string() + '"');
    EXPECT_EQ(host.AskFor("topic environment 0 0 LUMIVALE_COMMON_DATA", "data"),
              '"' + m_home.GetPath().string() + "/common\"");
}

TEST_F(HostProgram, EndsLikeQuitWhenItIsToldToTerminate) {
    for (const int nSignal : {SIGTERM, SIGINT, SIGHUP}) {
        CHostProcess& host = Start();
        host.Ask("status init");
        host.GetProcess().Signal(nSignal);
        EXPECT_EQ(host.Finish(), 0);
        EXPECT_THAT(host.GetEvents("WriteLog"), ElementsAre(R"({"line":"status 1 1"})", STOP_LINE, EXIT_LINE));
    }
}

TEST_F(HostProgram, CutsASleepAndAWaitShortWhenItIsToldToTerminate) {
    for (const char* pszRequest : {"sleep 2000000000", "wait WriteLog line=never timeout 2000000000"}) {
        CHostProcess& host = Start();
        host.Send(std::string("topic log 0 0 ready\n") + pszRequest + '\n');
        EXPECT_EQ(host.ReadNext()["line"], "ready");
        host.GetProcess().Signal(SIGTERM);
        EXPECT_EQ(host.Finish(), 0) << pszRequest;
    }
}

TEST_F(HostProgram, SaysStopOnceDuringACallWhenItIsToldToTerminate) {
    for (const int nSignal : {SIGTERM, SIGINT, SIGHUP}) {
        CHostProcess& host = Start();
        host.Ask("status init");
        host.Send("status 1 78\nset T not reached\n");
        EXPECT_EQ(host.ReadNext()["line"], "status 1 78");
        host.GetProcess().Signal(nSignal);
        EXPECT_EQ(host.ReadNext()["line"], "status 1 4");
        const rapidjson::Document reply = host.ReadNext();
        EXPECT_EQ(reply["reply"].GetInt(), 2);
        EXPECT_EQ(reply["result"].GetInt(), 0);
        EXPECT_EQ(host.ReadNext()["line"], "status 1 5");
        EXPECT_TRUE(host.ReadNext().IsNull());
        EXPECT_EQ(host.GetProcess().Wait(), 0);
    }
}

TEST_F(HostProgram, SaysStopDuringACallWhenNobodyReadsItsOutput) {
    CHostProcess& host = Start();
    host.Ask("status init");
    host.GetProcess().CloseOutput();
    host.Send("status 1 78\n");
    EXPECT_EQ(host.GetProcess().Wait(), 0);
}

/// For a host that ends on the spot: the threads that it leaves behind are no leak.
class CThreadsLeft {
    const CEnvironment m_options{"TSAN_OPTIONS", "report_thread_leaks=0"};
};

TEST_F(HostProgram, SaysNoStopDuringACallToAServiceThatNeverHeardInit) {
    const CThreadsLeft threadsLeft;
    CHostProcess& host = Start();
    host.Send("status 1 79\n");
    EXPECT_EQ(host.ReadNext()["line"], "status 1 79");
    EXPECT_EQ(host.ReadNext()["line"], "hanging");
    host.GetProcess().Signal(SIGTERM);
    host.GetProcess().Signal(SIGINT);
    EXPECT_TRUE(host.ReadNext().IsNull());
    EXPECT_THAT(host.GetProcess().Wait(), ::testing::AnyOf(128 + SIGTERM, 128 + SIGINT));
}

TEST_F(HostProgram, EndsAtOnceWhenAModuleHangsAndItIsToldTwice) {
    const CThreadsLeft threadsLeft;
    for (const char* pszRequest : {"topic hang\n", "status 1 79\n"}) {
        CHostProcess& host = Start();
        host.Ask("status init");
        host.Send(pszRequest);
        while (host.ReadNext()["line"] != "hanging") {
        }
        host.GetProcess().Signal(SIGTERM);
        host.GetProcess().Signal(SIGINT);
        EXPECT_THAT(host.GetProcess().Wait(), ::testing::AnyOf(128 + SIGTERM, 128 + SIGINT));
    }
}

TEST_F(HostProgram, EndsCleanlyWhenNobodyReadsItsOutput) {
    CHostProcess& host = Start();
    host.Ask("status init");
    host.GetProcess().CloseOutput();
    host.Send("tables\n");
    EXPECT_EQ(host.GetProcess().Wait(), 0);
}

class HostInWords : public HostTest {};

TEST_F(HostInWords, AnswersForReading) {
    EXPECT_EQ(RunWords("set T k \"two words\" n 5\n"
                       "get T k\n"
                       "get T none\n"
                       "{\"do\":\"get\",\"table\":\"T\",\"key\":\"n\"}\n"
                       "dance\n"
                       "drop CQYZ\n"
                       "tables\n"),
              "ok\n"
              "two words\n"
              "(none)\n"
              "5\n"
              "error: unknown request \"dance\"\n"
              "ok\n"
              "GeneralService\nLUMIVALE.REQUEST\nQvantSystemTime\nSTORAGE\nT\n");
}

TEST_F(HostInWords, AlignsATableAndShowsItsFirstRowsAndItsCount) {
    std::string strRows;
    for (int i = 0; i < 30; ++i) strRows += " r" + std::to_string(i);
    EXPECT_EQ(RunWords("set T a 1 long.key 2 \"漢字\" 3\n"
                       "set T/sub k v\n"
                       "dump T\n"),
              "ok\nok\n"
              "3 values\n"
              "  a         1\n"
              "  long.key  2\n"
              "  漢字      3\n"
              "1 table\n"
              "  sub  1 value, 0 rows, 0 tables\n");
    const std::string strTwenty = RunWords("rows T" + strRows + "\ndump T\n");
    EXPECT_THAT(strTwenty, AllOf(HasSubstr("30 rows\n  0   r0\n"), HasSubstr("  19  r19\n  ... and 10 more\n"),
                                 Not(HasSubstr("r20"))));
    EXPECT_THAT(RunWords("rows T" + strRows + "\ndump T 2\n"), HasSubstr("  1  r1\n  ... and 28 more\n"));
    EXPECT_THAT(RunWords("rows T" + strRows + "\ndump T all\n"), HasSubstr("  29  r29\n"));
    EXPECT_EQ(RunWords("dump CQYZ\n"), "(empty)\n");
}

TEST_F(HostInWords, ShowsEventsInColumnsWithoutControlCharacters) {
    const std::string strOutput = RunWords(
        "{\"do\":\"topic\",\"topic\":\"log\",\"text\":\"red \\u001b[31m\"}\n"
        "topic error 7 0 text\n");
    EXPECT_THAT(strOutput,
                ::testing::MatchesRegex(" +1 +[0-9]+\\.[0-9]{3}  WriteLog        red  \\[31m\n"
                                        "result 0  data \\(none\\)\n"
                                        " +2 +[0-9]+\\.[0-9]{3}  ReportError     code=7  param=0  text=text\n"
                                        "result 0  data \\(none\\)\n"));
}

}  // namespace

}  // namespace qvant::test
