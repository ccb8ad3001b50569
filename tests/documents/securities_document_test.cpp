#include "documents/securities_document.h"

#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "documents/reply_file.h"
#include "support/document_server.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* ONE_SECURITY = R"({"LastVersion":"5","SecuritiesInfo":{"QV.F.TWF.TXF":{"EXG.mo":"x"}}})";

class SecuritiesDocumentTest : public ::testing::Test {
protected:
    SecuritiesDocumentTest() {
        m_host.MakeTable(u"Security.Info");
        m_host.MakeTable(u"OpenTimeExchange");
        m_host.MakeTable(u"orderExchange");
        m_pSecurityInfo = m_host.Open(u"Security.Info");
        std::filesystem::create_directories(m_folder.GetPath() / "Configs");
        m_document.SetHomeDir(m_folder / "");
        m_state.m_strVersion = u"4";
        UseServers(m_server.GetUrl());
        m_server.Publish("5", ONE_SECURITY);
    }

    void UseServers(const Text& strServers) {
        m_servers.Assign(strServers, [] { return 0u; });
    }
    /// Binds the record "Lumivale" with the given version.
    void BindStorage(const Text& strVersion) {
        m_host.MakeTable(u"STORAGE");
        m_storage.InitContractList(nullptr);
        CTransaction transaction(*m_storage.GetLumivale());
        transaction.SetValue(u"Version", strVersion);
        transaction.Commit();
    }
    bool HasFile() const { return std::filesystem::exists(m_folder.GetPath() / "Configs/LumivaleInfo.dat"); }
    void WriteFile(TextView strText) { m_folder.Write("Configs/LumivaleInfo.dat", ToUtf16Bytes(strText)); }
    bool IsPublished(TextView strGroup) const { return m_pSecurityInfo->GetSubTable(strGroup, nullptr) != nullptr; }
    void Load() { m_document.LoadSecuritiesInfo(m_pSecurityInfo.get()); }

    CScratchFolder m_folder;
    CTestHost m_host;
    CDocumentServer m_server;
    RunState m_state;
    CSession m_session{platform::MachineClock()};
    CServerList m_servers;
    CErrorReport m_errors{m_host, platform::MachineClock()};
    CTimeZones m_zones;
    CExchangeTimes m_times{m_zones, platform::MachineClock()};
    CSecuritiesParser m_parser{m_host, m_times};
    CStorageTables m_storage{m_host, m_state, {}};
    int m_nListsMade = 0;
    CSecuritiesDocument m_document{{m_host, m_session, m_servers, m_errors, m_storage, m_parser, m_state},
                                   [this] { ++m_nListsMade; }};
    std::unique_ptr<CBaseData> m_pSecurityInfo;
};

TEST_F(SecuritiesDocumentTest, ANewDocumentReachesTheDiskAndTheStore) {
    BindStorage(u"4");
    WriteFile(u"{}");
    EXPECT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(FromUtf16Bytes(m_folder.Read("Configs/LumivaleInfo.dat")), Widen(ONE_SECURITY));
    EXPECT_EQ(m_storage.GetLumivale()->GetString(u"Version"), u"5");
    EXPECT_THAT(m_server.GetTargets().at(0),
                StartsWith("/OutsideData_getMainForm.do?lastVersion=4&type=ALL&Z=&broker="));
    EXPECT_TRUE(m_host.HasLogged("QuerySecuritiesInfo-Start ClientVer:4, Z:, 0"));
    EXPECT_TRUE(m_host.HasLogged("QuerySecuritiesInfo have SecuritiesInfo"));
    EXPECT_TRUE(m_host.HasLogged("QuerySecuritiesInfo-ServerVer:5"));
    EXPECT_TRUE(m_host.HasLogged("QuerySecuritiesInfo-SaveVer:5"));
    Load();
    EXPECT_TRUE(IsPublished(u"QV.F.TWF"));
    EXPECT_EQ(m_nListsMade, 1);
}

