/// Writing to a table.
#include <algorithm>

#include "table.h"

namespace qvant::store {
namespace {

/// Guards the shape of the tree of tables: which is below which.
std::mutex& GetTreeMutex() {
    static std::mutex mutex;
    return mutex;
}

/// Numbers for edits; none is ever used again.
std::uint64_t NextEdit() {
    static std::atomic<std::uint64_t> nLast{0};
    return ++nLast;
}

}  // namespace

bool CTable::Reaches(const CTable& table) const {
    if (this == &table) return true;
    bool bFound = false;
    const CSnapshot version(m_current);
    version->tables.ForEach([&](const CEntry& entry) { bFound = bFound || entry.GetTable()->Reaches(table); });
    return bFound;
}

HRESULT CTable::Operate(std::int32_t nTransaction, std::int32_t nOperation, const VARIANT& a, const VARIANT& b) {
    SOperation operation;
    const HRESULT hr = ReadOperation(nOperation, a, b, operation);
    if (FAILED(hr)) return hr;
    const CTable* const pChild = operation.entry ? operation.entry->GetTable() : nullptr;
    if (pChild && pChild->Reaches(*this)) return E_INVALIDARG;
    return m_transactions.Append(nTransaction, std::move(operation)) ? S_OK : E_INVALIDARG;
}

HRESULT CTable::Commit(std::int32_t nTransaction) {
    const auto pLog = m_transactions.Take(nTransaction);
    if (!pLog) return E_INVALIDARG;
    if (!pLog->ChangesTables()) return CommitLog(nTransaction, *pLog);
    const std::lock_guard lock(GetTreeMutex());
    // Two tables may each have been given the other in transactions that were open at the same time.
    const auto& arOperations = pLog->GetOperations();
    const bool bCircle = std::any_of(arOperations.begin(), arOperations.end(), [this](const SOperation& operation) {
        return operation.kind == SOperation::Kind::Table && operation.entry->GetTable()->Reaches(*this);
    });
    return bCircle ? E_INVALIDARG : CommitLog(nTransaction, *pLog);
}

HRESULT CTable::CommitLog(std::int32_t nTransaction, CTransactionLog& log) {
    std::unique_lock lock(m_writer);
    const bool bEvents = m_events.HasSinks();
    const auto pBatch = bEvents ? MakeEventBatch(nTransaction, log) : nullptr;
    auto pNext = std::make_unique<CVersion>(m_current.Peek());
    log.ApplyTo(*pNext, NextEdit(), bEvents);
    const CCurrentVersion::CRetired retired = m_current.Publish(std::move(pNext));
    if (pBatch) m_events.Send(pBatch);
    lock.unlock();
    return S_OK;
}

HRESULT CTable::Persist(const OLECHAR* pszFile) {
    if (!pszFile) return E_INVALIDARG;
    return E_FAIL;
}

}  // namespace qvant::store
