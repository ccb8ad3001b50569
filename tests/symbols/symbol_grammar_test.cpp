#include "symbols/symbol_grammar.h"

#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qvant {
namespace {

TEST(GetSecurityKey, GivesTheFirstFourFields) {
    EXPECT_EQ(GetSecurityKey(u"QV.F.CME.ES.202012"), u"QV.F.CME.ES");
    EXPECT_EQ(GetSecurityKey(u"QV.O.CME.ES.202012.C.2000"), u"QV.O.CME.ES");
    EXPECT_EQ(GetSecurityKey(u"QV.S.SSE.600000"), u"QV.S.SSE.600000");
}

TEST(GetSecurityKey, LosesEmptyFieldsThatExtractSecurityKeyKeeps) {
    EXPECT_EQ(GetSecurityKey(u"QV..CME.ES.HOT"), u"QV.CME.ES.HOT");
    EXPECT_EQ(ExtractSecurityKey(u"QV..CME.ES.HOT"), u"QV..CME.ES");
}

TEST(GetSecurityKey, OfAnEmptyTextIsEmptyWithoutSeparators) { EXPECT_EQ(GetSecurityKey(u""), u""); }

TEST(GetSecurityKey, FillsMissingFieldsWithNothing) {
    EXPECT_EQ(GetSecurityKey(u"QV.F"), u"QV.F..");
    EXPECT_EQ(ExtractSecurityKey(u"QV.F"), u"QV.F..");
}

TEST(GetSecurityGroup, GivesTheFirstThreeFields) {
    EXPECT_EQ(GetSecurityGroup(u"QV.F.CME.ES.202012"), u"QV.F.CME");
    EXPECT_EQ(GetSecurityGroup(u"QV.F"), u"QV.F.");
    EXPECT_EQ(GetSecurityGroup(u""), u"");
}

TEST(GetMonthField, IsTheFourthFieldOfAServerLine) {
    EXPECT_EQ(GetMonthField(u"LUM.CME.ES.202012"), u"202012");
    EXPECT_EQ(GetMonthField(u"LUM.CME..202012.X"), u"202012");
    EXPECT_EQ(GetMonthField(u"LUM.CME.ES"), u"");
}

TEST(ToServerClass, DropsTheClassOfTheServicesOwnSymbols) {
    EXPECT_EQ(ToServerClass(u"QV.O.CME.ES.202012.C.2000"), u"LUM.CME.ES");
    EXPECT_EQ(ToServerClass(u"QV.F.CME.ES.HOT"), u"LUM.CME.ES");
    EXPECT_EQ(ToServerClass(u"QV.S.SSE.600000"), u"LUM.SSE.600000");
}

TEST(ToServerClass, KeepsTheFirstThreeFieldsOfAnythingElse) {
    EXPECT_EQ(ToServerClass(u"LUM.CME.ES.202012"), u"LUM.CME.ES");
    EXPECT_EQ(ToServerClass(u"QV.F2.CME.ES"), u"QV.F2.CME");
    EXPECT_EQ(ToServerClass(u""), u"..");
}

TEST(ISymbolToQVSymbol, KeepsMonthAndWhatFollowsOfDerivatives) {
    EXPECT_EQ(ISymbolToQVSymbol(u"I.F.CME.ES.202012"), u"QV.F.CME.ES.202012");
    EXPECT_EQ(ISymbolToQVSymbol(u"I.O.CME.ES.202012.C.2000.5"), u"QV.O.CME.ES.202012.C.2000.5");
    EXPECT_EQ(ISymbolToQVSymbol(u"I.F.CME.ES"), u"QV.F.CME.ES");
}

TEST(ISymbolToQVSymbol, MovesTheMarkOfASyntheticUnderlyingToTheExchange) {
    EXPECT_EQ(ISymbolToQVSymbol(u"I.F.SSE.510050_U.202012"), u"QV.F.U_SSE.510050.202012");
}

TEST(ISymbolToQVSymbol, DropsWhatFollowsTheProductOfAnyOtherClass) {
    EXPECT_EQ(ISymbolToQVSymbol(u"I.S.SSE.600000.X"), u"QV.S.SSE.600000");
}

TEST(ISymbolToQVSymbol, GivesTheSameTheSecondTime) {
    const Text strFirst = ISymbolToQVSymbol(u"I.F.EUREX.FDAX.202103");
    EXPECT_EQ(strFirst, u"QV.F.EUREX.FDAX.202103");
    EXPECT_EQ(ISymbolToQVSymbol(u"I.F.EUREX.FDAX.202103"), strFirst);
}

TEST(ISymbolToQVSymbol, ConvertsOnManyThreadsAtOnce) {
    std::vector<Text> arResults(8);
    std::vector<std::thread> arThreads;
    for (Text& strResult : arResults) {
        arThreads.emplace_back([&strResult] {
            for (int i = 0; i < 200; ++i) strResult = ISymbolToQVSymbol(u"I.F.HKEX.HSI.202101");
        });
    }
    for (std::thread& thread : arThreads) thread.join();
    for (const Text& strResult : arResults) EXPECT_EQ(strResult, u"QV.F.HKEX.HSI.202101");
}

TEST(ISymbolToQVSymbol, SurvivesTooFewFields) {
    EXPECT_EQ(ISymbolToQVSymbol(u""), u"QV...");
    EXPECT_EQ(ISymbolToQVSymbol(u"I.F"), u"I.F");
}

TEST(GetSymbolType, NumbersTheFiveClasses) {
    EXPECT_EQ(GetSymbolType(u"QV.F.CME.ES"), u"F,1");
    EXPECT_EQ(GetSymbolType(u"QV.S.SSE.600000"), u"S,2");
    EXPECT_EQ(GetSymbolType(u"QV.O.CME.ES"), u"O,3");
    EXPECT_EQ(GetSymbolType(u"QV.F2.CME.ES"), u"F2,4");
    EXPECT_EQ(GetSymbolType(u"QV.O2.CME.ES"), u"O2,5");
}

TEST(GetSymbolType, ShowsTheReadingPositionForAnyOtherClass) {
    EXPECT_EQ(GetSymbolType(u"QV.X.CME.ES"), u"X,5");
    EXPECT_EQ(GetSymbolType(u"QV"), u",-1");
    EXPECT_EQ(GetSymbolType(u""), u"");
}

TEST(MakeSearchId, HasAFormForEachClass) {
    EXPECT_EQ(MakeSearchId(u"QV.S.SSE.600000"), u"600000.SSE");
    EXPECT_EQ(MakeSearchId(u"QV.F.CME.ES.202012"), u"CME.ES 2012");
    EXPECT_EQ(MakeSearchId(u"QV.O.CME.ES.202012.C.2000"), u"ES.2012.C2000.CME");
    EXPECT_EQ(MakeSearchId(u"QV.F2.CME.ES.202012^ES.202103"), u"QV.F2.CME.ES.202012^ES.202103");
}

TEST(MakeSearchId, KeepsTheDotsOfAStrikeAndShortMonths) {
    EXPECT_EQ(MakeSearchId(u"QV.O.SSE.510050.202012.P.2.95"), u"510050.2012.P2.95.SSE");
    EXPECT_EQ(MakeSearchId(u"QV.F.CME.ES.HOT"), u"CME.ES HOT");
    EXPECT_EQ(MakeSearchId(u"QV.F.CME.ES"), u"CME.ES ");
    EXPECT_EQ(MakeSearchId(u"QV.O.CME.ES"), u"ES...CME");
}

TEST(CheckContractQuota, LetsTwoContractsOfAProductIn) {
    CAcceptedContracts accepted;
    EXPECT_TRUE(CheckContractQuota(u"QV.F.CFFEX.IF.202012", u"IF", accepted));
    accepted.Add(u"QV.F.CFFEX.IF.202012");
    accepted.Add(u"QV.F.CFFEX.IC.202012");
    EXPECT_TRUE(CheckContractQuota(u"QV.F.CFFEX.IF.202101", u"if", accepted));
    accepted.Add(u"QV.F.CFFEX.if.202101");
    EXPECT_FALSE(CheckContractQuota(u"QV.F.CFFEX.IF.202103", u"IF", accepted));
    accepted.Clear();
    EXPECT_TRUE(CheckContractQuota(u"QV.F.CFFEX.IF.202103", u"IF", accepted));
}

TEST(CheckContractQuota, LetsOneBondContractIn) {
    CAcceptedContracts accepted;
    for (const TextView strSymbol : {u"QV.F.CFFEX.T.202012", u"QV.F.CFFEX.TF.202012", u"QV.F.CFFEX.TS.202012"}) {
        accepted.Add(strSymbol);
    }
    EXPECT_FALSE(CheckContractQuota(u"QV.F.CFFEX.T.202103", u"t", accepted));
    EXPECT_FALSE(CheckContractQuota(u"QV.F.CFFEX.TF.202103", u"TF", accepted));
    EXPECT_TRUE(CheckContractQuota(u"QV.F.CFFEX.TS.202103", u"TS", accepted));
}

TEST(CheckContractQuota, CountsByTheFourthToken) {
    CAcceptedContracts accepted;
    accepted.Add(u"QV.F..CFFEX.T");
    EXPECT_FALSE(CheckContractQuota(u"QV.F.CFFEX.T.202103", u"T", accepted));
    accepted.Add(u"IF");
    accepted.Add(u"QV.F.CFFEX");
    EXPECT_FALSE(CheckContractQuota(u"QV.F.CFFEX", u"", accepted));
}

TEST(AcceptedContracts, StandOnceEachInTheirOrder) {
    CAcceptedContracts accepted;
    const Text* pFirst = accepted.Add(u"QV.F.CFFEX.IF.202101");
    ASSERT_TRUE(pFirst);
    EXPECT_EQ(*pFirst, u"QV.F.CFFEX.IF.202101");
    EXPECT_TRUE(accepted.Add(u"QV.F.CFFEX.IF.202012"));
    EXPECT_FALSE(accepted.Add(u"QV.F.CFFEX.IF.202101"));
    EXPECT_THAT(accepted.GetAll(), testing::ElementsAre(u"QV.F.CFFEX.IF.202101", u"QV.F.CFFEX.IF.202012"));
    EXPECT_EQ(accepted.GetCount(u"iF"), 2U);
    EXPECT_TRUE(accepted.Contains(u"QV.F.CFFEX.IF.202012"));
    EXPECT_FALSE(accepted.Contains(u"QV.F.CFFEX.if.202012"));
}

TEST(CheckContractQuota, RefusesThePlaceholderMonthAnywhereInTheSymbol) {
    EXPECT_FALSE(CheckContractQuota(u"QV.F.CME.ES.000000", u"ES", {}));
    EXPECT_FALSE(CheckContractQuota(u"QV.O.CME.ES.202012.C.1000000", u"ES", {}));
}

}  // namespace
}  // namespace qvant
