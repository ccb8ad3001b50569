#include <thread>

#include "base/format.h"
#include "contract_list_fixture.h"
#include "support/limits.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* NEW_LIST = R"({"LastVersion":"7","Classification":{"ENG":"Futures"}})";
constexpr TextView NEW_FILE = u"{\"ENG\":\"Futures\"}";
constexpr TextView OLD_FILE = u"{\"ENG\":\"Old\"}";

class ContractListQuery : public ContractListTest {
protected:
    ContractListQuery() { m_server.PublishList("CN-FUT", "7", NEW_LIST); }

    bool Query() { return m_document.QueryContractList(); }
    /// The list FUT in its version 6, on disk and in the settings.
    void HoldOld() {
        Hold(u"FUT", u"6");
        WriteList("FUT", OLD_FILE);
    }
    void ExpectOldStands() {
        EXPECT_EQ(ReadFile("FUT"), ListBytes(OLD_FILE));
        EXPECT_EQ(m_state.m_mapContractVersion.at(u"FUT"), u"6");
        EXPECT_THAT(m_builder.m_listChangedClassification, IsEmpty());
    }
    std::size_t CountFiles() const {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::recursive_directory_iterator(m_folder.GetPath()), {}));
    }
};

TEST_F(ContractListQuery, ANewListReachesTheDiskAndTheRecord) {
    BindStorage();
    m_session.SetSessionQuery(u"&ACCOUNT=u&REGION=r&APP_NAME=a&KEY=k");
    m_host.Forget();
    EXPECT_TRUE(Query());
    EXPECT_EQ(ReadFile("FUT"), ListBytes(NEW_FILE)) << "a mark, one line, and no end of it";
    EXPECT_EQ(m_state.m_mapContractVersion.at(u"FUT"), u"7");
    EXPECT_EQ(StoredVersion(u"FUT"), u"7");
    EXPECT_THAT(m_state.m_mapContractVersionUnsaved, IsEmpty());
    EXPECT_THAT(m_builder.m_listChangedClassification, ElementsAre(u"FUT"));
    EXPECT_THAT(m_server.GetTargets(), ElementsAre("/Classification_getClassification.do?cname=CN-FUT&lastVersion=-1"
                                                   "&ACCOUNT=u&REGION=r&APP_NAME=a&KEY=k"));
    EXPECT_THAT(m_host.GetLog(), ElementsAre("QueryContractList-Start:FUT:CN-FUT", "QueryContractList-ClientVer:-1",
                                             "QueryContractList-ServerVer:7(" + Narrow(m_server.GetUrl()) + ")",
                                             "QueryContractList-SaveVer:7"));
}

TEST_F(ContractListQuery, AnEntryWithoutASecondNameAsksByItsFirst) {
    m_state.m_arClassification = {u"FUT", u"OPT:", u"A:B:C"};
    m_server.AnswerAlways(NEW_LIST);
    EXPECT_TRUE(Query());
    EXPECT_THAT(m_server.GetTargets(),
                ElementsAre(HasSubstr("?cname=FUT&"), HasSubstr("?cname=OPT&"), HasSubstr("?cname=B:C&")));
    EXPECT_EQ(ReadFile("OPT"), ListBytes(NEW_FILE));
    EXPECT_EQ(ReadFile("A"), ListBytes(NEW_FILE));
}

TEST_F(ContractListQuery, NoClassificationIsNoQuery) {
    BindStorage();
    m_builder.m_listChangedClassification = {u"FUT"};
    m_state.m_arClassification.clear();
    m_host.Forget();
    EXPECT_FALSE(Query());
    EXPECT_THAT(m_server.GetTargets(), IsEmpty());
    EXPECT_THAT(m_host.GetSaid(), IsEmpty());
    EXPECT_THAT(m_builder.m_listChangedClassification, IsEmpty());
}

