#include <gtest/gtest.h>

#include "net/latency_test.h"

namespace qvant::test {
namespace {

struct RankingRow {
    const char* pszName;
    std::map<Text, std::int32_t> mapLatency;
    std::vector<Text> arRanked;
};

class ServerRanking : public ::testing::TestWithParam<RankingRow> {};

TEST_P(ServerRanking, PutsTheFastestFirst) { EXPECT_EQ(RankServers(GetParam().mapLatency), GetParam().arRanked); }

INSTANTIATE_TEST_SUITE_P(
    Table, ServerRanking,
    ::testing::Values(
        RankingRow{"NoServer", {}, {}},
        RankingRow{"HandicapIncluded", {{u"a", 120}, {u"b", 100 + 50}, {u"c", 40 + 100}}, {u"a", u"c", u"b"}},
        RankingRow{"EqualOnesKeepTheirOrder", {{u"a", 7}, {u"b", 7}, {u"c", 3}, {u"d", 7}}, {u"c", u"a", u"b", u"d"}},
        RankingRow{"OneThatFailedComesFirst", {{u"a", LATENCY_FAILED}, {u"b", 9998}}, {u"b", u"a"}},
        RankingRow{"FailedAndUnreportedAreNotToldApart",
                   {{u"a", LATENCY_UNREPORTED}, {u"b", LATENCY_FAILED}, {u"c", 10}, {u"d", LATENCY_UNREPORTED}},
                   {u"c", u"a", u"b", u"d"}},
        RankingRow{"AHandicapThatLeadsPastTheFailedOnes",
                   {{u"a", LATENCY_FAILED}, {u"b", 9990 + 50}, {u"c", 9998}},
                   {u"c", u"a", u"b"}},
        RankingRow{"AllFailed", {{u"a", LATENCY_FAILED}, {u"b", LATENCY_FAILED}}, {u"a", u"b"}},
        RankingRow{"BelowZero", {{u"a", 0}, {u"b", -86'399'000}, {u"c", -86'399'900}}, {u"c", u"b", u"a"}}),
    [](const auto& row) { return row.param.pszName; });

}  // namespace
}  // namespace qvant::test
