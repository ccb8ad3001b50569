#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/split.h"
#include "components/store_client.h"

namespace qvant {
namespace {

using namespace test;

CVariant GetRow(const CBaseData& table, std::int32_t nIndex) {
    return table.Get(store::OPERATION_ROW, NumberArgument(nIndex));
}

TEST(Table, ShowsAllOfATransactionAtItsCommit) {
    const auto pTable = NewTable();
    const auto pReader = OpenAgain(*pTable);
    CTransaction transaction(*pTable);
    transaction.SetValue(u"a", u"1");
    transaction.SetRow(0, u"row");
    EXPECT_EQ(pReader->GetVariant(u"a").vt, VT_EMPTY);
    EXPECT_EQ(pReader->GetCount(), 0);

    transaction.Commit();

    EXPECT_EQ(pReader->GetString(u"a"), u"1");
    EXPECT_EQ(pReader->GetKeyAt(0), u"row");
}

TEST(Table, KeepsStringsNumbersAndEmptyValues) {
    const auto pTable = NewTable();
    const std::int32_t nTransaction = pTable->Begin();
    const auto write = [&](TextView strKey, const VARIANT& value) {
        pTable->Operate(nTransaction, store::OPERATION_VALUE, CVariant(strKey), value);
    };
    write(u"text", CVariant(u"22:00"));
    write(u"number", NumberArgument(-5));
    write(u"empty", VARIANT{});
    pTable->Commit(nTransaction);

    EXPECT_EQ(pTable->GetVariant(u"text").GetText(), u"22:00");
    EXPECT_EQ(pTable->GetVariant(u"number").lVal, -5);
    EXPECT_EQ(pTable->GetVariant(u"empty").vt, VT_EMPTY);
    EXPECT_EQ(SplitTokens(*pTable->GetKeys(), u";").size(), 3u) << "an empty value has its key all the same";
}

TEST(Table, KeepsAKeyWithAnyUnitsApart) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"", u"none"}, {TextView(u"a\0b", 3), u"nul"}, {u"a", u"plain"}, {u"\xD800", u"lone"}});
    EXPECT_EQ(pTable->GetString(u""), u"none");
    EXPECT_EQ(pTable->GetString(TextView(u"a\0b", 3)), u"nul");
    EXPECT_EQ(pTable->GetString(u"a"), u"plain");
    EXPECT_EQ(pTable->GetString(u"\xD800"), u"lone");
}

TEST(Table, TakesTheLastWriteOfAKey) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"k", u"1"}, {u"k", u"2"}});
    EXPECT_EQ(pTable->GetString(u"k"), u"2");
    EXPECT_EQ(pTable->GetKeys(), u"T:k");
}

TEST(Table, HoldsAHundredThousandKeys) {
    const auto pTable = NewTable();
    CTransaction transaction(*pTable);
    for (int i = 0; i < 100'000; ++i) {
        const Text strNumber = Widen(std::to_string(i));
        transaction.SetValue(u"QV.F.CME." + strNumber, strNumber);
    }
    transaction.Commit();
    for (int i = 0; i < 100'000; ++i) {
        const Text strNumber = Widen(std::to_string(i));
        ASSERT_EQ(pTable->GetString(u"QV.F.CME." + strNumber), strNumber);
    }
    EXPECT_EQ(pTable->GetVariant(u"QV.F.CME.100000").vt, VT_EMPTY);
    EXPECT_EQ(SplitTokens(*pTable->GetKeys(), u";").size(), 100'000u);
}

TEST(Table, ListsItsKeysBehindTheirMark) {
    const auto pTable = NewTable();
    EXPECT_EQ(pTable->GetKeys(), u"");
    Write(*pTable, {{u"QV.F.CME", u"1"}, {u"QV.O.CME", u"2"}});

    const std::vector<Text> arKeys = SplitTokens(*pTable->GetKeys(), u";");

    EXPECT_THAT(arKeys, testing::UnorderedElementsAre(u"T:QV.F.CME", u"T:QV.O.CME"));
    EXPECT_EQ(pTable->Get(store::OPERATION_KEYS, VARIANT{}).GetText(), *pTable->GetKeys())
        << "the argument doesn't matter";
}

TEST(Table, FillsUpRowsThatNobodyWrote) {
    const auto pTable = NewTable();
    CTransaction transaction(*pTable);
    transaction.SetRow(3, u"d");
    transaction.SetRow(0, u"a");
    transaction.Commit();

    EXPECT_EQ(pTable->GetCount(), 4);
    EXPECT_EQ(pTable->GetKeyAt(0), u"a");
    EXPECT_EQ(GetRow(*pTable, 1).vt, VT_EMPTY);
    EXPECT_EQ(pTable->GetKeyAt(3), u"d");
    EXPECT_EQ(GetRow(*pTable, 4).vt, VT_EMPTY);
    EXPECT_EQ(GetRow(*pTable, -2).vt, VT_EMPTY);
}

TEST(Table, RefusesARowOutOfAllReason) {
    const auto pTable = NewTable();
    CTransaction transaction(*pTable);
    EXPECT_EQ(CodeOf([&] { transaction.SetRow(-1, u"x"); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { transaction.SetRow(16 * 1024 * 1024 + 1, u"x"); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { transaction.SetRow(16 * 1024 * 1024, u"x"); }), S_OK);
    transaction.Commit();
    EXPECT_EQ(pTable->GetCount(), 16 * 1024 * 1024 + 1);
}

TEST(Table, ClearsTheSectionsOfAMask) {
    const auto pTable = NewTable();
    const auto pChild = NewTable();
    const auto fill = [&] {
        CTransaction transaction(*pTable);
        transaction.SetRow(0, u"row");
        transaction.SetValue(u"k", u"v");
        transaction.SetTable(u"t", *pChild);
        transaction.Commit();
    };
    const auto has = [&] {
        std::string strSections;
        if (pTable->GetCount() != 0) strSections += 'r';
        if (pTable->GetString(u"k") == u"v") strSections += 'v';
        if (pTable->GetSubTable(u"t", nullptr)) strSections += 't';
        return strSections;
    };
    fill();
    ASSERT_EQ(has(), "rvt");
    Clear(*pTable, store::MASK_ROWS);
    EXPECT_EQ(has(), "vt");
    fill();
    Clear(*pTable, store::MASK_VALUES);
    EXPECT_EQ(has(), "rt");
    fill();
    Clear(*pTable, store::MASK_TABLES);
    EXPECT_EQ(has(), "rv");
    fill();
    Clear(*pTable, store::MASK_ALL);
    EXPECT_EQ(has(), "");
}

TEST(Table, ClearsAndWritesInTheOrderOfTheTransaction) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"old", u"1"}});
    CTransaction transaction(*pTable);
    transaction.SetValue(u"lost", u"1");
    transaction.Clear(store::MASK_VALUES);
    transaction.SetValue(u"new", u"1");
    transaction.Commit();
    EXPECT_EQ(pTable->GetKeys(), u"T:new");
}

