#include "symbols/text_arena.h"

#include <random>

#include <gtest/gtest.h>

namespace qvant {
namespace {

TEST(TextArena, KeepsTextsWhereTheyAre) {
    CTextArena arena;
    std::vector<std::pair<Text, CStoredText>> arTexts;
    std::minstd_rand random(7);
    for (int i = 0; i < 20'000; ++i) {
        const Text strText(random() % 60, static_cast<char16_t>(u'a' + i % 26));
        arTexts.emplace_back(strText, arena.Add(strText));
    }
    const TextView strFirst = arTexts.front().second.Get();
    for (const auto& [strText, stored] : arTexts) ASSERT_EQ(stored.Get(), strText);
    EXPECT_EQ(arTexts.front().second.Get().data(), strFirst.data());
}

TEST(TextArena, TellsAnEmptyTextFromNone) {
    CTextArena arena;
    EXPECT_TRUE(arena.Add(u""));
    EXPECT_EQ(arena.Add(u"").Get(), u"");
    EXPECT_FALSE(CStoredText());
    EXPECT_EQ(CStoredText().Get(), u"");
}

TEST(TextArena, TakesATextThatIsLongerThanAnyBlock) {
    CTextArena arena;
    const CStoredText before = arena.Add(u"before");
    const Text strLong(3'000'000, u'x');
    const CStoredText text = arena.Add(strLong);
    const CStoredText after = arena.Add(u"after");
    EXPECT_EQ(before.Get(), u"before");
    EXPECT_EQ(text.Get(), strLong);
    EXPECT_EQ(after.Get(), u"after");
}

TEST(TextArena, TakesItsOwnTexts) {
    CTextArena arena;
    CStoredText text = arena.Add(u"abc");
    for (int i = 0; i < 5'000; ++i) text = arena.Add(text.Get());
    EXPECT_EQ(text.Get(), u"abc");
}

TEST(TextArena, UsesItsMemoryAgainAfterClear) {
    CTextArena arena;
    std::vector<const char16_t*> arPlaces;
    for (int nPass = 0; nPass < 3; ++nPass) {
        for (std::size_t i = 0; i < 3'000; ++i) {
            const CStoredText text = arena.Add(Text(i % 50, static_cast<char16_t>(u'0' + nPass)));
            if (nPass == 0) arPlaces.push_back(text.Get().data());
            ASSERT_EQ(text.Get().data(), arPlaces[i]);
            ASSERT_EQ(text.Get(), Text(i % 50, static_cast<char16_t>(u'0' + nPass)));
        }
        arena.Clear();
    }
}

TEST(TextArena, LetsGoOfWhatWasAddedBehindAText) {
    CTextArena arena;
    std::vector<CStoredText> arTexts;
    for (std::size_t i = 0; i < 3'000; ++i) arTexts.push_back(arena.Add(Text(i % 7, u'x')));
    // Empty ones and full ones, in the first block and in later ones.
    for (const std::size_t nKept : {2'500u, 1'401u, 1'400u, 8u, 7u, 0u}) {
        arena.CutBehind(arTexts[nKept]);
        EXPECT_EQ(arena.Add(arTexts[nKept + 1].Get()).Get().data(), arTexts[nKept + 1].Get().data()) << nKept;
        EXPECT_EQ(arTexts[nKept].Get(), Text(nKept % 7, u'x'));
    }
}

}  // namespace
}  // namespace qvant
