#include "service/hosting/connection_point.h"

#include "service/hosting/enumerator.h"

namespace qvant {

CConnectionPoint::~CConnectionPoint() {
    for (const Connection& connection : m_arConnections) connection.pSink->Release();
}

HRESULT CConnectionPoint::QueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = riid == IID_IUnknown || riid == IID_IConnectionPoint ? this : nullptr;
    if (!*ppv) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

HRESULT CConnectionPoint::GetConnectionInterface(IID* pIID) {
    if (!pIID) return E_POINTER;
    *pIID = m_iid;
    return S_OK;
}

HRESULT CConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** ppContainer) {
    if (!ppContainer) return E_POINTER;
    *ppContainer = &m_container;
    m_container.AddRef();
    return S_OK;
}

HRESULT CConnectionPoint::Advise(IUnknown* pSink, DWORD* pnCookie) {
    if (!pSink || !pnCookie) return E_POINTER;
    *pnCookie = 0;
    void* pEvents = nullptr;
    if (FAILED(pSink->QueryInterface(m_iid, &pEvents)) || !pEvents) return CONNECT_E_CANNOTCONNECT;
    const CLock lock(m_mutex);
    m_arConnections.push_back({m_nNextCookie, static_cast<IDispatch*>(pEvents)});
    *pnCookie = m_nNextCookie++;
    return S_OK;
}

HRESULT CConnectionPoint::Unadvise(DWORD nCookie) {
    IDispatch* pSink = nullptr;
    {
        const CLock lock(m_mutex);
        const auto it = std::find_if(m_arConnections.begin(), m_arConnections.end(),
                                     [nCookie](const Connection& connection) { return connection.nCookie == nCookie; });
        if (it == m_arConnections.end()) return CONNECT_E_NOCONNECTION;
        pSink = it->pSink;
        m_arConnections.erase(it);
    }
    pSink->Release();
    return S_OK;
}

HRESULT CConnectionPoint::EnumConnections(IEnumConnections** ppEnum) {
    if (!ppEnum) return E_POINTER;
    const CLock lock(m_mutex);
    std::vector<CONNECTDATA> arItems;
    for (const Connection& connection : m_arConnections) arItems.push_back({connection.pSink, connection.nCookie});
    *ppEnum = new CEnumerator<IEnumConnections, CONNECTDATA>(IID_IEnumConnections, std::move(arItems));
    return S_OK;
}

void CConnectionPoint::ForEachSink(const std::function<void(IDispatch&)>& fire) {
    for (std::size_t i = 0;; ++i) {
        IDispatch* pSink = nullptr;
        {
            const CLock lock(m_mutex);
            if (i >= m_arConnections.size()) return;
            pSink = m_arConnections[i].pSink;
            pSink->AddRef();
        }
        fire(*pSink);
        pSink->Release();
    }
}

}  // namespace qvant
