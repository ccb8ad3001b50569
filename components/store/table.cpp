#include "table.h"

#include <new>

#include "module.h"

namespace qvant::store {

CTable::CTable() { GetModule().AddObject(); }

CTable::~CTable() {
    if (m_binding.pDatabase) {
        const CLock file(m_binding.pDatabase->GetMutex());
        m_binding.pDatabase->Forget(m_binding.nId);
    }
    GetModule().RemoveObject();
}

HRESULT CTable::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    *ppvObject = nullptr;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IBaseData) {
        *ppvObject = static_cast<IDispatch*>(this);
    } else if (riid == IID_IConnectionPointContainer) {
        *ppvObject = static_cast<IConnectionPointContainer*>(this);
    } else if (riid == IID_IQvantTable) {
        *ppvObject = static_cast<IQvantTable*>(this);
    } else if (riid == IID_Table) {
        *ppvObject = this;
    } else {
        return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
}

ULONG CTable::Release() {
    const ULONG nLeft = --m_nReferences;
    if (nLeft == 0) End();
    return nLeft;
}

void CTable::End() {
    static thread_local CTable* pFirst = nullptr;
    static thread_local bool bEnding = false;
    m_pNextEnding = std::exchange(pFirst, this);
    if (bEnding) return;
    bEnding = true;
    while (pFirst) {
        CTable* const pTable = std::exchange(pFirst, pFirst->m_pNextEnding);
        delete pTable;
    }
    bEnding = false;
}

bool CTable::TryAddRef() {
    ULONG nReferences = m_nReferences;
    while (nReferences != 0) {
        if (m_nReferences.compare_exchange_weak(nReferences, nReferences + 1)) return true;
    }
    return false;
}

HRESULT CTable::GetTypeInfoCount(UINT* pctinfo) {
    if (!pctinfo) return E_POINTER;
    *pctinfo = 0;
    return S_OK;
}

HRESULT CTable::EnumConnectionPoints(IEnumConnectionPoints** ppEnum) { return MakePointEnumerator(m_events, ppEnum); }

HRESULT CTable::FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) {
    if (!ppCP) return E_POINTER;
    *ppCP = nullptr;
    if (riid != IID__IBaseDataEvents) return CONNECT_E_NOCONNECTION;
    m_events.AddRef();
    *ppCP = &m_events;
    return S_OK;
}

HRESULT CTable::FromCookie(DWORD nCookie, CRef<CTable>& table) {
    const CRef<IGlobalInterfaceTable> interfaces(OpenInterfaceTable());
    if (!interfaces) return E_FAIL;
    void* pTable = nullptr;
    if (FAILED(interfaces->GetInterfaceFromGlobal(nCookie, IID_Table, &pTable))) return E_INVALIDARG;
    table = CRef<CTable>(static_cast<CTable*>(pTable));
    return S_OK;
}

// ---------------------------------------------------------------------------------------------------------------
// The numbered methods
// ---------------------------------------------------------------------------------------------------------------

namespace {

/// An argument by its place in the call; the record has them in reverse.
const VARIANT& ArgumentOf(const DISPPARAMS& parameters, UINT nPlace) {
    const VARIANT& argument = parameters.rgvarg[parameters.cArgs - 1 - nPlace];
    return argument.vt == (VT_VARIANT | VT_BYREF) && argument.pvarVal ? *argument.pvarVal : argument;
}

constexpr UINT CountOf(DISPID nMethod) {
    switch (nMethod) {
        case METHOD_BEGIN:
            return 0;
        case METHOD_CANCEL:
        case METHOD_COMMIT:
            return 1;
        case METHOD_OPERATE:
            return 4;
        default:
            return 2;
    }
}

}  // namespace

HRESULT CTable::Invoke(DISPID dispIdMember, REFIID riid, LCID, WORD wFlags, DISPPARAMS* pDispParams,
                       VARIANT* pVarResult, EXCEPINFO*, UINT*) {
    if (riid != IID_NULL) return DISP_E_UNKNOWNINTERFACE;
    if (dispIdMember < METHOD_BEGIN || dispIdMember > METHOD_GET) return DISP_E_MEMBERNOTFOUND;
    if ((wFlags & DISPATCH_METHOD) == 0) return DISP_E_MEMBERNOTFOUND;
    if (!pDispParams) return E_POINTER;
    if (pDispParams->cArgs != CountOf(dispIdMember)) return DISP_E_BADPARAMCOUNT;
    if (pVarResult) VariantInit(pVarResult);
    try {
        return Dispatch(dispIdMember, *pDispParams, pVarResult);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return DISP_E_EXCEPTION;
    }
}

HRESULT CTable::Dispatch(DISPID nMethod, const DISPPARAMS& parameters, VARIANT* pResult) {
    if (nMethod == METHOD_BEGIN) {
        if (!pResult) return E_POINTER;
        pResult->lVal = m_transactions.Begin();
        pResult->vt = VT_I4;
        return S_OK;
    }
    const VARIANT& number = ArgumentOf(parameters, 0);
    if (number.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    if (nMethod == METHOD_CANCEL) return m_transactions.Take(number.lVal) ? S_OK : E_INVALIDARG;
    if (nMethod == METHOD_COMMIT) return Commit(number.lVal);
    if (nMethod == METHOD_GET) return pResult ? Get(number.lVal, ArgumentOf(parameters, 1), *pResult) : E_POINTER;
    const VARIANT& operation = ArgumentOf(parameters, 1);
    if (operation.vt != VT_I4) return DISP_E_TYPEMISMATCH;
    return Operate(number.lVal, operation.lVal, ArgumentOf(parameters, 2), ArgumentOf(parameters, 3));
}

}  // namespace qvant::store
