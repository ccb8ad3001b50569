#include <csignal>

#include "system/host_fixture.h"
#include "system/search_database_file.h"

namespace qvant::test {

namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class HostFind : public HostTest {
protected:
    std::filesystem::path DatabasePath() const { return m_home.GetPath() / "Data" / "API" / "Lumivale_.db"; }

    void AddFuture(const std::string& strExchange, const std::string& strProduct, const std::string& strMonth,
                   const std::string& strName) {
        m_database.Add({{"Symbol", "QV.F." + strExchange + "." + strProduct + "." + strMonth},
                        {"Name", strName + " " + strMonth},
                        {"SearchID", strExchange + "." + strProduct + " " + strMonth.substr(2)},
                        {"SearchName", strName + strMonth},
                        {"Exchange", strExchange},
                        {"Product", strProduct},
                        {"Type", "F"},
                        {"TypeNum", "1"},
                        {"ExpDate", strMonth + "18"}});
    }
    void AddStock(const std::string& strExchange, const std::string& strCode, const std::string& strName,
                  const std::string& strSpell) {
        m_database.Add({{"Symbol", "QV.S." + strExchange + "." + strCode},
                        {"Name", strCode + " " + strName},
                        {"SearchID", strCode + "." + strExchange},
                        {"SearchName", strCode + strName},
                        {"Exchange", strExchange},
                        {"Product", strCode},
                        {"Type", "S"},
                        {"TypeNum", "2"},
                        {"Spell", strSpell},
                        {"Instrument", strCode}});
    }

    /// The symbols that a reply shows, in their order.
    static std::vector<std::string> SymbolsOf(const rapidjson::Document& reply) {
        std::vector<std::string> arSymbols;
        if (!reply["ok"].GetBool()) return {reply["error"].GetString()};
        for (const auto& row : reply["symbols"]["rows"].GetArray()) arSymbols.emplace_back(row["symbol"].GetString());
        return arSymbols;
    }
    static std::vector<std::string> Find(CHostProcess& host, const std::string& strText) {
        return SymbolsOf(host.Ask("find " + strText));
    }

    CSearchDatabaseFile m_database{DatabasePath()};
};

class HostFindInTable : public HostFind {
protected:
    HostFindInTable() { m_database.MakeTable(); }
};

TEST_F(HostFindInTable, ShowsTheWholeProductFirstThenBeginningsThenTheRest) {
    AddStock("NYSE", "TEST", "Tester", "");
    AddFuture("EUREX", "ESTX", "202612", "Stoxx");
    m_database.Add({{"Symbol", "QV.O.CME.ES.202612.C.5000"}, {"Product", "ES"}, {"TypeNum", "3"}});
    AddFuture("CME", "ES", "202703", "E-mini");
    AddFuture("CME", "ES", "202612", "E-mini");
    EXPECT_THAT(Find(Start(), "es"),
                ElementsAre("QV.F.CME.ES.202703", "QV.F.CME.ES.202612", "QV.O.CME.ES.202612.C.5000",
                            "QV.F.EUREX.ESTX.202612", "QV.S.NYSE.TEST"));
}

TEST_F(HostFindInTable, LooksIntoIdNamePinyinAndInstrument) {
    AddStock("SSE", "600000", "浦发银行", "pfyh");
    AddFuture("CFFEX", "IF", "202612", "沪深");
    m_database.Add({{"Symbol", "QV.F.SHFE.CU.202612"}, {"Instrument", "cu2612x"}});
    m_database.Add({{"Symbol", "QV.F.SHFE.AL.202612"}, {"SearchName", "铝2612"}});
    CHostProcess& host = Start();
    EXPECT_THAT(Find(host, "6000"), ElementsAre("QV.S.SSE.600000"));
    EXPECT_THAT(Find(host, "沪深"), ElementsAre("QV.F.CFFEX.IF.202612"));
    EXPECT_THAT(Find(host, "FYH"), ElementsAre("QV.S.SSE.600000"));
    EXPECT_THAT(Find(host, "CU2612X"), ElementsAre("QV.F.SHFE.CU.202612"));
    EXPECT_THAT(Find(host, "铝26"), ElementsAre("QV.F.SHFE.AL.202612"));
    EXPECT_THAT(Find(host, "qv.f.cffex"), ElementsAre("QV.F.CFFEX.IF.202612"));
    EXPECT_THAT(Find(host, "nowhere"), IsEmpty());
}

TEST_F(HostFindInTable, DisregardsCaseBeyondAscii) {
    AddStock("XETRA", "MUV2", "MÜNCHENER RÜCK", "");
    AddStock("MOEX", "GAZP", "Газпром", "");
    CHostProcess& host = Start();
    EXPECT_THAT(Find(host, "münch"), ElementsAre("QV.S.XETRA.MUV2"));
    EXPECT_THAT(Find(host, "ГАЗ"), ElementsAre("QV.S.MOEX.GAZP"));
}

TEST_F(HostFindInTable, WantsEveryWordToOccurSomewhere) {
    AddFuture("CME", "ES", "202612", "E-mini");
    AddFuture("CME", "ES", "202703", "E-mini");
    AddFuture("CME", "MES", "202703", "Micro");
    CHostProcess& host = Start();
    EXPECT_THAT(Find(host, "2703 es"), ElementsAre("QV.F.CME.ES.202703", "QV.F.CME.MES.202703"));
    EXPECT_THAT(SymbolsOf(host.Ask(R"({"do":"find","text":"  es　e-MINI\t2703 "})")),
                ElementsAre("QV.F.CME.ES.202703"));
    EXPECT_THAT(Find(host, "es 2801"), IsEmpty());
}

TEST_F(HostFindInTable, TakesTheSignsOfPatternsForThemselves) {
    AddStock("A", "1", "50% up", "");
    AddStock("A", "2", "under_score", "");
    AddStock("A", "3", "it''s [a] *", "");
    CHostProcess& host = Start();
    EXPECT_THAT(Find(host, "%"), ElementsAre("QV.S.A.1"));
    EXPECT_THAT(Find(host, "_"), ElementsAre("QV.S.A.2"));
    EXPECT_THAT(Find(host, "'s [a]"), ElementsAre("QV.S.A.3"));
    EXPECT_THAT(Find(host, "*"), ElementsAre("QV.S.A.3"));
}

TEST_F(HostFindInTable, ShowsTheFirstTwentyOrAsManyAsWantedAndCountsAll) {
    for (int i = 0; i < 45; ++i) AddFuture("X", "P", std::to_string(203000 + i), "name");
    CHostProcess& host = Start();
    const rapidjson::Document reply = host.Ask("find name");
    EXPECT_EQ(reply["symbols"]["total"].GetInt(), 45);
    const std::vector<std::string> arSymbols = SymbolsOf(reply);
    ASSERT_EQ(arSymbols.size(), 20u);
    EXPECT_EQ(arSymbols.front(), "QV.F.X.P.203000");
    EXPECT_EQ(arSymbols.back(), "QV.F.X.P.203019");
    EXPECT_THAT(Find(host, "name first 2"), ElementsAre("QV.F.X.P.203000", "QV.F.X.P.203001"));
    EXPECT_EQ(SymbolsOf(host.Ask(R"({"do":"find","text":"name","first":100})")).size(), 45u);
    EXPECT_EQ(host.AskFor(R"({"do":"find","text":"name","first":0})", "symbols"), R"({"total":45,"rows":[]})");
}

TEST_F(HostFindInTable, TakesFirstForAWordWhereNoNumberEndsTheLine) {
    AddStock("NASDAQ", "FSLR", "First Solar 7", "");
    AddStock("NASDAQ", "OTHER", "Solar 7", "");
    CHostProcess& host = Start();
    EXPECT_THAT(Find(host, "first solar"), ElementsAre("QV.S.NASDAQ.FSLR"));
    EXPECT_THAT(Find(host, "first 7"), ElementsAre("QV.S.NASDAQ.FSLR"));
    EXPECT_THAT(Find(host, "solar \"first\" 7"), ElementsAre("QV.S.NASDAQ.FSLR"));
}

TEST_F(HostFindInTable, GivesTheColumnsForAPerson) {
    AddFuture("CFFEX", "IF", "202612", "沪深");
    AddStock("SSE", "600000", "浦发", "pf");
    m_database.Add({{"Symbol", "QV.F.U_SSE.510050.202612"}, {"Name", "600000 SynU"}});
    EXPECT_EQ(Start().AskFor("find 沪深", "symbols"),
              R"({"total":1,"rows":[{"symbol":"QV.F.CFFEX.IF.202612","name":"沪深 202612",)"
              R"("search_id":"CFFEX.IF 2612","exchange":"CFFEX","expiry":"20261218"}]})");
    EXPECT_EQ(RunWords("find 2612 first 1\nfind 600000\nfind nowhere\n"),
              "2 symbols\n"
              "  symbol                name         search id      exchange  expiry\n"
              "  QV.F.CFFEX.IF.202612  沪深 202612  CFFEX.IF 2612  CFFEX     20261218\n"
              "  ... and 1 more\n"
              "2 symbols\n"
              "  symbol                    name         search id   exchange  expiry\n"
              "  QV.S.SSE.600000           600000 浦发  600000.SSE  SSE\n"
              "  QV.F.U_SSE.510050.202612  600000 SynU\n"
              "0 symbols\n");
}

TEST_F(HostFindInTable, IsRefusedWithoutAWord) {
    CHostProcess& host = Start();
    EXPECT_THAT(host.AskForError("find"), StartsWith("usage: find TEXT"));
    EXPECT_EQ(host.AskForError("find \"  \""), "there is nothing to look for");
    EXPECT_EQ(host.AskForError(R"({"do":"find"})"), R"("text" is missing)");
    EXPECT_EQ(host.AskForError(R"({"do":"find","text":"x","first":-1})"), R"("first" isn't a number from 0)");
}

TEST_F(HostFindInTable, ShowsForeignBytesAsValidText) {
    m_database.Execute("INSERT INTO SymbolSearch(Symbol, Name) VALUES('QV.S.A.1', CAST(x'E6B2' AS TEXT) || 'bad')");
    EXPECT_EQ(Start().Ask("find bad")["symbols"]["rows"][0]["name"],
              "\xEF\xBF\xBD"
              "bad");
}

TEST_F(HostFindInTable, SeesTheTableAsItIsWhileAnotherWrites) {
    AddFuture("CME", "ES", "202612", "E-mini");
    m_database.Execute("BEGIN IMMEDIATE");
    m_database.Execute("DELETE FROM SymbolSearch");
    CHostProcess& host = Start();
    EXPECT_THAT(Find(host, "es"), ElementsAre("QV.F.CME.ES.202612"));
    m_database.Execute("COMMIT");
    EXPECT_THAT(Find(host, "es"), IsEmpty());
}

TEST_F(HostFindInTable, WaitsForALockAndTellsWhenItStays) {
    m_database.Execute("BEGIN EXCLUSIVE");
    EXPECT_THAT(Start().AskForError("find es"), AllOf(StartsWith("can't read "), EndsWith("database is locked")));
}

TEST_F(HostFindInTable, EndsItsWaitForALockWithTheHost) {
    m_database.Execute("BEGIN EXCLUSIVE");
    CHostProcess& host = Start();
    host.Send("topic log 0 0 ready\nfind es\n");
    EXPECT_EQ(host.ReadNext()["line"], "ready");
    host.ReadReply();
    host.GetProcess().Signal(SIGTERM);
    EXPECT_STREQ(host.ReadReply()["error"].GetString(), "the host ends");
    EXPECT_EQ(host.Finish(), 0);
}

TEST_F(HostFind, EndsAQueryWithoutEndWithTheHost) {
    m_database.Execute(
        "CREATE VIEW SymbolSearch AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i AS "
        "Symbol, "
        "i AS Name, i AS SearchID, i AS SearchName, i AS Exchange, i AS Product, i AS Spell, i AS Instrument, "
        "i AS ExpDate, i AS TypeNum FROM n");
    CHostProcess& host = Start();
    host.Send("topic log 0 0 ready\nfind 1\n");
    host.ReadReply();
    host.GetProcess().Signal(SIGTERM);
    EXPECT_STREQ(host.ReadReply()["error"].GetString(), "the host ends");
    EXPECT_EQ(host.Finish(), 0);
}

TEST_F(HostFind, TellsWhatIsWrongWithTheDatabase) {
    CHostProcess& host = Start();
    EXPECT_THAT(host.AskForError("find es"), AllOf(StartsWith("can't read "), EndsWith("no such table: SymbolSearch")));
    m_database.Execute("CREATE TABLE SymbolSearch(Symbol TEXT)");
    EXPECT_THAT(host.AskForError("find es"), AllOf(StartsWith("can't read "), HasSubstr("no such column: ")));
    std::filesystem::remove(DatabasePath());
    EXPECT_EQ(host.AskForError("find es"), "there is no search database " + DatabasePath().string());
    std::filesystem::create_directory(DatabasePath());
    EXPECT_EQ(host.AskForError("find es"), "there is no search database " + DatabasePath().string());
    std::filesystem::remove(DatabasePath());
    m_home.Write("Data/API/Lumivale_.db", std::string(5000, 'x'));
    EXPECT_THAT(host.AskForError("find es"), AllOf(StartsWith("can't read "), EndsWith("file is not a database")));
    EXPECT_EQ(host.Finish(), 0);
}

TEST_F(HostFindInTable, TellsOfAWriterThatBrokeOffAndReadsOnceThatIsMended) {
    AddFuture("CME", "ES", "202612", "E-mini");
    m_database.Execute("PRAGMA cache_size = 1; BEGIN; DELETE FROM SymbolSearch");
    for (int i = 0; i < 300; ++i) AddFuture("CME", "NQ", std::to_string(300000 + i), std::string(200, 'x'));
    // What a writer leaves that is killed now: a file that it has changed, and the journal with the pages before.
    const auto pathCopy = m_home.GetPath() / "Data" / "API" / "Lumivale_Copy.db";
    std::filesystem::copy_file(DatabasePath(), pathCopy);
    std::filesystem::copy_file(DatabasePath().string() + "-journal", pathCopy.string() + "-journal");
    m_home.Write("ComShared/SystemSettings.ini", "[SYSTEM]\nSystemName=Copy\n");
    CHostProcess& host = Start();
    EXPECT_THAT(host.AskForError("find es"),
                EndsWith("its last writer broke off, and the service hasn't opened it since"));
    CSearchDatabaseFile(pathCopy).Execute("SELECT COUNT(*) FROM SymbolSearch");
    EXPECT_THAT(Find(host, "es"), ElementsAre("QV.F.CME.ES.202612"));
}

TEST_F(HostFind, TakesTheDatabaseOfTheSystemThatTheSettingsName) {
    const std::pair<std::string, const char*> CASES[] = {
        {"[Other]\nSystemName=No\n[system]\r\n ; SystemName=No\r\n systemname = \" Live 1 \" \r\n", " Live 1 "},
        {"\xEF\xBB\xBF[SYSTEM]\nSystemName=实盘\n[SYSTEM]\nSystemName=No\n", "实盘"},
        {std::string("\xFF\xFE[\0S\0Y\0S\0T\0E\0M\0]\0\r\0\n\0S\0y\0s\0t\0e\0m\0N\0a\0m\0e\0=\0\x9E\x5B", 46),
         "\xE5\xAE\x9E"},
        {"[SYSTEM]\nName=x\n[Later]\nSystemName=No", ""},
    };
    CHostProcess& host = Start();
    for (const auto& [strBytes, pszSystem] : CASES) {
        m_home.Write("ComShared/SystemSettings.ini", strBytes);
        const auto path = m_home.GetPath() / "Data" / "API" / (std::string("Lumivale_") + pszSystem + ".db");
        std::filesystem::remove(path);
        EXPECT_EQ(host.AskForError("find es"), "there is no search database " + path.string());
        CSearchDatabaseFile database(path);
        database.MakeTable();
        database.Add({{"Symbol", "QV.F.CME.ES.HOT"}});
        EXPECT_THAT(Find(host, "es"), ElementsAre("QV.F.CME.ES.HOT")) << pszSystem;
    }
}

}  // namespace

}  // namespace qvant::test
