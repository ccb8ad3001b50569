#include "system/host_fixture.h"
#include "system/search_database_file.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::Not;
using ::testing::StartsWith;

const char* const ES_CARD = R"({"do":"card","symbol":"QV.F.CME.ES.202612"})";

class HostCard : public HostTest {
protected:
    HostCard() {
        m_database.MakeTable();
        m_database.Add({{"Symbol", "QV.F.CME.ES.202612"},
                        {"Name", "迷你标普 2612"},
                        {"SearchID", "CME.ES 2612"},
                        {"Exchange", "CME"},
                        {"Product", "ES"},
                        {"Type", "F"},
                        {"TypeNum", "1"},
                        {"HotSymbol", "QV.F.CME.ES.HOT"},
                        {"NearSymbol", "QV.F.CME.ES.Front1"},
                        {"Spell", "mnbp"},
                        {"Underlying", "SPX"},
                        {"Instrument", "ESZ6"},
                        {"ExpDate", "20261218"},
                        {"LongMargin", "12650"},
                        {"ShortMargin", "12650.5"},
                        {"BULimit", "0"},
                        {"SULimit", "0"},
                        {"BUnit", "0"},
                        {"SUnit", "0"}});
        m_database.Add({{"Symbol", "QV.S.SSE.600000"},
                        {"Name", "600000 浦发"},
                        {"Type", "S"},
                        {"MainType", "Stock"},
                        {"BULimit", "1000000"},
                        {"SULimit", "2000000"},
                        {"BUnit", "100"},
                        {"SUnit", "1"}});
        m_database.Add({{"Symbol", "QV.F.U_SSE.510050.202612"}, {"Name", "SynU"}, {"Type", "F"}});
    }

    static void Publish(CHostProcess& host, const char* pszGroup, const char* pszKey, const std::string& strJson) {
        std::string strText;
        for (const char ch : strJson) strText += ch == '"' ? std::string("\\\"") : std::string(1, ch);
        EXPECT_EQ(host.AskForError(R"({"do":"set","table":"Security.Info","path":[")" + std::string(pszGroup) +
                                   R"("],"values":{")" + pszKey + R"(":")" + strText + R"("}})"),
                  "");
    }
    static void PublishEs(CHostProcess& host, const std::string& strJson) {
        Publish(host, "QV.F.CME", "QV.F.CME.ES", strJson);
    }
    /// The card from its day on, as JSON text.
    static std::string HoursOf(CHostProcess& host) {
        const std::string strCard = host.AskFor(ES_CARD, "card");
        return strCard.substr(std::min(strCard.find("\"today\""), strCard.size()));
    }

    CSearchDatabaseFile m_database{m_home.GetPath() / "Data" / "API" / "Lumivale_.db"};
};

TEST_F(HostCard, PutsTheRowForReadingAndTheHoursInLocalTime) {
    const CEnvironment zone("TZ", "Asia/Taipei");
    const std::string strInput = R"({"do":"set","table":"Security.Info","path":["QV.F.CME"],"values":{"QV.F.CME.ES":)"
                                 R"("{\"OpenCloseTime\":\"22:00~05:30;06:00~21:00\",\"ResetTime\":\"21:45\"}"}})"
                                 "\nclock 20260105 93000\ncard QV.F.CME.ES.202612\n";
    EXPECT_EQ(RunWords(strInput),
              "ok\nok\n"
              "  symbol        QV.F.CME.ES.202612\n"
              "  name          迷你标普 2612\n"
              "  search id     CME.ES 2612\n"
              "  instrument    ESZ6\n"
              "  pinyin        mnbp\n"
              "  exchange      CME\n"
              "  product       ES\n"
              "  type          future\n"
              "  underlying    SPX\n"
              "  expiry        20261218\n"
              "  long margin   12650\n"
              "  short margin  12650.5\n"
              "  hot symbol    QV.F.CME.ES.HOT\n"
              "  near symbol   QV.F.CME.ES.Front1\n"
              "  today         2026-01-05 Mon\n"
              "  zone          UTC+08:00\n"
              "  hours         06:00~13:30  14:00~05:00\n"
              "  hours utc     22:00~05:30  06:00~21:00\n"
              "  reset         05:45\n"
              "  reset utc     21:45\n");
}

