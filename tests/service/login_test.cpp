#include <filesystem>

#include "service_fixture.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST_F(ServiceTest, TheFirstSignInBuildsEverythingFromTheNetwork) {
    SignIn();
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"00:45");
    EXPECT_EQ(m_host.Get(u"orderExchange", u"mo"), u"TWF");
    EXPECT_EQ(m_host.Get(u"Underlying.List", u"QV.O.TWF.TXO"), u"QV.F.TWF.TXF");
    EXPECT_EQ(m_host.Get(u"OptionStyle", u"QV.O.TWF.TXO"), u"0");
    EXPECT_TRUE(m_host.HasLogged("LonginOk m_hThreadPreProcessData Done"));
    EXPECT_THAT(m_host.GetLog(), Not(Contains("LonginOk WaitForSingleObject : m_hThreadPreProcessData")));
    EXPECT_TRUE(m_host.HasLogged("MakeInitData-Start"));
    Leave();
}

TEST_F(ServiceTest, TheQueryCarriesTheUserAndTheRequestId) {
    m_folder.Write("terminal/ComShared/DrovaneService.ini", "[SERVER_INFO]\r\nAppName=QDESK\r\n");
    SignIn();
    ASSERT_EQ(m_server.GetTargets().size(), 1u);
    EXPECT_THAT(m_server.GetTargets()[0],
                StartsWith("/OutsideData_getMainForm.do?lastVersion=-1&type=ALL&ACCOUNT=user1&REGION=TWN&APP_NAME=QDESK"
                           "&KEY=k1&Z=MakeContractList_"));
    EXPECT_TRUE(m_host.HasLogged("LoginID:user1, Region=TWN, AppName=QDESK, SessionKey:k1"));
    Leave();
}

TEST_F(ServiceTest, SignInSavesTheRunState) {
    m_host.SetRows(u"PERMISSIONS.LUMIVale",
                   {u"Classification=fut:1", u"CurrencyRate=usd:us$;x", u"nothing", u"Other=1"});
    SignIn();
    EXPECT_EQ(ReadSetting(u"LUMIValeURL"), m_server.GetUrl());
    EXPECT_EQ(ReadSetting(u"Version"), u"7");
    EXPECT_EQ(ReadSetting(u"InfoListType"), u"ALL");
    EXPECT_EQ(ReadSetting(u"Classification"), u"FUT:1|");
    EXPECT_EQ(ReadSetting(u"AppsLanguage"), u"ENG");
    EXPECT_EQ(ReadSetting(u"CurrencyRate"), u"usd:us$;x");
    EXPECT_EQ(ReadSetting(u"AppsProxyPort"), u"0");
    EXPECT_EQ(ReadSetting(u"ExgList"), u"?");
    EXPECT_EQ(m_host.Get(u"CurrencyMapping", u"USD"), u"US$");
    Leave();
}

TEST_F(ServiceTest, ASecondStartWithoutNewsDownloadsNothingAndTakesTheShortWay) {
    SignIn();
    Leave();
    const auto nFirst = m_server.GetTargets().size();
    m_host.Forget();
    Load();
    SignIn();
    ASSERT_EQ(m_server.GetTargets().size(), nFirst + 1);
    EXPECT_THAT(m_server.GetTargets().back(), HasSubstr("lastVersion=7&"));
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = 0 "));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("diff:"))));
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"00:45");
    Leave();
}

TEST_F(ServiceTest, AStartWithEveryServerDownServesWhatTheDiskHas) {
    SignIn();
    Leave();
    m_server.AnswerAlways("down", 503);
    for (const auto* pszTable : {u"Security.Info", u"OpenTimeExchange", u"orderExchange"}) {
        m_host.DropTable(pszTable);
        m_host.MakeTable(pszTable);
    }
    m_host.Forget();
    Load();
    SignIn();
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"00:45");
    EXPECT_EQ(m_host.Get(u"orderExchange", u"mo"), u"TWF");
    EXPECT_TRUE(m_host.HasLogged("PostErrorMsg:Http STATUS_CODE Fail(503)"));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));
    Leave();
}

