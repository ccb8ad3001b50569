/// Classes by name and by identifier: what is registered, else the components of this project.
#include <new>
#include <optional>
#include <unordered_map>

#include "base/mutex.h"
#include "base/text.h"
#include "interface_table.h"
#include "platform/module.h"
#include "qvant/component.h"
#include "qvant/database.h"
#include "qvant/store.h"

namespace {

using qvant::Text;
using qvant::TextView;
using FactoryGetter = HRESULT (*)(REFCLSID, REFIID, void**);

/// A component of this project, which needs no registration: its library lies beside this one.
struct OwnComponent {
    TextView strProgId;
    CLSID clsid;
    TextView strFile;
};

constexpr OwnComponent OWN_COMPONENTS[] = {
    {u"QV_Data.BaseData.1", CLSID_BaseData, u"libqvstore.so"},
    {u"Qvant.DataBaseAPI.1", CLSID_DataBaseAPI, u"libqvdatabase.so"},
    {u"Qvant.RecordSet.1", CLSID_RecordSet, u"libqvdatabase.so"},
    {u"Qvant.RecordItem.1", CLSID_RecordItem, u"libqvdatabase.so"},
};

struct ClassHash {
    std::size_t operator()(const CLSID& clsid) const noexcept {
        return std::hash<std::string_view>{}({reinterpret_cast<const char*>(&clsid), sizeof clsid});
    }
};

Text ToText(REFGUID guid) {
    OLECHAR szText[39];
    StringFromGUID2(guid, szText, 39);
    return szText;
}

std::optional<Text> RegisteredModule(REFCLSID rclsid) {
    return qvant::platform::ReadRegistry(u"HKCR\\CLSID\\" + ToText(rclsid) + u"\\InprocServer32", u"");
}

std::optional<Text> OwnModule(REFCLSID rclsid) {
    for (const OwnComponent& component : OWN_COMPONENTS) {
        if (component.clsid != rclsid) continue;
        const Text strSelf = qvant::platform::GetModulePath(reinterpret_cast<const void*>(&SysAllocString));
        const std::size_t nSlash = strSelf.rfind(u'/');
        return nSlash == Text::npos ? Text(component.strFile) : strSelf.substr(0, nSlash + 1).append(component.strFile);
    }
    return std::nullopt;
}

FactoryGetter LoadGetter(const std::optional<Text>& strPath) {
    void* const hModule = strPath ? qvant::platform::LoadModule(*strPath) : nullptr;
    return hModule ? reinterpret_cast<FactoryGetter>(qvant::platform::FindExport(hModule, "DllGetClassObject"))
                   : nullptr;
}

/// Modules stay loaded, so a class is looked for once.
FactoryGetter FindGetter(REFCLSID rclsid) {
    static qvant::CMutex mutex;
    static auto* const pGetters QV_PT_GUARDED_BY(mutex) = new std::unordered_map<CLSID, FactoryGetter, ClassHash>;
    const qvant::CLock lock(mutex);
    if (const auto it = pGetters->find(rclsid); it != pGetters->end()) return it->second;
    FactoryGetter pGetter = LoadGetter(RegisteredModule(rclsid));
    if (!pGetter) pGetter = LoadGetter(OwnModule(rclsid));
    if (pGetter) pGetters->emplace(rclsid, pGetter);
    return pGetter;
}

HRESULT FindClass(TextView strProgId, CLSID& clsid) {
    const std::optional<Text> strRegistered =
        qvant::platform::ReadRegistry(Text(u"HKCR\\").append(strProgId).append(u"\\CLSID"), u"");
    if (strRegistered && SUCCEEDED(CLSIDFromString(strRegistered->c_str(), &clsid))) return S_OK;
    for (const OwnComponent& component : OWN_COMPONENTS) {
        if (!qvant::EqualsNoCase(component.strProgId, strProgId)) continue;
        clsid = component.clsid;
        return S_OK;
    }
    return CO_E_CLASSSTRING;
}

HRESULT CreateFrom(FactoryGetter pGetter, REFCLSID rclsid, IUnknown* pUnkOuter, REFIID riid, void** ppv) {
    IClassFactory* pFactory = nullptr;
    HRESULT hr = pGetter(rclsid, IID_IClassFactory, reinterpret_cast<void**>(&pFactory));
    if (FAILED(hr)) return hr;
    hr = pFactory->CreateInstance(pUnkOuter, riid, ppv);
    pFactory->Release();
    return hr;
}

}  // namespace

HRESULT CLSIDFromProgID(LPCOLESTR lpszProgID, CLSID* lpclsid) {
    if (!lpszProgID || !lpclsid) return E_INVALIDARG;
    *lpclsid = GUID_NULL;
    try {
        return FindClass(lpszProgID, *lpclsid);
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT CoCreateInstance(REFCLSID rclsid, IUnknown* pUnkOuter, DWORD dwClsContext, REFIID riid, void** ppv) {
    if (!ppv) return E_POINTER;
    *ppv = nullptr;
    if ((dwClsContext & CLSCTX_INPROC_SERVER) == 0) return REGDB_E_CLASSNOTREG;
    try {
        if (rclsid == CLSID_StdGlobalInterfaceTable) {
            if (pUnkOuter) return CLASS_E_NOAGGREGATION;
            return qvant::automation::GetInterfaceTable().QueryInterface(riid, ppv);
        }
        const FactoryGetter pGetter = FindGetter(rclsid);
        return pGetter ? CreateFrom(pGetter, rclsid, pUnkOuter, riid, ppv) : REGDB_E_CLASSNOTREG;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
