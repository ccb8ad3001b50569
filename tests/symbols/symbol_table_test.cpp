#include "symbols/symbol_table.h"

#include <map>
#include <random>
#include <stdexcept>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/format.h"

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Row = CSymbolTable::Row;

class SymbolTable : public testing::Test {
protected:
    std::vector<Text> Symbols() const {
        std::vector<Text> arSymbols;
        for (Row row = 0; row < m_table.GetSize(); ++row) arSymbols.emplace_back(m_table.GetSymbol(row));
        return arSymbols;
    }
    void Enter(std::initializer_list<TextView> arSymbols) {
        for (const TextView strSymbol : arSymbols) m_table.Enter(strSymbol);
    }

    CSymbolTable m_table;
    CSymbolColumn m_names{m_table, 0};
    CSymbolColumn m_dates{m_table, CSymbolTable::COLUMNS - 1};
};

TEST_F(SymbolTable, HoldsEachSymbolOnceInTheOrderOfEntry) {
    EXPECT_EQ(m_table.Enter(u"b"), 0U);
    EXPECT_EQ(m_table.Enter(u"a"), 1U);
    EXPECT_EQ(m_table.Enter(u"b"), 0U);
    EXPECT_EQ(m_table.Enter(u""), 2U);
    EXPECT_THAT(Symbols(), ElementsAre(u"b", u"a", u""));
    EXPECT_EQ(m_table.Find(u"a"), 1U);
    EXPECT_EQ(m_table.Find(u""), 2U);
    EXPECT_EQ(m_table.Find(u"c"), CSymbolTable::NO_ROW);
}

TEST_F(SymbolTable, FindsNothingWhileItIsEmpty) {
    EXPECT_EQ(m_table.Find(u"a"), CSymbolTable::NO_ROW);
    EXPECT_FALSE(m_names.contains(u"a"));
    EXPECT_THAT(m_names, IsEmpty());
    m_table.Clear();
    EXPECT_EQ(m_table.Find(u""), CSymbolTable::NO_ROW);
}

TEST_F(SymbolTable, ReadsInEachColumnAsAMapOfItsOwn) {
    m_names.insert_or_assign(u"b", u"1");
    m_dates.insert_or_assign(u"c", u"2");
    m_names.insert_or_assign(u"a", u"");
    m_names.insert_or_assign(u"b", u"3");
    EXPECT_THAT(m_names, ElementsAre(Pair(u"b", u"3"), Pair(u"a", u"")));
    EXPECT_THAT(m_dates, ElementsAre(Pair(u"c", u"2")));
    EXPECT_EQ(m_names.size(), 2U);
    EXPECT_FALSE(m_names.empty());
    EXPECT_EQ(m_names.at(u"a"), u"");
    EXPECT_EQ(m_names.find(u"b")->second, u"3");
    EXPECT_EQ(m_names.count(u"a"), 1U);
    EXPECT_EQ(m_names.count(u"c"), 0U) << "its row has no value here";
    EXPECT_EQ(m_names.find(u"c"), m_names.end());
    EXPECT_THROW(m_names.at(u"c"), std::out_of_range);
    EXPECT_THROW(m_names.at(u"d"), std::out_of_range);
}

TEST_F(SymbolTable, TakesAndGivesTheValuesOfARow) {
    const Row row = m_table.Enter(u"a");
    EXPECT_FALSE(m_names.HasValue(row));
    EXPECT_EQ(m_names.GetValue(row), u"");
    m_names.SetValue(row, u"");
    EXPECT_TRUE(m_names.HasValue(row));
    m_names.SetValue(row, u"1");
    EXPECT_EQ(m_names.GetValue(row), u"1");
    EXPECT_EQ(m_names.size(), 1U);
    EXPECT_FALSE(m_names.HasValue(CSymbolTable::NO_ROW));
    EXPECT_EQ(m_names.GetValue(CSymbolTable::NO_ROW), u"");
}

TEST_F(SymbolTable, KeepsTheValuesOfNeighboursApart) {
    for (const TextView strSymbol : {u"a", u"b", u"c"}) m_names.insert_or_assign(strSymbol, u"same");
    m_names.insert_or_assign(u"b", u"other");
    EXPECT_THAT(m_names, ElementsAre(Pair(u"a", u"same"), Pair(u"b", u"other"), Pair(u"c", u"same")));
}

