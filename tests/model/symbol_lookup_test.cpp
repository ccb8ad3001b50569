#include "model/symbol_lookup.h"

#include <filesystem>
#include <functional>
#include <map>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "base/format.h"
#include "platform/stop.h"
#include "support/scratch_folder.h"
#include "symbol_sources.h"

namespace qvant {
namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::Pair;

/// 2026-01-09 23:06:40 UTC.
class CFixedClock : public platform::IClock {
public:
    std::int64_t NowMilliseconds() const override { return 1768000000123; }
};

class CReceiver : public CDataBaseEventReceiver {
public:
    void OnWriteLog(const Text&) override {
        if (m_onLog) m_onLog();
    }

    std::function<void()> m_onLog;
};

class SymbolLookup : public testing::Test {
protected:
    SymbolLookup() {
        m_model.state.AppsLanguage = u"ENG";
        m_model.state.m_strVersion = u"s1";
        m_model.state.m_mapContractVersion = {{u"FUT", u"f1"}};
        Add(u"QV.F.CME.ES.202612", u"E-mini 2612");
        Add(u"QV.F.CME.ES.202703", u"E-mini 2703");
        Add(u"QV.S.SSE.600000", u"浦发银行");
        m_model.contracts.m_mapSymbolToNear[u"QV.F.CME.ES.202612"] = u"QV.F.CME.ES.Front1";
        m_model.contracts.m_mapSymbolToInstrument.insert_or_assign(u"QV.S.SSE.600000", u"600000");
        m_model.contracts.m_mapSymbolToInstrument.insert_or_assign(u"QV.F.CME.ES.202612", u"ESZ6");
        AddRows();
    }

    void Add(TextView strSymbol, TextView strName) {
        m_model.contracts.AddContract(strSymbol);
        m_model.contracts.m_mapSymbolToName.insert_or_assign(strSymbol, strName);
    }
    /// Rows of the pickers' table, as the builder leaves them for each build.
    void AddRows() {
        CContractRows& rows = m_model.contracts.m_arContractInsertData;
        rows.clear();
        rows.StartLeaf(u"FUT|", u"#@FUT.US, East#@FUT.美国#@");
        rows.Add(u"QV.F.CME.ES.202612", true);
    }

    /// A start of the service: opens the database that the last one left.
    void Start() {
        m_databases.emplace(m_model.host, m_receiver);
        m_databases->OpenSearch(m_folder / "home/", u"Test");
        m_model.state.m_bFirstSymbolBuild = true;
        m_model.host.m_arLog.clear();
    }
    void Make(const std::function<bool()>& isRunning = [] { return true; }) {
        if (!m_databases) Start();
        CSymbolLookup lookup({m_model.host, m_clock, m_model.state, m_model.contracts, m_model.lists,
                              m_model.securities, m_stocks, *m_databases, m_event},
                             isRunning);
        lookup.MakeSymbolLookupList({&m_model.host[u"Symbol.Search.Name"], &m_model.host[u"NEARMONTHTABLE"]});
    }

    /// A query by another program.
    std::vector<std::string> Query(const std::string& strSql) {
        sqlite3* pConnection = nullptr;
        EXPECT_EQ(sqlite3_open(GetFile().c_str(), &pConnection), SQLITE_OK);
        const auto arRows = QueryOn(pConnection, strSql);
        sqlite3_close(pConnection);
        return arRows;
    }
    static std::vector<std::string> QueryOn(sqlite3* pConnection, const std::string& strSql) {
        std::vector<std::string> arRows;
        const auto add = [](void* pRows, int nColumns, char** apValues, char**) {
            std::string strRow;
            for (int i = 0; i < nColumns; ++i) strRow.append(i ? "|" : "").append(apValues[i] ? apValues[i] : "");
            static_cast<std::vector<std::string>*>(pRows)->push_back(strRow);
            return 0;
        };
        EXPECT_EQ(sqlite3_exec(pConnection, strSql.c_str(), add, &arRows, nullptr), SQLITE_OK)
            << sqlite3_errmsg(pConnection);
        return arRows;
    }
    fs::path GetFile() const { return m_folder.GetPath() / "home/Data/API/Lumivale_Test.db"; }
    std::map<Text, Text> Near() { return ReadValues(m_model.host[u"NEARMONTHTABLE"]); }
    std::map<Text, Text> Names() { return ReadValues(m_model.host[u"Symbol.Search.Name"]); }
    bool HasLineFrom(TextView strStart) const {
        const auto Begins = [strStart](const Text& strLine) { return strLine.starts_with(strStart); };
        return std::ranges::any_of(m_model.host.m_arLog, Begins);
    }
    bool WasBuilt() const { return HasLineFrom(u"Update MakeSymbolLookupList Time:"); }
    /// Whether the next run after a change builds everything.
    bool BuildsAfter(const std::function<void()>& change) {
        Make();
        AddRows();
        change();
        m_model.host.m_arLog.clear();
        Make();
        return WasBuilt();
    }

