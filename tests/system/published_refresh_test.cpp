/// A refresh on the whole road: the server publishes, the clock comes to a reset time, the host shows what comes of it.

#include <algorithm>
#include <chrono>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "system/host_process.h"
#include "system/server_process.h"
#include "system/terminal.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

class PublishedRefreshTest : public ::testing::Test {
protected:
    PublishedRefreshTest() {
        m_folder.Write("terminal/ComShared/cities.txt", "Taipei,Taipei Standard Time\n");
        m_folder.Write("world/world.json", R"({"version":"test"})");
        WriteSecurity("08:45");
        m_folder.Write("world/contracts/TWF.json", R"({"QV.F.TWF.TXF":{"series":{"203012":"20301218"}}})");
        for (const char* pszName : {"FUTURES", "INDEX"}) {
            m_folder.Write("world/classifications/" + std::string(pszName) + ".json",
                           R"({"ENG":")" + std::string(pszName) + R"(","EachProduct":["QV.F.TWF.TXF"]})");
        }
        m_server = CServerProcess::Serve(World());
    }

    std::filesystem::path World() const { return m_folder.GetPath() / "world"; }
    /// Resets at 08:30 in Taipei, which is 00:30 in UTC.
    void WriteSecurity(const std::string& strOpen) {
        m_folder.Write(
            "world/securities/TWF.json",
            R"({"QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei","Name.ENG":"TAIEX","EXG.mo":"x","ResetTime":"08:30",)"
            R"("OpenCloseTime":")" +
                strOpen + R"(~13:45"}})");
    }
    /// @return what the program prints
    std::string Publish(const std::vector<std::string>& arWords) const {
        std::vector<std::string> arArguments{"publish", "--data", World().string()};
        arArguments.insert(arArguments.end(), arWords.begin(), arWords.end());
        CServerProcess process(arArguments);
        EXPECT_EQ(process.Wait(), 0);
        process.GetOutput().WaitForEnd();
        std::string strPrinted;
        for (const std::string& strLine : process.GetOutput().GetLines()) strPrinted += strLine + "\n";
        return strPrinted;
    }

    /// What stands before a sign-in, in words.
    std::vector<std::string> UserTables() const {
        return {"set GeneralService AppsLanguage ENG AppManager_Culture en-US",
                "set PERMISSIONS.General Username u SessionKey k Region TWN",
                "set PERMISSIONS.LUMIVale InfoListType ALL LUMIValeURL " + m_server->GetUrl(),
                "rows PERMISSIONS.LUMIVale Classification=FUTURES Classification=INDEX",
                "rows PERMISSIONS.EXCHANGES QV.F.TWF=1"};
    }
    std::vector<std::string> MakeOptions() const {
        return {"--home", (m_folder.GetPath() / "terminal").string(), "--common-data",
                (m_folder.GetPath() / "common").string()};
    }
    CHostProcess& SignIn() {
        m_host.emplace(MakeOptions());
        for (const std::string& strWords : UserTables()) EXPECT_EQ(m_host->AskForError(strWords), "");
        for (const char* pszStatus : {"status init", "status start", "status login"}) {
            EXPECT_EQ(m_host->AskFor(pszStatus, "result"), "0");
        }
        return *m_host;
    }
    /// Brings the clock to the reset time, and waits until the pass behind it is over.
    /// @return what `timers` replies then
    rapidjson::Document RefreshAtResetTime() {
        m_host->Ask("clock 20260105 3000");
        EXPECT_EQ(m_host->AskForError("wait WriteLog \"line=OnLumTimer ID:101\""), "");
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        rapidjson::Document reply = m_host->Ask("timers");
        while (reply["refresh"]["passes"].GetInt() < 1 && std::chrono::steady_clock::now() < end) {
            m_host->Ask("sleep 5");
            reply = m_host->Ask("timers");
        }
        return reply;
    }
    std::string StoredVersion(const std::string& strKey) {
        return m_host->AskFor("get STORAGE/Lumivale " + strKey, "value");
    }

    CScratchFolder m_folder;
    std::unique_ptr<CServerProcess> m_server;
    std::optional<CHostProcess> m_host;
};

