/// The walk of the contract builder: the pickers' tree, permissions, and files of bad shape.
#include "contract_builder_fixture.h"

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class ContractWalk : public ContractBuilderTest {
protected:
    void Permit(const TextSet& mapExchanges) { m_state.m_mapExchanges = mapExchanges; }
    void MakeTree(TextView strNodes) { Make(Concatenate({u"{'ENG':'Futures','Node':[", strNodes, u"]}"})); }
    static Text Leaf(TextView strName, TextView strSymbol) {
        return Concatenate({u"{'ENG':'", strName, u"','Contracts':['", strSymbol, u"']}"});
    }
    static Text Category(TextView strName, TextView strNodes) {
        return Concatenate({u"{'ENG':'", strName, u"','Node':[", strNodes, u"]}"});
    }
};

TEST_F(ContractWalk, ListsEachNodesChildrenAndEachLeafsContracts) {
    Make(
        u"{'ENG':'Futures','CHT':'期貨','Node':["
        u"{'ENG':'US','CHT':'美國','Node':[{'ENG':'CME','Node':[{'ENG':'Index','CHT':'指數','Contracts':"
        u"['QV.F.CME.ES.202012','QV.F.CME.NQ.202012']}]}]},"
        u"{'ENG':'ES','CHT':'迷你','Contracts':['QV.F.CME.ES.202103']}]}");
    EXPECT_THAT(m_builder.m_mapContractListName,
                UnorderedElementsAre(
                    Pair(u"FUT", u"US,美國|ES,迷你"), Pair(u"FUT.ES", u"QV.F.CME.ES.202103,ES202103"),
                    Pair(u"FUT.ES-Instrument", u""), Pair(u"FUT.US", u"CME,CME"), Pair(u"FUT.US.CME", u"Index,指數"),
                    Pair(u"FUT.US.CME.Index", u"QV.F.CME.ES.202012,ES202012|QV.F.CME.NQ.202012,NQ202012"),
                    Pair(u"FUT.US.CME.Index-Instrument", u"")));
    EXPECT_EQ(m_strClassifyText, u"FUT,期貨|");
    const std::vector<Text> arRows(m_builder.m_arContractInsertData.begin(), m_builder.m_arContractInsertData.end());
    EXPECT_EQ(arRows.back(), u"FUT|QV.F.CME.NQ.202012#@QV.F.CME.NQ.202012#@FUT.US.CME.Index#@期貨.美國.CME.指數#@1");
}

TEST_F(ContractWalk, GoesLevelByLevel) {
    MakeTree(Category(u"A", Category(u"B", Leaf(u"deep", u"QV.F.CME.ES.202012"))) + u"," +
             Category(u"C", Leaf(u"flat", u"QV.F.CME.ES.202103")));
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202103", u"QV.F.CME.ES.202012"));
}

TEST_F(ContractWalk, TakesTheLocalNameFromTheLanguageElseFromEnglish) {
    for (const auto& [strLanguage, strExpected] : std::map<Text, Text>{
             {u"CHT", u"c"}, {u"-CN", u"s"}, {u"JPN", u"j"}, {u"ENG", u"e"}, {u"DEU", u"e"}, {u"KOR", u""}}) {
        m_state.AppsLanguage = strLanguage;
        m_strClassifyText.clear();
        Make(
            u"{'ENG':'e','CHT':'c','-CN':'s','JPN':'j','DEU':'','KOR':'','Node':[{'ENG':'e','CHT':'c','-CN':'s',"
            u"'JPN':'j','DEU':'','KOR':'','Node':[]}]}");
        EXPECT_EQ(m_strClassifyText, Concatenate({u"FUT,", strExpected, u"|"})) << Narrow(strLanguage);
        EXPECT_EQ(Path(u"FUT"), Concatenate({u"e,", strExpected}));
    }
}

TEST_F(ContractWalk, EndsABranchWhoseChildrenHaveNoNames) {
    MakeTree(Category(u"Top", u"{'CHT':'x','Node':[" + Leaf(u"L", u"QV.F.CME.ES.202012") + u"]},7,[]"));
    EXPECT_THAT(m_builder.m_mapContractListName, UnorderedElementsAre(Pair(u"FUT", u"Top,Top")));
    EXPECT_THAT(m_builder.m_arAllContract, IsEmpty());
}

TEST_F(ContractWalk, SkipsNamelessChildrenAmongOthers) {
    MakeTree(u"{'Contracts':['QV.F.CME.ES.202012']},5," + Leaf(u"L", u"QV.F.CME.ES.202103"));
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202103"));
    EXPECT_EQ(Path(u"FUT"), u"L,L");
}

