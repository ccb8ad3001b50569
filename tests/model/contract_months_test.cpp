/// The months of the contract builder: hot, near, nearby, and the synthetic underlyings of option months.
#include "contract_builder_fixture.h"

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

using ContractMonths = ContractBuilderTest;

TEST_F(ContractMonths, MakeAHotSymbolOfAContractBelowHot) {
    MakeHot(u"'QV.F.CFFEX.TS.202012'");
    EXPECT_THAT(Table(u"HOTMONTHTABLE"), ElementsAre(Pair(u"QV.F.CFFEX.TS.202012", u"QV.F.CFFEX.TS.HOT"),
                                                     Pair(u"QV.F.CFFEX.TS.HOT", u"QV.F.CFFEX.TS.202012")));
    EXPECT_THAT(m_builder.m_mapSymbolToHot, ElementsAre(Pair(u"QV.F.CFFEX.TS.202012", u"QV.F.CFFEX.TS.HOT")));
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CFFEX.TS.HOT", u"QV.F.CFFEX.TS.202012"));
    EXPECT_EQ(NameOf(u"QV.F.CFFEX.TS.HOT"), u"TSHOT");
    EXPECT_EQ(NameOf(u"QV.F.CFFEX.TS.202012"), u"TS2012");
    EXPECT_THAT(m_builder.m_mapSymbolToNear, IsEmpty());
}

TEST_F(ContractMonths, KeepTheFirstContractOfAHotSymbol) {
    MakeHot(u"'QV.F.CME.ES.202012','QV.F.CME.ES.202103'");
    EXPECT_EQ(Table(u"HOTMONTHTABLE").at(u"QV.F.CME.ES.HOT"), u"QV.F.CME.ES.202012");
    EXPECT_FALSE(Table(u"HOTMONTHTABLE").contains(u"QV.F.CME.ES.202103"));
    EXPECT_THAT(m_builder.m_mapSymbolToHot, ElementsAre(Pair(u"QV.F.CME.ES.202012", u"QV.F.CME.ES.HOT")));
}

TEST_F(ContractMonths, TakeTheHotWordFromTheLeafOrItsParent) {
    const auto HotOf = [this](TextView strParent, TextView strLeaf) {
        m_builder.Clear();
        Make(Concatenate({u"{'ENG':'F','Node':[{'ENG':'", strParent, u"','Node':[{'ENG':'", strLeaf,
                          u"','Contracts':['QV.F.CME.ES.202012']}]}]}"}));
        const auto pFound = m_builder.m_mapSymbolToHot.find(u"QV.F.CME.ES.202012");
        return pFound == m_builder.m_mapSymbolToHot.end() ? Text() : Text(pFound->second);
    };
    EXPECT_EQ(HotOf(u"HOT", u"Leaf"), u"QV.F.CME.ES.HOT");
    EXPECT_EQ(HotOf(u"HOT2", u"Leaf"), u"QV.F.CME.ES.HOT2");
    EXPECT_EQ(HotOf(u"Top", u"HOT"), u"QV.F.CME.ES.HOT");
    EXPECT_EQ(HotOf(u"Top", u"HOT2"), u"QV.F.CME.ES.HOT2");
    EXPECT_EQ(HotOf(u"HOT", u"HOT2"), u"QV.F.CME.ES.HOT");
    EXPECT_EQ(HotOf(u"HOT2", u"HOT"), u"QV.F.CME.ES.HOT");
    EXPECT_EQ(HotOf(u"Hot", u"hot"), u"");
}

