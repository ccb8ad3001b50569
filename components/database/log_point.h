/// The event interface of a database object: its sinks.
#pragma once

#include <map>

#include "base/mutex.h"
#include "base/text.h"
#include "qvant/component.h"

namespace qvant::database {

/// Lives inside its database object and shares the object's references.
class CLogPoint final : public IConnectionPoint {
public:
    explicit CLogPoint(IConnectionPointContainer& owner) : m_owner(owner) {}
    ~CLogPoint();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return m_owner.AddRef(); }
    ULONG STDMETHODCALLTYPE Release() override { return m_owner.Release(); }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* pIID) override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** ppCPC) override;
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* pUnkSink, DWORD* pdwCookie) override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD dwCookie) override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** ppEnum) override;

    /// Sends the line to every sink, on this thread and without a lock.
    void WriteLog(const Text& strLine);

private:
    IConnectionPointContainer& m_owner;
    CMutex m_mutex;
    DWORD m_nLastCookie QV_GUARDED_BY(m_mutex) = 0;
    std::map<DWORD, IDispatch*> m_mapSinks QV_GUARDED_BY(m_mutex);  ///< with a reference to each
};

}  // namespace qvant::database