TEST_F(ContractListQuery, ALostFileAsksForEverythingOfThatClassificationAlone) {
    m_state.m_arClassification = {u"FUT:CN-FUT", u"OPT", u"STK"};
    HoldOld();
    Hold(u"OPT", u"3");
    WriteList("STK", OLD_FILE);
    Query();
    EXPECT_THAT(m_server.GetTargets(),
                ElementsAre(EndsWith("cname=CN-FUT&lastVersion=6"), EndsWith("cname=OPT&lastVersion=-1"),
                            EndsWith("cname=STK&lastVersion=-1")));
}

TEST_F(ContractListQuery, WithoutARecordTheVersionWaitsForTheStore) {
    EXPECT_TRUE(Query());
    EXPECT_EQ(m_state.m_mapContractVersion.at(u"FUT"), u"7");
    EXPECT_EQ(m_state.m_mapContractVersionUnsaved.at(u"FUT"), u"7");
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("QueryContractList-SaveVer:"))));
    BindStorage();
    EXPECT_EQ(StoredVersion(u"FUT"), u"7");
}

TEST_F(ContractListQuery, WithoutNewsNothingChangesAndNobodyLoads) {
    BindStorage();
    Hold(u"FUT", u"7");
    WriteList("FUT", OLD_FILE);
    m_host.Forget();
    EXPECT_FALSE(Query());
    EXPECT_EQ(ReadFile("FUT"), ListBytes(OLD_FILE));
    EXPECT_EQ(StoredVersion(u"FUT"), u"");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("QueryContractList-Start:FUT:CN-FUT", "QueryContractList-ClientVer:7",
                                             "QueryContractList-ServerVer:(" + Narrow(m_server.GetUrl()) + ")"));
}

TEST_F(ContractListQuery, AVersionWithoutItsListIsNotTaken) {
    for (const char* pszReply : {R"({"LastVersion":"8"})", R"({"LastVersion":"8","Classification":{}})",
                                 R"({"LastVersion":"8","Classification":["CME","CFFEX"]})",
                                 R"({"LastVersion":"8","Classification":"{\"a\":1}"})",
                                 R"([{"LastVersion":"8","Classification":{"ENG":"x"}}])"}) {
        HoldOld();
        m_server.AnswerAlways(pszReply);
        EXPECT_FALSE(Query()) << pszReply;
        ExpectOldStands();
    }
}

TEST_F(ContractListQuery, AListWithoutAVersionIsWrittenAndKeepsTheOldOne) {
    HoldOld();
    for (const char* pszReply :
         {R"({"Classification":{"ENG":"Futures"}})", R"({"Classification":{"ENG":"Futures"},"LastVersion":"6"})",
          R"({"Classification":{"ENG":"Futures"},"LastVersion":1.5})"}) {
        WriteList("FUT", OLD_FILE);
        m_server.AnswerAlways(pszReply);
        EXPECT_FALSE(Query()) << pszReply;
        EXPECT_EQ(ReadFile("FUT"), ListBytes(NEW_FILE));
        EXPECT_EQ(m_state.m_mapContractVersion.at(u"FUT"), u"6");
    }
}

TEST_F(ContractListQuery, AVersionMayBeANumberAndIsNeverComparedAsOne) {
    HoldOld();
    for (const char* pszVersion : {"5", "20261121093000", "-3", "\"06\""}) {
        m_server.AnswerAlways(R"({"Classification":{"ENG":"Futures"},"LastVersion":)" + std::string(pszVersion) + "}");
        EXPECT_TRUE(Query());
        EXPECT_EQ(m_state.m_mapContractVersion.at(u"FUT"), Trim(Widen(pszVersion), u"\""));
    }
}

