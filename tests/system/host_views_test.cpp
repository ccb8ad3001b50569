// What the host shows of clock, holidays and rates, from the tables as the service fills them.
#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::StartsWith;

class HostViews : public HostTest {
protected:
    /// A calendar of three years, out of order, with the clock at 21 November 2026.
    static constexpr const char* CALENDAR =
        "set Holiday 20270101 \"H,CME|CBOT|SSE\" 20261225 \"H,CME|CBOT\" 20261224 \"E,CME\" 20251225 \"H,CME\" "
        "20261121 \"H,SSE\"\nclock 20261121 93000\n";
    static constexpr const char* RATES =
        "set CurrencyExchangeRate USD 1 USDX 1.0 TWD 31.55 NTD 31.55 RF_USD 4.25 RF_TWD 1.6\n"
        "set CurrencyMapping NTD TWD\n"
        "rows CurrencyExchangeRate \"20261120\"\n";
};

TEST_F(HostViews, ShowTheClockWithNothingSetAndAsItWasSet) {
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskFor("clock", "clock"), R"({"date":null,"time":null,"ticking":false})");
    host.Ask("clock 20260105 93000");
    EXPECT_EQ(host.AskFor(R"({"do":"clock"})", "clock"), R"({"date":20260105,"time":93000,"ticking":false})");
    host.Ask("clock tick on");
    EXPECT_TRUE(host.Ask("clock")["clock"]["ticking"].GetBool());
    host.Ask("clock tick off");
    EXPECT_FALSE(host.Ask("clock")["clock"]["ticking"].GetBool());
}

TEST_F(HostViews, ShowAPersonTheClockWithItsWeekday) {
    EXPECT_EQ(RunWords("clock 20260105 93000\nclock\nclock 20261399 250000\nclock\n"),
              "ok\n"
              "  date     2026-01-05 Mon\n"
              "  time     09:30:00\n"
              "  ticking  no\n"
              "ok\n"
              "  date     20261399\n"
              "  time     250000\n"
              "  ticking  no\n");
}

TEST_F(HostViews, ShowTheClockOfAStoreWithoutOne) {
    EXPECT_EQ(Start({"--bare"}).AskFor("clock", "clock"), R"({"date":null,"time":null,"ticking":false})");
}

TEST_F(HostViews, ListTheHolidaysFromTodayOn) {
    CHostProcess& host = Start();
    host.Send(CALENDAR);
    host.ReadReply();
    host.ReadReply();
    EXPECT_EQ(host.AskFor("holidays", "holidays"),
              R"({"total":4,"rows":[{"date":"20261121","type":"H","exchanges":["SSE"]},)"
              R"({"date":"20261224","type":"E","exchanges":["CME"]},)"
              R"({"date":"20261225","type":"H","exchanges":["CME","CBOT"]},)"
              R"({"date":"20270101","type":"H","exchanges":["CME","CBOT","SSE"]}]})");
    host.Ask("clock 20261225 0");
    EXPECT_EQ(host.Ask("holidays")["holidays"]["total"].GetInt(), 2);
}

TEST_F(HostViews, ListTheHolidaysOfAnExchangeAndOfAYear) {
    CHostProcess& host = Start();
    host.Send(CALENDAR);
    host.ReadReply();
    host.ReadReply();
    EXPECT_EQ(host.AskFor("holidays sse", "holidays"),
              R"({"total":2,"rows":[{"date":"20261121","type":"H","exchanges":["SSE"]},)"
              R"({"date":"20270101","type":"H","exchanges":["CME","CBOT","SSE"]}]})");
    EXPECT_EQ(host.AskFor("holidays 2025", "holidays"),
              R"({"total":1,"rows":[{"date":"20251225","type":"H","exchanges":["CME"]}]})");
    EXPECT_EQ(host.AskFor("holidays CME 2026 first 1", "holidays"),
              R"({"total":2,"rows":[{"date":"20261224","type":"E","exchanges":["CME"]}]})");
    EXPECT_EQ(host.AskFor(R"({"do":"holidays","exchange":"CBOT","year":2026,"first":5})", "holidays"),
              R"({"total":1,"rows":[{"date":"20261225","type":"H","exchanges":["CME","CBOT"]}]})");
    // An exchange is the whole name of one.
    EXPECT_EQ(host.AskFor("holidays CM", "holidays"), R"({"total":0,"rows":[]})");
}

