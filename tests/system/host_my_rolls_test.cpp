// The word that lists the user's own hot-month series.
#include <fcntl.h>
#include <sys/stat.h>

#include "system/answers.h"
#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using ::testing::StartsWith;

constexpr const char* REQUEST = "UpdateUDHotMonth";
constexpr const char* ANSWER = "API_UpdateUDHotMonth";
constexpr const char* TITLE = "QV.F.CME.ES.HOT_MINE";
constexpr const char* DEFINITION =
    "ResetTime=224500\nresettimedst=214500\r\nTimeZone=UTC\nother=1\n"
    "20261218->202703\n20260918->202612\n20260612->202609\n20260313->202606\n";
/// Of the definition above, written at 12:00:00 in Taipei.
constexpr const char* COMPANION =
    "UDHMLastWriteTime=20261121120000\n20261218224500->\n20260918214500->\n20260612214500->-122500000000\n";

class HostMyRolls : public HostTest {
protected:
    /// Noon of 21 November 2026 in Taipei, to which the companion belongs.
    static constexpr std::time_t WRITTEN = 1795233600;

    static std::string PathOf(const std::string& strName) { return "Data/UserDefHotMonth/" + strName; }

    void WriteDefinition(const std::string& strContent, const std::string& strTitle = TITLE) const {
        const std::string strPath = PathOf(strTitle + ".udhm");
        m_home.Write(strPath, strContent);
        const timespec arTimes[] = {{WRITTEN, 0}, {WRITTEN, 0}};
        ASSERT_EQ(utimensat(AT_FDCWD, (m_home.GetPath() / strPath).c_str(), arTimes, 0), 0);
    }
    void WriteCompanion(const std::string& strContent, const std::string& strTitle = TITLE) const {
        m_home.Write(PathOf(strTitle + ".ba"), strContent);
    }
    /// A host whose clock stands at 21 November 2026, 04:00 UTC.
    CHostProcess& StartAtNow() {
        CHostProcess& host = Start();
        host.Ask("clock 20261121 40000");
        return host;
    }

    const CEnvironment m_zone{"TZ", "Asia/Taipei"};
};

TEST_F(HostMyRolls, AreShownToAPersonWithTheirGaps) {
    WriteDefinition(DEFINITION);
    WriteCompanion(COMPANION);
    EXPECT_THAT(
        RunWords("clock 20261121 40000\nmyrolls\n"),
        StartsWith(
            "ok\n"
            "1 definition\n"
            "  title                 rolls  zone  reset time  reset time dst  written                  companion\n"
            "  QV.F.CME.ES.HOT_MINE  4      UTC   224500      214500          2026-11-21 Sat 12:00:00  gaps missing\n"
            "4 rolls\n"
            "  title                 from            month before  month after  moment                   moment utc"
            "               gap     note\n"
            "  QV.F.CME.ES.HOT_MINE  2026-12-18 Fri  202612        202703       2026-12-19 Sat 06:45:00  2026-12-18 "
            "Fri "
            "22:45:00          to come\n"
            "  QV.F.CME.ES.HOT_MINE  2026-09-18 Fri  202609        202612       2026-09-19 Sat 05:45:00  2026-09-18 "
            "Fri "
            "21:45:00          not known yet\n"
            "  QV.F.CME.ES.HOT_MINE  2026-06-12 Fri  202606        202609       2026-06-13 Sat 05:45:00  2026-06-12 "
            "Fri "
            "21:45:00  -12.25\n"
            "  QV.F.CME.ES.HOT_MINE  2026-03-13 Fri                202606                                              "
            "                   the last line has none\n"));
}

TEST_F(HostMyRolls, AreMembersForMachines) {
    WriteDefinition("20260918->202612\n20261218->202703\n");
    WriteCompanion("UDHMLastWriteTime=20261121120000\n20260918214500->5\n");
    const rapidjson::Document reply = StartAtNow().Ask(R"({"do":"myrolls"})");
    EXPECT_EQ(ToJson(reply["definitions"]),
              R"({"total":1,"rows":[{"title":"QV.F.CME.ES.HOT_MINE","rolls":2,"zone":null,"reset_time":null,)"
              R"("reset_time_dst":null,"written":20261121120000,"companion":"up to date"}]})");
    // Oldest first: the months are told by their dates, not by their lines.
    EXPECT_EQ(ToJson(reply["rolls"]),
              R"({"total":2,"rows":[{"title":"QV.F.CME.ES.HOT_MINE","from":"20260918","month_before":"202612",)"
              R"("month_after":"202703","moment":20260919054500,"moment_utc":20260918214500,"gap":"0.0000000005",)"
              R"("note":null},{"title":"QV.F.CME.ES.HOT_MINE","from":"20261218","month_before":"202703",)"
              R"("month_after":null,"moment":null,"moment_utc":null,"gap":null,"note":"the last line has none"}]})");
    EXPECT_FALSE(reply.HasMember("update"));
}

