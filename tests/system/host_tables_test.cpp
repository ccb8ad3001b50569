#include <csignal>

#include <sqlite3.h>

#include "system/host_fixture.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class HostTables : public HostTest {};

TEST_F(HostTables, OfTheStartAreThere) {
    EXPECT_EQ(Start().AskFor("tables", "tables"),
              R"(["CQYZ","GeneralService","LUMIVALE.REQUEST","QvantSystemTime","STORAGE"])");
}

TEST_F(HostTables, AreMissingInABareHost) {
    CHostProcess& host = Start({"--bare"});
    EXPECT_EQ(host.AskFor("tables", "tables"), "[]");
    host.Ask("set T key value");
    EXPECT_EQ(host.AskFor("tables", "tables"), R"(["T"])");
}

TEST_F(HostTables, AreMadeByWritingToThemWithThePathsOnTheWay) {
    CHostProcess& host = Start();
    host.Ask(R"({"do":"set","table":"T","path":["a","b"],"values":{"k":"v","n":-2147483648}})");
    host.Ask(R"({"do":"set","table":"T","path":["a"],"values":{"empty":null,"text":""}})");
    host.Ask(R"({"do":"rows","table":"T","path":["c"],"rows":["x",1,null]})");
    EXPECT_EQ(host.AskFor("get T/a/b n", "value"), "-2147483648");
    EXPECT_EQ(host.AskFor("dump T", "dump"), R"({"values":{},"rows":[],"tables":{)"
                                             R"("a":{"values":{"empty":null,"text":""},"rows":[],"tables":{)"
                                             R"("b":{"values":{"k":"v","n":-2147483648},"rows":[],"tables":{}}}},)"
                                             R"("c":{"values":{},"rows":["x",1,null],"tables":{}}}})");
}

TEST_F(HostTables, KeepTheirOtherKeysAtASetAndTheirOtherSectionsAtRows) {
    CHostProcess& host = Start();
    host.Ask("set T a 1 b 2");
    host.Ask("rows T x y z");
    host.Ask("set T b 3");
    host.Ask("rows T q");
    EXPECT_EQ(host.AskFor("dump T", "dump"), R"({"values":{"a":1,"b":3},"rows":["q"],"tables":{}})");
    host.Ask("rows T");
    EXPECT_EQ(host.AskFor("dump T", "dump"), R"({"values":{"a":1,"b":3},"rows":[],"tables":{}})");
}

TEST_F(HostTables, AreClearedBySections) {
    CHostProcess& host = Start();
    host.Ask("set T a 1");
    host.Ask("set T/sub b 2");
    host.Ask("rows T x");
    host.Ask(R"({"do":"clear","table":"T","mask":2})");
    EXPECT_EQ(host.AskFor("dump T", "dump"),
              R"({"values":{"a":1},"rows":[],"tables":{"sub":{"values":{"b":2},"rows":[],"tables":{}}}})");
    host.Ask("clear T 4");
    host.Ask("clear T/sub");
    EXPECT_EQ(host.AskFor("dump T", "dump"),
              R"({"values":{},"rows":[],"tables":{"sub":{"values":{},"rows":[],"tables":{}}}})");
    host.Ask(R"({"do":"clear","table":"T"})");
    EXPECT_EQ(host.AskFor("dump T", "dump"), R"({"values":{},"rows":[],"tables":{}})");
}

TEST_F(HostTables, TellTheirKeysInOneText) {
    CHostProcess& host = Start();
    host.Ask("set T a 1");
    EXPECT_EQ(host.AskFor("keys T", "value"), R"("T:a")");
    host.Ask("set T b 1");
    const std::string strKeys = host.AskFor("keys T", "value");
    EXPECT_THAT(strKeys, AllOf(HasSubstr("T:a"), HasSubstr("T:b"), HasSubstr(";")));
}

TEST_F(HostTables, AreForgottenByADropAndBeginAnew) {
    CHostProcess& host = Start();
    host.Ask("set T a 1");
    EXPECT_EQ(host.AskForError(R"({"do":"drop","table":"T"})"), "");
    EXPECT_EQ(host.AskForError("get T a"), R"(unknown table "T")");
    host.Ask("set T b 2");
    EXPECT_EQ(host.AskFor("dump T", "dump"), R"({"values":{"b":2},"rows":[],"tables":{}})");
}

