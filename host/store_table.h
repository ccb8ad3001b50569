/// One table of the store, and the transactions on it.
#pragma once

#include <optional>

#include "com_ptr.h"
#include "qvant/store.h"
#include "value.h"

namespace qvant::host {

/// A counted handle to a table object. Any thread may read; copies reach the same table.
///
/// Every operation throws `CFailure` when the store refuses the call.
class CStoreTable {
public:
    explicit CStoreTable(ComPtr<IDispatch> pTable) : m_pTable(std::move(pTable)) {}

    /// A new table without content.
    static CStoreTable Create();

    /// Table of a global interface cookie; none when the cookie is unknown.
    static std::optional<CStoreTable> FromCookie(DWORD dwCookie);

    /// A cookie for this table, never 0. It is given back with `Revoke`.
    DWORD Register() const;
    static void Revoke(DWORD dwCookie);

    Value GetValue(TextView strKey) const;
    /// The keys of the keyed values in one text, as the store gives it.
    Value GetKeys() const;
    std::optional<CStoreTable> GetTable(TextView strName) const;

    IDispatch* Get() const { return m_pTable.Get(); }
    /// What the owner of a store has beyond the numbered methods.
    ComPtr<IQvantTable> Owner() const;

private:
    friend class CTransaction;

    Value Read(store::Operation nOperation, const CVariant& argument) const;
    void Invoke(store::Method nMethod, VARIANT* pReversed, UINT nCount, VARIANT* pResult) const;

    ComPtr<IDispatch> m_pTable;
};

/// A write transaction; cancelled unless it is committed. Belongs to the thread that made it.
class CTransaction {
public:
    explicit CTransaction(CStoreTable table);
    CTransaction(const CTransaction&) = delete;
    CTransaction& operator=(const CTransaction&) = delete;
    ~CTransaction();

    void SetValue(TextView strKey, const Value& value);
    void SetRow(std::int32_t nIndex, const Value& value);
    void SetTable(TextView strName, const CStoreTable& table);
    void Clear(std::int32_t nMask);
    void Commit();

private:
    void Operate(store::Operation nOperation, const CVariant& a, const CVariant& b);
    void End(store::Method nMethod);

    const CStoreTable m_table;
    std::int32_t m_nTransaction = 0;
};

}  // namespace qvant::host