TEST_F(ContractMonths, PairTheMonthOfHotOptionsWithTheirClassAndEachOptionWithItsHotForm) {
    MakeHot(u"'QV.O.DCE.m.202012.C.2000','QV.O.DCE.m.202012.P.20.5'");
    EXPECT_THAT(Table(u"HOTMONTHTABLE"),
                UnorderedElementsAre(Pair(u"QV.O.DCE.m.202012", u"QV.O.DCE.m.HOT"),
                                     Pair(u"QV.O.DCE.m.HOT", u"QV.O.DCE.m.202012"),
                                     Pair(u"QV.O.DCE.m.202012.C.2000", u"QV.O.DCE.m.HOT.C.2000"),
                                     Pair(u"QV.O.DCE.m.HOT.C.2000", u"QV.O.DCE.m.202012.C.2000"),
                                     Pair(u"QV.O.DCE.m.202012.P.20.5", u"QV.O.DCE.m.HOT.P.20.5"),
                                     Pair(u"QV.O.DCE.m.HOT.P.20.5", u"QV.O.DCE.m.202012.P.20.5")));
    EXPECT_EQ(NameOf(u"QV.O.DCE.m.HOT.C.2000"), u"mHOT-C-2000");
    EXPECT_EQ(m_builder.m_mapSymbolToHot.at(u"QV.O.DCE.m.202012.P.20.5"), u"QV.O.DCE.m.HOT.P.20.5");
    EXPECT_FALSE(m_builder.m_mapSymbolToName.contains(u"QV.O.DCE.m.HOT"));
}

TEST_F(ContractMonths, LetEachFilePairTheClassOfItsFirstHotMonth) {
    MakeHot(u"'QV.O.DCE.m.202012.C.2000','QV.O.DCE.m.202101.C.2100'");
    EXPECT_EQ(Table(u"HOTMONTHTABLE").at(u"QV.O.DCE.m.HOT"), u"QV.O.DCE.m.202012");
    MakeHot(u"'QV.O.DCE.m.202101.C.2100'");
    EXPECT_EQ(Table(u"HOTMONTHTABLE").at(u"QV.O.DCE.m.HOT"), u"QV.O.DCE.m.202101");
}

TEST_F(ContractMonths, CallTheFirstTwoOfAProductNear) {
    MakeLeaf(
        u"'Contracts':['QV.F.CME.ES.202103','QV.F.CME.ES.202103','QV.F.CME.NQ.202012','QV.F.CME.ES.202012',"
        u"'QV.F.CME.ES.202106']");
    EXPECT_THAT(m_builder.m_mapSymbolToNear, ElementsAre(Pair(u"QV.F.CME.ES.202103", u"QV.F.CME.ES.Front1"),
                                                         Pair(u"QV.F.CME.NQ.202012", u"QV.F.CME.NQ.Front1"),
                                                         Pair(u"QV.F.CME.ES.202012", u"QV.F.CME.ES.Front2")));
}

TEST_F(ContractMonths, GiveOptionsOneNearSymbolForEachMonth) {
    MakeLeaf(
        u"'Contracts':['QV.O.DCE.m.202012.C.1','QV.O.DCE.m.202012.P.1','QV.O.DCE.m.202101.C.1',"
        u"'QV.O.DCE.m.202103.C.1']");
    EXPECT_THAT(m_builder.m_mapSymbolToNear, ElementsAre(Pair(u"QV.O.DCE.m.202012", u"QV.O.DCE.m.Front1"),
                                                         Pair(u"QV.O.DCE.m.202101", u"QV.O.DCE.m.Front2")));
}

TEST_F(ContractMonths, GiveNoNearSymbolToStocksAndPlaceholders) {
    MakeLeaf(u"'Contracts':['QV.S.SSE.600000','QV.F.CME.ES.000000','QV.F.CME.ES.202012']");
    EXPECT_THAT(m_builder.m_mapSymbolToNear, ElementsAre(Pair(u"QV.F.CME.ES.202012", u"QV.F.CME.ES.Front1")));
}

TEST_F(ContractMonths, CountAContractOfAHotNodeAsNearOnlyWhereItStandsOutsideOfIt) {
    MakeHot(u"'QV.F.CME.ES.202012'");
    EXPECT_THAT(m_builder.m_mapSymbolToNear, IsEmpty());
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202009','QV.F.CME.ES.202012']");
    EXPECT_THAT(m_builder.m_mapSymbolToNear, ElementsAre(Pair(u"QV.F.CME.ES.202009", u"QV.F.CME.ES.Front1"),
                                                         Pair(u"QV.F.CME.ES.202012", u"QV.F.CME.ES.Front2")));
}

