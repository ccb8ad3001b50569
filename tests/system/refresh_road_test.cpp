/// The service keeping itself current, with the real programs: the host's clock and its language.

#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "support/stop_limit.h"
#include "system/host_process.h"
#include "system/server_process.h"

namespace qvant::test {

using ::testing::HasSubstr;
using Clock = std::chrono::steady_clock;

class RefreshRoadTest : public ::testing::Test {
protected:
    RefreshRoadTest() {
        m_folder.Write("terminal/ComShared/cities.txt", "Taipei,Taipei Standard Time\n");
        m_folder.Write("world/world.json", R"({"version":"test"})");
        Publish("08:45");
        m_server = CServerProcess::Serve(m_folder.GetPath() / "world");
        m_host.emplace(std::vector<std::string>{"--home", (m_folder.GetPath() / "terminal").string(), "--common-data",
                                                (m_folder.GetPath() / "common").string()});
        m_host->Ask(R"({"do":"set","table":"PERMISSIONS.LUMIVale","values":{"InfoListType":"ALL","LUMIValeURL":")" +
                    m_server->GetUrl() + R"("}})");
        m_host->Ask(
            R"({"do":"set","table":"GeneralService","values":{"AppsLanguage":"ENG","AppManager_Culture":"en-US"}})");
        for (const int nSubStatus : {1, 2, 9}) SetStatus(nSubStatus);
    }

    /// A world of one product that opens at a time in Taipei and is reset at 08:30 there, 00:30 in UTC.
    void Publish(const std::string& strOpen) {
        m_folder.Write("world/securities/TWF.json",
                       R"({"QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei","ResetTime":"08:30","OpenCloseTime":")" + strOpen +
                           R"(~13:45"}})");
    }
    void SetStatus(int nSubStatus) {
        EXPECT_EQ(m_host->AskFor(R"({"do":"status","status":1,"sub":)" + std::to_string(nSubStatus) + "}", "result"),
                  "0");
    }
    /// Waits for the next line of the log that holds the text.
    bool WaitForLine(const std::string& strText) {
        const auto reply =
            m_host->Ask(R"({"do":"wait","event":"WriteLog","match":{"line":")" + strText + R"("},"timeout_ms":20000})");
        return reply["ok"].GetBool();
    }
    std::string OpenTime() {
        return m_host->AskFor(R"({"do":"get","table":"OpenTimeExchange","key":"QV.F.TWF"})", "value");
    }

    CScratchFolder m_folder;
    std::unique_ptr<CServerProcess> m_server;
    std::optional<CHostProcess> m_host;
};

TEST_F(RefreshRoadTest, TheClockAtAResetTimeBringsTheNewsWithoutASignIn) {
    EXPECT_EQ(OpenTime(), "\"00:45\"");
    Publish("09:45");
    m_host->Ask(R"({"do":"watch","table":"OpenTimeExchange"})");
    m_host->Ask(R"({"do":"clock","date":20260302,"time":3000})");
    ASSERT_TRUE(WaitForLine("OnLumTimer ID:101"));
    const auto told = m_host->Ask(
        R"({"do":"wait","event":"OnUpdate","match":{"table":"OpenTimeExchange","key":"QV.F.TWF"},"timeout_ms":20000})");
    EXPECT_TRUE(told["ok"].GetBool());
    EXPECT_EQ(OpenTime(), "\"01:45\"");
    EXPECT_THAT(m_server->GetOutput().WaitForText("Z=Timer101"), HasSubstr("getMainForm"));
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(RefreshRoadTest, AClockOutOfItsRangeIsNoHarm) {
    m_host->Ask(R"({"do":"clock","date":20260302,"time":240000})");
    m_host->Ask(R"({"do":"clock","date":20260302,"time":3900})");
    EXPECT_TRUE(WaitForLine("OnLumTimer ID:101"));
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(RefreshRoadTest, AnotherLanguageLoadsTheContractsAnewAndIsSaved) {
    m_host->Ask(R"({"do":"set","table":"GeneralService","values":{"AppManager_Culture":"zh-CHT"}})");
    ASSERT_TRUE(WaitForLine("GeneralService Change Language:CHT"));
    ASSERT_TRUE(WaitForLine("LoadContractList-End"));
    SetStatus(4);
    SetStatus(5);
    EXPECT_EQ(m_host->Finish(), 0);
    std::string strSettings = m_folder.Read("terminal/Configs/LUMIVale.ini");
    std::erase(strSettings, '\0');
    EXPECT_THAT(strSettings, HasSubstr("AppsLanguage=CHT"));
}

TEST_F(RefreshRoadTest, AHostThatEndsInTheMiddleOfAPassWaitsForNoServer) {
    ASSERT_TRUE(PostFaults(*m_server, R"([{"match":"getMainForm","kind":"hang"}])"));
    m_host->Ask(R"({"do":"clock","date":20260302,"time":3000})");
    ASSERT_TRUE(WaitForLine("TimerQueryAll m_hEventSymbolLookUp Done"));
    ASSERT_TRUE(WaitForLine("QuerySecuritiesInfo-Start Url"));
    const auto start = Clock::now();
    EXPECT_EQ(m_host->Finish(), 0);
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
}

}  // namespace qvant::test
