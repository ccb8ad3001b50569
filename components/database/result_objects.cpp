#include "result_objects.h"

namespace qvant::database {

HRESULT CRecordSet::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IDispatch) return Give(static_cast<IDispatch*>(this), ppvObject);
    if (riid == IID_IRecordSource) return Give(static_cast<IRecordSource*>(this), ppvObject);
    *ppvObject = nullptr;
    return E_NOINTERFACE;
}

int CRecordSet::CountArguments(DISPID nMethod) {
    if (nMethod == METHOD_GET_COUNT) return 0;
    return nMethod == METHOD_FETCH ? 2 : -1;
}

HRESULT CRecordSet::Call(DISPID nMethod, const CArguments& arguments, VARIANT* pResult) {
    if (nMethod == METHOD_FETCH) return Fetch(arguments, pResult);
    IRecords* const pRecords = m_records.Get();
    SetNumber(pResult, pRecords ? pRecords->GetCount() : 0);
    if (pRecords) pRecords->Release();
    return S_OK;
}

HRESULT CRecordSet::Fetch(const CArguments& arguments, VARIANT* pResult) {
    LONG nIndex = 0;
    if (!arguments.GetNumber(0, nIndex)) return DISP_E_TYPEMISMATCH;
    auto* const pItem = static_cast<IRecordTarget*>(arguments.GetObject(1, IID_IRecordTarget));
    if (!pItem) return DISP_E_TYPEMISMATCH;
    IRecords* const pRecords = m_records.Get();
    IRecord* const pRecord = pRecords ? pRecords->GetRecord(nIndex) : nullptr;
    SetFlag(pResult, pRecord != nullptr);
    if (pRecord) {
        pItem->SetRecord(pRecord);
        pRecord->Release();
    }
    if (pRecords) pRecords->Release();
    pItem->Release();
    return S_OK;
}

HRESULT CRecordItem::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IDispatch) return Give(static_cast<IDispatch*>(this), ppvObject);
    if (riid == IID_IRecordTarget) return Give(static_cast<IRecordTarget*>(this), ppvObject);
    *ppvObject = nullptr;
    return E_NOINTERFACE;
}

HRESULT CRecordItem::Call(DISPID, const CArguments& arguments, VARIANT* pResult) {
    TextView strName;
    if (!arguments.GetText(0, strName)) return DISP_E_TYPEMISMATCH;
    if (!pResult) return E_POINTER;
    IRecord* const pRecord = m_record.Get();
    BSTR bstr = pRecord ? pRecord->GetField(strName.data(), static_cast<UINT>(strName.size())) : nullptr;
    if (pRecord) pRecord->Release();
    if (!bstr) bstr = SysAllocString(u"");
    if (!bstr) return E_OUTOFMEMORY;
    pResult->vt = VT_BSTR;
    pResult->bstrVal = bstr;
    return S_OK;
}

}  // namespace qvant::database
