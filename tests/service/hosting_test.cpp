#include <filesystem>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/module.h"
#include "qvant/lumivale.h"
#include "store/variant.h"
#include "support/scratch_folder.h"

namespace qvant::test {

namespace {

/// The built library, loaded as a host loads it.
template <class Function>
Function* Export(const char* pszName) {
    static void* const hModule = platform::LoadModule(Widen(LUMIVALE_MODULE));
    return reinterpret_cast<Function*>(platform::FindExport(hModule, pszName));
}

IClassFactory* Factory() {
    void* pFactory = nullptr;
    Export<decltype(DllGetClassObject)>("DllGetClassObject")(CLSID_Lumivale, IID_IClassFactory, &pFactory);
    return static_cast<IClassFactory*>(pFactory);
}

template <class Interface>
Interface* Query(IUnknown* pObject, REFIID riid) {
    void* pFound = nullptr;
    return SUCCEEDED(pObject->QueryInterface(riid, &pFound)) ? static_cast<Interface*>(pFound) : nullptr;
}

/// A sink of one event interface, or of none.
class CRecordingSink : public IDispatch {
public:
    explicit CRecordingSink(IID iid, std::vector<std::string>* pCalls = nullptr, std::string strName = {})
        : m_iid(iid), m_pCalls(pCalls), m_strName(std::move(strName)) {}
    virtual ~CRecordingSink() = default;

    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        *ppv = riid == IID_IUnknown || riid == m_iid ? this : nullptr;
        if (*ppv) AddRef();
        return *ppv ? S_OK : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++m_nReferences; }
    ULONG Release() override { return --m_nReferences; }
    HRESULT GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT Invoke(DISPID nEvent, REFIID, LCID, WORD, DISPPARAMS* pParameters, VARIANT*, EXCEPINFO*, UINT*) override {
        std::string strCall = m_strName + std::to_string(nEvent);
        for (UINT i = pParameters->cArgs; i-- > 0;) {
            const VARIANT& argument = pParameters->rgvarg[i];
            strCall +=
                argument.vt == VT_BSTR ? " " + Narrow(ToText(argument.bstrVal)) : " " + std::to_string(argument.lVal);
        }
        if (m_pCalls) m_pCalls->push_back(strCall);
        return S_OK;
    }
    ULONG GetReferences() const { return m_nReferences; }

private:
    IID m_iid;
    std::vector<std::string>* m_pCalls;
    std::string m_strName;
    ULONG m_nReferences = 1;
};

/// An object that aggregates the service.
class COuter : public IUnknown {
public:
    virtual ~COuter() = default;
    HRESULT QueryInterface(REFIID riid, void** ppv) override {
        if (riid != IID_IUnknown) return m_pInner->QueryInterface(riid, ppv);
        *ppv = this;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_nReferences; }
    ULONG Release() override { return --m_nReferences; }

    IUnknown* m_pInner = nullptr;
    ULONG m_nReferences = 1;
};

}  // namespace

class HostingTest : public ::testing::Test {
protected:
    CScratchFolder m_folder;
    CEnvironment m_home{"LUMIVALE_HOME", m_folder.GetPath().string()};
    CEnvironment m_common{"LUMIVALE_COMMON_DATA", (m_folder.GetPath() / "common").string()};
    CEnvironment m_user{"HOME", (m_folder.GetPath() / "user").string()};

    static IQvantManager* CreateManager() {
        void* pManager = nullptr;
        EXPECT_EQ(Factory()->CreateInstance(nullptr, IID_IQvantManager, &pManager), S_OK);
        return static_cast<IQvantManager*>(pManager);
    }
    static IConnectionPoint* FindPoint(IUnknown* pObject, REFIID riid) {
        auto* pContainer = Query<IConnectionPointContainer>(pObject, IID_IConnectionPointContainer);
        IConnectionPoint* pPoint = nullptr;
        EXPECT_EQ(pContainer->FindConnectionPoint(riid, &pPoint), S_OK);
        pContainer->Release();
        return pPoint;
    }
};

