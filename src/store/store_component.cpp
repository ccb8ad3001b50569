#include "store/store_component.h"

#include "base/mutex.h"
#include "platform/module.h"
#include "store/create_object.h"

namespace qvant {
namespace {

constexpr TextView RELEASE_FOLDER = u"/QvantRelease/";
constexpr TextView COMPONENT_FILE = u"/Components/QV_DataBase64.so";

using FactoryGetter = HRESULT (*)(REFCLSID, REFIID, void**);

/// The component is loaded once for the process. There is no search folder to set: it finds its siblings itself.
FactoryGetter LoadStoreComponent() {
    static CMutex mutex;
    static void* hModule QV_GUARDED_BY(mutex) = nullptr;
    const CLock lock(mutex);
    if (!hModule) {
        static const int nAnchor = 0;
        const Text strPath = GetReleaseComponentPath(platform::GetModulePath(&nAnchor));
        if (!strPath.empty()) hModule = platform::LoadModule(strPath);
    }
    return hModule ? reinterpret_cast<FactoryGetter>(platform::FindExport(hModule, "DllGetClassObject")) : nullptr;
}

}  // namespace

Text GetReleaseComponentPath(TextView strModule) {
    const std::size_t nFound = strModule.find(RELEASE_FOLDER);
    if (nFound == TextView::npos) return {};
    return Text(strModule.substr(0, nFound + RELEASE_FOLDER.size() - 1)).append(COMPONENT_FILE);
}

IDispatch* CreateStoreFromFile() {
    const FactoryGetter pGetter = LoadStoreComponent();
    IClassFactory* pFactory = nullptr;
    if (!pGetter || FAILED(pGetter(CLSID_BaseData, IID_IClassFactory, reinterpret_cast<void**>(&pFactory)))) {
        return nullptr;
    }
    IUnknown* pStore = nullptr;
    const HRESULT hr = pFactory->CreateInstance(nullptr, IID_IBaseData, reinterpret_cast<void**>(&pStore));
    pFactory->Release();
    return SUCCEEDED(hr) ? AsDispatch(pStore) : nullptr;
}

IDispatch* CreateStoreFromProgId() { return CreateObject(u"QV_Data.BaseData.1", IID_IBaseData); }

}  // namespace qvant
