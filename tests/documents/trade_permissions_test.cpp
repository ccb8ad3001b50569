#include "documents/trade_permissions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"
#include "base/split.h"
#include "documents/answering_server.h"
#include "platform/thread.h"
#include "support/test_host.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* TWO_GROUPS = R"({"TWN":{"FUT":{"B":2,"A":1},"STK":{"C":null}},"CHN":{"X":{"D":1}}})";

class TradePermissionsTest : public ::testing::Test {
protected:
    TradePermissionsTest() {
        m_host.MakeTable(u"AppsTradePermission");
        m_host.MakeTable(u"PERMISSIONS.AppsTradePermission");
        m_session.SetRegion(u"TWN");
        m_server.SetAnswer(TWO_GROUPS);
    }

    void BindStorage() {
        m_host.MakeTable(u"STORAGE");
        m_storage.InitContractList(nullptr);
    }
    void Query() { m_permissions.QueryAppsTradePermission(m_server.GetUrl()); }
    Text GetWorking(TextView strKey) { return m_host.Get(u"AppsTradePermission", strKey); }
    Text GetKept(TextView strKey) {
        return m_host.Open(u"STORAGE")->GetSubTable(u"AppTradePermission", nullptr)->GetString(strKey);
    }
    std::size_t CountWorking() {
        const Text strKeys = m_host.Open(u"AppsTradePermission")->GetKeys().value_or(Text());
        return SplitTokens(strKeys, u";").size();
    }

    CTestHost m_host;
    CAnsweringServer m_server;
    RunState m_state;
    CSession m_session{platform::MachineClock()};
    CErrorReport m_errors{m_host, platform::MachineClock()};
    CStorageTables m_storage{m_host, m_state, {}};
    CTradePermissions m_permissions{{m_host, m_session, m_errors, m_storage, m_state}};
};

TEST(CutPermissionDocument, TakesTheDocumentOutOfOtherText) {
    EXPECT_EQ(CutPermissionDocument(u"xx\"QVANT\":{\"a\":1}yy"), u"{\"QVANT\":{\"a\":1}");
    EXPECT_EQ(CutPermissionDocument(u"xx{\"QVANT\":{\"a\":1}}yy"), u"{\"QVANT\":{\"a\":1}}");
    EXPECT_EQ(CutPermissionDocument(u"\"QVANT\":{\"a\":1}yy"), u"{\"a\":1}");
    EXPECT_EQ(CutPermissionDocument(u"call({\"TWN\":{}});"), u"{\"TWN\":{}}");
    EXPECT_EQ(CutPermissionDocument(u"{}"), u"{}");
    EXPECT_EQ(CutPermissionDocument(u"nothing of it"), u"nothing of it");
    EXPECT_EQ(CutPermissionDocument(u"x}y{z"), u"{z") << "a brace before the first one isn't the last any more";
    EXPECT_EQ(CutPermissionDocument(u""), u"");
}

TEST_F(TradePermissionsTest, TheGroupsOfTheUsersRegionReachTheTableAndTheStorage) {
    BindStorage();
    Query();
    EXPECT_EQ(GetWorking(u"FUT"), u"A;B;");
    EXPECT_EQ(GetWorking(u"STK"), u"C;");
    EXPECT_EQ(CountWorking(), 2u);
    EXPECT_EQ(GetKept(u"FUT"), u"A;B;");
    EXPECT_EQ(GetKept(u"STK"), u"C;");
    EXPECT_THAT(m_host.GetLog(), Contains("QueryAppsTradePermission-Start"));
    EXPECT_TRUE(m_host.HasLogged("QueryAppsTradePermission Query URL:" + Narrow(m_server.GetUrl())));
    EXPECT_EQ(m_host.GetLog().back(), "QueryAppsTradePermission-End");
}

TEST_F(TradePermissionsTest, TheStorageHoldsTheWholeTableAndNothingElse) {
    BindStorage();
    m_server.SetAnswer(R"({"TWN":{"OLD":{"A":1}}})");
    Query();
    m_host.Set(u"AppsTradePermission", {{u"MINE", u"M;"}});
    Query();
    EXPECT_EQ(GetKept(u"MINE"), u"M;");
    EXPECT_EQ(GetKept(u"OLD"), u"A;");
    CBaseData& working = m_host.MakeTable(u"AppsTradePermission");
    CTransaction transaction(working);
    transaction.Clear(store::MASK_VALUES);
    transaction.Commit();
    m_server.SetAnswer(TWO_GROUPS);
    Query();
    EXPECT_EQ(GetKept(u"MINE"), u"");
    EXPECT_EQ(GetKept(u"FUT"), u"A;B;");
}