TEST_F(ContractListQuery, TheFileIsTheListAsCompactText) {
    m_server.AnswerAlways(
        "{\"LastVersion\":\"7\", \"Classification\" : { \"a\\/b\" : [ 1 , -2.50, 1E3, true , null ] ,\n"
        " \"\\u53f0\\uD83D\\uDE00\xE5\x8F\xB0\" : \"\\\"\\\\\\b\\f\\n\\r\\t\\u0001\\u001f\\u007f\" } }");
    EXPECT_TRUE(Query());
    EXPECT_EQ(ReadFile("FUT"), ListBytes(u"{\"a/b\":[1,-2.5,1000.0,true,null],"
                                         u"\"台😀台\":\"\\\"\\\\\\b\\f\\n\\r\\t\\u0001\\u001F\u007F\"}"));
}

TEST_F(ContractListQuery, ALargeListArrivesWhole) {
    std::string strContracts;
    Text strExpected;
    for (int i = 0; i < 300'000; ++i) {
        const std::string strSymbol = "QV.F.CME.\xE5\x8F\xB0" + std::to_string(i);
        strContracts += (i == 0 ? "\"" : " , \"") + strSymbol + "\"";
        strExpected += (i == 0 ? u"\"" : u",\"") + Widen(strSymbol) + u"\"";
    }
    m_server.AnswerAlways("{\"Classification\":{\"Contracts\":[" + strContracts + "]},\"LastVersion\":7}");
    EXPECT_TRUE(Query());
    EXPECT_EQ(ReadFile("FUT"), ListBytes(u"{\"Contracts\":[" + strExpected + u"]}"));
}

TEST_F(ContractListQuery, AReplyOfLessThanFiveCharactersIsNoAnswer) {
    CDocumentServer second;
    second.AnswerAlways(NEW_LIST);
    UseServers(m_server.GetUrl() + u"|" + second.GetUrl());
    for (const char* pszShort : {"{}", "404", "\"\xE5\x8F\xB0\xE5\x8F\xB0\"", "<x>", "\xE5\x8F\xB0\xFF\xFF\xFF"}) {
        UseServers(m_server.GetUrl() + u"|" + second.GetUrl());
        m_server.AnswerAlways(pszShort);
        m_state.m_mapContractVersion.clear();
        m_host.Forget();
        EXPECT_TRUE(Query()) << pszShort;
        EXPECT_THAT(m_host.GetLog(), ElementsAre("QueryContractList-Start:FUT:CN-FUT", "QueryContractList-ClientVer:-1",
                                                 "QueryContractList-Start:FUT:CN-FUT", "QueryContractList-ClientVer:-1",
                                                 "QueryContractList-ServerVer:7(" + Narrow(second.GetUrl()) + ")"));
    }
    EXPECT_EQ(m_servers.GetIndex(), 1u);
}

TEST_F(ContractListQuery, AReplyOfFiveCharactersEndsTheWalk) {
    CDocumentServer second;
    UseServers(m_server.GetUrl() + u"|" + second.GetUrl());
    for (const char* pszReply : {"{ }  ", "12345", "\"abc\"", "\"\xE5\x8F\xB0\xE5\x8F\xB0\xE5\x8F\xB0\""}) {
        m_server.AnswerAlways(pszReply);
        EXPECT_FALSE(Query()) << pszReply;
        EXPECT_THAT(second.GetTargets(), IsEmpty());
        EXPECT_EQ(CountFiles(), 1u) << "the folder alone";
    }
}

