/// A search database as the service leaves it, written by the test.
#pragma once

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

namespace qvant::test {

/// One connection to the file, with the columns that the service gives the table.
class CSearchDatabaseFile {
public:
    using Row = std::map<std::string, std::string>;  ///< column -> value; a column that is left out holds nothing

    explicit CSearchDatabaseFile(const std::filesystem::path& path) {
        std::filesystem::create_directories(path.parent_path());
        if (sqlite3_open(path.c_str(), &m_pDatabase) != SQLITE_OK) throw std::runtime_error("no database");
    }
    CSearchDatabaseFile(const CSearchDatabaseFile&) = delete;
    CSearchDatabaseFile& operator=(const CSearchDatabaseFile&) = delete;
    ~CSearchDatabaseFile() { sqlite3_close(m_pDatabase); }

    void Execute(const std::string& strSql) const {
        char* pszError = nullptr;
        if (sqlite3_exec(m_pDatabase, strSql.c_str(), nullptr, nullptr, &pszError) == SQLITE_OK) return;
        const std::string strError = pszError;
        sqlite3_free(pszError);
        throw std::runtime_error(strError);
    }
    void MakeTable() const {
        Execute(
            "CREATE TABLE SymbolSearch(Symbol TEXT, Name TEXT, SearchID TEXT, SearchName TEXT, Exchange TEXT, "
            "Product TEXT, SetPRIADJ TEXT, Type TEXT, TypeNum TEXT, MainType TEXT, HotSymbol TEXT, NearSymbol TEXT, "
            "Spell TEXT, Underlying TEXT, Instrument TEXT, ExpDate TEXT, LongMargin TEXT, ShortMargin TEXT, "
            "BULimit TEXT, SULimit TEXT, BUnit TEXT, SUnit TEXT, Status TEXT, TimeStamp TEXT)");
    }
    void Add(const Row& row) const {
        std::string strColumns, strValues;
        for (const auto& [strColumn, strValue] : row) {
            strColumns += (strColumns.empty() ? "" : ",") + strColumn;
            strValues += (strValues.empty() ? "'" : ",'") + strValue + "'";
        }
        Execute("INSERT INTO SymbolSearch(" + strColumns + ") VALUES(" + strValues + ")");
    }

private:
    sqlite3* m_pDatabase = nullptr;
};

}  // namespace qvant::test
