#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class HostRequests : public HostTest {};

TEST_F(HostRequests, AreAnsweredWithTheirRunningNumbersFromOne) {
    CHostProcess& host = Start();
    EXPECT_EQ(ToJson(host.Ask(R"({"do":"set","table":"T","values":{"a":"1"}})")), R"({"reply":1,"ok":true})");
    EXPECT_EQ(ToJson(host.Ask(R"({"do":"get","table":"T","key":"a"})")), R"({"reply":2,"ok":true,"value":"1"})");
}

TEST_F(HostRequests, EchoTheirIdsAndCountOnAllTheSame) {
    CHostProcess& host = Start();
    EXPECT_EQ(ToJson(host.Ask(R"({"do":"get","table":"CQYZ","key":"a","id":"x \" é"})")),
              R"({"reply":"x \" é","ok":true,"value":null})");
    EXPECT_EQ(ToJson(host.Ask(R"({"id":-7,"do":"sleep","ms":0})")), R"({"reply":-7,"ok":true})");
    EXPECT_EQ(ToJson(host.Ask(R"({"id":18446744073709551615,"do":"sleep","ms":0})")),
              R"({"reply":18446744073709551615,"ok":true})");
    EXPECT_EQ(ToJson(host.Ask(R"({"id":0.5,"do":"dance"})")),
              R"({"reply":0.5,"ok":false,"error":"unknown request \"dance\""})");
    EXPECT_EQ(ToJson(host.Ask(R"({"do":"sleep","ms":0})")), R"({"reply":5,"ok":true})");
}

TEST_F(HostRequests, AreCarriedOutInTheirOrder) {
    CHostProcess& host = Start();
    std::string strLines;
    for (int i = 0; i < 500; ++i) strLines += "set T key " + std::to_string(i) + "\nget T key\n";
    host.Send(strLines);
    for (int i = 0; i < 500; ++i) {
        EXPECT_EQ(host.ReadReply()["reply"].GetInt(), 2 * i + 1);
        EXPECT_EQ(host.ReadReply()["value"].GetInt(), i);
    }
}

