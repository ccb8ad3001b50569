#include "interface_table.h"

#include <new>
#include <unordered_map>

#include "base/mutex.h"

namespace qvant::automation {
namespace {

/// Keeps the pointer as it was given and asks it for an interface at each use. An object whose life must not depend on
/// the table can therefore register a stand-in that answers for it.
class CInterfaceTable final : public IGlobalInterfaceTable {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        if (!ppvObject) return E_POINTER;
        const bool bKnown = riid == IID_IUnknown || riid == IID_IGlobalInterfaceTable;
        *ppvObject = bKnown ? static_cast<IGlobalInterfaceTable*>(this) : nullptr;
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    // One object for the process: nobody's reference counts.
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }

    HRESULT STDMETHODCALLTYPE RegisterInterfaceInGlobal(IUnknown* pUnk, REFIID riid, DWORD* pdwCookie) override;
    HRESULT STDMETHODCALLTYPE RevokeInterfaceFromGlobal(DWORD dwCookie) override;
    HRESULT STDMETHODCALLTYPE GetInterfaceFromGlobal(DWORD dwCookie, REFIID riid, void** ppv) override;

private:
    CMutex m_mutex;
    DWORD m_nLastCookie QV_GUARDED_BY(m_mutex) = 0;
    std::unordered_map<DWORD, IUnknown*> m_mapObjects QV_GUARDED_BY(m_mutex);
};

HRESULT CInterfaceTable::RegisterInterfaceInGlobal(IUnknown* pUnk, REFIID riid, DWORD* pdwCookie) {
    if (!pUnk || !pdwCookie) return E_INVALIDARG;
    *pdwCookie = 0;
    void* pInterface = nullptr;
    const HRESULT hr = pUnk->QueryInterface(riid, &pInterface);
    if (FAILED(hr)) return hr;
    static_cast<IUnknown*>(pInterface)->Release();
    try {
        const CLock lock(m_mutex);
        do {
            ++m_nLastCookie;
        } while (m_nLastCookie == 0 || m_mapObjects.contains(m_nLastCookie));
        m_mapObjects.emplace(m_nLastCookie, pUnk);
        pUnk->AddRef();
        *pdwCookie = m_nLastCookie;
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CInterfaceTable::RevokeInterfaceFromGlobal(DWORD dwCookie) {
    CLock lock(m_mutex);
    const auto it = m_mapObjects.find(dwCookie);
    if (it == m_mapObjects.end()) return E_INVALIDARG;
    IUnknown* const pUnk = it->second;
    m_mapObjects.erase(it);
    lock.unlock();  // the last reference may revoke other cookies
    pUnk->Release();
    return S_OK;
}

HRESULT CInterfaceTable::GetInterfaceFromGlobal(DWORD dwCookie, REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    CLock lock(m_mutex);
    const auto it = m_mapObjects.find(dwCookie);
    if (it == m_mapObjects.end()) return E_INVALIDARG;
    IUnknown* const pUnk = it->second;
    pUnk->AddRef();
    lock.unlock();
    const HRESULT hr = pUnk->QueryInterface(riid, ppv);
    pUnk->Release();
    return hr;
}

}  // namespace

IGlobalInterfaceTable& GetInterfaceTable() {
    static auto* const pTable = new CInterfaceTable;  // never deleted: modules use it until the process ends
    return *pTable;
}

}  // namespace qvant::automation