TEST_F(ContractMonths, TakeTwoIndexFuturesAndOneBondFutureAsNearby) {
    MakeLeaf(
        u"'Contracts':['QV.F.CFFEX.IF.000000','QV.F.CFFEX.IF.202012','QV.F.CFFEX.IF.202012','QV.F.CFFEX.IF.202101',"
        u"'QV.F.CFFEX.IF.202103','QV.F.CFFEX.T.202012','QV.F.CFFEX.T.202103','QV.F.CFFEX.TS.202012',"
        u"'QV.F.CFFEX.TS.202103','QV.F.CME.ES.202012']");
    EXPECT_THAT(Table(u"NearbyMonth"), ElementsAre(Pair(u"QV.F.CFFEX.IF.202012", u"QV.F.CFFEX.IF.202012"),
                                                   Pair(u"QV.F.CFFEX.IF.202101", u"QV.F.CFFEX.IF.202101"),
                                                   Pair(u"QV.F.CFFEX.T.202012", u"QV.F.CFFEX.T.202012"),
                                                   Pair(u"QV.F.CFFEX.TS.202012", u"QV.F.CFFEX.TS.202012"),
                                                   Pair(u"QV.F.CFFEX.TS.202103", u"QV.F.CFFEX.TS.202103")));
}

TEST_F(ContractMonths, KeepTheQuotaAcrossFilesAndWriteEachFilesOwn) {
    MakeLeaf(u"'Contracts':['QV.F.cffex.IF.202012','QV.F.CFFEX.IF.202012']");
    CTransaction clear(m_host[u"NearbyMonth"]);
    clear.Clear(store::MASK_VALUES);
    clear.Commit();
    MakeLeaf(u"'Contracts':['QV.F.CFFEX.IF.202012','QV.F.CFFEX.IF.202103','QV.F.CFFEX.IH.202012']");
    EXPECT_THAT(Table(u"NearbyMonth"), ElementsAre(Pair(u"QV.F.CFFEX.IH.202012", u"QV.F.CFFEX.IH.202012")));
}

TEST_F(ContractMonths, TakeTheOptionsWhoseMonthAFutureHas) {
    MakeLeaf(u"'Contracts':['QV.F.CFFEX.IF.202012','QV.F.CFFEX.IH.202101','QV.F.CFFEX.TS.202103']");
    MakeLeaf(
        u"'Contracts':['QV.O.CFFEX.IO.202012.C.1','QV.O.CFFEX.IO.202101.C.1','QV.O.CFFEX.HO.202101.P.1',"
        u"'QV.O.CFFEX.HO.202012.P.1','QV.O.CFFEX.TS.202103.C.9','QV.O.CFFEX.IO.202012.C.1']");
    const auto mapNearby = Table(u"NearbyMonth");
    EXPECT_EQ(mapNearby.size(), 6U);
    for (const TextView strSymbol :
         {u"QV.O.CFFEX.IO.202012.C.1", u"QV.O.CFFEX.HO.202101.P.1", u"QV.O.CFFEX.TS.202103.C.9"}) {
        EXPECT_EQ(mapNearby.at(Text(strSymbol)), strSymbol);
    }
}

TEST_F(ContractMonths, LookAtAnOptionInTheFileThatShowsItFirstOnly) {
    MakeLeaf(u"'Contracts':['QV.O.CFFEX.IO.202012.C.1']");
    MakeLeaf(u"'Contracts':['QV.F.CFFEX.IF.202012','QV.O.CFFEX.IO.202012.C.1','QV.O.CFFEX.IO.202012.C.2']");
    EXPECT_THAT(Table(u"NearbyMonth"), ElementsAre(Pair(u"QV.F.CFFEX.IF.202012", u"QV.F.CFFEX.IF.202012"),
                                                   Pair(u"QV.O.CFFEX.IO.202012.C.2", u"QV.O.CFFEX.IO.202012.C.2")));
}

