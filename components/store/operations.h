/// What an open transaction has been told to do.
#pragma once

#include <memory>
#include <unordered_map>
#include <vector>

#include "base/mutex.h"
#include "blob.h"
#include "entry.h"
#include "platform/large_memory.h"
#include "version.h"

namespace qvant::store {

class CTable;

/// One write, kept until the commit.
struct SOperation {
    enum class Kind : std::uint32_t { Row, Value, Table, Blob, Clear };

    Kind kind = Kind::Clear;
    std::int32_t nMask = 0;  ///< sections that are cleared
    CEntryRef entry;         ///< of a row, a value, a table
    CRef<CBlob> blob;
};

/// Highest index of a row; an index is a place in a list that somebody fills from 0 upward, so anything above is a
/// mistake of the caller.
inline constexpr std::int32_t MAX_ROW_INDEX = 16 * 1024 * 1024;

/// Reads a write of `METHOD_OPERATE`.
/// @return S_OK; DISP_E_TYPEMISMATCH, E_INVALIDARG, or the failure of the interface table
HRESULT ReadOperation(std::int32_t nOperation, const VARIANT& a, const VARIANT& b, SOperation& operation);

/// The writes of one transaction, in their order.
class CTransactionLog {
public:
    /// A pass over a document appends a million of them.
    using Operations = std::vector<SOperation, platform::CLargeArrayAllocator<SOperation>>;

    void Append(SOperation operation) { m_arOperations.push_back(std::move(operation)); }

    const Operations& GetOperations() const { return m_arOperations; }
    /// Whether it touches the section of sub-tables.
    bool ChangesTables() const;
    /// Whether it clears a section or loads one whole.
    bool Replaces() const;

    /// Carries the writes out on a version that nobody sees yet.
    /// @param bKeep  whether the log is needed afterwards; otherwise its entries move over
    void ApplyTo(CVersion& version, std::uint64_t nEdit, bool bKeep);

private:
    Operations m_arOperations;
};

/// The open transactions of one table. Any thread.
class COpenTransactions {
public:
    /// @return an identifier that no other transaction of the process has
    std::int32_t Begin();
    bool Append(std::int32_t nTransaction, SOperation operation);
    /// Ends the transaction. @return null when there is none
    std::unique_ptr<CTransactionLog> Take(std::int32_t nTransaction);

private:
    CMutex m_mutex;
    std::unordered_map<std::int32_t, std::unique_ptr<CTransactionLog>> m_mapLogs QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant::store
