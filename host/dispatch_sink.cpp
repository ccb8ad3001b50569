#include "dispatch_sink.h"

#include <exception>
#include <new>

#include "failure.h"

namespace qvant::host {

HRESULT CDispatchSink::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    const bool bKnown = riid == m_iidEvents || riid == IID_IDispatch || riid == IID_IUnknown;
    *ppvObject = bKnown ? static_cast<IDispatch*>(this) : nullptr;
    if (bKnown) AddRef();
    return bKnown ? S_OK : E_NOINTERFACE;
}

ULONG CDispatchSink::Release() {
    const ULONG nLeft = --m_nReferences;
    if (nLeft == 0) delete this;
    return nLeft;
}

HRESULT CDispatchSink::GetTypeInfoCount(UINT* pctinfo) {
    if (!pctinfo) return E_POINTER;
    *pctinfo = 0;
    return S_OK;
}

HRESULT CDispatchSink::Invoke(DISPID dispIdMember, REFIID riid, LCID, WORD wFlags, DISPPARAMS* pDispParams,
                              VARIANT* pVarResult, EXCEPINFO*, UINT*) {
    if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (!(wFlags & DISPATCH_METHOD)) return DISP_E_MEMBERNOTFOUND;
    if (!pDispParams) return E_POINTER;
    if (pVarResult) VariantInit(pVarResult);
    const CSharedLock lock(m_mutex);
    if (m_bDetached) return E_UNEXPECTED;
    try {
        return OnCall(dispIdMember, CArguments(pDispParams), pVarResult);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

const VARIANT& CDispatchSink::CArguments::operator[](UINT nIndex) const {
    static const VARIANT s_empty{};
    return nIndex < m_pParams->cArgs ? m_pParams->rgvarg[m_pParams->cArgs - 1 - nIndex] : s_empty;
}

void CDispatchSink::Detach() {
    const CLock lock(m_mutex);
    m_bDetached = true;
}

CConnection::CConnection(IUnknown* pSource, REFIID iidEvents, ComPtr<CDispatchSink> pSink) : m_pSink(std::move(pSink)) {
    const auto pContainer =
        ComPtr<IUnknown>::Share(pSource).As<IConnectionPointContainer>(IID_IConnectionPointContainer);
    IConnectionPoint* pPoint = nullptr;
    if (!pContainer || FAILED(pContainer->FindConnectionPoint(iidEvents, &pPoint)))
        throw CFailure("the source has no such events");
    m_pPoint = ComPtr<IConnectionPoint>::Attach(pPoint);
    if (FAILED(m_pPoint->Advise(m_pSink.Get(), &m_dwCookie))) throw CFailure("the source doesn't take the sink");
}

CConnection::~CConnection() {
    m_pPoint->Unadvise(m_dwCookie);
    m_pSink->Detach();
}

}  // namespace qvant::host