TEST_F(ContractListQuery, AReplyThatIsNoJsonIsLoggedAndTheNextServerIsAsked) {
    CDocumentServer second;
    second.AnswerAlways(NEW_LIST);
    for (const std::string& strBroken :
         {std::string("<html>"), std::string(R"({"Classification":{"ENG":"Fut)"), std::string(1000000, '['),
          std::string(300, 'x'),
          R"({"LastVersion":"7","Classification":{"a":)" + std::string(2000, '[') + std::string(2000, ']') + "}}"}) {
        UseServers(m_server.GetUrl() + u"|" + second.GetUrl());
        m_server.AnswerAlways(strBroken);
        m_state.m_mapContractVersion.clear();
        m_host.Forget();
        EXPECT_TRUE(Query());
        const auto arLog = m_host.GetLog();
        ASSERT_THAT(arLog, SizeIs(7));
        EXPECT_EQ(arLog[2], "QueryContractList-URlError:" + Narrow(m_server.GetUrl()) +
                                "Classification_getClassification.do?cname=CN-FUT&lastVersion=-1");
        EXPECT_EQ(arLog[3], "QueryContractList. Result=" + strBroken.substr(0, 200) + ".");
        EXPECT_EQ(arLog[4], "QueryContractList-Start:FUT:CN-FUT");
    }
}

TEST_F(ContractListQuery, EachClassificationWalksFromTheServerThatAnsweredLast) {
    CDocumentServer second;
    second.AnswerAlways(NEW_LIST);
    m_server.AnswerAlways("down", 500);
    m_state.m_arClassification = {u"FUT", u"OPT"};
    UseServers(m_server.GetUrl() + u"|" + second.GetUrl());
    EXPECT_TRUE(Query());
    EXPECT_EQ(m_servers.GetIndex(), 1u);
    EXPECT_THAT(m_server.GetTargets(), SizeIs(1));
    EXPECT_THAT(second.GetTargets(), ElementsAre(HasSubstr("cname=FUT&"), HasSubstr("cname=OPT&")));
}

TEST_F(ContractListQuery, AClassificationThatNoServerHasIsToldAndTheOthersGoOn) {
    HoldOld();
    m_state.m_arClassification = {u"FUT:CN-FUT", u"OPT"};
    UseServers(m_server.GetUrl() + u"|http://127.0.0.1:1/");
    m_server.AnswerAlways("down", 500);
    m_host.onLog = [this](TextView strLine) {
        if (strLine == u"QueryContractList-Start:OPT") m_server.AnswerAlways(NEW_LIST);
    };
    EXPECT_TRUE(Query());
    EXPECT_EQ(ReadFile("FUT"), ListBytes(OLD_FILE));
    EXPECT_EQ(m_state.m_mapContractVersion.at(u"FUT"), u"6");
    EXPECT_THAT(m_builder.m_listChangedClassification, ElementsAre(u"OPT"));
    const std::string strQuery = "Classification_getClassification.do?cname=CN-FUT&lastVersion=6";
    EXPECT_THAT(m_host.GetLog(), ElementsAre("QueryContractList-Start:FUT:CN-FUT", "QueryContractList-ClientVer:6",
                                             "QueryContractList Fail:" + Narrow(m_server.GetUrl()) + strQuery,
                                             "QueryContractList-Start:FUT:CN-FUT", "QueryContractList-ClientVer:6",
                                             "QueryContractList Fail:http://127.0.0.1:1/" + strQuery,
                                             "PostErrorMsg:InternetOpenUrl Fail, Error : 12029",
                                             "QueryContractList-Start:OPT", "QueryContractList-ClientVer:-1",
                                             "QueryContractList-ServerVer:7(" + Narrow(m_server.GetUrl()) + ")"));
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -108")));
}

TEST_F(ContractListQuery, NoServersAtAllIsNoFailure) {
    CServerList none;
    CContractListDocument document({m_host, m_session, none, m_errors, m_storage, m_builder, m_state, m_clock}, {});
    document.SetHomeDir(m_folder / "");
    EXPECT_FALSE(document.QueryContractList());
    EXPECT_THAT(m_host.GetSaid(), IsEmpty());
}

