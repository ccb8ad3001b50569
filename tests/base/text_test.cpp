#include "base/text.h"

#include <unordered_map>

#include <gtest/gtest.h>

namespace qvant {
namespace {

TEST(Widen, TakesUtf8OfEveryLength) {
    EXPECT_EQ(Widen("A\xC3\xA9\xE5\x8F\xB0\xF0\x9F\x93\x88"), u"A\u00E9\u53F0\U0001F4C8");
    EXPECT_EQ(Widen(""), u"");
}

TEST(Widen, KeepsANulInside) { EXPECT_EQ(Widen(std::string_view("a\0b", 3)), Text(u"a\0b", 3)); }

TEST(Widen, PutsOneReplacementForEachBrokenSequence) {
    EXPECT_EQ(Widen("a\xFFz"), u"a\uFFFDz");
    EXPECT_EQ(Widen("a\xE5\x8Fz"), u"a\uFFFDz");
    EXPECT_EQ(Widen("a\xE5\x8F"), u"a\uFFFD");
    EXPECT_EQ(Widen("\x80\x80"), u"\uFFFD\uFFFD");
}

TEST(AppendWidened, KeepsWhatIsThere) {
    Text strText = u"\u53F0:";
    AppendWidened(strText, "a\xFF\xE5\x8F\xB0");
    AppendWidened(strText, "");
    EXPECT_EQ(strText, u"\u53F0:a\uFFFD\u53F0");
}

TEST(Widen, RefusesSurrogatesAndOverlongForms) {
    EXPECT_EQ(Widen("\xED\xA0\x80").find_first_not_of(u'\uFFFD'), Text::npos);
    EXPECT_EQ(Widen("\xC0\xAF").find_first_not_of(u'\uFFFD'), Text::npos);
}

TEST(Widen, SurvivesEveryPairOfBytes) {
    for (int nFirst = 0; nFirst < 256; ++nFirst) {
        for (int nSecond = 0; nSecond < 256; ++nSecond) {
            const char szPair[] = {static_cast<char>(nFirst), static_cast<char>(nSecond)};
            const Text strWide = Widen(std::string_view(szPair, 2));
            ASSERT_GE(strWide.size(), 1U);
            ASSERT_LE(strWide.size(), 2U);
        }
    }
}

TEST(WidenMarked, TakesEitherFormOfAFileWithAndWithoutItsMark) {
    EXPECT_EQ(WidenMarked("\xE5\x8F\xB0"), u"\u53F0");
    EXPECT_EQ(WidenMarked("\xEF\xBB\xBF\xE5\x8F\xB0"), u"\u53F0");
    EXPECT_EQ(WidenMarked("\xFF\xFE\xF0\x53z"), u"\u53F0") << "half a unit at the end is dropped";
    EXPECT_EQ(WidenMarked("\xFF\xFE"), u"");
    EXPECT_EQ(WidenMarked(""), u"");
}

TEST(Narrow, IsTheWayBackOfWiden) {
    const std::string strBytes = "QV.F.\xE5\x8F\xB0\xE6\x9C\x9F \xF0\x9F\x93\x88";
    EXPECT_EQ(Narrow(Widen(strBytes)), strBytes);
}

TEST(Narrow, FindsACharacterThatIsntAsciiAtAnyPlaceOfALongText) {
    for (const std::string_view strCharacter : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        for (std::size_t i = 0; i <= 40; ++i) {
            std::string strBytes(40, 'x');
            strBytes.insert(i, strCharacter);
            EXPECT_EQ(Narrow(Widen(strBytes)), strBytes) << i;
        }
    }
}

TEST(Narrow, ReplacesALoneSurrogate) {
    EXPECT_EQ(Narrow(Text{u'a', 0xD83D, u'z'}), "a\xEF\xBF\xBDz");
    EXPECT_EQ(Narrow(Text{0xDC00}), "\xEF\xBF\xBD");
    EXPECT_EQ(Narrow(Text(15, u'x') + char16_t{0xD83D} + u'z'), std::string(15, 'x') + "\xEF\xBF\xBDz");
}

TEST(Utf16Bytes, AreLittleEndianWithoutAMark) {
    EXPECT_EQ(ToUtf16Bytes(u"A\u53F0"), std::string("A\0\xF0\x53", 4));
    EXPECT_EQ(FromUtf16Bytes(std::string_view("A\0\xF0\x53", 4)), u"A\u53F0");
}

TEST(Utf16Bytes, DropATrailingOddByte) {
    EXPECT_EQ(FromUtf16Bytes(std::string_view("A\0B", 3)), u"A");
    EXPECT_EQ(FromUtf16Bytes("A"), u"");
}

TEST(ReplaceAll, ReplacesFromTheLeftAndCounts) {
    Text strText = u"aaa-b-aaaa";
    EXPECT_EQ(ReplaceAll(strText, u"aa", u"x"), 3U);
    EXPECT_EQ(strText, u"xa-b-xx");
}

TEST(ReplaceAll, DoesNotLookIntoWhatItPutIn) {
    Text strText = u"a";
    EXPECT_EQ(ReplaceAll(strText, u"a", u"aa"), 1U);
    EXPECT_EQ(strText, u"aa");
}

TEST(ReplaceAll, LeavesTheTextWithoutAnythingToFind) {
    Text strText = u"abc";
    EXPECT_EQ(ReplaceAll(strText, u"", u"x"), 0U);
    EXPECT_EQ(ReplaceAll(strText, u"d", u"x"), 0U);
    EXPECT_EQ(strText, u"abc");
}

TEST(RemoveAll, TakesOutEveryUnit) {
    Text strText = u":09:30:";
    RemoveAll(strText, u':');
    EXPECT_EQ(strText, u"0930");
}

TEST(Trim, TakesASetOfUnitsFromTheNamedEnds) {
    EXPECT_EQ(TrimLeft(u" ;a; ", u" ;"), u"a; ");
    EXPECT_EQ(TrimRight(u" ;a; ", u" ;"), u" ;a");
    EXPECT_EQ(Trim(u" ;a b; ", u" ;"), u"a b");
}

TEST(Trim, GivesNothingForATextOfNothingElse) {
    EXPECT_EQ(Trim(u";;;", u";"), u"");
    EXPECT_EQ(TrimLeft(u"", u";"), u"");
    EXPECT_EQ(TrimRight(u";", u";"), u"");
}

TEST(CaseMapping, GoesUnitByUnitWithoutALanguage) {
    EXPECT_EQ(ToUpper(u"taipei \u00E9\u0438i"), u"TAIPEI \u00C9\u0418I");
    EXPECT_EQ(ToLower(u"TAIPEI \u00C9\u0418I"), u"taipei \u00E9\u0438i");
    EXPECT_EQ(ToUpper(u"stra\u00DFe"), u"STRA\u00DFE") << "a unit never becomes two";
}

TEST(CaseMapping, LeavesSurrogatesAlone) {
    const Text strText = u"\U00010428";
    EXPECT_EQ(ToUpper(strText), strText);
}

TEST(EqualsNoCase, ComparesWithoutRegardToCase) {
    EXPECT_TRUE(EqualsNoCase(u"LUMIVale", u"lumivalE"));
    EXPECT_TRUE(EqualsNoCase(u"\u00C9", u"\u00E9"));
    EXPECT_TRUE(EqualsNoCase(u"", u""));
    EXPECT_FALSE(EqualsNoCase(u"a", u"ab"));
    EXPECT_FALSE(EqualsNoCase(u"a", u"b"));
}

TEST(Contains, FindsAPartAnywhere) {
    EXPECT_TRUE(Contains(u"QV.F.CME", u".F."));
    EXPECT_TRUE(Contains(u"abc", u""));
    EXPECT_FALSE(Contains(u"abc", u"abcd"));
}

TEST(TextHash, LetsAMapBeAskedWithAView) {
    const std::unordered_map<Text, int, TextHash, std::equal_to<>> map{{u"ES", 1}, {u"NQ", 2}};
    EXPECT_EQ(map.find(TextView(u"NQ.202012").substr(0, 2))->second, 2);
    EXPECT_EQ(map.find(TextView(u"YM")), map.end());
}

}  // namespace
}  // namespace qvant
