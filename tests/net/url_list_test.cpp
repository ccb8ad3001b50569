#include "net/url_list.h"

#include <vector>

#include <gtest/gtest.h>

#include "base/split.h"
#include "platform/stop.h"

namespace qvant::test {
namespace {

struct Asked {
    std::vector<Text> arUrls;
    std::optional<std::size_t> nAccepted;
};

// The URLs that are asked when only the one named is accepted.
Asked Ask(TextView strUrls, TextView strAccepted, std::size_t nStart = 0) {
    Asked asked;
    asked.nAccepted = AskInTurn(
        SplitTokens(strUrls, u"|"),
        [&](const Text& strUrl) {
            asked.arUrls.push_back(strUrl);
            return strUrl == strAccepted;
        },
        nStart);
    return asked;
}

TEST(UrlList, AsksInOrderAndEndsAtTheFirstThatIsAccepted) {
    const Asked asked = Ask(u"a|b|c", u"b");
    EXPECT_EQ(asked.arUrls, (std::vector<Text>{u"a", u"b"}));
    EXPECT_EQ(asked.nAccepted, 1u);
}

TEST(UrlList, AsksEachOnceWhenNoneIsAccepted) {
    const Asked asked = Ask(u"a|b|c", u"");
    EXPECT_EQ(asked.arUrls, (std::vector<Text>{u"a", u"b", u"c"}));
    EXPECT_EQ(asked.nAccepted, std::nullopt);
}

TEST(UrlList, StartsWhereItIsToldAndWraps) {
    const Asked asked = Ask(u"a|b|c", u"b", 2);
    EXPECT_EQ(asked.arUrls, (std::vector<Text>{u"c", u"a", u"b"}));
    EXPECT_EQ(asked.nAccepted, 1u);
}

TEST(UrlList, StartsAtTheFirstWhenTheListHasBecomeShorter) {
    EXPECT_EQ(Ask(u"a|b", u"", 2).arUrls, (std::vector<Text>{u"a", u"b"}));
}

TEST(UrlList, AsksNobodyOfAnEmptyList) {
    const Asked asked = Ask(u"", u"");
    EXPECT_TRUE(asked.arUrls.empty());
    EXPECT_EQ(asked.nAccepted, std::nullopt);
}

TEST(UrlList, AsksNobodyElseAfterAStop) {
    std::stop_source stop;
    const platform::CStopScope scope(stop.get_token());
    std::size_t nAsked = 0;
    const std::vector<Text> arUrls{u"a", u"b", u"c"};
    const auto nAccepted = AskInTurn(arUrls, [&](const Text&) {
        ++nAsked;
        stop.request_stop();
        return false;
    });
    EXPECT_EQ(nAccepted, std::nullopt);
    EXPECT_EQ(nAsked, 1u);
}

}  // namespace
}  // namespace qvant::test
