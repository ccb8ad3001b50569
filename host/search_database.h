/// The search database that the service keeps below the home folder: one row for each symbol of the lists.
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "stop.h"

struct sqlite3;
struct sqlite3_stmt;

namespace qvant::host {

/// One row of a query; lives for the call that gets it.
class CSearchRow {
public:
    explicit CSearchRow(sqlite3_stmt* pStatement) : m_pStatement(pStatement) {}

    /// A column as UTF-8, empty when it holds nothing. Foreign bytes: it may not be valid.
    std::string_view GetText(std::size_t nColumn) const;

private:
    sqlite3_stmt* const m_pStatement;
};

/// A connection that only reads. Belongs to the host thread. The service may write meanwhile: a lock of its is waited
/// for, and every query sees one state of the table.
class CSearchDatabase {
public:
    /// Opens the database of the terminal's system.
    /// @throws CFailure when it isn't there or can't be opened
    CSearchDatabase(const std::filesystem::path& pathHome, CStop& stop);

    /// Runs a query and hands over its rows in their order, until one isn't wanted any more.
    /// @param strParameter  the query's only parameter, if it has one
    /// @param onRow         gives false to end the query
    /// @throws CFailure when the file can't be read, stays locked, has no such table, or the host is to end
    void Query(const std::string& strSql, std::string_view strParameter,
               const std::function<bool(const CSearchRow&)>& onRow);

private:
    struct Closer {
        void operator()(sqlite3* pDatabase) const;
        void operator()(sqlite3_stmt* pStatement) const;
    };

    void Check(int nResult) const;
    [[noreturn]] void Fail(int nResult) const;

    const std::filesystem::path m_path;
    CStop& m_stop;
    std::unique_ptr<sqlite3, Closer> m_pDatabase;
};

}  // namespace qvant::host
