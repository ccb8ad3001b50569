#include <fstream>

#include <gtest/gtest.h>

#include "platform/surroundings.h"
#include "symbols/local_exchanges.h"
#include "symbols/symbol_grammar.h"

namespace qvant {
namespace {

class SymbolNames : public testing::Test {
protected:
    Text Name(TextView strSymbol, TextView strLabel = {}) const {
        return FormatSymbolName(strSymbol, strLabel, {CTextFinder(m_mapNames), m_mapAdjustments, m_mapLocal, m_words});
    }
    Text TwoLegName(TextView strSymbol) const {
        return FormatTwoLegName(strSymbol, {CTextFinder(m_mapNames), m_mapAdjustments, m_mapLocal, m_words});
    }

    TextMap m_mapNames = {
        {u"QV.S.SSE.600000", u"Pudong"}, {u"QV.S.HKEX.700", u"Penguin"},  {u"QV.F.CME.ES", u"S&P"},
        {u"QV.F.CME.NQ", u"Nasdaq"},     {u"QV.F.CFFEX.IF", u"CSI300"},   {u"QV.F.CFFEX.T", u"Bond"},
        {u"QV.O.CME.ES", u"S&P Opt"},    {u"QV.O.CME.NQ", u"Nasdaq Opt"}, {u"QV.O.SSE.510050", u"50ETF"},
        {u"QV.O.SSE.510050A", u"50ETF"}, {u"QV.O.CFFEX.IO", u"CSI Opt"},  {u"QV.F.CME.E2", u"Mini2"}};
    TextMap m_mapAdjustments = {{u"QV.O.SSE.510050A", u"A"}};
    TextSet m_mapLocal = {u"CFFEX", u"CZCE", u"SHFE", u"DCE", u"INE", u"SSE", u"SZSE"};
    SymbolWords m_words{u"Call", u"Put", u"Mon", u"Syn"};
};

TEST(LocalExchanges, AreNoneUntilTheSystemStartsAndAReaderKeepsTheSetThatHeGot) {
    CLocalExchanges exchanges;
    const TextSet& mapBefore = exchanges.Get();
    EXPECT_TRUE(mapBefore.empty());
    exchanges.Fill();
    EXPECT_TRUE(mapBefore.empty());
    EXPECT_EQ(exchanges.Get(), (TextSet{u"CFFEX", u"CZCE", u"SHFE", u"DCE", u"INE", u"SSE", u"SZSE"}));
}

TEST_F(SymbolNames, AreEmptyForAClassWithoutAName) { EXPECT_EQ(Name(u"QV.F.CME.XX.202012"), u""); }

TEST_F(SymbolNames, OfStocksCarryTheCodeInChinaOnly) {
    EXPECT_EQ(Name(u"QV.S.SSE.600000"), u"600000 Pudong");
    EXPECT_EQ(Name(u"QV.S.HKEX.700"), u"Penguin");
}

TEST_F(SymbolNames, OfForeignFuturesAreNameAndMonthWhateverTheLabel) {
    EXPECT_EQ(Name(u"QV.F.CME.ES.202012"), u"S&P202012");
    EXPECT_EQ(Name(u"QV.F.CME.ES.202012", u"HOT"), u"S&P202012");
    EXPECT_EQ(Name(u"QV.F.CME.ES"), u"S&P");
}

TEST_F(SymbolNames, OfLocalFuturesHaveAShortMonthOrTheLabel) {
    EXPECT_EQ(Name(u"QV.F.CFFEX.T.202012"), u"Bond2012");
    EXPECT_EQ(Name(u"QV.F.CFFEX.T.202012", u"HOT"), u"BondHOT");
}

TEST_F(SymbolNames, OfChineseIndexFuturesBeginWithTheProduct) {
    EXPECT_EQ(Name(u"QV.F.CFFEX.IF.202012"), u"IF2012");
    EXPECT_EQ(Name(u"QV.F.CFFEX.IF.202012", u"HOT2"), u"IFHOT2");
}

TEST_F(SymbolNames, OfALocalFutureWithAShortMonthAreTheStemAlone) {
    EXPECT_EQ(Name(u"QV.F.CFFEX.T.20"), u"Bond");
    EXPECT_EQ(Name(u"QV.F.CFFEX.T"), u"Bond");
}

TEST_F(SymbolNames, OfForeignOptionsJoinTheirParts) {
    EXPECT_EQ(Name(u"QV.O.CME.ES.202012.C.2000.5"), u"S&P Opt202012C2000.5");
    EXPECT_EQ(Name(u"QV.O.CME.ES"), u"");
}

TEST_F(SymbolNames, OfChineseStockOptionsAreWords) {
    EXPECT_EQ(Name(u"QV.O.SSE.510050.202009.C.2.95"), u"510050 Call 9Mon 2.95");
    EXPECT_EQ(Name(u"QV.O.SSE.510050.202012.P.2.95"), u"510050 Put 12Mon 2.95");
    EXPECT_EQ(Name(u"QV.O.SSE.510050.202012.P.2.95", u"HOT"), u"510050 Put HOT 2.95");
}

TEST_F(SymbolNames, OfAdjustedOptionsCutTheProductAndEndInTheMark) {
    EXPECT_EQ(Name(u"QV.O.SSE.510050A.202009.C.2.95"), u"510050 Call 9Mon 2.95A");
    EXPECT_EQ(Name(u"QV.O.SSE.510050A.202009.C.2.95", u"HOT"), u"510050 Call HOT 2.95A");
}

TEST_F(SymbolNames, OfOtherLocalOptionsHaveDashes) {
    EXPECT_EQ(Name(u"QV.O.CFFEX.IO.202012.C.4000"), u"IO2012-C-4000");
    EXPECT_EQ(Name(u"QV.O.CFFEX.IO.202012.C.4000", u"HOT"), u"IOHOT-C-4000");
}

TEST_F(SymbolNames, TakeATwoInTheProductForAPlainSymbol) { EXPECT_EQ(Name(u"QV.F.CME.E2.202012"), u"Mini2202012"); }

TEST_F(SymbolNames, OfTwoLegFuturesShowBothLegs) {
    EXPECT_EQ(Name(u"QV.F2.CME.ES.202012^NQ.202103"), u"S&P202012&Nasdaq202103");
    EXPECT_EQ(TwoLegName(u"QV.F2.CME.ES.202012^ES.202103"), u"S&P202012&S&P202103");
}

TEST_F(SymbolNames, OfTwoLegOptionsShowTheFirstLegsMonthTwice) {
    EXPECT_EQ(Name(u"QV.O2.CME.ES.202012.C.2000^NQ.202103.P.2100"), u"S&P Opt202012C2000&Nasdaq Opt202012C2000");
}

TEST_F(SymbolNames, OfTwoLegOptionsLeaveALegWithoutAMonthEmpty) {
    EXPECT_EQ(TwoLegName(u"QV.O2.CME.ES.202012.C.2000^NQ"), u"S&P Opt202012C2000&");
    EXPECT_EQ(TwoLegName(u"QV.O2.CME.ES^NQ.202103.P.2100"), u"&Nasdaq Opt");
}

TEST_F(SymbolNames, OfTwoLegsNeedANameForEach) {
    EXPECT_EQ(TwoLegName(u"QV.F2.CME.XX.202012^ES.202103"), u"");
    EXPECT_EQ(TwoLegName(u"QV.F2.CME.ES.202012^XX.202103"), u"");
    EXPECT_EQ(TwoLegName(u"QV.F2.CME.ES.202012"), u"");
    EXPECT_EQ(TwoLegName(u""), u"");
}

TEST(SymbolWords, ComeFromTheFileInTheLanguageAsked) {
    const platform::CTestFolder folder;
    std::ofstream(folder.GetPath() / "MsgString.ini")
        << "[LUMIVale]\nCall.CHT=Kauf\nPut.CHT=Verkauf\nMonth.CHT=Mo\nSynU.CHT=Syn\nCall.ENG=Other\n";
    const SymbolWords words = LoadSymbolWords(folder / "MsgString.ini", u"CHT");
    EXPECT_EQ(words.m_strCall, u"Kauf");
    EXPECT_EQ(words.m_strPut, u"Verkauf");
    EXPECT_EQ(words.m_strMonth, u"Mo");
    EXPECT_EQ(words.m_strSynU, u"Syn");
}

TEST(SymbolWords, FallBackAndAreCutAt255Units) {
    const platform::CTestFolder folder;
    std::ofstream(folder.GetPath() / "MsgString.ini") << "[LUMIVale]\nCall.ENG=" << std::string(300, 'x') << "\n";
    const SymbolWords words = LoadSymbolWords(folder / "MsgString.ini", u"ENG");
    EXPECT_EQ(words.m_strCall, Text(255, u'x'));
    EXPECT_EQ(words.m_strPut, u"P");
    EXPECT_EQ(words.m_strMonth, u"M");
    EXPECT_EQ(words.m_strSynU, u"SynU");
}

}  // namespace
}  // namespace qvant
