/// The build of the search database from the contract model, next to the same rows bound to one prepared statement of a
/// bare SQLite in one transaction. All databases are on disk, in the folder that TMPDIR names.
///
/// `BuildSymbols/100000` is to stay within one and a half times `BindSymbols/100000`, and `BuildSymbols/1000000` within
/// eleven times `BuildSymbols/100000`. Both write the rows of "SymbolSearch" and nothing else; `BuildAll` also fills
/// "ContractList" and the tables.

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "contract_world.h"
#include "model/exchange_times.h"
#include "model/symbol_lookup.h"
#include "symbols/time_zones.h"

namespace qvant::bench {
namespace {

class CSilentReceiver : public CDataBaseEventReceiver {};

/// A service whose contracts are loaded.
class CService {
public:
    explicit CService(const CWorld& world) : m_model(world) {
        m_model.state.m_strVersion = u"1";
        Text strClassifyText;
        for (const auto& [strName, strText] : world.arFiles) {
            m_model.state.m_mapContractVersion[strName] = u"1";
            m_model.builder.MakeContractList(strText, nullptr, nullptr, strName, strClassifyText);
        }
        m_arRows = std::move(m_model.builder.m_arContractInsertData);
    }

    /// A database without any row.
    bool Start() {
        m_pDatabases.reset();
        std::filesystem::remove(GetHome().GetDatabase());
        m_pDatabases = std::make_unique<CRecordDatabases>(m_model.host, m_receiver);
        m_pDatabases->OpenSearch(GetHome().GetFolder(), u"Bench");
        return m_pDatabases->GetSearch() != nullptr;
    }
    void Stop() { m_pDatabases.reset(); }

    /// Only the rows of the search.
    void BuildSymbols() {
        m_model.builder.m_arContractInsertData.clear();
        Build({});
    }
    void PrepareAll() { m_model.builder.m_arContractInsertData = m_arRows; }
    void BuildAll() { Build({&m_model.host[u"Symbol.Search.Name"], &m_model.host[u"NEARMONTHTABLE"]}); }

private:
    void Build(const SymbolLookupTables& tables) {
        CSymbolLookup({m_model.host, platform::MachineClock(), m_model.state, m_model.builder, m_model.lists,
                       m_securities, m_stocks, *m_pDatabases, m_event},
                      [] { return true; })
            .MakeSymbolLookupList(tables);
    }

    Model m_model;
    CContractRows m_arRows;
    CTimeZones m_zones;
    CExchangeTimes m_times{m_zones, platform::MachineClock()};
    CSecuritiesParser m_securities{m_model.host, m_times};
    StockLimitMap m_stocks;
    CSilentReceiver m_receiver;
    platform::CEvent m_event{platform::CEvent::Reset::Manual, true};
    std::unique_ptr<CRecordDatabases> m_pDatabases;
};

/// A connection to the search database, past the service.
class CConnection {
public:
    CConnection() { sqlite3_open(GetHome().GetDatabase().c_str(), &m_pConnection); }
    ~CConnection() { sqlite3_close(m_pConnection); }
    CConnection(const CConnection&) = delete;
    CConnection& operator=(const CConnection&) = delete;

    bool Execute(const std::string& strSql) {
        return sqlite3_exec(m_pConnection, strSql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    }
    sqlite3_stmt* Prepare(const std::string& strSql) {
        sqlite3_stmt* pStatement = nullptr;
        sqlite3_prepare_v2(m_pConnection, strSql.c_str(), -1, &pStatement, nullptr);
        return pStatement;
    }

private:
    sqlite3* m_pConnection = nullptr;
};

/// What a build left in "SymbolSearch".
struct SearchTable {
    SearchTable() {
        CConnection connection;
        sqlite3_stmt* pQuery = connection.Prepare("SELECT sql FROM sqlite_master WHERE name = 'SymbolSearch'");
        if (sqlite3_step(pQuery) == SQLITE_ROW) strCreate = GetColumn(pQuery, 0);
        sqlite3_finalize(pQuery);
        pQuery = connection.Prepare("SELECT * FROM SymbolSearch ORDER BY rowid");
        nColumns = sqlite3_column_count(pQuery);
        while (sqlite3_step(pQuery) == SQLITE_ROW) {
            for (int i = 0; i < nColumns; ++i) arFields.push_back(GetColumn(pQuery, i));
        }
        sqlite3_finalize(pQuery);
    }
    static std::string GetColumn(sqlite3_stmt* pQuery, int nColumn) {
        const void* const pBytes = sqlite3_column_blob(pQuery, nColumn);
        const auto nBytes = static_cast<std::size_t>(sqlite3_column_bytes(pQuery, nColumn));
        return pBytes ? std::string(static_cast<const char*>(pBytes), nBytes) : std::string();
    }

    std::string strCreate;
    int nColumns = 0;
    std::vector<std::string> arFields;  ///< row by row
};

bool BindAll(CConnection& connection, const SearchTable& table) {
    std::string strSql = "INSERT INTO SymbolSearch VALUES(?";
    for (int i = 1; i < table.nColumns; ++i) strSql += ",?";
    bool bGood = connection.Execute("BEGIN");
    sqlite3_stmt* const pInsert = connection.Prepare(strSql + ")");
    int nPlace = 0;
    for (const std::string& strField : table.arFields) {
        sqlite3_bind_text(pInsert, ++nPlace, strField.data(), static_cast<int>(strField.size()), SQLITE_STATIC);
        if (nPlace < table.nColumns) continue;
        bGood &= sqlite3_step(pInsert) == SQLITE_DONE;
        sqlite3_reset(pInsert);
        nPlace = 0;
    }
    sqlite3_finalize(pInsert);
    return connection.Execute("COMMIT") && bGood;
}

void BindSymbols(benchmark::State& state) {
    auto pService = std::make_unique<CService>(GetWorld(state.range(0)));
    if (!pService->Start()) return state.SkipWithError("no database");
    pService->BuildSymbols();
    pService.reset();
    const SearchTable table;
    for (auto _ : state) {
        state.PauseTiming();
        std::filesystem::remove(GetHome().GetDatabase());
        auto pConnection = std::make_unique<CConnection>();
        const bool bCreated = pConnection->Execute(table.strCreate);
        state.ResumeTiming();
        const bool bGood = BindAll(*pConnection, table);
        state.PauseTiming();
        pConnection.reset();
        if (!bCreated || !bGood || table.arFields.empty()) return state.SkipWithError("no rows");
        state.ResumeTiming();
    }
    state.counters["Rows"] = static_cast<double>(table.arFields.size()) / table.nColumns;
}

void BuildSymbols(benchmark::State& state) {
    CService service(GetWorld(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        if (!service.Start()) return state.SkipWithError("no database");
        state.ResumeTiming();
        service.BuildSymbols();
    }
    service.Stop();
    state.counters["PeakMegabytes"] = GetPeakMegabytes();
}

void BuildAll(benchmark::State& state) {
    CService service(GetWorld(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        if (!service.Start()) return state.SkipWithError("no database");
        service.PrepareAll();
        state.ResumeTiming();
        service.BuildAll();
    }
    service.Stop();
}

BENCHMARK(BindSymbols)->Arg(100'000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BuildSymbols)->Arg(100'000)->Arg(1'000'000)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BuildAll)->Arg(100'000)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvant::bench

BENCHMARK_MAIN();
