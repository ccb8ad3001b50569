/// The entry points of the service's library, and its class factory.

#include <atomic>

#include "base/text.h"
#include "platform/module.h"
#include "qvant/lumivale.h"
#include "service/hosting/lumivale_object.h"
#include "service/hosting/registration.h"

namespace {

using namespace qvant;

std::atomic<ULONG> g_nServerLocks{0};
std::atomic<bool> g_bPerUser{false};

/// The factory of the one class. It lives as long as the library.
class CClassFactory final : public IClassFactory {
public:
    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = riid == IID_IUnknown || riid == IID_IClassFactory ? this : nullptr;
        return *ppv ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }

    HRESULT CreateInstance(IUnknown* pOuter, REFIID riid, void** ppv) override {
        if (!ppv) return E_POINTER;
        *ppv = nullptr;
        // An aggregating object asks for the inner identity; any other interface would already be its own.
        if (pOuter && riid != IID_IUnknown) return CLASS_E_NOAGGREGATION;
        try {
            IUnknown* pObject = CLumivaleObject::Create(pOuter);
            const HRESULT hr = pObject->QueryInterface(riid, ppv);
            pObject->Release();
            return hr;
        } catch (...) {
            return E_OUTOFMEMORY;
        }
    }

    HRESULT LockServer(BOOL bLock) override {
        g_nServerLocks += bLock ? 1u : ~0u;
        return S_OK;
    }
};

Text ModulePath() {
    static const char chHere = 0;
    return platform::GetModulePath(&chHere);
}

/// Runs a registration step; nothing that it raises leaves the library.
template <class Step>
HRESULT Guarded(Step step) noexcept {
    try {
        return step();
    } catch (...) {
        return E_OUTOFMEMORY;
    }
}

}  // namespace

HRESULT DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv) {
    static CClassFactory factory;
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    return rclsid == CLSID_Lumivale ? factory.QueryInterface(riid, ppv) : CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT DllCanUnloadNow() { return CLumivaleObject::CountObjects() == 0 && g_nServerLocks == 0 ? S_OK : S_FALSE; }

HRESULT DllRegisterServer() {
    return Guarded([] { return RegisterServer(g_bPerUser, ModulePath()); });
}

HRESULT DllUnregisterServer() {
    return Guarded([] { return UnregisterServer(g_bPerUser); });
}

HRESULT DllInstall(BOOL bInstall, LPCOLESTR pszCommandLine) {
    g_bPerUser = pszCommandLine && EqualsNoCase(pszCommandLine, u"user");
    if (!bInstall) return DllUnregisterServer();
    const HRESULT hr = DllRegisterServer();
    if (FAILED(hr)) DllUnregisterServer();
    return hr;
}
