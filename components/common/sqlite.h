/// SQLite, as much of it as the components use.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

#include "base/text.h"

namespace qvant::common {

/// A call that SQLite refused.
class CSqliteError : public std::runtime_error {
public:
    explicit CSqliteError(int nCode) : CSqliteError(nCode, sqlite3_errstr(nCode)) {}
    CSqliteError(int nCode, const std::string& strText) : std::runtime_error(strText), m_nCode(nCode) {}
    int GetCode() const noexcept { return m_nCode; }

private:
    int m_nCode;
};

/// A prepared statement. Every operation throws `CSqliteError` when it fails.
class CStatement {
public:
    CStatement(sqlite3* pConnection, const char* pszSql);

    /// Arguments in their order, from the first place on; a text must live until the statement has run.
    CStatement& Bind(std::int64_t nValue);
    CStatement& Bind(TextView strValue);
    CStatement& BindUtf8(std::string_view strValue);
    /// One argument at its place, from 1 on. It stays for the runs to come, and the text must live as long.
    CStatement& BindUtf8At(int nPlace, std::string_view strValue);
    CStatement& BindNull();

    /// Runs to the end and makes the statement ready for the next run.
    void Run();
    /// Moves to the next row. @return false at the end; the statement is then ready for the next run
    bool Step();
    /// Makes the statement ready for the next run, whether or not it has come to its end.
    void Rewind();

    std::int64_t GetInteger(int nColumn) const { return sqlite3_column_int64(m_pStatement.get(), nColumn); }
    TextView GetText(int nColumn) const;
    std::string_view GetUtf8(int nColumn) const;
    int GetType(int nColumn) const { return sqlite3_column_type(m_pStatement.get(), nColumn); }
    int GetColumnCount() const { return sqlite3_column_count(m_pStatement.get()); }
    /// Grows whenever SQLite prepares the statement anew, since the tables have changed behind it.
    int CountPrepared() const { return sqlite3_stmt_status(m_pStatement.get(), SQLITE_STMTSTATUS_REPREPARE, 0); }
    const char* GetColumnName(int nColumn) const { return sqlite3_column_name(m_pStatement.get(), nColumn); }

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* p) const { sqlite3_finalize(p); }
    };

    [[noreturn]] void Fail(int nCode);
    CStatement& Checked(int nCode) {
        if (nCode != SQLITE_OK) Fail(nCode);
        return *this;
    }

    std::unique_ptr<sqlite3_stmt, Finalizer> m_pStatement;
    int m_nBound = 0;
};

/// Rewinds a statement at the end of a scope, so that one that wasn't read to its end keeps no lock.
class CRewind {
public:
    explicit CRewind(CStatement& statement) : m_statement(statement) {}
    ~CRewind() { m_statement.Rewind(); }
    CRewind(const CRewind&) = delete;
    CRewind& operator=(const CRewind&) = delete;

private:
    CStatement& m_statement;
};

/// A connection to a database file, used under its owner's lock.
class CSqlite {
public:
    /// Opens the file for writing, or for reading alone when it can't be written. A lock of somebody else is waited
    /// for, two seconds at most. Throws `CSqliteError`.
    /// @param bCreate  makes the file when it is missing
    explicit CSqlite(const std::string& strPath, bool bCreate = true);

    void Execute(const char* pszSql);
    std::int64_t QueryInteger(const char* pszSql);
    sqlite3* Get() const { return m_pConnection.get(); }
    bool IsReadOnly() const { return sqlite3_db_readonly(Get(), "main") == 1; }
    bool IsInTransaction() const { return sqlite3_get_autocommit(Get()) == 0; }
    /// Whether the file was renamed, replaced or deleted since it was opened.
    bool HasMoved() const;
    /// Takes a file that came with a wider mode, from a copy or an older installation, from everybody but the user.
    void NarrowToUser() const;
    /// Ends a transaction that is still open, whatever has become of it.
    void RollBack() noexcept;

private:
    struct Closer {
        void operator()(sqlite3* p) const { sqlite3_close(p); }
    };
    std::unique_ptr<sqlite3, Closer> m_pConnection;
};

}  // namespace qvant::common