/// A document long enough to be written while it is parsed.
std::string MakeLongDocument(int nSecurities) {
    std::string strJson = R"({"LastVersion":"5","SecuritiesInfo":{)";
    for (int i = 0; i < nSecurities; ++i) {
        strJson += R"("QV.F.TWF.T)" + std::to_string(i) +
                   R"(":{"Name.CHT":"\u81FA)"
                   "\xE8\x87\xBA" +
                   std::string(200, 'x') + "\"},";
    }
    strJson.back() = '}';
    return strJson + "}";
}

TEST_F(SecuritiesDocumentTest, ALongDocumentReachesTheDiskAndTheStoreAsItCame) {
    const std::string strLong = MakeLongDocument(8'000);
    ASSERT_GT(strLong.size(), CReplyFile::LONG_REPLY);
    m_server.Publish("5", strLong);
    ASSERT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_TRUE(FromUtf16Bytes(m_folder.Read("Configs/LumivaleInfo.dat")) == Widen(strLong));
    Load();
    const auto pGroup = m_pSecurityInfo->GetSubTable(u"QV.F.TWF", nullptr);
    ASSERT_TRUE(pGroup);
    EXPECT_EQ(pGroup->GetJsonField(u"QV.F.TWF.T7999", u"Name.CHT").substr(0, 3), u"\u81FA\u81FAx");
}

TEST_F(SecuritiesDocumentTest, ALongReplyWithoutNewsOrWithAFaultLeavesNothingOnTheDisk) {
    WriteFile(u"{}");
    const std::string strLong = MakeLongDocument(8'000);
    const std::string strNoNews = R"({"LastVersion":"4","Other":)" + strLong + "}";
    for (const std::string& strReply : {strNoNews, strLong + "}", strLong + "\xFF"}) {
        m_server.AnswerAlways(strReply);
        EXPECT_FALSE(m_document.QuerySecuritiesInfo());
        EXPECT_EQ(FromUtf16Bytes(m_folder.Read("Configs/LumivaleInfo.dat")), u"{}");
        std::vector<std::string> arNames;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.GetPath() / "Configs")) {
            arNames.push_back(entry.path().filename().string());
        }
        EXPECT_THAT(arNames, ElementsAre("LumivaleInfo.dat"));
    }
}

TEST_F(SecuritiesDocumentTest, SecuritiesUnderTheirNameTwiceAreSavedAsTheyCame) {
    const std::string strTwice = R"({"SecuritiesInfo":{"QV.F.TWF.TXF":{}},"SecuritiesInfo":{"QV.F.TWF.TXF":{}}})";
    for (const std::string& strReply : {strTwice, strTwice + std::string(CReplyFile::LONG_REPLY, ' ')}) {
        m_server.AnswerAlways(strReply);
        EXPECT_TRUE(m_document.QuerySecuritiesInfo());
        EXPECT_TRUE(FromUtf16Bytes(m_folder.Read("Configs/LumivaleInfo.dat")) == Widen(strReply));
    }
}

TEST_F(SecuritiesDocumentTest, AReceivedDocumentIsParsedFromMemoryAndNotFromTheDisk) {
    ASSERT_TRUE(m_document.QuerySecuritiesInfo());
    WriteFile(u"{\"SecuritiesInfo\":{\"QV.S.SSE.600000\":{}}}");
    Load();
    EXPECT_TRUE(IsPublished(u"QV.F.TWF"));
    Load();
    EXPECT_TRUE(IsPublished(u"QV.S.SSE"));
}

TEST_F(SecuritiesDocumentTest, WithoutARecordTheVersionWaitsForTheStore) {
    EXPECT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_TRUE(m_state.m_bVersionUnsaved);
    EXPECT_EQ(m_state.m_strVersion, u"5");
    BindStorage(u"");
    EXPECT_FALSE(m_state.m_bVersionUnsaved);
}

