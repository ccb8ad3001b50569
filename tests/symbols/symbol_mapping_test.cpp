#include "symbols/symbol_mapping.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/test_host.h"
#include "symbols/symbol_grammar.h"

namespace qvant::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SymbolMapping : public ::testing::Test {
protected:
    SymbolMapping() { m_host.MakeTable(u"Security.Info"); }

    /// Writes the record of a security, as a pass over the securities leaves it.
    void SetRecord(TextView strKey, TextView strJson) {
        const auto pGroup = OpenChild(m_host.MakeTable(u"Security.Info"), GetSecurityGroup(strKey));
        CTransaction transaction(*pGroup);
        transaction.SetValue(strKey, strJson);
        transaction.Commit();
    }

    Text GetQuoteClass(TextView strKey) {
        Text strClass = u"(none)";
        m_mapping.m_mapSymbolI.Lookup(strKey, strClass);
        return strClass;
    }

    /// What the process knows of a quote symbol, without making it known.
    static Text GetWayBack(TextView strQuote) {
        Text strSymbol = u"(none)";
        g_mapISymbolToQV.Lookup(strQuote, strSymbol);
        return strSymbol;
    }

    CTestHost m_host;
    CSymbolMapping m_mapping{m_host};
};

TEST_F(SymbolMapping, AGroupWithoutASubTableChangesNoMap) {
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.NOPE.XX"), u"I.F.NOPE.XX");
    EXPECT_TRUE(m_mapping.m_mapSymbolHX2.empty());
    EXPECT_TRUE(m_mapping.m_mapSymbolQVDATA.empty());
    EXPECT_EQ(m_mapping.m_mapSymbolI.GetCount(), 0u);
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

TEST_F(SymbolMapping, AHostWithoutTheTableGivesTheSymbolsOwnFields) {
    m_host.DropTable(u"Security.Info");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES.202012"), u"I.F.CME.ES");
    EXPECT_EQ(m_mapping.m_mapSymbolI.GetCount(), 0u);
}

TEST_F(SymbolMapping, TheTableIsOpenedAsSoonAsTheHostHasIt) {
    m_host.DropTable(u"Security.Info");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    SetRecord(u"QV.F.CME.ES", uR"({"EXG.mo":"GLOBEX"})");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES"), u"I.F.GLOBEX.ES");
}

TEST_F(SymbolMapping, ASecurityWithoutARecordIsAskedForAgain) {
    SetRecord(u"QV.F.CME.NQ", u"{}");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES"), u"I.F.CME.ES");
    EXPECT_EQ(GetQuoteClass(u"QV.F.CME.ES"), u"(none)");
    EXPECT_TRUE(m_mapping.m_mapSymbolQVDATA.empty());
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
    SetRecord(u"QV.F.CME.ES", uR"({"Symbol.mo":"EMD"})");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES"), u"I.F.CME.EMD");
}

TEST_F(SymbolMapping, TheServersCodesTakeThePlaceOfExchangeAndProduct) {
    SetRecord(u"QV.F.CME.ES", uR"({"EXG.mo":"GLOBEX","Symbol.mo":"EMD","Symbol.HX2":"ESH","Symbol.QVDATA":"CME.ES"})");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES.202012"), u"I.F.GLOBEX.EMD");
    EXPECT_EQ(m_mapping.m_mapSymbolHX2.at(u"QV.F.CME.ES"), u"ESH");
    EXPECT_EQ(m_mapping.m_mapSymbolQVDATA.at(u"QV.F.CME.ES"), u"CME.ES");
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

TEST_F(SymbolMapping, TheNameOfTheQuoteSystemServesTheDataServerToo) {
    SetRecord(u"QV.F.CME.ES", uR"({"Symbol.HX2":"ESH"})");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    EXPECT_EQ(m_mapping.m_mapSymbolQVDATA.at(u"QV.F.CME.ES"), u"ESH");
    EXPECT_EQ(GetQuoteClass(u"QV.F.CME.ES"), u"I.F.CME.ES");
}

TEST_F(SymbolMapping, AnEmptyNameOfTheQuoteSystemIsKeptAsOne) {
    SetRecord(u"QV.F.CME.ES", uR"({"Symbol.QVDATA":"CME.ES"})");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    EXPECT_EQ(m_mapping.m_mapSymbolHX2.at(u"QV.F.CME.ES"), u"");
}

TEST_F(SymbolMapping, ARecordWithoutAnyNameIsLoggedAndEndsInADot) {
    SetRecord(u"QV.F.CME.ES", u"{}");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    EXPECT_EQ(m_mapping.m_mapSymbolHX2.at(u"QV.F.CME.ES"), u"");
    EXPECT_EQ(m_mapping.m_mapSymbolQVDATA.at(u"QV.F.CME.ES"), u"LUM.CME.");
    EXPECT_EQ(GetQuoteClass(u"QV.F.CME.ES"), u"I.F.CME.ES");
    EXPECT_THAT(m_host.GetLog(), ElementsAre("QVSymbolToQVDATASymbol fail:QV.F.CME.ES"));
}

TEST_F(SymbolMapping, ARecordThatIsNoObjectHasNoNames) {
    SetRecord(u"QV.F.CME.ES", u"[\"Symbol.HX2\"");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    EXPECT_EQ(m_mapping.m_mapSymbolQVDATA.at(u"QV.F.CME.ES"), u"LUM.CME.");
}

TEST_F(SymbolMapping, AMemberThatIsNoStringCountsAsEmpty) {
    SetRecord(u"QV.F.CME.ES", uR"({"Symbol.mo":7,"EXG.mo":null,"Symbol.HX2":"ESH"})");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES"), u"I.F.CME.ES");
}

TEST_F(SymbolMapping, ARecordIsReadOnceAndItsChangesArentSeen) {
    SetRecord(u"QV.F.CME.ES", u"{}");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    m_host.Forget();
    SetRecord(u"QV.F.CME.ES", uR"({"Symbol.mo":"EMD"})");
    m_mapping.Release();
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES"), u"I.F.CME.ES");
    EXPECT_THAT(m_host.GetLog(), IsEmpty());
}

TEST_F(SymbolMapping, AKeyThatOnlyOneMapHasIsReadAgain) {
    SetRecord(u"QV.F.CME.ES", uR"({"Symbol.HX2":"ESH"})");
    m_mapping.m_mapSymbolHX2.insert_or_assign(u"QV.F.CME.ES", u"old");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    EXPECT_EQ(m_mapping.m_mapSymbolHX2.at(u"QV.F.CME.ES"), u"ESH");
    EXPECT_EQ(m_mapping.m_mapSymbolQVDATA.at(u"QV.F.CME.ES"), u"ESH");
}

TEST_F(SymbolMapping, AfterTheReleaseTheTableIsOpenedAgain) {
    SetRecord(u"QV.F.CME.ES", u"{}");
    m_mapping.MapSecuritySymbols(u"QV.F.CME.ES");
    m_mapping.Release();
    m_host.DropTable(u"Security.Info");
    SetRecord(u"QV.F.CME.NQ", uR"({"Symbol.mo":"NQD"})");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.NQ"), u"I.F.CME.NQD");
}

TEST_F(SymbolMapping, AnEmptySymbolGivesAnEmptyText) {
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u""), u"");
    EXPECT_EQ(m_mapping.QVContractToISymbol(u""), u"");
    EXPECT_EQ(GetWayBack(u""), u"(none)");
}