    test::CScratchFolder m_folder;
    test::CEnvironment m_home{"LUMIVALE_HOME", (m_folder.GetPath() / "home").string()};
    test::SymbolSources m_model;
    StockLimitMap m_stocks;
    CFixedClock m_clock;
    CReceiver m_receiver;
    platform::CEvent m_event{platform::CEvent::Reset::Manual, true};
    std::optional<CRecordDatabases> m_databases;
};

TEST_F(SymbolLookup, FillsAnEmptyDatabaseAndBothTables) {
    Make();
    EXPECT_THAT(Query("SELECT Symbol,NearSymbol,Instrument,TimeStamp FROM SymbolSearch"),
                ElementsAre("QV.F.CME.ES.202612|QV.F.CME.ES.Front1|ESZ6|1768000000", "QV.F.CME.ES.202703|||1768000000",
                            "QV.S.SSE.600000||600000|1768000000"));
    EXPECT_THAT(Query("SELECT * FROM Lumivale"),
                ElementsAre("Lumivale_Db|1.0.2.51", "Lang|ENG", "Security|s1", "FUT|f1"));
    EXPECT_THAT(Query("SELECT * FROM ContractList"),
                ElementsAre("FUT|QV.F.CME.ES.202612|QV.F.CME.ES.202612|FUT.US, East|FUT.美国|1|1768000000"));
    EXPECT_THAT(Near(), ElementsAre(Pair(u"QV.F.CME.ES.202612", u"QV.F.CME.ES.Front1"),
                                    Pair(u"QV.F.CME.ES.Front1", u"QV.F.CME.ES.202612")));
    EXPECT_THAT(m_model.host.m_arLog,
                ElementsAre(u"MakeSymbolLookupList Begin.",
                            u"Update MakeSymbolLookupList Time:1768000000, m_arContractInsertData:1",
                            u"Update MakeSymbolLookupList m_arAllContract:3",
                            u"Update MakeSymbolLookupList GetRecordCount:3", u"MakeSymbolLookupList End."));
    EXPECT_EQ(m_databases->GetSearchVersion(), SEARCH_DATABASE_VERSION);
    EXPECT_THAT(m_model.contracts.m_arContractInsertData, IsEmpty());
    EXPECT_TRUE(m_event.IsSet());
}

TEST_F(SymbolLookup, LeadsBackToASymbolFromInstrumentsOfMoreThanFourCharacters) {
    Make();
    EXPECT_THAT(Names(), ElementsAre(Pair(u"600000", u"QV.S.SSE.600000"), Pair(u"QV.F.CME.ES.202612", u"ESZ6"),
                                     Pair(u"QV.S.SSE.600000", u"600000")));
}

TEST_F(SymbolLookup, WritesNoRowWhenNothingChangedSinceTheLastRun) {
    Make();
    m_databases.reset();
    Start();
    AddRows();
    m_model.host.Drop(u"NEARMONTHTABLE");
    Make();
    EXPECT_FALSE(WasBuilt());
    // The table isn't kept from one start to the next.
    EXPECT_THAT(Near(), Contains(Pair(u"QV.F.CME.ES.Front1", u"QV.F.CME.ES.202612")));
    EXPECT_FALSE(m_model.state.m_bFirstSymbolBuild);
}

TEST_F(SymbolLookup, LeavesTheNearMonthsAloneInALaterRunThatFindsTheDatabaseCurrent) {
    Make();
    m_model.contracts.m_mapSymbolToNear[u"QV.F.CME.ES.202703"] = u"QV.F.CME.ES.Front2";
    Make();
    EXPECT_THAT(Near(), Not(Contains(Pair(u"QV.F.CME.ES.202703", u"QV.F.CME.ES.Front2"))));
}

TEST_F(SymbolLookup, RefreshesTheNearSymbolsOfOptionsWithRightAndStrike) {
    Add(u"QV.O.CME.ES.202612.C.4500", u"call");
    m_model.contracts.m_mapSymbolToNear[u"QV.O.CME.ES.202612"] = u"QV.O.CME.ES.Front1";
    Make();
    m_databases.reset();
    Start();
    m_model.host.Drop(u"NEARMONTHTABLE");
    Make();
    EXPECT_FALSE(WasBuilt());
    EXPECT_THAT(Near(), Contains(Pair(u"QV.O.CME.ES.Front1.C.4500", u"QV.O.CME.ES.202612.C.4500")));
}

TEST_F(SymbolLookup, BuildsAnewForAnotherSecuritiesDocument) {
    EXPECT_TRUE(BuildsAfter([&] { m_model.state.m_strVersion = u"s2"; }));
}

TEST_F(SymbolLookup, BuildsAnewForAnotherLanguage) {
    EXPECT_TRUE(BuildsAfter([&] { m_model.state.AppsLanguage = u"CHT"; }));
}

TEST_F(SymbolLookup, BuildsAnewForAnotherVersionOfAClassification) {
    EXPECT_TRUE(BuildsAfter([&] { m_model.state.m_mapContractVersion[u"FUT"] = u"f2"; }));
}

TEST_F(SymbolLookup, BuildsAnewForOneClassificationMore) {
    EXPECT_TRUE(BuildsAfter([&] { m_model.state.m_mapContractVersion[u"STOCKS"] = u"k1"; }));
}

TEST_F(SymbolLookup, BuildsAnewForAClassificationThatIsGone) {
    EXPECT_TRUE(BuildsAfter([&] { m_model.state.m_mapContractVersion.clear(); }));
}

TEST_F(SymbolLookup, BuildsAnewWithoutALanguageRow) {
    EXPECT_TRUE(BuildsAfter([&] { Query("UPDATE Lumivale SET Name='Other', Version='-1' WHERE Name='Lang'"); }));
}

TEST_F(SymbolLookup, BuildsAnewForAnotherLayout) {
    EXPECT_TRUE(BuildsAfter([&] { Query("UPDATE Lumivale SET Version='1.0.2.50' WHERE Name='Lumivale_Db'"); }));
}

TEST_F(SymbolLookup, BuildsAnewWhenTheVersionWasTakenAway) {
    EXPECT_TRUE(BuildsAfter([&] { m_databases->SetSearchVersion(u""); }));
}

TEST_F(SymbolLookup, BuildsNothingWhenNothingChanged) {
    EXPECT_FALSE(BuildsAfter([] {}));
}

TEST_F(SymbolLookup, ReplacesTheRowsOfTheLastBuild) {
    Make();
    AddRows();
    m_model.contracts.m_arAllContract = {u"QV.S.SSE.600000"};
    m_model.state.m_strVersion = u"s2";
    Make();
    EXPECT_THAT(Query("SELECT Symbol FROM SymbolSearch"), ElementsAre("QV.S.SSE.600000"));
    EXPECT_THAT(Query("SELECT count(*) FROM ContractList"), ElementsAre("1"));
    EXPECT_THAT(Query("SELECT Version FROM Lumivale WHERE Name='Security'"), ElementsAre("s2"));
}

TEST_F(SymbolLookup, HoldsSyntheticUnderlyingsAndSkipsSymbolsWithoutAName) {
    m_model.contracts.m_arAllContract = {u"", u"QV.F.CME.NONE.202612", u"QV.F.U_SSE.510050.202612"};
    m_model.contracts.m_mapSynuSymbolToName.insert_or_assign(u"QV.F.U_SSE.510050.202612", u"510050 SynU 2612");
    Make();
    EXPECT_THAT(Query("SELECT Symbol,SearchName,SearchID,Exchange,Status FROM SymbolSearch"),
                ElementsAre("QV.F.U_SSE.510050.202612|510050 SynU 2612||U_SSE|1"));
}

TEST_F(SymbolLookup, MendsADatabaseThatIsJunk) {
    Make();
    m_databases.reset();
    m_folder.Write("home/Data/API/Lumivale_Test.db", std::string(5000, 'x'));
    Start();
    Make();
    EXPECT_TRUE(WasBuilt());
    EXPECT_THAT(Query("SELECT count(*) FROM SymbolSearch"), ElementsAre("3"));
}

TEST_F(SymbolLookup, DeletesADatabaseThatTakesNoRowAndBuildsAnew) {
    Make();
    AddRows();
    Query("CREATE TRIGGER refuse BEFORE INSERT ON SymbolSearch BEGIN SELECT RAISE(ABORT, 'no'); END");
    m_model.state.m_strVersion = u"s2";
    m_model.host.m_arLog.clear();
    Make();
    EXPECT_TRUE(HasLineFrom(u"MakeSymbolLookupList InsertDBRecord(0):QV.F.CME.ES.202612,"));
    EXPECT_THAT(m_model.host.m_arLog, Contains(u"MakeSymbolLookupList delete db file!"));
    EXPECT_THAT(Query("SELECT count(*) FROM SymbolSearch"), ElementsAre("3"));
    EXPECT_THAT(Near(), Contains(Pair(u"QV.F.CME.ES.Front1", u"QV.F.CME.ES.202612")));
}

TEST_F(SymbolLookup, LeavesNothingOfAFailedPassInTheDatabaseThatItDeletes) {
    Make();
    AddRows();
    Query("CREATE TRIGGER refuse BEFORE INSERT ON SymbolSearch BEGIN SELECT RAISE(ABORT, 'no'); END");
    m_model.state.m_strVersion = u"s2";
    // Whoever has a deleted file open still sees what a process that ended in that moment would have left.
    sqlite3* pConnection = nullptr;
    ASSERT_EQ(sqlite3_open(GetFile().c_str(), &pConnection), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(pConnection, "SELECT * FROM Lumivale", nullptr, nullptr, nullptr), SQLITE_OK);
    Make();
    EXPECT_THAT(QueryOn(pConnection, "SELECT Version FROM Lumivale WHERE Name='Security'"), ElementsAre("s1"));
    EXPECT_THAT(QueryOn(pConnection, "SELECT count(*) FROM SymbolSearch"), ElementsAre("3"));
    sqlite3_close(pConnection);
    EXPECT_THAT(Query("SELECT Version FROM Lumivale WHERE Name='Security'"), ElementsAre("s2"));
}

TEST_F(SymbolLookup, EndsItsRetriesAtAStopAndLeavesTheTablesAsTheyWere) {
    Make();
    m_databases.reset();
    // A folder in the file's place can be neither written nor deleted.
    fs::remove(GetFile());
    fs::create_directories(GetFile() / "in the way");
    Start();
    AddRows();
    m_model.contracts.m_mapSymbolToNear[u"QV.F.CME.ES.202703"] = u"QV.F.CME.ES.Front2";
    std::stop_source stop;
    std::thread owner([&] {
        while (m_event.IsSet()) std::this_thread::yield();
        stop.request_stop();
    });
    {
        const platform::CStopScope scope(stop.get_token());
        Make();
    }
    owner.join();
    EXPECT_TRUE(m_event.IsSet());
    EXPECT_THAT(m_model.host.m_arLog, Not(Contains(u"MakeSymbolLookupList End.")));
    EXPECT_THAT(Near(), Not(Contains(Pair(u"QV.F.CME.ES.202703", u"QV.F.CME.ES.Front2"))));
    EXPECT_THAT(Near(), Contains(Pair(u"QV.F.CME.ES.202612", u"QV.F.CME.ES.Front1")));
}

TEST_F(SymbolLookup, LeavesTheDatabaseAsItWasWhenAStopComesInTheMiddle) {
    Make();
    AddRows();
    m_model.contracts.m_arAllContract.insert(m_model.contracts.m_arAllContract.begin(), u"QV.F.CME.NQ.202612");
    m_model.contracts.m_mapSymbolToName.insert_or_assign(u"QV.F.CME.NQ.202612", u"Nasdaq");
    m_model.state.m_strVersion = u"s2";
    std::stop_source stop;
    stop.request_stop();
    {
        const platform::CStopScope scope(stop.get_token());
        Make();
    }
    EXPECT_THAT(Query("SELECT Version FROM Lumivale WHERE Name='Security'"), ElementsAre("s1"));
    EXPECT_THAT(Query("SELECT count(*) FROM SymbolSearch"), ElementsAre("3"));
    EXPECT_THAT(Query("SELECT count(*) FROM ContractList"), ElementsAre("1"));
    // The next run does what this one didn't.
    Make();
    EXPECT_THAT(Query("SELECT count(*) FROM SymbolSearch"), ElementsAre("4"));
}

TEST_F(SymbolLookup, LeavesTheDatabaseAsItWasWhenAStopComesInTheMiddleOfALongList) {
    Make();
    AddRows();
    // The database tells once of a row with too many fields, at the moment when it is entered.
    for (int i = 0; i < 20'000; ++i) {
        Add(Format(u"QV.F.CME.P%04d.202612", i), i < 10'000 ? u"short" : u"one,two,three,four");
    }
    m_model.state.m_strVersion = u"s2";
    std::stop_source stop;
    m_receiver.m_onLog = [&stop] { stop.request_stop(); };
    {
        const platform::CStopScope scope(stop.get_token());
        Make();
    }
    ASSERT_TRUE(stop.stop_requested());
    EXPECT_THAT(Query("SELECT Version FROM Lumivale WHERE Name='Security'"), ElementsAre("s1"));
    EXPECT_THAT(Query("SELECT count(*) FROM SymbolSearch"), ElementsAre("3"));
    Make();
    EXPECT_THAT(Query("SELECT count(*) FROM SymbolSearch"), ElementsAre("20003"));
}

TEST_F(SymbolLookup, BuildsALongListAnewWhenARowInTheMiddleIsRefused) {
    Make();
    AddRows();
    for (int i = 0; i < 20'000; ++i) {
        const Text strSymbol = Format(u"QV.F.CME.P%04d.202612", i);
        Add(strSymbol, u"name");
        m_model.contracts.m_mapSymbolToNear[strSymbol] = Format(u"QV.F.CME.P%04d.Front1", i);
    }
    Query(
        "CREATE TRIGGER refuse BEFORE INSERT ON SymbolSearch WHEN NEW.Symbol='QV.F.CME.P9000.202612' "
        "BEGIN SELECT RAISE(ABORT, 'no'); END");
    m_model.state.m_strVersion = u"s2";
    m_model.host.m_arLog.clear();
    Make();
    EXPECT_TRUE(HasLineFrom(u"MakeSymbolLookupList InsertDBRecord(0):QV.F.CME.P9000.202612,"));
    EXPECT_THAT(m_model.host.m_arLog, Contains(u"MakeSymbolLookupList delete db file!"));
    EXPECT_THAT(Query("SELECT count(*) FROM SymbolSearch WHERE rowid = 3 + 1 + substr(Symbol, 11, instr(substr(Symbol, "
                      "11), '.') - 1) OR rowid <= 3"),
                ElementsAre("20003"));
    EXPECT_EQ(Near().size(), 2 * 20'001U);
}

TEST_F(SymbolLookup, FillsTheInstrumentsWithoutADatabase) {
    m_databases.emplace(m_model.host, m_receiver);  // never opened
    Make();
    EXPECT_THAT(m_model.host.m_arLog,
                ElementsAre(u"MakeSymbolLookupList Begin.", u"MakeSymbolLookupList dbapi is null.",
                            u"MakeSymbolLookupList End."));
    EXPECT_THAT(Names(), Contains(Pair(u"600000", u"QV.S.SSE.600000")));
    EXPECT_TRUE(m_event.IsSet());
}

TEST_F(SymbolLookup, DoesNothingBeforeTheStartAndAfterTheStop) {
    Make([] { return false; });
    EXPECT_THAT(m_model.host.m_arLog, IsEmpty());
    EXPECT_THAT(Names(), IsEmpty());
}

}  // namespace
}  // namespace qvant
