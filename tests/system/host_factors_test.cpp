// The word that asks for adjustment factors.
#include <csignal>

#include "system/answers.h"
#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* REQUEST = "API_CQYZ.REQUEST";
constexpr const char* ANSWER = "API_CQYZ.INFO";
constexpr const char* FACTORS =
    R"({"data":[{"od":20240315,"t":93000000,"sxd":1.00213,"n":"roll","odt_utc":20240315013000},)"
    R"({"d":20240614,"sxd":0.5,"k":[1,{"a":null}],"odt_utc":20240613160000}]})";

class HostFactors : public HostTest {
protected:
    /// A host whose module answers every request for factors with this text.
    CHostProcess& StartGiving(const std::string& strJson, int nParameter = 1) {
        CHostProcess& host = Start();
        host.Ask(AnswerTo(REQUEST, {Send(ANSWER, nParameter, strJson)}));
        return host;
    }
};

TEST_F(HostFactors, AreShownToAPersonInColumns) {
    EXPECT_THAT(RunWords(AnswerTo(REQUEST, {Send(ANSWER, 1, FACTORS)}) + "factors QV.F.CME.ES.HOT\n"),
                EndsWith("2 factors\n"
                         "  date            time      odt utc                  sxd      n     k\n"
                         "  2024-03-15 Fri  09:30:00  2024-03-15 Fri 01:30:00  1.00213  roll\n"
                         "  2024-06-14 Fri            2024-06-13 Thu 16:00:00  0.5            [1,{\"a\":null}]\n"
                         "answer fetched\n"));
}

TEST_F(HostFactors, AreMembersForMachinesWithWhateverElseTheRowsHave) {
    const rapidjson::Document reply = StartGiving(FACTORS).Ask(R"({"do":"factors","symbol":"QV.F.CME.ES.HOT"})");
    EXPECT_EQ(ToJson(reply["factors"]),
              R"({"total":2,"rows":[{"date":20240315,"time":93000000,"odt_utc":20240315013000,"sxd":1.00213,)"
              R"("n":"roll","k":null},{"date":20240614,"time":null,"odt_utc":20240613160000,"sxd":0.5,"n":null,)"
              R"("k":"[1,{\"a\":null}]"}]})");
    EXPECT_STREQ(reply["answer"].GetString(), "fetched");
}

TEST_F(HostFactors, SayThatTheyComeFromTheStore) {
    EXPECT_STREQ(StartGiving(FACTORS, 3).Ask("factors QV.S.SSE.600000")["answer"].GetString(), "from the store");
}

TEST_F(HostFactors, ShowTheFirstOfManyAndCountAll) {
    std::string strRows;
    for (int i = 0; i < 5000; ++i) strRows += std::string(i > 0 ? "," : "") + R"({"od":20240315,"sxd":1.0})";
    CHostProcess& host = StartGiving(R"({"data":[)" + strRows + "]}");
    const rapidjson::Document reply = host.Ask("factors QV.F.CME.ES.HOT first 3");
    EXPECT_EQ(reply["factors"]["total"].GetInt(), 5000);
    EXPECT_EQ(reply["factors"]["rows"].Size(), 3u);
    EXPECT_EQ(host.Ask("factors QV.F.CME.ES.HOT")["factors"]["rows"].Size(), 20u);
}

TEST_F(HostFactors, TakeTheOneDateThatCounts) {
    CHostProcess& host = StartGiving(R"({"data":[{"od":0,"d":20201218},{"od":20201218,"d":20201217},)"
                                     R"({"od":"soon","d":5.5},{"od":1.5,"sxd":"x","odt_utc":null}]})");
    EXPECT_EQ(host.AskFor("factors A", "factors"),
              R"({"total":4,"rows":[{"date":20201218,"time":null,"odt_utc":null,"sxd":null,"d":null},)"
              R"({"date":20201218,"time":null,"odt_utc":null,"sxd":null,"d":20201217},)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":null,"d":null},)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":"x","d":null}]})");
}

TEST_F(HostFactors, AreRefusedWhenTheServiceHasNothingToGive) {
    CHostProcess& host = StartGiving("", 0);
    EXPECT_EQ(host.AskForError("factors QV.S.SSE.600000"),
              R"(no factors of "QV.S.SSE.600000": the server gave nothing)");
    EXPECT_EQ(host.AskForError("factors QV.F.CME.ES.HOT"),
              R"(no factors of "QV.F.CME.ES.HOT": the server gave nothing)");
    EXPECT_EQ(host.AskForError("factors QV.F.CME.ES.202012"),
              R"(no factors of "QV.F.CME.ES.202012": futures and options have factors as a series alone, such as )"
              R"("QV.F.CME.ES.HOT")");
}