TEST_F(SymbolMapping, ASymbolWithTooFewFieldsHasEmptyOnes) {
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV"), u"I...");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"..."), u"I...");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME"), u"I.F.CME.");
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.F.CME.ES"), u"I.F.CME.ES.");
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.O.CME.ES.202012"), u"I.O.CME.ES.202012..");
}

TEST_F(SymbolMapping, AMonthNeverStandsInAQuoteClass) {
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES.202012"), m_mapping.QVSymbolToISymbol(u"QV.F.CME.ES"));
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.O.CME.ES.202012.C.2000"), u"I.O.CME.ES");
}

TEST_F(SymbolMapping, AContractKeepsItsMonthAndAHotSymbolItsWord) {
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.F.CME.ES.202012"), u"I.F.CME.ES.202012");
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.F.CME.ES.HOT"), u"I.F.CME.ES.HOT");
}

TEST_F(SymbolMapping, AnOptionKeepsTheDotsOfItsStrike) {
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.O.CME.ES.202012.C.2000.5"), u"I.O.CME.ES.202012.C.2000.5");
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.O.CME.ES.202012.C..5"), u"I.O.CME.ES.202012.C..5");
}

TEST_F(SymbolMapping, AStockIsItsQuoteClassAndFoundUnderIt) {
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.S.SSE.600001.X.Y"), u"I.S.SSE.600001");
    EXPECT_EQ(GetWayBack(u"I.S.SSE.600001"), u"QV.S.SSE.600001.X.Y");
}

TEST_F(SymbolMapping, AnAnswerUnderTheServersCodesFindsTheSymbolThatWasAskedFor) {
    SetRecord(u"QV.F.CBOT.YM", uR"({"EXG.mo":"ECBOT","Symbol.mo":"MYM"})");
    EXPECT_EQ(m_mapping.QVContractToISymbol(u"QV.F.CBOT.YM.202103"), u"I.F.ECBOT.MYM.202103");
    EXPECT_EQ(ISymbolToQVSymbol(u"I.F.ECBOT.MYM.202103"), u"QV.F.CBOT.YM.202103");
    EXPECT_EQ(ISymbolToQVSymbol(u"I.F.ECBOT.MYM.202106"), u"QV.F.ECBOT.MYM.202106");
}

TEST_F(SymbolMapping, TheWayBackIsThatOfTheLastContractThatTookIt) {
    m_mapping.QVContractToISymbol(u"QV.F.CME.SAME.202012");
    m_mapping.QVContractToISymbol(u"XX.F.CME.SAME.202012");
    EXPECT_EQ(GetWayBack(u"I.F.CME.SAME.202012"), u"XX.F.CME.SAME.202012");
}

TEST_F(SymbolMapping, ALongSymbolAndOneOfControlCharactersAreTextLikeAnyOther) {
    const Text strLong(10'000, u'x');
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(strLong), u"I...");
    EXPECT_EQ(m_mapping.QVSymbolToISymbol(u"QV.F.\n\u0001.\"\\"), u"I.F.\n\u0001.\"\\");
}

}  // namespace
}  // namespace qvant::test
