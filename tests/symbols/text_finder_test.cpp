#include "symbols/text_finder.h"

#include <gtest/gtest.h>

namespace qvant {
namespace {

TEST(TextFinder, FindsTheKeysOfAMapInAnyOrder) {
    const CTextMap map{{u"a", u"1"}, {u"b", u"2"}, {u"c", u"3"}, {u"d", u""}};
    for (const TextView strOrder : {u"abcd", u"dcba", u"aabbbccdd", u"acbda", u"ddaa", u"c"}) {
        CTextFinder finder(map);
        for (const char16_t ch : strOrder) {
            const Text* const pText = finder.Find(TextView(&ch, 1));
            ASSERT_TRUE(pText);
            EXPECT_EQ(*pText, map.at(TextView(&ch, 1)));
        }
    }
}

TEST(TextFinder, FindsNothingForAKeyThatIsntThereAndTheOthersBehindIt) {
    const CTextMap map{{u"a", u"1"}, {u"b", u"2"}};
    CTextFinder finder(map);
    EXPECT_FALSE(finder.Find(u"x"));
    EXPECT_EQ(finder.GetText(u"a"), u"1");
    EXPECT_EQ(finder.GetText(u"x"), u"");
    EXPECT_EQ(finder.GetText(u"b"), u"2");
    EXPECT_FALSE(finder.Find(u""));
    EXPECT_EQ(finder.GetText(u"a"), u"1");
}

TEST(TextFinder, FindsNothingInAnEmptyMap) {
    CTextMap map;
    EXPECT_FALSE(CTextFinder(map).Find(u""));
    map[u"a"] = u"1";
    map.clear();  // keeps the entries' memory
    CTextFinder finder(map);
    EXPECT_FALSE(finder.Find(u"a"));
    EXPECT_FALSE(finder.Find(u""));
}

}  // namespace
}  // namespace qvant
