#include "documents/currency_rates.h"

#include <algorithm>

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
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const char* TABLE =
    R"({"FX":{"USD":{"TWD":"31.2450","EUR":0.8621}},"RF":{"USD":3.875},"LastVersion":20261120})";

class CurrencyRatesTest : public ::testing::Test {
protected:
    CurrencyRatesTest() {
        m_pTable = &m_host.MakeTable(u"CurrencyExchangeRate");
        m_servers.Assign(m_server.GetUrl(), [] { return 0U; });
        m_server.SetAnswer(TABLE);
    }

    void Query() { m_rates.QueryCurrency(m_pTable); }
    void Take(std::string strReply) {
        m_server.SetAnswer(std::move(strReply));
        Query();
    }
    Text Get(TextView strKey) { return m_host.Get(u"CurrencyExchangeRate", strKey); }
    /// All keyed values, sorted.
    std::vector<std::string> GetAll() {
        std::vector<std::string> arAll;
        for (const Text& strKey : SplitTokens(m_pTable->GetKeys().value_or(Text()), u";")) {
            arAll.push_back(Narrow(strKey.substr(2) + u"=" + Get(strKey.substr(2))));
        }
        std::sort(arAll.begin(), arAll.end());
        return arAll;
    }
    std::string Url(TextView strServer) const {
        return Narrow(strServer) + "OutsideData_getDocument.do?doc=Currency&lastVersion=-1";
    }

    CTestHost m_host;
    CAnsweringServer m_server;
    RunState m_state;
    CServerList m_servers;
    CSession m_session{platform::MachineClock()};
    CErrorReport m_errors{m_host, platform::MachineClock()};
    CCurrencyRates m_rates{{m_host, m_session, m_servers, m_errors, m_state}};
    CBaseData* m_pTable = nullptr;
};

TEST_F(CurrencyRatesTest, TheRatesReachTheTableWithTheirVersion) {
    Query();
    EXPECT_THAT(GetAll(), ElementsAre("EUR=0.8621", "RF_USD=3.8750", "TWD=31.2450", "USD=1"));
    EXPECT_EQ(m_pTable->GetKeyAt(0), u"20261120");
    EXPECT_EQ(m_pTable->GetCount(), 1);
    EXPECT_EQ(m_state.m_strCurrencyVersion, u"20261120");
    EXPECT_THAT(m_server.GetTargets(), ElementsAre("/OutsideData_getDocument.do?doc=Currency&lastVersion=-1"));
    EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog Do QueryCurrency."));
}

TEST_F(CurrencyRatesTest, AVersionThatIsATextIsKeptWithoutItsQuotes) {
    Take(R"({"LastVersion":"20261121"})");
    EXPECT_EQ(m_state.m_strCurrencyVersion, u"20261121");
    EXPECT_EQ(m_pTable->GetKeyAt(0), u"20261121");
    Take(R"({"LastVersion":"\"\"20261122\""})");
    EXPECT_EQ(m_state.m_strCurrencyVersion, u"20261122");
}

TEST_F(CurrencyRatesTest, TheVersionIsNeverComparedAndEachQueryReplacesTheTable) {
    Query();
    {
        CTransaction transaction(*m_pTable);
        transaction.SetValue(u"OLD", u"1");
        transaction.Commit();
    }
    OpenChild(*m_pTable, u"child");
    Take(R"({"FX":{"EUR":{"USD":"1.16"}},"LastVersion":20261120})");
    EXPECT_THAT(GetAll(), ElementsAre("EUR=1", "USD=1.16"));
    EXPECT_EQ(m_pTable->GetSubTable(u"child", nullptr), nullptr);
    EXPECT_THAT(m_server.GetTargets().back(), HasSubstr("lastVersion=-1"));
}

