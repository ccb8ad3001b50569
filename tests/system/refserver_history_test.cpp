// History commands: adjustment factors and last closes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/history_client.h"

namespace qvant::test {
namespace {

using testing::HasSubstr;

constexpr const char* Rolls = R"({
    "QV.F.CME.ES": {"rolls": {"20260911": "202612", "20260611": "202609", "20260313": "202606"},
                    "expired": {"202609": "20260918", "202606": "20260618"}}})";

// Without any swing the closes can be told by head: 1000 and ten percent a year to the expiry.
constexpr const char* Bars = R"({
    "Days": {"first": "20260401", "last": "20261120", "ends": "0500+1"},
    "QV.F.CME.ES": {"close": "1000", "tick": "0.25", "swing": "0%", "carry": "10%",
                    "closes": {"202612": {"20261113": "1234.5"}}}})";

class RefserverHistory : public testing::Test {
protected:
    void SetUp() override {
        m_world.Write("securities/CME.json", R"({
            "QV.F.CME.ES": {"EXG.mo": "GLOBEX", "Symbol.mo": "EP"}, "QV.F.CME.NQ": {"Symbol.mo": "NQ.X"},
            "QV.S.SSE.600000": {}, "QV.S.SSE.600001": {}})");
        m_world.Write("contracts/CME.json", R"({
            "QV.F.CME.ES": {"series": {"202612": "20261218", "202703": "20270319"}, "hot": "202612"},
            "QV.F.CME.NQ": {"series": {"202612": "20261218"}, "hot": "202612"}})");
        m_world.Write("rolls/CME.json", Rolls);
        m_world.Write("bars/CME.json", Bars);
        m_world.Write("factors/SSE.json", R"({"QV.S.SSE.600000": {
            "20250610": {"close": "10", "cash": "0.5"},
            "20260610": {"close": "20", "cash": "1", "shares": "0.25"}}})");
        m_world.Write("OBHoliday.txt", "20261119\tH\tCME,CBOT\r\n20261118\tX\tCME\r\n");
        m_pServer = CServerProcess::Serve(m_world.GetPath());
    }

    /// The close of one contract at one moment; -1 when there is none.
    double Close(const std::string& strContract, const std::string& strMoment) const {
        const auto reply = AskCloses(*m_pServer, "\"" + strContract + "\":[" + strMoment + "]");
        EXPECT_TRUE(reply.json.IsObject() && reply.json.HasMember("data")) << reply.strError;
        const auto& data = reply.json["data"];
        if (data.Empty()) return -1;
        EXPECT_EQ(data[0]["s"].GetString(), strContract);
        EXPECT_EQ(std::to_string(data[0]["dm"].GetInt64()), strMoment);
        return data[0]["c"].GetDouble();
    }

    CSmallWorld m_world;
    std::unique_ptr<CServerProcess> m_pServer;
};

TEST_F(RefserverHistory, GivesThePriceAStepAtEachRollOfAHotSeries) {
    const auto reply = AskFactors(*m_pServer, "I.F.GLOBEX.EP");
    EXPECT_EQ(reply.nStatus, 200);
    EXPECT_EQ(reply.strCommand, "cqyz");
    EXPECT_EQ(reply.strId, "QueryCQYZ__1A");
    // 1027 less 1002, and 1026.75 less 1002: 99, 98 and 7 days before the expiry, to the next quarter.
    EXPECT_EQ(reply.strJson,
              R"({"data":[{"od":20260612,"d":20260611,"t":50000000,"sxd":25.0,"old":202606,"new":202609},)"
              R"({"od":20260912,"d":20260911,"t":50000000,"sxd":24.75,"old":202609,"new":202612}]})");
}

TEST_F(RefserverHistory, GivesADifferenceThatTheClosesAtThatMomentHaveToo) {
    const auto reply = AskFactors(*m_pServer, "I.F.GLOBEX.EP");
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202609", "202606120500") - Close("I.F.GLOBEX.EP.202606", "202606120500"),
              reply.json["data"][0]["sxd"].GetDouble());
}

TEST_F(RefserverHistory, GivesAStockItsFactorsAndWhatTheyComeFrom) {
    const auto reply = AskFactors(*m_pServer, "I.S.SSE.600000");
    EXPECT_EQ(reply.strJson, R"({"data":[{"od":20250610,"d":20250610,"t":93000000,"sxd":0.95,"cash":0.5,"shares":0.0},)"
                             R"({"od":20260610,"d":20260610,"t":93000000,"sxd":0.76,"cash":1.0,"shares":0.25}]})");
}