TEST_F(SecuritiesDocumentTest, NoSecuritiesAndANewVersionChangeNothing) {
    BindStorage(u"4");
    WriteFile(u"{}");
    for (const char* pszEmpty :
         {R"({"LastVersion":"6","SecuritiesInfo":{}})", R"({"SecuritiesInfo":[],"LastVersion":6})",
          R"({"LastVersion":"6"})", R"([1,2])", R"("text")"}) {
        m_server.AnswerAlways(pszEmpty);
        EXPECT_FALSE(m_document.QuerySecuritiesInfo()) << pszEmpty;
        EXPECT_EQ(m_storage.GetLumivale()->GetString(u"Version"), u"4");
        EXPECT_EQ(FromUtf16Bytes(m_folder.Read("Configs/LumivaleInfo.dat")), u"{}");
    }
}

TEST_F(SecuritiesDocumentTest, SecuritiesWithoutAVersionAreSavedAndTheVersionStays) {
    BindStorage(u"4");
    WriteFile(u"{}");
    m_server.AnswerAlways(R"({"SecuritiesInfo":{"QV.F.TWF.TXF":{}}})");
    EXPECT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(m_storage.GetLumivale()->GetString(u"Version"), u"4");
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("QuerySecuritiesInfo-ServerVer:"))));
}

TEST_F(SecuritiesDocumentTest, AVersionMayBeANumberAndIsNeverComparedAsOne) {
    BindStorage(u"10");
    WriteFile(u"{}");
    m_server.AnswerAlways(R"({"LastVersion":9,"SecuritiesInfo":{"QV.F.TWF.TXF":{}}})");
    EXPECT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(m_storage.GetLumivale()->GetString(u"Version"), u"9");
    m_server.AnswerAlways(R"({"LastVersion":20261121093000,"SecuritiesInfo":{"QV.F.TWF.TXF":{}}})");
    EXPECT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(m_storage.GetLumivale()->GetString(u"Version"), u"20261121093000");
}

TEST_F(SecuritiesDocumentTest, QuotesAroundAVersionFallAwayWhenItIsStored) {
    BindStorage(u"4");
    WriteFile(u"{}");
    m_server.AnswerAlways(R"({"LastVersion":"\"5\"","SecuritiesInfo":{"QV.F.TWF.TXF":{}}})");
    EXPECT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(m_state.m_strVersion, u"5");
    EXPECT_EQ(m_storage.GetLumivale()->GetString(u"Version"), u"5");
    EXPECT_TRUE(m_host.HasLogged("QuerySecuritiesInfo-ServerVer:\"5\""));
}

TEST_F(SecuritiesDocumentTest, AMissingFileOrAnEmptyVersionAsksForEverything) {
    BindStorage(u"4");
    m_document.QuerySecuritiesInfo();
    EXPECT_THAT(m_server.GetTargets().back(), HasSubstr("lastVersion=-1&"));
    BindStorage(u"");
    m_document.QuerySecuritiesInfo();
    EXPECT_THAT(m_server.GetTargets().back(), HasSubstr("lastVersion=-1&"));
}

TEST_F(SecuritiesDocumentTest, TheWalkStartsAtTheServerThatAnsweredLastAndWraps) {
    CDocumentServer second, third;
    UseServers(m_server.GetUrl() + u"|" + second.GetUrl() + u"|" + third.GetUrl());
    second.AnswerAlways("broken");
    m_server.AnswerAlways("broken");
    third.Publish("5", ONE_SECURITY);
    EXPECT_TRUE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(m_servers.GetIndex(), 2u);
    third.AnswerAlways("broken");
    second.AnswerAlways(R"({"LastVersion":"5"})");
    EXPECT_FALSE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(m_servers.GetIndex(), 1u);
    EXPECT_EQ(m_server.GetTargets().size(), 2u);
    EXPECT_EQ(third.GetTargets().size(), 2u);
}