TEST_F(HostViews, ShowAPersonTheHolidaysInColumns) {
    EXPECT_EQ(RunWords(std::string(CALENDAR) + "holidays cme first 2\n"),
              "ok\nok\n"
              "3 holidays\n"
              "  date            type  exchanges\n"
              "  2026-12-24 Thu  E     CME\n"
              "  2026-12-25 Fri  H     CME  CBOT\n"
              "  ... and 1 more\n");
}

TEST_F(HostViews, ShowForeignHolidaysAsTheyAre) {
    CHostProcess& host = Start();
    host.Ask(
        R"({"do":"set","table":"Holiday","values":{"20300230":"","soon":"H,","20310101":5,"20320101":"A,|X||Y,Z|"}})");
    EXPECT_EQ(host.AskFor("holidays", "holidays"), R"({"total":4,"rows":[{"date":"20300230","type":"","exchanges":[]},)"
                                                   R"({"date":"20310101","type":"5","exchanges":[]},)"
                                                   R"({"date":"20320101","type":"A","exchanges":["X","Y,Z"]},)"
                                                   R"({"date":"soon","type":"H","exchanges":[]}]})");
}

TEST_F(HostViews, ListTheRatesWithTheNamesThatAreMapped) {
    CHostProcess& host = Start();
    host.Send(RATES);
    for (int i = 0; i < 3; ++i) host.ReadReply();
    const rapidjson::Document reply = host.Ask("rates");
    EXPECT_EQ(ToJson(reply["rates"]), R"({"total":4,"rows":[{"currency":"NTD","rate":"31.55","same_as":"TWD"},)"
                                      R"({"currency":"TWD","rate":"31.55","same_as":null},)"
                                      R"({"currency":"USD","rate":1,"same_as":null},)"
                                      R"({"currency":"USDX","rate":"1.0","same_as":null}]})");
    EXPECT_EQ(ToJson(reply["risk_free"]),
              R"({"total":2,"rows":[{"currency":"TWD","rate":"1.6"},{"currency":"USD","rate":"4.25"}]})");
    EXPECT_STREQ(reply["version"].GetString(), "20261120");
}

TEST_F(HostViews, ListTheRatesThatANameIsPartOf) {
    CHostProcess& host = Start();
    host.Send(RATES);
    for (int i = 0; i < 3; ++i) host.ReadReply();
    const rapidjson::Document reply = host.Ask(R"({"do":"rates","name":"twd"})");
    EXPECT_EQ(reply["rates"]["total"].GetInt(), 2) << "the currency, and the one that has its rate";
    EXPECT_EQ(reply["risk_free"]["total"].GetInt(), 1);
    EXPECT_EQ(host.AskFor("rates usdx", "rates"),
              R"({"total":1,"rows":[{"currency":"USDX","rate":"1.0","same_as":null}]})");
}

TEST_F(HostViews, ShowAPersonTheRatesInColumns) {
    EXPECT_EQ(RunWords(std::string(RATES) + "rates twd\n"),
              "ok\nok\nok\n"
              "2 rates\n"
              "  currency  rate   same as\n"
              "  NTD       31.55  TWD\n"
              "  TWD       31.55\n"
              "1 risk-free rate\n"
              "  currency  rate\n"
              "  TWD       1.6\n"
              "version 20261120\n");
}

TEST_F(HostViews, AreRefusedWithoutTheTableOrWithTooManyWords) {
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskForError("holidays"), R"(unknown table "Holiday")");
    EXPECT_EQ(host.AskForError("rates"), R"(unknown table "CurrencyExchangeRate")");
    EXPECT_THAT(host.AskForError("holidays CME SSE"), StartsWith("usage: holidays "));
    EXPECT_THAT(host.AskForError("holidays 2026 2027"), StartsWith("usage: holidays "));
    EXPECT_THAT(host.AskForError("rates USD TWD"), StartsWith("usage: rates "));
    EXPECT_EQ(host.AskForError(R"({"do":"holidays","year":"2026"})"), R"("year" isn't an integer of 32 bits)");
    EXPECT_EQ(host.AskForError(R"({"do":"clock","time":93000})"), R"("date" is missing)");
}

}  // namespace

}  // namespace qvant::test
