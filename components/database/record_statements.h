/// The SQL of the record tables, and the statements that stay prepared.
#pragma once

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "common/sqlite.h"

namespace qvant::database {

/// A name as SQL has it: in quotes, with its own quotes doubled.
std::string QuoteName(TextView strName);

/// The names of a fields text, in quotes.
std::vector<std::string> QuoteFields(TextView strFields);

/// Name of the index on the first column of a table.
Text GetKeyIndexName(TextView strTable);

std::string MakeCreateTableSql(TextView strTable, TextView strFields);
std::string MakeCreateIndexSql(TextView strTable, const std::string& strQuotedColumn);

/// Statements by what they do and to what. The ones used last are found first; those that nobody used for long give
/// way.
class CRecordStatements {
public:
    enum class Kind { Insert, Query, QueryAll, RowIdsOfAll, Fetch, FetchOfAll, Delete, DeleteAll };

    struct SPrepared {
        Kind kind;
        Text strTable;
        Text strFields;  ///< the fields of an insert, the field of a condition
        /// What the fields of an insert hold from the row before. Neighbours have much in common, and what SQLite has
        /// already needn't be handed to it again.
        std::vector<std::string> arBound;
        common::CStatement statement;
        std::shared_ptr<const std::vector<std::string>> pColumns;  ///< of a query's last result
        int nPrepared = 0;       ///< how often SQLite had prepared the statement when these were its columns
        int nEpoch = 0;          ///< of the file when it last prepared the table for this insert
        bool bToldRest = false;  ///< whether values beyond the last field were told since then
        bool bBound = false;     ///< whether SQLite has all fields of the insert
    };

    /// @throw CSqliteError  when SQLite doesn't take the names
    SPrepared& Get(sqlite3* pConnection, Kind kind, TextView strTable, TextView strFields);

    void Clear() { m_statements.clear(); }

private:
    std::list<SPrepared> m_statements;  ///< the one used last in front
};

}  // namespace qvant::database
