/// The record database against SQLite bare: the rows of the symbol search from contracts, and a look-up by symbol.
///
/// Run with --benchmark_repetitions=10 --benchmark_format=json; the figures are the medians of BuildRows/100000 over
/// BindRows/100000, of BuildRows/1000000 over BuildRows/100000, and of LookUpSymbol. All databases are on disk, in the
/// folder that TMPDIR names.
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sqlite3.h>
#include <unistd.h>

#include "base/format.h"
#include "base/split.h"
#include "store/record_databases.h"

namespace qvant {
namespace {

namespace fs = std::filesystem;

/// The order in which a build names the fields.
constexpr TextView INSERT_FIELDS =
    u"Symbol,Name,SearchID,SearchName,Exchange,Product,ExpDate,LongMargin,ShortMargin,HotSymbol,NearSymbol,BULimit,"
    u"SULimit,BUnit,SUnit,Spell,SetPRIADJ,Underlying,Instrument,MainType,Type,TypeNum,Status,TimeStamp";
constexpr TextView DATABASE = u"Bench";

Text MakeSymbol(int i) { return Format(u"QV.F.CME.P%04d.20%02d%02d", i / 240, 20 + i % 240 / 12, i % 12 + 1); }

Text MakeRow(int i) {
    const Text strProduct = Format(u"P%04d", i / 240);
    const Text strMonth = Format(u"20%02d%02d", 20 + i % 240 / 12, i % 12 + 1);
    const Text strName = Format(u"E-mini %s %s", strProduct, strMonth);
    return Format(
        u"QV.F.CME.%s.%s,%s,%s%s,%s,CME,%s,%s15,0.1250,0.1375,QV.F.CME.%s.HOT,QV.F.CME.%s.Front1,%ld,%ld,%ld,%ld,emini,"
        u","
        u"QV.F.CME.%s,%s%s,,F,1,1,1700000000",
        strProduct, strMonth, strName, strProduct, strMonth.substr(2), strName, strProduct, strMonth, strProduct,
        strProduct, 0, 0, 0, 0, strProduct, strProduct, strMonth);
}

const std::vector<Text>& GetRows(int nCount) {
    static std::vector<Text> arRows;
    while (static_cast<int>(arRows.size()) < nCount) arRows.push_back(MakeRow(static_cast<int>(arRows.size())));
    return arRows;
}

/// A home folder that goes away with the run.
class CHome {
public:
    CHome() : m_path(fs::temp_directory_path() / ("lumivale-bench-" + std::to_string(getpid()))) {
        fs::create_directories(m_path / "Data/API");
        setenv("LUMIVALE_HOME", m_path.c_str(), 1);
    }
    ~CHome() {
        std::error_code ignored;
        fs::remove_all(m_path, ignored);
    }
    CHome(const CHome&) = delete;
    CHome& operator=(const CHome&) = delete;

