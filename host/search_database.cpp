#include "search_database.h"

#include <sqlite3.h>

#include "failure.h"
#include "setting.h"

namespace qvant::host {

namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds LOCK_PAUSE{20};
constexpr int LOCK_PAUSES = 250;       ///< five seconds in all
constexpr int STOP_INTERVAL = 10'000;  ///< steps of a query between two looks at the stop

fs::path MakePath(const fs::path& pathHome) {
    const Text strSystem = ReadSetting(pathHome / "ComShared" / "SystemSettings.ini", u"SYSTEM", u"SystemName");
    return pathHome / "Data" / "API" / ("Lumivale_" + Narrow(strSystem) + ".db");
}

int WaitForLock(void* pStop, int nPauses) {
    return nPauses < LOCK_PAUSES && static_cast<CStop*>(pStop)->Sleep(LOCK_PAUSE) ? 1 : 0;
}

int IsStopped(void* pStop) { return static_cast<CStop*>(pStop)->IsRequested() ? 1 : 0; }

}  // namespace

std::string_view CSearchRow::GetText(std::size_t nColumn) const {
    const int nIndex = static_cast<int>(nColumn);
    const auto* pText = reinterpret_cast<const char*>(sqlite3_column_text(m_pStatement, nIndex));
    if (!pText) return {};
    return {pText, static_cast<std::size_t>(sqlite3_column_bytes(m_pStatement, nIndex))};
}

void CSearchDatabase::Closer::operator()(sqlite3* pDatabase) const { sqlite3_close(pDatabase); }

void CSearchDatabase::Closer::operator()(sqlite3_stmt* pStatement) const { sqlite3_finalize(pStatement); }

CSearchDatabase::CSearchDatabase(const fs::path& pathHome, CStop& stop) : m_path(MakePath(pathHome)), m_stop(stop) {
    std::error_code error;
    // Asked for without opening the file: closing it here would take the service's own locks in this process away.
    if (!fs::is_regular_file(m_path, error))
        throw CFailure("there is no search database " + Narrow(Widen(m_path.string())));
    sqlite3* pDatabase = nullptr;
    const int nResult =
        sqlite3_open_v2(m_path.c_str(), &pDatabase, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    m_pDatabase.reset(pDatabase);
    Check(nResult);
    sqlite3_extended_result_codes(pDatabase, 1);
    sqlite3_busy_handler(pDatabase, WaitForLock, &m_stop);
    sqlite3_progress_handler(pDatabase, STOP_INTERVAL, IsStopped, &m_stop);
    // A column that isn't there is a fault and not a text; what a foreign file brings along isn't trusted.
    sqlite3_db_config(pDatabase, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_db_config(pDatabase, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

void CSearchDatabase::Query(const std::string& strSql, std::string_view strParameter,
                            const std::function<bool(const CSearchRow&)>& onRow) {
    sqlite3_stmt* pStatement = nullptr;
    Check(sqlite3_prepare_v2(m_pDatabase.get(), strSql.c_str(), static_cast<int>(strSql.size()), &pStatement, nullptr));
    const std::unique_ptr<sqlite3_stmt, Closer> statement(pStatement);
    if (sqlite3_bind_parameter_count(pStatement) > 0) {
        Check(sqlite3_bind_text(pStatement, 1, strParameter.data(), static_cast<int>(strParameter.size()),
                                SQLITE_STATIC));
    }
    int nResult = 0;
    while ((nResult = sqlite3_step(pStatement)) == SQLITE_ROW) {
        if (!onRow(CSearchRow(pStatement))) return;
    }
    if (nResult != SQLITE_DONE) Fail(nResult);
}

void CSearchDatabase::Check(int nResult) const {
    if (nResult != SQLITE_OK) Fail(nResult);
}

void CSearchDatabase::Fail(int nResult) const {
    if (m_stop.IsRequested()) throw CFailure(ENDS);
    // Half a transaction lies beside the file, and only a writer may take it back.
    const bool bBroken = nResult == SQLITE_READONLY_ROLLBACK;
    const std::string strWhy = bBroken ? "its last writer broke off, and the service hasn't opened it since"
                                       : sqlite3_errmsg(m_pDatabase.get());
    throw CFailure(Narrow(Widen("can't read " + m_path.string() + ": " + strWhy)));
}

}  // namespace qvant::host
