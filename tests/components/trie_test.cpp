#include "trie.h"

#include <map>

#include <gtest/gtest.h>

namespace qvant::store {
namespace {

CEntryRef MakeEntry(std::uint64_t nHash, TextView strKey, std::int32_t nValue) {
    return CEntryRef(CEntry::MakeNumber(nHash, strKey, nValue));
}

std::map<Text, std::int32_t> ContentOf(const CTrie& trie) {
    std::map<Text, std::int32_t> content;
    trie.ForEach([&](const CEntry& entry) { content.emplace(entry.GetKey(), entry.GetNumber()); });
    return content;
}

TEST(Trie, KeepsKeysWithTheSameHashApart) {
    CTrie trie;
    constexpr std::uint64_t HASH = 0xFEDCBA9876543210;
    trie.Put(MakeEntry(HASH, u"a", 1), 1);
    trie.Put(MakeEntry(HASH, u"b", 2), 1);
    trie.Put(MakeEntry(HASH, u"c", 3), 2);
    trie.Put(MakeEntry(HASH, u"b", 4), 3);

    EXPECT_EQ(trie.GetCount(), 3u);
    EXPECT_EQ(trie.Find(HASH, u"b")->GetNumber(), 4);
    EXPECT_EQ(trie.Find(HASH, u"d"), nullptr);
    EXPECT_EQ(ContentOf(trie), (std::map<Text, std::int32_t>{{u"a", 1}, {u"b", 4}, {u"c", 3}}));
}

TEST(Trie, TellsHashesApartThatDifferInTheLastBitsOnly) {
    CTrie trie;
    constexpr std::uint64_t LAST = std::uint64_t{1} << 63;
    trie.Put(MakeEntry(5, u"a", 1), 1);
    trie.Put(MakeEntry(5 | LAST, u"a", 2), 1);
    EXPECT_EQ(trie.Find(5, u"a")->GetNumber(), 1);
    EXPECT_EQ(trie.Find(5 | LAST, u"a")->GetNumber(), 2);
    EXPECT_EQ(trie.Find(5 | (LAST >> 1), u"a"), nullptr);
}

TEST(Trie, LeavesOlderVersionsAsTheyAre) {
    std::vector<CTrie> arVersions(1);
    for (int i = 0; i < 300; ++i) {
        CTrie next = arVersions.back();
        const Text strKey = Widen(std::to_string(i % 200));
        next.Put(MakeEntry(HashKey(strKey), strKey, i), static_cast<std::uint64_t>(i) + 1);
        arVersions.push_back(std::move(next));
    }
    std::map<Text, std::int32_t> expected;
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(ContentOf(arVersions[static_cast<std::size_t>(i)]), expected);
        ASSERT_EQ(arVersions[static_cast<std::size_t>(i)].GetCount(), expected.size());
        expected[Widen(std::to_string(i % 200))] = i;
    }
}

TEST(Trie, EntersManyAsIfOneAfterTheOther) {
    CTrie old;
    for (int i = 0; i < 500; ++i) {
        const Text strKey = Widen(std::to_string(i * 7));
        old.Put(MakeEntry(HashKey(strKey), strKey, -i), 1);
    }
    const auto before = ContentOf(old);
    CTrie single = old;
    CTrie many = old;
    std::vector<CEntryRef> arEntries;
    for (int i = 0; i < 5'000; ++i) {
        // Every key twice, and many that have their hash in common.
        const Text strKey = Widen(std::to_string(i % 2'500));
        const std::uint64_t nHash = i % 5 == 0 ? std::uint64_t{42} : HashKey(strKey);
        single.Put(MakeEntry(nHash, strKey, i), 2);
        arEntries.push_back(MakeEntry(nHash, strKey, i));
    }
    many.PutAll(arEntries, 3);

    const auto listAll = [](const CTrie& trie) {
        std::vector<std::pair<Text, std::int32_t>> arAll;
        trie.ForEach([&](const CEntry& entry) { arAll.emplace_back(entry.GetKey(), entry.GetNumber()); });
        return arAll;
    };
    EXPECT_EQ(listAll(many), listAll(single));
    EXPECT_EQ(many.GetCount(), single.GetCount());
    EXPECT_EQ(ContentOf(old), before);
    EXPECT_TRUE(arEntries.empty());
}

/// Entries of 4,000 keys, numbered by their place, but for those in `mapChanged`.
std::vector<CEntryRef> MakeMany(const std::map<int, std::int32_t>& mapChanged = {}) {
    std::vector<CEntryRef> arEntries;
    for (int i = 0; i < 4'000; ++i) {
        const Text strKey = Widen(std::to_string(i));
        const auto changed = mapChanged.find(i);
        arEntries.push_back(MakeEntry(HashKey(strKey), strKey, changed == mapChanged.end() ? i : changed->second));
    }
    return arEntries;
}

const CEntry* FindKey(const CTrie& trie, TextView strKey) { return trie.Find(HashKey(strKey), strKey); }

TEST(Trie, GoesOnSharingWhatManyEntriesLeaveAsItIs) {
    CTrie old;
    auto arEntries = MakeMany();
    old.PutAll(arEntries, 1);
    for (int i = 0; i < 20; ++i) old.Put(MakeEntry(42, Widen("same" + std::to_string(i)), i), 1);
    CTrie next = old;
    arEntries = MakeMany({{17, -1}, {3'999, -2}});
    for (int i = 0; i < 20; ++i) arEntries.push_back(MakeEntry(42, Widen("same" + std::to_string(i)), i == 7 ? -7 : i));
    // Changed and changed back, and new.
    arEntries.push_back(MakeEntry(HashKey(u"40"), u"40", -3));
    arEntries.push_back(MakeEntry(HashKey(u"40"), u"40", 40));
    arEntries.push_back(MakeEntry(HashKey(u"41"), u"41", -4));
    arEntries.push_back(MakeEntry(HashKey(u"new"), u"new", 5));
    next.PutAll(arEntries, 2);

    auto expected = ContentOf(old);
    expected[u"17"] = -1;
    expected[u"3999"] = -2;
    expected[u"41"] = -4;
    expected[u"new"] = 5;
    expected[u"same7"] = -7;
    EXPECT_EQ(ContentOf(next), expected);
    EXPECT_EQ(next.GetCount(), 4'021u);
    EXPECT_EQ(old.GetCount(), 4'020u);
    EXPECT_EQ(FindKey(old, u"17")->GetNumber(), 17);
    int nShared = 0;
    for (int i = 0; i < 4'000; ++i) {
        const Text strKey = Widen(std::to_string(i));
        nShared += FindKey(old, strKey) == FindKey(next, strKey) ? 1 : 0;
    }
    EXPECT_GT(nShared, 3'900);
}

TEST(Trie, TakesAllOfManyEntriesThatChangeMuch) {
    CTrie old;
    auto arEntries = MakeMany();
    old.PutAll(arEntries, 1);
    CTrie next = old;
    std::map<int, std::int32_t> mapChanged;
    for (int i = 0; i < 4'000; i += 2) mapChanged[i] = -i;
    arEntries = MakeMany(mapChanged);
    next.PutAll(arEntries, 2);
    EXPECT_EQ(FindKey(next, u"2")->GetNumber(), -2);
    EXPECT_EQ(FindKey(next, u"3")->GetNumber(), 3);
    EXPECT_NE(FindKey(next, u"3"), FindKey(old, u"3"));
    EXPECT_EQ(next.GetCount(), 4'000u);
}

TEST(Trie, TellsAValueFromOneThatReadsLikeIt) {
    CTrie old;
    std::vector<CEntryRef> arEntries;
    const auto Fill = [&arEntries](TextView strValue, bool bNumber) {
        for (int i = 0; i < 100; ++i) {
            const Text strKey = Widen(std::to_string(i));
            const std::uint64_t nHash = HashKey(strKey);
            arEntries.emplace_back(bNumber && i == 50 ? CEntry::MakeNumber(nHash, strKey, 7)
                                                      : CEntry::MakeString(nHash, strKey, strValue));
        }
    };
    Fill(u"7", false);
    old.PutAll(arEntries, 1);
    CTrie next = old;
    Fill(u"7", true);
    next.PutAll(arEntries, 2);
    EXPECT_EQ(FindKey(next, u"50")->GetKind(), CEntry::Kind::Number);
    EXPECT_EQ(FindKey(next, u"50")->GetNumber(), 7);
    EXPECT_EQ(FindKey(next, u"51")->GetText(), u"7");
    EXPECT_EQ(FindKey(old, u"50")->GetText(), u"7");
}

TEST(Trie, WalksAVersionAlwaysInTheSameOrder) {
    CTrie trie;
    for (int i = 0; i < 1000; ++i) {
        const Text strKey = Widen(std::to_string(i));
        trie.Put(MakeEntry(HashKey(strKey), strKey, i), 1);
    }
    const auto order = [](const CTrie& version) {
        std::vector<std::int32_t> arNumbers;
        version.ForEach([&](const CEntry& entry) { arNumbers.push_back(entry.GetNumber()); });
        return arNumbers;
    };
    const CTrie copy = trie;
    EXPECT_EQ(order(copy), order(trie));
    EXPECT_EQ(order(trie).size(), 1000u);
}

}  // namespace
}  // namespace qvant::store
