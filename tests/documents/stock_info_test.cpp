#include "documents/stock_info.h"

#include <atomic>
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "documents/answering_server.h"
#include "platform/thread.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* DATA_SSE = "Data/StkInfo_sse.dat";
constexpr const char* DATA_SZSE = "Data/StkInfo_szse.dat";
constexpr const char* DATA_SECOND = "Data/StkInfo_szse-2.dat";

/// Lets no file grow beyond some bytes: a disk that fills up in the middle of a write.
class CSmallDisk {
public:
    explicit CSmallDisk(rlim_t nBytes) {
        ::signal(SIGXFSZ, SIG_IGN);
        ::getrlimit(RLIMIT_FSIZE, &m_before);
        const struct rlimit limit { nBytes, m_before.rlim_max };
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~CSmallDisk() {
        ::setrlimit(RLIMIT_FSIZE, &m_before);
        ::signal(SIGXFSZ, SIG_DFL);
    }
    CSmallDisk(const CSmallDisk&) = delete;
    CSmallDisk& operator=(const CSmallDisk&) = delete;

private:
    struct rlimit m_before {};
};

class StockInfoTest : public ::testing::Test {
protected:
    StockInfoTest() {
        m_stockInfo.SetHomeDir(m_folder / "");
        UseServers(m_server.GetUrl());
        m_server.SetAnswers([](const std::string& strTarget) -> std::string {
            if (strTarget.find("exg=sse&") != std::string::npos)
                return R"({"LastVersion":"7","cpxx":[{"0":"600000","15":"100"}]})";
            return R"({"LastVersion":8,"cashauctionparams":[{"SecurityID":"000001","BuyQtyUnit":200}],
                       "securities":[{"SecurityID":"000001","BondParams":{"MaturityDate":20301231}}]})";
        });
    }

    void UseServers(const Text& strServers) {
        m_servers.Assign(strServers, [] { return 0u; });
    }
    void Write(std::string_view strName, TextView strText) { m_folder.Write(strName, ToUtf16Bytes(strText)); }
    Text Read(std::string_view strName) const { return FromUtf16Bytes(m_folder.Read(strName)); }
    bool Exists(std::string_view strName) const { return std::filesystem::exists(m_folder.GetPath() / strName); }
    void WriteAllFiles() {
        for (const char* pszName : {DATA_SSE, DATA_SZSE, DATA_SECOND}) Write(pszName, u"[1,2,3]");
    }
    std::string Url(std::string_view strTarget) const { return Narrow(m_server.GetUrl()) + std::string(strTarget); }

    CScratchFolder m_folder;
    CTestHost m_host;
    CAnsweringServer m_server;
    RunState m_state;
    CSession m_session{platform::MachineClock()};
    CServerList m_servers;
    CErrorReport m_errors{m_host, platform::MachineClock()};
    CStockInfo m_stockInfo{{m_host, m_session, m_servers, m_errors, m_state}};
};

TEST_F(StockInfoTest, MissingDocumentsAreFetchedSavedAndLoaded) {
    EXPECT_TRUE(m_stockInfo.QueryStkInfo());
    EXPECT_THAT(m_server.GetTargets(),
                ElementsAre("/stkinfo.do?exg=sse&LastVersion=-1", "/stkinfo.do?exg=szse&LastVersion=-1"));
    EXPECT_EQ(m_folder.Read(DATA_SSE), ToUtf16Bytes(u"[{\"0\":\"600000\",\"15\":\"100\"}]"));
    EXPECT_EQ(Read(DATA_SZSE), u"[{\"SecurityID\":\"000001\",\"BuyQtyUnit\":200}]");
    EXPECT_EQ(Read(DATA_SECOND), u"[{\"SecurityID\":\"000001\",\"BondParams\":{\"MaturityDate\":20301231}}]");
    EXPECT_EQ(m_state.m_mapStkInfoVersion, (std::map<Text, Text>{{u"sse", u"7"}, {u"szse", u"8"}}));
    const std::string strServer = Narrow(m_server.GetUrl());
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("QueryStkInfo-Start:sse", "QueryStkInfo-ClientVer:-1",
                            "QueryStkInfo-ServerVer:7(" + strServer + ")", "QueryStkInfo-Start:szse",
                            "QueryStkInfo-ClientVer:-1", "QueryStkInfo-ServerVer:8(" + strServer + ")"));
    m_host.Forget();
    m_stockInfo.LoadStkInfo();
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("LoadStkInfo-begin", "ParseJsonStkInofData:sse(1)", "ParseJsonStkInofData:szse(1)",
                            "ParseJsonStkInofData:szse-2(1)", "LoadStkInfo-end"));
    EXPECT_EQ(m_stockInfo.m_mapStockLimits.size(), 2u);
    EXPECT_EQ(m_stockInfo.FindLimits(u"QV.S.SSE.600000")->BuyQtyUnit, 100);
    EXPECT_EQ(m_stockInfo.FindLimits(u"QV.S.SZSE.000001")->MaturityDate, 20301231);
    EXPECT_FALSE(m_stockInfo.FindLimits(u"QV.S.SSE.000001"));
}