TEST_F(ContractWalk, HasNothingForALeafWithoutContracts) {
    MakeTree(u"{'ENG':'A','Contracts':[]},{'ENG':'B','Contracts':'QV.F.CME.ES.202012','Node':[{'ENG':'C'}]}");
    EXPECT_THAT(m_builder.m_mapContractListName, IsEmpty());
}

TEST_F(ContractWalk, KeepsTheInstrumentKeyOfALeafThatShowsNothing) {
    MakeTree(u"{'ENG':'A','Contracts':['']},{'ENG':'B','Contracts':['QV.F.NO.NE.202012'],'InstrumentID':['i','']}");
    EXPECT_THAT(m_builder.m_mapContractListName,
                UnorderedElementsAre(Pair(u"FUT.A-Instrument", u""), Pair(u"FUT.B-Instrument", u"i|unknow")));
}

TEST_F(ContractWalk, PermitsByGroupOrByProduct) {
    Permit({u"QV.F.CME", u"QV.O.DCE.m"});
    MakeLeaf(
        u"'Contracts':['QV.F.CME.ES.202012','QV.O.DCE.m.202012.C.1','QV.O.CME.ES.202012.C.1',"
        u"'QV.F.CFFEX.IF.202012']");
    EXPECT_EQ(Path(u"FUT.Top.Leaf"), u"QV.F.CME.ES.202012,ES202012|QV.O.DCE.m.202012.C.1,m2012-C-1");
    Text strFlags;
    for (const Text& strRow : m_builder.m_arContractInsertData) strFlags.push_back(strRow.back());
    EXPECT_EQ(strFlags, u"1100");
    // What isn't permitted is known all the same.
    EXPECT_TRUE(m_builder.m_mapSymbolToName.contains(u"QV.F.CFFEX.IF.202012"));
}

TEST_F(ContractWalk, LeavesALeafWithoutPermittedContractsOutOfItsParentsListButKeepsItsInstruments) {
    Permit({u"QV.F.CME"});
    MakeTree(Category(u"Top", Leaf(u"A", u"QV.S.SSE.600000") + u"," + Leaf(u"B", u"QV.F.CME.ES.202012")));
    EXPECT_EQ(Path(u"FUT.Top"), u"B,B");
    EXPECT_FALSE(HasPath(u"FUT.Top.A"));
    EXPECT_EQ(Path(u"FUT.Top.A-Instrument"), u"600000");
}

TEST_F(ContractWalk, ListsAllTopCategoriesWhenEverythingIsPermitted) {
    MakeTree(Category(u"Empty", u"{'ENG':'x'}") + u"," + Category(u"Full", Leaf(u"L", u"QV.F.CME.ES.202012")));
    EXPECT_EQ(Path(u"FUT"), u"Empty,Empty|Full,Full");
}

TEST_F(ContractWalk, ListsTopCategoriesWithPermittedContractsInTheOrderInWhichTheyWereFound) {
    Permit({u"QV.F.CME"});
    MakeTree(Category(u"Deep", Category(u"B", Leaf(u"L", u"QV.F.CME.ES.202012"))) + u"," +
             Category(u"None", Leaf(u"L", u"QV.F.CFFEX.IF.202012")) + u"," +
             Category(u"Flat", Leaf(u"L", u"QV.F.CME.ES.202103")));
    EXPECT_EQ(Path(u"FUT"), u"Flat,Flat|Deep,Deep");
}

TEST_F(ContractWalk, ListsATopCategoryOnceForAllThatLiesBelowIt) {
    Permit({u"QV.F.CME"});
    MakeTree(Category(u"Deep", Category(u"B", Leaf(u"L", u"QV.F.CME.ES.202012")) + u"," +
                                   Category(u"C", Leaf(u"L", u"QV.F.CME.ES.202103"))));
    EXPECT_EQ(Path(u"FUT"), u"Deep,Deep");
}

TEST_F(ContractWalk, ListsPermittedLeavesOfTheRoot) {
    Permit({u"QV.F.CME"});
    MakeTree(Leaf(u"ES", u"QV.F.CME.ES.202012") + u"," + Leaf(u"IF", u"QV.F.CFFEX.IF.202012") + u"," +
             Category(u"Top", Leaf(u"L", u"QV.F.CME.NQ.202012")));
    // With the leaf comes what stands beside it; the category would come again, but it is in the list by then.
    EXPECT_EQ(Path(u"FUT"), u"ES,ES|Top,Top");
}