TEST_F(HostFactors, SayThatNoAnswerCameAndWhatTheServersSaid) {
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskForError("factors QV.S.SSE.600000 timeout 20"),
              R"(no factors of "QV.S.SSE.600000": no answer in 20 ms)");
    host.Ask(AnswerTo(REQUEST, {Log("DoQueryCQYZ Fail : Error : 12029. http://a/"),
                                Log("DoQueryCQYZ Fail : Error : 12002. http://b/")}));
    // Long enough for both lines to come on a busy machine.
    EXPECT_EQ(
        host.AskForError("factors QV.S.SSE.600000 timeout 2000"),
        R"(no factors of "QV.S.SSE.600000": no answer in 2.0 s; the last server asked: Error : 12002. http://b/)");
}

TEST_F(HostFactors, TakeOnlyANewAnswerAboutTheirSymbol) {
    CHostProcess& host = StartGiving(FACTORS);
    host.Ask("factors QV.S.SSE.600000");
    host.Ask(AnswerTo(REQUEST, {Send(ANSWER, 4), Send("API_CQYZ.OTHER", 1, FACTORS)}));
    EXPECT_THAT(host.AskForError("factors QV.S.SSE.600000 timeout 30"), EndsWith("no answer in 30 ms"));
    host.Ask(AnswerTo(REQUEST, {Send(ANSWER, 4), Send(ANSWER, 1, FACTORS)}));
    EXPECT_EQ(host.Ask("factors QV.S.SSE.600000")["factors"]["total"].GetInt(), 2);
}

TEST_F(HostFactors, AreRefusedWhenTheTextIsntWhatItShouldBe) {
    const std::pair<std::string, std::string> CASES[] = {
        {"", "the factors can't be read: bad JSON at byte 0"},
        {"{", "the factors can't be read: bad JSON at byte 1"},
        {std::string(100'000, '['), "the factors can't be read: bad JSON"},
        {"[]", "the factors have no array \"data\""},
        {"{}", "the factors have no array \"data\""},
        {R"({"data":{"od":1}})", "the factors have no array \"data\""},
    };
    for (const auto& [strJson, strError] : CASES)
        EXPECT_THAT(StartGiving(strJson).AskForError("factors A"), StartsWith(strError)) << strJson.substr(0, 20);
}

TEST_F(HostFactors, StandRowsOfAnyKind) {
    CHostProcess& host = StartGiving(R"({"data":[null,5,"x",[1],{},{"date":1,"sxd":true,"\u001b[2J":"\u001b[2J"}]})");
    EXPECT_EQ(host.AskFor("factors A", "factors"),
              R"({"total":6,"rows":[)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":null,"date_member":null,"\u001B[2J":null},)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":null,"date_member":null,"\u001B[2J":null},)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":null,"date_member":null,"\u001B[2J":null},)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":null,"date_member":null,"\u001B[2J":null},)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":null,"date_member":null,"\u001B[2J":null},)"
              R"({"date":null,"time":null,"odt_utc":null,"sxd":"true","date_member":1,"\u001B[2J":"\u001B[2J"}]})");
    std::string strWide = R"({"data":[{)";
    for (int i = 0; i < 1000; ++i) strWide += (i > 0 ? ",\"m" : "\"m") + std::to_string(i) + "\":1";
    EXPECT_EQ(StartGiving(strWide + "}]}").Ask("factors A")["factors"]["rows"][0].MemberCount(), 28u);
}

TEST_F(HostFactors, StandALongSymbolAndControlCharacters) {
    const std::string strLong = "QV.S." + std::string(10'000, 'x');
    EXPECT_EQ(StartGiving(FACTORS).Ask("factors " + strLong)["factors"]["total"].GetInt(), 2);
    EXPECT_THAT(Start().AskForError("factors " + strLong + " timeout 1").size(), ::testing::Lt(200u));
    EXPECT_THAT(RunWords("factors \x1b[2J../.. timeout 1\n"),
                AllOf(Not(HasSubstr("\x1b")), HasSubstr("error: no factors of \" [2J../..\"")));
}

TEST_F(HostFactors, EndTheirWaitWhenTheHostIsToEnd) {
    CHostProcess& host = Start();
    host.Ask(AnswerTo(REQUEST, {}));
    host.Send("factors A timeout 2000000000\n");
    EXPECT_EQ(std::string(host.ReadNext()["event"].GetString()), "WriteLog");
    host.GetProcess().Signal(SIGTERM);
    EXPECT_EQ(std::string(host.ReadReply()["error"].GetString()), "the host ends");
    EXPECT_EQ(host.Finish(), 0);
}

}  // namespace

}  // namespace qvant::test