TEST_F(StockInfoTest, DocumentsThatAreThereAreNotFetched) {
    WriteAllFiles();
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_THAT(m_server.GetTargets(), IsEmpty());
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

TEST_F(StockInfoTest, WithTheCgiFlagWhatIsThereIsAskedForByItsVersion) {
    WriteAllFiles();
    m_stockInfo.SetCgi(true);
    m_state.m_mapStkInfoVersion = {{u"sse", u"\"6\"x\""}, {u"szse", u"5"}};
    EXPECT_TRUE(m_stockInfo.QueryStkInfo());
    EXPECT_THAT(m_server.GetTargets(),
                ElementsAre("/stkinfo.do?exg=sse&LastVersion=6x", "/stkinfo.do?exg=szse&LastVersion=5"));
    EXPECT_TRUE(m_host.HasLogged("QueryStkInfo-ClientVer:6x"));
}

TEST_F(StockInfoTest, AnUnknownOrEmptyVersionAsksForEverything) {
    WriteAllFiles();
    m_stockInfo.SetCgi(true);
    m_state.m_mapStkInfoVersion = {{u"szse", u"\"\""}};
    m_stockInfo.QueryStkInfo();
    EXPECT_THAT(m_server.GetTargets(),
                ElementsAre("/stkinfo.do?exg=sse&LastVersion=-1", "/stkinfo.do?exg=szse&LastVersion=-1"));
}

TEST_F(StockInfoTest, AMissingFileOfShenzhenAsksForEverythingWhicheverItIs) {
    for (const char* pszMissing : {DATA_SZSE, DATA_SECOND}) {
        WriteAllFiles();
        m_state.m_mapStkInfoVersion = {{u"sse", u"6"}, {u"szse", u"5"}};
        std::filesystem::remove(m_folder.GetPath() / pszMissing);
        EXPECT_TRUE(m_stockInfo.QueryStkInfo());
        EXPECT_EQ(m_server.GetTargets().back(), "/stkinfo.do?exg=szse&LastVersion=-1") << pszMissing;
        EXPECT_EQ(m_state.m_mapStkInfoVersion.at(u"szse"), u"8");
        EXPECT_EQ(Read(DATA_SSE), u"[1,2,3]");
    }
    EXPECT_EQ(m_server.GetTargets().size(), 2u);
}

TEST_F(StockInfoTest, ShippedFilesReplaceWhatIsInUseAndGo) {
    WriteAllFiles();
    Write("ComShared/StkInfo_sse.dat", u"[4]");
    Write("ComShared/StkInfo_szse.dat", u"[5]");
    Write("ComShared/StkInfo_szse-2.dat", u"[6]");
    Write("ComShared/StkInfo_sse-2.dat", u"[7]");
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SSE), u"[4]");
    EXPECT_EQ(Read(DATA_SZSE), u"[5]");
    EXPECT_EQ(Read(DATA_SECOND), u"[6]");
    EXPECT_FALSE(Exists("ComShared/StkInfo_sse.dat"));
    EXPECT_FALSE(Exists("ComShared/StkInfo_szse.dat"));
    EXPECT_FALSE(Exists("ComShared/StkInfo_szse-2.dat"));
    EXPECT_TRUE(Exists("ComShared/StkInfo_sse-2.dat")) << "Shanghai has one file";
    EXPECT_FALSE(Exists("Data/StkInfo_sse-2.dat"));
    EXPECT_THAT(m_server.GetTargets(), IsEmpty());
}

TEST_F(StockInfoTest, FilesOfTheOlderPlaceComWhenSomethingIsMissing) {
    Write("Configs/StkInfo_sse.dat", u"[4]");
    Write("Configs/StkInfo_szse.dat", u"[5]");
    Write("Configs/StkInfo_szse-2.dat", u"[6]");
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SSE), u"[4]");
    EXPECT_EQ(Read(DATA_SZSE), u"[5]");
    EXPECT_EQ(Read(DATA_SECOND), u"[6]");
    EXPECT_FALSE(Exists("Configs/StkInfo_sse.dat"));
    EXPECT_THAT(m_server.GetTargets(), IsEmpty());
}

