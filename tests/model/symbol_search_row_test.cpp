#include "model/symbol_search_row.h"

#include <gtest/gtest.h>

#include "base/split.h"
#include "symbol_sources.h"

namespace qvant {
namespace {

class SymbolSearchRow : public testing::Test {
protected:
    /// The row of a contract by column; the type and its number are two of them.
    std::map<Text, Text> Contract(TextView strSymbol) {
        CTextFinder symbolToNear(m_model.contracts.m_mapSymbolToNear);
        CSymbolSearchRow row = MakeRow();
        return ByColumn(CSymbolSearchRow::CONTRACT_FIELDS,
                        row.MakeContract(Find(strSymbol), FindNearSymbol(symbolToNear, strSymbol)));
    }
    std::map<Text, Text> Synthetic(TextView strSymbol) {
        CSymbolSearchRow row = MakeRow();
        return ByColumn(CSymbolSearchRow::SYNTHETIC_FIELDS, row.MakeSynthetic(Find(strSymbol)));
    }
    CSymbolTable::Row Find(TextView strSymbol) const { return m_model.contracts.m_symbols.Find(strSymbol); }
    /// Of what the model holds at this moment.
    CSymbolSearchRow MakeRow() {
        return {{m_model.contracts, m_model.lists, m_model.securities, m_stocks}, u"1768000000"};
    }

    static std::map<Text, Text> ByColumn(TextView strColumns, TextView strRow) {
        const auto arColumns = SplitFields(strColumns, u",");
        const auto arValues = SplitFields(strRow, u",");
        EXPECT_EQ(arColumns.size(), arValues.size()) << Narrow(strRow);
        std::map<Text, Text> mapRow;
        for (std::size_t i = 0; i < std::min(arColumns.size(), arValues.size()); ++i)
            mapRow[arColumns[i]] = arValues[i];
        return mapRow;
    }

    test::SymbolSources m_model;
    StockLimitMap m_stocks;
};

TEST_F(SymbolSearchRow, OfAFutureHoldsAllThatTheModelKnowsOfIt) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.F.CME.ES.202612", u"S&P 500 2612");
    m_model.contracts.m_mapExpireDate.insert_or_assign(u"QV.F.CME.ES.202612", u"20261218");
    m_model.contracts.m_mapLongMargin.insert_or_assign(u"QV.F.CME.ES.202612", u"13200");
    m_model.contracts.m_mapShortMargin.insert_or_assign(u"QV.F.CME.ES.202612", u"13300");
    m_model.contracts.m_mapSymbolToHot.insert_or_assign(u"QV.F.CME.ES.202612", u"QV.F.CME.ES.HOT");
    m_model.contracts.m_mapSymbolToNear[u"QV.F.CME.ES.202612"] = u"QV.F.CME.ES.Front1";
    m_model.contracts.m_mapSymbolToInstrument.insert_or_assign(u"QV.F.CME.ES.202612", u"ESZ6");
    m_model.securities.m_mapPinyin[u"QV.F.CME.ES"] = u"bp";
    m_model.lists.m_mapUnderlying[u"QV.F.CME.ES"] = u"QV.S.CME.SPX";
    CSymbolSearchRow row = MakeRow();
    row.MakeContract(Find(u"QV.F.CME.ES.202612"), u"x");  // a row before leaves nothing behind
    EXPECT_EQ(row.MakeContract(Find(u"QV.F.CME.ES.202612"), u"QV.F.CME.ES.Front1"),
              u"QV.F.CME.ES.202612,S&P 500 2612,CME.ES 2612,S&P5002612,CME,ES,20261218,13200,13300,QV.F.CME.ES.HOT,"
              u"QV.F.CME.ES.Front1,0,0,0,0,bp,,QV.S.CME.SPX,ESZ6,,F,1,1,1768000000");
}

TEST_F(SymbolSearchRow, OfAnOptionHasTheNearSymbolWithItsRightAndStrikeAndTheAdjustment) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.O.SSE.510050.202612.C.2.5", u"50ETF");
    m_model.contracts.m_mapSymbolToNear[u"QV.O.SSE.510050.202612"] = u"QV.O.SSE.510050.Front1";
    m_model.lists.m_mapOptionSetPriAdj[u"QV.O.SSE.510050"] = u"A";
    const auto row = Contract(u"QV.O.SSE.510050.202612.C.2.5");
    EXPECT_EQ(row.at(u"NearSymbol"), u"QV.O.SSE.510050.Front1.C.2.5");
    EXPECT_EQ(row.at(u"SetPRIADJ"), u"A");
    EXPECT_EQ(row.at(u"SearchID"), u"510050.2612.C2.5.SSE");
    EXPECT_EQ(row.at(u"TypeNum"), u"3");
}