TEST_F(CurrencyRatesTest, NumbersAndTextsAreTakenAsTheirTextWithoutQuotesAtTheEnds) {
    Take(
        R"({"FX":{"USD":{"A":7,"B":-12345678901,"C":0.12345,"D":"0.0065012","E":"\"1\"2\"","F":true,"G":null,"H":""}}})");
    EXPECT_THAT(GetAll(), ElementsAre("A=7", "B=-12345678901", "C=0.1235", "D=0.0065012", "E=1\"2", "F=true", "G=null",
                                      "H=", "USD=1"));
}

TEST_F(CurrencyRatesTest, ANameThatAPairEndsWithIsWrittenUnderBothCodes) {
    m_state.m_mapCurrencyMapping[u"USDX"] = u"USD";
    m_state.m_mapCurrencyMapping[u"RMB"] = u"CNY";
    Take(R"({"FX":{"TWD":{"USDX":"0.032","EUR":"0.027"},"RMB":{"TWD":4.4}},"RF":{"RMB":1.4}})");
    EXPECT_THAT(GetAll(), ElementsAre("EUR=0.027", "RF_RMB=1.4000", "RMB=1", "TWD=1", "USD=0.032", "USDX=0.032"))
        << "only names within a group are mapped; the group TWD comes after the rate of TWD in RMB";
}

TEST_F(CurrencyRatesTest, GroupsAndNamesAreWrittenInTheOrderOfTheirSpelling) {
    Take(R"({"FX":{"USD":{"EUR":"0.86"},"EUR":{"USD":"1.16","EUR":"9"}}})");
    EXPECT_THAT(GetAll(), ElementsAre("EUR=0.86", "USD=1"));
}

TEST_F(CurrencyRatesTest, ADocumentWithoutAnyOfTheMembersEmptiesTheTable) {
    Query();
    m_server.SetAnswer(R"({"error":"busy"})");
    Query();
    EXPECT_THAT(GetAll(), IsEmpty());
    EXPECT_EQ(m_pTable->GetCount(), 0);
    EXPECT_EQ(m_state.m_strCurrencyVersion, u"20261120") << "the version of the last document that had one";
}

TEST_F(CurrencyRatesTest, AnEmptyObjectIsTooShortToCount) {
    Query();
    Take("{}");
    EXPECT_THAT(GetAll(), SizeIs(4));
    Take("{    }");
    EXPECT_THAT(GetAll(), IsEmpty());
}

TEST_F(CurrencyRatesTest, AReplyOfFiveUnitsIsTakenForABusyGatewayAndOneOfSixIsParsed) {
    Query();
    m_host.Forget();
    for (const std::string strShort : {"503", "{\"a\":", "12345\"\"\"\"\"", "\xe4\xb8\xad\xe4\xb8\xad{}1"}) {
        Take(strShort);
    }
    EXPECT_THAT(GetAll(), SizeIs(4));
    const auto arLog = m_host.GetLog();
    EXPECT_EQ(std::count(arLog.begin(), arLog.end(), "503 Service Temporarily Unavailable and skip do parse json"), 4);
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(HasSubstr("PostErrorMsg"))));
    m_host.Forget();
    Take("123456");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("Do QueryCurrency.", "QueryCurrency-URlError:" + Url(m_server.GetUrl())));
    EXPECT_THAT(GetAll(), SizeIs(4));
}

TEST_F(CurrencyRatesTest, QuotesAtTheEndOfAReplyFallAwayAndHurtNothing) {
    Take(std::string(TABLE) + "\"\"");
    EXPECT_THAT(GetAll(), SizeIs(4));
    Take(R"({"FX":{"A":{"B":"1"}}})");
    EXPECT_THAT(GetAll(), ElementsAre("A=1", "B=1"));
}