TEST_F(ContractMonths, MakeOneSyntheticUnderlyingForEachMonthOfOptions) {
    Name(u"QV.O.CME.ES", u"E-mini S&P 500 option");
    MakeLeaf(
        u"'Contracts':['QV.O.CME.ES.202012.C.2000','QV.O.CME.ES.202012.P.2000','QV.O.CME.ES.202103.C.2000'],"
        u"'ExpirationDate':['20201218','20201219']");
    EXPECT_THAT(m_builder.m_arAllContract,
                ElementsAre(u"QV.O.CME.ES.202012.C.2000", u"QV.F.U_CME.ES.202012", u"QV.O.CME.ES.202012.P.2000",
                            u"QV.O.CME.ES.202103.C.2000", u"QV.F.U_CME.ES.202103"));
    // "QV.F.U_CME.ES." is 14 units long, and so is what its name takes from the option's.
    EXPECT_THAT(m_builder.m_mapSynuSymbolToName, ElementsAre(Pair(u"QV.F.U_CME.ES.202012", u"E-mini S&P 500SynU2012"),
                                                             Pair(u"QV.F.U_CME.ES.202103", u"E-mini S&P 500SynU2103")));
    EXPECT_EQ(m_builder.m_mapExpireDate.at(u"QV.F.U_CME.ES.202012"), u"20201218");
    EXPECT_FALSE(m_builder.m_mapExpireDate.contains(u"QV.F.U_CME.ES.202103"));
    EXPECT_FALSE(Table(u"ExpireDate").contains(u"QV.F.U_CME.ES.202012"));
}

TEST_F(ContractMonths, NameASyntheticUnderlyingByTheWholeNameWhenThatIsShorter) {
    MakeLeaf(u"'Contracts':['QV.O.CME.ES.202012.C.2000']");
    EXPECT_EQ(m_builder.m_mapSynuSymbolToName.at(u"QV.F.U_CME.ES.202012"), u"ES202012C2000SynU2012");
}

TEST_F(ContractMonths, NameSyntheticUnderlyingsOfChineseStockExchangesByProductAndMonth) {
    m_words.m_strSynU = u"合成";
    MakeLeaf(u"'Contracts':['QV.O.SSE.510050.202012.C.2000']");
    EXPECT_EQ(m_builder.m_mapSynuSymbolToName.at(u"QV.F.U_SSE.510050.202012"), u"510050 合成 2012");
}

TEST_F(ContractMonths, CutTheLetterOfAnAdjustedOption) {
    m_lists.m_mapOptionSetPriAdj.insert_or_assign(u"QV.O.SSE.510050A", u"A");
    m_lists.m_mapOptionSetPriAdj.insert_or_assign(u"QV.O.CME.ES", u"");
    MakeLeaf(u"'Contracts':['QV.O.SSE.510050A.202012.C.2000','QV.O.CME.ES.202012.C.2000']");
    EXPECT_THAT(m_builder.m_mapSynuSymbolToName, ElementsAre(Pair(u"QV.F.U_SSE.510050.202012", u"510050 SynU 2012"),
                                                             Pair(u"QV.F.U_CME.ES.202012", u"ES202012C2000SynU2012")));
}

TEST_F(ContractMonths, MakeNoSyntheticUnderlyingWithoutAMonthOrWithOneThatTheSymbolBeginsWith) {
    MakeLeaf(u"'Contracts':['QV.O.CME.ES..','QV.O.CME.ES.Q.C.1','QV.O.CME.ES.QV.C.1']");
    EXPECT_THAT(m_builder.m_mapSynuSymbolToName, IsEmpty());
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.O.CME.ES..", u"QV.O.CME.ES.Q.C.1", u"QV.O.CME.ES.QV.C.1"));
}

TEST_F(ContractMonths, CutAMonthOfTwoUnitsToNothing) {
    MakeLeaf(u"'Contracts':['QV.O.CME.ES.26.C.1']");
    EXPECT_EQ(m_builder.m_mapSynuSymbolToName.at(u"QV.F.U_CME.ES.26"), u"ES26C1SynU");
}

}  // namespace
}  // namespace qvant
