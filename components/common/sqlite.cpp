#include "common/sqlite.h"

#include "platform/user_files.h"

namespace qvant::common {
namespace {

void Check(sqlite3* pConnection, int nCode) {
    if (nCode != SQLITE_OK) throw CSqliteError(nCode, sqlite3_errmsg(pConnection));
}

constexpr int BUSY_MILLISECONDS = 2000;

}  // namespace

CStatement::CStatement(sqlite3* pConnection, const char* pszSql) {
    sqlite3_stmt* pStatement = nullptr;
    Check(pConnection, sqlite3_prepare_v3(pConnection, pszSql, -1, SQLITE_PREPARE_PERSISTENT, &pStatement, nullptr));
    m_pStatement.reset(pStatement);
}

void CStatement::Fail(int nCode) {
    const std::string strText = sqlite3_errmsg(sqlite3_db_handle(m_pStatement.get()));
    Rewind();
    throw CSqliteError(nCode, strText);
}

CStatement& CStatement::Bind(std::int64_t nValue) {
    return Checked(sqlite3_bind_int64(m_pStatement.get(), ++m_nBound, nValue));
}

CStatement& CStatement::Bind(TextView strValue) {
    const auto* const pBytes = reinterpret_cast<const char*>(strValue.data() ? strValue.data() : u"");
    return Checked(sqlite3_bind_text64(m_pStatement.get(), ++m_nBound, pBytes, strValue.size() * sizeof(char16_t),
                                       SQLITE_STATIC, SQLITE_UTF16));
}

CStatement& CStatement::BindUtf8(std::string_view strValue) { return BindUtf8At(++m_nBound, strValue); }

CStatement& CStatement::BindUtf8At(int nPlace, std::string_view strValue) {
    const char* const pBytes = strValue.data() ? strValue.data() : "";
    return Checked(
        sqlite3_bind_text64(m_pStatement.get(), nPlace, pBytes, strValue.size(), SQLITE_STATIC, SQLITE_UTF8));
}

CStatement& CStatement::BindNull() { return Checked(sqlite3_bind_null(m_pStatement.get(), ++m_nBound)); }

void CStatement::Run() {
    while (Step()) {
    }
}

bool CStatement::Step() {
    const int nCode = sqlite3_step(m_pStatement.get());
    if (nCode == SQLITE_ROW) return true;
    if (nCode != SQLITE_DONE) Fail(nCode);
    Rewind();
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

std::string_view CStatement::GetUtf8(int nColumn) const {
    const unsigned char* const pText = sqlite3_column_text(m_pStatement.get(), nColumn);
    const int nBytes = sqlite3_column_bytes(m_pStatement.get(), nColumn);
    if (!pText) return {};
    return {reinterpret_cast<const char*>(pText), static_cast<std::size_t>(nBytes)};
}

CSqlite::CSqlite(const std::string& strPath, bool bCreate) {
    sqlite3* pConnection = nullptr;
    const int nFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (bCreate ? SQLITE_OPEN_CREATE : 0);
    const int nCode = sqlite3_open_v2(strPath.c_str(), &pConnection, nFlags, nullptr);
    m_pConnection.reset(pConnection);
    if (!pConnection) throw CSqliteError(nCode);
    Check(pConnection, nCode);
    Check(pConnection, sqlite3_busy_timeout(pConnection, BUSY_MILLISECONDS));
}

void CSqlite::Execute(const char* pszSql) { Check(Get(), sqlite3_exec(Get(), pszSql, nullptr, nullptr, nullptr)); }

std::int64_t CSqlite::QueryInteger(const char* pszSql) {
    CStatement statement(Get(), pszSql);
    return statement.Step() ? statement.GetInteger(0) : 0;
}

bool CSqlite::HasMoved() const {
    int nMoved = 0;
    return sqlite3_file_control(Get(), "main", SQLITE_FCNTL_HAS_MOVED, &nMoved) == SQLITE_OK && nMoved != 0;
}

/// A journal takes the mode of the file when it is made; one that is there is narrowed with it.
void CSqlite::NarrowToUser() const {
    const char* const pszPath = sqlite3_db_filename(Get(), "main");
    const Text strPath = Widen(pszPath ? pszPath : "");
    for (const char16_t* pszEnding : {u"", u"-journal", u"-wal", u"-shm"}) platform::NarrowToUser(strPath + pszEnding);
}

void CSqlite::RollBack() noexcept {
    if (IsInTransaction()) sqlite3_exec(Get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

}  // namespace qvant::common
