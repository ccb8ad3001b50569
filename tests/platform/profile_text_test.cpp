#include "platform/profile_text.h"

#include <gtest/gtest.h>

namespace qvant::platform {
namespace {

std::string SetIn(std::string_view strBytes, TextView strSection, TextView strKey, TextView strValue) {
    CProfileText text = CProfileText::Parse(strBytes);
    text.Set(strSection, strKey, strValue);
    return text.GetBytes();
}

TEST(CProfileText, KeepsEveryByteOfAFileThatIsNotChanged) {
    const std::string_view arFiles[] = {"[A]\nk=v\n", "\xEF\xBB\xBF[A]\r\nk=\xE5\x8F\xB0",
                                        std::string_view("\xFF\xFE[\0A\0]\0", 8), "\xB4\xFA\xC1\xCD"};
    for (const std::string_view strBytes : arFiles) EXPECT_EQ(CProfileText::Parse(strBytes).GetBytes(), strBytes);
}

TEST(CProfileText, MakesANewFileOfWideTextWithItsMark) {
    EXPECT_EQ(SetIn("", u"A", u"k", u"v"), "\xFF\xFE" + ToUtf16Bytes(u"[A]\r\nk=v\r\n"));
}

TEST(CProfileText, KeepsTheEncodingAndTheLineEnds) {
    EXPECT_EQ(SetIn("[A]\nk=1\n", u"A", u"n", u"\u53F0"), "[A]\nk=1\nn=\xE5\x8F\xB0\n");
    EXPECT_EQ(SetIn("\xEF\xBB\xBF[A]\r\n", u"A", u"k", u"v"), "\xEF\xBB\xBF[A]\r\nk=v\r\n");
    EXPECT_EQ(SetIn("\xFF\xFE" + ToUtf16Bytes(u"[A]\n"), u"A", u"k", u"v"), "\xFF\xFE" + ToUtf16Bytes(u"[A]\nk=v\n"));
    EXPECT_EQ(SetIn("[A]\rk=1\r", u"A", u"n", u"2"), "[A]\rk=1\rn=2\r");
}

TEST(CProfileText, ChangesTheValueAndNothingElse) {
    EXPECT_EQ(SetIn("; top\n[A]\n  Key = old \n;Key=no\nx=1\n[B]\nKey=b\n", u"a", u"KEY", u"new"),
              "; top\n[A]\n  Key =new\n;Key=no\nx=1\n[B]\nKey=b\n");
}

TEST(CProfileText, PutsANewKeyBehindTheLastOfItsSection) {
    EXPECT_EQ(SetIn("[A]\nk=1\n\n[B]\nk=2\n", u"A", u"n", u"3"), "[A]\nk=1\nn=3\n\n[B]\nk=2\n");
    EXPECT_EQ(SetIn("[A]\n[B]\n", u"A", u"n", u"3"), "[A]\nn=3\n[B]\n");
}

TEST(CProfileText, EndsTheLastLineBeforeItAddsOne) {
    EXPECT_EQ(SetIn("[A]\nk=1", u"A", u"n", u"2"), "[A]\nk=1\nn=2\n");
    EXPECT_EQ(SetIn("[A]", u"B", u"k", u"v"), "[A]\r\n[B]\r\nk=v\r\n");
}

TEST(CProfileText, ReadsTheFirstOfSeveralSectionsAndKeys) {
    const CProfileText text = CProfileText::Parse("[A]\nk=1\nk=2\n[A]\nk=3\nx=4\n");
    EXPECT_EQ(text.Find(u"A", u"k"), u"1");
    EXPECT_EQ(text.Find(u"A", u"x"), std::nullopt);
}

TEST(CProfileText, KeepsBytesThatAreNotUtf8WhenItWrites) {
    // A file in an old code page: its values read as broken text, but a write to another key must not break them.
    const std::string strOld = "[A]\nname=\xB4\xFA\xC1\xCD\n";
    EXPECT_EQ(SetIn(strOld, u"A", u"k", u"v"), strOld + "k=v\n");
}

TEST(CProfileText, FindsNamesBeyondAscii) {
    const CProfileText text = CProfileText::Parse("[\xC3\xA9T\xC3\x89]\nk\xC3\xA9y=v\n");
    EXPECT_EQ(text.Find(u"\u00C9t\u00E9", u"K\u00C9Y"), u"v");
}

TEST(CProfileText, LetsASectionHaveBracketsInItsName) {
    CProfileText text;
    text.Set(u"HKCR\\CLSID\\{x[0]}", u"@", u"v");
    EXPECT_EQ(CProfileText::Parse(text.GetBytes()).Find(u"HKCR\\CLSID\\{x[0]}", u"@"), u"v");
}

TEST(CProfileText, RemovesSectionsWithAllTheyHold) {
    CProfileText text = CProfileText::Parse("; top\n[A]\nk=1\n; in A\n\n[B]\nk=2\n[A]\nk=3\n");
    text.RemoveSections([](TextView strName) { return strName == u"A"; });
    EXPECT_EQ(text.GetBytes(), "; top\n[B]\nk=2\n");
}

TEST(CProfileText, SurvivesEveryShortLine) {
    const std::string strUnits = "[]=; \"'\r\nk\xFF";
    for (const char a : strUnits) {
        for (const char b : strUnits) {
            for (const char c : strUnits) {
                for (const char d : strUnits) {
                    const std::string strBytes{a, b, c, d};
                    const std::string strChanged = SetIn(strBytes, u"S", u"key", u"v");
                    ASSERT_EQ(CProfileText::Parse(strChanged).Find(u"S", u"key"), u"v") << strBytes;
                }
            }
        }
    }
}

}  // namespace
}  // namespace qvant::platform
