#include <gtest/gtest.h>

#include "components/store_client.h"
#include "platform/module.h"

namespace qvant {
namespace {

using namespace test;

/// Whether no table of the store is left anywhere.
bool NothingLeft() {
    const Text strAutomation = platform::GetModulePath(reinterpret_cast<const void*>(&SysAllocString));
    void* const hStore = platform::LoadModule(strAutomation.substr(0, strAutomation.rfind(u'/')) + u"/libqvstore.so");
    return reinterpret_cast<HRESULT (*)()>(platform::FindExport(hStore, "DllCanUnloadNow"))() == S_OK;
}

TEST(NestedTable, IsTheSameTableForParentAndMaker) {
    const auto pParent = NewTable();
    const auto pChild = NewTable();
    Attach(*pParent, u"Lumivale", *pChild);
    Write(*pChild, {{u"Version", u"7"}});

    const auto pFound = pParent->GetSubTable(u"Lumivale", nullptr);

    ASSERT_TRUE(pFound);
    EXPECT_EQ(pFound->GetString(u"Version"), u"7");
    EXPECT_FALSE(pParent->GetSubTable(u"Nobody", nullptr));
}

TEST(NestedTable, HandsItselfOutUnderOneCookie) {
    const auto pParent = NewTable();
    const auto pChild = NewTable();
    Attach(*pParent, u"a", *pChild);
    Attach(*pParent, u"b", *pChild);
    const auto cookie = [&](TextView strName) { return pParent->Get(store::OPERATION_TABLE, CVariant(strName)).lVal; };
    EXPECT_NE(cookie(u"a"), 0);
    EXPECT_EQ(cookie(u"a"), cookie(u"b"));
    EXPECT_EQ(cookie(u"a"), cookie(u"a"));
}

TEST(NestedTable, LivesAsLongAsItsParent) {
    auto pParent = NewTable();
    {
        const auto pChild = NewTable();
        Write(*pChild, {{u"k", u"v"}});
        Attach(*pParent, u"t", *pChild);
    }
    auto pChild = pParent->GetSubTable(u"t", nullptr);
    ASSERT_TRUE(pChild);
    EXPECT_EQ(pChild->GetString(u"k"), u"v");

    pParent.reset();
    EXPECT_EQ(pChild->GetString(u"k"), u"v") << "a wrapper keeps its table";
    pChild.reset();
    EXPECT_TRUE(NothingLeft()) << "the cookie that handed it out doesn't keep it";
}

TEST(NestedTable, EndsWithItsCookie) {
    const auto pParent = NewTable();
    std::uint32_t nCookie = 0;
    {
        const auto pChild = NewTable();
        Attach(*pParent, u"t", *pChild);
        nCookie = static_cast<std::uint32_t>(pParent->Get(store::OPERATION_TABLE, CVariant(u"t")).lVal);
    }
    EXPECT_TRUE(CBaseData::WrapCookie(nCookie, nullptr));
    Clear(*pParent, store::MASK_TABLES);
    EXPECT_FALSE(CBaseData::WrapCookie(nCookie, nullptr));
}

TEST(NestedTable, MayNotBeBelowItself) {
    const auto pA = NewTable();
    const auto pB = NewTable();
    const auto pC = NewTable();
    Attach(*pA, u"b", *pB);
    Attach(*pB, u"c", *pC);
    EXPECT_EQ(CodeOf([&] { Attach(*pA, u"self", *pA); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { Attach(*pC, u"a", *pA); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { Attach(*pA, u"c", *pC); }), S_OK) << "two ways to a table are no circle";
}

TEST(NestedTable, MayNotBecomeACircleOfTwoOpenTransactions) {
    const auto pA = NewTable();
    const auto pB = NewTable();
    CTransaction first(*pA);
    CTransaction second(*pB);
    first.SetTable(u"b", *pB);
    second.SetTable(u"a", *pA);
    first.Commit();
    EXPECT_EQ(CodeOf([&] { second.Commit(); }), E_INVALIDARG);
    EXPECT_FALSE(pB->GetSubTable(u"a", nullptr));
    EXPECT_TRUE(pA->GetSubTable(u"b", nullptr));
}

/// An object that has nothing to do with the store.
class CStranger final : public IDispatch {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppvObject) override {
        const bool bKnown = riid == IID_IUnknown || riid == IID_IDispatch || riid == IID_IBaseData;
        *ppvObject = bKnown ? this : nullptr;
        return bKnown ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override {
        return E_NOTIMPL;
    }
};

TEST(NestedTable, MustBeATableOfThisStore) {
    CStranger stranger;
    CBaseData wrapper;
    wrapper.Create(nullptr, &stranger);
    ASSERT_NE(wrapper.GlobalCookie(), 0u);
    const auto pParent = NewTable();
    EXPECT_EQ(CodeOf([&] { Attach(*pParent, u"x", wrapper); }), E_INVALIDARG);

    CTransaction transaction(*pParent);
    const std::int32_t nTransaction = pParent->Begin();
    EXPECT_EQ(
        CodeOf([&] { pParent->Operate(nTransaction, store::OPERATION_TABLE, CVariant(u"x"), NumberArgument(0)); }),
        E_INVALIDARG);
    pParent->Cancel(nTransaction);
}

TEST(NestedTable, MayLieAsDeepAsAnybodyLikes) {
    {
        const auto pRoot = NewTable();
        auto pParent = OpenAgain(*pRoot);
        for (int i = 0; i < 20'000; ++i) pParent = OpenChild(*pParent, u"t");
        Write(*pParent, {{u"k", u"v"}});
        EXPECT_EQ(pParent->GetString(u"k"), u"v");
    }
    EXPECT_TRUE(NothingLeft());
}

TEST(TableVisit, ShowsOneVersionWhole) {
    const auto pTable = NewTable();
    const auto pChild = NewTable();
    Write(*pChild, {{u"k", u"v"}});
    CTransaction transaction(*pTable);
    transaction.SetRow(2, u"c");
    transaction.SetRow(0, u"a");
    transaction.SetValue(u"key", u"value");
    transaction.SetTable(u"child", *pChild);
    transaction.Commit();

    const auto pContent = Content::Of(*pTable);

    EXPECT_EQ(pContent->arRows, (std::vector<Text>{u"a", u"<empty>", u"c"}));
    EXPECT_EQ(pContent->mapValues, (std::map<Text, Text>{{u"key", u"value"}}));
    ASSERT_EQ(pContent->mapTables.size(), 1u);
    EXPECT_EQ(pContent->mapTables.at(u"child")->mapValues, (std::map<Text, Text>{{u"k", u"v"}}));

    auto* const pObject = GetObject<IQvantTable>(*pTable, IID_IQvantTable);
    EXPECT_EQ(pObject->Visit(nullptr), E_POINTER);
    pObject->Release();
}

}  // namespace
}  // namespace qvant
