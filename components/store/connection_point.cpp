#include "connection_point.h"

#include "common/enumerator.h"
#include "qvant/store.h"

namespace qvant::store {

using common::CEnumerator;

/// The sinks of a table that goes away hear no more of it: there is nothing left that they could read.
CEventPoint::~CEventPoint() {
    for (auto& [nCookie, pDelivery] : m_mapSinks) EndDelivery(std::move(pDelivery), QueuedBatches::Dropped);
}

HRESULT CEventPoint::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    const bool bKnown = riid == IID_IUnknown || riid == IID_IConnectionPoint;
    *ppvObject = bKnown ? this : nullptr;
    if (bKnown) AddRef();
    return bKnown ? S_OK : E_NOINTERFACE;
}

HRESULT CEventPoint::GetConnectionInterface(IID* pIID) {
    if (!pIID) return E_POINTER;
    *pIID = IID__IBaseDataEvents;
    return S_OK;
}

HRESULT CEventPoint::GetConnectionPointContainer(IConnectionPointContainer** ppCPC) {
    if (!ppCPC) return E_POINTER;
    m_owner.AddRef();
    *ppCPC = &m_owner;
    return S_OK;
}

HRESULT CEventPoint::Advise(IUnknown* pUnkSink, DWORD* pdwCookie) {
    if (!pdwCookie) return E_POINTER;
    *pdwCookie = 0;
    if (!pUnkSink) return E_POINTER;
    IDispatch* pSink = nullptr;
    if (FAILED(pUnkSink->QueryInterface(IID__IBaseDataEvents, reinterpret_cast<void**>(&pSink)))) {
        return CONNECT_E_CANNOTCONNECT;
    }
    const CRef<IDispatch> holder(pSink);
    try {
        auto pDelivery = std::make_unique<CDelivery>(*pSink);
        if (!pDelivery->Start()) return CONNECT_E_ADVISELIMIT;
        const CLock lock(m_mutex);
        m_mapSinks.emplace(m_nLastCookie + 1, std::move(pDelivery));
        *pdwCookie = ++m_nLastCookie;
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CEventPoint::Unadvise(DWORD dwCookie) {
    std::unique_ptr<CDelivery> pDelivery;
    {
        const CLock lock(m_mutex);
        const auto it = m_mapSinks.find(dwCookie);
        if (it == m_mapSinks.end()) return CONNECT_E_NOCONNECTION;
        pDelivery = std::move(it->second);
        m_mapSinks.erase(it);
    }
    // Outside the lock, and no later commit reaches it: the sink hears of every commit that was done before this call.
    EndDelivery(std::move(pDelivery), QueuedBatches::Delivered);
    return S_OK;
}

HRESULT CEventPoint::EnumConnections(IEnumConnections** ppEnum) {
    if (!ppEnum) return E_POINTER;
    *ppEnum = nullptr;
    try {
        const CLock lock(m_mutex);
        std::vector<CONNECTDATA> arConnections;
        arConnections.reserve(m_mapSinks.size());
        for (const auto& [nCookie, pDelivery] : m_mapSinks) arConnections.push_back({&pDelivery->GetSink(), nCookie});
        auto* const pEnum = new CEnumerator<IEnumConnections, CONNECTDATA>(IID_IEnumConnections, arConnections);
        for (const CONNECTDATA& connection : arConnections) connection.pUnk->AddRef();
        *ppEnum = pEnum;
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

bool CEventPoint::HasSinks() const {
    const CLock lock(m_mutex);
    return !m_mapSinks.empty();
}

void CEventPoint::Send(const std::shared_ptr<const SEventBatch>& pBatch) {
    const CLock lock(m_mutex);
    for (const auto& [nCookie, pDelivery] : m_mapSinks) pDelivery->Queue(pBatch);
}

HRESULT MakePointEnumerator(IConnectionPoint& point, IEnumConnectionPoints** ppEnum) {
    if (!ppEnum) return E_POINTER;
    *ppEnum = nullptr;
    try {
        using Enumerator = CEnumerator<IEnumConnectionPoints, IConnectionPoint*>;
        *ppEnum = new Enumerator(IID_IEnumConnectionPoints, {&point});
        point.AddRef();
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace qvant::store