TEST_F(StockInfoTest, FilesOfTheOlderPlaceStayWhileNothingIsMissing) {
    WriteAllFiles();
    Write("Configs/StkInfo_sse.dat", u"[4]");
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SSE), u"[1,2,3]");
    EXPECT_TRUE(Exists("Configs/StkInfo_sse.dat"));
}

TEST_F(StockInfoTest, AMoveThatFailsHalfWayLosesNeitherFile) {
    WriteAllFiles();
    const Text strShipped(5000, u'7');
    Write("ComShared/StkInfo_sse.dat", strShipped);
    {
        const CSmallDisk disk(4096);
        EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    }
    EXPECT_EQ(Read(DATA_SSE), u"[1,2,3]");
    EXPECT_EQ(Read("ComShared/StkInfo_sse.dat"), strShipped);
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SSE), strShipped);
    EXPECT_FALSE(Exists("ComShared/StkInfo_sse.dat"));
}

TEST_F(StockInfoTest, ADocumentThatDoesntReachTheDiskLosesItsVersionAndComesAgain) {
    WriteAllFiles();
    m_stockInfo.SetCgi(true);
    m_state.m_mapStkInfoVersion = {{u"sse", u"6"}, {u"szse", u"5"}};
    {
        const CSmallDisk disk(8);
        EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    }
    EXPECT_EQ(Read(DATA_SSE), u"[1,2,3]");
    EXPECT_EQ(Read(DATA_SECOND), u"[1,2,3]");
    EXPECT_EQ(m_state.m_mapStkInfoVersion, (std::map<Text, Text>{{u"sse", u"6"}, {u"szse", u"5"}}));
    EXPECT_TRUE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(m_state.m_mapStkInfoVersion.at(u"sse"), u"7");
}

TEST_F(StockInfoTest, AFileInPlaceOfTheFolderAndAFolderInPlaceOfAFileDoNoHarm) {
    m_folder.Write("Data", "no folder");
    Write("ComShared/StkInfo_sse.dat", u"[4]");
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read("ComShared/StkInfo_sse.dat"), u"[4]");
    std::filesystem::remove(m_folder.GetPath() / "Data");
    std::filesystem::create_directories(m_folder.GetPath() / DATA_SZSE);
    std::filesystem::create_directories(m_folder.GetPath() / "ComShared/StkInfo_szse.dat");
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SSE), u"[4]");
    EXPECT_TRUE(m_state.m_mapStkInfoVersion.empty());
    m_stockInfo.LoadStkInfo();
    EXPECT_TRUE(m_host.HasLogged("LoadStkInfo-no file :" + Narrow(m_folder / DATA_SZSE)));
}

TEST_F(StockInfoTest, WithoutServersNothingIsAskedAndNothingLogged) {
    CServerList none;
    CStockInfo stockInfo({m_host, m_session, none, m_errors, m_state});
    stockInfo.SetHomeDir(m_folder / "");
    Write("Configs/StkInfo_szse.dat", u"[5]");
    EXPECT_FALSE(stockInfo.QueryStkInfo());
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
    EXPECT_EQ(Read(DATA_SZSE), u"[5]");
}

TEST_F(StockInfoTest, TheWalkGoesOnBehindBrokenRepliesAndKeepsTheServerThatAnswered) {
    CAnsweringServer broken, third;
    broken.SetAnswer("<html>");
    third.SetAnswer("{}");
    UseServers(broken.GetUrl() + u"|" + m_server.GetUrl() + u"|" + third.GetUrl());
    EXPECT_TRUE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(m_servers.GetIndex(), 1u);
    EXPECT_TRUE(m_host.HasLogged("QueryStkInfo-json parse error (3)"));
    EXPECT_EQ(broken.GetTargets().size(), 1u) << "the second document starts at the server that answered";
    EXPECT_EQ(m_server.GetTargets().size(), 2u);
    EXPECT_THAT(third.GetTargets(), IsEmpty());
}

