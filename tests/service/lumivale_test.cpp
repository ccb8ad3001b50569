#include <filesystem>
#include <future>

#include "service_fixture.h"
#include "support/stop_limit.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using Clock = std::chrono::steady_clock;

TEST_F(ServiceTest, ConstructionMakesTheRollFoldersAndLeavesThemWhereTheyAre) {
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.GetPath() / "common/Qvant/HotChange"));
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.GetPath() / "common/Qvant/ExpireDate"));
    m_folder.Write("common/Qvant/HotChange/kept.txt", "kept");
    Load();
    EXPECT_EQ(m_folder.Read("common/Qvant/HotChange/kept.txt"), "kept");
}

TEST_F(ServiceTest, InitRegistersTablesAndTopicsInTheirOrder) {
    Status(SYSTEM_STATUS_INIT);
    std::vector<std::string> arRegistered;
    for (const auto& strLine : m_host.GetSaid()) {
        if (strLine.starts_with("Register")) arRegistered.push_back(strLine);
    }
    EXPECT_THAT(
        arRegistered,
        ElementsAre("RegisterTable orderExchange", "RegisterTable AppsTradePermission",
                    "RegisterTopic LUMIVALE.REQUEST", "RegisterTable OpenTimeExchange", "RegisterTable LongMarginRate",
                    "RegisterTable ShortMarginRate", "RegisterTable ExpireDate", "RegisterTable HOTCHANGE.REQUEST",
                    "RegisterTopic HOTCHANGE.REQUEST", "RegisterTable EXPIREDATE.REQUEST",
                    "RegisterTopic EXPIREDATE.REQUEST", "RegisterTable CQYZ.REQUEST", "RegisterTopic CQYZ.REQUEST",
                    "RegisterTopic API_CQYZ.REQUEST", "RegisterTopic API_UpdateUDHotMonth",
                    "RegisterTopic UpdateUDHotMonth", "RegisterTable Security.Info", "RegisterTable HOTMONTHTABLE",
                    "RegisterTable CurrencyExchangeRate", "RegisterTable CurrencyMapping",
                    "RegisterTable Underlying.List", "RegisterTable Underlying.F.List", "RegisterTable OptionStyle",
                    "RegisterTable NearbyMonth", "RegisterTable NEARMONTHTABLE", "RegisterTable Symbol.Search.Name",
                    "RegisterTable Holiday", "RegisterTable Contract.List", "RegisterTable Contract.List.Name"));
}

TEST_F(ServiceTest, AForeignStatusOrSubStatusDoesNothingAndReturnsZero) {
    EXPECT_EQ(m_service->OnSystemStatus(2, SYSTEM_STATUS_INIT), S_OK);
    EXPECT_EQ(m_service->OnSystemStatus(SYSTEM_STATUS, 3), S_OK);
    EXPECT_TRUE(m_host.GetSaid().empty());
}

TEST_F(ServiceTest, InitTellsTheOptionsOfTheInstallation) {
    m_folder.Write("terminal/ComShared/CustomSetting.ini",
                   "[LUMIVale]\r\nHideErrorMsg=1\r\nResponseInterval=-7\r\nSTKINFO=CGI\r\n");
    Status(SYSTEM_STATUS_INIT);
    EXPECT_TRUE(m_host.HasLogged("HideErrorMsg:1, ResponseInterval=50, stkinfo cgi=1"));
}

TEST_F(ServiceTest, InitRemovesTheTemporaryFilesOfAKilledProcess) {
    const std::vector<std::string> arStale = {
        "terminal/Configs/.lumivale-Ab12Cd.tmp", "common/Qvant/.lumivale-000000.tmp",
        "common/Qvant/HotChange/.lumivale-Gh56Ij.tmp", "common/Qvant/ExpireDate/.lumivale-Kl78Mn.tmp"};
    for (const std::string& strStale : arStale) m_folder.Write(strStale, "half");
    m_folder.Write("terminal/Configs/.lumivale-notes", "kept");
    Status(SYSTEM_STATUS_INIT);
    for (const std::string& strStale : arStale) EXPECT_FALSE(std::filesystem::exists(m_folder.GetPath() / strStale));
    EXPECT_EQ(m_folder.Read("terminal/Configs/.lumivale-notes"), "kept");
}

TEST_F(ServiceTest, AServerListOfSeparatorsOnlyIsAnInvalidArgument) {
    m_folder.Write("LUMIVale.ini", "[LUMIVale]\r\nLUMIValeURL=|||\r\n");
    EXPECT_EQ(Status(SYSTEM_STATUS_INIT), E_INVALIDARG);
}