TEST_F(TradePermissionsTest, PermissionsThatComeBeforeTheStorageIsOpenAreKeptWhenItIs) {
    CBaseData& storage = m_host.MakeTable(u"STORAGE");
    {
        const auto pChild = OpenChild(storage, u"AppTradePermission");
        CTransaction transaction(*pChild);
        transaction.SetValue(u"FUT", u"OLD;");
        transaction.Commit();
    }
    Query();
    EXPECT_EQ(GetWorking(u"FUT"), u"A;B;");
    EXPECT_EQ(GetKept(u"FUT"), u"OLD;");
    BindStorage();
    EXPECT_EQ(GetWorking(u"FUT"), u"A;B;");
    EXPECT_EQ(GetKept(u"FUT"), u"A;B;");
}

TEST_F(TradePermissionsTest, WithoutNewOnesTheKeptPermissionsReachTheTable) {
    BindStorage();
    Query();
    m_storage.ReleaseAppTradePermission();
    m_host.Set(u"AppsTradePermission", {{u"FUT", u"X;"}});
    BindStorage();
    EXPECT_EQ(GetWorking(u"FUT"), u"A;B;");
    m_host.Set(u"AppsTradePermission", {{u"FUT", u"X;"}, {u"AllAppsTrade", u"1"}});
    BindStorage();
    EXPECT_EQ(GetWorking(u"FUT"), u"X;") << "who may trade everything keeps the table";
}

TEST_F(TradePermissionsTest, TheRightToEverythingIsWrittenAsWell) {
    m_host.Set(u"PERMISSIONS.AppsTradePermission", {{u"AllAppsTrade", u"1"}});
    Query();
    EXPECT_EQ(GetWorking(u"AllAppsTrade"), u"1");
    EXPECT_EQ(GetWorking(u"FUT"), u"A;B;");
}

TEST_F(TradePermissionsTest, ADocumentWithoutTheRegionWritesTheRightToEverythingOnly) {
    m_host.Set(u"AppsTradePermission", {{u"FUT", u"OLD;"}});
    m_session.SetRegion(u"JPN");
    Query();
    EXPECT_EQ(GetWorking(u"FUT"), u"OLD;");
    EXPECT_EQ(CountWorking(), 1u);
    m_host.Set(u"PERMISSIONS.AppsTradePermission", {{u"AllAppsTrade", u"1"}});
    Query();
    EXPECT_EQ(GetWorking(u"AllAppsTrade"), u"1");
    EXPECT_EQ(CountWorking(), 2u);
    EXPECT_EQ(m_host.GetLog().back(), "QueryAppsTradePermission-End");
}

TEST_F(TradePermissionsTest, ARegionThatIsNoObjectHasNoGroups) {
    m_host.Set(u"PERMISSIONS.AppsTradePermission", {{u"AllAppsTrade", u"1"}});
    for (const char* pszReply : {R"({"TWN":7})", R"({"TWN":"x"})", R"({"TWN":[1,2]})", R"({"TWN":true})", "{}"}) {
        m_server.SetAnswer(pszReply);
        Query();
        EXPECT_EQ(CountWorking(), 1u) << pszReply;
        EXPECT_EQ(m_host.GetLog().back(), "QueryAppsTradePermission-End");
    }
}

TEST_F(TradePermissionsTest, ARegionThatIsNullTakesNothingOver) {
    m_host.Set(u"PERMISSIONS.AppsTradePermission", {{u"AllAppsTrade", u"1"}});
    m_server.SetAnswer(R"({"TWN":null})");
    Query();
    EXPECT_EQ(CountWorking(), 0u);
    EXPECT_FALSE(m_host.HasLogged("QueryAppsTradePermission-End"));
    m_server.SetAnswer(TWO_GROUPS);
    Query();
    EXPECT_EQ(GetWorking(u"FUT"), u"A;B;") << "the cancelled change is in nobody's way";
}

