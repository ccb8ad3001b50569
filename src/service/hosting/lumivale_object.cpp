#include "service/hosting/lumivale_object.h"

#include "service/hosting/enumerator.h"

namespace qvant {

namespace {

TextView ViewOf(BSTR bstr) { return bstr ? TextView(bstr, SysStringLen(bstr)) : TextView(); }

}  // namespace

std::atomic<ULONG> CLumivaleObject::s_nObjects{0};

IUnknown* CLumivaleObject::Create(IUnknown* pOuter) { return &(new CLumivaleObject(pOuter))->m_inner; }

CLumivaleObject::CLumivaleObject(IUnknown* pOuter)
    : m_inner(*this),
      m_pOuter(pOuter ? pOuter : &m_inner),
      m_lumivaleEvents(*this, m_mutex, IID__ILumivaleEvents),
      m_managerEvents(*this, m_mutex, IID__IQvantManagerEvents),
      m_host(m_managerEvents),
      m_service(m_host, platform::MachineClock()) {
    ++s_nObjects;
}

CLumivaleObject::~CLumivaleObject() { --s_nObjects; }

HRESULT CLumivaleObject::CInner::QueryInterface(REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (riid == IID_IUnknown) {
        *ppv = static_cast<IUnknown*>(this);
        AddRef();
        return S_OK;
    }
    // The dispatch interface of this object is the manager's; the service's own has no methods to dispatch.
    if (riid == IID_IQvantManager || riid == IID_IDispatch)
        *ppv = static_cast<IQvantManager*>(&m_object);
    else if (riid == IID_ILumivale)
        *ppv = static_cast<ILumivale*>(&m_object);
    else if (riid == IID_IQvantInspect)
        *ppv = static_cast<IQvantInspect*>(&m_object);
    else if (riid == IID_IConnectionPointContainer)
        *ppv = static_cast<IConnectionPointContainer*>(&m_object);
    if (!*ppv) return E_NOINTERFACE;
    m_object.AddRef();
    return S_OK;
}

ULONG CLumivaleObject::CInner::Release() {
    const ULONG nLeft = --m_nReferences;
    if (nLeft == 0) {
        // A reference that somebody takes and gives back while the object goes must not destroy it a second time.
        m_nReferences = 1;
        delete &m_object;
    }
    return nLeft;
}

HRESULT CLumivaleObject::EnumConnectionPoints(IEnumConnectionPoints** ppEnum) {
    if (!ppEnum) return E_POINTER;
    *ppEnum = new CEnumerator<IEnumConnectionPoints, IConnectionPoint*>(IID_IEnumConnectionPoints,
                                                                        {&m_lumivaleEvents, &m_managerEvents});
    return S_OK;
}

HRESULT CLumivaleObject::FindConnectionPoint(REFIID riid, IConnectionPoint** ppPoint) {
    if (!ppPoint) return E_POINTER;
    *ppPoint = nullptr;
    for (CConnectionPoint* pPoint : {&m_lumivaleEvents, &m_managerEvents}) {
        if (riid == pPoint->GetIID()) *ppPoint = pPoint;
    }
    if (!*ppPoint) return CONNECT_E_NOCONNECTION;
    (*ppPoint)->AddRef();
    return S_OK;
}

// The type library holds neither of the manager's calls, and `ILumivale` has none: there is nothing to describe.

HRESULT CLumivaleObject::GetTypeInfoCount(UINT* pnCount) {
    if (!pnCount) return E_POINTER;
    *pnCount = 0;
    return S_OK;
}

HRESULT CLumivaleObject::GetTypeInfo(UINT, LCID, ITypeInfo** ppInfo) {
    if (!ppInfo) return E_POINTER;
    *ppInfo = nullptr;
    return DISP_E_BADINDEX;
}

HRESULT CLumivaleObject::GetIDsOfNames(REFIID, LPOLESTR*, UINT nCount, LCID, DISPID* pIds) {
    if (!pIds) return E_POINTER;
    for (UINT i = 0; i < nCount; ++i) pIds[i] = -1;
    return DISP_E_UNKNOWNNAME;
}

HRESULT CLumivaleObject::Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) {
    return DISP_E_MEMBERNOTFOUND;
}

HRESULT CLumivaleObject::OnSystemStatus(LONG nStatus, LONG nSubStatus) {
    return m_service.OnSystemStatus(nStatus, nSubStatus);
}

HRESULT CLumivaleObject::OnTopicCommand(BSTR strTopic, LONG nType, LONG nParameter, BSTR strText, VARIANT* pData) {
    return m_service.OnTopicCommand(ViewOf(strTopic), nType, nParameter, ViewOf(strText), pData);
}

HRESULT CLumivaleObject::GetState(BSTR strWhat, BSTR* pstrState) {
    if (!pstrState) return E_POINTER;
    *pstrState = nullptr;
    try {
        const auto strState = m_service.GetState(ViewOf(strWhat));
        if (!strState) return E_INVALIDARG;
        *pstrState = SysAllocStringLen(strState->data(), static_cast<UINT>(strState->size()));
        return *pstrState ? S_OK : E_OUTOFMEMORY;
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace qvant
