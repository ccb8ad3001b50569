#include <gtest/gtest.h>

#include "platform/module.h"
#include "qvant/store.h"
#include "support/scratch_folder.h"

namespace qvant {
namespace {

using test::CEnvironment;
using test::CScratchFolder;

using Getter = HRESULT (*)(REFCLSID, REFIID, void**);
using Plain = HRESULT (*)();

/// The store's library, as a program that knows only its exports sees it.
struct Library {
    void* hModule = platform::LoadModule(GetPath());

    static Text GetPath() {
        const Text strAutomation = platform::GetModulePath(reinterpret_cast<const void*>(&SysAllocString));
        return strAutomation.substr(0, strAutomation.rfind(u'/')) + u"/libqvstore.so";
    }
    HRESULT Get(REFCLSID rclsid, REFIID riid, void** ppv) const {
        return reinterpret_cast<Getter>(platform::FindExport(hModule, "DllGetClassObject"))(rclsid, riid, ppv);
    }
    HRESULT Call(const char* pszName) const {
        return reinterpret_cast<Plain>(platform::FindExport(hModule, pszName))();
    }
};

/// A registry of the test's own.
class StoreClass : public testing::Test {
protected:
    CScratchFolder m_folder;
    CEnvironment m_home{"HOME", m_folder.GetPath().string()};
    CEnvironment m_common{"LUMIVALE_COMMON_DATA", (m_folder.GetPath() / "common").string()};
};

TEST_F(StoreClass, IsFoundByItsNameWithoutARegistration) {
    CLSID clsid;
    EXPECT_EQ(CLSIDFromProgID(u"QV_Data.BaseData.1", &clsid), S_OK);
    EXPECT_EQ(clsid, CLSID_BaseData);
    EXPECT_EQ(CLSIDFromProgID(u"QV_Data.Nobody.1", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromProgID(nullptr, &clsid), E_INVALIDARG);
}

TEST_F(StoreClass, IsFoundByARegisteredName) {
    ASSERT_TRUE(
        platform::WriteRegistry(true, {{u"HKCR\\My.Table\\CLSID", u"", u"{7B950E2F-D7B1-4718-A8C3-F35AB5E26E94}"}}));
    CLSID clsid;
    EXPECT_EQ(CLSIDFromProgID(u"My.Table", &clsid), S_OK);
    EXPECT_EQ(clsid, CLSID_BaseData);
}

TEST_F(StoreClass, GivesObjectsThroughTheFactory) {
    IUnknown* pTable = nullptr;
    ASSERT_EQ(CoCreateInstance(CLSID_BaseData, nullptr, CLSCTX_INPROC_SERVER, IID_IBaseData,
                               reinterpret_cast<void**>(&pTable)),
              S_OK);
    EXPECT_EQ(pTable->Release(), 0u);

    void* pNothing = this;
    EXPECT_EQ(CoCreateInstance(CLSID_BaseData, nullptr, CLSCTX_INPROC_SERVER, IID_IClassFactory, &pNothing),
              E_NOINTERFACE);
    EXPECT_EQ(pNothing, nullptr);
    EXPECT_EQ(CoCreateInstance(IID_IUnknown, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &pNothing),
              REGDB_E_CLASSNOTREG);
    EXPECT_EQ(CoCreateInstance(CLSID_BaseData, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr), E_POINTER);
}

TEST_F(StoreClass, RefusesForeignClassesAndAggregation) {
    const Library library;
    void* pFactory = this;
    EXPECT_EQ(library.Get(IID_IUnknown, IID_IClassFactory, &pFactory), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(pFactory, nullptr);
    EXPECT_EQ(library.Get(CLSID_BaseData, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(library.Get(CLSID_BaseData, IID_IDispatch, &pFactory), E_NOINTERFACE);

    IClassFactory* pClass = nullptr;
    ASSERT_EQ(library.Get(CLSID_BaseData, IID_IClassFactory, reinterpret_cast<void**>(&pClass)), S_OK);
    void* pTable = this;
    EXPECT_EQ(pClass->CreateInstance(pClass, IID_IUnknown, &pTable), CLASS_E_NOAGGREGATION);
    EXPECT_EQ(pTable, nullptr);
    EXPECT_EQ(pClass->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
    pClass->Release();
}

TEST_F(StoreClass, TellsWhetherItsLibraryIsInUse) {
    const Library library;
    ASSERT_EQ(library.Call("DllCanUnloadNow"), S_OK);

    IClassFactory* pClass = nullptr;
    ASSERT_EQ(library.Get(CLSID_BaseData, IID_IClassFactory, reinterpret_cast<void**>(&pClass)), S_OK);
    pClass->LockServer(TRUE);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE);
    pClass->LockServer(FALSE);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);

    IUnknown* pTable = nullptr;
    ASSERT_EQ(pClass->CreateInstance(nullptr, IID_IUnknown, reinterpret_cast<void**>(&pTable)), S_OK);
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_FALSE);
    pTable->Release();
    EXPECT_EQ(library.Call("DllCanUnloadNow"), S_OK);
}

TEST_F(StoreClass, RegistersItselfForTheMachineAndTakesItBack) {
    const Library library;
    const Text strServer = u"HKCR\\CLSID\\{7B950E2F-D7B1-4718-A8C3-F35AB5E26E94}\\InprocServer32";

    ASSERT_EQ(library.Call("DllRegisterServer"), S_OK);
    EXPECT_EQ(platform::ReadRegistry(u"HKCR\\QV_Data.BaseData.1\\CLSID", u""),
              u"{7B950E2F-D7B1-4718-A8C3-F35AB5E26E94}");
    EXPECT_EQ(platform::ReadRegistry(strServer, u""), Library::GetPath());

    ASSERT_EQ(library.Call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(platform::ReadRegistry(strServer, u""), std::nullopt);
}

}  // namespace
}  // namespace qvant
