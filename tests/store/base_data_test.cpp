#include "store/base_data.h"

#include <gtest/gtest.h>

#include "components/store_client.h"
#include "store/scripted_table.h"

namespace qvant {
namespace {

using namespace test;

void WriteValue(CBaseData& table, TextView strKey, const VARIANT& value) {
    const std::int32_t nTransaction = table.Begin();
    table.Operate(nTransaction, store::OPERATION_VALUE, CVariant(strKey), value);
    table.Commit(nTransaction);
}

TEST(BaseData, ReadsATextAsItIsAndANumberAsItsDecimalText) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"text", u"22:00"}});
    WriteValue(*pTable, u"number", NumberArgument(-42));
    WriteValue(*pTable, u"empty", VARIANT{});
    EXPECT_EQ(pTable->GetString(u"text"), u"22:00");
    EXPECT_EQ(pTable->GetString(u"number"), u"-42");
    EXPECT_EQ(pTable->GetString(u"empty"), u"");
    EXPECT_EQ(pTable->GetString(u"missing"), u"");
}

TEST(BaseData, ReadsNumbersFromTextsToo) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"digits", u"93000"}, {u"words", u"abc"}, {u"none", u""}});
    WriteValue(*pTable, u"number", NumberArgument(7));
    WriteValue(*pTable, u"empty", VARIANT{});
    EXPECT_EQ(pTable->GetNumber(u"number", 5), 7);
    EXPECT_EQ(pTable->GetNumber(u"digits", 5), 93000);
    EXPECT_EQ(pTable->GetNumber(u"words", 5), 0) << "a text is never the default";
    EXPECT_EQ(pTable->GetNumber(u"none", 5), 0);
    EXPECT_EQ(pTable->GetNumber(u"missing", 5), 5);
    EXPECT_EQ(pTable->GetNumber(u"empty", 5), 5);
}

TEST(BaseData, WritesNumbersAsNumbers) {
    const auto pTable = NewTable();
    CTransaction transaction(*pTable);
    transaction.SetNumber(u"size", -7);
    transaction.Commit();
    const CVariant value = pTable->GetVariant(u"size");
    EXPECT_EQ(value.vt, VT_I4);
    EXPECT_EQ(value.lVal, -7);
}

TEST(BaseData, ReadsRowsThatAreTexts) {
    const auto pTable = NewTable();
    const std::int32_t nTransaction = pTable->Begin();
    pTable->SetRow(nTransaction, 0, u"QV.F.CME");
    pTable->Operate(nTransaction, store::OPERATION_ROW, NumberArgument(1), NumberArgument(5));
    pTable->Commit(nTransaction);
    EXPECT_EQ(pTable->GetCount(), 2);
    EXPECT_EQ(pTable->GetKeyAt(0), u"QV.F.CME");
    EXPECT_EQ(pTable->GetKeyAt(1), u"") << "a number is no key";
    EXPECT_EQ(pTable->GetKeyAt(2), u"");
}