TEST_F(PublishedRefreshTest, ThatFindsNewsUpdatesTheTablesAndTellsWhoWatchesThem) {
    CHostProcess& host = SignIn();
    const std::string strOther = StoredVersion("INDEX.Version");
    host.Ask("watch Security.Info");
    host.Ask("watch Contract.List");
    WriteSecurity("09:45");
    EXPECT_THAT(Publish({"securities"}), MatchesRegex("securities: test-[0-9a-f]+ -> test.r1-[0-9a-f]+\n"));
    EXPECT_THAT(Publish({"contracts", "FUTURES", "--version", "late"}), HasSubstr(" -> late-"));
    RefreshAtResetTime();
    EXPECT_THAT(StoredVersion("Version"), StartsWith("\"test.r1-"));
    EXPECT_THAT(StoredVersion("FUTURES.Version"), StartsWith("\"late-"));
    EXPECT_EQ(StoredVersion("INDEX.Version"), strOther);
    EXPECT_EQ(host.AskFor("get OpenTimeExchange QV.F.TWF", "value"), "\"01:45\"");
    host.Ask("unwatch Security.Info");
    host.Ask("unwatch Contract.List");
    EXPECT_THAT(host.GetEvents("OnReplace"), Contains(HasSubstr(R"("table":"Security.Info")")));
    EXPECT_THAT(host.GetEvents("OnUpdate"), Contains(HasSubstr(R"("table":"Contract.List")")));
}

TEST_F(PublishedRefreshTest, WithoutNewsTouchesNoTable) {
    CHostProcess& host = SignIn();
    for (const char* pszTable : {"Security.Info", "Contract.List", "OpenTimeExchange", "HOTMONTHTABLE"}) {
        EXPECT_EQ(host.AskForError(std::string("watch ") + pszTable), "");
    }
    RefreshAtResetTime();
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_THAT(host.GetEvents("OnReplace"), testing::IsEmpty());
    EXPECT_THAT(host.GetEvents("OnUpdate"), testing::IsEmpty());
}

TEST_F(PublishedRefreshTest, IsSeenInTheTimersAndThePassesThatAreLeft) {
    CHostProcess& host = SignIn();
    EXPECT_EQ(host.AskFor("timers", "refresh"),
              R"({"passes":0,"left_of_burst":null,"last_took_ms":null,"running":false})");
    const rapidjson::Document before = host.Ask("timers");
    const rapidjson::Value& armed = before["timers"]["rows"];
    const bool bDaily =
        std::ranges::any_of(armed.GetArray(), [](const auto& timer) { return timer["id"].GetInt() == 100; });
    EXPECT_TRUE(bDaily) << ToJson(armed);
    RefreshAtResetTime();
    // The next pass is armed behind the one that has ended.
    std::string strTimers;
    for (int i = 0; i < 1000 && strTimers.find("\"id\":102") == std::string::npos; ++i) {
        strTimers = ToJson(host.Ask("timers"));
    }
    EXPECT_THAT(strTimers,
                AllOf(HasSubstr(R"({"id":102,"purpose":"the next refresh at a reset time","interval_ms":60000,)"),
                      HasSubstr(R"("refresh":{"passes":1,"left_of_burst":9,"last_took_ms":)"),
                      HasSubstr(R"("running":false}})")));
    host.Ask("status stop");
    EXPECT_EQ(ToJson(host.Ask("timers")["timers"]), R"({"total":0,"rows":[]})");
}

TEST_F(PublishedRefreshTest, GoesToTheServerThatTheHostShowsInUse) {
    CHostProcess& host = SignIn();
    EXPECT_EQ(host.AskFor("servers", "servers"),
              R"({"total":1,"rows":[{"rank":1,"url":")" + m_server->GetUrl() +
                  R"(","state":"untested","latency_ms":null,"handicap_ms":null,"in_use":true}]})");
}

TEST_F(PublishedRefreshTest, ShowsItsProgressAtThePrompt) {
    std::vector<std::string> arCommand = MakeOptions();
    arCommand.insert(arCommand.begin(), ProgramPath("lumivale-host"));
    CTerminal terminal(arCommand);
    terminal.ReadTo(PROMPT);
    for (const std::string& strWords : UserTables()) terminal.Type(strWords + "\n");
    terminal.Type("status init\nstatus start\nstatus login\n");
    for (int i = 0; i < 3; ++i) terminal.ReadTo("result 0  ms ");
    Publish({"contracts", "INDEX"});
    terminal.Type("clock 20260105 3000\n");
    terminal.ReadTo("OnLumTimer ID:101");
    terminal.ReadTo("refresh by timer 101: securities no news, FUTURES no news, INDEX version up; ");
    EXPECT_THAT(terminal.ReadTo("\r\n"), Not(HasSubstr("...")));
    terminal.Type("quit\n");
    EXPECT_EQ(terminal.Wait(), 0);
}

}  // namespace

}  // namespace qvant::test
