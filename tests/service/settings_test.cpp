#include "service/settings.h"

#include <gtest/gtest.h>

#include "platform/profile.h"
#include "support/scratch_folder.h"

namespace qvant::test {

class SettingsTest : public ::testing::Test {
protected:
    SettingsTest() { m_settings.SetHomeDir(m_folder / "terminal/"); }

    void WriteRunState(const std::string& strKeys) {
        m_folder.Write("terminal/Configs/LUMIVale.ini", "[LUMIVale]\r\n" + strKeys);
    }
    Text ReadSetting(TextView strKey) {
        return platform::GetProfileText(u"LUMIVale", strKey, u"?", 4096, m_folder / "terminal/Configs/LUMIVale.ini");
    }

    CScratchFolder m_folder;
    CSettings m_settings;
    RunState m_state;
    ProxySettings m_proxy;
};

TEST_F(SettingsTest, MissingFilesGiveTheDefaults) {
    const Options options = m_settings.ReadOptions();
    EXPECT_EQ(options.strAppName, u"FREE");
    EXPECT_EQ(options.nHideErrorMsg, 0);
    EXPECT_EQ(options.nResponseInterval, 50);
    EXPECT_FALSE(options.bStkInfoCgi);
    m_settings.ReadRunState(m_state, m_proxy);
    EXPECT_EQ(m_state.m_strInfoListType, u"ALL");
    EXPECT_EQ(m_state.m_strVersion, u"");
    EXPECT_EQ(m_proxy.nPort, 0u);
}

TEST_F(SettingsTest, AResponseIntervalOfZeroMeansNoStaggerAndANegativeOneTheDefault) {
    m_folder.Write("terminal/ComShared/CustomSetting.ini", "[LUMIVale]\nResponseInterval=0\n");
    EXPECT_EQ(m_settings.ReadOptions().nResponseInterval, 0);
    m_folder.Write("terminal/ComShared/CustomSetting.ini", "[LUMIVale]\nResponseInterval=-7\n");
    EXPECT_EQ(m_settings.ReadOptions().nResponseInterval, 50);
}

TEST_F(SettingsTest, AReplyLimitOutsideOfItsRangeIsTheDefault) {
    EXPECT_EQ(m_settings.ReadOptions().nReplyLimit, 512);
    for (const auto& [strValue, nLimit] : std::map<std::string, int>{{"1", 1},
                                                                     {"64", 64},
                                                                     {"4095", 4095},
                                                                     {"4096", 512},
                                                                     {"0", 512},
                                                                     {"-1", 512},
                                                                     {"", 512},
                                                                     {"much", 512},
                                                                     {"99999999999999999999", 512}}) {
        m_folder.Write("terminal/ComShared/CustomSetting.ini", "[LUMIVale]\nReplyLimit=" + strValue + "\n");
        EXPECT_EQ(m_settings.ReadOptions().nReplyLimit, nLimit) << strValue;
    }
}

TEST_F(SettingsTest, OnlyTheWordCgiTurnsTheStockInfoFlagOn) {
    m_folder.Write("terminal/ComShared/CustomSetting.ini", "[LUMIVale]\nSTKINFO=CGI\n");
    EXPECT_TRUE(m_settings.ReadOptions().bStkInfoCgi);
    m_folder.Write("terminal/ComShared/CustomSetting.ini", "[LUMIVale]\nSTKINFO=WEB\n");
    EXPECT_FALSE(m_settings.ReadOptions().bStkInfoCgi);
}

TEST_F(SettingsTest, TheHostOfTheHolidaysIsThatOfTheInstallationOrNone) {
    EXPECT_EQ(m_settings.ReadOptions().strHolidayHost, u"");
    m_folder.Write("terminal/ComShared/CustomSetting.ini", "[LUMIVale]\nHolidayHost = files.example:8080\n");
    EXPECT_EQ(m_settings.ReadOptions().strHolidayHost, u"files.example:8080");
}

TEST_F(SettingsTest, TheRunStateIsReadWithItsListsSplit) {
    WriteRunState(
        "Classification=FUT|OPT:2|\r\nVersion=12\r\nInfoListType=PRO\r\nContractVersion=CME:1|TWF:2|\r\n"
        "AppsLanguage=CHT\r\nProxyAddress=proxy\r\nAppsProxyPort=3128\r\nAppsProxyAccount=a\r\nAppsProxyPassword=p\r\n"
        "StkInofVersion=SSE:5|\r\nCurrencyRate=USD:US$\r\nExgList=CME||TWF\r\n");
    m_settings.ReadRunState(m_state, m_proxy);
    m_settings.ReadExchangeList(m_state);
    EXPECT_EQ(m_state.m_arClassification, (std::vector<Text>{u"FUT", u"OPT:2"}));
    EXPECT_EQ(m_state.m_strVersion, u"12");
    EXPECT_EQ(m_state.m_strInfoListType, u"PRO");
    EXPECT_EQ(m_state.m_mapContractVersion, (std::map<Text, Text>{{u"CME", u"1"}, {u"TWF", u"2"}}));
    EXPECT_EQ(m_state.AppsLanguage, u"CHT");
    EXPECT_EQ(m_proxy.strAddress, u"proxy");
    EXPECT_EQ(m_proxy.nPort, 3128u);
    EXPECT_EQ(m_proxy.strAccount, u"a");
    EXPECT_EQ(m_proxy.strPassword, u"p");
    EXPECT_EQ(m_state.m_mapStkInfoVersion, (std::map<Text, Text>{{u"SSE", u"5"}}));
    EXPECT_EQ(m_state.m_strCurrencyRate, u"USD:US$");
    EXPECT_EQ(m_state.m_strExgList, u"CME||TWF");
    EXPECT_EQ(m_state.m_mapExchanges, (TextSet{u"CME", u"TWF"}));
}

TEST_F(SettingsTest, AContractVersionBeyondTheBufferLosesItsTail) {
    std::string strVersions;
    for (int i = 0; i < 60; ++i) strVersions += "EX" + std::to_string(100 + i) + ":1|";
    WriteRunState("ContractVersion=" + strVersions + "\r\n");
    m_settings.ReadRunState(m_state, m_proxy);
    EXPECT_TRUE(m_state.m_mapContractVersion.contains(u"EX100"));
    EXPECT_FALSE(m_state.m_mapContractVersion.contains(u"EX159"));
    EXPECT_LE(m_state.m_mapContractVersion.size(), 32u);
}

TEST_F(SettingsTest, TheServerListOfTheRunStateWinsOverTheParentFolders) {
    m_folder.Write("LUMIVale.ini", "[LUMIVale]\nLUMIValeURL=http://parent/\n");
    EXPECT_EQ(m_settings.ReadServerList(), u"http://parent/");
    WriteRunState("LUMIValeURL=http://own/\r\n");
    EXPECT_EQ(m_settings.ReadServerList(), u"http://own/");
}

TEST_F(SettingsTest, SavingCreatesTheFileAsWideTextAndWritesEveryKeyButTheExchangeList) {
    m_settings.ReadServerList();
    const auto pLumivale = CBaseData::CreateNew();
    CTransaction transaction(*pLumivale);
    transaction.SetValue(u"Version", u"v9");
    transaction.Commit();
    m_state.m_strVersion = u"only in the member";
    m_state.m_strLumivaleURL = u"http://a/|http://b/";
    m_state.m_mapContractVersion = {{u"CME", u"1"}, {u"TWF", u"2"}};
    m_state.m_mapStkInfoVersion = {{u"SSE", u"5"}};
    m_state.m_strHotChangeURL = u"http://h/";
    m_state.m_strExpireURL = u"http://e/";
    m_proxy.nPort = 8080;
    EXPECT_TRUE(m_settings.SaveSettings(m_state, m_proxy, pLumivale.get(), u"FUT|", u"-CN", u"USD:US$"));

    EXPECT_EQ(m_folder.Read("terminal/Configs/LUMIVale.ini").substr(0, 4), std::string("\xFF\xFE[\0", 4));
    EXPECT_EQ(ReadSetting(u"LUMIValeURL"), u"http://a/|http://b/");
    EXPECT_EQ(ReadSetting(u"Version"), u"v9");
    EXPECT_EQ(ReadSetting(u"InfoListType"), u"ALL");
    EXPECT_EQ(ReadSetting(u"Classification"), u"FUT|");
    EXPECT_EQ(ReadSetting(u"ContractVersion"), u"CME:1|TWF:2|");
    EXPECT_EQ(ReadSetting(u"StkInofVersion"), u"SSE:5|");
    EXPECT_EQ(ReadSetting(u"AppsLanguage"), u"-CN");
    EXPECT_EQ(ReadSetting(u"ProxyAddress"), u"");
    EXPECT_EQ(ReadSetting(u"AppsProxyPort"), u"8080");
    EXPECT_EQ(ReadSetting(u"CurrencyRate"), u"USD:US$");
    EXPECT_EQ(ReadSetting(u"HotChangeURL"), u"http://h/");
    EXPECT_EQ(ReadSetting(u"ExpireURL"), u"http://e/");
    EXPECT_EQ(ReadSetting(u"ExgList"), u"?");
}

TEST_F(SettingsTest, WithoutTheStoresRecordNothingIsSaved) {
    WriteRunState("Version=old\r\n");
    EXPECT_FALSE(m_settings.SaveSettings(m_state, m_proxy, nullptr, u"", u"", u""));
    EXPECT_EQ(ReadSetting(u"Version"), u"old");
    EXPECT_EQ(ReadSetting(u"LUMIValeURL"), u"?");
}

TEST_F(SettingsTest, ARunStateOfBinaryJunkReadsAsDefaultsAndIsMendedByTheNextSave) {
    std::string strJunk;
    for (int i = 0; i < 5000; ++i) strJunk.push_back(static_cast<char>((i * 7919) >> 3));
    m_folder.Write("terminal/Configs/LUMIVale.ini", strJunk);
    m_settings.ReadRunState(m_state, m_proxy);
    EXPECT_EQ(m_state.m_strInfoListType, u"ALL");
    const auto pLumivale = CBaseData::CreateNew();
    EXPECT_TRUE(m_settings.SaveSettings(m_state, m_proxy, pLumivale.get(), u"FUT|", u"ENG", u""));
    EXPECT_EQ(ReadSetting(u"Classification"), u"FUT|");
}

TEST_F(SettingsTest, DisplayWordsComeFromTheLanguagesKeys) {
    m_folder.Write("terminal/ComShared/MsgString.ini", "[LUMIVale]\nCall.CHT=Buy\nMonth.CHT=mo\n");
    const SymbolWords words = m_settings.ReadSymbolWords(u"CHT");
    EXPECT_EQ(words.m_strCall, u"Buy");
    EXPECT_EQ(words.m_strMonth, u"mo");
    EXPECT_EQ(words.m_strPut, u"P");
    EXPECT_EQ(words.m_strSynU, u"SynU");
}

}  // namespace qvant::test
