#include "database_object.h"

#include <new>

#include "common/enumerator.h"

namespace qvant::database {

HRESULT CDatabaseObject::QueryInterface(REFIID riid, void** ppvObject) {
    if (!ppvObject) return E_POINTER;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IDataBaseAPI) {
        return Give(static_cast<IDispatch*>(this), ppvObject);
    }
    if (riid == IID_IConnectionPointContainer) return Give(static_cast<IConnectionPointContainer*>(this), ppvObject);
    if (riid == IID_IQvantDataBase) return Give(static_cast<IQvantDataBase*>(this), ppvObject);
    *ppvObject = nullptr;
    return E_NOINTERFACE;
}

HRESULT CDatabaseObject::EnumConnectionPoints(IEnumConnectionPoints** ppEnum) {
    if (!ppEnum) return E_POINTER;
    *ppEnum = nullptr;
    try {
        using Enumerator = common::CEnumerator<IEnumConnectionPoints, IConnectionPoint*>;
        *ppEnum = new Enumerator(IID_IEnumConnectionPoints, {&m_log});
        m_log.AddRef();
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CDatabaseObject::FindConnectionPoint(REFIID riid, IConnectionPoint** ppCP) {
    if (!ppCP) return E_POINTER;
    *ppCP = nullptr;
    if (riid != IID__IDataBaseAPIEvents) return CONNECT_E_NOCONNECTION;
    m_log.AddRef();
    *ppCP = &m_log;
    return S_OK;
}

HRESULT CDatabaseObject::AllowWaits(BOOL bAllow) {
    m_pDatabase->AllowWaits(bAllow != FALSE);
    return S_OK;
}

int CDatabaseObject::CountArguments(DISPID nMethod) {
    switch (nMethod) {
        case METHOD_BEGIN_BATCH:
        case METHOD_END_BATCH:
            return 0;
        case METHOD_OPEN_SYSTEM:
        case METHOD_DROP_DATABASE:
            return 2;
        case METHOD_INSERT_RECORD:
        case METHOD_DELETE_RECORD:
        case METHOD_CREATE_TABLE:
            return 3;
        case METHOD_QUERY_RECORDS:
            return 4;
        default:
            return -1;
    }
}

HRESULT CDatabaseObject::Call(DISPID nMethod, const CArguments& arguments, VARIANT* pResult) {
    HRESULT hr = S_OK;
    if (nMethod == METHOD_BEGIN_BATCH) {
        m_pDatabase->BeginBatch();
    } else if (nMethod == METHOD_END_BATCH) {
        SetNumber(pResult, m_pDatabase->EndBatch() ? 1 : 0);
    } else {
        hr = CallWithTexts(nMethod, arguments, pResult);
    }
    for (const Text& strLine : m_pDatabase->TakeLog()) m_log.WriteLog(strLine);
    return hr;
}

HRESULT CDatabaseObject::CallWithTexts(DISPID nMethod, const CArguments& arguments, VARIANT* pResult) {
    TextView arTexts[3];
    const int nTexts = CountArguments(nMethod) == 2 ? 2 : 3;
    for (int i = 0; i < nTexts; ++i) {
        if (!arguments.GetText(static_cast<UINT>(i), arTexts[i])) return DISP_E_TYPEMISMATCH;
    }
    if (nMethod == METHOD_QUERY_RECORDS) return Query(arTexts, arguments, pResult);
    bool bDone = false;
    switch (nMethod) {
        case METHOD_OPEN_SYSTEM:
            bDone = m_pDatabase->OpenSystem(arTexts[0], arTexts[1]);
            break;
        case METHOD_INSERT_RECORD:
            bDone = m_pDatabase->InsertRecord(arTexts[0], arTexts[1], arTexts[2]);
            break;
        case METHOD_DELETE_RECORD:
            bDone = m_pDatabase->DeleteRecord(arTexts[0], arTexts[1], arTexts[2]);
            break;
        case METHOD_CREATE_TABLE:
            bDone = m_pDatabase->CreateTable(arTexts[0], arTexts[1], arTexts[2]);
            break;
        default:
            bDone = m_pDatabase->DropDatabase(arTexts[0], arTexts[1]);
    }
    SetNumber(pResult, bDone ? 1 : 0);
    return S_OK;
}

HRESULT CDatabaseObject::Query(const TextView* pTexts, const CArguments& arguments, VARIANT* pResult) {
    auto* const pSet = static_cast<IRecordSource*>(arguments.GetObject(3, IID_IRecordSource));
    if (!pSet) return DISP_E_TYPEMISMATCH;
    struct CRelease {
        IRecordSource* p;
        ~CRelease() { p->Release(); }
    } const release{pSet};
    auto result = m_pDatabase->QueryRecords(pTexts[0], pTexts[1], pTexts[2]);
    SetFlag(pResult, result.has_value());
    if (!result) return S_OK;
    IRecords* const pRecords = new CRecords(std::move(*result), m_pDatabase);
    pSet->SetRecords(pRecords);
    pRecords->Release();
    return S_OK;
}

}  // namespace qvant::database
