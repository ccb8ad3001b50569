// A server that goes wrong when it is told to.
#include <cerrno>
#include <chrono>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/refserver_fixture.h"

namespace qvant::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using Clock = std::chrono::steady_clock;

const std::string Probe = "/OutsideData_getMainLastVer.do";

class RefserverFaults : public testing::Test {
protected:
    void Tell(const std::string& strFaults) { ASSERT_TRUE(PostFaults(*m_pServer, strFaults)) << strFaults; }

    /// Waits until the server has taken a request for the probe.
    void WaitForProbe() const {
        while (Get(*m_pServer, "/_control/requests").strBody.find(Probe) == std::string::npos) {
        }
    }

    CSmallWorld m_world;
    std::unique_ptr<CServerProcess> m_pServer = CServerProcess::Serve(m_world.GetPath());
};

TEST_F(RefserverFaults, DelaysAReplyAsOftenAsTold) {
    Tell(R"([{"match":"LastVer","kind":"delay","ms":150,"times":1}])");
    const auto start = Clock::now();
    EXPECT_EQ(Get(*m_pServer, Probe).nStatus, 200);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(150));
    EXPECT_THAT(Get(*m_pServer, "/_control/faults").strBody, HasSubstr("\"times\":0"));
}

TEST_F(RefserverFaults, LeavesOtherPathsAlone) {
    Tell(R"([{"match":"LastVer","kind":"status","code":503}])");
    EXPECT_EQ(Get(*m_pServer, Probe).nStatus, 503);
    EXPECT_EQ(Get(*m_pServer, MainForm("-1")).nStatus, 200);
}

TEST_F(RefserverFaults, DripsABodyByTheSecond) {
    const std::size_t nBody = Get(*m_pServer, Probe).strBody.size();
    Tell(R"([{"match":"LastVer","kind":"slow","rate":200}])");
    const auto start = Clock::now();
    EXPECT_EQ(Get(*m_pServer, Probe).strBody.size(), nBody);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(nBody * 1000 / 200 * 3 / 4));
}

TEST_F(RefserverFaults, ClosesInTheMiddleOfABody) {
    const std::size_t nBody = Get(*m_pServer, Probe).strBody.size();
    Tell(R"([{"match":"LastVer","kind":"cut","bytes":5}])");
    CRawClient client(*m_pServer, Probe);
    const std::string strReply = client.ReadAll();
    EXPECT_EQ(client.GetError(), 0);
    EXPECT_THAT(strReply, HasSubstr("Content-Length: " + std::to_string(nBody) + "\r\n"));
    EXPECT_THAT(strReply, EndsWith("\r\n\r\n{\"Las"));
}

TEST_F(RefserverFaults, ResetsTheConnection) {
    Tell(R"([{"match":"LastVer","kind":"reset","times":1}])");
    CRawClient client(*m_pServer, Probe);
    EXPECT_EQ(client.ReadAll(), "");
    EXPECT_EQ(client.GetError(), ECONNRESET);
    EXPECT_EQ(Get(*m_pServer, Probe).nStatus, 200);
}

TEST_F(RefserverFaults, SendsABodyThatIsNoJson) {
    Tell(R"([{"match":"MainForm","kind":"garbage"}])");
    const auto answer = Get(*m_pServer, MainForm("-1"), true);
    EXPECT_EQ(answer.nStatus, 200);
    EXPECT_FALSE(answer.strBody.empty());
    EXPECT_TRUE(ToJson(answer.strBody).HasParseError());
}

TEST_F(RefserverFaults, SendsAnEmptyBody) {
    Tell(R"([{"match":"","kind":"empty"}])");
    const auto answer = Get(*m_pServer, MainForm("-1"));
    EXPECT_EQ(answer.nStatus, 200);
    EXPECT_EQ(answer.strBody, "");
}

TEST_F(RefserverFaults, AsksForARefreshTheFirstTimes) {
    Tell(R"([{"match":"LastVer","kind":"refresh","times":2}])");
    for (const bool bRefresh : {true, true, false}) {
        CRawClient client(*m_pServer, Probe);
        const bool bFound = client.ReadAll().find("\r\nRefresh: 0\r\n") != std::string::npos;
        EXPECT_EQ(bFound, bRefresh);
    }
}

