/// The file that a persistent table and its sub-tables are kept in.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <vector>

#include "base/mutex.h"
#include "common/sqlite.h"
#include "operations.h"
#include "version.h"

namespace qvant::store {

using common::CSqlite;
using common::CSqliteError;
using common::CStatement;

class CTable;

/// One table as the file holds it.
struct SStoredTable {
    struct SLink {
        Text strName;
        std::int64_t nChild;
    };

    CTransactionLog log;  ///< writes its rows and values
    std::vector<SLink> arLinks;
};

using StoredTables = std::map<std::int64_t, SStoredTable>;

/// One SQLite file, shared by the tables in it. Its schema, made for reading with the sqlite3 tool as well:
///
///     links(parent, name, child)    the sub-tables, by number; the table that was made persistent is number 1
///     items(table_id, key, value)   the keyed values
///     rows(table_id, row, value)    the indexed rows
///     content                       a view of it all, with the path of each table in front
///
/// A value is TEXT, INTEGER (32 bits) or NULL (empty). Text is kept in UTF-16, so that every unit comes back.
///
/// Every operation but `Open` and `Load` is called under the lock. A table in the file publishes its versions only
/// under this lock, so the file never lies behind a version that a reader can see, but for the tables that SQLite
/// refused to write: they are remembered as behind and written whole with the next commit that it takes.
class CDatabase {
public:
    static constexpr std::int64_t ROOT_ID = 1;

    ~CDatabase();

    /// @return null when the file can't be opened for writing, or holds something else
    static std::shared_ptr<CDatabase> Open(TextView strFile);

    CMutex& GetMutex() QV_RETURN_CAPABILITY(m_mutex) { return m_mutex; }

    /// Reads all tables. @return nothing when the file is damaged
    bool Load(StoredTables& tables) QV_EXCLUDES(m_mutex);

    std::int64_t NewId() QV_REQUIRES(m_mutex) { return ++m_nLastId; }
    /// From now on the table writes itself under this number.
    void Add(std::int64_t nId, CTable& table) QV_REQUIRES(m_mutex) { m_mapTables[nId] = &table; }
    /// The table has left the tree; the next write removes what the file holds of it.
    void Remove(std::int64_t nId) QV_REQUIRES(m_mutex);
    /// The table ends; what the file holds of it stays.
    void Forget(std::int64_t nId) QV_REQUIRES(m_mutex);
    /// The next write replaces what the file holds of the table.
    void MarkBehind(std::int64_t nId) QV_REQUIRES(m_mutex) { m_behind.insert(nId); }

    /// Writes a commit of one table, and whatever is behind, in one SQLite transaction.
    /// @param next  what the table is about to publish
    /// @param log   the writes that led there
    /// @return false when SQLite refused; the table is behind then
    bool Write(std::int64_t nId, const CVersion& next, const CTransactionLog& log) QV_REQUIRES(m_mutex);

private:
    struct Statements;

    explicit CDatabase(const std::string& strPath);
    void Prepare() QV_REQUIRES(m_mutex);
    bool IsOurs() QV_REQUIRES(m_mutex);
    void MakeSchema() QV_REQUIRES(m_mutex);
    void ReadItems(StoredTables& tables) QV_REQUIRES(m_mutex);
    void ReadRows(StoredTables& tables) QV_REQUIRES(m_mutex);
    void ReadLinks(StoredTables& tables) QV_REQUIRES(m_mutex);

    void WriteAll(std::int64_t nId, const CVersion& next, const CTransactionLog& log) QV_REQUIRES(m_mutex);
    void WriteLog(std::int64_t nId, const CVersion& next, const CTransactionLog& log) QV_REQUIRES(m_mutex);
    void WriteWhole(std::int64_t nId, const CVersion& version) QV_REQUIRES(m_mutex);
    void WriteLinks(std::int64_t nId, const CVersion& version) QV_REQUIRES(m_mutex);
    void Clear(std::int64_t nId, std::int32_t nMask) QV_REQUIRES(m_mutex);

    CMutex m_mutex;
    CSqlite m_sqlite QV_GUARDED_BY(m_mutex);
    std::unique_ptr<Statements> m_pStatements QV_GUARDED_BY(m_mutex);
    std::int64_t m_nLastId QV_GUARDED_BY(m_mutex) = ROOT_ID;
    std::map<std::int64_t, CTable*> m_mapTables QV_GUARDED_BY(m_mutex);
    std::set<std::int64_t> m_behind QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant::store
