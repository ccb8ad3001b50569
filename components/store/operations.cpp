#include "operations.h"

#include <algorithm>
#include <limits>
#include <span>

#include "bulk_memory.h"
#include "qvant/store.h"
#include "table.h"

namespace qvant::store {
namespace {

/// The variant itself, or the one that it refers to.
const VARIANT& Resolve(const VARIANT& value) {
    return value.vt == (VT_VARIANT | VT_BYREF) && value.pvarVal ? *value.pvarVal : value;
}

TextView ToView(BSTR bstr) { return bstr ? TextView(bstr, SysStringLen(bstr)) : TextView(); }

HRESULT MakeEntry(std::uint64_t nHash, TextView strKey, const VARIANT& value, CEntryRef& entry) {
    switch (value.vt) {
        case VT_EMPTY:
            entry = CEntryRef(CEntry::MakeEmpty(nHash, strKey));
            return S_OK;
        case VT_I4:
            entry = CEntryRef(CEntry::MakeNumber(nHash, strKey, value.lVal));
            return S_OK;
        case VT_BSTR:
            entry = CEntryRef(CEntry::MakeString(nHash, strKey, ToView(value.bstrVal)));
            return S_OK;
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

HRESULT ReadRow(const VARIANT& index, const VARIANT& value, SOperation& operation) {
    if (index.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    if (index.lVal < 0 || index.lVal > MAX_ROW_INDEX) return E_INVALIDARG;
    operation.kind = SOperation::Kind::Row;
    return MakeEntry(static_cast<std::uint64_t>(index.lVal), {}, value, operation.entry);
}

HRESULT ReadValue(const VARIANT& key, const VARIANT& value, SOperation& operation) {
    if (key.vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
    const TextView strKey = ToView(key.bstrVal);
    operation.kind = SOperation::Kind::Value;
    return MakeEntry(HashKey(strKey), strKey, value, operation.entry);
}

HRESULT ReadTable(const VARIANT& name, const VARIANT& cookie, SOperation& operation) {
    if (name.vt != VT_BSTR || cookie.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    CRef<CTable> table;
    const HRESULT hr = CTable::FromCookie(static_cast<DWORD>(cookie.lVal), table);
    if (FAILED(hr)) return hr;
    const TextView strName = ToView(name.bstrVal);
    operation.kind = SOperation::Kind::Table;
    operation.entry = CEntryRef(CEntry::MakeTable(HashKey(strName), strName, *table));
    return S_OK;
}

HRESULT ReadBlob(const VARIANT& value, SOperation& operation) {
    if (value.vt != VT_UNKNOWN || !value.punkVal) return DISP_E_TYPEMISMATCH;
    CBlob* pBlob = nullptr;
    if (FAILED(value.punkVal->QueryInterface(IID_Blob, reinterpret_cast<void**>(&pBlob)))) return E_INVALIDARG;
    operation.kind = SOperation::Kind::Blob;
    operation.blob = CRef<CBlob>(pBlob);
    return S_OK;
}

HRESULT ReadClear(const VARIANT& mask, SOperation& operation) {
    if (mask.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    operation.kind = SOperation::Kind::Clear;
    operation.nMask = mask.lVal;
    return S_OK;
}

void Clear(CVersion& version, std::int32_t nMask) {
    if ((nMask & MASK_ROWS) != 0) {
        version.rows = CTrie();
        version.nRowCount = 0;
    }
    if ((nMask & MASK_VALUES) != 0) version.values = CTrie();
    if ((nMask & MASK_TABLES) != 0) version.tables = CTrie();
}

/// From so many values on it pays to bring them into the order of the trie first.
constexpr std::ptrdiff_t MANY_VALUES = 2'048;

bool IsValue(const SOperation& operation) { return operation.kind == SOperation::Kind::Value; }

void Apply(SOperation& operation, CVersion& version, std::uint64_t nEdit, bool bKeep) {
    const auto take = [&] { return bKeep ? operation.entry : std::move(operation.entry); };
    switch (operation.kind) {
        case SOperation::Kind::Row:
            version.nRowCount = std::max(version.nRowCount, static_cast<std::int32_t>(operation.entry->GetHash()) + 1);
            return version.rows.Put(take(), nEdit);
        case SOperation::Kind::Value:
            return version.values.Put(take(), nEdit);
        case SOperation::Kind::Table:
            return version.tables.Put(take(), nEdit);
        case SOperation::Kind::Blob:
            version.values = operation.blob->GetValues();
            return;
        case SOperation::Kind::Clear:
            return Clear(version, operation.nMask);
    }
}

void ApplyValues(std::span<SOperation> arOperations, CVersion& version, std::uint64_t nEdit, bool bKeep) {
    std::vector<CEntryRef> arEntries;
    arEntries.reserve(arOperations.size());
    for (SOperation& operation : arOperations) {
        arEntries.push_back(bKeep ? operation.entry : std::move(operation.entry));
    }
    version.values.PutAll(arEntries, nEdit);
}

}  // namespace

HRESULT ReadOperation(std::int32_t nOperation, const VARIANT& a, const VARIANT& b, SOperation& operation) {
    switch (nOperation) {
        case OPERATION_ROW:
            return ReadRow(Resolve(a), Resolve(b), operation);
        case OPERATION_VALUE:
            return ReadValue(Resolve(a), Resolve(b), operation);
        case OPERATION_TABLE:
            return ReadTable(Resolve(a), Resolve(b), operation);
        case OPERATION_BLOB:
            return ReadBlob(Resolve(b), operation);
        case OPERATION_CLEAR:
            return ReadClear(Resolve(a), operation);
        default:
            return E_INVALIDARG;
    }
}

bool CTransactionLog::ChangesTables() const {
    return std::any_of(m_arOperations.begin(), m_arOperations.end(), [](const SOperation& operation) {
        return operation.kind == SOperation::Kind::Table ||
               (operation.kind == SOperation::Kind::Clear && (operation.nMask & MASK_TABLES) != 0);
    });
}

bool CTransactionLog::Replaces() const {
    return std::any_of(m_arOperations.begin(), m_arOperations.end(), [](const SOperation& operation) {
        return operation.kind == SOperation::Kind::Blob || operation.kind == SOperation::Kind::Clear;
    });
}

void CTransactionLog::ApplyTo(CVersion& version, std::uint64_t nEdit, bool bKeep) {
    for (auto it = m_arOperations.begin(); it != m_arOperations.end();) {
        const auto end = std::find_if_not(it, m_arOperations.end(), IsValue);
        if (end - it >= MANY_VALUES) {
            ApplyValues({it, end}, version, nEdit, bKeep);
            it = end;
        }
        while (it != end) Apply(*it++, version, nEdit, bKeep);
        if (it != m_arOperations.end()) Apply(*it++, version, nEdit, bKeep);
    }
}

std::int32_t COpenTransactions::Begin() {
    static std::atomic<std::uint32_t> nLast{0};
    const CLock lock(m_mutex);
    std::int32_t nTransaction = 0;
    while (nTransaction == 0 || m_mapLogs.contains(nTransaction)) {
        nTransaction = static_cast<std::int32_t>(++nLast & std::numeric_limits<std::int32_t>::max());
    }
    m_mapLogs.emplace(nTransaction, std::make_unique<CTransactionLog>());
    return nTransaction;
}

bool COpenTransactions::Append(std::int32_t nTransaction, SOperation operation) {
    const CLock lock(m_mutex);
    const auto it = m_mapLogs.find(nTransaction);
    if (it == m_mapLogs.end()) return false;
    it->second->Append(std::move(operation));
    return true;
}

std::unique_ptr<CTransactionLog> COpenTransactions::Take(std::int32_t nTransaction) {
    EndBulk();
    const CLock lock(m_mutex);
    const auto it = m_mapLogs.find(nTransaction);
    if (it == m_mapLogs.end()) return nullptr;
    auto pLog = std::move(it->second);
    m_mapLogs.erase(it);
    return pLog;
}

}  // namespace qvant::store
