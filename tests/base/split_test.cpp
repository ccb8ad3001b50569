#include "base/split.h"

#include <gmock/gmock.h>

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ExtractField, KeepsEmptyPieces) {
    EXPECT_EQ(ExtractField(u"QV..CME.ES", 1, u"."), u"");
    EXPECT_EQ(ExtractField(u"QV..CME.ES", 2, u"."), u"CME");
    EXPECT_EQ(ExtractField(u"QV..CME.ES", 3, u"."), u"ES");
    EXPECT_EQ(ExtractField(u"a.", 1, u"."), u"");
}

TEST(ExtractField, GivesNothingOutsideTheFields) {
    EXPECT_EQ(ExtractField(u"a.b", 2, u"."), u"");
    EXPECT_EQ(ExtractField(u"a.b", -1, u"."), u"");
    EXPECT_EQ(ExtractField(u"", 0, u"."), u"");
}

TEST(ExtractField, TakesASeparatorOfSeveralUnits) {
    EXPECT_EQ(ExtractField(u"a#@b#c#@d", 1, u"#@"), u"b#c");
    EXPECT_EQ(ExtractField(u"a#@b#c#@d", 2, u"#@"), u"d");
}

TEST(ExtractField, TakesTheWholeTextWithoutASeparator) {
    EXPECT_EQ(ExtractField(u"a.b", 0, u""), u"a.b");
    EXPECT_EQ(ExtractField(u"a.b", 1, u""), u"");
}

TEST(NextToken, SkipsRunsOfSeparatorsAndStandsBehindTheNextOne) {
    int nPosition = 0;
    EXPECT_EQ(NextToken(u"||a||b|", u"|", nPosition), u"a");
    EXPECT_EQ(nPosition, 4);
    EXPECT_EQ(NextToken(u"||a||b|", u"|", nPosition), u"b");
    EXPECT_EQ(nPosition, 7);
    EXPECT_EQ(NextToken(u"||a||b|", u"|", nPosition), u"");
    EXPECT_EQ(nPosition, -1);
}

TEST(NextToken, StandsPastTheEndAfterALastTokenWithoutASeparator) {
    int nPosition = 0;
    EXPECT_EQ(NextToken(u"ab", u"|", nPosition), u"ab");
    EXPECT_EQ(nPosition, 3);
    EXPECT_EQ(NextToken(u"ab", u"|", nPosition), u"");
    EXPECT_EQ(nPosition, -1);
}

TEST(NextToken, SeparatesAtEachUnitOfTheSet) {
    int nPosition = 0;
    EXPECT_EQ(NextToken(u"k=v;x", u"=;", nPosition), u"k");
    EXPECT_EQ(NextToken(u"k=v;x", u"=;", nPosition), u"v");
    EXPECT_EQ(NextToken(u"k=v;x", u"=;", nPosition), u"x");
}

TEST(NextToken, GivesTheRestWithoutSeparatorsAndStays) {
    int nPosition = 1;
    EXPECT_EQ(NextToken(u"abc", u"", nPosition), u"bc");
    EXPECT_EQ(nPosition, 1);
}

TEST(NextToken, EndsAtOnceOutsideTheText) {
    for (const int nStart : {-1, -5, 3, 100}) {
        int nPosition = nStart;
        EXPECT_EQ(NextToken(u"abc", u"|", nPosition), u"");
        EXPECT_EQ(nPosition, -1);
    }
}

TEST(SplitTokens, DropsEmptyPieces) {
    EXPECT_THAT(SplitTokens(u";a;;b;", u";"), ElementsAre(u"a", u"b"));
    EXPECT_THAT(SplitTokens(u";;", u";"), IsEmpty());
    EXPECT_THAT(SplitTokens(u"", u";"), IsEmpty());
}

TEST(SplitTokens, TakesTheWholeTextWithoutSeparators) {
    EXPECT_THAT(SplitTokens(u"a;b", u""), ElementsAre(u"a;b"));
    EXPECT_THAT(SplitTokens(u"", u""), IsEmpty());
}

TEST(SplitFields, KeepsEmptyPieces) {
    EXPECT_THAT(SplitFields(u",a,,b,", u","), ElementsAre(u"", u"a", u"", u"b", u""));
    EXPECT_THAT(SplitFields(u"", u","), ElementsAre(u""));
    EXPECT_THAT(SplitFields(u"a||b", u"||"), ElementsAre(u"a", u"b"));
    EXPECT_THAT(SplitFields(u"a,b", u""), ElementsAre(u"a,b"));
}

TEST(Join, PutsTheSeparatorBetweenThePieces) {
    EXPECT_EQ(Join({u"a", u"", u"b"}, u"|"), u"a||b");
    EXPECT_EQ(Join({u"a"}, u"|"), u"a");
    EXPECT_EQ(Join({}, u"|"), u"");
}

TEST(Join, IsTheWayBackOfSplitFields) {
    const Text strText = u"||DCE||SHFE||";
    EXPECT_EQ(Join(SplitFields(strText, u"||"), u"||"), strText);
}

}  // namespace
}  // namespace qvant