    fs::path GetFile() const { return m_path / "Data/API/Bench.db"; }
    Text GetFolder() const { return Widen(m_path.string() + "/"); }

private:
    fs::path m_path;
};

const CHome& GetHome() {
    static const CHome home;
    return home;
}

std::unique_ptr<DbAPIObj> OpenDatabase() {
    auto pDatabase = std::make_unique<DbAPIObj>();
    if (!pDatabase->Create(nullptr, GetHome().GetFolder())) return nullptr;
    pDatabase->OpenSystem(u".", u"");
    pDatabase->CreateTable(DATABASE, SEARCH_TABLE, SEARCH_FIELDS);
    return pDatabase;
}

bool Build(DbAPIObj& database, int nCount) {
    const std::vector<Text>& arRows = GetRows(nCount);
    database.BeginBatch();
    bool bGood = database.DeleteRecord(SEARCH_TABLE) == 1;
    for (int i = 0; i < nCount; ++i) {
        bGood &= database.InsertRecord(SEARCH_TABLE, INSERT_FIELDS, arRows[static_cast<std::size_t>(i)]) == 1;
    }
    return database.EndBatch() == 1 && bGood;
}

void BuildRows(benchmark::State& state) {
    const auto nCount = static_cast<int>(state.range(0));
    GetRows(nCount);
    for (auto _ : state) {
        state.PauseTiming();
        fs::remove(GetHome().GetFile());
        const auto pDatabase = OpenDatabase();
        state.ResumeTiming();
        if (!pDatabase || !Build(*pDatabase, nCount)) return state.SkipWithError("no database");
    }
}

/// The same rows over those of an earlier build.
void RebuildRows(benchmark::State& state) {
    const auto nCount = static_cast<int>(state.range(0));
    fs::remove(GetHome().GetFile());
    const auto pDatabase = OpenDatabase();
    if (!pDatabase || !Build(*pDatabase, nCount)) return state.SkipWithError("no database");
    for (auto _ : state) {
        if (!Build(*pDatabase, nCount)) return state.SkipWithError("no database");
    }
}

/// The fields of all rows, ready to be bound.
using Fields = std::vector<std::vector<std::string>>;

Fields SplitRows(int nCount) {
    Fields fields;
    const std::vector<Text>& arRows = GetRows(nCount);
    for (int i = 0; i < nCount; ++i) {
        auto& arFields = fields.emplace_back();
        for (const Text& strField : SplitFields(arRows[static_cast<std::size_t>(i)], u",")) {
            arFields.push_back(Narrow(strField));
        }
    }
    return fields;
}

bool BindAll(sqlite3* pConnection, const Fields& fields) {
    const Text strMarks = Join(std::vector<Text>(fields.front().size(), Text(u"?")), u",");
    const std::string strSql =
        "INSERT INTO SymbolSearch(" + Narrow(INSERT_FIELDS) + ") VALUES(" + Narrow(strMarks) + ")";
    sqlite3_stmt* pInsert = nullptr;
    sqlite3_exec(pConnection, "BEGIN", nullptr, nullptr, nullptr);
    sqlite3_prepare_v2(pConnection, strSql.c_str(), -1, &pInsert, nullptr);
    bool bGood = true;
    for (const auto& arFields : fields) {
        int nPlace = 0;
        for (const std::string& strField : arFields) {
            sqlite3_bind_text(pInsert, ++nPlace, strField.data(), static_cast<int>(strField.size()), SQLITE_STATIC);
        }
        bGood &= sqlite3_step(pInsert) == SQLITE_DONE;
        sqlite3_reset(pInsert);
    }
    sqlite3_finalize(pInsert);
    return sqlite3_exec(pConnection, "COMMIT", nullptr, nullptr, nullptr) == SQLITE_OK && bGood;
}

void BindRows(benchmark::State& state) {
    const Fields fields = SplitRows(static_cast<int>(state.range(0)));
    const std::string strCreate = "CREATE TABLE SymbolSearch(" + Narrow(SEARCH_FIELDS) + ")";
    for (auto _ : state) {
        state.PauseTiming();
        fs::remove(GetHome().GetFile());
        sqlite3* pConnection = nullptr;
        sqlite3_open(GetHome().GetFile().c_str(), &pConnection);
        sqlite3_exec(pConnection, strCreate.c_str(), nullptr, nullptr, nullptr);
        state.ResumeTiming();
        const bool bGood = BindAll(pConnection, fields);
        state.PauseTiming();
        sqlite3_close(pConnection);
        state.ResumeTiming();
        if (!bGood) return state.SkipWithError("no database");
    }
}

void LookUpSymbol(benchmark::State& state) {
    const auto nCount = static_cast<int>(state.range(0));
    fs::remove(GetHome().GetFile());
    const auto pDatabase = OpenDatabase();
    CRecordResults results;
    if (!pDatabase || !results.Create() || !Build(*pDatabase, nCount)) return state.SkipWithError("no database");
    std::minstd_rand random(7);
    for (auto _ : state) {
        const Text strSymbol = MakeSymbol(static_cast<int>(random() % static_cast<unsigned>(nCount)));
        CRecordQuery query(*pDatabase, results, SEARCH_TABLE, u"Symbol", strSymbol);
        if (!query.Fetch(0)) return state.SkipWithError("a symbol is missing");
        benchmark::DoNotOptimize(query.GetField(u"Name").data());
    }
}

BENCHMARK(BindRows)->Arg(100'000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BuildRows)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(RebuildRows)->Arg(100'000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LookUpSymbol)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace qvant

BENCHMARK_MAIN();