TEST_F(CurrencyRatesTest, MembersOfAnotherKindAreTakenAsEmpty) {
    for (const char* pszOther : {"7 ", "\"text\"", "[1,2]", "null", "true"}) {
        Query();
        Take(std::string(R"({"FX":)") + pszOther + R"(,"RF":)" + pszOther + R"(,"Other":{"a":{"b":"c"}}})");
        EXPECT_THAT(GetAll(), IsEmpty()) << pszOther;
    }
    Take(R"({"FX":{"USD":7,"EUR":["a"],"TWD":{}}})");
    EXPECT_THAT(GetAll(), ElementsAre("EUR=1", "TWD=1", "USD=1"));
}

TEST_F(CurrencyRatesTest, ADocumentThatIsNoObjectHasNoMembers) {
    for (const char* pszOther : {"[1,2,3]", "123456 ", "  null  "}) {
        Query();
        Take(pszOther);
        EXPECT_THAT(GetAll(), IsEmpty()) << pszOther;
    }
}

TEST_F(CurrencyRatesTest, NestedRubbishIsWrittenAsItsText) {
    Take(R"({"FX":{"":{"":{"a":[1,"x"]},"中文":"1"}},"RF":{"":[]},"LastVersion":{"v":1}})");
    EXPECT_THAT(GetAll(), ElementsAre(R"(={"a" : [1, "x"]})", "RF_=[]", "中文=1"));
    EXPECT_EQ(m_state.m_strCurrencyVersion, u"{\"v\" : 1}");
}

TEST_F(CurrencyRatesTest, TextThatIsNoJsonGoesToTheNextServerAndTheTableStays) {
    Query();
    m_host.Forget();
    for (const std::string& strJunk :
         {std::string("<html>busy</html>"), std::string("{\"FX\":{\"USD\":{"), std::string(8, '\xff'),
          std::string("{\"FX\":\0{}}", 10), std::string("{\"FX\" {}, }"), std::string(1'000'000, '[')}) {
        Take(strJunk);
        EXPECT_EQ(m_host.GetLog().back(), "QueryCurrency-URlError:" + Url(m_server.GetUrl()));
    }
    EXPECT_THAT(GetAll(), SizeIs(4));
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(HasSubstr("PostErrorMsg"))));
}

TEST_F(CurrencyRatesTest, AValueOfAHundredThousandLevelsIsTextAsWell) {
    constexpr std::size_t LEVELS = 100'000;
    const std::string strDeep = std::string(LEVELS, '[') + std::string(LEVELS, ']');
    Take(R"({"FX":{"USD":{"EUR":)" + strDeep + R"(,"TWD":"31"}}})");
    EXPECT_EQ(Get(u"EUR"), Widen(strDeep));
    EXPECT_EQ(Get(u"TWD"), u"31");
}

TEST_F(CurrencyRatesTest, AHugeDocumentIsTakenWhole) {
    std::string strDocument = R"({"FX":{"USD":{)";
    for (int n = 0; n < 200'000; ++n) strDocument += "\"N" + std::to_string(n) + "\":" + std::to_string(n) + ".5,";
    strDocument += R"("LAST":"1"}}})";
    Take(strDocument);
    EXPECT_EQ(Get(u"N0"), u"0.5000");
    EXPECT_EQ(Get(u"N199999"), u"199999.5000");
    EXPECT_EQ(Get(u"LAST"), u"1");
}

TEST_F(CurrencyRatesTest, ReadersSeeTheOldRatesOrTheNewOnes) {
    struct CSink : CBaseDataEventReceiver {
        void OnReplace(CBaseData*, std::int32_t) override { ++nReplaced; }
        void OnUpdate(CBaseData* pTable, std::int32_t, const Text&) override {
            if (pTable->GetString(u"USD") != u"1" || pTable->GetString(u"RF_USD").empty()) bTorn = true;
            if (++nUpdates == 5) done.Set();
        }
        int nReplaced = 0;
        int nUpdates = 0;
        bool bTorn = false;
        platform::CEvent done{platform::CEvent::Reset::Manual, false};
    } sink;
    {
        const auto pReader = m_host.OpenTable(u"CurrencyExchangeRate", &sink);
        Query();
        ASSERT_EQ(sink.done.WaitFor(std::chrono::seconds(20)), platform::WaitResult::Signalled);
    }
    EXPECT_EQ(sink.nReplaced, 1);
    EXPECT_EQ(sink.nUpdates, 5) << "four values and the version";
    EXPECT_FALSE(sink.bTorn);
}

TEST_F(CurrencyRatesTest, ServersAreAskedInTurnFromTheOneThatAnsweredLast) {
    CAnsweringServer busy;
    CAnsweringServer junk;
    busy.SetAnswer("503", 200);
    junk.SetAnswer("<html></html>");
    m_servers.Assign(Format(u"%s|%s|%s", busy.GetUrl(), junk.GetUrl(), m_server.GetUrl()), [] { return 0U; });
    Query();
    EXPECT_EQ(m_servers.GetIndex(), 2u);
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("Do QueryCurrency.", "503 Service Temporarily Unavailable and skip do parse json",
                            "QueryCurrency-URlError:" + Url(junk.GetUrl())));
    EXPECT_EQ(Get(u"USD"), u"1");
    Query();
    EXPECT_THAT(busy.GetTargets(), SizeIs(1));
    EXPECT_THAT(m_server.GetTargets(), SizeIs(2));
}