TEST_F(HostCard, IsAnObjectForMachines) {
    const CEnvironment zone("TZ", "America/Chicago");
    CHostProcess& host = Start();
    PublishEs(host, R"({"OpenCloseTime":"22:00~21:00","ResetTime":"21:45"})");
    host.Ask("clock 20260105 93000");
    EXPECT_EQ(host.AskFor(ES_CARD, "card"),
              R"({"symbol":"QV.F.CME.ES.202612","name":"迷你标普 2612","search_id":"CME.ES 2612",)"
              R"("instrument":"ESZ6","pinyin":"mnbp","exchange":"CME","product":"ES","type":"future",)"
              R"("main_type":null,"underlying":"SPX","expiry":"20261218","long_margin":"12650",)"
              R"("short_margin":"12650.5","hot_symbol":"QV.F.CME.ES.HOT","near_symbol":"QV.F.CME.ES.Front1",)"
              R"("buy_limit":null,"sell_limit":null,"buy_unit":null,"sell_unit":null,"today":"2026-01-05 Mon",)"
              R"("zone":"UTC-06:00","hours":["16:00~15:00"],"hours_utc":["22:00~21:00"],"reset":["15:45"],)"
              R"("reset_utc":["21:45"],"note":null})");
}

TEST_F(HostCard, MovesTheTimesByTheOffsetOfTheDay) {
    const CEnvironment zone("TZ", "America/Chicago");
    CHostProcess& host = Start();
    PublishEs(host, R"({"OpenCloseTime":"22:00~21:00","ResetTime":"21:45"})");
    host.Ask("clock 20260706 93000");
    EXPECT_THAT(HoursOf(host), HasSubstr(R"("zone":"UTC-05:00","hours":["17:00~16:00"],"hours_utc":["22:00~21:00"])"));
}

TEST_F(HostCard, TakesTheMachinesDayWithoutADateInTheClock) {
    const CEnvironment zone("TZ", "Asia/Kolkata");
    CHostProcess& host = Start();
    PublishEs(host, R"({"OpenCloseTime":"03:45~10:00"})");
    EXPECT_THAT(HoursOf(host), MatchesRegex(R"("today":"20[0-9-]+ [A-Z][a-z]+","zone":"UTC\+05:30","hours":\[)"
                                            R"("09:15~15:30"\],"hours_utc":\["03:45~10:00"\],"reset":null,.*)"));
    for (const char* pszDate : {"0", "20260230", "-5", "2147483647"}) {
        host.Ask(std::string("clock ") + pszDate + " 0");
        EXPECT_THAT(HoursOf(host), StartsWith("\"today\":\"20")) << pszDate;
    }
}

TEST_F(HostCard, ShowsWhatTheDateHasForItselfInPlaceOfTheEverydayHours) {
    const CEnvironment zone("TZ", "Asia/Taipei");
    CHostProcess& host = Start();
    PublishEs(host, R"({"OpenCloseTime":"22:00~21:00","ResetTime":"21:45",)"
                    R"("SpecificOCT":"x|20251231:bad|20260118:2300-0200,0300-1800|20260215:2300-1800",)"
                    R"("SpecificReset":"20260118:2130,2230|20260216:-1"})");
    host.Ask("clock 20260119 0");
    // In Taipei the session that begins on the 18th in UTC begins on the 19th.
    EXPECT_THAT(HoursOf(host),
                AllOf(HasSubstr(R"("hours":["07:00~10:00","11:00~02:00"])"),
                      HasSubstr(R"("hours_utc":["23:00~02:00","03:00~18:00"])"),
                      HasSubstr(R"("reset":["05:30","06:30"])"), HasSubstr(R"("note":"special hours on this date")")));
    host.Ask("clock 20260118 0");
    EXPECT_THAT(HoursOf(host), AllOf(HasSubstr(R"("hours":["06:00~05:00"])"), HasSubstr(R"("reset":["05:45"])"),
                                     HasSubstr(R"("note":null)")));
    host.Ask("clock 20260216 0");
    EXPECT_THAT(HoursOf(host), AllOf(HasSubstr(R"("hours":["07:00~02:00"])"), HasSubstr(R"("reset":null)")));
}