TEST_F(SecuritiesDocumentTest, AServerWithoutNewsEndsTheWalk) {
    CDocumentServer second;
    second.Publish("6", ONE_SECURITY);
    UseServers(m_server.GetUrl() + u"|" + second.GetUrl());
    m_server.AnswerAlways(R"({"LastVersion":"4"})");
    EXPECT_FALSE(m_document.QuerySecuritiesInfo());
    EXPECT_TRUE(second.GetTargets().empty());
}

TEST_F(SecuritiesDocumentTest, OnlyTheLastServersFailureIsReportedAndTheFileStands) {
    WriteFile(u"{\"SecuritiesInfo\":{\"QV.S.SSE.600000\":{}}}");
    UseServers(m_server.GetUrl() + u"|http://127.0.0.1:1/");
    m_server.AnswerAlways("down", 500);
    EXPECT_FALSE(m_document.QuerySecuritiesInfo());
    EXPECT_TRUE(m_host.HasLogged("PostErrorMsg:InternetOpenUrl Fail, Error : 12029"));
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -108")));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(HasSubstr("STATUS_CODE"))));
    Load();
    EXPECT_TRUE(IsPublished(u"QV.S.SSE"));
}

TEST_F(SecuritiesDocumentTest, AReplyThatIsNoJsonIsLoggedAndReportedToNobody) {
    const std::string strDeep(1000000, '[');
    for (const std::string& strBroken : {std::string("<html>"), std::string(R"({"SecuritiesInfo":{"QV)"), strDeep}) {
        m_host.Forget();
        m_server.AnswerAlways(strBroken);
        EXPECT_FALSE(m_document.QuerySecuritiesInfo());
        EXPECT_THAT(m_host.GetLog(), Contains(StartsWith("QuerySecuritiesInfo-URlError:http://127.0.0.1")));
        EXPECT_TRUE(m_host.HasLogged("QueryContractList. Result=" + strBroken.substr(0, 200) + "."));
        EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("PostErrorMsg"))));
        EXPECT_FALSE(HasFile());
    }
}

TEST_F(SecuritiesDocumentTest, ADocumentThatCantBeSavedIsNoNews) {
    std::filesystem::remove_all(m_folder.GetPath() / "Configs");
    m_folder.Write("Configs", "a file where the folder should be");
    EXPECT_FALSE(m_document.QuerySecuritiesInfo());
    EXPECT_EQ(m_state.m_strVersion, u"-1");
}

TEST_F(SecuritiesDocumentTest, NoFileAtLoadPostsItsCodeAndStillBuildsTheLists) {
    Load();
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -1,")));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(HasSubstr("MsgText"))));
    EXPECT_EQ(m_nListsMade, 1);
}

TEST_F(SecuritiesDocumentTest, AFileThatIsNoJsonIsLoggedAndTheTablesStand) {
    ASSERT_TRUE(m_document.QuerySecuritiesInfo());
    Load();
    for (const Text& strBroken : {Text(u"{\"SecuritiesInfo\":{"), Text(1000000, u'['), Text()}) {
        m_host.Forget();
        WriteFile(strBroken);
        Load();
        EXPECT_TRUE(m_host.HasLogged("LoadSecuritiesInfo-json parse error!!"));
        EXPECT_TRUE(m_host.HasLogged("LoadSecuritiesInfo-End"));
        EXPECT_TRUE(IsPublished(u"QV.F.TWF"));
    }
    m_folder.Write("Configs/LumivaleInfo.dat", "x");
    m_host.Forget();
    Load();
    EXPECT_TRUE(m_host.HasLogged("LoadSecuritiesInfo-json parse error!!"));
}

TEST_F(SecuritiesDocumentTest, NoServersAtAllIsNoFailure) {
    CServerList none;
    CSecuritiesDocument document({m_host, m_session, none, m_errors, m_storage, m_parser, m_state}, [] {});
    document.SetHomeDir(m_folder / "");
    EXPECT_FALSE(document.QuerySecuritiesInfo());
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("PostErrorMsg"))));
}

}  // namespace qvant::test