TEST(BaseData, CarriesTextsOfAnyLength) {
    const auto pTable = NewTable();
    for (const std::size_t nUnits : {0u, 1u, 123u, 124u, 125u, 507u, 508u, 509u, 70'000u}) {
        const Text strKey(nUnits, u'k');
        const Text strValue(nUnits, u'v');
        Write(*pTable, {{strKey, strValue}});
        EXPECT_EQ(pTable->GetString(strKey), strValue) << nUnits;
    }
}

TEST(BaseData, DoesNothingWithoutAStoreObject) {
    CBaseData table;
    EXPECT_EQ(table.Begin(), CBaseData::NO_TRANSACTION);
    table.SetValue(1, u"k", u"v");
    table.SetRow(1, 0, u"v");
    table.SetNumber(1, u"k", 1);
    table.Operate(1, store::OPERATION_CLEAR, NumberArgument(255), VARIANT{});
    table.Commit(1);
    table.Cancel(1);
    EXPECT_EQ(table.Get(store::OPERATION_VALUE, CVariant(u"k")).vt, VT_EMPTY);
    EXPECT_EQ(table.GetCount(), 0);
    EXPECT_EQ(table.GetKeyAt(0), u"");
    EXPECT_EQ(table.GetString(u"k"), u"");
    EXPECT_EQ(table.GetNumber(u"k", 3), 3);
    EXPECT_EQ(table.GetJsonField(u"k", u"f"), u"");
    EXPECT_EQ(table.GetKeys(), std::nullopt);
    EXPECT_EQ(table.GetSubTable(u"t", nullptr), nullptr);
    EXPECT_EQ(table.GlobalCookie(), 0u);
}

TEST(BaseData, OpensNoTableBehindAnUnknownCookie) {
    EXPECT_EQ(CBaseData::WrapCookie(0, nullptr), nullptr);
    EXPECT_EQ(CBaseData::WrapCookie(0x7FFFFFF0, nullptr), nullptr);
}

TEST(BaseData, KeepsOneCookieAndTakesItBackAtItsEnd) {
    const auto pTable = NewTable();
    auto pOther = OpenAgain(*pTable);
    const std::uint32_t nCookie = pOther->GlobalCookie();
    EXPECT_NE(nCookie, 0u);
    EXPECT_EQ(pOther->GlobalCookie(), nCookie);
    EXPECT_TRUE(CBaseData::WrapCookie(nCookie, nullptr));
    pOther.reset();
    EXPECT_FALSE(CBaseData::WrapCookie(nCookie, nullptr));
}

TEST(BaseData, KeepsTheStoreObjectThatItHas) {
    CScriptedTable first;
    CScriptedTable second;
    {
        CBaseData table;
        EXPECT_TRUE(table.Create(nullptr, &first));
        EXPECT_EQ(first.Count(), 2u);
        EXPECT_TRUE(table.Create(nullptr, &second));
        EXPECT_EQ(second.Count(), 1u);
    }
    EXPECT_EQ(first.Count(), 1u);
}

TEST(BaseData, RaisesAFailedCallWithItsCode) {
    CScriptedTable scripted;
    scripted.answer = [](DISPID, const DISPPARAMS&, VARIANT*) { return E_ACCESSDENIED; };
    CBaseData table;
    table.Create(nullptr, &scripted);
    EXPECT_EQ(CodeOf([&] { table.Begin(); }), E_ACCESSDENIED);
    EXPECT_EQ(CodeOf([&] { table.SetValue(1, u"k", u"v"); }), E_ACCESSDENIED);
    EXPECT_EQ(CodeOf([&] { table.Commit(1); }), E_ACCESSDENIED);
    EXPECT_EQ(CodeOf([&] { static_cast<void>(table.GetString(u"k")); }), E_ACCESSDENIED);
}

TEST(BaseData, CallsMethodsWithTheirArgumentsInReverse) {
    CScriptedTable scripted;
    std::vector<std::string> arCalls;
    scripted.answer = [&](DISPID nMethod, const DISPPARAMS& parameters, VARIANT* pResult) {
        std::string strCall = std::to_string(nMethod) + ":";
        for (UINT i = parameters.cArgs; i-- > 0;) {
            const VARIANT& argument = parameters.rgvarg[i];
            strCall += ' ' + (argument.vt == VT_I4     ? std::to_string(argument.lVal)
                              : argument.vt == VT_BSTR ? Narrow(ToText(argument.bstrVal))
                                                       : "-");
        }
        arCalls.push_back(strCall);
        if (nMethod == store::METHOD_BEGIN) pResult->vt = VT_I4, pResult->lVal = 77;
        return S_OK;
    };
    CBaseData table;
    table.Create(nullptr, &scripted);
    const std::int32_t nTransaction = table.Begin();
    table.SetValue(nTransaction, u"key", u"value");
    table.Clear(nTransaction, store::MASK_ALL);
    table.Commit(nTransaction);
    table.Cancel(nTransaction);
    static_cast<void>(table.GetKeys());
    EXPECT_EQ(arCalls,
              (std::vector<std::string>{"1:", "3: 77 3 key value", "3: 77 15 255 -", "4: 77", "2: 77", "5: 11 1024"}));
}

TEST(BaseData, ReadsNothingFromAnswersOfAnotherKind) {
    CScriptedTable scripted;
    scripted.answer = [](DISPID, const DISPPARAMS&, VARIANT* pResult) {
        pResult->vt = VT_NULL;
        return S_OK;
    };
    CBaseData table;
    table.Create(nullptr, &scripted);
    EXPECT_EQ(table.GetCount(), 0);
    EXPECT_EQ(table.GetKeyAt(0), u"");
    EXPECT_EQ(table.GetString(u"k"), u"");
    EXPECT_EQ(table.GetNumber(u"k", 9), 9);
    EXPECT_EQ(table.GetSubTable(u"t", nullptr), nullptr);
    EXPECT_EQ(table.GetKeys(), std::nullopt);
    EXPECT_EQ(table.GetJsonField(u"k", u"f"), u"");
}

TEST(Transaction, IsCancelledUnlessItWasCommitted) {
    const auto pTable = NewTable();
    { CTransaction(*pTable).SetValue(u"k", u"v"); }
    EXPECT_EQ(pTable->GetVariant(u"k").vt, VT_EMPTY);
    {
        CTransaction first(*pTable);
        first.SetValue(u"k", u"v");
        CTransaction second = std::move(first);
        second.Commit();
    }
    EXPECT_EQ(pTable->GetString(u"k"), u"v");
}

TEST(OpenChild, GivesTheChildThatIsThereOrANewOne) {
    const auto pParent = NewTable();
    bool bExisted = true;
    auto pChild = OpenChild(*pParent, u"Lumivale", &bExisted);
    ASSERT_TRUE(pChild);
    EXPECT_FALSE(bExisted);
    Write(*pChild, {{u"Version", u"7"}});

    pChild = OpenChild(*pParent, u"Lumivale", &bExisted);

    ASSERT_TRUE(pChild);
    EXPECT_TRUE(bExisted);
    EXPECT_EQ(pChild->GetString(u"Version"), u"7");
}

TEST(JsonField, IsAStringMemberOfTheValue) {
    const auto pTable = NewTable();
    const Text strJson = u"{\"N\":\"E-mini\",\"P\":5,\"O\":{\"X\":\"inner\"},\"N\":\"second\",\"E\":\"\\u4E2D\\n\"}";
    Write(*pTable, {{u"ES", strJson}});
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"N"), u"E-mini") << "the first of two members counts";
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"E"), u"\u4E2D\n");
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"P"), u"") << "a number is no string";
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"X"), u"") << "only the outermost object is looked at";
    EXPECT_EQ(pTable->GetJsonField(u"ES", u"missing"), u"");
    EXPECT_EQ(pTable->GetJsonField(u"missing", u"N"), u"");
    EXPECT_EQ(pTable->GetString(u"ES"), strJson) << "the stored value isn't touched by the reading";
}