TEST_F(ContractListQuery, AFileThatCantBeWrittenIsAskedForAgain) {
    BindStorage();
    Hold(u"FUT", u"6");
    std::filesystem::create_directories(m_folder.GetPath() / FileOf("FUT") / "below");
    for (int i = 0; i < 2; ++i) {
        m_host.Forget();
        EXPECT_FALSE(Query());
        EXPECT_TRUE(m_host.HasLogged("QueryContractList Fill Open Fail. GetLastError=21."));
        EXPECT_TRUE(m_host.HasLogged("QueryContractList-ServerVer:7(" + Narrow(m_server.GetUrl()) + ")"));
        EXPECT_THAT(m_server.GetTargets().back(), EndsWith("lastVersion=-1"));
        EXPECT_EQ(m_state.m_mapContractVersion.at(u"FUT"), u"6");
        EXPECT_EQ(StoredVersion(u"FUT"), u"");
    }
}

TEST_F(ContractListQuery, AFullDiskLeavesTheLastGoodFileAndItsVersion) {
    HoldOld();
    m_server.AnswerAlways(R"({"LastVersion":"7","Classification":{"ENG":")" + std::string(50'000, 'x') + "\"}}");
    {
        const CFullDisk full(20'000);
        EXPECT_FALSE(Query());
    }
    ExpectOldStands();
    EXPECT_THAT(m_host.GetLog(), Contains(StartsWith("QueryContractList Fill Open Fail. GetLastError=")));
    EXPECT_EQ(CountFiles(), 2u) << "folder and file";
}

TEST_F(ContractListQuery, ANameThatLeadsOutOfTheFolderIsAskedForAndNeverWritten) {
    BindStorage();
    const std::vector<Text> arBad = {u"..:CN-FUT",   u"../FUT:CN-FUT", u"A/../../FUT:CN-FUT",   u"A/B:CN-FUT",
                                     u"/FUT:CN-FUT", u"A\\B:CN-FUT",   Text(u"A\0B:CN-FUT", 10)};
    m_state.m_arClassification = arBad;
    m_state.m_arClassification.push_back(u"FUT:CN-FUT");
    m_host.Forget();
    EXPECT_TRUE(Query());
    EXPECT_THAT(m_server.GetTargets(), Each(HasSubstr("cname=CN-FUT&lastVersion=-1")));
    EXPECT_THAT(m_builder.m_listChangedClassification, ElementsAre(u"FUT"));
    EXPECT_EQ(CountFiles(), 2u) << "folder and FUT";
    const auto arLog = m_host.GetLog();
    ASSERT_THAT(arLog, SizeIs(4 * arBad.size() + 4));
    for (std::size_t i = 0; i < arBad.size(); ++i) {
        EXPECT_EQ(arLog[4 * i], "QueryContractList-Start:" + Narrow(arBad[i]));
        EXPECT_EQ(arLog[4 * i + 2], "QueryContractList Fill Open Fail. GetLastError=22.");
    }
}

TEST_F(ContractListQuery, AStopEndsItAtOnceTellsNobodyAndKeepsWhatWasSaved) {
    BindStorage();
    m_state.m_arClassification = {u"FUT:CN-FUT", u"OPT", u"STK"};
    UseServers(m_server.GetUrl() + u"|http://127.0.0.1:1/");
    std::stop_source stop;
    m_host.onLog = [this](TextView strLine) {
        if (strLine == u"QueryContractList-SaveVer:7") m_server.Hang();
    };
    m_host.Forget();
    std::thread stopper([&] {
        ASSERT_TRUE(m_host.WaitForLog("QueryContractList-Start:OPT"));
        stop.request_stop();
    });
    {
        const platform::CStopScope scope(stop.get_token());
        EXPECT_TRUE(Query());
    }
    stopper.join();
    EXPECT_EQ(StoredVersion(u"FUT"), u"7");
    EXPECT_EQ(m_servers.GetIndex(), 0u);
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("PostErrorMsg"))));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(HasSubstr("STK"))));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(HasSubstr("127.0.0.1:1/"))));
    EXPECT_THAT(m_host.GetLog().back(), StartsWith("QueryContractList Fail:"));
}

}  // namespace qvant::test
