#include "documents/stock_info_parser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/test_host.h"

namespace qvant::test {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr std::int32_t MOST = 2147483647;

class StockInfoParserTest : public ::testing::Test {
protected:
    void Add(TextView strCode, std::string_view strJson) {
        JsonDocument document;
        ASSERT_TRUE(ParseUtf8(document, strJson)) << strJson;
        ParseJsonStkInofData(document, strCode, m_mapLimits, m_host);
    }
    /// Buy limit, sell limit, buy lot, sell lot, maturity; empty for an unknown stock.
    std::vector<std::int32_t> Get(TextView strSymbol) const {
        const auto pFound = m_mapLimits.find(strSymbol);
        if (pFound == m_mapLimits.end()) return {};
        const StockLimits& limits = pFound->second;
        return {limits.BuyQtyUpperLimit, limits.SellQtyUpperLimit, limits.BuyQtyUnit, limits.SellQtyUnit,
                limits.MaturityDate};
    }

    CTestHost m_host;
    StockLimitMap m_mapLimits;
};

TEST_F(StockInfoParserTest, AnElementOfShanghaiGivesItsLimits) {
    Add(u"sse", R"([{"0":"600000","8":"ASH","18":"1000000","15":"100","16":"1","17":"1"}])");
    EXPECT_THAT(Get(u"QV.S.SSE.600000"), ElementsAre(1000000, 1000000, 100, 1, 0));
    EXPECT_THAT(m_host.GetLog(), ElementsAre("ParseJsonStkInofData:sse(1)"));
}

TEST_F(StockInfoParserTest, TheClassesOfBondsCountInTens) {
    for (const char* pszClass : {"ORP", "BRP", "CRP", "OBD", "CBD", "CPF", "CCF", "CBF", "DVP", "DST", "GBZ", "GBF"}) {
        Add(u"sse", R"([{"0":"1","18":"7","15":"5","16":"3","17":"1","8":")" + std::string(pszClass) + R"("}])");
        EXPECT_THAT(Get(u"QV.S.SSE.1"), ElementsAre(70, 70, 50, 30, 0)) << pszClass;
    }
}

TEST_F(StockInfoParserTest, AnUnknownClassOrNoneCountsInOnes) {
    for (const char* pszClass : {R"("8":"XYZ",)", R"("8":"cbd",)", R"("8":"",)", R"("8":7,)", ""}) {
        Add(u"sse", R"([{)" + std::string(pszClass) + R"("0":"1","18":"7","15":"5","16":"3","17":"1"}])");
        EXPECT_THAT(Get(u"QV.S.SSE.1"), ElementsAre(7, 7, 5, 3, 0)) << pszClass;
    }
}

TEST_F(StockInfoParserTest, ALowerLimitAboveALotIsLoggedAndTheRecordStands) {
    Add(u"sse", R"([{"0":"1","18":"9","15":"2","16":"3","17":"2"},
                    {"0":"2","18":"9","15":"2","16":"3","17":"3"},
                    {"0":"3","18":"9","15":"3","16":"2","17":"3"},
                    {"0":"4","18":"9","15":"3","16":"2","17":"3","8":"CBD"}])");
    EXPECT_THAT(m_host.GetLog(),
                ElementsAre("ParseJsonStkInofData:sse(4)", "strSecurityIDSource error-QV.S.SSE.2",
                            "strSecurityIDSource error-QV.S.SSE.3", "strSecurityIDSource error-QV.S.SSE.4"));
    EXPECT_THAT(Get(u"QV.S.SSE.2"), ElementsAre(9, 9, 2, 3, 0));
    EXPECT_THAT(Get(u"QV.S.SSE.4"), ElementsAre(90, 90, 30, 20, 0));
}

TEST_F(StockInfoParserTest, OneStockLeavesATraceOfItsLots) {
    Add(u"sse", R"([{"0":"588100","15":"200","16":"100","8":"CBD"},{"0":"588101","15":"200","16":"100"}])");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("ParseJsonStkInofData:sse(2)",
                                             "strSecurityIDSource:QV.S.SSE.588100, lBuyUnit=2000, lSellUnit=1000"));
}

TEST_F(StockInfoParserTest, ANumberThatAnElementOfShanghaiLacksIsThatOfTheOneBefore) {
    Add(u"sse", R"([{"0":"1","18":"9","15":"5","16":"3","17":"1","8":"CBD"},{"0":"2","16":"4"},
                    {"18":"8"},7,{"0":"3","8":"CBD"}])");
    EXPECT_THAT(Get(u"QV.S.SSE.1"), ElementsAre(90, 90, 50, 30, 0));
    EXPECT_THAT(Get(u"QV.S.SSE.2"), ElementsAre(9, 9, 5, 4, 0));
    EXPECT_THAT(Get(u"QV.S.SSE.3"), ElementsAre(80, 80, 50, 40, 0));
    EXPECT_EQ(m_mapLimits.size(), 3u);
    Add(u"sse", R"([{"0":"4","15":"1"}])");
    EXPECT_THAT(Get(u"QV.S.SSE.4"), ElementsAre(0, 0, 1, 0, 0)) << "a new document starts from 0";
}

