#include "model/underlying_lists.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"
#include "test_host.h"

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

class UnderlyingLists : public testing::Test {
protected:
    /// A group of securities in "Security.Info".
    void AddGroup(TextView strGroup, const std::map<Text, Text>& mapSecurities) {
        const auto pGroup = CBaseData::CreateNew();
        CTransaction securities(*pGroup);
        for (const auto& [strKey, strJson] : mapSecurities) securities.SetValue(strKey, strJson);
        securities.Commit();
        CTransaction info(m_info);
        info.SetRow(m_info.GetCount(), strGroup);
        info.SetTable(strGroup, *pGroup);
        info.Commit();
    }

    void Make(TextView strLanguage = u"ENG") {
        m_lists.MakeUnderlyingList(
            {&m_info, &m_host[u"Underlying.List"], &m_host[u"Underlying.F.List"], &m_host[u"OptionStyle"]},
            strLanguage);
    }

    std::map<Text, Text> Table(TextView strName) { return ReadValues(m_host[strName]); }

    CTestHost m_host;
    CBaseData& m_info = m_host[u"Security.Info"];
    CUnderlyingLists m_lists{m_host};
};

TEST_F(UnderlyingLists, ComeFromTheSecuritiesOfEveryGroup) {
    AddGroup(u"QV.F.CME", {{u"QV.F.CME.ES", uR"({"Name.ENG":"S&P","Underlying":"QV.I.CME.SPX"})"}});
    AddGroup(u"QV.O.CME", {{u"QV.O.CME.ES",
                            uR"({"Name.ENG":"S&P Opt","Underlying":"QV.I.CME.SPX","Underlying.F":
        "QV.F.CME.ES","OptionStyle":"American","SetPRIADJ":"A"})"}});
    Make();
    EXPECT_THAT(m_lists.m_mapSecurityName,
                UnorderedElementsAre(Pair(u"QV.F.CME.ES", u"S&P"), Pair(u"QV.O.CME.ES", u"S&P Opt")));
    EXPECT_THAT(Table(u"Underlying.List"),
                ElementsAre(Pair(u"QV.F.CME.ES", u"QV.I.CME.SPX"), Pair(u"QV.O.CME.ES", u"QV.I.CME.SPX")));
    EXPECT_THAT(Table(u"Underlying.F.List"), ElementsAre(Pair(u"QV.O.CME.ES", u"QV.F.CME.ES")));
    EXPECT_THAT(Table(u"OptionStyle"), ElementsAre(Pair(u"QV.O.CME.ES", u"1")));
    EXPECT_THAT(m_lists.m_mapOptionSetPriAdj, UnorderedElementsAre(Pair(u"QV.O.CME.ES", u"A")));
    EXPECT_THAT(m_host.m_arLog, ElementsAre(u"MakeUnderlyingList-Start", u"MakeUnderlyingList-End:2"));
}

TEST_F(UnderlyingLists, HaveNoRowForAStock) {
    AddGroup(u"QV.S.SSE",
             {{u"QV.S.SSE.600000", uR"({"Name.ENG":"Pudong","Underlying":"x","OptionStyle":"American"})"}});
    Make();
    EXPECT_EQ(m_lists.m_mapSecurityName.at(u"QV.S.SSE.600000"), u"Pudong");
    EXPECT_THAT(Table(u"Underlying.List"), IsEmpty());
    EXPECT_THAT(Table(u"OptionStyle"), IsEmpty());
}

TEST_F(UnderlyingLists, TakeTheOptionMembersOfOptionsOnly) {
    AddGroup(u"QV.F.CME", {{u"QV.F.CME.ES", uR"({"Underlying.F":"a","OptionStyle":"American","SetPRIADJ":"A"})"}});
    Make();
    EXPECT_THAT(m_lists.m_mapUnderlyingF, IsEmpty());
    EXPECT_THAT(m_lists.m_mapOptionStyle, IsEmpty());
    EXPECT_THAT(m_lists.m_mapOptionSetPriAdj, IsEmpty());
}

TEST_F(UnderlyingLists, CallEveryOtherStyleThanAmericanZeroAndNoneNothing) {
    AddGroup(u"QV.O.CME", {{u"QV.O.CME.A", uR"({"OptionStyle":"European"})"},
                           {u"QV.O.CME.B", uR"({"OptionStyle":"american"})"},
                           {u"QV.O.CME.C", uR"({"OptionStyle":""})"},
                           {u"QV.O.CME.D", uR"({})"}});
    Make();
    EXPECT_THAT(Table(u"OptionStyle"), ElementsAre(Pair(u"QV.O.CME.A", u"0"), Pair(u"QV.O.CME.B", u"0")));
}

TEST_F(UnderlyingLists, LoseTheMarkOfTheKeysInsideAKeyToo) {
    AddGroup(u"QV.F.CME",
             {{u"QV.F.CME.XT:Y", uR"({"Name.ENG":"lost"})"}, {u"QV.F.CME.XY", uR"({"Name.ENG":"found"})"}});
    Make();
    EXPECT_THAT(m_lists.m_mapSecurityName, UnorderedElementsAre(Pair(u"QV.F.CME.XY", u"found")));
}

TEST_F(UnderlyingLists, LeaveASecurityWithoutANameInTheLanguageOutOfTheNames) {
    AddGroup(u"QV.F.CME", {{u"QV.F.CME.ES", uR"({"Name.ENG":"S&P","Underlying":"u"})"},
                           {u"QV.F.CME.NQ", uR"({"Name.CHT":"那","Underlying":"v"})"}});
    Make(u"CHT");
    EXPECT_THAT(m_lists.m_mapSecurityName, UnorderedElementsAre(Pair(u"QV.F.CME.NQ", u"那")));
    EXPECT_THAT(Table(u"Underlying.List"), ElementsAre(Pair(u"QV.F.CME.ES", u"u"), Pair(u"QV.F.CME.NQ", u"v")));
}

TEST_F(UnderlyingLists, ReadStringMembersOfObjectsOnly) {
    AddGroup(u"QV.O.CME", {{u"QV.O.CME.A", uR"({"Name.ENG":1,"Underlying":["x"],"OptionStyle":true})"},
                           {u"QV.O.CME.B", u"[\"Name.ENG\"]"},
                           {u"QV.O.CME.C", u"not json"},
                           {u"QV.O.CME.D", u""}});
    Make();
    EXPECT_THAT(m_lists.m_mapSecurityName, IsEmpty());
    EXPECT_THAT(Table(u"Underlying.List"), IsEmpty());
    EXPECT_THAT(Table(u"OptionStyle"), IsEmpty());
}

TEST_F(UnderlyingLists, ReplaceThoseOfTheLastPass) {
    AddGroup(u"QV.O.CME", {{u"QV.O.CME.A",
                            uR"({"Name.ENG":"n","Underlying":"u","Underlying.F":"f","OptionStyle":"s",
        "SetPRIADJ":"p"})"}});
    Make();
    CTransaction info(m_info);
    info.Clear(store::MASK_ALL);
    info.Commit();
    Make();
    for (const TextMap* pMap : {&m_lists.m_mapSecurityName, &m_lists.m_mapUnderlying, &m_lists.m_mapUnderlyingF,
                                &m_lists.m_mapOptionStyle, &m_lists.m_mapOptionSetPriAdj}) {
        EXPECT_THAT(*pMap, IsEmpty());
    }
    EXPECT_THAT(Table(u"Underlying.List"), IsEmpty());
    EXPECT_THAT(Table(u"Underlying.F.List"), IsEmpty());
    EXPECT_THAT(Table(u"OptionStyle"), IsEmpty());
    EXPECT_EQ(m_host.m_arLog.back(), u"MakeUnderlyingList-End:0");
}

TEST_F(UnderlyingLists, SkipAGroupWithoutATable) {
    CTransaction info(m_info);
    info.SetRow(0, u"QV.F.NONE");
    info.Commit();
    AddGroup(u"QV.F.CME", {{u"QV.F.CME.ES", uR"({"Underlying":"u"})"}});
    Make();
    EXPECT_THAT(Table(u"Underlying.List"), ElementsAre(Pair(u"QV.F.CME.ES", u"u")));
    EXPECT_EQ(m_host.m_arLog.back(), u"MakeUnderlyingList-End:2");
}

TEST_F(UnderlyingLists, DoWithoutTables) {
    AddGroup(u"QV.F.CME", {{u"QV.F.CME.ES", uR"({"Name.ENG":"S&P","Underlying":"u"})"}});
    m_lists.MakeUnderlyingList({&m_info, nullptr, nullptr, nullptr}, u"ENG");
    EXPECT_THAT(m_lists.m_mapUnderlying, UnorderedElementsAre(Pair(u"QV.F.CME.ES", u"u")));
    m_lists.MakeUnderlyingList({}, u"ENG");
    EXPECT_THAT(m_lists.m_mapUnderlying, IsEmpty());
}

/// More than one thread works on alone, in two groups.
TEST_F(UnderlyingLists, AreMadeOfManySecuritiesAsOfFew) {
    std::map<Text, Text> mapOptions, mapUnderlying, mapUnderlyingF, mapStyles;
    std::map<Text, Text> mapFutures;
    for (int i = 0; i < 3'000; ++i) {
        const Text strOption = Format(u"QV.O.CME.%d", i);
        mapUnderlying[strOption] = Format(u"QV.I.CME.%d", i / 2);
        mapUnderlyingF[strOption] = Format(u"QV.F.CME.%d", i);
        mapStyles[strOption] = i % 3 == 0 ? u"1" : u"0";
        mapOptions[strOption] =
            Format(uR"({"Name.ENG":"O%d","Underlying":"%s","OptionStyle":"%s","Underlying.F":"%s"})", i,
                   mapUnderlying[strOption], i % 3 == 0 ? u"American" : u"European", mapUnderlyingF[strOption]);
        const Text strFuture = Format(u"QV.F.CME.%d", i);
        mapUnderlying[strFuture] = Format(u"QV.I.CME.%d", i);
        // Not in the plain form that nearly all of them have.
        mapFutures[strFuture] =
            Format(uR"({ "Underlying":"QV.I.CME.\u003%d%s", "Underlying.F":1 })", i / 1000, Format(u"%03d", i % 1000));
        if (i < 1000) mapFutures[strFuture] = Format(uR"({"Underlying":"QV.I.CME.%d"})", i);
    }
    AddGroup(u"QV.O.CME", mapOptions);
    AddGroup(u"QV.F.CME", mapFutures);
    for (int nPass = 0; nPass < 2; ++nPass) {
        Make();
        EXPECT_EQ(m_lists.m_mapSecurityName.size(), mapOptions.size());
        EXPECT_EQ(m_lists.m_mapSecurityName.at(u"QV.O.CME.2999"), u"O2999");
        EXPECT_TRUE(Table(u"Underlying.List") == mapUnderlying);
        EXPECT_TRUE(Table(u"Underlying.F.List") == mapUnderlyingF);
        EXPECT_TRUE(Table(u"OptionStyle") == mapStyles);
    }
}

TEST_F(UnderlyingLists, KeepTheLastOfManyKeysThatAreOneWithoutTheirMark) {
    std::map<Text, Text> mapFutures;
    for (int i = 0; i < 2'000; ++i) {
        mapFutures[Format(u"QV.F.CME.%d", i)] = uR"({"Underlying":"plain"})";
        mapFutures[Format(u"QV.F.T:CME.%d", i)] = uR"({"Underlying":"marked"})";
    }
    AddGroup(u"QV.F.CME", mapFutures);
    Make();
    EXPECT_EQ(m_lists.m_mapUnderlying.size(), 2'000u);
    EXPECT_EQ(m_lists.m_mapUnderlying.at(u"QV.F.CME.1999"), u"plain") << "the marked key isn't found in the table";
}

}  // namespace
}  // namespace qvant