TEST_F(ServiceTest, ALostFileForcesAFullDownloadWhateverVersionWasStored) {
    SignIn();
    Leave();
    std::filesystem::remove(m_folder.GetPath() / "terminal/Configs/LumivaleInfo.dat");
    Load();
    SignIn();
    EXPECT_THAT(m_server.GetTargets().back(), HasSubstr("lastVersion=-1&"));
    EXPECT_EQ(ReadSetting(u"Version"), u"7");
    Leave();
}

TEST_F(ServiceTest, AnEmptyListTypeStaysEmptyAndDiffersFromAll) {
    Permit(m_server.GetUrl(), u"");
    SignIn();
    EXPECT_TRUE(m_host.HasLogged(Narrow(u"diff:" + m_server.GetUrl() + u", ; , ALL")));
    EXPECT_THAT(m_server.GetTargets().back(), HasSubstr("&type=&ACCOUNT"));
    Leave();
}

TEST_F(ServiceTest, ALanguageChangeWithTheSameClassificationSetsItsBit) {
    SignIn();
    m_host.Set(u"GeneralService", {{u"AppsLanguage", u"CHT"}});
    m_host.Forget();
    Status(SYSTEM_STATUS_LOGIN);
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = L_REQUERY_CLASSOFOCATION "));
    EXPECT_EQ(ReadSetting(u"AppsLanguage"), u"CHT");
    Leave();
}

TEST_F(ServiceTest, ChangedCurrencyPairsAloneGiveOnlyTheCurrencyBit) {
    SignIn();
    m_host.SetRows(u"PERMISSIONS.LUMIVale", {u"CurrencyRate=nothing mapped"});
    m_host.Forget();
    Status(SYSTEM_STATUS_LOGIN);
    EXPECT_TRUE(m_host.HasLogged("LonginOk InitContractList return = L_REQUERY_CURRENCYRATE "));
    EXPECT_FALSE(m_host.HasLogged("LonginOk InitContractList return = 0 "));
    EXPECT_EQ(ReadSetting(u"CurrencyRate"), u"nothing mapped");
    Leave();
}

TEST_F(ServiceTest, TheProxyOfTheUserIsTakenOverAndSaved) {
    m_host.Set(u"GeneralService", {{u"AppsProxyAddress", u"127.0.0.1"},
                                   {u"AppsProxyPort", u"0"},
                                   {u"AppsProxyAccount", u"me"},
                                   {u"AppsProxyPassword", u"pw"}});
    SignIn();
    EXPECT_EQ(ReadSetting(u"ProxyAddress"), u"127.0.0.1");
    EXPECT_EQ(ReadSetting(u"AppsProxyAccount"), u"me");
    EXPECT_EQ(ReadSetting(u"AppsProxyPassword"), u"pw");
    EXPECT_EQ(m_server.GetTargets().size(), 1u);
    Leave();
}

TEST_F(ServiceTest, AUserWithEveryRightIsMarkedInTheWorkingTable) {
    m_host.Set(u"PERMISSIONS.AppsTradePermission", {{u"AllAppsTrade", u"1"}});
    SignIn();
    EXPECT_EQ(m_host.Get(u"AppsTradePermission", u"AllAppsTrade"), u"1");
    EXPECT_TRUE(m_host.HasLogged("Set AppsTradePermission:1"));
    Leave();
}

TEST_F(ServiceTest, AHostWithoutStorageSignsInAllTheSame) {
    m_host.DropTable(u"STORAGE");
    SignIn();
    EXPECT_EQ(m_host.Get(u"OpenTimeExchange", u"QV.F.TWF"), u"00:45");
    EXPECT_EQ(ReadSetting(u"Version"), u"?");
    Leave();
}

TEST_F(ServiceTest, AHostWithoutSignInTablesIsNoCrash) {
    for (const auto* pszTable : {u"GeneralService", u"PERMISSIONS.General", u"PERMISSIONS.LUMIVale"}) {
        m_host.DropTable(pszTable);
    }
    SignIn();
    EXPECT_TRUE(m_server.GetTargets().empty());
    Status(SYSTEM_STATUS_STOP);
}

}  // namespace qvant::test