TEST_F(HostCard, ShowsASessionWithoutItsEndAsOneTime) {
    const CEnvironment zone("TZ", "UTC");
    CHostProcess& host = Start();
    PublishEs(host, R"({"OpenCloseTime":"01:00~03:30;13:00"})");
    EXPECT_THAT(HoursOf(host), HasSubstr(R"("hours":["01:00~03:30","13:00"])"));
}

TEST_F(HostCard, SaysWhyThereAreNoHours) {
    CHostProcess& host = Start();
    EXPECT_THAT(HoursOf(host), HasSubstr(R"("hours":null,"hours_utc":null,"reset":null,"reset_utc":null,)"
                                         R"("note":"there is no table \"Security.Info\"")"));
    Publish(host, "QV.F.CME", "QV.F.CME.NQ", "{}");
    EXPECT_THAT(HoursOf(host), HasSubstr(R"("note":"there is no security \"QV.F.CME.ES\"")"));
    EXPECT_THAT(host.AskFor("card QV.F.U_SSE.510050.202612", "card"),
                HasSubstr(R"("note":"there is no security \"QV.F.U_SSE.510050\"")"));
    const std::pair<const char*, const char*> CASES[] = {
        {"{}", "the security has no hours"},
        {R"({"OpenCloseTime":5,"ResetTime":{}})", "the security has no hours"},
        {"[]", R"(the security \"QV.F.CME.ES\" isn't an object)"},
        {"{", R"(the security \"QV.F.CME.ES\" can't be read: bad JSON at byte 1)"},
        {R"({"OpenCloseTime":"soon~later"})", R"(\"soon\" isn't a time)"},
        {R"({"OpenCloseTime":"09:75~10:00"})", R"(\"09:75\" isn't a time)"},
        {R"({"OpenCloseTime":"-1:00~10:00"})", R"(\"-1:00\" isn't a time)"},
        {R"({"OpenCloseTime":"99999999999999999999"})", R"(\"99999999999999999999\" isn't a time)"},
    };
    for (const auto& [pszJson, pszNote] : CASES) {
        PublishEs(host, pszJson);
        EXPECT_THAT(HoursOf(host), AllOf(HasSubstr(R"("hours":null)"), HasSubstr(pszNote))) << pszJson;
    }
    PublishEs(host, std::string(100'000, '['));
    EXPECT_THAT(HoursOf(host), HasSubstr("can't be read"));
}

TEST_F(HostCard, ShowsTheLimitsOfAStock) {
    EXPECT_THAT(RunWords("card QV.S.SSE.600000\n"),
                AllOf(HasSubstr("  type        stock\n  main type   Stock\n"),
                      HasSubstr("  buy limit   1000000\n  sell limit  2000000\n  buy unit    100\n  sell unit   1\n"),
                      Not(HasSubstr("margin"))));
}

TEST_F(HostCard, FindsASymbolInAnyCaseButPrefersTheOneAsWritten) {
    m_database.Add({{"Symbol", "qv.s.sse.600000"}, {"Name", "lower"}});
    CHostProcess& host = Start();
    EXPECT_EQ(host.Ask("card qv.f.cme.es.202612")["card"]["symbol"], "QV.F.CME.ES.202612");
    EXPECT_EQ(host.Ask("card QV.S.SSE.600000")["card"]["name"], "600000 浦发");
    EXPECT_EQ(host.Ask("card qv.s.sse.600000")["card"]["name"], "lower");
}

TEST_F(HostCard, IsRefusedForAnUnknownSymbolAndABadDatabase) {
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskForError("card QV.F.CME.ES"), R"(unknown symbol "QV.F.CME.ES")");
    EXPECT_EQ(host.AskForError("card QV.%"), R"(unknown symbol "QV.%")");
    EXPECT_THAT(host.AskForError("card"), StartsWith("usage: card SYMBOL"));
    EXPECT_EQ(host.AskForError(R"({"do":"card","symbol":5})"), R"("symbol" isn't a string)");
    m_database.Execute("DROP TABLE SymbolSearch");
    EXPECT_THAT(host.AskForError(ES_CARD), HasSubstr("no such table: SymbolSearch"));
}

}  // namespace

}  // namespace qvant::test