TEST_F(StockInfoParserTest, ANumberThatAnElementOfShenzhenLacksIsThatOfTheOneBefore) {
    Add(u"szse", R"([{"SecurityID":"000001","BuyQtyUpperLimit":9,"SellQtyUpperLimit":8,"BuyQtyUnit":100,
                      "SellQtyUnit":1},
                     {"SecurityID":"000002","SellQtyUpperLimit":7,"BuyQtyUnit":null},
                     {"BuyQtyUpperLimit":6},{"SecurityID":""},[],
                     {"SecurityID":"000003","SecurityIDSource":102}])");
    EXPECT_THAT(Get(u"QV.S.SZSE.000001"), ElementsAre(9, 8, 100, 1, 0));
    EXPECT_THAT(Get(u"QV.S.SZSE.000002"), ElementsAre(9, 7, 100, 1, 0));
    EXPECT_THAT(Get(u"QV.S.SZSE.000003"), ElementsAre(6, 7, 100, 1, 0));
    EXPECT_EQ(m_mapLimits.size(), 3u);
    EXPECT_THAT(m_host.GetLog(), ElementsAre("ParseJsonStkInofData:szse(6)"));
}

TEST_F(StockInfoParserTest, TheSecondDocumentOfShenzhenAddsMaturitiesToWhatIsThere) {
    Add(u"szse", R"([{"SecurityID":"1","BuyQtyUpperLimit":9,"SellQtyUpperLimit":8,"BuyQtyUnit":7,"SellQtyUnit":6},
                     {"SecurityID":"2"},{"SecurityID":"3"},{"SecurityID":"4"}])");
    Add(u"szse-2", R"([{"SecurityID":"1","BondParams":{"MaturityDate":20301231}},
                       {"SecurityID":"2","BondParams":{}},{"SecurityID":"3","BondParams":7},{"SecurityID":"4"},
                       {"SecurityID":"5","BondParams":{"MaturityDate":20301231}},
                       {"BondParams":{"MaturityDate":20301231}},"x"])");
    EXPECT_THAT(Get(u"QV.S.SZSE.1"), ElementsAre(9, 8, 7, 6, 20301231));
    EXPECT_THAT(Get(u"QV.S.SZSE.2"), ElementsAre(9, 8, 7, 6, 0));
    EXPECT_THAT(Get(u"QV.S.SZSE.3"), ElementsAre(9, 8, 7, 6, 0));
    EXPECT_EQ(m_mapLimits.size(), 4u);
    EXPECT_TRUE(m_host.HasLogged("ParseJsonStkInofData:szse-2(7)"));
}

TEST_F(StockInfoParserTest, AMaturityStartsFromNothingForEachElement) {
    Add(u"szse", R"([{"SecurityID":"1"}])");
    Add(u"szse-2", R"([{"SecurityID":"1","BondParams":{"MaturityDate":20301231}}])");
    Add(u"szse", R"([{"SecurityID":"1","BuyQtyUnit":5},{"SecurityID":"2"}])");
    EXPECT_THAT(Get(u"QV.S.SZSE.1"), ElementsAre(0, 0, 5, 0, 0));
    EXPECT_THAT(Get(u"QV.S.SZSE.2"), ElementsAre(0, 0, 5, 0, 0));
}

TEST_F(StockInfoParserTest, NumbersAsTextAndTextAsNumbersAreTakenForWhatTheyMean) {
    Add(u"szse", R"([{"SecurityID":300750,"BuyQtyUpperLimit":"9","SellQtyUpperLimit":8.9,"BuyQtyUnit":"x",
                      "SellQtyUnit":-1}])");
    EXPECT_THAT(Get(u"QV.S.SZSE.300750"), ElementsAre(9, 8, 0, -1, 0));
    Add(u"sse", R"([{"0":600000,"18":9,"15":" 5 ","16":"","17":0}])");
    EXPECT_THAT(Get(u"QV.S.SSE.600000"), ElementsAre(9, 9, 5, 0, 0));
}

TEST_F(StockInfoParserTest, ANumberThatDoesntFitBecomesTheNearest) {
    Add(u"szse", R"([{"SecurityID":"1","BuyQtyUpperLimit":99999999999,"SellQtyUpperLimit":1e300,
                      "BuyQtyUnit":18446744073709551615,"SellQtyUnit":-99999999999}])");
    EXPECT_THAT(Get(u"QV.S.SZSE.1"), ElementsAre(MOST, MOST, MOST, -MOST - 1, 0));
    Add(u"sse", R"([{"0":"1","18":"99999999999999999999999"}])");
    EXPECT_THAT(Get(u"QV.S.SSE.1"), ElementsAre(MOST, MOST, 0, 0, 0));
}

TEST_F(StockInfoParserTest, AProductThatDoesntFitWraps) {
    Add(u"sse", R"([{"0":"1","8":"CBD","18":"2147483647","15":"1000000000","16":"-2147483648"}])");
    EXPECT_THAT(Get(u"QV.S.SSE.1"), ElementsAre(-10, -10, 1410065408, 0, 0));
}

TEST_F(StockInfoParserTest, WhatIsNoArrayAddsNothing) {
    for (const char* pszJson : {R"({"0":"1"})", "7", "\"x\"", "null"}) Add(u"sse", pszJson);
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
    EXPECT_TRUE(m_mapLimits.empty());
}

TEST_F(StockInfoParserTest, ElementsOfAnyShapeDoNoHarm) {
    for (const TextView strCode : {u"sse", u"szse", u"szse-2", u"other"}) {
        Add(strCode, R"([null,true,1,-1.5,"x",[],[[{}]],{},{"0":null},{"0":{}},{"SecurityID":[]},{"SecurityID":1.5}])");
    }
    EXPECT_TRUE(m_mapLimits.empty());
    EXPECT_THAT(m_host.GetLog(), Not(Contains(StartsWith("strSecurityIDSource"))));
}

}  // namespace qvant::test
