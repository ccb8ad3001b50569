#include "contract_builder_fixture.h"

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

using ContractBuilder = ContractBuilderTest;

TEST_F(ContractBuilder, EntersEverythingThatAFileTellsOfAContract) {
    MakeLeaf(
        u"'Contracts':['QV.F.CME.ES.202012','QV.F.CME.ES.202103'],'ExpirationDate':['20201218','20210319'],"
        u"'LongMarginRate':['0.1','0.2'],'ShortMarginRate':['0.3','0.4'],'InstrumentID':['ESZ0','ESH1']");
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202012", u"QV.F.CME.ES.202103"));
    EXPECT_THAT(m_builder.m_mapSymbolToName,
                ElementsAre(Pair(u"QV.F.CME.ES.202012", u"ES202012"), Pair(u"QV.F.CME.ES.202103", u"ES202103")));
    EXPECT_THAT(m_builder.m_mapExpireDate,
                ElementsAre(Pair(u"QV.F.CME.ES.202012", u"20201218"), Pair(u"QV.F.CME.ES.202103", u"20210319")));
    EXPECT_EQ(m_builder.m_mapLongMargin.at(u"QV.F.CME.ES.202103"), u"0.2");
    EXPECT_EQ(m_builder.m_mapShortMargin.at(u"QV.F.CME.ES.202103"), u"0.4");
    EXPECT_EQ(m_builder.m_mapSymbolToInstrument.at(u"QV.F.CME.ES.202012"), u"ESZ0");
    EXPECT_THAT(Table(u"ExpireDate"),
                ElementsAre(Pair(u"QV.F.CME.ES.202012", u"20201218"), Pair(u"QV.F.CME.ES.202103", u"20210319")));
}

TEST_F(ContractBuilder, WritesTheRowsOfTheSearchDatabase) {
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202012']");
    EXPECT_THAT(m_builder.m_arContractInsertData,
                ElementsAre(u"FUT|QV.F.CME.ES.202012#@QV.F.CME.ES.202012#@FUT.Top.Leaf#@期貨.頂.葉#@1"));
}

TEST_F(ContractBuilder, HasNoExpiryForContractsBehindTheEndOfTheDates) {
    MakeLeaf(
        u"'Contracts':['QV.F.CME.ES.202012','QV.F.CME.ES.202103'],'ExpirationDate':['20201218'],"
        u"'LongMarginRate':[],'ShortMarginRate':['0.3']");
    EXPECT_THAT(m_builder.m_mapExpireDate, ElementsAre(Pair(u"QV.F.CME.ES.202012", u"20201218")));
    EXPECT_THAT(Table(u"ExpireDate"), ElementsAre(Pair(u"QV.F.CME.ES.202012", u"20201218")));
    EXPECT_THAT(m_builder.m_mapLongMargin, IsEmpty());
    EXPECT_THAT(m_builder.m_mapShortMargin, ElementsAre(Pair(u"QV.F.CME.ES.202012", u"0.3")));
}

TEST_F(ContractBuilder, EntersEmptyDatesAndMarginsAsTheyStand) {
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202012'],'ExpirationDate':[''],'LongMarginRate':[7],'InstrumentID':['']");
    EXPECT_THAT(m_builder.m_mapExpireDate, ElementsAre(Pair(u"QV.F.CME.ES.202012", u"")));
    EXPECT_THAT(Table(u"ExpireDate"), ElementsAre(Pair(u"QV.F.CME.ES.202012", u"")));
    EXPECT_THAT(m_builder.m_mapLongMargin, ElementsAre(Pair(u"QV.F.CME.ES.202012", u"")));
    EXPECT_THAT(m_builder.m_mapSymbolToInstrument, IsEmpty());
}

TEST_F(ContractBuilder, SkipsContractsWithoutASymbolOrAName) {
    MakeLeaf(u"'Contracts':['','QV.F.CME.XX.202012',5,'QV.F.CME.ES.202012'],'ExpirationDate':['a','b','c','d']");
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202012"));
    EXPECT_THAT(m_builder.m_mapExpireDate, ElementsAre(Pair(u"QV.F.CME.ES.202012", u"d")));
    EXPECT_EQ(m_builder.m_arContractInsertData.size(), 1U);
    EXPECT_EQ(Path(u"FUT.Top.Leaf"), u"QV.F.CME.ES.202012,ES202012");
}

TEST_F(ContractBuilder, GivesAContractOfTwoClassificationsTwoRowsAndOneEntry) {
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202012'],'ExpirationDate':['first']", u"FUT");
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202012'],'ExpirationDate':['second']", u"ALL");
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202012"));
    EXPECT_EQ(m_builder.m_mapExpireDate.at(u"QV.F.CME.ES.202012"), u"first");
    EXPECT_THAT(m_builder.m_arContractInsertData,
                ElementsAre(u"FUT|QV.F.CME.ES.202012#@QV.F.CME.ES.202012#@FUT.Top.Leaf#@期貨.頂.葉#@1",
                            u"ALL|QV.F.CME.ES.202012#@QV.F.CME.ES.202012#@ALL.Top.Leaf#@期貨.頂.葉#@1"));
    EXPECT_EQ(m_strClassifyText, u"FUT,期貨|ALL,期貨|");
}

