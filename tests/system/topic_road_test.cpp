/// What other modules ask of the service, with the real programs and the sample world.
#include <filesystem>
#include <fstream>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "system/host_process.h"
#include "system/server_process.h"

namespace qvant::test {

namespace {

namespace fs = std::filesystem;
using ::testing::MatchesRegex;

const fs::path SAMPLE = LUMIVALE_SAMPLE;

class TopicRoadTest : public ::testing::Test {
protected:
    TopicRoadTest() {
        const fs::path home = m_folder.GetPath() / "terminal";
        fs::create_directories(home);
        fs::copy(SAMPLE / "home" / "ComShared", home / "ComShared", fs::copy_options::recursive);
        m_server = CServerProcess::Serve(SAMPLE / "world");
        m_host.emplace(std::vector<std::string>{"--home", home.string(), "--common-data",
                                                (m_folder.GetPath() / "common").string()});
        m_host->Ask("status init");
        m_host->Ask("status start");
        std::ifstream requests(SAMPLE / "users" / "full.jsonl");
        for (std::string strRequest; std::getline(requests, strRequest);) {
            for (std::size_t n = 0; (n = strRequest.find("@SERVER@", n)) != std::string::npos;) {
                strRequest.replace(n, 8, m_server->GetUrl());
            }
            EXPECT_EQ(m_host->AskForError(strRequest), "");
        }
        EXPECT_EQ(m_host->AskFor("status login", "result"), "0");
    }

    std::string WaitForLine(const std::string& strText) {
        return m_host->AskForError(R"({"do":"wait","event":"WriteLog","after":0,"match":{"line":")" + strText +
                                   R"("}})");
    }

    CScratchFolder m_folder;
    std::unique_ptr<CServerProcess> m_server;
    std::optional<CHostProcess> m_host;
};

TEST_F(TopicRoadTest, TheOrderLimitsOfAStockComeThroughTheTable) {
    m_host->Ask("watch LUMIVALE.REQUEST");
    m_host->Ask(R"(topic LUMIVALE.REQUEST 0 0 STKINFO QV.S.SSE.1)");
    EXPECT_EQ(WaitForLine("STKINFO empty:QV.S.SSE.1"), "");
    EXPECT_EQ(m_host->AskFor("get LUMIVALE.REQUEST QV.S.SSE.1", "value"), "null");
    m_host->Ask(R"(topic LUMIVALE.REQUEST 0 0 STKINFO QV.S.SSE.600000)");
    EXPECT_EQ(m_host->AskForError("wait OnUpdate table=LUMIVALE.REQUEST key=QV.S.SSE.600000"), "");
    EXPECT_THAT(m_host->AskFor("get LUMIVALE.REQUEST QV.S.SSE.600000", "value"),
                MatchesRegex(R"("[0-9]+\|[0-9]+\|[0-9]+\|[0-9]+")"));
}

TEST_F(TopicRoadTest, ASignInHasTheUsersHotMonthsAndTheMovedRollsSeenTo) {
    EXPECT_EQ(WaitForLine("strTopic=UpdateUDHotMonth, lMsgTYPE=1, lParam=1, strParam=ALL."), "");
    EXPECT_EQ(WaitForLine("WM_QUERY_BA. msg.wParam=ALL."), "");
    EXPECT_EQ(WaitForLine("OnLumTimer ID:999"), "");
    EXPECT_EQ(m_host->Finish(), 0);
}

TEST_F(TopicRoadTest, RequestsAfterAStopAreRefusedAndTheNextSignInTakesThemAgain) {
    EXPECT_EQ(WaitForLine("WM_QUERY_BA. msg.wParam=ALL."), "");
    m_host->Ask("status stop");
    m_host->Ask("topic UpdateUDHotMonth 0 1 Mine");
    EXPECT_EQ(WaitForLine("PostThreadMessage Fail! (UpdateUDHotMonth) ErrorCode:3"), "");
    EXPECT_EQ(m_host->AskFor("status login", "result"), "0");
    m_host->Ask("topic UpdateUDHotMonth 0 1 Mine");
    EXPECT_EQ(WaitForLine("WM_QUERY_BA. msg.wParam=Mine."), "");
    EXPECT_EQ(m_host->Finish(), 0);
}

}  // namespace

}  // namespace qvant::test
