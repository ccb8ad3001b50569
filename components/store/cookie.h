/// The cookie under which a table hands itself out.
#pragma once

#include <atomic>

#include "base/mutex.h"
#include "qvant/component.h"

namespace qvant::store {

class CTable;

/// What stands for a table in the process's interface table. It holds no reference: a table that handed itself out
/// still ends with its last user, and its cookie ends with it.
class CTableStandIn final : public IUnknown {
public:
    explicit CTableStandIn(CTable& table) : m_pTable(&table) {}

    /// The table is about to end.
    void Forget();

    /// Asks the table; E_INVALIDARG when it has ended.
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override;

private:
    std::atomic<ULONG> m_nReferences{1};
    CMutex m_mutex;
    CTable* m_pTable QV_GUARDED_BY(m_mutex);
};

/// One cookie for the life of a table, made when it is first asked for. Any thread.
class CTableCookie {
public:
    explicit CTableCookie(CTable& table) : m_table(table) {}
    ~CTableCookie();

    /// @return 0 when the interface table refuses
    DWORD Get();

private:
    CTable& m_table;
    CMutex m_mutex;
    DWORD m_nCookie QV_GUARDED_BY(m_mutex) = 0;
    CTableStandIn* m_pStandIn QV_GUARDED_BY(m_mutex) = nullptr;
};

/// The process's interface table, with a reference for the caller; null when there is none.
IGlobalInterfaceTable* OpenInterfaceTable();

}  // namespace qvant::store