TEST_F(ContractBuilder, AddsNewContractsOfChangedClassificationsOnlyOnceThereAreSome) {
    m_builder.m_listChangedClassification = {u"OPT"};
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202012'],'ExpirationDate':['a']", u"FUT");
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202103'],'ExpirationDate':['b']", u"OPT");
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202103"));
    EXPECT_FALSE(m_builder.m_mapSymbolToName.contains(u"QV.F.CME.ES.202012"));
    EXPECT_THAT(m_builder.m_mapExpireDate, ElementsAre(Pair(u"QV.F.CME.ES.202103", u"b")));
    EXPECT_EQ(Path(u"FUT.Top.Leaf"), u"QV.F.CME.ES.202012,ES202012");
    EXPECT_EQ(m_builder.m_arContractInsertData.size(), 2U);
}

TEST_F(ContractBuilder, NamesTheInstrumentOfAStockByItsCode) {
    MakeLeaf(u"'Contracts':['QV.S.SSE.600000','QV.S.SSE.600001']");
    EXPECT_THAT(m_builder.m_mapSymbolToInstrument,
                ElementsAre(Pair(u"QV.S.SSE.600000", u"600000"), Pair(u"QV.S.SSE.600001", u"600001")));
    EXPECT_EQ(Path(u"FUT.Top.Leaf-Instrument"), u"600000|600001");
    EXPECT_EQ(Path(u"FUT.Top.Leaf"), u"QV.S.SSE.600000,600000 Pudong|QV.S.SSE.600001,600001 Handan");
}

TEST_F(ContractBuilder, PrefersTheInstrumentsOfTheFile) {
    MakeLeaf(u"'Contracts':['QV.S.SSE.600000','QV.S.SSE.600001'],'InstrumentID':['','x',null,'y']");
    EXPECT_THAT(m_builder.m_mapSymbolToInstrument,
                ElementsAre(Pair(u"QV.S.SSE.600000", u"600000"), Pair(u"QV.S.SSE.600001", u"x")));
    EXPECT_EQ(Path(u"FUT.Top.Leaf-Instrument"), u"unknow|x|unknow|y");
}

TEST_F(ContractBuilder, ClearsEverythingButTheChangedClassifications) {
    m_builder.m_listChangedClassification = {u"FUT"};
    const TextView strMembers =
        u"'Contracts':['QV.O.CFFEX.IO.202012.C.4000','QV.F.CFFEX.IF.202012','QV.F.CFFEX.IF.202101'],"
        u"'ExpirationDate':['a','b','c'],'LongMarginRate':['1'],'ShortMarginRate':['2'],'InstrumentID':['i']";
    MakeLeaf(strMembers);
    MakeHot(u"'QV.F.CME.ES.202012'");
    m_builder.Clear();
    EXPECT_THAT(m_builder.m_listChangedClassification, ElementsAre(u"FUT"));
    EXPECT_THAT(m_builder.m_arAllContract, IsEmpty());
    EXPECT_THAT(m_builder.m_arContractInsertData, IsEmpty());
    for (const CSymbolColumn* pMap :
         {&m_builder.m_mapSymbolToName, &m_builder.m_mapSynuSymbolToName, &m_builder.m_mapExpireDate,
          &m_builder.m_mapLongMargin, &m_builder.m_mapShortMargin, &m_builder.m_mapSymbolToHot,
          &m_builder.m_mapSymbolToInstrument}) {
        EXPECT_THAT(*pMap, IsEmpty());
    }
    EXPECT_THAT(m_builder.m_mapSymbolToNear, IsEmpty());
    EXPECT_THAT(m_builder.m_mapContractListName, IsEmpty());
    // What the builder keeps to itself went as well: months and quota are free again.
    m_host.Drop(u"NearbyMonth");
    MakeLeaf(u"'Contracts':['QV.F.CFFEX.IF.202103','QV.F.CFFEX.IF.202106']");
    EXPECT_EQ(m_builder.m_mapSymbolToNear.at(u"QV.F.CFFEX.IF.202103"), u"QV.F.CFFEX.IF.Front1");
    EXPECT_THAT(Table(u"NearbyMonth"), UnorderedElementsAre(Pair(u"QV.F.CFFEX.IF.202103", u"QV.F.CFFEX.IF.202103"),
                                                            Pair(u"QV.F.CFFEX.IF.202106", u"QV.F.CFFEX.IF.202106")));
}

TEST_F(ContractBuilder, TellsTheReadersOfExpiryDatesOfWholeFiles) {
    const std::int32_t nBefore = m_expireDate.Begin();
    m_expireDate.Cancel(nBefore);
    MakeLeaf(u"'Contracts':['QV.F.CME.ES.202012','QV.F.CME.ES.202103'],'ExpirationDate':['a','b']");
    const std::int32_t nAfter = m_expireDate.Begin();
    m_expireDate.Cancel(nAfter);
    // One each for "ExpireDate", "HOTMONTHTABLE" and "NearbyMonth", and the one just opened.
    EXPECT_EQ(nAfter - nBefore, 4);
}

TEST_F(ContractBuilder, DoesWithoutTables) {
    m_host.Drop(u"ExpireDate");
    Text strClassifyText;
    m_builder.MakeContractList(
        u"{\"ENG\":\"F\",\"Node\":[{\"ENG\":\"HOT\",\"Node\":[{\"ENG\":\"L\",\"Contracts\":[\"QV.F.CFFEX.IF.202012\"],"
        u"\"ExpirationDate\":[\"20201218\"]}]}]}",
        nullptr, nullptr, u"FUT", strClassifyText);
    EXPECT_EQ(m_builder.m_mapExpireDate.at(u"QV.F.CFFEX.IF.202012"), u"20201218");
    EXPECT_EQ(m_builder.m_mapSymbolToHot.at(u"QV.F.CFFEX.IF.202012"), u"QV.F.CFFEX.IF.HOT");
    EXPECT_EQ(strClassifyText, u"FUT,F|");
}

}  // namespace
}  // namespace qvant
