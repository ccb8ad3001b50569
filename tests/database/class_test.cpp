#include "database_fixture.h"
#include "platform/module.h"
#include "store/string_argument.h"
#include "store/variant.h"

namespace qvant::test {

using ::testing::ElementsAre;

/// Calls a method as a module does that has the dispatch interface and nothing else; the arguments stand in reverse.
HRESULT Call(IDispatch& object, DISPID nMethod, std::vector<VARIANT> arArguments, VARIANT* pResult = nullptr,
             WORD wFlags = DISPATCH_METHOD) {
    DISPPARAMS parameters{arArguments.data(), nullptr, static_cast<UINT>(arArguments.size()), 0};
    return object.Invoke(nMethod, IID_NULL, 0, wFlags, &parameters, pResult, nullptr, nullptr);
}

class DatabaseClass : public DatabaseTest {
protected:
    DatabaseClass() {
        EXPECT_EQ(CoCreateInstance(CLSID_DataBaseAPI, nullptr, CLSCTX_INPROC_SERVER, IID_IDataBaseAPI,
                                   reinterpret_cast<void**>(&m_pObject)),
                  S_OK);
    }
    ~DatabaseClass() override { m_pObject->Release(); }

    IDispatch* m_pObject = nullptr;
};

TEST_F(DatabaseClass, TheThreeClassesAreFoundByTheirNames) {
    CLSID clsid;
    EXPECT_EQ(CLSIDFromProgID(u"Qvant.DataBaseAPI.1", &clsid), S_OK);
    EXPECT_EQ(clsid, CLSID_DataBaseAPI);
    for (const auto* pszName : {u"Qvant.RecordSet.1", u"Qvant.RecordItem.1"}) {
        ASSERT_EQ(CLSIDFromProgID(pszName, &clsid), S_OK);
        IUnknown* pObject = nullptr;
        EXPECT_EQ(
            CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch, reinterpret_cast<void**>(&pObject)),
            S_OK);
        EXPECT_EQ(pObject->Release(), 0u);
    }
}

TEST_F(DatabaseClass, TheLibraryIsRegisteredAndInUseAsLongAsItHasObjects) {
    const CEnvironment home("HOME", m_folder.GetPath().string());
    const Text strAutomation = platform::GetModulePath(reinterpret_cast<const void*>(&SysAllocString));
    const Text strPath = strAutomation.substr(0, strAutomation.rfind(u'/')) + u"/libqvdatabase.so";
    void* const hModule = platform::LoadModule(strPath);
    const auto call = [&](const char* pszName) {
        return reinterpret_cast<HRESULT (*)()>(platform::FindExport(hModule, pszName))();
    };
    EXPECT_EQ(call("DllCanUnloadNow"), S_FALSE);
    EXPECT_EQ(call("DllRegisterServer"), S_OK);
    EXPECT_EQ(platform::ReadRegistry(u"HKCR\\Qvant.RecordSet.1", u""), u"RecordSet Class");
    EXPECT_EQ(platform::ReadRegistry(u"HKCR\\CLSID\\{7917B64A-4E00-4F07-B804-230A95F98826}\\InprocServer32", u""),
              strPath);
    EXPECT_EQ(call("DllUnregisterServer"), S_OK);
    EXPECT_EQ(platform::ReadRegistry(u"HKCR\\Qvant.RecordSet.1", u""), std::nullopt);
    platform::FreeModule(hModule);
}

TEST_F(DatabaseClass, MethodsAreCalledByTheirNumbersWithTheirArguments) {
    const CKeyArgument text(u"x");
    EXPECT_EQ(Call(*m_pObject, 2, {}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(*m_pObject, 3, {}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(*m_pObject, 5, {}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(*m_pObject, 12, {}), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(*m_pObject, database::METHOD_BEGIN_BATCH, {}, nullptr, DISPATCH_PROPERTYGET), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Call(*m_pObject, database::METHOD_OPEN_SYSTEM, {text.GetVariant()}), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(Call(*m_pObject, database::METHOD_OPEN_SYSTEM, {text.GetVariant(), NumberArgument(1)}),
              DISP_E_TYPEMISMATCH);
    VARIANT foreign{};
    foreign.vt = VT_DISPATCH;
    foreign.pdispVal = m_pObject;
    EXPECT_EQ(Call(*m_pObject, database::METHOD_QUERY_RECORDS,
                   {foreign, text.GetVariant(), text.GetVariant(), text.GetVariant()}),
              DISP_E_TYPEMISMATCH)
        << "what isn't a record set takes no result";
}

TEST_F(DatabaseClass, NullStringsAndReferencesAreTexts) {
    VARIANT nothing{};
    nothing.vt = VT_BSTR;
    const CKeyArgument table(u"Words");
    VARIANT byReference{};
    VARIANT inner = table.GetVariant();
    byReference.vt = VT_VARIANT | VT_BYREF;
    byReference.pvarVal = &inner;
    const CKeyArgument database(u"Test");
    const CKeyArgument fields(u"Key");
    VARIANT result{};
    EXPECT_EQ(Call(*m_pObject, database::METHOD_OPEN_SYSTEM, {nothing, nothing}, &result), S_OK);
    EXPECT_EQ(result.lVal, 1);
    EXPECT_EQ(Call(*m_pObject, database::METHOD_CREATE_TABLE, {fields.GetVariant(), byReference, database.GetVariant()},
                   &result),
              S_OK);
    EXPECT_EQ(result.vt, VT_I4);
    EXPECT_EQ(result.lVal, 1);
    EXPECT_EQ(Call(*m_pObject, database::METHOD_DELETE_RECORD, {nothing, nothing, table.GetVariant()}), S_OK)
        << "a result isn't asked for";
}

TEST_F(DatabaseClass, ItsEventsAreThoseOfItsConnectionPoint) {
    IConnectionPointContainer* pContainer = nullptr;
    ASSERT_EQ(m_pObject->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(&pContainer)), S_OK);
    IConnectionPoint* pPoint = nullptr;
    EXPECT_EQ(pContainer->FindConnectionPoint(IID_IDispatch, &pPoint), CONNECT_E_NOCONNECTION);
    ASSERT_EQ(pContainer->FindConnectionPoint(IID__IDataBaseAPIEvents, &pPoint), S_OK);
    DWORD nCookie = 0;
    EXPECT_EQ(pPoint->Advise(m_pObject, &nCookie), CONNECT_E_CANNOTCONNECT);
    EXPECT_EQ(pPoint->Unadvise(7), CONNECT_E_NOCONNECTION);
    pPoint->Release();
    pContainer->Release();
}

}  // namespace qvant::test
