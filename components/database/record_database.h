/// The operations of a database object, below its component interface.
#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "base/mutex.h"
#include "lock_waits.h"
#include "record_catalogue.h"
#include "record_rows.h"
#include "record_values.h"

namespace qvant::database {

/// Any thread; the operations run one after another. They throw for memory alone: what SQLite refuses gives false and a
/// line of the log.
class CRecordDatabase final : public IBlockReader, public std::enable_shared_from_this<CRecordDatabase> {
public:
    bool OpenSystem(TextView strFolder, TextView strSystem);
    bool CreateTable(TextView strDatabase, TextView strTable, TextView strFields);
    bool DropDatabase(TextView strDatabase, TextView strTable);
    bool InsertRecord(TextView strTable, TextView strFields, TextView strValues);
    bool DeleteRecord(TextView strTable, TextView strField, TextView strValue);
    /// @return nothing when the query failed
    std::optional<SQueryResult> QueryRecords(TextView strTable, TextView strField, TextView strValue);
    void BeginBatch();
    bool EndBatch();

    std::shared_ptr<const SRecordBlock> ReadBlock(const SQueryResult& result, std::size_t nFirst) override;

    void AllowWaits(bool bAllow) { m_waits.Allow(bAllow); }

    /// The lines that came up since the last call.
    std::vector<Text> TakeLog();

private:
    template <class Call>
    bool Run(TextView strOperation, TextView strSubject, const Call& call);
    CRecordFile& FindFile(TextView strTable) QV_REQUIRES(m_mutex);
    void Log(TextView strOperation, TextView strSubject, TextView strText) QV_REQUIRES(m_mutex);

    CMutex m_mutex;
    CLockWaits m_waits;  ///< with a lock of its own: a wait is ended from outside of the call
    CRecordCatalogue m_catalogue QV_GUARDED_BY(m_mutex){m_waits};
    CRecordValues m_values QV_GUARDED_BY(m_mutex);
    bool m_bBatch QV_GUARDED_BY(m_mutex) = false;
    /// A fault that comes again and again is told once, until something succeeds.
    Text m_strLastFault QV_GUARDED_BY(m_mutex);
    std::vector<Text> m_arLog QV_GUARDED_BY(m_mutex);
    std::atomic<bool> m_bHasLog{false};
};

}  // namespace qvant::database