TEST_F(ServiceTest, WithoutAStoredListTheParentFoldersFileNamesTheServers) {
    m_folder.Write("LUMIVale.ini", "[LUMIVale]\r\nLUMIValeURL=" + Narrow(m_server.GetUrl()) + "\r\n");
    Status(SYSTEM_STATUS_INIT);
    ASSERT_TRUE(m_host.WaitForLog("LoadSecuritiesInfo-End"));
    EXPECT_TRUE(std::filesystem::is_directory(m_folder.GetPath() / "terminal/Configs"));
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"00:45");
    Leave();
}

TEST_F(ServiceTest, StartTellsSo) {
    Status(SYSTEM_STATUS_START);
    EXPECT_TRUE(m_host.HasLogged("SYSTEM_STATUS_START"));
}

TEST_F(ServiceTest, ExitWithoutAServerListWaitsTenSecondsForASelectionThatNeverCame) {
    Status(SYSTEM_STATUS_INIT);
    const auto start = Clock::now();
    Status(SYSTEM_STATUS_EXIT);
    const auto taken = Clock::now() - start;
    EXPECT_GE(taken, std::chrono::milliseconds(9900));
    EXPECT_LT(taken, std::chrono::seconds(15));
    const auto again = Clock::now();
    Status(SYSTEM_STATUS_EXIT);
    EXPECT_LT(Clock::now() - again, std::chrono::seconds(5));
}

TEST_F(ServiceTest, StopAndExitCutAHangingFirstLoadShort) {
    m_folder.Write("LUMIVale.ini", "[LUMIVale]\r\nLUMIValeURL=" + Narrow(m_server.GetUrl()) + "\r\n");
    m_server.Hang();
    Status(SYSTEM_STATUS_INIT);
    m_server.WaitForQuery();
    const auto start = Clock::now();
    Leave();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
}

TEST_F(ServiceTest, AStopFromAnotherThreadEndsASignInThatHangs) {
    m_server.Hang();
    Status(SYSTEM_STATUS_INIT);
    auto login = std::async(std::launch::async, [this] { return Status(SYSTEM_STATUS_LOGIN); });
    m_server.WaitForQuery();
    const auto start = Clock::now();
    Leave();
    login.get();
    EXPECT_LT(Clock::now() - start, STOP_LIMIT);
    EXPECT_FALSE(m_host.HasLogged("MakeInitData-Start"));
}

TEST_F(ServiceTest, ATimeThatCantBeBecomesTheCodeOfTheCallAndTheTablesStand) {
    SignIn();
    m_server.Publish("8", R"({"LastVersion":"8","SecuritiesInfo":{"QV.F.X.Y":{"OpenCloseTime":"99:99~10:00"}}})");
    Permit(m_server.GetUrl() + u"|" + m_server.GetUrl());
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), E_FAIL);
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"00:45");
    const auto pInfo = m_host.Open(u"Security.Info");
    EXPECT_NE(pInfo->GetSubTable(u"QV.F.TWF", nullptr), nullptr);

    m_server.Publish("9", R"({"LastVersion":"9","SecuritiesInfo":{"QV.F.X.Y":{"OpenCloseTime":"09:00~10:00"}}})");
    Permit(m_server.GetUrl());
    EXPECT_EQ(Status(SYSTEM_STATUS_LOGIN), S_OK);
    EXPECT_NE(pInfo->GetSubTable(u"QV.F.X", nullptr), nullptr);
    EXPECT_EQ(pInfo->GetSubTable(u"QV.F.TWF", nullptr), nullptr);
    Leave();
}

TEST_F(ServiceTest, ATimeThatCantBeInTheFirstLoadEndsNoThread) {
    m_server.Publish("8", R"({"LastVersion":"8","SecuritiesInfo":{"QV.F.X.Y":{"OpenCloseTime":"99:99~10:00"}}})");
    m_folder.Write("LUMIVale.ini", "[LUMIVale]\r\nLUMIValeURL=" + Narrow(m_server.GetUrl()) + "\r\n");
    Status(SYSTEM_STATUS_INIT);
    EXPECT_TRUE(m_host.WaitForLog("PreProcessData Fail, Error : 80004005"));
    Leave();
}

TEST_F(ServiceTest, AServiceDestroyedInTheMiddleLeavesNothingRunning) {
    m_folder.Write("LUMIVale.ini", "[LUMIVale]\r\nLUMIValeURL=" + Narrow(m_server.GetUrl()) + "\r\n");
    m_server.Hang();
    Status(SYSTEM_STATUS_INIT);
    m_server.WaitForQuery();
    m_service.reset();
    SUCCEED();
}

}  // namespace qvant::test