TEST(Table, SharesItsValuesAsABlob) {
    const auto pSource = NewTable();
    const auto pTarget = NewTable();
    Write(*pSource, {{u"a", u"1"}, {u"b", u"2"}});
    Write(*pTarget, {{u"c", u"3"}});
    const CVariant blob = pSource->GetBlob();
    EXPECT_EQ(blob.vt, VT_UNKNOWN);
    Write(*pSource, {{u"a", u"changed"}});

    CTransaction transaction(*pTarget);
    transaction.LoadBlob(blob);
    transaction.Commit();

    EXPECT_EQ(Content::Of(*pTarget)->mapValues, (std::map<Text, Text>{{u"a", u"1"}, {u"b", u"2"}}))
        << "the section is loaded whole, as it was when the blob was taken";
    Write(*pTarget, {{u"a", u"own"}});
    EXPECT_EQ(pSource->GetString(u"a"), u"changed");
}

TEST(Table, CopiesASectionOverAnother) {
    const auto pSource = NewTable();
    const auto pTarget = NewTable();
    Write(*pSource, {{u"a", u"1"}});
    Write(*pTarget, {{u"b", u"2"}});
    CopyValues(*pSource, *pTarget);
    EXPECT_EQ(pTarget->GetKeys(), u"T:a");
}

