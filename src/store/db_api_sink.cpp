#include "store/db_api_sink.h"

#include <new>

#include "base/failure.h"
#include "store/variant.h"

namespace qvant {

HRESULT CDataBaseSink::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    const bool bKnown = riid == IID_IUnknown || riid == IID_IDispatch || riid == IID__IDataBaseAPIEvents;
    *ppvObject = bKnown ? static_cast<IDispatch*>(this) : nullptr;
    if (!bKnown) return E_NOINTERFACE;
    AddRef();
    return S_OK;
}

ULONG CDataBaseSink::Release() {
    const ULONG nLeft = --m_nReferences;
    if (nLeft == 0) delete this;
    return nLeft;
}

HRESULT CDataBaseSink::GetTypeInfoCount(UINT* pctinfo) {
    if (!pctinfo) return E_POINTER;
    *pctinfo = 0;
    return S_OK;
}

/// A receiver's failure ends its own handler and becomes the result of the call; the database goes on.
HRESULT CDataBaseSink::Invoke(DISPID dispIdMember, REFIID, LCID, WORD, DISPPARAMS* pDispParams, VARIANT*, EXCEPINFO*,
                              UINT*) {
    if (!pDispParams) return E_POINTER;
    try {
        return Deliver(dispIdMember, *pDispParams);
    } catch (const CFailure& failure) {
        return failure.GetCode();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return DISP_E_EXCEPTION;
    }
}

HRESULT CDataBaseSink::Deliver(DISPID nEvent, const DISPPARAMS& parameters) {
    const bool bCommand = nEvent == database::EVENT_COMMAND_MSG;
    if (!bCommand && nEvent != database::EVENT_WRITE_LOG) return DISP_E_MEMBERNOTFOUND;
    if (parameters.cArgs != (bCommand ? 3u : 1u)) return DISP_E_BADPARAMCOUNT;
    const VARIANT* const pArguments = parameters.rgvarg;  // in reverse: the text stands first
    if (pArguments[0].vt != VT_BSTR) return DISP_E_TYPEMISMATCH;
    if (bCommand && (pArguments[1].vt != VT_I4 || pArguments[2].vt != VT_I4)) return DISP_E_TYPEMISMATCH;
    CDataBaseEventReceiver* const pReceiver = m_pReceiver;
    const Text strText = ToText(pArguments[0].bstrVal);
    if (pReceiver && bCommand) pReceiver->OnCommandMsg(pArguments[2].lVal, pArguments[1].lVal, strText);
    if (pReceiver && !bCommand) pReceiver->OnWriteLog(strText);
    return S_OK;
}

}  // namespace qvant