TEST_F(SymbolSearchRow, OfAFutureHasNoAdjustmentEvenWhenItsKeyHasOne) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.F.CME.ES.202612", u"n");
    m_model.lists.m_mapOptionSetPriAdj[u"QV.F.CME.ES"] = u"A";
    EXPECT_EQ(Contract(u"QV.F.CME.ES.202612").at(u"SetPRIADJ"), u"");
}

TEST_F(SymbolSearchRow, OfAStockHasItsLimitsPinyinAndMainTypeButNoUnderlying) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.S.SSE.600000", u"浦发银行");
    m_model.securities.m_mapPinyin[u"QV.S.SSE.600000"] = u"pfyh";
    m_model.securities.m_mapMainType[u"QV.S.SSE.600000"] = u"ES";
    m_model.lists.m_mapUnderlying[u"QV.S.SSE.600000"] = u"none";
    m_stocks[u"QV.S.SSE.600000"] = {1000000, 900000, 100, 1, 0};
    const auto row = Contract(u"QV.S.SSE.600000");
    EXPECT_EQ(row.at(u"BULimit"), u"1000000");
    EXPECT_EQ(row.at(u"SULimit"), u"900000");
    EXPECT_EQ(row.at(u"BUnit"), u"100");
    EXPECT_EQ(row.at(u"SUnit"), u"1");
    EXPECT_EQ(row.at(u"Spell"), u"pfyh");
    EXPECT_EQ(row.at(u"MainType"), u"ES");
    EXPECT_EQ(row.at(u"Underlying"), u"");
    EXPECT_EQ(row.at(u"ExpDate"), u"");
    EXPECT_EQ(row.at(u"SearchID"), u"600000.SSE");
    EXPECT_EQ(row.at(u"Status"), u"1");
}

TEST_F(SymbolSearchRow, OfABondExpiresAtItsMaturityUnlessTheContractListKnowsBetter) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.S.SZSE.127001", u"bond");
    m_stocks[u"QV.S.SZSE.127001"].MaturityDate = 20290815;
    EXPECT_EQ(Contract(u"QV.S.SZSE.127001").at(u"ExpDate"), u"20290815");
    m_model.contracts.m_mapExpireDate.insert_or_assign(u"QV.S.SZSE.127001", u"20280101");
    EXPECT_EQ(Contract(u"QV.S.SZSE.127001").at(u"ExpDate"), u"20280101");
}

TEST_F(SymbolSearchRow, OfANameWithWideBlanksIsFoundWithoutThem) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.S.SZSE.000002", u"万 科\u3000Ａ");
    const auto row = Contract(u"QV.S.SZSE.000002");
    EXPECT_EQ(row.at(u"Name"), u"万 科\u3000Ａ");
    EXPECT_EQ(row.at(u"SearchName"), u"万科Ａ");
}

TEST_F(SymbolSearchRow, OfAHotSymbolIsSearchedByItsWord) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.F.CME.ES.HOT", u"S&P HOT");
    EXPECT_EQ(Contract(u"QV.F.CME.ES.HOT").at(u"SearchID"), u"CME.ES HOT");
}

TEST_F(SymbolSearchRow, OfAShortMonthIsSearchedByTheWholeMonth) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.F.CME.ES.M1", u"n");
    EXPECT_EQ(Contract(u"QV.F.CME.ES.M1").at(u"SearchID"), u"CME.ES M1");
}

TEST_F(SymbolSearchRow, OfASyntheticUnderlyingIsShortAndKeepsItsNameWhole) {
    m_model.contracts.m_mapSynuSymbolToName.insert_or_assign(u"QV.F.U_SSE.510050.202612", u"510050 SynU 2612");
    m_model.contracts.m_mapExpireDate.insert_or_assign(u"QV.F.U_SSE.510050.202612", u"20261223");
    const auto row = Synthetic(u"QV.F.U_SSE.510050.202612");
    EXPECT_EQ(row.at(u"SearchName"), u"510050 SynU 2612");
    EXPECT_EQ(row.at(u"Exchange"), u"U_SSE");
    EXPECT_EQ(row.at(u"Product"), u"510050");
    EXPECT_EQ(row.at(u"ExpDate"), u"20261223");
    EXPECT_EQ(row.at(u"Type"), u"F");
    EXPECT_EQ(row.at(u"TypeNum"), u"1");
    EXPECT_EQ(row.at(u"TimeStamp"), u"1768000000");
}

TEST_F(SymbolSearchRow, OfASymbolWithTooFewFieldsHasEmptyOnes) {
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"ES", u"n");
    const auto row = Contract(u"ES");
    EXPECT_EQ(row.at(u"Exchange"), u"");
    EXPECT_EQ(row.at(u"Product"), u"");
    EXPECT_EQ(row.at(u"NearSymbol"), u"");
}

}  // namespace
}  // namespace qvant
