/// A table of the store.
#pragma once

#include <atomic>
#include <memory>
#include <optional>

#include "base/mutex.h"
#include "connection_point.h"
#include "cookie.h"
#include "database.h"
#include "operations.h"
#include "qvant/store.h"
#include "version.h"

namespace qvant::store {

/// Names a table of this store to the store itself; nobody else asks for it.
inline constexpr IID IID_Table{0x2E7A6C10, 0x83B4, 0x4F4E, {0xB1, 0x57, 0x0D, 0x9C, 0x2A, 0x61, 0xE4, 0x33}};

/// The object that everybody holds by reference: numbered methods, events, inspection.
///
/// A read holds a version and never waits. Commits run one after another under the writer's lock; a commit that changes
/// the tree of tables holds the store-wide lock of that tree as well, which is always taken first.
class CTable final : public IDispatch, public IConnectionPointContainer, public IQvantTable {
public:
    CTable();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override;
    /// Adds a reference unless the last one is gone.
    bool TryAddRef();

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* pctinfo) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return DISP_E_BADINDEX; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return DISP_E_UNKNOWNNAME;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID dispIdMember, REFIID riid, LCID lcid, WORD wFlags, DISPPARAMS* pDispParams,
                                     VARIANT* pVarResult, EXCEPINFO* pExcepInfo, UINT* puArgErr) override;

    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** ppEnum) override;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) override;

    HRESULT STDMETHODCALLTYPE Visit(IQvantTableVisitor* pVisitor) override;
    HRESULT STDMETHODCALLTYPE Persist(const OLECHAR* pszFile) override;

    /// Where a table is kept.
    struct SBinding {
        std::shared_ptr<CDatabase> pDatabase;  ///< null for a table in memory alone
        std::int64_t nId = 0;
        std::size_t nLinks = 0;  ///< names under which tables of the same file hold it; the tree's lock guards it
    };

    /// For the file, under its lock.
    const SBinding& GetBinding() const { return m_binding; }
    const CVersion& PeekVersion() const { return m_current.Peek(); }

    /// The table behind a cookie. E_INVALIDARG when there is none, or when it isn't a table of this store.
    static HRESULT FromCookie(DWORD nCookie, CRef<CTable>& table);

    /// Gives a table that nobody knows yet its place in a file and its content.
    void Adopt(SBinding binding, CTransactionLog& log);

private:
    friend class CTreeChange;
    using Retired = std::optional<CCurrentVersion::CRetired>;

    ~CTable();

    HRESULT Dispatch(DISPID nMethod, const DISPPARAMS& parameters, VARIANT* pResult);
    HRESULT Operate(std::int32_t nTransaction, std::int32_t nOperation, const VARIANT& a, const VARIANT& b);
    HRESULT Commit(std::int32_t nTransaction);
    HRESULT CommitLog(std::int32_t nTransaction, CTransactionLog& log, Retired& retired);

    HRESULT PersistIn(TextView strFile);
    HRESULT Bind(const std::shared_ptr<CDatabase>& pDatabase, CTransactionLog& log, Retired& retired);

    HRESULT Get(std::int32_t nOperation, const VARIANT& a, VARIANT& result);
    HRESULT GetRow(const VARIANT& index, VARIANT& result) const;
    HRESULT GetValue(const VARIANT& key, VARIANT& result) const;
    HRESULT GetTable(const VARIANT& name, VARIANT& result) const;
    HRESULT GetKeys(VARIANT& result) const;
    HRESULT GetBlob(const VARIANT& mask, VARIANT& result) const;

    /// Whether `table` is this one or somewhere below it. Certain as long as the tree doesn't change.
    bool Reaches(const CTable& table);

    /// The end of a table may end those below it; they end one after another, however deep they lie.
    void End();

    std::atomic<ULONG> m_nReferences{1};
    CTable* m_pNextEnding = nullptr;
    CCurrentVersion m_current;
    COpenTransactions m_transactions;
    CMutex m_writer;  ///< one commit at a time; `m_current` is read by all, and published under it
    /// Changes under three locks, the tree's, the writer's and the file's, and is read under any: that can't be told.
    SBinding m_binding;
    CTableCookie m_cookie{*this};
    CEventPoint m_events{*this};
};

}  // namespace qvant::store