TEST_F(HostMyRolls, AreReadAgainOnceTheServiceHasWrittenTheCompanionAnew) {
    WriteDefinition(DEFINITION);
    CHostProcess& host = StartAtNow();
    host.Ask(AnswerTo(REQUEST, {WriteFile((m_home.GetPath() / PathOf("$.ba")).string(), COMPANION), Send(ANSWER, 2)}));
    const rapidjson::Document reply = host.Ask(std::string("myrolls ") + TITLE + " first 3 timeout 2000000000");
    EXPECT_STREQ(reply["update"].GetString(), "the companion is written anew");
    EXPECT_STREQ(reply["definitions"]["rows"][0]["companion"].GetString(), "gaps missing");
    EXPECT_STREQ(reply["rolls"]["rows"][2]["gap"].GetString(), "-12.25");
    EXPECT_EQ(reply["rolls"]["rows"].Size(), 3u);
    EXPECT_EQ(reply["rolls"]["total"].GetInt(), 4);
}

TEST_F(HostMyRolls, AreNotWaitedForWhenTheCompanionIsUpToDate) {
    WriteDefinition("20261218->202703\n20260918->202612\n");
    WriteCompanion("UDHMLastWriteTime=20261121120000\n20261218224500->\n");
    CHostProcess& host = StartAtNow();
    host.Ask(AnswerTo(REQUEST, {}));
    const rapidjson::Document reply = host.Ask(std::string("myrolls ") + TITLE + " timeout 2000000000");
    EXPECT_STREQ(reply["update"].GetString(), "nothing to do: the companion is up to date");
    EXPECT_THAT(host.GetEvents("WriteLog"),
                ::testing::ElementsAre(
                    HasSubstr("strTopic=UpdateUDHotMonth, lMsgTYPE=0, lParam=1, strParam=" + std::string(TITLE) + ".")))
        << "the service is told all the same";
}

TEST_F(HostMyRolls, SayThatTheServiceDidntAnswer) {
    WriteDefinition(DEFINITION);
    WriteDefinition(DEFINITION, "QV.F.CME.NQ.HOT_A");
    CHostProcess& host = StartAtNow();
    host.Ask(AnswerTo(REQUEST, {Send(ANSWER, 1), Send("API_OTHER", 2)}));
    const rapidjson::Document reply = host.Ask(std::string("myrolls ") + TITLE + " timeout 30");
    EXPECT_STREQ(reply["update"].GetString(), "no answer in 30 ms");
    EXPECT_EQ(reply["definitions"]["total"].GetInt(), 1) << "the one that was named";
    EXPECT_STREQ(reply["rolls"]["rows"][0]["note"].GetString(), "not read yet");
}

TEST_F(HostMyRolls, TellHowACompanionStands) {
    const std::pair<const char*, const char*> CASES[] = {
        {"UDHMLastWriteTime=20261121120000\n20261218224500->\n20260918214500->1\n20260612214500->0\n", "up to date"},
        {COMPANION, "gaps missing"},
        {"UDHMLastWriteTime=20261121115959\n20260918214500->1\n", "of an earlier definition"},
        {"20260918214500->1\n", "of an earlier definition"},
        {"", "of an earlier definition"},
        {"UDHMLastWriteTime=x\n\xFF\n", "of an earlier definition"},
    };
    WriteDefinition(DEFINITION);
    CHostProcess& host = StartAtNow();
    EXPECT_STREQ(host.Ask("myrolls")["definitions"]["rows"][0]["companion"].GetString(), "not written yet");
    for (const auto& [pszCompanion, pszExpected] : CASES) {
        WriteCompanion(pszCompanion);
        EXPECT_STREQ(host.Ask("myrolls")["definitions"]["rows"][0]["companion"].GetString(), pszExpected)
            << pszCompanion;
    }
}

TEST_F(HostMyRolls, TakeNothingFromACompanionOfOtherRolls) {
    WriteDefinition(DEFINITION);
    CHostProcess& host = StartAtNow();
    for (const char* pszCompanion : {"UDHMLastWriteTime=20261121120000\n20260918214500->1\n",
                                     "UDHMLastWriteTime=20251121120000\n1->1\n2->2\n3->3\n"}) {
        WriteCompanion(pszCompanion);
        EXPECT_THAT(host.AskFor("myrolls", "rolls"),
                    AllOf(HasSubstr(R"("moment":null,"moment_utc":null,"gap":null,"note":"not read yet")"),
                          ::testing::Not(HasSubstr(R"("gap":"1")"))));
    }
}

