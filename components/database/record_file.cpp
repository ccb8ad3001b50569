#include "record_file.h"

#include <algorithm>
#include <utility>

#include "platform/files.h"

namespace qvant::database {

using common::CRewind;
using common::CSqliteError;
using common::CStatement;
using Kind = CRecordStatements::Kind;

namespace {

/// More than the text of most rows.
constexpr std::size_t FIRST_ROW_BYTES = 512;

/// For reading, the upper pages of the trees do, which are few: the system keeps the others as well, and one is copied
/// from there faster than found in a large cache, whose pages lie all over the memory.
constexpr const char* READING_CACHE = "PRAGMA cache_size = -2048";
/// A batch sorts an index in it.
constexpr const char* BATCH_CACHE = "PRAGMA cache_size = -65536";
/// A write of up to 64 MiB, in a batch or alone, blocks no reader but at its end.
constexpr const char* WRITING_LIMIT = "PRAGMA cache_spill = -65536";

int WaitForLock(void* pWaits, int nTry) { return static_cast<CLockWaits*>(pWaits)->WaitBeforeTry(nTry) ? 1 : 0; }

bool IsDamage(const CSqliteError& error) {
    const int nCode = error.GetCode() & 0xFF;
    return nCode == SQLITE_NOTADB || nCode == SQLITE_CORRUPT;
}

/// One read transaction over several statements, unless the connection is in one already.
class CReadScope {
public:
    explicit CReadScope(common::CSqlite& sqlite) : m_sqlite(sqlite), m_bOwn(!sqlite.IsInTransaction()) {
        if (m_bOwn) m_sqlite.Execute("BEGIN");
    }
    ~CReadScope() {
        if (m_bOwn) m_sqlite.RollBack();
    }
    CReadScope(const CReadScope&) = delete;
    CReadScope& operator=(const CReadScope&) = delete;

private:
    common::CSqlite& m_sqlite;
    const bool m_bOwn;
};

/// The names of a query's columns behind the row's number. They can change only where SQLite prepares the statement
/// anew because the file's tables changed; a name asked for at each run would cost more than its text.
void UpdateColumns(CRecordStatements::SPrepared& query) {
    const int nPrepared = query.statement.CountPrepared();
    if (query.pColumns && query.nPrepared == nPrepared) return;
    std::vector<std::string> arColumns;
    const int nColumns = query.statement.GetColumnCount();
    for (int i = 1; i < nColumns; ++i) arColumns.emplace_back(query.statement.GetColumnName(i));
    query.pColumns = std::make_shared<const std::vector<std::string>>(std::move(arColumns));
    query.nPrepared = nPrepared;
}

/// Room for one row: a look-up mostly finds no other.
void BeginBlock(SRecordBlock& block, CRecordStatements::SPrepared& query) {
    UpdateColumns(query);
    block.pColumns = query.pColumns;
    block.strBytes.reserve(FIRST_ROW_BYTES);
    block.arEnds.reserve(block.pColumns->size());
}

void AppendRow(SRecordBlock& block, CRecordStatements::SPrepared& query) {
    if (!block.pColumns) BeginBlock(block, query);
    const int nColumns = static_cast<int>(block.pColumns->size());
    for (int i = 1; i <= nColumns; ++i) {
        block.strBytes += query.statement.GetUtf8(i);
        block.arEnds.push_back(static_cast<std::uint32_t>(block.strBytes.size()));
    }
}

}  // namespace

CRecordFile::~CRecordFile() { Close(); }

// ---------------------------------------------------------------------------------------------------------------
// The connection
// ---------------------------------------------------------------------------------------------------------------

void CRecordFile::Close() noexcept {
    m_statements.Clear();
    if (m_sqlite) m_sqlite->RollBack();
    m_sqlite.reset();
    m_batch = Batch::None;
    m_arWithoutIndex.clear();
}

void CRecordFile::Open() {
    try {
        sqlite3* const pConnection = m_sqlite.emplace(Narrow(m_strPath), false).Get();
        sqlite3_busy_handler(pConnection, WaitForLock, &m_waits);
        // A field that isn't there is a fault and not a text.
        sqlite3_db_config(pConnection, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
        sqlite3_db_config(pConnection, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
        sqlite3_db_config(pConnection, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
        m_sqlite->Execute("PRAGMA page_size = 8192");  // of a new file, twice as large as usual
        m_sqlite->Execute(READING_CACHE);
        m_sqlite->QueryInteger("SELECT COUNT(*) FROM sqlite_master");  // tells a file that is no database
        m_sqlite->NarrowToUser();
        m_sqlite->Execute(WRITING_LIMIT);  // in pages of the file, whose size is known now
    } catch (...) {
        m_sqlite.reset();
        throw;
    }
}

/// A file that has become another one is noticed between two batches.
bool CRecordFile::OpenIfThere() {
    if (m_sqlite && m_batch == Batch::None && m_sqlite->HasMoved()) Close();
    if (m_sqlite) return true;
    if (!platform::FileExists(m_strPath)) return false;
    Open();
    return true;
}

void CRecordFile::OpenForUse() {
    if (!OpenIfThere()) throw CSqliteError(SQLITE_CANTOPEN, "there is no file");
}

void CRecordFile::OpenOrMake() {
    if (m_sqlite && m_sqlite->HasMoved()) Close();
    if (!m_sqlite && !platform::FileExists(m_strPath)) {
        platform::CreateFolders(TextView(m_strPath).substr(0, m_strPath.rfind(u'/')));
        platform::WriteNewFile(m_strPath, "");  // made here, since it is for this user alone
    }
    if (!m_sqlite) Open();
}

// ---------------------------------------------------------------------------------------------------------------
// Transactions
// ---------------------------------------------------------------------------------------------------------------

/// Writes within the batch's transaction, which begins with the first write. A batch that couldn't begin, or that
/// SQLite gave up, takes nothing more until its end: no row of it may stand alone, and none waits for a lock anew.
template <class Write>
void CRecordFile::InBatch(const Write& write) {
    if (m_batch == Batch::Broken) throw CSqliteError(SQLITE_ABORT, "the batch has failed");
    if (m_batch == Batch::None) {
        m_batch = Batch::Broken;
        m_sqlite->Execute(BATCH_CACHE);
        m_sqlite->Execute("BEGIN IMMEDIATE");
        m_batch = Batch::Open;
        ++m_nEpoch;
    }
    try {
        write();
    } catch (const CSqliteError& error) {
        // A file that can't be written lets a transaction begin all the same.
        const bool bReadOnly = (error.GetCode() & 0xFF) == SQLITE_READONLY;
        if (bReadOnly || !m_sqlite->IsInTransaction()) m_batch = Batch::Broken;
        throw;
    }
}

/// Writes that belong together: within the batch, else in a transaction of their own.
template <class Write>
void CRecordFile::InTransaction(bool bBatch, const Write& write) {
    if (bBatch) return InBatch(write);
    try {
        m_sqlite->Execute("BEGIN IMMEDIATE");
        write();
        m_sqlite->Execute("COMMIT");
    } catch (...) {
        m_sqlite->RollBack();
        throw;
    }
}

void CRecordFile::EndBatch() {
    if (m_batch == Batch::None) return;
    try {
        if (m_batch == Batch::Broken) throw CSqliteError(SQLITE_ABORT, "the batch has failed");
        if (m_sqlite->HasMoved()) throw CSqliteError(SQLITE_CANTOPEN, "the file is another one");
        RestoreIndexes();
        m_sqlite->Execute(READING_CACHE);  // here, since nothing may fail behind the commit
        m_sqlite->Execute("COMMIT");
    } catch (...) {
        Close();
        throw;
    }
    m_batch = Batch::None;
    m_arWithoutIndex.clear();
    sqlite3_db_release_memory(m_sqlite->Get());
}

/// Filling an empty table, and sorting its index afterwards, is faster than keeping the index row by row.
void CRecordFile::PrepareForMany(TextView strTable) {
    const Text strIndex = GetKeyIndexName(strTable);
    if (!Has("index", strIndex)) return;
    const std::string strAnyRow = "SELECT EXISTS(SELECT 1 FROM " + QuoteName(strTable) + ")";
    if (m_sqlite->QueryInteger(strAnyRow.c_str()) != 0) return;
    m_sqlite->Execute(("DROP INDEX " + QuoteName(strIndex)).c_str());
    m_arWithoutIndex.emplace_back(strTable);
}

void CRecordFile::RestoreIndexes() {
    for (const Text& strTable : m_arWithoutIndex) {
        CStatement column(m_sqlite->Get(), "SELECT name FROM pragma_table_info(?) WHERE cid = 0");
        if (!column.Bind(strTable).Step()) continue;  // dropped within the batch
        const std::string strColumn = QuoteName(column.GetText(0));
        column.Rewind();
        m_sqlite->Execute(MakeCreateIndexSql(strTable, strColumn).c_str());
    }
}

// ---------------------------------------------------------------------------------------------------------------
// Tables
// ---------------------------------------------------------------------------------------------------------------

std::vector<Text> CRecordFile::ListTables() {
    std::vector<Text> arTables;
    if (!OpenIfThere()) return arTables;
    CStatement names(m_sqlite->Get(),
                     "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT GLOB 'sqlite_*'");
    while (names.Step()) arTables.emplace_back(names.GetText(0));
    return arTables;
}

bool CRecordFile::Has(const char* pszType, TextView strName) {
    CStatement item(m_sqlite->Get(), "SELECT 1 FROM sqlite_master WHERE type = ? AND name = ? COLLATE NOCASE");
    const CRewind rewind(item);
    return item.BindUtf8(pszType).Bind(strName).Step();
}

/// A table that is there needs no lock, and is found in a file that can't be written as well.
void CRecordFile::CreateTable(TextView strTable, TextView strFields, bool bBatch) {
    OpenOrMake();
    if (Has("table", strTable)) return;
    InTransaction(bBatch, [&] {
        m_sqlite->Execute(MakeCreateTableSql(strTable, strFields).c_str());
        m_sqlite->Execute(MakeCreateIndexSql(strTable, QuoteFields(strFields).front()).c_str());
    });
}

void CRecordFile::Drop(TextView strTable, bool bBatch) {
    try {
        if (!OpenIfThere()) return;
        InTransaction(bBatch, [&] { DropTables(strTable); });
    } catch (const CSqliteError& error) {
        if (!IsDamage(error)) throw;
        Close();
        platform::DeleteFile(m_strPath);
        if (platform::FileExists(m_strPath)) throw;
    }
}

void CRecordFile::DropTables(TextView strTable) {
    std::vector<Text> arTables{Text(strTable)};
    if (strTable.empty()) arTables = ListTables();
    for (const Text& strName : arTables) m_sqlite->Execute(("DROP TABLE IF EXISTS " + QuoteName(strName)).c_str());
}

// ---------------------------------------------------------------------------------------------------------------
// Rows
// ---------------------------------------------------------------------------------------------------------------

bool CRecordFile::Insert(TextView strTable, TextView strFields, const std::vector<std::string_view>& arValues,
                         bool bBatch) {
    if (m_batch == Batch::None) OpenForUse();
    bool bNews = true;
    const auto insert = [&] {
        auto& prepared = m_statements.Get(m_sqlite->Get(), Kind::Insert, strTable, strFields);
        if (bBatch && prepared.nEpoch != m_nEpoch) {
            PrepareForMany(strTable);
            prepared.nEpoch = m_nEpoch;
            prepared.bToldRest = false;
        }
        const bool bFits = BindAndRun(prepared, arValues);
        bNews = !bFits && !(bBatch && prepared.bToldRest);
        if (!bFits) prepared.bToldRest = true;
    };
    if (bBatch) {
        InBatch(insert);
    } else {
        insert();
    }
    return !bNews;
}

/// @return whether all values have a field
bool CRecordFile::BindAndRun(CRecordStatements::SPrepared& insert, const std::vector<std::string_view>& arValues) {
    const bool bBound = std::exchange(insert.bBound, false);
    for (std::size_t i = 0; i < insert.arBound.size(); ++i) {
        const std::string_view strValue = i < arValues.size() ? arValues[i] : std::string_view();
        std::string& strBound = insert.arBound[i];
        if (bBound && strBound == strValue) continue;
        strBound = strValue;
        insert.statement.BindUtf8At(static_cast<int>(i) + 1, strBound);
    }
    insert.bBound = true;
    insert.statement.Run();
    return arValues.size() <= insert.arBound.size();
}

void CRecordFile::Delete(TextView strTable, TextView strField, TextView strValue, bool bBatch) {
    if (m_batch == Batch::None) OpenForUse();
    const auto remove = [&] {
        const bool bAll = strField.empty();
        auto& prepared = m_statements.Get(m_sqlite->Get(), bAll ? Kind::DeleteAll : Kind::Delete, strTable, strField);
        if (!bAll) prepared.statement.Bind(strValue);
        prepared.statement.Run();
        if (bAll) ++m_nEpoch;
    };
    if (bBatch) return InBatch(remove);
    remove();
}

SQueryResult CRecordFile::Query(TextView strTable, TextView strField, TextView strValue) {
    OpenForUse();
    const bool bAll = strField.empty();
    auto& query = m_statements.Get(m_sqlite->Get(), bAll ? Kind::QueryAll : Kind::Query, strTable, strField);
    const CRewind rewind(query.statement);
    if (!bAll) query.statement.Bind(strValue);
    SQueryResult result{Text(strTable), Text(strField), Text(strValue), {}, nullptr};
    const auto pBlock = std::make_shared<SRecordBlock>();
    while (query.statement.Step()) {
        result.arRowIds.push_back(query.statement.GetInteger(0));
        if (pBlock->strBytes.size() < BLOCK_BYTES) {
            AppendRow(*pBlock, query);
        } else if (bAll) {
            ReadFurtherRowIds(strTable, result.arRowIds);
            break;
        }
    }
    result.pBlock = pBlock;
    return result;
}

/// Of the rows that a result doesn't hold, only the numbers: a row that isn't unpacked costs a tenth. The caller's
/// query is under way, so that both see the same state of the file.
void CRecordFile::ReadFurtherRowIds(TextView strTable, std::vector<std::int64_t>& arRowIds) {
    CStatement& rowIds = m_statements.Get(m_sqlite->Get(), Kind::RowIdsOfAll, strTable, {}).statement;
    const CRewind rewind(rowIds);
    rowIds.Bind(static_cast<std::int64_t>(arRowIds.size()));
    while (rowIds.Step()) arRowIds.push_back(rowIds.GetInteger(0));
}

std::shared_ptr<const SRecordBlock> CRecordFile::ReadBlock(const SQueryResult& result, std::size_t nFirst) {
    if (!OpenIfThere()) return nullptr;
    const bool bAll = result.strField.empty();
    auto& fetch =
        m_statements.Get(m_sqlite->Get(), bAll ? Kind::FetchOfAll : Kind::Fetch, result.strTable, result.strField);
    const auto pBlock = std::make_shared<SRecordBlock>();
    pBlock->nFirst = nFirst;
    const CReadScope scope(*m_sqlite);
    const CRewind rewind(fetch.statement);
    for (std::size_t i = nFirst; i < result.arRowIds.size() && pBlock->strBytes.size() < BLOCK_BYTES; ++i) {
        fetch.statement.Bind(result.arRowIds[i]);
        if (!bAll) fetch.statement.Bind(result.strValue);
        if (!fetch.statement.Step()) break;
        AppendRow(*pBlock, fetch);
        fetch.statement.Rewind();
    }
    return pBlock->CountRows() == 0 ? nullptr : pBlock;
}

}  // namespace qvant::database
