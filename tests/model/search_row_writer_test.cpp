#include "model/search_row_writer.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "base/format.h"
#include "store/record_databases.h"
#include "support/scratch_folder.h"
#include "test_host.h"

namespace qvant {
namespace {

using Form = CSearchRowWriter::Form;

class CSilentReceiver : public CDataBaseEventReceiver {};

class SearchRowWriter : public testing::Test {
protected:
    static constexpr int MANY = 10'000;

    SearchRowWriter() { m_databases.OpenSearch(m_folder / "home/", u"Test"); }

    DbAPIObj& GetDatabase() { return *m_databases.GetSearch(); }
    /// A batch that begins with an empty table.
    void Begin() {
        GetDatabase().BeginBatch();
        GetDatabase().DeleteRecord(SEARCH_TABLE);
    }
    /// By another program.
    void Execute(const std::string& strSql) {
        sqlite3* pConnection = nullptr;
        EXPECT_EQ(sqlite3_open((m_folder.GetPath() / "home/Data/API/Lumivale_Test.db").c_str(), &pConnection),
                  SQLITE_OK);
        EXPECT_EQ(sqlite3_exec(pConnection, strSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
        sqlite3_close(pConnection);
    }
    static Text MakeSymbol(int i) { return Format(u"QV.F.CME.P%04d.202612", i); }
    static Text MakeRow(int i) { return Format(u"%s,Name %d", MakeSymbol(i), i); }
    /// The symbols in the order in which the database has them.
    std::vector<Text> ReadSymbols() {
        std::vector<Text> arSymbols;
        CRecordQuery query(GetDatabase(), m_databases.GetResults(), SEARCH_TABLE);
        for (std::int32_t i = 0; i < query.GetCount(); ++i) {
            if (query.Fetch(i)) arSymbols.push_back(query.GetField(u"Symbol"));
        }
        return arSymbols;
    }
    static std::vector<Text> MakeSymbols(int nCount) {
        std::vector<Text> arSymbols;
        for (int i = 0; i < nCount; ++i) arSymbols.push_back(MakeSymbol(i));
        return arSymbols;
    }

    test::CScratchFolder m_folder;
    test::CEnvironment m_home{"LUMIVALE_HOME", (m_folder.GetPath() / "home").string()};
    CTestHost m_host;
    CSilentReceiver m_receiver;
    CRecordDatabases m_databases{m_host, m_receiver};
};

TEST_F(SearchRowWriter, EntersFewRowsAndManyInTheirOrder) {
    for (const int nCount : {0, 1, 3, MANY}) {
        Begin();
        CSearchRowWriter writer(GetDatabase());
        for (int i = 0; i < nCount; ++i) EXPECT_TRUE(writer.Add(Form::Contract, MakeRow(i)));
        EXPECT_FALSE(writer.Finish());
        EXPECT_EQ(GetDatabase().EndBatch(), 1);
        EXPECT_EQ(ReadSymbols(), MakeSymbols(nCount));
    }
}

TEST_F(SearchRowWriter, PutsTheFieldsOfEachFormWhereTheyBelong) {
    CSearchRowWriter writer(GetDatabase());
    writer.Add(Form::Contract, u"QV.F.CME.ES.202612,E-mini,CME.ES 2612,Emini,CME,ES");
    writer.Add(Form::Synthetic, u"QV.F.U_CME.ES.202612,SynU,SynU,U_CME,ES");
    EXPECT_FALSE(writer.Finish());
    CRecordQuery query(GetDatabase(), m_databases.GetResults(), SEARCH_TABLE);
    ASSERT_EQ(query.GetCount(), 2);
    ASSERT_TRUE(query.Fetch(0));
    EXPECT_EQ(query.GetField(u"SearchID"), u"CME.ES 2612");
    EXPECT_EQ(query.GetField(u"Product"), u"ES");
    ASSERT_TRUE(query.Fetch(1));
    EXPECT_EQ(query.GetField(u"SearchID"), u"");
    EXPECT_EQ(query.GetField(u"SearchName"), u"SynU");
    EXPECT_EQ(query.GetField(u"Product"), u"ES");
}

TEST_F(SearchRowWriter, TellsTheRowThatIsRefusedAndEntersNoneBehindIt) {
    for (const int nRefused : {0, 7, MANY / 2}) {
        Execute("CREATE TRIGGER refuse BEFORE INSERT ON SymbolSearch WHEN NEW.Symbol = '" +
                Narrow(MakeSymbol(nRefused)) + "' BEGIN SELECT RAISE(ABORT, 'no'); END");
        Begin();
        CSearchRowWriter writer(GetDatabase());
        int nAdded = 0;
        while (nAdded < MANY && writer.Add(Form::Synthetic, MakeRow(nAdded))) ++nAdded;
        const auto refusal = writer.Finish();
        ASSERT_TRUE(refusal);
        EXPECT_EQ(refusal->form, Form::Synthetic);
        EXPECT_EQ(refusal->nResult, 0);
        EXPECT_EQ(refusal->strRow, MakeRow(nRefused));
        EXPECT_LT(nAdded, MANY) << "nobody makes rows for nothing";
        EXPECT_EQ(ReadSymbols(), MakeSymbols(nRefused));
        EXPECT_EQ(GetDatabase().EndBatch(), 1);
        Execute("DROP TRIGGER refuse");
    }
}

TEST_F(SearchRowWriter, ThatIsntFinishedHasEnteredTheFirstRowsAndNoOthers) {
    Begin();
    {
        CSearchRowWriter writer(GetDatabase());
        for (int i = 0; i < MANY; ++i) writer.Add(Form::Contract, MakeRow(i));
    }
    const std::vector<Text> arSymbols = ReadSymbols();
    EXPECT_EQ(arSymbols, MakeSymbols(static_cast<int>(arSymbols.size())));
    EXPECT_GT(arSymbols.size(), MANY / 2);
}

}  // namespace
}  // namespace qvant
