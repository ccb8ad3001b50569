/// A database component of another make, whose queries find one row that can't be fetched.
#include <atomic>

#include "qvant/component.h"
#include "qvant/database.h"
#include "record_rows.h"

namespace {

using qvant::database::IRecord;
using qvant::database::IRecords;
using qvant::database::IRecordSource;

/// Counted by nobody: lives as long as its library.
class CLostRow final : public IRecords {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    LONG STDMETHODCALLTYPE GetCount() override { return 1; }
    IRecord* STDMETHODCALLTYPE GetRecord(LONG) override { return nullptr; }
};

class CDatabase final : public IDispatch {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        const bool bKnown = riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IDataBaseAPI;
        *ppvObject = bKnown ? this : nullptr;
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID nMethod, REFIID, LCID, WORD, DISPPARAMS* pParameters, VARIANT* pResult,
                                     EXCEPINFO*, UINT*) override {
        if (nMethod != qvant::database::METHOD_QUERY_RECORDS) return S_OK;
        static CLostRow row;
        IRecordSource* pSet = nullptr;
        pParameters->rgvarg[0].pdispVal->QueryInterface(qvant::database::IID_IRecordSource,
                                                        reinterpret_cast<void**>(&pSet));
        pSet->SetRecords(&row);
        pSet->Release();
        pResult->vt = VT_BOOL;
        pResult->boolVal = VARIANT_TRUE;
        return S_OK;
    }
};

class CFactory final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** ppvObject) override {
        *ppvObject = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID riid, void** ppvObject) override {
        static CDatabase database;
        return database.QueryInterface(riid, ppvObject);
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) override { return S_OK; }
};

}  // namespace

extern "C" QVANT_EXPORT HRESULT DllGetClassObject(REFCLSID, REFIID riid, void** ppv) {
    static CFactory factory;
    return factory.QueryInterface(riid, ppv);
}