TEST_F(HostTables, AreDumpedWholeHoweverLong) {
    CHostProcess& host = Start();
    std::string strRows = "0";
    for (int i = 1; i < 60'000; ++i) strRows += ',' + std::to_string(i);
    host.Ask(R"({"do":"rows","table":"T","rows":[)" + strRows + "]}");
    EXPECT_EQ(host.AskFor("dump T", "dump"), R"({"values":{},"rows":[)" + strRows + R"(],"tables":{}})");
}

TEST_F(HostTables, ShowTheirEventsWhileTheyAreWatched) {
    CHostProcess& host = Start();
    host.Ask("set T before 1");
    host.Ask("set T/sub before 1");
    EXPECT_EQ(host.AskForError("watch T"), "");
    EXPECT_EQ(host.AskForError("watch T"), "");
    EXPECT_EQ(host.AskForError("watch T/sub"), "");
    host.Ask("set T a 1 b 2");
    host.Ask("rows T/sub x y");
    host.Ask("wait OnUpdate table=T path=sub key=1");
    host.Ask("wait OnUpdate key=b after 0");
    EXPECT_EQ(host.GetEvents("OnUpdate").size(), 4u);
    ASSERT_EQ(host.GetEvents("OnReplace").size(), 1u);
    EXPECT_THAT(host.GetEvents("OnReplace"),
                ElementsAre(::testing::MatchesRegex(R"(\{"table":"T","path":\["sub"\],"transaction":[0-9]+\})")));
    EXPECT_THAT(
        host.GetEvents("OnUpdate"),
        ::testing::Contains(::testing::MatchesRegex(R"(\{"table":"T","path":\[\],"transaction":[0-9]+,"key":"a"\})")));
    EXPECT_EQ(host.AskForError("unwatch T/sub"), "");
    host.Ask("rows T/sub z");
    host.Ask("set T c 1");
    host.Ask("wait OnUpdate key=c");
    EXPECT_EQ(host.GetEvents("OnReplace").size(), 1u);
    EXPECT_EQ(host.AskForError("unwatch T/sub"), R"("T" isn't watched)");
}

TEST_F(HostTables, AreNoLongerWatchedAfterADrop) {
    CHostProcess& host = Start();
    host.Ask("set T/sub a 1");
    host.Ask("watch T/sub");
    host.Ask("drop T");
    EXPECT_EQ(host.AskForError("unwatch T/sub"), R"("T" isn't watched)");
}

TEST_F(HostTables, TellTheClockInOneTransaction) {
    CHostProcess& host = Start({"--bare"});
    EXPECT_EQ(host.AskForError(R"({"do":"clock","date":20260105,"time":93000})"), "");
    EXPECT_EQ(host.AskFor("dump QvantSystemTime", "dump"),
              R"({"values":{"SystemDate":20260105,"SystemTime":93000},"rows":[],"tables":{}})");
    host.Ask("watch QvantSystemTime");
    host.Ask("clock 20260106 0");
    const int nDate = host.Ask("wait OnUpdate key=SystemDate after 0")["found"]["transaction"].GetInt();
    EXPECT_EQ(host.Ask("wait OnUpdate key=SystemTime after 0")["found"]["transaction"].GetInt(), nDate);
}

TEST_F(HostTables, TellTheUtcTimeWhileTheClockTicks) {
    CHostProcess& host = Start();
    const std::time_t nBefore = std::time(nullptr);
    host.Ask("clock tick on");
    const std::string strDate = host.AskFor("get QvantSystemTime SystemDate", "value");
    const std::time_t nAfter = std::time(nullptr);
    const auto Format = [](std::time_t n) {
        char szDate[16];
        std::strftime(szDate, sizeof szDate, "%Y%m%d", std::gmtime(&n));
        return std::string(szDate);
    };
    EXPECT_THAT(strDate, ::testing::AnyOf(Format(nBefore), Format(nAfter)));
    const std::string strTime = host.AskFor("get QvantSystemTime SystemTime", "value");
    host.Ask("watch QvantSystemTime");
    host.Ask("wait OnUpdate key=SystemTime");
    EXPECT_NE(host.AskFor("get QvantSystemTime SystemTime", "value"), strTime);
    EXPECT_EQ(host.AskForError("clock tick off"), "");
}

class HostStorage : public HostTest {
protected:
    std::string DatabasePath() const { return (m_home.GetPath() / "Data" / "STORAGE.db").string(); }
};

TEST_F(HostStorage, OutlivesTheProcessWithItsSubTables) {
    CHostProcess& first = Start();
    first.Ask(R"({"do":"set","table":"STORAGE","values":{"k":"v \udc00 漢","n":5,"e":null}})");
    first.Ask("set STORAGE/Lumivale/deep Version 17");
    first.Ask("rows STORAGE/Holiday a b");
    first.Ask("set Other k v");
    const std::string strDump = first.AskFor("dump STORAGE", "dump");
    EXPECT_EQ(first.Finish(), 0);
    CHostProcess& second = Start();
    EXPECT_EQ(second.AskFor("dump STORAGE", "dump"), strDump);
    EXPECT_EQ(second.AskFor("get STORAGE/Lumivale/deep Version", "value"), "17");
    EXPECT_EQ(second.AskForError("get Other k"), R"(unknown table "Other")");
}

TEST_F(HostStorage, LosesNoAnsweredTransactionWhenTheProcessIsKilled) {
    CHostProcess& first = Start();
    for (int i = 0; i < 100; ++i) {
        const std::string strNumber = std::to_string(i);
        first.Ask("set STORAGE/Lumivale a" + strNumber + ' ' + strNumber + " b" + strNumber + ' ' + strNumber);
    }
    // More are under way when it dies; each of them is there whole or not at all.
    first.Send("set STORAGE/Lumivale half 1 other 1\nset STORAGE/Lumivale half 2 other 2\n");
    first.GetProcess().Signal(SIGKILL);
    EXPECT_EQ(first.GetProcess().Wait(), -SIGKILL);
    CHostProcess& second = Start();
    EXPECT_EQ(second.AskFor("get STORAGE/Lumivale a99", "value"), "99");
    EXPECT_EQ(second.AskFor("get STORAGE/Lumivale b0", "value"), "0");
    EXPECT_EQ(second.AskFor("get STORAGE/Lumivale half", "value"),
              second.AskFor("get STORAGE/Lumivale other", "value"));
}

TEST_F(HostStorage, ForgetsWhatWasCleared) {
    CHostProcess& first = Start();
    first.Ask("set STORAGE/Lumivale k 1");
    first.Ask("set STORAGE/Holiday k 1");
    first.Ask("clear STORAGE/Lumivale");
    first.Finish();
    CHostProcess& second = Start();
    EXPECT_EQ(second.AskFor("dump STORAGE", "dump"),
              R"({"values":{},"rows":[],"tables":{"Holiday":{"values":{"k":1},"rows":[],"tables":{}},)"
              R"("Lumivale":{"values":{},"rows":[],"tables":{}}}})");
}

TEST_F(HostStorage, IsKeptInADatabaseBelowTheHomeFolder) {
    CHostProcess& host = Start();
    host.Ask("set STORAGE k v");
    host.Finish();
    sqlite3* pDatabase = nullptr;
    ASSERT_EQ(sqlite3_open_v2(DatabasePath().c_str(), &pDatabase, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(pDatabase, "PRAGMA integrity_check", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(pDatabase);
}

TEST_F(HostStorage, LivesInMemoryWhenItsFileCantBeUsed) {
    m_home.Write("Data/STORAGE.db", "this is no database, and long enough for nobody to take it for an empty one");
    CHostProcess& host = Start();
    EXPECT_EQ(host.AskForError("set STORAGE k v"), "");
    EXPECT_EQ(host.AskFor("get STORAGE k", "value"), R"("v")");
    EXPECT_EQ(host.Finish(), 0);
    EXPECT_THAT(host.GetProcess().GetErrors(), HasSubstr("STORAGE lives in memory only"));
}

TEST_F(HostStorage, IsPersistentInABareHostTooOnceItIsMade) {
    Start({"--bare"}).Ask("set STORAGE k v");
    EXPECT_EQ(Start().AskFor("get STORAGE k", "value"), R"("v")");
}

}  // namespace

}  // namespace qvant::test