TEST_F(SymbolTable, LeavesTextsWhereTheyAreWhileItGrows) {
    const Row row = m_table.Enter(u"first");
    m_names.SetValue(row, u"one");
    const TextView strSymbol = m_table.GetSymbol(row);
    const TextView strName = m_names.GetValue(row);
    for (int i = 0; i < 10'000; ++i) m_names.insert_or_assign(Format(u"symbol %d", i), Format(u"name %d", i));
    EXPECT_EQ(m_table.GetSymbol(row).data(), strSymbol.data());
    EXPECT_EQ(m_names.GetValue(row).data(), strName.data());
    EXPECT_EQ(strSymbol, u"first");
    EXPECT_EQ(strName, u"one");
}

TEST_F(SymbolTable, HasNothingAfterClear) {
    m_names.insert_or_assign(u"a", u"1");
    m_dates.insert_or_assign(u"a", u"2");
    m_table.Clear();
    EXPECT_EQ(m_table.GetSize(), 0U);
    EXPECT_EQ(m_table.Find(u"a"), CSymbolTable::NO_ROW);
    EXPECT_THAT(m_names, IsEmpty());
    EXPECT_EQ(m_names.begin(), m_names.end());
    m_names.insert_or_assign(u"a", u"3");
    EXPECT_THAT(m_names, ElementsAre(Pair(u"a", u"3")));
    EXPECT_FALSE(m_dates.contains(u"a")) << "the value of the pass before";
}

TEST_F(SymbolTable, ShowsNoSymbolOfThePassBeforeUntilThisOneComesToIt) {
    Enter({u"a", u"b", u"c"});
    m_table.Clear();
    m_table.Enter(u"a");
    EXPECT_EQ(m_table.Find(u"b"), CSymbolTable::NO_ROW);
    EXPECT_THAT(Symbols(), ElementsAre(u"a"));
    EXPECT_EQ(m_table.Enter(u"a"), 0U) << "again, while another is expected";
    Enter({u"b", u"a", u"c"});
    EXPECT_THAT(Symbols(), ElementsAre(u"a", u"b", u"c"));
}

TEST_F(SymbolTable, StandsInTheOrderOfTheLastPassHoweverItDiffersFromTheOneBefore) {
    const std::vector<std::vector<TextView>> arPasses = {{u"a", u"b", u"c", u"d"},
                                                         {u"b", u"a", u"c", u"d"},
                                                         {u"b", u"a", u"new", u"d"},
                                                         {u"b", u"a"},
                                                         {u"b", u"a", u"new"},
                                                         {u"x"},
                                                         {u"d", u"c"}};
    for (const auto& arSymbols : arPasses) {
        m_table.Clear();
        for (const TextView strSymbol : arSymbols) m_names.insert_or_assign(strSymbol, Text(2, strSymbol.front()));
        EXPECT_EQ(Symbols(), std::vector<Text>(arSymbols.begin(), arSymbols.end()));
        for (const TextView strSymbol : arSymbols) EXPECT_EQ(m_names.at(strSymbol), Text(2, strSymbol.front()));
        EXPECT_EQ(m_names.size(), arSymbols.size());
    }
}

TEST_F(SymbolTable, GrowsPastWhatItRemembers) {
    Enter({u"a", u"b"});
    m_table.Clear();
    m_table.Reserve(1'000);
    Enter({u"a", u"b", u"c"});
    m_table.Reserve(10'000);
    EXPECT_EQ(m_table.Find(u"a"), 0U);
    EXPECT_EQ(m_table.Find(u"b"), 1U);
    EXPECT_EQ(m_table.Find(u"c"), 2U);
}

TEST_F(SymbolTable, EntersAPreparedSymbolWhateverCameInBetween) {
    Enter({u"a", u"b"});
    m_table.Clear();
    CSymbolTable::Key key(u"a");
    m_table.Prepare(key);
    m_table.Enter(u"other");
    EXPECT_EQ(m_table.Enter(key), 1U);
    EXPECT_THAT(Symbols(), ElementsAre(u"other", u"a"));
}

TEST_F(SymbolTable, AgreesWithAMapOverManyPasses) {
    std::minstd_rand random(3);
    std::vector<Text> arOrder;
    for (int i = 0; i < 400; ++i) arOrder.push_back(Format(u"QV.F.CME.P%d", i));
    for (int nPass = 0; nPass < 200; ++nPass) {
        std::map<Text, Text> mapExpected;
        m_table.Clear();
        if (nPass % 3 != 0) std::swap(arOrder[random() % 400], arOrder[random() % 400]);
        const std::size_t nCount = nPass % 5 == 0 ? random() % 400 : 400;
        for (std::size_t i = 0; i < nCount; ++i) {
            const Text& strSymbol = arOrder[random() % 10 == 0 ? random() % 400 : i];
            const Text strValue = Format(u"%d", random() % 3);
            mapExpected[strSymbol] = strValue;
            m_names.insert_or_assign(strSymbol, strValue);
        }
        const std::map<Text, Text> mapFound(m_names.begin(), m_names.end());
        ASSERT_EQ(mapFound, mapExpected) << nPass;
        for (const Text& strSymbol : arOrder) ASSERT_EQ(m_names.contains(strSymbol), mapExpected.contains(strSymbol));
    }
}

TEST_F(SymbolTable, IsSearchedInAnyOrder) {
    Enter({u"a", u"b", u"c", u"d"});
    CSymbolFinder finder(m_table);
    for (const TextView strSymbol : {u"a", u"b", u"b", u"d", u"c", u"d", u"d", u"a"}) {
        const Row row = finder.Find(strSymbol);
        ASSERT_NE(row, CSymbolTable::NO_ROW);
        EXPECT_EQ(m_table.GetSymbol(row), strSymbol);
    }
    EXPECT_EQ(finder.Find(u"x"), CSymbolTable::NO_ROW);
    EXPECT_EQ(finder.Find(u"b"), 1U);
    EXPECT_EQ(finder.Find(m_table.GetSymbol(2)), 2U);
    EXPECT_EQ(finder.Find(m_table.GetSymbol(3).substr(0, 0)), CSymbolTable::NO_ROW) << "a part of a symbol at hand";
}

}  // namespace
}  // namespace qvant