TEST_F(HostingTest, TheClassObjectRefusesNullAndForeignClasses) {
    auto* pGetClassObject = Export<decltype(DllGetClassObject)>("DllGetClassObject");
    void* pFactory = &pFactory;
    EXPECT_EQ(pGetClassObject(CLSID_Lumivale, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(pGetClassObject(IID_IUnknown, IID_IClassFactory, &pFactory), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(pFactory, nullptr);
    EXPECT_EQ(pGetClassObject(CLSID_Lumivale, IID_IDispatch, &pFactory), E_NOINTERFACE);
    EXPECT_EQ(Factory()->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(HostingTest, TheObjectAnswersForItsInterfacesWithOneIdentity) {
    IQvantManager* pManager = CreateManager();
    auto* pIdentity = Query<IUnknown>(pManager, IID_IUnknown);
    for (const IID& iid :
         {IID_ILumivale, IID_IQvantManager, IID_IDispatch, IID_IQvantInspect, IID_IConnectionPointContainer}) {
        auto* pInterface = Query<IUnknown>(pIdentity, iid);
        ASSERT_NE(pInterface, nullptr);
        auto* pSame = Query<IUnknown>(pInterface, IID_IUnknown);
        EXPECT_EQ(pSame, pIdentity);
        pSame->Release();
        pInterface->Release();
    }
    EXPECT_EQ(Query<IUnknown>(pIdentity, IID_IClassFactory), nullptr);
    auto* pDispatch = Query<IDispatch>(pIdentity, IID_IDispatch);
    EXPECT_EQ(pDispatch, static_cast<IDispatch*>(pManager));
    pDispatch->Release();
    pIdentity->Release();
    EXPECT_EQ(pManager->Release(), 0u);
}

TEST_F(HostingTest, TheObjectShowsItsStatesAndRefusesOthers) {
    IQvantManager* pManager = CreateManager();
    auto* pInspect = Query<IQvantInspect>(pManager, IID_IQvantInspect);
    ASSERT_NE(pInspect, nullptr);
    const auto GetState = [pInspect](const char16_t* pszWhat, Text& strState) {
        BSTR bstrWhat = SysAllocString(pszWhat);
        BSTR bstrState = bstrWhat;
        const HRESULT hr = pInspect->GetState(bstrWhat, &bstrState);
        strState = bstrState ? Text(bstrState, SysStringLen(bstrState)) : Text(u"null");
        SysFreeString(bstrState);
        SysFreeString(bstrWhat);
        return hr;
    };
    Text strState;
    for (const auto* pszWhat : {u"timers", u"servers", u"refresh"}) {
        EXPECT_EQ(GetState(pszWhat, strState), S_OK);
        EXPECT_THAT(Narrow(strState), ::testing::StartsWith("{\""));
    }
    for (const auto* pszWhat : {u"dances", u"", static_cast<const char16_t*>(nullptr)}) {
        EXPECT_EQ(GetState(pszWhat, strState), E_INVALIDARG);
        EXPECT_EQ(strState, u"null");
    }
    EXPECT_EQ(pInspect->GetState(nullptr, nullptr), E_POINTER);
    pInspect->Release();
    EXPECT_EQ(pManager->Release(), 0u);
}

TEST_F(HostingTest, TheLibraryMayBeUnloadedOnceNoObjectAndNoLockIsLeft) {
    auto* pCanUnload = Export<decltype(DllCanUnloadNow)>("DllCanUnloadNow");
    EXPECT_EQ(pCanUnload(), S_OK);
    IQvantManager* pManager = CreateManager();
    EXPECT_EQ(pCanUnload(), S_FALSE);
    pManager->Release();
    Factory()->LockServer(TRUE);
    EXPECT_EQ(pCanUnload(), S_FALSE);
    Factory()->LockServer(FALSE);
    EXPECT_EQ(pCanUnload(), S_OK);
}

TEST_F(HostingTest, AnAggregatedObjectSharesTheOuterIdentity) {
    COuter outer;
    void* pInner = nullptr;
    EXPECT_EQ(Factory()->CreateInstance(&outer, IID_IQvantManager, &pInner), CLASS_E_NOAGGREGATION);
    ASSERT_EQ(Factory()->CreateInstance(&outer, IID_IUnknown, &pInner), S_OK);
    outer.m_pInner = static_cast<IUnknown*>(pInner);
    auto* pManager = Query<IQvantManager>(&outer, IID_IQvantManager);
    ASSERT_NE(pManager, nullptr);
    EXPECT_EQ(outer.m_nReferences, 2u);
    auto* pIdentity = Query<IUnknown>(pManager, IID_IUnknown);
    EXPECT_EQ(pIdentity, &outer);
    pIdentity->Release();
    pManager->Release();
    EXPECT_EQ(outer.m_nReferences, 1u);
    EXPECT_EQ(outer.m_pInner->Release(), 0u);
}

TEST_F(HostingTest, ASinkWithoutTheEventInterfaceCantConnect) {
    IQvantManager* pManager = CreateManager();
    IConnectionPoint* pPoint = FindPoint(pManager, IID__IQvantManagerEvents);
    CRecordingSink stranger(IID__ILumivaleEvents);
    DWORD nCookie = 7;
    EXPECT_EQ(pPoint->Advise(&stranger, &nCookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(nCookie, 0u);
    EXPECT_EQ(pPoint->Advise(nullptr, &nCookie), E_POINTER);
    EXPECT_EQ(pPoint->Unadvise(99), CONNECT_E_NOCONNECTION);
    IID iid;
    EXPECT_EQ(pPoint->GetConnectionInterface(&iid), S_OK);
    EXPECT_EQ(iid, IID__IQvantManagerEvents);
    pPoint->Release();
    pManager->Release();
}

TEST_F(HostingTest, EventsReachEverySinkInConnectionOrderUntilItDisconnects) {
    IQvantManager* pManager = CreateManager();
    IConnectionPoint* pPoint = FindPoint(pManager, IID__IQvantManagerEvents);
    std::vector<std::string> arCalls;
    CRecordingSink first(IID__IQvantManagerEvents, &arCalls, "a");
    CRecordingSink second(IID__IQvantManagerEvents, &arCalls, "b");
    DWORD nFirst = 0, nSecond = 0;
    ASSERT_EQ(pPoint->Advise(&first, &nFirst), S_OK);
    ASSERT_EQ(pPoint->Advise(&second, &nSecond), S_OK);
    pManager->OnSystemStatus(SYSTEM_STATUS, SYSTEM_STATUS_START);
    EXPECT_THAT(arCalls,
                ::testing::ElementsAre("a7 <Lumivale> SYSTEM_STATUS_START", "b7 <Lumivale> SYSTEM_STATUS_START"));

    EXPECT_EQ(pPoint->Unadvise(nFirst), S_OK);
    EXPECT_EQ(pPoint->Unadvise(nFirst), CONNECT_E_NOCONNECTION);
    EXPECT_EQ(first.GetReferences(), 1u);
    arCalls.clear();
    pManager->OnSystemStatus(SYSTEM_STATUS, SYSTEM_STATUS_START);
    EXPECT_THAT(arCalls, ::testing::ElementsAre("b7 <Lumivale> SYSTEM_STATUS_START"));
    pPoint->Release();
    pManager->Release();
    EXPECT_EQ(second.GetReferences(), 1u);
}

TEST_F(HostingTest, BothConnectionPointsAreListedAndTheServicesOwnStaysSilent) {
    IQvantManager* pManager = CreateManager();
    auto* pContainer = Query<IConnectionPointContainer>(pManager, IID_IConnectionPointContainer);
    IEnumConnectionPoints* pEnum = nullptr;
    ASSERT_EQ(pContainer->EnumConnectionPoints(&pEnum), S_OK);
    IConnectionPoint* arPoints[3] = {};
    ULONG nFetched = 0;
    EXPECT_EQ(pEnum->Next(3, arPoints, &nFetched), S_FALSE);
    ASSERT_EQ(nFetched, 2u);
    IID iid;
    arPoints[0]->GetConnectionInterface(&iid);
    EXPECT_EQ(iid, IID__ILumivaleEvents);
    std::vector<std::string> arCalls;
    CRecordingSink sink(IID__ILumivaleEvents, &arCalls);
    DWORD nCookie = 0;
    EXPECT_EQ(arPoints[0]->Advise(&sink, &nCookie), S_OK);
    pManager->OnSystemStatus(SYSTEM_STATUS, SYSTEM_STATUS_START);
    EXPECT_TRUE(arCalls.empty());
    IConnectionPoint* pNone = nullptr;
    EXPECT_EQ(pContainer->FindConnectionPoint(IID_IDispatch, &pNone), CONNECT_E_NOCONNECTION);
    arPoints[0]->Release();
    arPoints[1]->Release();
    pEnum->Release();
    pContainer->Release();
    pManager->Release();
}

TEST_F(HostingTest, TheDispatchTableDescribesNeitherCall) {
    IQvantManager* pManager = CreateManager();
    UINT nCount = 9;
    EXPECT_EQ(pManager->GetTypeInfoCount(&nCount), S_OK);
    EXPECT_EQ(nCount, 0u);
    DISPPARAMS none{};
    EXPECT_EQ(pManager->Invoke(1, IID_NULL, 0, DISPATCH_METHOD, &none, nullptr, nullptr, nullptr),
              DISP_E_MEMBERNOTFOUND);
    pManager->Release();
}

TEST_F(HostingTest, RegistrationWritesTheMachinesFileAndUnregistrationEmptiesIt) {
    EXPECT_EQ(Export<decltype(DllRegisterServer)>("DllRegisterServer")(), S_OK);
    const auto read = [](TextView strKey, TextView strName = u"") { return platform::ReadRegistry(strKey, strName); };
    const Text strClass = u"HKCR\\CLSID\\{E7E0DDCC-7EC0-46AA-8B47-C10DF05470BA}";
    EXPECT_EQ(read(u"HKCR\\Qvant.Lumivale.1"), u"Lumivale Class");
    EXPECT_EQ(read(u"HKCR\\Qvant.Lumivale.1\\CLSID"), u"{E7E0DDCC-7EC0-46AA-8B47-C10DF05470BA}");
    EXPECT_EQ(read(u"HKCR\\Qvant.Lumivale\\CurVer"), u"Qvant.Lumivale.1");
    EXPECT_EQ(read(strClass + u"\\InprocServer32", u"ThreadingModel"), u"Free");
    EXPECT_EQ(read(strClass + u"\\InprocServer32"), Widen(std::filesystem::canonical(LUMIVALE_MODULE).string()));
    EXPECT_EQ(read(strClass + u"\\Programmable"), u"");
    EXPECT_EQ(read(strClass + u"\\TypeLib"), u"{A8CA09EF-3118-4E34-A12C-FF1E408C1BA6}");
    EXPECT_EQ(read(strClass + u"\\Version"), u"1.0");
    EXPECT_TRUE(std::filesystem::exists(m_folder.GetPath() / "common/Qvant/registry.ini"));
    EXPECT_EQ(Export<decltype(DllUnregisterServer)>("DllUnregisterServer")(), S_OK);
    EXPECT_EQ(read(u"HKCR\\Qvant.Lumivale.1"), std::nullopt);
}

TEST_F(HostingTest, InstallWithUserInAnyCaseRegistersForTheUserAlone) {
    auto* pInstall = Export<decltype(DllInstall)>("DllInstall");
    EXPECT_EQ(pInstall(TRUE, u"UsEr"), S_OK);
    EXPECT_FALSE(std::filesystem::exists(m_folder.GetPath() / "common/Qvant/registry.ini"));
    EXPECT_TRUE(std::filesystem::exists(m_folder.GetPath() / "user/.local/share/Qvant/registry.ini"));
    EXPECT_EQ(platform::ReadRegistry(u"HKCR\\Qvant.Lumivale.1", u""), u"Lumivale Class");
    EXPECT_EQ(pInstall(FALSE, u"USER"), S_OK);
    EXPECT_EQ(platform::ReadRegistry(u"HKCR\\Qvant.Lumivale.1", u""), std::nullopt);
}

TEST_F(HostingTest, AnInstallationThatCantWriteFails) {
    m_folder.Write("common", "a file where the folder should be");
    EXPECT_TRUE(FAILED(Export<decltype(DllInstall)>("DllInstall")(TRUE, nullptr)));
}

TEST_F(HostingTest, ARegisteredClassIsMadeByItsName) {
    ASSERT_EQ(Export<decltype(DllRegisterServer)>("DllRegisterServer")(), S_OK);
    CLSID clsid;
    ASSERT_EQ(CLSIDFromProgID(u"Qvant.Lumivale.1", &clsid), S_OK);
    EXPECT_EQ(clsid, CLSID_Lumivale);
    void* pManager = nullptr;
    ASSERT_EQ(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IQvantManager, &pManager), S_OK);
    static_cast<IQvantManager*>(pManager)->Release();
}

}  // namespace qvant::test