TEST_F(RefserverHistory, HasNothingToGiveForWhatHasNoFactors) {
    // A stock and a future without any, a name that the exchange renamed, a contract, an option, and nonsense.
    for (const std::string strClass : {"I.S.SSE.600001", "I.F.CME.NQ.X", "I.F.CME.ES", "I.F.GLOBEX.EP.202612",
                                       "I.O.CME.ES", "I.F.NOPE.XX", "I", "", "....", "QV.F.CME.ES"}) {
        const auto reply = AskFactors(*m_pServer, strClass);
        EXPECT_EQ(reply.nStatus, 200) << strClass;
        EXPECT_FALSE(reply.bData) << strClass;
    }
}

TEST_F(RefserverHistory, GivesTheCloseOfTheLastBarThatHadEnded) {
    // Fridays 11 and 18 September; the bar of a day ends at five in the morning of the next one in China.
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202609120500"), 1026.75);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202609120459"), 1027.0);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202609142359"), 1026.75);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202609150500"), 1026.0);
}

TEST_F(RefserverHistory, LeavesHolidaysOfTheExchangeOutOnly) {
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202611191200"), 1008.25);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202611201200"), 1008.25);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202611211200"), 1007.75);
}

TEST_F(RefserverHistory, HasBarsFromTheFirstDayToTheLastAndToTheExpiry) {
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202604020459"), -1);
    EXPECT_NE(Close("I.F.GLOBEX.EP.202612", "202604020500"), -1);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202612310000"), Close("I.F.GLOBEX.EP.202612", "202611210500"));
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202606", "202611010000"), 1000.0);
}

TEST_F(RefserverHistory, TakesACloseThatIsWrittenDown) {
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202611150000"), 1234.5);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202703", "202611150000"), 1034.5);
}

TEST_F(RefserverHistory, AnswersABatchInItsOrderWithoutWhatItHasNot) {
    const auto reply =
        AskCloses(*m_pServer, R"("I.F.GLOBEX.EP.202612":[202609120500,202001010000,202609150500],)"
                              R"("I.F.CME.ES.202612":[202609120500],"I.F.GLOBEX.EP.202611":[202609120500],)"
                              R"("I.F.GLOBEX.EP":[202609120500],"x":[],"I.F.GLOBEX.EP.202703":[202609150500])");
    EXPECT_EQ(reply.strCommand, "lastk");
    EXPECT_EQ(reply.strId, "QueryLastK__1A");
    EXPECT_EQ(reply.strJson, R"({"data":[{"s":"I.F.GLOBEX.EP.202612","dm":202609120500,"c":1026.75},)"
                             R"({"s":"I.F.GLOBEX.EP.202612","dm":202609150500,"c":1026.0},)"
                             R"({"s":"I.F.GLOBEX.EP.202703","dm":202609150500,"c":1051.0}]})");
}

TEST_F(RefserverHistory, FindsAProductWhoseNameOnTheHistoryServerHasADot) {
    m_world.Write("rolls/CME.json", R"({"QV.F.CME.NQ": {"rolls": {"20260911": "202612"}}})");
    m_world.Write("bars/CME.json", R"({
        "Days": {"first": "20260401", "last": "20261120", "ends": "1500"},
        "QV.F.CME.NQ": {"close": "2000", "tick": "1", "swing": "0%", "carry": "0%"}})");
    EXPECT_EQ(Close("I.F.CME.NQ.X.202612", "202609120500"), 2000.0);
    EXPECT_EQ(Close("I.F.CME.NQ.202612", "202609120500"), -1);
    EXPECT_EQ(AskFactors(*m_pServer, "I.F.CME.NQ.X").strJson, R"({"data":[]})");
}

TEST_F(RefserverHistory, WritesPricesWithoutTheErrorsOfBinaryFractions) {
    m_world.Write("bars/CME.json", R"({
        "Days": {"first": "20260401", "last": "20261120", "ends": "1500"},
        "QV.F.CME.ES": {"close": "0.0064585", "tick": "0.0000005", "swing": "9%", "carry": "3.3%"}})");
    const auto reply = AskFactors(*m_pServer, "I.F.GLOBEX.EP");
    ASSERT_TRUE(reply.bData);
    for (const auto& factor : reply.json["data"].GetArray()) {
        char text[32];
        std::snprintf(text, sizeof text, "%.7f", factor["sxd"].GetDouble());
        EXPECT_EQ(std::stod(text), factor["sxd"].GetDouble());
    }
}

