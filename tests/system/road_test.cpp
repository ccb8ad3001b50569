/// The whole road with the real programs: server, host and service as processes of their own.

#include <csignal>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "support/stop_limit.h"
#include "system/host_process.h"
#include "system/server_process.h"

namespace qvant::test {

using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using Clock = std::chrono::steady_clock;

constexpr const char* STATUS_INIT = R"({"do":"status","status":1,"sub":1})";
constexpr const char* STATUS_START = R"({"do":"status","status":1,"sub":2})";
constexpr const char* STATUS_LOGIN = R"({"do":"status","status":1,"sub":9})";
constexpr const char* STATUS_STOP = R"({"do":"status","status":1,"sub":4})";
constexpr const char* STATUS_EXIT = R"({"do":"status","status":1,"sub":5})";
constexpr const char* STORED_VERSION = R"({"do":"get","table":"STORAGE","path":["Lumivale"],"key":"Version"})";

constexpr const char* TAIPEI =
    R"({"QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei","OpenCloseTime":"08:45~13:45","EXG.mo":"x"}})";
constexpr const char* TAIPEI_LATER =
    R"({"QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei","OpenCloseTime":"09:45~13:45","EXG.mo":"x"}})";

class RoadTest : public ::testing::Test {
protected:
    RoadTest() {
        m_folder.Write("terminal/ComShared/cities.txt", "Taipei,Taipei Standard Time\n");
        m_folder.Write("world/world.json", R"({"version":"test"})");
        m_folder.Write("world/securities/TWF.json", TAIPEI);
        m_server = CServerProcess::Serve(m_folder.GetPath() / "world");
    }

    /// A new start of the terminal, with the tables of a user who is signed in.
    void StartHost() {
        m_host.reset();
        m_host.emplace(MakeOptions());
        Permit(m_server->GetUrl());
        m_host->Ask(
            R"({"do":"set","table":"GeneralService","values":{"AppsLanguage":"ENG","AppManager_Culture":"en-US"}})");
        m_host->Ask(
            R"({"do":"set","table":"PERMISSIONS.General","values":{"Username":"u","SessionKey":"k","Region":"TWN"}})");
    }
    std::vector<std::string> MakeOptions() const {
        return {"--home", (m_folder.GetPath() / "terminal").string(), "--common-data",
                (m_folder.GetPath() / "common").string()};
    }
    void Permit(const std::string& strServers) {
        m_host->Ask(R"({"do":"set","table":"PERMISSIONS.LUMIVale","values":{"InfoListType":"ALL","LUMIValeURL":")" +
                    strServers + R"("}})");
    }
    void SignIn() {
        for (const char* pszStatus : {STATUS_INIT, STATUS_START, STATUS_LOGIN}) {
            EXPECT_EQ(m_host->AskFor(pszStatus, "result"), "0");
        }
    }
    /// A first start that leaves its files behind.
    void RunOnce() {
        StartHost();
        SignIn();
        EXPECT_EQ(m_host->Finish(), 0);
    }
    std::string OpenTime() {
        return m_host->AskFor(R"({"do":"get","table":"OpenTimeExchange","key":"QV.F.TWF"})", "value");
    }
    std::vector<std::string> Log() { return m_host->GetEvents("WriteLog"); }
    /// Reads lines up to one of the log that holds the text. @return false when a reply or the end comes first
    bool ReadUntilLine(std::string_view strText) {
        while (true) {
            const auto line = m_host->ReadNext();
            if (line.IsNull() || line.HasMember("result")) return false;
            if (line.HasMember("line") &&
                std::string_view(line["line"].GetString()).find(strText) != std::string_view::npos) {
                return true;
            }
        }
    }
    /// Tells the host, in the middle of a sign-in, to end, and waits until it has.
    void EndBySignal(int nSignal) {
        const auto start = Clock::now();
        m_host->GetProcess().Signal(nSignal);
        const auto reply = m_host->ReadReply();
        EXPECT_TRUE(reply["ok"].GetBool());
        EXPECT_EQ(reply["result"].GetInt(), 0);
        EXPECT_EQ(m_host->Finish(), 0);
        EXPECT_LT(Clock::now() - start, STOP_LIMIT) << nSignal;
        EXPECT_THAT(Log(), Not(Contains(HasSubstr("MakeInitData-Start"))));
    }
    std::size_t CountQueries() const {
        std::size_t nQueries = 0;
        for (const std::string& strLine : m_server->GetOutput().GetLines()) {
            nQueries += strLine.find("getMainForm") != std::string::npos;
        }
        return nQueries;
    }

    CScratchFolder m_folder;
    std::unique_ptr<CServerProcess> m_server;
    std::optional<CHostProcess> m_host;
};