TEST(Table, RefusesABlobThatIsNotItsOwn) {
    const auto pTable = NewTable();
    auto* const pForeign = GetObject<IDispatch>(*pTable, IID_IBaseData);
    VARIANT blob{};
    blob.vt = VT_UNKNOWN;
    blob.punkVal = pForeign;
    CTransaction transaction(*pTable);
    EXPECT_EQ(CodeOf([&] { transaction.LoadBlob(blob); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { transaction.LoadBlob(CVariant(u"text")); }), DISP_E_TYPEMISMATCH);
    pForeign->Release();
    EXPECT_EQ(CodeOf([&] { pTable->Get(store::OPERATION_BLOB, NumberArgument(2)); }), E_INVALIDARG);
}

TEST(Table, GivesTransactionsNumbersOfTheirOwn) {
    const auto pTable = NewTable();
    const auto pOther = NewTable();
    const std::set<std::int32_t> numbers{pTable->Begin(), pTable->Begin(), pOther->Begin()};
    EXPECT_EQ(numbers.size(), 3u);
    EXPECT_GT(*numbers.begin(), 0);
}

TEST(Table, AppliesOpenTransactionsInTheOrderOfTheirCommits) {
    const auto pTable = NewTable();
    CTransaction first(*pTable);
    CTransaction second(*pTable);
    first.SetValue(u"k", u"first");
    second.SetValue(u"k", u"second");
    second.SetValue(u"only", u"second");
    second.Commit();
    first.Commit();
    EXPECT_EQ(pTable->GetString(u"k"), u"first");
    EXPECT_EQ(pTable->GetString(u"only"), u"second");
}

TEST(Table, RefusesATransactionThatIsNotOpen) {
    const auto pTable = NewTable();
    const auto pOther = NewTable();
    const std::int32_t nForeign = pOther->Begin();
    EXPECT_EQ(CodeOf([&] { pTable->SetValue(nForeign, u"k", u"v"); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { pTable->Commit(nForeign); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { pTable->Cancel(nForeign); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { pTable->Commit(0); }), E_INVALIDARG);

    pOther->Cancel(nForeign);
    EXPECT_EQ(CodeOf([&] { pOther->Commit(nForeign); }), E_INVALIDARG) << "a transaction ends once";
}

TEST(Table, DropsACancelledTransaction) {
    const auto pTable = NewTable();
    const std::int32_t nTransaction = pTable->Begin();
    pTable->SetValue(nTransaction, u"k", u"v");
    pTable->Cancel(nTransaction);
    EXPECT_EQ(pTable->GetVariant(u"k").vt, VT_EMPTY);
}

TEST(Table, RefusesArgumentsOfTheWrongKind) {
    const auto pTable = NewTable();
    const std::int32_t nTransaction = pTable->Begin();
    const auto operate = [&](std::int32_t nOperation, const VARIANT& a, const VARIANT& b) {
        return CodeOf([&] { pTable->Operate(nTransaction, nOperation, a, b); });
    };
    VARIANT fraction{};
    fraction.vt = VT_R8;
    EXPECT_EQ(operate(store::OPERATION_VALUE, CVariant(u"k"), fraction), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(operate(store::OPERATION_VALUE, NumberArgument(1), CVariant(u"v")), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(operate(store::OPERATION_ROW, CVariant(u"0"), CVariant(u"v")), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(operate(store::OPERATION_CLEAR, CVariant(u"4"), VARIANT{}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(operate(99, NumberArgument(1), VARIANT{}), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { pTable->Get(99, VARIANT{}); }), E_INVALIDARG);
    EXPECT_EQ(CodeOf([&] { pTable->Get(store::OPERATION_VALUE, NumberArgument(1)); }), DISP_E_TYPEMISMATCH);
    pTable->Cancel(nTransaction);
}

class TableDispatch : public testing::Test {
protected:
    void SetUp() override { m_pObject = GetObject<IDispatch>(*m_pTable, IID_IBaseData); }
    void TearDown() override { m_pObject->Release(); }

    HRESULT Invoke(DISPID nMethod, UINT nArguments, WORD nFlags = DISPATCH_METHOD, const IID& iid = IID_NULL) {
        VARIANT arArguments[5] = {};
        DISPPARAMS parameters{arArguments, nullptr, nArguments, 0};
        CVariant result;
        return m_pObject->Invoke(nMethod, iid, 0, nFlags, &parameters, &result, nullptr, nullptr);
    }

    TablePtr m_pTable = NewTable();
    IDispatch* m_pObject = nullptr;
};

TEST_F(TableDispatch, KnowsItsMethodsByNumberOnly) {
    EXPECT_EQ(Invoke(store::METHOD_BEGIN, 0), S_OK);
    EXPECT_EQ(Invoke(0, 0), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Invoke(6, 0), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Invoke(store::METHOD_BEGIN, 0, DISPATCH_PROPERTYGET), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(Invoke(store::METHOD_BEGIN, 1), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(Invoke(store::METHOD_OPERATE, 3), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(Invoke(store::METHOD_GET, 2), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(Invoke(store::METHOD_BEGIN, 0, DISPATCH_METHOD, IID_IDispatch), DISP_E_UNKNOWNINTERFACE);

    char16_t szName[] = u"Begin";
    LPOLESTR arNames[] = {szName};
    DISPID nId = 0;
    EXPECT_EQ(m_pObject->GetIDsOfNames(IID_NULL, arNames, 1, 0, &nId), DISP_E_UNKNOWNNAME);
    UINT nInfos = 7;
    EXPECT_EQ(m_pObject->GetTypeInfoCount(&nInfos), S_OK);
    EXPECT_EQ(nInfos, 0u);
}

TEST_F(TableDispatch, IsOneObjectUnderAllItsInterfaces) {
    for (const IID& iid : {IID_IDispatch, IID_IConnectionPointContainer, IID_IQvantTable}) {
        IUnknown* pInterface = nullptr;
        ASSERT_EQ(m_pObject->QueryInterface(iid, reinterpret_cast<void**>(&pInterface)), S_OK);
        IUnknown* pSelf = nullptr;
        IUnknown* pFirst = nullptr;
        pInterface->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&pSelf));
        m_pObject->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&pFirst));
        EXPECT_EQ(pSelf, pFirst);
        pSelf->Release();
        pFirst->Release();
        pInterface->Release();
    }
    void* pNothing = this;
    EXPECT_EQ(m_pObject->QueryInterface(IID_IClassFactory, &pNothing), E_NOINTERFACE);
    EXPECT_EQ(pNothing, nullptr);
}

}  // namespace
}  // namespace qvant
