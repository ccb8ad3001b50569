/// One database file and the connection to it.
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "common/sqlite.h"
#include "lock_waits.h"
#include "record_rows.h"
#include "record_statements.h"
#include "record_values.h"

namespace qvant::database {

/// Opened when it is first needed, and again when the file at its path has become another one. A rollback journal and
/// no write-ahead log: the file is deleted by name and looked into with other tools, also where nothing can be written,
/// and must be whole by itself.
///
/// Used under its database's lock. Operations throw `CSqliteError`.
class CRecordFile {
public:
    /// @param waits  of the database object, which outlives the file
    CRecordFile(Text strPath, CLockWaits& waits) : m_strPath(std::move(strPath)), m_waits(waits) {}
    ~CRecordFile();

    /// The tables in the file; none when there is no file.
    std::vector<Text> ListTables();
    bool HasTable(TextView strTable);

    /// Makes the file, the table and the index on its first field, as far as they aren't there.
    void CreateTable(TextView strTable, TextView strFields, bool bBatch);
    /// Removes one table, or all when the name is empty. A damaged file is deleted.
    void Drop(TextView strTable, bool bBatch);

    /// @return false when there were values beyond the last field, the first time in a batch
    bool Insert(TextView strTable, TextView strFields, const std::vector<std::string_view>& arValues, bool bBatch);
    void Delete(TextView strTable, TextView strField, TextView strValue, bool bBatch);
    SQueryResult Query(TextView strTable, TextView strField, TextView strValue);
    /// @return null when the first of the rows isn't there any more
    std::shared_ptr<const SRecordBlock> ReadBlock(const SQueryResult& result, std::size_t nFirst);

    /// Makes what a batch wrote last. Nothing for a file that the batch didn't touch.
    void EndBatch();

    bool IsOpen() const { return m_sqlite.has_value(); }
    /// Lets go of the file until it is needed again; what a batch wrote to it is given up.
    void Close() noexcept;

private:
    enum class Batch { None, Open, Broken };

    void Open();
    bool OpenIfThere();
    void OpenForUse();
    void OpenOrMake();
    template <class Write>
    void InTransaction(bool bBatch, const Write& write);
    template <class Write>
    void InBatch(const Write& write);
    void PrepareForMany(TextView strTable);
    void RestoreIndexes();
    void DropTables(TextView strTable);
    bool Has(const char* pszType, TextView strName);
    void ReadFurtherRowIds(TextView strTable, std::vector<std::int64_t>& arRowIds);
    bool BindAndRun(CRecordStatements::SPrepared& insert, const std::vector<std::string_view>& arValues);

    const Text m_strPath;
    CLockWaits& m_waits;
    std::optional<common::CSqlite> m_sqlite;
    CRecordStatements m_statements;  ///< of the connection, and ended before it
    Batch m_batch = Batch::None;
    int m_nEpoch = 0;                    ///< changes when what inserts know of their tables no longer holds
    std::vector<Text> m_arWithoutIndex;  ///< tables whose index was taken away for the length of the batch
};

}  // namespace qvant::database
