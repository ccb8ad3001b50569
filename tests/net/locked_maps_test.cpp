#include "base/locked_maps.h"

#include <gtest/gtest.h>

namespace qvant::test {
namespace {

TEST(LockedMaps, KeepTheLastValueOfAKey) {
    CLumMapStringToVal map;
    map.SetAt(u"a", 1);
    map.SetAt(u"b", 2);
    map.SetAt(u"a", 3);
    std::int32_t nValue = 0;
    EXPECT_TRUE(map.Lookup(u"a", nValue));
    EXPECT_EQ(nValue, 3);
    EXPECT_EQ(map.GetCount(), 2u);
}

TEST(LockedMaps, LeaveTheValueOfAnAbsentKeyAlone) {
    CLumMapStringToString map;
    Text strValue = u"before";
    EXPECT_FALSE(map.Lookup(u"a", strValue));
    EXPECT_EQ(strValue, u"before");
}

TEST(LockedMaps, AreWalkedEntryByEntryUnderOneLock) {
    CLumMapStringToString map;
    map.SetAt(u"a", u"1");
    map.SetAt(u"b", u"2");
    Text strWalked, strKey, strValue;
    map.Lock();
    for (CLumMapStringToString::Position position = 0; map.GetNextAssoc(position, strKey, strValue);) {
        strWalked += strKey + strValue;
    }
    map.RemoveAll();
    map.Unlock();
    EXPECT_EQ(strWalked, u"a1b2");
    EXPECT_EQ(map.GetCount(), 0u);
}

TEST(LockedMaps, LoseTheKeyThatIsRemovedAndNoOther) {
    CLumMapStringToVal map;
    for (std::int32_t i = 0; i < 4; ++i) map.SetAt(Text(1, static_cast<char16_t>(u'a' + i)), i);
    for (const TextView strKey : {u"b", u"d", u"b", u"x"}) map.RemoveKey(strKey);
    EXPECT_EQ(map.GetCount(), 2u);
    std::int32_t nValue = -1;
    EXPECT_FALSE(map.Lookup(u"b", nValue));
    EXPECT_FALSE(map.Lookup(u"d", nValue));
    EXPECT_TRUE(map.Lookup(u"a", nValue));
    EXPECT_EQ(nValue, 0);
    map.SetAt(u"c", 7);
    EXPECT_TRUE(map.Lookup(u"c", nValue));
    EXPECT_EQ(nValue, 7);
    map.SetAt(u"b", 8);
    EXPECT_EQ(map.GetCount(), 3u);
}

TEST(LockedMaps, KeepOtherThreadsOutOfAWalk) {
    CLumMapStringToVal map;
    map.Lock();
    std::thread writer([&] { map.SetAt(u"a", 1); });
    EXPECT_EQ(map.GetCount(), 0u);
    map.SetAt(u"b", 2);
    EXPECT_EQ(map.GetCount(), 1u);
    map.Unlock();
    writer.join();
    EXPECT_EQ(map.GetCount(), 2u);
}

TEST(LockedMaps, TakeEntriesFromManyThreads) {
    CLumMapStringToVal map;
    std::vector<std::thread> arThreads;
    for (int i = 0; i < 8; ++i) {
        arThreads.emplace_back([&map, i] {
            for (int k = 0; k < 500; ++k) map.SetAt(Text(1, static_cast<char16_t>(u'a' + k % 50)), i);
        });
    }
    for (std::thread& thread : arThreads) thread.join();
    EXPECT_EQ(map.GetCount(), 50u);
}

}  // namespace
}  // namespace qvant::test
