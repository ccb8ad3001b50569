#include "database.h"

#include <algorithm>
#include <limits>

#include "platform/files.h"
#include "qvant/store.h"
#include "table.h"

namespace qvant::store {
namespace {

constexpr std::int64_t APPLICATION_ID = 0x51565354;
constexpr std::int64_t SCHEMA_VERSION = 1;

constexpr const char* SCHEMA =
    "CREATE TABLE links(parent INTEGER NOT NULL, name TEXT NOT NULL, child INTEGER NOT NULL,"
    "  PRIMARY KEY(parent, name)) WITHOUT ROWID;"
    "CREATE TABLE items(table_id INTEGER NOT NULL, key TEXT NOT NULL, value,"
    "  PRIMARY KEY(table_id, key)) WITHOUT ROWID;"
    "CREATE TABLE rows(table_id INTEGER NOT NULL, row INTEGER NOT NULL, value,"
    "  PRIMARY KEY(table_id, row)) WITHOUT ROWID;"
    "CREATE VIEW content AS"
    "  WITH RECURSIVE paths(id, path) AS (VALUES(1, '') UNION"
    "    SELECT child, path || '/' || name FROM links JOIN paths ON parent = id)"
    "  SELECT path, 'item' AS section, key, value FROM items JOIN paths ON table_id = id"
    "  UNION ALL SELECT path, 'row', row, value FROM rows JOIN paths ON table_id = id"
    "  UNION ALL SELECT path, 'table', name, child FROM links JOIN paths ON parent = id;"
    "PRAGMA application_id = 1364611924;"
    "PRAGMA user_version = 1;";

}  // namespace

struct CDatabase::Statements {
    explicit Statements(sqlite3* p)
        : begin(p, "BEGIN IMMEDIATE"),
          commit(p, "COMMIT"),
          putItem(p, "INSERT OR REPLACE INTO items VALUES(?, ?, ?)"),
          putRow(p, "INSERT OR REPLACE INTO rows VALUES(?, ?, ?)"),
          putLink(p, "INSERT OR REPLACE INTO links VALUES(?, ?, ?)"),
          clearItems(p, "DELETE FROM items WHERE table_id = ?"),
          clearRows(p, "DELETE FROM rows WHERE table_id = ?"),
          clearLinks(p, "DELETE FROM links WHERE parent = ?") {}

