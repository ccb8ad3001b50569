#include "symbols/text_map.h"

#include <map>
#include <random>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(TextMap, KeepsTheOrderOfFirstInsertion) {
    CTextMap map;
    map.insert_or_assign(u"b", u"1");
    map.insert_or_assign(u"a", u"2");
    map.insert_or_assign(u"b", u"3");
    EXPECT_THAT(map, ElementsAre(Pair(u"b", u"3"), Pair(u"a", u"2")));
}

TEST(TextMap, FindsWhatItHolds) {
    const CTextMap map = {{u"a", u"1"}, {u"", u"2"}};
    EXPECT_EQ(map.at(u"a"), u"1");
    EXPECT_EQ(map.find(u"")->second, u"2");
    EXPECT_TRUE(map.contains(u"a"));
    EXPECT_EQ(map.count(u"b"), 0u);
    EXPECT_EQ(map.find(u"b"), map.end());
    EXPECT_THROW(map.at(u"b"), std::out_of_range);
    EXPECT_EQ(CTextMap().find(u"a"), CTextMap().end());
}

TEST(TextMap, EntersAnEmptyTextForAKeyThatIsNotThere) {
    CTextMap map;
    EXPECT_EQ(map[u"a"], u"");
    map[u"a"] = u"1";
    EXPECT_THAT(map, ElementsAre(Pair(u"a", u"1")));
}

TEST(TextMap, HoldsManyEntries) {
    CTextMap map;
    for (int i = 0; i < 10000; ++i) map.insert_or_assign(Format(u"key %d", i), Format(u"value %d", i));
    ASSERT_EQ(map.size(), 10000u);
    for (int i = 0; i < 10000; ++i) ASSERT_EQ(map.at(Format(u"key %d", i)), Format(u"value %d", i));
    EXPECT_FALSE(map.contains(u"key 10000"));
}

TEST(TextMap, TakesKeysInTheirOldOrderOrInAnyOther) {
    CTextMap map = {{u"a", u"1"}, {u"b", u"2"}, {u"c", u"3"}};
    for (const TextView strKeys : {u"abc", u"cba", u"acb", u"bbb"}) {
        for (const char16_t ch : strKeys) map[TextView(&ch, 1)].push_back(u'x');
    }
    EXPECT_THAT(map, ElementsAre(Pair(u"a", u"1xxx"), Pair(u"b", u"2xxxxxx"), Pair(u"c", u"3xxx")));
}

TEST(TextMap, ForgetsEverythingWhenCleared) {
    CTextMap map = {{u"a", u"1"}, {u"b", u"2"}};
    map.clear();
    EXPECT_TRUE(map.empty());
    EXPECT_FALSE(map.contains(u"a"));
    EXPECT_EQ(map[u"b"], u"");
    EXPECT_THAT(map, ElementsAre(Pair(u"b", u"")));
}

TEST(TextMap, PutsItsLastEntryInThePlaceOfOneThatGoes) {
    CTextMap map = {{u"a", u"1"}, {u"b", u"2"}, {u"c", u"3"}};
    EXPECT_EQ(map.erase(u"a"), 1U);
    EXPECT_EQ(map.erase(u"a"), 0U);
    EXPECT_THAT(map, ElementsAre(Pair(u"c", u"3"), Pair(u"b", u"2")));
    EXPECT_EQ(map.erase(u"b"), 1U);
    map[u"a"] = u"4";
    EXPECT_THAT(map, ElementsAre(Pair(u"c", u"3"), Pair(u"a", u"4")));
    EXPECT_EQ(CTextMap().erase(u"a"), 0U);
}

TEST(TextMap, FindsEveryOtherEntryAfterAnyOneWent) {
    std::mt19937 random(5);
    CTextMap map;
    std::map<Text, Text> mapExpected;
    for (int i = 0; i < 20'000; ++i) {
        const Text strKey = Format(u"key %d", random() % 300);
        if (random() % 2) {
            EXPECT_EQ(map.erase(strKey), mapExpected.erase(strKey));
        } else {
            map[strKey] = mapExpected[strKey] = Format(u"%d", i);
        }
        ASSERT_EQ(map.size(), mapExpected.size());
        const auto pFound = map.find(strKey);
        ASSERT_EQ(pFound != map.end(), mapExpected.contains(strKey));
        if (i % 500 != 0) continue;
        for (const auto& [strEach, strValue] : mapExpected) ASSERT_EQ(map.at(strEach), strValue);
    }
}

TEST(TextMap, KeepsItsEntriesWhenRoomIsMade) {
    CTextMap map = {{u"a", u"1"}, {u"b", u"2"}};
    for (const std::size_t nEntries : {0U, 1U, 100U, 10U}) {
        map.reserve(nEntries);
        EXPECT_THAT(map, ElementsAre(Pair(u"a", u"1"), Pair(u"b", u"2")));
        EXPECT_EQ(map.at(u"b"), u"2");
    }
    const CTextMap::iterator pFirst = map.begin();
    for (int i = 2; i < 100; ++i) map.insert_or_assign(Format(u"key %d", i), TextView(u"x"));
    EXPECT_EQ(map.begin(), pFirst);
}

TEST(TextMap, EqualsOneWithTheSameEntriesInAnyOrder) {
    const CTextMap map = {{u"a", u"1"}, {u"b", u"2"}};
    EXPECT_EQ(map, (CTextMap{{u"b", u"2"}, {u"a", u"1"}}));
    EXPECT_FALSE(map == (CTextMap{{u"a", u"1"}}));
    EXPECT_FALSE(map == (CTextMap{{u"a", u"1"}, {u"b", u"3"}}));
    EXPECT_FALSE(map == (CTextMap{{u"a", u"1"}, {u"c", u"2"}}));
}

}  // namespace
}  // namespace qvant
