/// Writing to a table.
#include <algorithm>
#include <set>
#include <vector>

#include "base/mutex.h"
#include "stored_tree.h"
#include "table.h"
#include "tree_change.h"

namespace qvant::store {
namespace {

/// Guards the shape of the tree of tables: which is below which, and in which file.
CMutex& GetTreeMutex() {
    static CMutex mutex;
    return mutex;
}

/// Numbers for edits; none is ever used again.
std::uint64_t NextEdit() {
    static std::atomic<std::uint64_t> nLast{0};
    return ++nLast;
}

bool IsEmpty(const CVersion& version) {
    return version.rows.IsEmpty() && version.values.IsEmpty() && version.tables.IsEmpty();
}

}  // namespace

/// Walks without recursion: nobody limits how deep tables are nested.
bool CTable::Reaches(const CTable& table) {
    std::set<const CTable*> seen;
    std::vector<CRef<CTable>> arPending{CRef<CTable>::Share(this)};
    while (!arPending.empty()) {
        const CRef<CTable> current = std::move(arPending.back());
        arPending.pop_back();
        if (current.Get() == &table) return true;
        if (!seen.insert(current.Get()).second) continue;
        const CSnapshot version(current->m_current);
        version->tables.ForEach(
            [&](const CEntry& entry) { arPending.push_back(CRef<CTable>::Share(entry.GetTable())); });
    }
    return false;
}

HRESULT CTable::Operate(std::int32_t nTransaction, std::int32_t nOperation, const VARIANT& a, const VARIANT& b) {
    SOperation operation;
    const HRESULT hr = ReadOperation(nOperation, a, b, operation);
    if (FAILED(hr)) return hr;
    CTable* const pChild = operation.entry ? operation.entry->GetTable() : nullptr;
    if (pChild && pChild->Reaches(*this)) return E_INVALIDARG;
    return m_transactions.Append(nTransaction, std::move(operation)) ? S_OK : E_INVALIDARG;
}

HRESULT CTable::Commit(std::int32_t nTransaction) {
    const auto pLog = m_transactions.Take(nTransaction);
    if (!pLog) return E_INVALIDARG;
    CCurrentVersion::Sweep();
    Retired retired;  // let go outside of every lock: it may hold the last references of tables
    if (!pLog->ChangesTables()) return CommitLog(nTransaction, *pLog, retired);
    const CLock lock(GetTreeMutex());
    // Two tables may each have been given the other in transactions that were open at the same time.
    const auto& arOperations = pLog->GetOperations();
    const bool bCircle = std::any_of(arOperations.begin(), arOperations.end(), [this](const SOperation& operation) {
        return operation.kind == SOperation::Kind::Table && operation.entry->GetTable()->Reaches(*this);
    });
    return bCircle ? E_INVALIDARG : CommitLog(nTransaction, *pLog, retired);
}

HRESULT CTable::CommitLog(std::int32_t nTransaction, CTransactionLog& log, Retired& retired) {
    auto pNext = std::make_unique<CVersion>();
    std::unique_ptr<CTreeChange> pChange;
    const CLock lock(m_writer);
    const auto pBatch = m_events.HasSinks() ? MakeEventBatch(nTransaction, log, log.Replaces()) : nullptr;
    const auto& pDatabase = m_binding.pDatabase;
    pNext->Share(m_current.Peek());
    log.ApplyTo(*pNext, NextEdit(), pBatch || pDatabase);
    if (pDatabase) {
        pChange = std::make_unique<CTreeChange>(pDatabase);
        const HRESULT hr = log.ChangesTables() ? pChange->Plan(m_current.Peek().tables, pNext->tables) : S_OK;
        if (FAILED(hr)) return hr;
        const CLock file(pDatabase->GetMutex());
        pChange->CarryOut(*pDatabase);
        // A refusal of the file doesn't hold up the readers; what is missing there is written with a later commit.
        pDatabase->Write(m_binding.nId, *pNext, log);
        retired.emplace(m_current.Publish(std::move(pNext)));
    } else {
        retired.emplace(m_current.Publish(std::move(pNext)));
    }
    if (pBatch) m_events.Send(pBatch);
    return S_OK;
}

HRESULT CTable::Persist(const OLECHAR* pszFile) {
    if (!pszFile) return E_INVALIDARG;
    try {
        return PersistIn(pszFile);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CTable::PersistIn(TextView strFile) {
    Retired retired;
    StoredTables stored;
    CTransactionLog log;
    const auto pDatabase = CDatabase::Open(strFile);
    const CLock tree(GetTreeMutex());
    if (!pDatabase || !pDatabase->Load(stored) || !BuildStoredTree(stored, pDatabase, log)) return E_FAIL;
    return Bind(pDatabase, log, retired);
}

/// What the file holds comes over what the table has; if it has anything, the file gets the two together.
HRESULT CTable::Bind(const std::shared_ptr<CDatabase>& pDatabase, CTransactionLog& log, Retired& retired) {
    auto pNext = std::make_unique<CVersion>();
    CTreeChange change(pDatabase);
    const CLock lock(m_writer);
    if (m_binding.pDatabase) return E_INVALIDARG;
    const CVersion& current = m_current.Peek();
    const bool bBehind = !IsEmpty(current);
    pNext->Share(current);
    log.ApplyTo(*pNext, NextEdit(), true);
    const HRESULT hr = change.Plan(CTrie(), pNext->tables);
    if (FAILED(hr)) return hr;
    const std::int32_t nTransaction = m_transactions.Begin();
    m_transactions.Take(nTransaction);
    const auto pBatch = m_events.HasSinks() ? MakeEventBatch(nTransaction, log, true) : nullptr;
    {
        const CLock file(pDatabase->GetMutex());
        m_binding = {pDatabase, CDatabase::ROOT_ID, 1};
        pDatabase->Add(CDatabase::ROOT_ID, *this);
        change.CarryOut(*pDatabase);
        if (bBehind) {
            pDatabase->MarkBehind(CDatabase::ROOT_ID);
            pDatabase->Write(CDatabase::ROOT_ID, *pNext, log);
        }
        retired.emplace(m_current.Publish(std::move(pNext)));
    }
    if (pBatch) m_events.Send(pBatch);
    return S_OK;
}

void CTable::Adopt(SBinding binding, CTransactionLog& log) {
    auto pNext = std::make_unique<CVersion>();
    log.ApplyTo(*pNext, NextEdit(), false);
    const Retired retired(m_current.Publish(std::move(pNext)));
    m_binding = std::move(binding);
    const CLock file(m_binding.pDatabase->GetMutex());
    m_binding.pDatabase->Add(m_binding.nId, *this);
}

}  // namespace qvant::store
