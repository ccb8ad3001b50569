/// What the library exports: the class factory, its use, and the registration.
#include <new>

#include "module.h"
#include "platform/module.h"
#include "qvant/store.h"
#include "table.h"

namespace qvant::store {
namespace {

/// One for the process; only its locks count.
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
            const CRef<CTable> table(new CTable);
            return table->QueryInterface(riid, ppvObject);
        } catch (const std::bad_alloc&) {
            return E_OUTOFMEMORY;
        }
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL fLock) override {
        fLock ? GetModule().AddObject() : GetModule().RemoveObject();
        return S_OK;
    }
};

constexpr TextView PROG_ID = u"HKCR\\QV_Data.BaseData.1";
constexpr TextView CLASS_KEY = u"HKCR\\CLSID\\{7B950E2F-D7B1-4718-A8C3-F35AB5E26E94}";
constexpr TextView DESCRIPTION = u"BaseData Class";

HRESULT Register() {
    const Text strModule = platform::GetModulePath(reinterpret_cast<const void*>(&GetModule));
    const Text strClass(CLASS_KEY);
    const Text strProgId(PROG_ID);
    const std::vector<platform::RegistryValue> arValues = {
        {strProgId, u"", Text(DESCRIPTION)},
        {strProgId + u"\\CLSID", u"", strClass.substr(strClass.rfind(u'{'))},
        {strClass, u"", Text(DESCRIPTION)},
        {strClass + u"\\ProgID", u"", strProgId.substr(strProgId.rfind(u'\\') + 1)},
        {strClass + u"\\InprocServer32", u"", strModule},
        {strClass + u"\\InprocServer32", u"ThreadingModel", u"Free"},
    };
    return platform::WriteRegistry(false, arValues) ? S_OK : SELFREG_E_CLASS;
}

HRESULT Unregister() {
    return platform::RemoveRegistryKeys(false, {Text(PROG_ID), Text(CLASS_KEY)}) ? S_OK : SELFREG_E_CLASS;
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
}  // namespace qvant::store

extern "C" {

QVANT_EXPORT HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    static qvant::store::CFactory factory;
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if (rclsid != CLSID_BaseData) return CLASS_E_CLASSNOTAVAILABLE;
    return factory.QueryInterface(riid, ppv);
}

QVANT_EXPORT HRESULT DllCanUnloadNow() { return qvant::store::GetModule().IsInUse() ? S_FALSE : S_OK; }

QVANT_EXPORT HRESULT DllRegisterServer() { return qvant::store::Guarded(qvant::store::Register); }

QVANT_EXPORT HRESULT DllUnregisterServer() { return qvant::store::Guarded(qvant::store::Unregister); }
}
