#include "sqlite.h"

namespace qvant::store {
namespace {

void Check(int nCode) {
    if (nCode != SQLITE_OK) throw CSqliteError(nCode);
}

constexpr int BUSY_MILLISECONDS = 2000;

}  // namespace

CStatement::CStatement(sqlite3* pConnection, const char* pszSql) {
    sqlite3_stmt* pStatement = nullptr;
    Check(sqlite3_prepare_v3(pConnection, pszSql, -1, SQLITE_PREPARE_PERSISTENT, &pStatement, nullptr));
    m_pStatement.reset(pStatement);
}

CStatement& CStatement::Checked(int nCode) {
    if (nCode == SQLITE_OK) return *this;
    Rewind();
    throw CSqliteError(nCode);
}

CStatement& CStatement::Bind(std::int64_t nValue) {
    return Checked(sqlite3_bind_int64(m_pStatement.get(), ++m_nBound, nValue));
}

CStatement& CStatement::Bind(TextView strValue) {
    const auto* const pBytes = reinterpret_cast<const char*>(strValue.data() ? strValue.data() : u"");
    return Checked(sqlite3_bind_text64(m_pStatement.get(), ++m_nBound, pBytes, strValue.size() * sizeof(char16_t),
                                       SQLITE_STATIC, SQLITE_UTF16));
}

CStatement& CStatement::BindNull() { return Checked(sqlite3_bind_null(m_pStatement.get(), ++m_nBound)); }

void CStatement::Run() {
    while (Step()) {
    }
}

bool CStatement::Step() {
    const int nCode = sqlite3_step(m_pStatement.get());
    if (nCode == SQLITE_ROW) return true;
    Rewind();
    if (nCode != SQLITE_DONE) throw CSqliteError(nCode);
    return false;
}

void CStatement::Rewind() {
    sqlite3_reset(m_pStatement.get());
    m_nBound = 0;
}

TextView CStatement::GetText(int nColumn) const {
    const void* const pText = sqlite3_column_text16(m_pStatement.get(), nColumn);
    const int nBytes = sqlite3_column_bytes16(m_pStatement.get(), nColumn);
    if (!pText) return {};
    return {static_cast<const char16_t*>(pText), static_cast<std::size_t>(nBytes) / sizeof(char16_t)};
}

CSqlite::CSqlite(const std::string& strPath) {
    sqlite3* pConnection = nullptr;
    constexpr int nFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
    const int nCode = sqlite3_open_v2(strPath.c_str(), &pConnection, nFlags, nullptr);
    m_pConnection.reset(pConnection);
    Check(nCode);
    if (sqlite3_db_readonly(pConnection, "main") == 1) throw CSqliteError(SQLITE_READONLY);
    Check(sqlite3_busy_timeout(pConnection, BUSY_MILLISECONDS));
}

void CSqlite::Execute(const char* pszSql) { Check(sqlite3_exec(Get(), pszSql, nullptr, nullptr, nullptr)); }

std::int64_t CSqlite::QueryInteger(const char* pszSql) {
    CStatement statement(Get(), pszSql);
    return statement.Step() ? statement.GetInteger(0) : 0;
}

void CSqlite::RollBack() noexcept {
    if (sqlite3_get_autocommit(Get()) == 0) sqlite3_exec(Get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

}  // namespace qvant::store