TEST_F(StockInfoTest, TheLastServersFailureIsToldForEachDocument) {
    UseServers(m_server.GetUrl() + u"|http://127.0.0.1:1/");
    m_server.SetAnswer("down", 500);
    WriteAllFiles();
    std::filesystem::remove(m_folder.GetPath() / DATA_SSE);
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_TRUE(m_host.HasLogged("QueryStkInfo Fail:" + Url("stkinfo.do?exg=sse&LastVersion=-1")));
    EXPECT_TRUE(m_host.HasLogged("QueryStkInfo Fail:http://127.0.0.1:1/stkinfo.do?exg=sse&LastVersion=-1"));
    EXPECT_TRUE(m_host.HasLogged("PostErrorMsg:InternetOpenUrl Fail, Error : 12029"));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(HasSubstr("STATUS_CODE"))));
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -108")).Times(1));
    m_host.Forget();
    std::filesystem::remove(m_folder.GetPath() / DATA_SECOND);
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -108")).Times(2));
}

TEST_F(StockInfoTest, RepliesThatAreNoJsonCostNothing) {
    WriteAllFiles();
    m_stockInfo.SetCgi(true);
    for (const std::string& strBroken :
         {std::string("<html>"), std::string(R"({"LastVersion":"9","cpxx":[{"0":"60)"), std::string(3000000, '['),
          std::string("\xFF\xFE{}"), std::string("{}\0x", 4)}) {
        m_host.Forget();
        m_server.SetAnswer(strBroken);
        EXPECT_FALSE(m_stockInfo.QueryStkInfo());
        EXPECT_EQ(Read(DATA_SSE), u"[1,2,3]");
        EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));
    }
}

TEST_F(StockInfoTest, RepliesOfAnotherShapeChangeNothing) {
    WriteAllFiles();
    m_stockInfo.SetCgi(true);
    for (const char* pszReply :
         {"[]", "7", "null", "{}", R"({"LastVersion":"9"})", R"({"LastVersion":"9","CPXX":[1,2,3,4]})",
          R"({"LastVersion":"9","cpxx":[],"cashauctionparams":null,"securities":[1,2]})",
          R"({"LastVersion":"9","cpxx":[123]})", R"({"LastVersion":"9","cpxx":false})"}) {
        m_server.SetAnswer(pszReply);
        EXPECT_FALSE(m_stockInfo.QueryStkInfo()) << pszReply;
        for (const char* pszName : {DATA_SSE, DATA_SZSE, DATA_SECOND}) EXPECT_EQ(Read(pszName), u"[1,2,3]");
        EXPECT_TRUE(m_state.m_mapStkInfoVersion.empty()) << pszReply;
    }
}

TEST_F(StockInfoTest, ABodyOfSixCharactersReplacesTheFile) {
    m_server.SetAnswer(R"({"LastVersion":"9","cpxx":[ 12, 3 ]})");
    EXPECT_TRUE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SSE), u"[12,3]");
}

TEST_F(StockInfoTest, TheSameVersionMayRewriteTheFileAndIsNoNews) {
    WriteAllFiles();
    m_stockInfo.SetCgi(true);
    m_state.m_mapStkInfoVersion = {{u"sse", u"7"}, {u"szse", u"8"}};
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SSE), u"[{\"0\":\"600000\",\"15\":\"100\"}]");
    EXPECT_EQ(m_state.m_mapStkInfoVersion, (std::map<Text, Text>{{u"sse", u"7"}, {u"szse", u"8"}}));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("QueryStkInfo-ServerVer:"))));
}

TEST_F(StockInfoTest, ADocumentWithoutAUsableVersionIsSavedAndIsNoNews) {
    for (const char* pszVersion : {"", R"("LastVersion":null,)", R"("LastVersion":1.5,)", R"("LastVersion":[],)"}) {
        m_server.SetAnswer("{" + std::string(pszVersion) + R"("cpxx":[{"0":"1"}]})");
        std::filesystem::remove_all(m_folder.GetPath() / "Data");
        EXPECT_FALSE(m_stockInfo.QueryStkInfo()) << pszVersion;
        EXPECT_EQ(Read(DATA_SSE), u"[{\"0\":\"1\"}]");
        EXPECT_TRUE(m_state.m_mapStkInfoVersion.empty());
    }
}

TEST_F(StockInfoTest, TheSecondFileAloneIsWrittenAndIsNoNews) {
    WriteAllFiles();
    m_stockInfo.SetCgi(true);
    m_server.SetAnswer(R"({"LastVersion":"9","securities":[{"SecurityID":"1"}]})");
    EXPECT_FALSE(m_stockInfo.QueryStkInfo());
    EXPECT_EQ(Read(DATA_SECOND), u"[{\"SecurityID\":\"1\"}]");
    EXPECT_EQ(Read(DATA_SZSE), u"[1,2,3]");
    EXPECT_TRUE(m_state.m_mapStkInfoVersion.empty());
}