TEST_F(RefserverHistory, LetsAProductGoUpAndDownLikeAnother) {
    m_world.Write("bars/CME.json", R"({
        "Days": {"first": "20260401", "last": "20261120", "ends": "0500+1"},
        "QV.F.CME.ES": {"close": "1000", "tick": "0.25", "swing": "20%", "carry": "0%"},
        "QV.F.CME.NQ": {"close": "1000", "tick": "0.25", "swing": "20%", "carry": "0%", "like": "QV.F.CME.ES"}})");
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202608010000"), Close("I.F.CME.NQ.X.202612", "202608010000"));
    EXPECT_NE(Close("I.F.GLOBEX.EP.202612", "202608010000"), 1000.0);
    EXPECT_EQ(Close("I.F.GLOBEX.EP.202612", "202611210500"), 1000.0);
}

TEST_F(RefserverHistory, RefusesACommandThatItCannotFollowAndSaysWhy) {
    for (const auto& [strCommand, strWhy] : std::vector<std::pair<std::string, std::string>>{
             {"", "isn't JSON"},
             {"{", "isn't JSON"},
             {"\xff", "isn't JSON"},
             {std::string(20000, '['), "isn't JSON"},
             {"[]", "isn't an object"},
             {"{}", "there is no command \\\"\\\""},
             {R"({"c":"bars"})", "there is no command \\\"bars\\\""},
             {R"({"c":1})", "\\\"c\\\" isn't a string"},
             {R"({"c":"cqyz","r":7,"d":{"s":""}})", "\\\"r\\\" isn't a string"},
             {R"({"c":"cqyz"})", "\\\"d\\\" isn't an object"},
             {R"({"c":"cqyz","d":{}})", "\\\"d\\\" has no \\\"s\\\""},
             {R"({"c":"cqyz","d":{"s":[]}})", "isn't a quote class"},
             {R"({"c":"lastk","d":{"s":"I.F.CME.ES.202612"}})", "isn't an object of quote contracts"},
             {R"({"c":"lastk","d":{"s":{I.F.CME.ES.202612:[202612111700]}}})", "isn't JSON"},
             {R"({"c":"lastk","d":{"s":{"I.F.CME.ES.202612":202612111700}}})", "no array of moments"},
             {R"({"c":"lastk","d":{"s":{"I.F.CME.ES.202612":["202612111700"]}}})", "isn't YYYYMMDDhhmm"},
             {R"({"c":"lastk","d":{"s":{"I.F.CME.ES.202612":[202613111700]}}})", "isn't YYYYMMDDhhmm"},
             {R"({"c":"lastk","d":{"s":{"I.F.CME.ES.202612":[202612112400]}}})", "isn't YYYYMMDDhhmm"},
             {R"({"c":"lastk","d":{"s":{"I.F.CME.ES.202612":[-202612111700]}}})", "isn't YYYYMMDDhhmm"}}) {
        const auto reply = AskHistory(*m_pServer, strCommand);
        EXPECT_EQ(reply.nStatus, 400) << strCommand.substr(0, 100);
        EXPECT_THAT(reply.strError, HasSubstr(strWhy)) << strCommand.substr(0, 100);
    }
    EXPECT_EQ(Get(*m_pServer, "/History.do").nStatus, 400);
}

TEST_F(RefserverHistory, RepeatsTheIdOfTheRequestWhateverItIs) {
    const auto reply = AskHistory(*m_pServer, R"({"c":"cqyz","r":"\u4e2d\u0000\"","d":{"s":"I.S.SSE.600000"}})");
    EXPECT_EQ(reply.strId, std::string("中\0\"", 5));
    EXPECT_TRUE(AskHistory(*m_pServer, R"({"c":"cqyz","d":{"s":"I.S.SSE.600000"}})").bData);
}

TEST_F(RefserverHistory, ServesAnEditFromTheNextRequestOn) {
    m_world.Write("factors/SSE.json", R"({"QV.S.SSE.600001": {}})");
    EXPECT_FALSE(AskFactors(*m_pServer, "I.S.SSE.600000").bData);
    EXPECT_EQ(AskFactors(*m_pServer, "I.S.SSE.600001").strJson, R"({"data":[]})");
    m_world.Write("rolls/CME.json", R"({"QV.F.CME.ES": {"rolls": {"20261118": "202703", "20260911": "202612"}}})");
    EXPECT_EQ(AskFactors(*m_pServer, "I.F.GLOBEX.EP").json["data"].Size(), 1U);
}