    CStatement begin;
    CStatement commit;
    CStatement putItem;
    CStatement putRow;
    CStatement putLink;
    CStatement clearItems;
    CStatement clearRows;
    CStatement clearLinks;
};

CDatabase::CDatabase(const std::string& strPath) : m_sqlite(strPath) {
    if (m_sqlite.IsReadOnly()) throw CSqliteError(SQLITE_READONLY);
}

CDatabase::~CDatabase() = default;

std::shared_ptr<CDatabase> CDatabase::Open(TextView strFile) {
    if (const std::size_t nSlash = strFile.rfind(u'/'); nSlash != TextView::npos && nSlash != 0) {
        platform::CreateFolders(strFile.substr(0, nSlash));
    }
    platform::WriteNewFile(strFile, "");  // made here when it is missing, since it is for this user alone
    try {
        std::shared_ptr<CDatabase> pDatabase(new CDatabase(Narrow(strFile)));
        const CLock lock(pDatabase->m_mutex);
        if (!pDatabase->IsOurs()) return nullptr;
        pDatabase->m_sqlite.NarrowToUser();
        pDatabase->Prepare();
        return pDatabase;
    } catch (const CSqliteError&) {
        return nullptr;
    }
}

/// A file of somebody else is left as it is.
bool CDatabase::IsOurs() {
    const std::int64_t nApplication = m_sqlite.QueryInteger("PRAGMA application_id");
    const std::int64_t nVersion = m_sqlite.QueryInteger("PRAGMA user_version");
    if (nApplication == APPLICATION_ID && nVersion == SCHEMA_VERSION) return true;
    return nApplication == 0 && nVersion == 0 && m_sqlite.QueryInteger("SELECT COUNT(*) FROM sqlite_master") == 0;
}

void CDatabase::Prepare() {
    m_sqlite.Execute("PRAGMA encoding = 'UTF-16le'");  // has no effect on a file that is there
    m_sqlite.Execute("PRAGMA journal_mode = WAL; PRAGMA synchronous = FULL");
    if (m_sqlite.QueryInteger("PRAGMA user_version") == 0) MakeSchema();
    m_pStatements = std::make_unique<Statements>(m_sqlite.Get());
}

void CDatabase::MakeSchema() {
    try {
        m_sqlite.Execute("BEGIN IMMEDIATE");
        m_sqlite.Execute(SCHEMA);
        m_sqlite.Execute("COMMIT");
    } catch (const CSqliteError&) {
        m_sqlite.RollBack();
        throw;
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Reading
// ---------------------------------------------------------------------------------------------------------------

namespace {

/// A value of the file; what somebody put there by hand in another form comes as its text.
CEntryRef ReadEntry(const CStatement& statement, int nColumn, std::uint64_t nHash, TextView strKey) {
    const int nType = statement.GetType(nColumn);
    if (nType == SQLITE_NULL) return CEntryRef(CEntry::MakeEmpty(nHash, strKey));
    const std::int64_t nValue = statement.GetInteger(nColumn);
    if (nType == SQLITE_INTEGER && nValue == static_cast<std::int32_t>(nValue)) {
        return CEntryRef(CEntry::MakeNumber(nHash, strKey, static_cast<std::int32_t>(nValue)));
    }
    return CEntryRef(CEntry::MakeString(nHash, strKey, statement.GetText(nColumn)));
}

SOperation MakeWrite(SOperation::Kind kind, CEntryRef entry) {
    SOperation operation;
    operation.kind = kind;
    operation.entry = std::move(entry);
    return operation;
}

}  // namespace

bool CDatabase::Load(StoredTables& tables) {
    const CLock lock(m_mutex);
    try {
        tables[ROOT_ID];
        ReadLinks(tables);
        ReadItems(tables);
        ReadRows(tables);
        if (!tables.empty()) m_nLastId = std::max(m_nLastId, tables.rbegin()->first);
        return true;
    } catch (const CSqliteError&) {
        return false;
    }
}

void CDatabase::ReadLinks(StoredTables& tables) {
    CStatement links(m_sqlite.Get(), "SELECT parent, name, child FROM links");
    while (links.Step()) {
        tables[links.GetInteger(0)].arLinks.push_back({Text(links.GetText(1)), links.GetInteger(2)});
        tables[links.GetInteger(2)];
    }
}

void CDatabase::ReadItems(StoredTables& tables) {
    CStatement items(m_sqlite.Get(), "SELECT table_id, key, value FROM items");
    while (items.Step()) {
        const Text strKey(items.GetText(1));
        CEntryRef entry = ReadEntry(items, 2, HashKey(strKey), strKey);
        tables[items.GetInteger(0)].log.Append(MakeWrite(SOperation::Kind::Value, std::move(entry)));
    }
}

void CDatabase::ReadRows(StoredTables& tables) {
    CStatement rows(m_sqlite.Get(), "SELECT table_id, row, value FROM rows");
    while (rows.Step()) {
        const std::int64_t nRow = rows.GetInteger(1);
        if (nRow < 0 || nRow > MAX_ROW_INDEX) throw CSqliteError(SQLITE_CORRUPT);
        CEntryRef entry = ReadEntry(rows, 2, static_cast<std::uint64_t>(nRow), {});
        tables[rows.GetInteger(0)].log.Append(MakeWrite(SOperation::Kind::Row, std::move(entry)));
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Writing
// ---------------------------------------------------------------------------------------------------------------

namespace {

void BindValue(CStatement& statement, const CEntry& entry) {
    switch (entry.GetKind()) {
        case CEntry::Kind::Number:
            statement.Bind(std::int64_t{entry.GetNumber()});
            break;
        case CEntry::Kind::String:
            statement.Bind(entry.GetText());
            break;
        default:
            statement.BindNull();
    }
}

void PutItem(CStatement& statement, std::int64_t nId, const CEntry& entry) {
    statement.Bind(nId).Bind(entry.GetKey());
    BindValue(statement, entry);
    statement.Run();
}

void PutRow(CStatement& statement, std::int64_t nId, const CEntry& entry) {
    statement.Bind(nId).Bind(static_cast<std::int64_t>(entry.GetHash()));
    BindValue(statement, entry);
    statement.Run();
}

}  // namespace

void CDatabase::Remove(std::int64_t nId) {
    m_mapTables.erase(nId);
    MarkBehind(nId);
}

void CDatabase::Forget(std::int64_t nId) {
    m_mapTables.erase(nId);
    m_behind.erase(nId);
}

bool CDatabase::Write(std::int64_t nId, const CVersion& next, const CTransactionLog& log) {
    try {
        m_pStatements->begin.Run();
        WriteAll(nId, next, log);
        m_pStatements->commit.Run();
        m_behind.clear();
        return true;
    } catch (...) {
        // Out of disk or out of memory: either way the table is published, and the file follows later.
        m_sqlite.RollBack();
        MarkBehind(nId);
        return false;
    }
}

void CDatabase::WriteAll(std::int64_t nId, const CVersion& next, const CTransactionLog& log) {
    for (const std::int64_t nBehind : m_behind) {
        Clear(nBehind, MASK_ALL);
        const auto it = m_mapTables.find(nBehind);
        if (it != m_mapTables.end()) WriteWhole(nBehind, nBehind == nId ? next : it->second->PeekVersion());
    }
    if (!m_behind.contains(nId)) WriteLog(nId, next, log);
}

void CDatabase::WriteLog(std::int64_t nId, const CVersion& next, const CTransactionLog& log) {
    CStatement& putItem = m_pStatements->putItem;
    for (const SOperation& operation : log.GetOperations()) {
        switch (operation.kind) {
            case SOperation::Kind::Row:
                PutRow(m_pStatements->putRow, nId, *operation.entry);
                break;
            case SOperation::Kind::Value:
                PutItem(putItem, nId, *operation.entry);
                break;
            case SOperation::Kind::Blob:
                Clear(nId, MASK_VALUES);
                operation.blob->GetValues().ForEach([&](const CEntry& entry) { PutItem(putItem, nId, entry); });
                break;
            case SOperation::Kind::Clear:
                Clear(nId, operation.nMask & ~MASK_TABLES);
                break;
            case SOperation::Kind::Table:
                break;
        }
    }
    if (!log.ChangesTables()) return;
    Clear(nId, MASK_TABLES);
    WriteLinks(nId, next);
}

void CDatabase::WriteWhole(std::int64_t nId, const CVersion& version) {
    Statements& statements = *m_pStatements;
    version.values.ForEach([&](const CEntry& entry) { PutItem(statements.putItem, nId, entry); });
    version.rows.ForEach([&](const CEntry& entry) { PutRow(statements.putRow, nId, entry); });
    WriteLinks(nId, version);
}

void CDatabase::WriteLinks(std::int64_t nId, const CVersion& version) {
    CStatement& putLink = m_pStatements->putLink;
    version.tables.ForEach([&](const CEntry& entry) {
        putLink.Bind(nId).Bind(entry.GetKey()).Bind(entry.GetTable()->GetBinding().nId).Run();
    });
}

void CDatabase::Clear(std::int64_t nId, std::int32_t nMask) {
    if ((nMask & MASK_ROWS) != 0) m_pStatements->clearRows.Bind(nId).Run();
    if ((nMask & MASK_VALUES) != 0) m_pStatements->clearItems.Bind(nId).Run();
    if ((nMask & MASK_TABLES) != 0) m_pStatements->clearLinks.Bind(nId).Run();
}

}  // namespace qvant::store