TEST_F(TradePermissionsTest, AGroupWithoutMembersIsEmpty) {
    m_host.Set(u"AppsTradePermission", {{u"FUT", u"OLD;"}, {u"STK", u"OLD;"}});
    m_server.SetAnswer(R"({"TWN":{"FUT":{},"STK":7}})");
    Query();
    EXPECT_EQ(GetWorking(u"FUT"), u"");
    EXPECT_EQ(GetWorking(u"STK"), u"");
}

TEST_F(TradePermissionsTest, ADocumentWrappedInOtherTextIsRead) {
    m_session.SetRegion(u"QVANT");
    m_server.SetAnswer(R"(var x = "QVANT":{"FUT":{"A":1}}};)");
    Query();
    EXPECT_EQ(GetWorking(u"FUT"), u"A;");
}

TEST_F(TradePermissionsTest, TheFirstUrlWithADocumentCounts) {
    CAnsweringServer broken, third;
    broken.SetAnswer("<html>");
    m_permissions.QueryAppsTradePermission(u"|http://127.0.0.1:1/|" + broken.GetUrl() + u"p?x=1|" + m_server.GetUrl() +
                                           u"|" + third.GetUrl());
    EXPECT_EQ(GetWorking(u"FUT"), u"A;B;");
    EXPECT_THAT(broken.GetTargets(), ElementsAre("/p?x=1"));
    EXPECT_THAT(third.GetTargets(), IsEmpty());
    EXPECT_TRUE(m_host.HasLogged("QueryAppsTradePermission Query Error:InternetOpenUrl Fail, Error : 12029"));
    EXPECT_TRUE(m_host.HasLogged("QueryAppsTradePermission-URlError:" + Narrow(broken.GetUrl()) + "p?x=1"));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError")))) << "the last one had no error";
}

TEST_F(TradePermissionsTest, WhenAllFailTheLastErrorIsToldAndTheTableStands) {
    m_host.Set(u"AppsTradePermission", {{u"FUT", u"OLD;"}});
    m_server.SetAnswer("down", 503);
    m_permissions.QueryAppsTradePermission(m_server.GetUrl() + u"|http://127.0.0.1:1/");
    EXPECT_EQ(GetWorking(u"FUT"), u"OLD;");
    EXPECT_TRUE(m_host.HasLogged("QueryAppsTradePermission Query Error:Http STATUS_CODE Fail(503)"));
    EXPECT_TRUE(m_host.HasLogged("QueryAppsTradePermission-End"));
    EXPECT_TRUE(m_host.HasLogged("PostErrorMsg:InternetOpenUrl Fail, Error : 12029"));
    EXPECT_THAT(m_host.GetSaid(), Contains(HasSubstr("\"MsgCode\" : -108")).Times(1));
}

TEST_F(TradePermissionsTest, ABrokenLastReplyIsToldToNobody) {
    m_host.Set(u"AppsTradePermission", {{u"FUT", u"OLD;"}});
    for (const std::string& strBroken :
         {std::string("<html>"), std::string(R"({"TWN":{"FUT":{"A")"), std::string(3000000, '{'),
          std::string(3000000, '{') + "}", std::string("\xFF\xFE")}) {
        m_host.Forget();
        m_server.SetAnswer(strBroken);
        m_permissions.QueryAppsTradePermission(u"http://127.0.0.1:1/|" + m_server.GetUrl());
        EXPECT_TRUE(m_host.HasLogged("QueryAppsTradePermission-URlError:" + Narrow(m_server.GetUrl())));
        EXPECT_EQ(m_host.GetLog().back(), "QueryAppsTradePermission-End");
        EXPECT_EQ(GetWorking(u"FUT"), u"OLD;");
    }
}

TEST_F(TradePermissionsTest, AnEmptyListAsksNobody) {
    for (const TextView strUrls : {u"", u"||"}) {
        m_host.Forget();
        m_permissions.QueryAppsTradePermission(strUrls);
        EXPECT_THAT(m_host.GetLog(), ElementsAre("QueryAppsTradePermission-Start", "QueryAppsTradePermission-End"));
    }
    EXPECT_EQ(CountWorking(), 0u);
}

TEST_F(TradePermissionsTest, WithoutTheTableTheQueryEndsAtItsLogLine) {
    m_host.DropTable(u"AppsTradePermission");
    Query();
    EXPECT_EQ(m_host.GetLog().back(), "AppsTradePermission BaseData Error!");
    EXPECT_FALSE(m_host.HasLogged("QueryAppsTradePermission-End"));
}

