#include "net/roll_servers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qvant {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using List = CRollServers::List;

TEST(RollServers, AListIsSplitAndEmptyItemsVanish) {
    CRollServers servers;
    servers.Append(List::Expire, u"|http://a/?||http://b/?|");
    EXPECT_THAT(servers.Get(List::Expire), ElementsAre(u"http://a/?", u"http://b/?"));
    EXPECT_THAT(servers.Get(List::HotChange), IsEmpty());
    EXPECT_THAT(servers.Get(List::History), IsEmpty());
}

TEST(RollServers, AppendingTheSameListAgainKeepsEveryUrlTwice) {
    CRollServers servers;
    servers.Append(List::History, u"a|b");
    servers.Append(List::History, u"a|b");
    EXPECT_THAT(servers.Get(List::History), ElementsAre(u"a", u"b", u"a", u"b"));
}

}  // namespace
}  // namespace qvant