TEST_F(CurrencyRatesTest, AServerThatFailsLeavesItsErrorOnlyWhenItIsTheLast) {
    Query();
    m_host.Forget();
    m_server.SetAnswer("no", 503);
    Query();
    EXPECT_THAT(m_host.GetLog(), ElementsAre("Do QueryCurrency.", "QueryCurrency URL:" + Url(m_server.GetUrl()),
                                             "PostErrorMsg:Http STATUS_CODE Fail(503)"));
    EXPECT_THAT(GetAll(), SizeIs(4));

    CAnsweringServer busy;
    busy.SetAnswer("503");
    m_servers.Assign(m_server.GetUrl() + u"|" + busy.GetUrl(), [] { return 0U; });
    m_host.Forget();
    Query();
    EXPECT_EQ(m_host.GetLog().back(), "503 Service Temporarily Unavailable and skip do parse json");
}

TEST_F(CurrencyRatesTest, AServerThatIsNotThereIsToldToTheUser) {
    m_servers.Assign(u"http://127.0.0.1:1/", [] { return 0U; });
    Query();
    EXPECT_THAT(m_host.GetSaid(), Contains(StartsWith("ReportError 13 0")));
    EXPECT_THAT(GetAll(), IsEmpty());
}

TEST_F(CurrencyRatesTest, WithoutAnyServerOrWithoutTheTableNothingHappens) {
    CServerList none;
    CCurrencyRates({m_host, m_session, none, m_errors, m_state}).QueryCurrency(m_pTable);
    m_rates.QueryCurrency(nullptr);
    EXPECT_THAT(m_server.GetTargets(), IsEmpty());
    EXPECT_THAT(m_host.GetSaid(), ElementsAre("WriteLog Do QueryCurrency.", "WriteLog Do QueryCurrency."));
}

TEST_F(CurrencyRatesTest, AStopEndsTheQueryWithTheTableAsItWasAndNobodyTold) {
    Query();
    m_host.Forget();
    CAnsweringServer hanging;
    hanging.Hang();
    m_servers.Assign(hanging.GetUrl(), [] { return 0U; });
    platform::CThread thread;
    ASSERT_TRUE(thread.Start("QueryCurrency", [this] { Query(); }));
    hanging.WaitForQuery();
    thread.StopAndJoin();
    EXPECT_THAT(GetAll(), SizeIs(4));
    EXPECT_EQ(m_state.m_strCurrencyVersion, u"20261120");
    EXPECT_THAT(m_host.GetSaid(), Not(Contains(HasSubstr("PostErrorMsg"))));
}

}  // namespace qvant::test
