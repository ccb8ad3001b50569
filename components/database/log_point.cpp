#include "log_point.h"

#include <new>
#include <vector>

#include "common/enumerator.h"
#include "qvant/database.h"

namespace qvant::database {

CLogPoint::~CLogPoint() {
    for (const auto& [nCookie, pSink] : m_mapSinks) pSink->Release();
}

HRESULT CLogPoint::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    const bool bKnown = riid == IID_IUnknown || riid == IID_IConnectionPoint;
    *ppvObject = bKnown ? this : nullptr;
    if (bKnown) AddRef();
    return bKnown ? S_OK : E_NOINTERFACE;
}

HRESULT CLogPoint::GetConnectionInterface(IID* pIID) {
    if (!pIID) return E_POINTER;
    *pIID = IID__IDataBaseAPIEvents;
    return S_OK;
}

HRESULT CLogPoint::GetConnectionPointContainer(IConnectionPointContainer** ppCPC) {
    if (!ppCPC) return E_POINTER;
    m_owner.AddRef();
    *ppCPC = &m_owner;
    return S_OK;
}

HRESULT CLogPoint::Advise(IUnknown* pUnkSink, DWORD* pdwCookie) {
    if (!pdwCookie) return E_POINTER;
    *pdwCookie = 0;
    if (!pUnkSink) return E_POINTER;
    IDispatch* pSink = nullptr;
    if (FAILED(pUnkSink->QueryInterface(IID__IDataBaseAPIEvents, reinterpret_cast<void**>(&pSink)))) {
        return CONNECT_E_CANNOTCONNECT;
    }
    try {
        const CLock lock(m_mutex);
        m_mapSinks.emplace(m_nLastCookie + 1, pSink);
        *pdwCookie = ++m_nLastCookie;
        return S_OK;
    } catch (const std::bad_alloc&) {
        pSink->Release();
        return E_OUTOFMEMORY;
    }
}

HRESULT CLogPoint::Unadvise(DWORD dwCookie) {
    IDispatch* pSink = nullptr;
    {
        const CLock lock(m_mutex);
        const auto it = m_mapSinks.find(dwCookie);
        if (it == m_mapSinks.end()) return CONNECT_E_NOCONNECTION;
        pSink = it->second;
        m_mapSinks.erase(it);
    }
    pSink->Release();
    return S_OK;
}

HRESULT CLogPoint::EnumConnections(IEnumConnections** ppEnum) {
    if (!ppEnum) return E_POINTER;
    *ppEnum = nullptr;
    try {
        const CLock lock(m_mutex);
        std::vector<CONNECTDATA> arConnections;
        arConnections.reserve(m_mapSinks.size());
        for (const auto& [nCookie, pSink] : m_mapSinks) arConnections.push_back({pSink, nCookie});
        auto* const pEnum = new common::CEnumerator<IEnumConnections, CONNECTDATA>(IID_IEnumConnections, arConnections);
        for (const CONNECTDATA& connection : arConnections) connection.pUnk->AddRef();
        *ppEnum = pEnum;
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

/// A sink's failure is its own affair.
void CLogPoint::WriteLog(const Text& strLine) {
    std::vector<IDispatch*> arSinks;
    {
        const CLock lock(m_mutex);
        arSinks.reserve(m_mapSinks.size());
        for (const auto& [nCookie, pSink] : m_mapSinks) {
            pSink->AddRef();
            arSinks.push_back(pSink);
        }
    }
    VARIANT line{};
    line.vt = VT_BSTR;
    line.bstrVal = SysAllocStringLen(strLine.data(), static_cast<UINT>(strLine.size()));
    for (IDispatch* const pSink : arSinks) {
        DISPPARAMS parameters{&line, nullptr, 1, 0};
        if (line.bstrVal) {
            pSink->Invoke(EVENT_WRITE_LOG, IID_NULL, 0, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
        }
        pSink->Release();
    }
    VariantClear(&line);
}

}  // namespace qvant::database