TEST_F(HostRequests, MayBeMixedInWordsAndInJson) {
    CHostProcess& host = Start();
    EXPECT_EQ(ToJson(host.Ask(R"(set "My table"/x "a key" "with \"quotes\"" number -12 text "-12")")),
              R"({"reply":1,"ok":true})");
    EXPECT_EQ(host.AskFor(R"({"do":"get","table":"My table","path":["x"],"key":"a key"})", "value"),
              R"("with \"quotes\"")");
    EXPECT_EQ(host.AskFor(R"(get "My table"/x number)", "value"), "-12");
    EXPECT_EQ(host.AskFor(R"(get "My table"/x text)", "value"), R"("-12")");
    EXPECT_EQ(host.AskForError(R"(get "My table/x" text)"), R"(unknown table "My table/x")");
    EXPECT_EQ(host.AskFor(" \t{\"do\":\"tables\"}", "tables"),
              R"(["CQYZ","GeneralService","LUMIVALE.REQUEST","My table","QvantSystemTime","STORAGE"])");
}

TEST_F(HostRequests, LeaveBlankLinesAndLineEndsOfOtherSystemsAside) {
    CHostProcess& host = Start();
    host.Send("\n   \n\r\nget CQYZ a\r\n");
    EXPECT_EQ(ToJson(host.ReadReply()), R"({"reply":1,"ok":true,"value":null})");
}

TEST_F(HostRequests, TellTheStatusAndItsResult) {
    CHostProcess& host = Start();
    const rapidjson::Document reply = host.Ask(R"({"do":"status","status":1,"sub":77,"id":"s"})");
    EXPECT_THAT(ToJson(reply), StartsWith(R"({"reply":"s","ok":true,"result":42,"ms":)"));
    EXPECT_EQ(host.AskFor("status login", "result"), "0");
    EXPECT_EQ(host.AskFor("status 3 9", "result"), "0");
    EXPECT_THAT(host.GetEvents("WriteLog"),
                ElementsAre(R"({"line":"status 1 77"})", R"({"line":"status 1 9"})", R"({"line":"status 3 9"})"));
}

TEST_F(HostRequests, GiveATopicsResultAndItsData) {
    CHostProcess& host = Start();
    EXPECT_EQ(ToJson(host.Ask(R"({"do":"topic","topic":"result","param":-2147467259,"data":"in"})")),
              R"({"reply":1,"ok":true,"result":-2147467259,"data":"in"})");
    EXPECT_EQ(ToJson(host.Ask(R"({"do":"topic","topic":"cookie","text":"none","data":7})")),
              R"({"reply":2,"ok":true,"result":0,"data":0})");
    EXPECT_EQ(ToJson(host.Ask(R"({"do":"topic","topic":"unknown"})")),
              R"({"reply":3,"ok":true,"result":0,"data":null})");
}

TEST_F(HostRequests, AreRefusedWithoutHarmWhenTheyMakeNoSense) {
    CHostProcess& host = Start();
    const std::pair<const char*, const char*> CASES[] = {
        {R"({"do":"dance"})", R"(unknown request "dance")"},
        {"dance", R"(unknown request "dance")"},
        {"{", "bad JSON at byte 1: "},
        {R"({"do":"tables"} x)", "bad JSON at byte "},
        {R"({"do":"tables)", "bad JSON at byte "},
        {"{\"do\":\"t\xff\xfe\"}", "bad JSON at byte "},
        {"\xff\xfe", "unknown request "},
        {R"({"table":"T"})", R"("do" is missing)"},
        {R"({"do":7})", R"("do" isn't a string)"},
        {R"({"do":"tables","id":{}})", R"("id" isn't a string or a number)"},
        {R"({"do":"status","status":1})", R"("sub" is missing)"},
        {R"({"do":"status","status":1,"sub":"9"})", R"("sub" isn't an integer of 32 bits)"},
        {R"({"do":"status","status":1,"sub":4294967296})", R"("sub" isn't an integer of 32 bits)"},
        {R"({"do":"set","table":"T","values":[1]})", R"("values" isn't an object)"},
        {R"({"do":"set","table":"T","values":{"k":1.5}})", R"("k" isn't a string or an integer of 32 bits)"},
        {R"({"do":"set","table":["T"],"values":{}})", R"("table" isn't a string)"},
        {R"({"do":"set","table":"T","path":"a","values":{}})", R"("path" isn't an array)"},
        {R"({"do":"set","table":"T","path":[1],"values":{}})", R"("path" isn't a string)"},
        {R"({"do":"rows","table":"T","rows":[[]]})", R"("rows" isn't a string or an integer of 32 bits)"},
        {R"({"do":"get","table":"Missing","key":"k"})", R"(unknown table "Missing")"},
        {R"({"do":"get","table":"CQYZ","path":["x"],"key":"k"})", R"(unknown sub-table "x" of "CQYZ")"},
        {R"({"do":"dump","table":"Missing"})", R"(unknown table "Missing")"},
        {R"({"do":"clear","table":"Missing"})", R"(unknown table "Missing")"},
        {R"({"do":"drop","table":"Missing"})", R"(unknown table "Missing")"},
        {R"({"do":"watch","table":"Missing"})", R"(unknown table "Missing")"},
        {R"({"do":"unwatch","table":"CQYZ"})", R"("CQYZ" isn't watched)"},
        {R"({"do":"wait","event":"Nothing"})", R"(unknown event "Nothing")"},
        {R"({"do":"wait","event":"WriteLog","match":{"line":[]}})", R"("line" of "match" isn't)"},
        {R"({"do":"wait","event":"WriteLog","after":-1})", R"("after" isn't a number from 0)"},
        {R"({"do":"sleep","ms":-1})", R"("ms" isn't a number of milliseconds)"},
        {R"({"do":"clock","date":20260105})", R"("time" is missing)"},
        {R"({"do":"clock","tick":1})", R"("tick" isn't true or false)"},
        {R"({"do":"hold"})", R"("name" is missing)"},
        {R"({"do":"hold","name":""})", R"(can't hold the event "")"},
        {R"({"do":"release","name":"N"})", R"("N" isn't held)"},
        {"set T key", "usage: set TABLE"},
        {"get T key more", "usage: get TABLE"},
        {"set T \"key", "a quote isn't closed"},
        {"status soon", "usage: status "},
        {"clock tick maybe", "usage: clock "},
        {"help dance", R"(unknown request "dance")"},
    };
    for (const auto& [pszRequest, pszError] : CASES)
        EXPECT_THAT(host.AskForError(pszRequest), StartsWith(pszError)) << pszRequest;
    // A set whose values are bad writes nothing, and makes no table.
    EXPECT_EQ(host.AskForError(R"({"do":"dump","table":"T"})"), R"(unknown table "T")");
    EXPECT_EQ(host.Finish(), 0);
}

TEST_F(HostRequests, TakeNestingOfAMillionLevels) {
    CHostProcess& host = Start();
    const std::string strDeep(1'000'000, '[');
    EXPECT_THAT(host.AskForError("{\"do\":" + strDeep), StartsWith("bad JSON at byte "));
    EXPECT_EQ(host.AskForError("{\"do\":" + strDeep + std::string(1'000'000, ']') + "}"), R"("do" isn't a string)");
    EXPECT_EQ(host.AskFor("get CQYZ a", "value"), "null");
}

TEST_F(HostRequests, RefuseAPathOfAHundredThousandNames) {
    CHostProcess& host = Start();
    std::string strNames = "\"x\"";
    for (int i = 1; i < 100'000; ++i) strNames += ",\"x\"";
    EXPECT_EQ(host.AskForError(R"({"do":"set","table":"T","values":{},"path":[)" + strNames + "]}"),
              "the path is too deep");
}

TEST_F(HostRequests, TakeALineOfTenMegabytes) {
    CHostProcess& host = Start();
    const std::string strLong(10'000'000, 'y');
    const std::string strError = host.AskForError(strLong);
    EXPECT_THAT(strError, StartsWith("unknown request \"yyy"));
    EXPECT_LT(strError.size(), 200u);
    EXPECT_EQ(host.AskFor(R"({"do":"set","table":"T","values":{"k":")" + strLong + R"("}})", "value"), "absent");
    EXPECT_EQ(host.AskFor("get T k", "value").size(), strLong.size() + 2);
}

TEST_F(HostRequests, RefuseALineAboveTheLimitAndReadOn) {
    CHostProcess& host = Start();
    const std::string strLong((std::size_t{64} << 20) + 5, 'x');
    EXPECT_EQ(host.AskForError(strLong), "the line is too long");
    EXPECT_EQ(host.AskFor("get CQYZ a", "value"), "null");
}

TEST_F(HostRequests, ListTheWordsWithOneLineForEach) {
    CHostProcess& host = Start();
    const rapidjson::Document reply = host.Ask("help");
    std::vector<std::string> arFirst;
    for (const auto& line : reply["help"].GetArray())
        arFirst.emplace_back(line.GetString(), std::string_view(line.GetString()).find(' '));
    EXPECT_THAT(arFirst, ElementsAre("status", "topic", "set", "rows", "clear", "drop", "get", "keys", "dump", "tables",
                                     "find", "card", "tree", "watch", "unwatch", "hold", "release", "clock", "timers",
                                     "servers", "holidays", "rates", "rolls", "expiry", "factors", "myrolls", "plot",
                                     "wait", "sleep", "help", "quit"));
    EXPECT_EQ(host.Ask("help wait")["help"].Size(), 1u);
}

}  // namespace

}  // namespace qvant::test