TEST_F(RefserverFaults, SendsGzipThatCannotBeUnpacked) {
    Tell(R"([{"match":"MainForm","kind":"wrong-gzip"}])");
    const auto answer = Get(*m_pServer, MainForm("-1"), true);
    EXPECT_EQ(answer.strBody.substr(0, 2), "\x1f\x8b");
    EXPECT_EQ(Gunzip(answer.strBody), "");
}

TEST_F(RefserverFaults, HangsWhileOthersAreServedAndEndsWithTheServer) {
    Tell(R"([{"match":"LastVer","kind":"hang"}])");
    CRawClient client(*m_pServer, Probe);
    WaitForProbe();
    EXPECT_EQ(Get(*m_pServer, MainForm("-1")).nStatus, 200);
    EXPECT_FALSE(client.HasNews());
    const auto start = Clock::now();
    EXPECT_EQ(m_pServer->Stop(), 0);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(client.ReadAll(), "");
}

TEST_F(RefserverFaults, EndsAtOnceInADelayAndInADrip) {
    Tell(R"([{"match":"LastVer","kind":"delay","ms":600000},{"match":"MainForm","kind":"slow","rate":1}])");
    CRawClient delayed(*m_pServer, Probe);
    CRawClient dripped(*m_pServer, MainForm("-1"));
    WaitForProbe();
    const auto start = Clock::now();
    EXPECT_EQ(m_pServer->Stop(), 0);
    EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
}

TEST_F(RefserverFaults, CombinesAllThatMatch) {
    Tell(R"([{"match":"LastVer","kind":"status","code":500},{"match":"Outside","kind":"empty"}])");
    const auto answer = Get(*m_pServer, Probe);
    EXPECT_EQ(answer.nStatus, 500);
    EXPECT_EQ(answer.strBody, "");
    EXPECT_NE(m_pServer->GetOutput().WaitForText("fault=status,empty"), "");
}

TEST_F(RefserverFaults, ShowsAndClearsTheList) {
    const std::string strFaults = R"([{"match":"a","kind":"cut","bytes":3,"times":4},{"match":"b","kind":"hang"}])";
    Tell(strFaults);
    EXPECT_EQ(Get(*m_pServer, "/_control/faults").strBody, strFaults);
    httplib::Client client("127.0.0.1", m_pServer->GetPort());
    EXPECT_EQ(client.Delete("/_control/faults")->status, 200);
    EXPECT_EQ(Get(*m_pServer, "/_control/faults").strBody, "[]");
}

TEST_F(RefserverFaults, RefusesFaultsThatMakeNoSenseAndKeepsTheOldOnes) {
    Tell(R"([{"match":"a","kind":"reset"}])");
    for (const std::string strBad :
         {"", "{", "{}", "[1]", R"([{"match":"a"}])", R"([{"match":"a","kind":"dance"}])", R"([{"kind":"delay"}])",
          R"([{"kind":"status","code":42}])", R"([{"kind":"slow","rate":0}])", R"([{"kind":"delay","ms":"1"}])",
          R"([{"kind":"hang","times":-1}])", R"([{"match":3,"kind":"hang"}])"}) {
        EXPECT_FALSE(PostFaults(*m_pServer, strBad)) << strBad;
    }
    EXPECT_EQ(Get(*m_pServer, "/_control/faults").strBody, R"([{"match":"a","kind":"reset"}])");
}

TEST_F(RefserverFaults, CountsRequestsByPathAndControlNotAtAll) {
    Get(*m_pServer, MainForm("-1"));
    Get(*m_pServer, MainForm("x"));
    Get(*m_pServer, Probe);
    EXPECT_EQ(Get(*m_pServer, "/_control/requests").strBody,
              R"({"/OutsideData_getMainForm.do":2,"/OutsideData_getMainLastVer.do":1})");
}

TEST(RefserverFaultOption, WorksFromTheStart) {
    const CSmallWorld world;
    const auto pServer = CServerProcess::Serve(
        world.GetPath(), {"--fault", "LastVer:status=404", "--fault", "MainForm:refresh=1", "--fault", ":delay=1"});
    EXPECT_EQ(Get(*pServer, Probe).nStatus, 404);
    CRawClient first(*pServer, MainForm("-1"));
    EXPECT_THAT(first.ReadAll(), HasSubstr("Refresh: 0"));
    CRawClient second(*pServer, MainForm("-1"));
    EXPECT_THAT(second.ReadAll(), testing::Not(HasSubstr("Refresh: 0")));
}

}  // namespace
}  // namespace qvant::test
