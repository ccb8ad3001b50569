/// A connection point: the sinks of one event interface, in connection order.
#pragma once

#include <functional>
#include <vector>

#include "base/mutex.h"
#include "qvant/component.h"

namespace qvant {

/// Part of a container object, whose references it shares. Any thread.
class CConnectionPoint : public IConnectionPoint {
public:
    /// @param container  the object that this point belongs to, and whose critical section `mutex` is
    CConnectionPoint(IConnectionPointContainer& container, CMutex& mutex, REFIID iid)
        : m_container(container), m_mutex(mutex), m_iid(iid) {}
    ~CConnectionPoint();
    CConnectionPoint(const CConnectionPoint&) = delete;
    CConnectionPoint& operator=(const CConnectionPoint&) = delete;

    HRESULT QueryInterface(REFIID riid, void** ppv) override;
    ULONG AddRef() override { return m_container.AddRef(); }
    ULONG Release() override { return m_container.Release(); }

    HRESULT GetConnectionInterface(IID* pIID) override;
    HRESULT GetConnectionPointContainer(IConnectionPointContainer** ppContainer) override;
    /// E_POINTER for a null argument; CONNECT_E_CANNOTCONNECT for a sink without the event interface.
    HRESULT Advise(IUnknown* pSink, DWORD* pnCookie) override;
    /// CONNECT_E_NOCONNECTION for an unknown cookie.
    HRESULT Unadvise(DWORD nCookie) override;
    HRESULT EnumConnections(IEnumConnections** ppEnum) override;

    REFIID GetIID() const { return m_iid; }

    /// Calls `fire` with every sink, in connection order. Sinks are copied one at a time under the object's critical
    /// section and called outside it, so that a sink may connect, disconnect or call the service.
    void ForEachSink(const std::function<void(IDispatch&)>& fire);

private:
    struct Connection {
        DWORD nCookie;
        IDispatch* pSink;
    };

    IConnectionPointContainer& m_container;
    CMutex& m_mutex;
    const IID m_iid;
    std::vector<Connection> m_arConnections QV_GUARDED_BY(m_mutex);
    DWORD m_nNextCookie QV_GUARDED_BY(m_mutex) = 1;
};

}  // namespace qvant
