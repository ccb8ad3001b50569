/// The event interface of a table: its sinks.
#pragma once

#include <map>
#include <memory>

#include "base/mutex.h"
#include "delivery.h"

namespace qvant::store {

/// Lives inside its table and shares the table's references.
class CEventPoint final : public IConnectionPoint {
public:
    explicit CEventPoint(IConnectionPointContainer& owner) : m_owner(owner) {}
    ~CEventPoint();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return m_owner.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return m_owner.Release(); }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* pIID) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** ppCPC) override;
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* pUnkSink, DWORD* pdwCookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD dwCookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** ppEnum) override;

    bool HasSinks() const;
    /// Hands the batch to every sink.
    void Send(const std::shared_ptr<const SEventBatch>& pBatch);

private:
    IConnectionPointContainer& m_owner;
    mutable CMutex m_mutex;
    DWORD m_nLastCookie QV_GUARDED_BY(m_mutex) = 0;
    /// In the order of their connection.
    std::map<DWORD, std::unique_ptr<CDelivery>> m_mapSinks QV_GUARDED_BY(m_mutex);
};

/// An enumerator over the one connection point of a table.
HRESULT MakePointEnumerator(IConnectionPoint& point, IEnumConnectionPoints** ppEnum);

}  // namespace qvant::store