TEST_F(ContractWalk, TakesATopCategoryWhoseTextOccursInAnothersForListed) {
    Permit({u"QV.F.CME"});
    MakeTree(u"{'ENG':'US Index','CHT':'12','Node':[" + Leaf(u"L", u"QV.F.CME.ES.202012") + u"]}," +
             u"{'ENG':'Index','CHT':'1','Node':[" + Leaf(u"L", u"QV.F.CME.NQ.202012") + u"]}");
    EXPECT_EQ(Path(u"FUT"), u"US Index,12");
    EXPECT_TRUE(HasPath(u"FUT.Index.L"));
}

TEST_F(ContractWalk, RemovesTheClassificationWithoutPermittedContracts) {
    MakeTree(Category(u"Top", Leaf(u"L", u"QV.F.CFFEX.IF.202012")));
    EXPECT_TRUE(HasPath(u"FUT"));
    Permit({u"QV.F.CME"});
    MakeTree(Category(u"Top", Leaf(u"L", u"QV.F.CFFEX.IF.202012")));
    EXPECT_FALSE(HasPath(u"FUT"));
}

TEST_F(ContractWalk, TrimsBarsAtTheEndOfListsOnly) {
    MakeTree(u"{'ENG':'A|','Node':[]},{'ENG':'B||','CHT':'b||','Node':[]}");
    EXPECT_EQ(Path(u"FUT"), u"A|,A||B||,b");
}

TEST_F(ContractWalk, AddsNothingForATextThatIsNoObjectOrHasNoCategories) {
    for (const TextView strFile : {u"", u"x", u"[]", u"'text'", u"{'Node':[", u"{}", u"{'ENG':'F'}", u"{'Node':7}"}) {
        Make(Text(strFile));
    }
    EXPECT_EQ(m_strClassifyText, u"");
    EXPECT_THAT(m_builder.m_mapContractListName, IsEmpty());
    EXPECT_THAT(m_host.m_arLog, IsEmpty());
}

TEST_F(ContractWalk, NamesARootWithoutAnEnglishNameByNothingAndReadsNoFurther) {
    Make(u"{'CHT':'期貨','Node':[" + Leaf(u"L", u"QV.F.CME.ES.202012") + u"]}");
    EXPECT_EQ(m_strClassifyText, u",期貨|");
    EXPECT_THAT(m_builder.m_arAllContract, IsEmpty());
}

TEST_F(ContractWalk, ReadsMembersOfTheWrongKindAsAbsent) {
    MakeTree(
        u"{'ENG':['x'],'Contracts':['QV.F.CME.ES.202012']},{'ENG':'T','CHT':1,'Node':{'ENG':'x'}},"
        u"{'ENG':'L','Contracts':['QV.F.CME.ES.202103'],'ExpirationDate':'20201218','LongMarginRate':{},"
        u"'ShortMarginRate':null,'InstrumentID':1.5}");
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202103"));
    EXPECT_EQ(Path(u"FUT"), u"T,T|L,L");
    EXPECT_THAT(m_builder.m_mapExpireDate, IsEmpty());
    EXPECT_THAT(m_builder.m_mapSymbolToInstrument, IsEmpty());
}

TEST_F(ContractWalk, ReadsTheLastOfRepeatedMembers) {
    Make(
        u"{'ENG':'a','Node':7,'Node':[{'ENG':'x','ENG':'L','CHT':'y','CHT':'l','Contracts':['QV.F.CME.NQ.202012'],"
        u"'Contracts':['QV.F.CME.ES.202012']}],'ENG':'b'}");
    EXPECT_THAT(m_builder.m_arAllContract, ElementsAre(u"QV.F.CME.ES.202012"));
    EXPECT_EQ(Path(u"FUT"), u"L,l");
    EXPECT_EQ(m_strClassifyText, u"FUT,b|");
}

TEST_F(ContractWalk, SurvivesATreeOfAnyDepth) {
    constexpr int DEPTH = 200'000;
    Text strFile = u"{'ENG':'F','Node':[";
    for (int i = 0; i < DEPTH; ++i) strFile += u"{'ENG':'n','Node':[";
    for (int i = 0; i < DEPTH; ++i) strFile += u"]}";
    Make(strFile + u"]}");
    EXPECT_EQ(m_strClassifyText, u"FUT,F|");
    EXPECT_EQ(Path(u"FUT.n.n"), u"n,n");
    EXPECT_LT(m_builder.m_mapContractListName.size(), 1024U);
}

}  // namespace
}  // namespace qvant
