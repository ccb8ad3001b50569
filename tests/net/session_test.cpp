#include "net/session.h"

#include <set>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "base/format.h"
#include "net/net_doubles.h"

namespace qvant::test {
namespace {

const platform::SystemTime MORNING{
    .nYear = 2026, .nMonth = 1, .nDay = 5, .nHour = 5, .nMinute = 4, .nSecond = 3, .nMilliseconds = 21};

Text LocalTimeText(const platform::IClock& clock) {
    const auto local = platform::ToLocal(clock.NowMilliseconds());
    return Format(u"%02d%02d%02d%03d", local.nHour, local.nMinute, local.nSecond, local.nMilliseconds);
}

TEST(Session, BuildsARequestIdOfWordMachineTimeAndLetter) {
    const CStillClock clock(MORNING);
    CSession session(clock);
    session.SetMachineId(u"BFEBFBFF000906EA");
    EXPECT_EQ(session.BuildRequestId(u"QueryCQYZ"), u"QueryCQYZ_BFEBFBFF000906EA_" + LocalTimeText(clock) + u"A");
}

TEST(Session, LeavesThePlaceOfAnUnknownMachineEmpty) {
    const CStillClock clock(MORNING);
    CSession session(clock);
    EXPECT_EQ(session.BuildRequestId(u"Timer100"), u"Timer100__" + LocalTimeText(clock) + u"A");
}

TEST(Session, KeepsTheRegionOfTheLastSignIn) {
    CSession session(platform::MachineClock());
    EXPECT_EQ(session.GetRegion(), u"");
    session.SetRegion(u"TWN");
    session.SetRegion(u"CHN");
    EXPECT_EQ(session.GetRegion(), u"CHN");
}

TEST(Session, StartsItsLettersAgainBehindZ) {
    const CStillClock clock(MORNING);
    CSession session(clock);
    Text strLetters;
    for (int i = 0; i < 28; ++i) strLetters += session.BuildRequestId(u"w").back();
    EXPECT_EQ(strLetters, u"ABCDEFGHIJKLMNOPQRSTUVWXYZAB");
}

TEST(Session, GivesEachThreadALetterOfItsOwn) {
    const CStillClock clock(MORNING);
    CSession session(clock);
    std::set<Text> arExpected;
    for (char16_t ch = u'A'; ch <= u'Z'; ++ch) arExpected.insert(u"w__" + LocalTimeText(clock) + ch);
    std::vector<Text> arIds(26);
    std::vector<std::thread> arThreads;
    for (Text& strId : arIds) arThreads.emplace_back([&] { strId = session.BuildRequestId(u"w"); });
    for (std::thread& thread : arThreads) thread.join();
    EXPECT_EQ(std::set<Text>(arIds.begin(), arIds.end()), arExpected);
}

TEST(Session, KeepsTheValuesOfTheSignIn) {
    const CStillClock clock(MORNING);
    CSession session(clock);
    EXPECT_EQ(session.GetSessionQuery(), u"");
    session.SetSessionQuery(u"&ACCOUNT=user1");
    session.SetRequestId(u"id");
    session.SetProxy({u"proxy", 3128, u"joe", u"secret"});
    EXPECT_EQ(session.GetSessionQuery(), u"&ACCOUNT=user1");
    EXPECT_EQ(session.GetRequestId(), u"id");
    EXPECT_EQ(session.GetProxy().strAddress, u"proxy");
    EXPECT_EQ(session.GetProxy().nPort, 3128u);
}

}  // namespace
}  // namespace qvant::test