TEST_F(StockInfoTest, WideTextAndEscapesOutliveTheFile) {
    m_server.SetAnswer("{\"LastVersion\":\"1\",\"cpxx\":[{\"0\":\"\xE5\x8F\xB0\\uD83D\\uDE00\\uDC00\\n\\\"\"}]}");
    EXPECT_TRUE(m_stockInfo.QueryStkInfo());
    m_stockInfo.LoadStkInfo();
    EXPECT_TRUE(m_stockInfo.FindLimits(Text(u"QV.S.SSE.台😀") + char16_t{0xDC00} + u"\n\""));
}

TEST_F(StockInfoTest, ALoadMakesTheMapAnew) {
    Write(DATA_SSE, u"[{\"0\":\"1\"},{\"0\":\"2\"}]");
    m_stockInfo.LoadStkInfo();
    EXPECT_EQ(m_stockInfo.m_mapStockLimits.size(), 2u);
    EXPECT_TRUE(m_host.HasLogged("LoadStkInfo-no file :" + Narrow(m_folder / DATA_SZSE)));
    EXPECT_TRUE(m_host.HasLogged("LoadStkInfo-no file :" + Narrow(m_folder / DATA_SECOND)));
    Write(DATA_SSE, u"[{\"0\":\"3\"}]");
    m_stockInfo.LoadStkInfo();
    EXPECT_EQ(m_stockInfo.m_mapStockLimits.size(), 1u);
    EXPECT_TRUE(m_stockInfo.FindLimits(u"QV.S.SSE.3"));
}

TEST_F(StockInfoTest, AFileThatIsNoJsonIsLoggedAndTheOthersAreLoaded) {
    Write(DATA_SZSE, u"[{\"SecurityID\":\"1\"}]");
    for (const Text& strBroken : {Text(u"[{\"0\":\"6000"), Text(2000000, u'['), Text(), Text(u"\uFEFF[]")}) {
        m_host.Forget();
        Write(DATA_SSE, strBroken);
        m_stockInfo.LoadStkInfo();
        EXPECT_TRUE(m_host.HasLogged("LoadStkInfo-" + Narrow(m_folder / DATA_SSE)));
        EXPECT_TRUE(m_stockInfo.FindLimits(u"QV.S.SZSE.1"));
        EXPECT_EQ(m_stockInfo.m_mapStockLimits.size(), 1u);
    }
    m_folder.Write(DATA_SSE, "7");
    m_host.Forget();
    m_stockInfo.LoadStkInfo();
    EXPECT_TRUE(m_host.HasLogged("LoadStkInfo-" + Narrow(m_folder / DATA_SSE))) << "one byte is no character";
}

TEST_F(StockInfoTest, AFileWithAnOddByteAtItsEndIsReadWithoutIt) {
    m_folder.Write(DATA_SSE, ToUtf16Bytes(u"[{\"0\":\"1\"}]") + "x");
    m_stockInfo.LoadStkInfo();
    EXPECT_TRUE(m_stockInfo.FindLimits(u"QV.S.SSE.1"));
}

TEST_F(StockInfoTest, AStopEndsTheQueryAtOnceAndNobodyIsTold) {
    m_server.Hang();
    std::atomic<bool> bNews{true};
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("query", [&] { bNews = m_stockInfo.QueryStkInfo(); }));
    m_server.WaitForQuery();
    thread.StopAndJoin();
    EXPECT_FALSE(bNews);
    EXPECT_EQ(m_server.GetTargets().size(), 1u);
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("PostErrorMsg"))));
}

TEST_F(StockInfoTest, StocksCanBeLookedUpWhileTheMapIsMadeAnew) {
    Write(DATA_SSE, u"[{\"0\":\"1\",\"15\":\"100\"}]");
    m_stockInfo.LoadStkInfo();
    std::atomic<bool> bAlwaysThere{true};
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("reader", [&] {
        while (!platform::StopRequested()) {
            const auto limits = m_stockInfo.FindLimits(u"QV.S.SSE.1");
            if (!limits || limits->BuyQtyUnit != 100) bAlwaysThere = false;
        }
    }));
    for (int i = 0; i < 100; ++i) m_stockInfo.LoadStkInfo();
    thread.StopAndJoin();
    EXPECT_TRUE(bAlwaysThere);
}

}  // namespace qvant::test
