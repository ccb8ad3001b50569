#include "service/inspection.h"

#include "service/service_fixture.h"

namespace qvant::test {

namespace {

using ::testing::HasSubstr;

TEST(Inspection, TellsWhenTimersAreDueFromNowOn) {
    const std::vector<TimerState> arTimers = {
        {100, 2'220'000, 5000, false}, {101, 50, std::nullopt, true}, {102, 60'000, 900, true}};
    EXPECT_EQ(Narrow(DescribeTimers(arTimers, 1000)),
              R"({"timers":[{"id":100,"interval":2220000,"due":4000,"running":false},)"
              R"({"id":101,"interval":50,"due":null,"running":true},)"
              R"({"id":102,"interval":60000,"due":0,"running":true}]})");
    EXPECT_EQ(Narrow(DescribeTimers({}, 1000)), R"({"timers":[]})");
}

TEST(Inspection, TellsTheMeasuredTimeOfAServerApartFromItsHandicap) {
    using Measured = ServerRow::Measured;
    const ServerListing listing{{{u"http://a/", Measured{120, 0}, false},
                                 {u"http://b/", Measured{140, 100}, true},
                                 {u"http://c/", Measured{LATENCY_FAILED, 50}, false},
                                 {u"http://d/\"", Measured{LATENCY_UNREPORTED, 150}, false},
                                 {u"http://e/", std::nullopt, false}},
                                0};
    EXPECT_EQ(Narrow(DescribeServers(listing)),
              R"({"servers":[{"url":"http://a/","state":"answered","latency":120,"handicap":0,"inUse":false},)"
              R"({"url":"http://b/","state":"answered","latency":40,"handicap":100,"inUse":true},)"
              R"({"url":"http://c/","state":"failed","latency":null,"handicap":50,"inUse":false},)"
              R"({"url":"http://d/\"","state":"late","latency":null,"handicap":150,"inUse":false},)"
              R"({"url":"http://e/","state":"untested","latency":null,"handicap":null,"inUse":false}]})");
}

TEST(Inspection, TellsOfPassesWhatThereIsToTell) {
    EXPECT_EQ(Narrow(DescribeRefresh({})), R"({"passes":0,"left":null,"last":null,"running":false})");
    EXPECT_EQ(Narrow(DescribeRefresh({3, 7, 24, true})), R"({"passes":3,"left":7,"last":24,"running":true})");
}

class InspectionOfService : public ServiceTest {
protected:
    std::string GetState(TextView strWhat) { return Narrow(m_service->GetState(strWhat).value_or(u"none")); }
};

TEST_F(InspectionOfService, ShowsNothingBeforeTheStartAndNothingThatThereIsnt) {
    EXPECT_EQ(GetState(u"timers"), R"({"timers":[]})");
    EXPECT_EQ(GetState(u"servers"), R"({"servers":[]})");
    EXPECT_EQ(GetState(u"refresh"), R"({"passes":0,"left":null,"last":null,"running":false})");
    for (const TextView strWhat : {u"", u"Timers", u"passes"}) EXPECT_EQ(GetState(strWhat), "none");
}

TEST_F(InspectionOfService, ShowsTheTimerAndTheServerOfASignIn) {
    SignIn();
    EXPECT_THAT(GetState(u"timers"), HasSubstr(R"({"id":100,"interval":2220000,"due":22)"));
    EXPECT_EQ(GetState(u"servers"), R"({"servers":[{"url":")" + Narrow(m_server.GetUrl()) +
                                        R"(","state":"untested","latency":null,"handicap":null,"inUse":true}]})");
    Leave();
    EXPECT_EQ(GetState(u"timers"), R"({"timers":[]})");
}

}  // namespace

}  // namespace qvant::test
