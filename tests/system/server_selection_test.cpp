/// Three real servers of different speed, and the host that has to find the fastest.

#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/scratch_folder.h"
#include "system/host_process.h"
#include "system/server_process.h"

namespace qvant::test {

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* STATUS_INIT = R"({"do":"status","status":1,"sub":1})";
constexpr const char* STATUS_START = R"({"do":"status","status":1,"sub":2})";
constexpr const char* STATUS_LOGIN = R"({"do":"status","status":1,"sub":9})";

class ThreeServersTest : public ::testing::Test {
protected:
    ThreeServersTest() {
        m_folder.Write("terminal/ComShared/cities.txt", "Taipei,Taipei Standard Time\n");
        m_folder.Write("world/world.json", R"({"version":"test"})");
        m_folder.Write("world/securities/TWF.json",
                       R"({"QV.F.TWF.TXF":{"TimeZone":"Asia/Taipei","OpenCloseTime":"08:45~13:45","EXG.mo":"x"}})");
        // In this order no random start lets one overtake another, whatever the handicap.
        for (const char* pszDelay : {"0", "800", "400"}) {
            m_arServers.push_back(CServerProcess::Serve(m_folder.GetPath() / "world",
                                                        {"--fault", std::string("getMainLastVer:delay=") + pszDelay}));
        }
    }

    void SignIn() {
        m_host.reset();
        m_host.emplace(std::vector<std::string>{"--home", (m_folder.GetPath() / "terminal").string(), "--common-data",
                                                (m_folder.GetPath() / "common").string()});
        const std::string strServers =
            m_arServers[FAST]->GetUrl() + "|" + m_arServers[SLOW]->GetUrl() + "|" + m_arServers[MIDDLE]->GetUrl();
        m_host->Ask(R"({"do":"set","table":"PERMISSIONS.LUMIVale","values":{"InfoListType":"ALL","LUMIValeURL":")" +
                    strServers + R"("}})");
        m_host->Ask(R"({"do":"set","table":"GeneralService","values":{"AppsLanguage":"ENG"}})");
        for (const char* pszStatus : {STATUS_INIT, STATUS_START, STATUS_LOGIN}) {
            EXPECT_EQ(m_host->AskFor(pszStatus, "result"), "0");
        }
    }
    std::vector<std::string> Log() { return m_host->GetEvents("WriteLog"); }
    std::size_t CountQueries(std::size_t nServer, std::string_view strDocument) const {
        std::size_t nQueries = 0;
        for (const std::string& strLine : m_arServers[nServer]->GetOutput().GetLines()) {
            nQueries += strLine.find(strDocument) != std::string::npos;
        }
        return nQueries;
    }

    static constexpr std::size_t FAST = 0;
    static constexpr std::size_t SLOW = 1;
    static constexpr std::size_t MIDDLE = 2;
    CScratchFolder m_folder;
    std::vector<std::unique_ptr<CServerProcess>> m_arServers;
    std::optional<CHostProcess> m_host;
};

}  // namespace

TEST_F(ThreeServersTest, TheFastestIsAskedAndTheNextOneWhenItHasDied) {
    SignIn();
    EXPECT_THAT(Log(), Contains(HasSubstr("The fastest server:" + m_arServers[FAST]->GetUrl())));
    EXPECT_EQ(m_host->Finish(), 0);
    m_arServers[FAST]->Stop();
    EXPECT_EQ(CountQueries(FAST, "getMainForm"), 1U);
    EXPECT_EQ(CountQueries(FAST, "getMainLastVer"), 1U);

    SignIn();
    EXPECT_THAT(Log(), Contains(HasSubstr("The fastest server:" + m_arServers[MIDDLE]->GetUrl())));
    EXPECT_THAT(Log(), Not(Contains(HasSubstr("QuerySecuritiesInfo Fail:"))));
    EXPECT_THAT(Log(), Not(Contains(HasSubstr("diff:")))) << "a dead server changed the list";
    EXPECT_EQ(m_host->Finish(), 0);
    m_arServers[MIDDLE]->Stop();
    EXPECT_EQ(CountQueries(MIDDLE, "getMainForm"), 1U);
    m_arServers[SLOW]->Stop();
    EXPECT_EQ(CountQueries(SLOW, "getMainForm"), 0U);
    EXPECT_EQ(CountQueries(SLOW, "getMainLastVer"), 2U);
}

}  // namespace qvant::test