TEST_F(TradePermissionsTest, WithoutTheTableOfRightsThereIsNoneToEverything) {
    m_host.DropTable(u"PERMISSIONS.AppsTradePermission");
    Query();
    EXPECT_EQ(CountWorking(), 2u);
}

TEST_F(TradePermissionsTest, AStopEndsTheQueryAtOnceAndNobodyIsTold) {
    m_server.Hang();
    platform::CThread thread;
    const Text strUrls = m_server.GetUrl() + u"|" + m_server.GetUrl() + u"again";
    ASSERT_TRUE(thread.Start("permission", [&] { m_permissions.QueryAppsTradePermission(strUrls); }));
    m_server.WaitForQuery();
    thread.StopAndJoin();
    EXPECT_EQ(m_server.GetTargets().size(), 1u);
    EXPECT_EQ(CountWorking(), 0u);
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(StartsWith("ReportError"))));
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("PostErrorMsg"))));
}

TEST_F(TradePermissionsTest, SigningInWhileNewPermissionsComeLosesNone) {
    BindStorage();
    for (int i = 0; i < 20; ++i) {
        const Text strGroup = Format(u"G%d", i);
        m_server.SetAnswer(Narrow(Format(u"{\"TWN\":{\"%s\":{\"A\":1}}}", strGroup)));
        m_host.Forget();
        platform::CThread thread;
        ASSERT_TRUE(thread.Start("permission", [this] { Query(); }));
        while (!m_host.HasLogged("QueryAppsTradePermission-End")) BindStorage();
        thread.StopAndJoin();
        EXPECT_EQ(GetWorking(strGroup), u"A;");
        EXPECT_EQ(GetKept(strGroup), u"A;");
    }
}

TEST_F(TradePermissionsTest, TheUsersExchangesAreTakenFromTheirRows) {
    m_host.SetRows(u"PERMISSIONS.EXCHANGES",
                   {u"CME=1", u"CBOT=1", u"SGX", u"HKEX=", u"=1", u"", u" \t", u" ICE \t= 1 =x", u"EUREX==1"});
    m_state.m_mapExchanges.emplace(u"OLD");
    m_permissions.LoadExchangePermissions();
    EXPECT_EQ(m_state.m_strExgListNew, u"CME||CBOT||ICE");
    EXPECT_EQ(m_state.m_mapExchanges, (TextSet{u"CME", u"CBOT", u"ICE"}));
}

TEST_F(TradePermissionsTest, RowsThatNameNoExchangeEmptyTheList) {
    m_state.m_strExgListNew = u"OLD";
    m_host.SetRows(u"PERMISSIONS.EXCHANGES", {u"CME", u"CME="});
    m_permissions.LoadExchangePermissions();
    EXPECT_EQ(m_state.m_strExgListNew, u"");
    EXPECT_TRUE(m_state.m_mapExchanges.empty());
}

TEST_F(TradePermissionsTest, WithoutTheTableOrItsRowsTheListStaysAndTheSetIsEmpty) {
    m_state.m_strExgListNew = u"OLD";
    m_state.m_mapExchanges.emplace(u"OLD");
    m_permissions.LoadExchangePermissions();
    EXPECT_EQ(m_state.m_strExgListNew, u"OLD");
    EXPECT_TRUE(m_state.m_mapExchanges.empty());
    m_host.MakeTable(u"PERMISSIONS.EXCHANGES");
    m_state.m_mapExchanges.emplace(u"OLD");
    m_permissions.LoadExchangePermissions();
    EXPECT_EQ(m_state.m_strExgListNew, u"OLD");
    EXPECT_TRUE(m_state.m_mapExchanges.empty());
}

TEST_F(TradePermissionsTest, AnExchangeNamedTwiceStandsTwiceInTheList) {
    m_host.SetRows(u"PERMISSIONS.EXCHANGES", {u"CME=1", u"CME=2"});
    m_permissions.LoadExchangePermissions();
    EXPECT_EQ(m_state.m_strExgListNew, u"CME||CME");
    EXPECT_EQ(m_state.m_mapExchanges.size(), 1u);
}

}  // namespace qvant::test