TEST_F(RefserverHistory, GoesWrongOnPurposeLikeEveryDocument) {
    ASSERT_TRUE(PostFaults(*m_pServer, R"([{"match":"History","kind":"status","code":500}])"));
    EXPECT_EQ(AskFactors(*m_pServer, "I.S.SSE.600000").nStatus, 500);
    ASSERT_TRUE(PostFaults(*m_pServer, R"([{"match":"History","kind":"empty"}])"));
    EXPECT_THROW(AskFactors(*m_pServer, "I.S.SSE.600000"), std::runtime_error);
    ASSERT_TRUE(PostFaults(*m_pServer, R"([{"match":"History","kind":"cut","bytes":20}])"));
    EXPECT_EQ(AskFactors(*m_pServer, "I.S.SSE.600000").nStatus, 0);
    ASSERT_TRUE(PostFaults(*m_pServer, "[]"));
    EXPECT_TRUE(AskFactors(*m_pServer, "I.S.SSE.600000").bData);
}

/// What a broken file holds, and a part of what the server says of it.
struct BrokenHistory {
    const char* pName;
    const char* pFile;
    std::string strText;
    const char* pNote;
};

/// A file of bars with good days before the products.
std::string WithDays(const std::string& strProducts) {
    return R"({"Days":{"first":"20260401","last":"20261120","ends":"1500"},)" + strProducts;
}

void PrintTo(const BrokenHistory& edit, std::ostream* pStream) { *pStream << edit.pName; }

class RefserverBrokenHistory : public RefserverHistory, public testing::WithParamInterface<BrokenHistory> {};

TEST_P(RefserverBrokenHistory, IsNotedAndTheLastGoodDataStand) {
    m_world.Write(GetParam().pFile, GetParam().strText);
    EXPECT_TRUE(AskFactors(*m_pServer, "I.S.SSE.600000").bData);
    EXPECT_TRUE(AskFactors(*m_pServer, "I.F.GLOBEX.EP").bData);
    EXPECT_NE(m_pServer->GetErrors().WaitForText(GetParam().pNote), "");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, RefserverBrokenHistory,
    testing::Values(
        BrokenHistory{"NoDays", "bars/CME.json", "{}", "\"Days\" isn't there"},
        BrokenHistory{"DaysBackwards", "bars/CME.json",
                      R"({"Days":{"first":"20260401","last":"20260331","ends":"1500"}})", "last day before the first"},
        BrokenHistory{"EndAtNoTime", "bars/CME.json",
                      R"({"Days":{"first":"20260401","last":"20261120","ends":"2400"}})", "no time HHMM"},
        BrokenHistory{"NoClose", "bars/CME.json", WithDays(R"("QV.F.CME.ES":{"tick":"1"}})"), "no price as \"close\""},
        BrokenHistory{"CloseOfTooManyDigits", "bars/CME.json",
                      WithDays(R"("QV.F.CME.ES":{"close":"1234567890","tick":"1"}})"), "no price as \"close\""},
        BrokenHistory{"TickOfNothing", "bars/CME.json", WithDays(R"("QV.F.CME.ES":{"close":"1","tick":"0.0"}})"),
                      "a tick that isn't above 0"},
        BrokenHistory{"SwingWithoutPercent", "bars/CME.json",
                      WithDays(R"("QV.F.CME.ES":{"close":"1","tick":"1","swing":"3"}})"), "as \"swing\""},
        BrokenHistory{"SwingOfEverything", "bars/CME.json",
                      WithDays(R"("QV.F.CME.ES":{"close":"1","tick":"1","swing":"201%"}})"), "as \"swing\""},
        BrokenHistory{"BarsOfAnOption", "bars/CME.json", WithDays(R"("QV.O.CME.ES":{}})"), "is no future"},
        BrokenHistory{"CloseOnNoDay", "bars/CME.json",
                      WithDays(R"("QV.F.CME.ES":{"close":"1","tick":"1","swing":"1%","carry":"1%",)"
                               R"("closes":{"202612":{"20261131":"1"}}}})"),
                      "a close on \"20261131\""},
        BrokenHistory{"FactorsOfAFuture", "factors/SSE.json", R"({"QV.F.CME.ES":{}})", "is no stock"},
        BrokenHistory{"FactorOnNoDay", "factors/SSE.json", R"({"QV.S.SSE.600000":{"20260230":{}}})", "\"20260230\""},
        BrokenHistory{"FactorsOutOfOrder", "factors/SSE.json",
                      R"({"QV.S.SSE.600000":{"20260210":{"close":"1"},"20260210":{"close":"1"}}})", "out of order"},
        BrokenHistory{"MoreCashThanPrice", "factors/SSE.json",
                      R"({"QV.S.SSE.600000":{"20260210":{"close":"1","cash":"1"}}})", "no \"close\" above \"cash\""},
        BrokenHistory{"CashAsANumber", "factors/SSE.json",
                      R"({"QV.S.SSE.600000":{"20260210":{"close":"1","cash":0.5}}})", "\"cash\" isn't a string"}),
    [](const auto& kind) { return kind.param.pName; });

}  // namespace
}  // namespace qvant::test