TEST_F(HostMyRolls, ShowEveryDigitOfAGap) {
    const std::pair<const char*, const char*> CASES[] = {{"0", "0"},
                                                         {"10000000000", "1"},
                                                         {"-1", "-0.0000000001"},
                                                         {"1000000000", "0.1"},
                                                         {"22500000000", "2.25"},
                                                         {"9223372036854775807", "922337203.6854775807"},
                                                         {"-9223372036854775808", "-922337203.6854775808"},
                                                         {"99999999999999999999", "0"}};
    WriteDefinition("20261218->202703\n20260918->202612\n");
    CHostProcess& host = StartAtNow();
    for (const auto& [pszUnits, pszPrice] : CASES) {
        WriteCompanion(std::string("UDHMLastWriteTime=20261121120000\n20260918214500->") + pszUnits + "\n");
        EXPECT_STREQ(host.Ask("myrolls")["rolls"]["rows"][0]["gap"].GetString(), pszPrice);
    }
}

TEST_F(HostMyRolls, ShowTheDateAloneWhereASeriesHasNoTime) {
    WriteDefinition("timezone=Asia/Tokyo\n20260918->202612\n20260612->202609\n");
    WriteCompanion("UDHMLastWriteTime=20261121120000\n20260918->\n");
    EXPECT_THAT(StartAtNow().AskFor("myrolls", "rolls"),
                HasSubstr(R"("moment":null,"moment_utc":20260918,"gap":null,"note":"not known yet")"));
    EXPECT_THAT(RunWords("myrolls\n"), HasSubstr("2026-09-18 Fri       not known yet"));
}

TEST_F(HostMyRolls, ListEveryDefinitionByItsTitleAndTellWhichTheServicePassesOver) {
    WriteDefinition("20260918->202612\n", "QV.F.CME.NQ.HOT_B");
    WriteDefinition("", "QV.F.CME.ES.HOT_A");
    WriteDefinition("20260918->202612\n", "QV.F.CME.ES");
    m_home.Write(PathOf("notes.txt"), "20260918->202612\n");
    m_home.Write(PathOf("folder.HOT_.udhm/file"), "");
    CHostProcess& host = StartAtNow();
    EXPECT_THAT(host.AskFor("myrolls", "definitions"),
                MatchesRegex(R"(\{"total":3,"rows":\[\{"title":"QV\.F\.CME\.ES",.*"companion":"none: the name has no )"
                             R"(\\"\.HOT_\\""\},\{"title":"QV\.F\.CME\.ES\.HOT_A","rolls":0,.*)"
                             R"(\{"title":"QV\.F\.CME\.NQ\.HOT_B","rolls":1,.*\]\})"));
    EXPECT_STREQ(host.Ask("myrolls QV.F.CME.ES timeout 2000000000")["update"].GetString(),
                 "nothing to do: the service passes over the file");
}

TEST_F(HostMyRolls, AreNoneWithoutAFolder) {
    const rapidjson::Document reply = StartAtNow().Ask("myrolls");
    EXPECT_EQ(ToJson(reply["definitions"]), R"({"total":0,"rows":[]})");
    EXPECT_EQ(ToJson(reply["rolls"]), R"({"total":0,"rows":[]})");
}

TEST_F(HostMyRolls, StandDefinitionsOfAnyKind) {
    WriteDefinition("->\n>-\nx->y->z\n-\xFF>\x1b[2J\n=\ntimezone\n" + std::string(100'000, '>'));
    WriteDefinition("", "big.HOT_1");
    std::filesystem::resize_file(m_home.GetPath() / PathOf("big.HOT_1.udhm"), std::uintmax_t{17} << 20);
    std::string strMany;
    for (int i = 0; i < 200'000; ++i) strMany += "20260918->202612\n";
    WriteDefinition(strMany, "many.HOT_1");
    CHostProcess& host = StartAtNow();
    const rapidjson::Document reply = host.Ask("myrolls");
    EXPECT_EQ(reply["definitions"]["total"].GetInt(), 3);
    EXPECT_THAT(ToJson(reply["definitions"]["rows"][1]), HasSubstr("it is too large"));
    EXPECT_EQ(reply["rolls"]["total"].GetInt(), 200'002);
    EXPECT_THAT(RunWords("myrolls\n"), ::testing::Not(HasSubstr("\x1b")));
}

TEST_F(HostMyRolls, AreRefusedForATitleThatIsntThere) {
    WriteDefinition(DEFINITION);
    CHostProcess& host = StartAtNow();
    host.Ask(AnswerTo(REQUEST, {}));
    EXPECT_EQ(host.AskForError("myrolls qv.f.cme.es.hot_mine"), R"(there is no series "qv.f.cme.es.hot_mine")");
    EXPECT_EQ(host.AskForError("myrolls ALL"), R"(there is no series "ALL")");
    EXPECT_THAT(host.AskForError("myrolls ../../" + std::string(10'000, 'x')), StartsWith("there is no series \"../"));
    EXPECT_THAT(host.AskForError("myrolls A B"), StartsWith("usage: myrolls"));
    EXPECT_TRUE(host.GetEvents("WriteLog").empty()) << "nothing was sent";
}

}  // namespace

}  // namespace qvant::test
