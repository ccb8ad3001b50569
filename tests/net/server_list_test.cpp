#include "net/server_list.h"

#include <thread>

#include <gtest/gtest.h>

#include "base/failure.h"

namespace qvant::test {
namespace {

std::function<unsigned()> Random(unsigned nValue) {
    return [nValue] { return nValue; };
}

// The servers that a walk asks, when it accepts only the one named.
std::vector<Text> Walk(CServerList& list, TextView strAccepted) {
    std::vector<Text> arAsked;
    list.Walk([&](const Text& strServer) {
        arAsked.push_back(strServer);
        return strServer == strAccepted;
    });
    return arAsked;
}

TEST(ServerList, RotatesItsServersByTheRandomNumber) {
    CServerList list;
    list.Assign(u"a|b|c", Random(1));
    EXPECT_EQ(list.GetServer(), u"b");
    EXPECT_EQ(Walk(list, u""), (std::vector<Text>{u"b", u"c", u"a"}));
    list.Assign(u"a|b|c", Random(5));
    EXPECT_EQ(list.GetServer(), u"c");
}

TEST(ServerList, AsksNoRandomNumberForASingleServer) {
    CServerList list;
    list.Assign(u"a", []() -> unsigned { throw std::logic_error("asked"); });
    EXPECT_EQ(list.GetServer(), u"a");
    EXPECT_EQ(list.GetCount(), 1u);
}

TEST(ServerList, LeavesEmptyPiecesOut) {
    CServerList list;
    list.Assign(u"|a||b|", Random(0));
    EXPECT_EQ(Walk(list, u""), (std::vector<Text>{u"a", u"b"}));
}

TEST(ServerList, RefusesAListOfSeparators) {
    CServerList list;
    try {
        list.Assign(u"||", Random(0));
        FAIL() << "no failure";
    } catch (const CFailure& failure) {
        EXPECT_EQ(failure.GetCode(), static_cast<std::int32_t>(CFailure::INVALID_ARGUMENT));
    }
    EXPECT_EQ(list.GetCount(), 0u);
}

TEST(ServerList, WalksFromTheServerThatAnsweredLast) {
    CServerList list;
    list.Assign(u"a|b|c", Random(0));
    EXPECT_EQ(Walk(list, u"c"), (std::vector<Text>{u"a", u"b", u"c"}));
    EXPECT_EQ(list.GetIndex(), 2u);
    EXPECT_EQ(Walk(list, u"b"), (std::vector<Text>{u"c", u"a", u"b"}));
    EXPECT_EQ(list.GetIndex(), 1u);
    EXPECT_EQ(list.GetServer(), u"b");
}

TEST(ServerList, AsksNobodyBehindTheServerThatAnswered) {
    CServerList list;
    list.Assign(u"a|b", Random(0));
    EXPECT_EQ(Walk(list, u"a"), (std::vector<Text>{u"a"}));
}

TEST(ServerList, KeepsItsPlaceWhenNobodyAnswers) {
    CServerList list;
    list.Assign(u"a|b|c", Random(0));
    Walk(list, u"b");
    EXPECT_FALSE(list.Walk([](const Text&) { return false; }));
    EXPECT_EQ(list.GetIndex(), 1u);
    EXPECT_EQ(list.GetServer(), u"a");
}

TEST(ServerList, AsksNobodyWithoutServers) {
    CServerList list;
    EXPECT_FALSE(list.Walk([](const Text&) { return true; }));
    EXPECT_EQ(list.GetCount(), 0u);
}

TEST(ServerList, StartsANewListAtItsHead) {
    CServerList list;
    list.Assign(u"a|b|c", Random(0));
    Walk(list, u"c");
    list.Assign(u"d|e", Random(0));
    EXPECT_EQ(list.GetIndex(), 0u);
    EXPECT_EQ(list.GetServer(), u"d");
}

TEST(ServerList, KeepsAWalkOverAnOldListOutOfTheNewOne) {
    CServerList list;
    list.Assign(u"a|b|c", Random(0));
    list.Walk([&](const Text& strServer) {
        if (strServer == u"b") list.Assign(u"d", Random(0));
        return strServer == u"c";
    });
    EXPECT_EQ(list.GetIndex(), 0u);
    EXPECT_EQ(list.GetServer(), u"d");
}

}  // namespace
}  // namespace qvant::test