TEST_F(RoadTest, TheFirstSignInPublishesTheServersDocumentInUtc) {
    StartHost();
    SignIn();
    EXPECT_EQ(OpenTime(), "\"00:45\"");
    EXPECT_EQ(m_host->AskFor(R"({"do":"get","table":"orderExchange","key":"mo"})", "value"), "\"TWF\"");
    EXPECT_THAT(m_host->AskFor(STORED_VERSION, "value"), HasSubstr("test-"));
    EXPECT_THAT(
        m_host->AskFor(R"({"do":"get","table":"Security.Info","path":["QV.F.TWF"],"key":"QV.F.TWF.TXF"})", "value"),
        HasSubstr("00:45~05:45"));
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(RoadTest, ASecondStartDownloadsNothingAndAnOfflineOneServesTheDisk) {
    RunOnce();
    StartHost();
    SignIn();
    EXPECT_EQ(CountQueries(), 2u);
    EXPECT_THAT(Log(), Not(Contains(HasSubstr("have SecuritiesInfo"))));
    EXPECT_EQ(OpenTime(), "\"00:45\"");
    EXPECT_EQ(m_host->Finish(), 0);

    StartHost();
    m_server->Stop();
    SignIn();
    EXPECT_THAT(Log(), Contains(HasSubstr("PostErrorMsg:InternetOpenUrl Fail, Error : 12029")));
    EXPECT_THAT(m_host->GetEvents("ReportError"), Contains(HasSubstr("-108")));
    EXPECT_EQ(OpenTime(), "\"00:45\"");
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(RoadTest, AnEditedWorldArrivesWithTheNextStart) {
    RunOnce();
    m_folder.Write("world/securities/TWF.json", TAIPEI_LATER);
    StartHost();
    SignIn();
    EXPECT_EQ(OpenTime(), "\"01:45\"");
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(RoadTest, AHostKilledInTheMiddleOfAnythingStartsWell) {
    int nVersion = 0;
    for (const char* pszLine : {"QuerySecuritiesInfo-Start Url", "have SecuritiesInfo", "ServerVer",
                                "ParseJsonData loop End", "No STORAGE-orderExchange", "LoadSecuritiesInfo-End"}) {
        StartHost();
        m_host->Ask(STATUS_INIT);
        m_host->Send(std::string(STATUS_LOGIN) + "\n");
        ReadUntilLine(pszLine);
        m_host->GetProcess().Signal(SIGKILL);
        m_host->GetProcess().Wait();
        StartHost();
        SignIn();
        EXPECT_EQ(OpenTime(), "\"00:45\"") << pszLine;
        EXPECT_THAT(m_host->AskFor(STORED_VERSION, "value"), HasSubstr("test-")) << pszLine;
        EXPECT_EQ(m_host->Finish(), 0);
        m_folder.Write("world/world.json", std::string(R"({"version":"test-)") + std::to_string(++nVersion) + "\"}");
    }
}

class BadServerTest : public RoadTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(BadServerTest, LeavesTheLastGoodFileAndTablesAndTheNextPassMendsIt) {
    RunOnce();
    m_folder.Write("world/securities/TWF.json", TAIPEI_LATER);
    ASSERT_TRUE(PostFaults(*m_server, GetParam()));
    StartHost();
    SignIn();
    EXPECT_EQ(OpenTime(), "\"00:45\"");
    EXPECT_EQ(m_host->Finish(), 0);

    ASSERT_TRUE(PostFaults(*m_server, "[]"));
    StartHost();
    SignIn();
    EXPECT_EQ(OpenTime(), "\"01:45\"");
    EXPECT_EQ(m_host->Finish(), 0);
}

INSTANTIATE_TEST_SUITE_P(Faults, BadServerTest,
                         ::testing::Values(R"([{"match":"getMainForm","kind":"status","code":500}])",
                                           R"([{"match":"getMainForm","kind":"cut","bytes":40}])",
                                           R"([{"match":"getMainForm","kind":"reset"}])",
                                           R"([{"match":"getMainForm","kind":"garbage"}])",
                                           R"([{"match":"getMainForm","kind":"empty"}])",
                                           R"([{"match":"getMainForm","kind":"wrong-gzip"}])"));

TEST_F(RoadTest, StopAndExitEndAStartWhoseServerSendsAByteASecondOrNothing) {
    RunOnce();
    m_folder.Write("world/securities/TWF.json", TAIPEI_LATER);
    for (const char* pszFault :
         {R"([{"match":"getMainForm","kind":"slow","rate":1}])", R"([{"match":"getMainForm","kind":"hang"}])"}) {
        ASSERT_TRUE(PostFaults(*m_server, pszFault)) << pszFault;
        StartHost();
        m_host->Ask(STATUS_INIT);
        m_host->Ask(R"({"do":"wait","event":"WriteLog","match":{"line":"QuerySecuritiesInfo-Start Url"}})");
        const auto start = Clock::now();
        EXPECT_EQ(m_host->AskFor(STATUS_STOP, "result"), "0");
        EXPECT_EQ(m_host->AskFor(STATUS_EXIT, "result"), "0");
        EXPECT_LT(Clock::now() - start, STOP_LIMIT) << pszFault;
        EXPECT_EQ(m_host->Finish(), 0);
    }
}

TEST_F(RoadTest, ASignalEndsASignInWhoseServerSendsNothing) {
    ASSERT_TRUE(PostFaults(*m_server, R"([{"match":"getMainForm","kind":"hang"}])"));
    for (const int nSignal : {SIGTERM, SIGINT}) {
        StartHost();
        m_host->Ask(STATUS_INIT);
        m_host->Send(std::string(STATUS_LOGIN) + "\n");
        ASSERT_TRUE(ReadUntilLine("QuerySecuritiesInfo-Start Url"));
        EndBySignal(nSignal);
    }
}

TEST_F(RoadTest, ASignalEndsASignInThatWaitsForAFirstLoadWhoseServerSendsNothing) {
    RunOnce();
    m_folder.Write("world/securities/TWF.json", TAIPEI_LATER);
    ASSERT_TRUE(PostFaults(*m_server, R"([{"match":"getMainForm","kind":"hang"}])"));
    for (const int nSignal : {SIGTERM, SIGINT}) {
        StartHost();
        m_host->Ask(STATUS_INIT);
        m_host->Send(std::string(STATUS_LOGIN) + "\n");
        ASSERT_TRUE(ReadUntilLine("WaitForSingleObject : m_hThreadPreProcessData"));
        EndBySignal(nSignal);
    }
    ASSERT_TRUE(PostFaults(*m_server, "[]"));
    StartHost();
    SignIn();
    EXPECT_EQ(OpenTime(), "\"01:45\"");
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(RoadTest, TheNextStartRemovesWhatAHostKilledInTheMiddleOfAReplacementLeft) {
    const std::filesystem::path configs = m_folder.GetPath() / "terminal/Configs";
    const auto listConfigs = [&configs] {
        std::vector<std::string> arNames;
        for (const auto& entry : std::filesystem::directory_iterator(configs)) {
            arNames.push_back(entry.path().filename().string());
        }
        return arNames;
    };
    // With holidays, so that no database is left to be written before the file that the process ends over.
    m_folder.Write("world/OBHoliday.txt", "20260101\tH\tTWF\n");
    StartHost();
    m_host->Ask(R"({"do":"set","table":"PERMISSIONS.LUMIVale","values":{"TradingDayURL":")" + m_server->GetUrl() +
                R"(hx-bin/File.cgi?ARG=OBHoliday.txt"}})");
    SignIn();
    m_host->Ask(R"({"do":"wait","event":"WriteLog","match":{"line":"GetHoliday End"},"after":0})");
    EXPECT_EQ(m_host->Finish(), 0);
    ASSERT_THAT(listConfigs(), UnorderedElementsAre("LUMIVale.ini", "LumivaleInfo.dat"));
    const std::string strLater(TAIPEI_LATER);
    m_folder.Write("world/securities/TWF.json",
                   strLater.substr(0, strLater.size() - 2) + R"(,"Name.ENG":")" + std::string(5000, 'x') + "\"}}");
    // A file that grows beyond 1024 bytes ends the process. The zipped reply stays below, and there is no "STORAGE".
    std::string strCommand = "ulimit -c 0; ulimit -f 1; exec " + ProgramPath("lumivale-host") + " --json --bare";
    for (const std::string& strOption : MakeOptions()) strCommand += " " + strOption;
    CProcess host({"/bin/bash", "-c", strCommand});
    host.Write(std::string(STATUS_INIT) + "\n");
    EXPECT_THAT(host.ReadAll(), HasSubstr("have SecuritiesInfo"));
    EXPECT_EQ(host.Wait(), -SIGXFSZ);
    ASSERT_THAT(listConfigs(), UnorderedElementsAre("LUMIVale.ini", "LumivaleInfo.dat", StartsWith(".lumivale-")));

    StartHost();
    SignIn();
    EXPECT_EQ(OpenTime(), "\"01:45\"");
    EXPECT_THAT(listConfigs(), UnorderedElementsAre("LUMIVale.ini", "LumivaleInfo.dat"));
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(RoadTest, AFullDiskKeepsTheLastGoodFileAndRoomMendsIt) {
    RunOnce();
    m_folder.Write("world/securities/TWF.json", TAIPEI_LATER);
    std::string strCommand = "ulimit -f 0; trap '' XFSZ; exec " + ProgramPath("lumivale-host") + " --json";
    for (const std::string& strOption : MakeOptions()) strCommand += " " + strOption;
    CProcess host({"/bin/bash", "-c", strCommand});
    host.Write(R"({"do":"set","table":"PERMISSIONS.LUMIVale","values":{"InfoListType":"ALL","LUMIValeURL":")" +
               m_server->GetUrl() + "\"}}\n");
    host.Write(std::string(STATUS_INIT) + "\n" + STATUS_LOGIN + "\n" +
               R"({"do":"get","table":"OpenTimeExchange","key":"QV.F.TWF","id":"time"})" + "\n");
    host.CloseInput();
    EXPECT_THAT(host.ReadAll(), HasSubstr(R"({"reply":"time","ok":true,"value":"00:45"})"));
    EXPECT_EQ(host.Wait(), 0);

    StartHost();
    SignIn();
    EXPECT_EQ(OpenTime(), "\"01:45\"");
    EXPECT_EQ(m_host->Finish(), 0);
}

}  // namespace qvant::test
