/// What the library exports: the class factories, their use, and the registration.
#include <new>

#include "database_object.h"
#include "module.h"
#include "platform/module.h"
#include "result_objects.h"

namespace qvant::database {
namespace {

/// Makes objects of one class; one for the process, so that only its locks count.
template <class Object>
class CFactory final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (!ppvObject) return E_POINTER;
        const bool bKnown = riid == IID_IUnknown || riid == IID_IClassFactory;
        *ppvObject = bKnown ? this : nullptr;
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) override {
        if (!ppvObject) return E_POINTER;
        *ppvObject = nullptr;
        if (pUnkOuter) return CLASS_E_NOAGGREGATION;
        try {
            auto* const pObject = new Object;
            const HRESULT hr = pObject->QueryInterface(riid, ppvObject);
            pObject->Release();
            return hr;
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) override {
        fLock ? GetModule().AddObject() : GetModule().RemoveObject();
        return S_OK;
    }
};

struct SClass {
    CLSID clsid;
    TextView strProgId;
    TextView strDescription;
};

constexpr SClass CLASSES[] = {
    {CLSID_DataBaseAPI, u"Qvant.DataBaseAPI.1", u"DataBaseAPI Class"},
    {CLSID_RecordSet, u"Qvant.RecordSet.1", u"RecordSet Class"},
    {CLSID_RecordItem, u"Qvant.RecordItem.1", u"RecordItem Class"},
};

Text GetClassText(const SClass& entry) {
    OLECHAR szText[39];
    StringFromGUID2(entry.clsid, szText, 39);
    return szText;
}

Text GetClassKey(const SClass& entry) { return u"HKCR\\CLSID\\" + GetClassText(entry); }
Text GetNameKey(const SClass& entry) { return Text(u"HKCR\\").append(entry.strProgId); }

HRESULT Register() {
    const Text strModule = platform::GetModulePath(reinterpret_cast<const void*>(&GetClassText));
    std::vector<platform::RegistryValue> arValues;
    for (const SClass& entry : CLASSES) {
        const Text strClass = GetClassKey(entry);
        const Text strName = GetNameKey(entry);
        arValues.push_back({strName, u"", Text(entry.strDescription)});
        arValues.push_back({strName + u"\\CLSID", u"", GetClassText(entry)});
        arValues.push_back({strClass, u"", Text(entry.strDescription)});
        arValues.push_back({strClass + u"\\ProgID", u"", Text(entry.strProgId)});
        arValues.push_back({strClass + u"\\InprocServer32", u"", strModule});
        arValues.push_back({strClass + u"\\InprocServer32", u"ThreadingModel", u"Free"});
    }
    return platform::WriteRegistry(false, arValues) ? S_OK : SELFREG_E_CLASS;
}

HRESULT Unregister() {
    std::vector<Text> arKeys;
    for (const SClass& entry : CLASSES) {
        arKeys.push_back(GetNameKey(entry));
        arKeys.push_back(GetClassKey(entry));
    }
    return platform::RemoveRegistryKeys(false, arKeys) ? S_OK : SELFREG_E_CLASS;
}

template <class Object>
HRESULT GiveFactory(REFIID riid, void** ppv) {
    static CFactory<Object> factory;
    return factory.QueryInterface(riid, ppv);
}

template <class Call>
HRESULT Guarded(const Call& call) {
    try {
        return call();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace
}  // namespace qvant::database

extern "C" {

QVANT_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    using namespace qvant::database;
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (rclsid == CLSID_DataBaseAPI) return GiveFactory<CDatabaseObject>(riid, ppv);
    if (rclsid == CLSID_RecordSet) return GiveFactory<CRecordSet>(riid, ppv);
    if (rclsid == CLSID_RecordItem) return GiveFactory<CRecordItem>(riid, ppv);
    return CLASS_E_CLASSNOTAVAILABLE;
}

QVANT_EXPORT HRESULT DllCanUnloadNow() { return qvant::database::GetModule().IsInUse() ? S_FALSE : S_OK; }

QVANT_EXPORT HRESULT DllRegisterServer() { return qvant::database::Guarded(qvant::database::Register); }

QVANT_EXPORT HRESULT DllUnregisterServer() { return qvant::database::Guarded(qvant::database::Unregister); }
}
