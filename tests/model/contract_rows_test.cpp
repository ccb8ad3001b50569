#include "model/contract_rows.h"

#include <gmock/gmock.h>

namespace qvant {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ContractRows, AreMadeOfTheirSymbolAndWhatTheLeafShares) {
    CContractRows rows;
    rows.StartLeaf(u"FUT|", u"#@FUT.ES#@期貨.迷你#@");
    rows.Add(u"QV.F.CME.ES.202012", true);
    rows.Add(u"", false);
    EXPECT_THAT(rows, ElementsAre(u"FUT|QV.F.CME.ES.202012#@QV.F.CME.ES.202012#@FUT.ES#@期貨.迷你#@1",
                                  u"FUT|#@#@FUT.ES#@期貨.迷你#@0"));
    EXPECT_EQ(rows.size(), 2U);
}

TEST(ContractRows, OfEachLeafHaveItsTextsHoweverManyLeavesAreWithoutRows) {
    CContractRows rows;
    rows.StartLeaf(u"none|", u"#@none#@");
    rows.StartLeaf(u"A|", u"#@a#@");
    rows.Add(u"1", true);
    rows.Add(u"2", true);
    rows.StartLeaf(u"none|", u"#@none#@");
    rows.StartLeaf(u"none|", u"#@none#@");
    rows.StartLeaf(u"B|", u"#@b#@");
    rows.Add(u"3", true);
    rows.StartLeaf(u"none|", u"#@none#@");
    EXPECT_THAT(rows, ElementsAre(u"A|1#@1#@a#@1", u"A|2#@2#@a#@1", u"B|3#@3#@b#@1"));
}

TEST(ContractRows, AreGoneAfterClearAndCanBeFilledAgain) {
    CContractRows rows;
    rows.StartLeaf(u"A|", u"#@a#@");
    rows.Add(u"1", true);
    rows.clear();
    EXPECT_THAT(rows, IsEmpty());
    EXPECT_TRUE(rows.begin() == rows.end());
    rows.StartLeaf(u"B|", u"#@b#@");
    rows.Add(u"2", false);
    EXPECT_THAT(rows, ElementsAre(u"B|2#@2#@b#@0"));
}

TEST(ContractRows, StandApartFromTheirCopies) {
    CContractRows rows;
    rows.StartLeaf(u"A|", u"#@a#@");
    rows.Add(u"1", true);
    const CContractRows copy = rows;
    rows = {};
    EXPECT_THAT(rows, IsEmpty());
    EXPECT_THAT(copy, ElementsAre(u"A|1#@1#@a#@1"));
}

}  // namespace
}  // namespace qvant
