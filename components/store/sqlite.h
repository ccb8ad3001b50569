/// SQLite, as much of it as the store uses.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include <sqlite3.h>

#include "base/text.h"

namespace qvant::store {

/// A call that SQLite refused.
class CSqliteError : public std::exception {
public:
    explicit CSqliteError(int nCode) : m_nCode(nCode) {}
    int GetCode() const noexcept { return m_nCode; }
    const char* what() const noexcept override { return sqlite3_errstr(m_nCode); }

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
    CStatement& BindNull();

    /// Runs to the end and makes the statement ready for the next run.
    void Run();
    /// Moves to the next row. @return false at the end; the statement is then ready for the next run
    bool Step();

    std::int64_t GetInteger(int nColumn) const { return sqlite3_column_int64(m_pStatement.get(), nColumn); }
    TextView GetText(int nColumn) const;
    int GetType(int nColumn) const { return sqlite3_column_type(m_pStatement.get(), nColumn); }

private:
    struct Finalizer {
        void operator()(sqlite3_stmt* p) const { sqlite3_finalize(p); }
    };

    CStatement& Checked(int nCode);
    void Rewind();

    std::unique_ptr<sqlite3_stmt, Finalizer> m_pStatement;
    int m_nBound = 0;
};

/// A connection to a database file, used under its owner's lock.
class CSqlite {
public:
    /// Opens the file for writing, and makes it when it is missing. Throws `CSqliteError`.
    explicit CSqlite(const std::string& strPath);

    void Execute(const char* pszSql);
    std::int64_t QueryInteger(const char* pszSql);
    sqlite3* Get() const { return m_pConnection.get(); }
    /// Ends a transaction that is still open, whatever has become of it.
    void RollBack() noexcept;

private:
    struct Closer {
        void operator()(sqlite3* p) const { sqlite3_close(p); }
    };
    std::unique_ptr<sqlite3, Closer> m_pConnection;
};

}  // namespace qvant::store