TEST(JsonField, IsEmptyInWhatIsNoObject) {
    const auto pTable = NewTable();
    WriteValue(*pTable, u"number", NumberArgument(5));
    EXPECT_EQ(pTable->GetJsonField(u"number", u"N"), u"");
    for (const TextView strBad : {u"", u"text", u"[{\"N\":\"x\"}]", u"{\"N\":\"x\"", u"{\"N\":\"x\"} more",
                                  u"{\"N\":\"x\",}", u"\"N\"", u"{\"N\":\"x\",\"a\":1844674407370955161e300}"}) {
        Write(*pTable, {{u"bad", strBad}});
        EXPECT_EQ(pTable->GetJsonField(u"bad", u"N"), u"") << Narrow(strBad);
    }
}

TEST(JsonField, IsTheSameInThePlainFormAndInAnyOther) {
    const auto pTable = NewTable();
    for (std::size_t nLength = 0; nLength < 40; ++nLength) {
        const Text strValue(nLength, u'\u53F0');
        const Text strPlain = u"{\"x\":\"1\",\"N\":\"" + strValue + u"\",\"N\":\"second\"}";
        Write(*pTable, {{u"k", strPlain}, {u"blank", u" " + strPlain}, {u"behind", strPlain + u" "}});
        for (const TextView strKey : {u"k", u"blank", u"behind"}) {
            EXPECT_EQ(pTable->GetJsonField(strKey, u"N"), strValue);
            EXPECT_EQ(pTable->GetJsonField(strKey, u"x"), u"1");
        }
        for (const TextView strMark : {u"\n", u"\"", u"\\x", u"\x01"}) {
            Write(*pTable, {{u"bad", u"{\"x\":\"1\",\"N\":\"" + strValue + Text(strMark) + u"\"}"}});
            EXPECT_EQ(pTable->GetJsonField(u"bad", u"x"), u"") << nLength;
        }
        Write(*pTable, {{u"escaped", u"{\"N\":\"" + strValue + u"\\n\"}"}});
        EXPECT_EQ(pTable->GetJsonField(u"escaped", u"N"), strValue + u"\n");
    }
    for (const TextView strBad :
         {u"{\"N\":\"x\"}}", u"{\"N\":\"x\",\"y\"}", u"{\"N\":\"x\",\"y\":}", u"{\"N\":\"x\"\"y\":\"\"}",
          u"{\"N\":\"x\",", u"{\"N\":\"x", u"{\"N\":", u"{\"N", u"{"}) {
        Write(*pTable, {{u"bad", strBad}});
        EXPECT_EQ(pTable->GetJsonField(u"bad", u"N"), u"") << Narrow(strBad);
    }
    Write(*pTable, {{u"nul", Text(u"{\"N\":\"x\"}\0more", 14)}});
    EXPECT_EQ(pTable->GetJsonField(u"nul", u"N"), u"x") << "a NUL ends the text";
}

TEST(JsonField, SurvivesNestingOfAnyDepth) {
    const auto pTable = NewTable();
    const Text strDeep = Text(1'000'000, u'[') + Text(1'000'000, u']');
    Write(*pTable, {{u"deep", u"{\"N\":\"x\",\"D\":" + strDeep + u"}"},
                    {u"open", u"{\"N\":\"x\",\"D\":" + Text(1'000'000, u'[')}});
    EXPECT_EQ(pTable->GetJsonField(u"deep", u"N"), u"x");
    EXPECT_EQ(pTable->GetJsonField(u"open", u"N"), u"");
}

TEST(JsonField, ComesWithOthersInTheOrderAsked) {
    const auto pTable = NewTable();
    Write(*pTable, {{u"k", u"{\"a\":\"1\",\"b\":null,\"c\":\"3\",\"b\":\"late\"}"}});
    const TextView arFields[] = {u"c", u"b", u"a", u"c"};
    EXPECT_EQ(pTable->GetJsonFields(u"k", arFields), (std::vector<Text>{u"3", u"", u"1", u"3"}));
}

}  // namespace
}  // namespace qvant
