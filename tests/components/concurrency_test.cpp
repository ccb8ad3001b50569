#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "components/store_client.h"

namespace qvant {
namespace {

using namespace test;

/// Two values that are always written together, and a reader's view of them through one version.
TEST(StoreConcurrency, ShowsAReaderAllOfACommitOrNothing) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"a", u"0"}, {u"b", u"0"}});
    std::atomic<bool> bStop{false};
    std::jthread writer([&] {
        const auto pWriter = OpenAgain(*pTable);
        for (int i = 1; !bStop; ++i) {
            const Text strNumber = Widen(std::to_string(i));
            CTransaction transaction(*pWriter);
            transaction.Clear(store::MASK_ALL);
            transaction.SetValue(u"a", strNumber);
            transaction.SetRow(0, strNumber);
            transaction.SetValue(u"b", strNumber);
            transaction.Commit();
        }
    });
    std::vector<std::jthread> arReaders;
    std::atomic<int> nHalf{0};
    for (int i = 0; i < 2; ++i) {
        arReaders.emplace_back([&] {
            const auto pReader = OpenAgain(*pTable);
            for (int k = 0; k < 3000; ++k) {
                const auto pContent = Content::Of(*pReader);
                const auto& values = pContent->mapValues;
                if (values.size() != 2 || values.at(u"a") != values.at(u"b")) ++nHalf;
                if (values.at(u"a") != u"0" && pContent->arRows != std::vector<Text>{values.at(u"a")}) ++nHalf;
            }
        });
    }
    arReaders.clear();
    bStop = true;
    EXPECT_EQ(nHalf, 0);
}

TEST(StoreConcurrency, NeverGoesBackForAReader) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"n", u"0"}});
    constexpr int COMMITS = 3000;
    std::jthread writer([&] {
        const auto pWriter = OpenAgain(*pTable);
        for (int i = 1; i <= COMMITS; ++i) Write(*pWriter, {{u"n", Widen(std::to_string(i))}});
    });
    for (std::int32_t nLast = 0; nLast < COMMITS;) {
        const std::int32_t nNow = pTable->GetNumber(u"n", -1);
        ASSERT_GE(nNow, nLast);
        nLast = nNow;
    }
}

TEST(StoreConcurrency, LosesNoCommitOfManyWriters) {
    const auto pTable = NewTable();
    constexpr int COMMITS = 500;
    {
        std::vector<std::jthread> arWriters;
        for (const TextView strWriter : {u"a", u"b", u"c", u"d"}) {
            arWriters.emplace_back([&, strWriter] {
                const auto pWriter = OpenAgain(*pTable);
                for (int i = 0; i < COMMITS; ++i) Write(*pWriter, {{Text(strWriter) + Widen(std::to_string(i)), u""}});
            });
        }
    }
    EXPECT_EQ(Content::Of(*pTable)->mapValues.size(), 4u * COMMITS);
}

/// A hundred thousand reads of one version, so that the count of its readers has to be carried over.
TEST(StoreConcurrency, CountsMoreReadersThanOneWordHolds) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"k", u"v"}});
    const auto read = [&] {
        for (int i = 0; i < 100'000; ++i) ASSERT_EQ(pTable->GetString(u"k"), u"v");
    };
    {
        std::jthread first(read);
        std::jthread second(read);
    }
    Write(*pTable, {{u"k", u"w"}});
    EXPECT_EQ(pTable->GetString(u"k"), u"w");
}

TEST(StoreConcurrency, TakesTablesAwayWhileOthersReadThem) {
    const auto pParent = NewTable();
    std::atomic<bool> bStop{false};
    std::jthread writer([&] {
        const auto pWriter = OpenAgain(*pParent);
        while (!bStop) {
            const auto pChild = NewTable();
            Write(*pChild, {{u"k", u"v"}});
            Attach(*pWriter, u"t", *pChild);
            Clear(*pWriter, store::MASK_TABLES);
        }
    });
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    int nFound = 0;
    while (nFound < 100 && std::chrono::steady_clock::now() < deadline) {
        const auto pChild = pParent->GetSubTable(u"t", nullptr);
        if (!pChild) continue;
        ++nFound;
        EXPECT_EQ(pChild->GetString(u"k"), u"v");
    }
    bStop = true;
    EXPECT_EQ(nFound, 100);
}

}  // namespace
}  // namespace qvant
