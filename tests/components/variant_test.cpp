#include "store/variant.h"

#include <atomic>
#include <limits>

#include <gtest/gtest.h>

namespace qvant {
namespace {

/// Counts its references.
class CCounted final : public IUnknown {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nReferences; }
    ULONG STDMETHODCALLTYPE Release() override { return --m_nReferences; }
    ULONG Count() const { return m_nReferences; }

private:
    std::atomic<ULONG> m_nReferences{1};
};

template <class T>
VARIANT Make(VARTYPE vt, T VARIANT::*pField, T value) {
    VARIANT variant{};
    variant.vt = vt;
    variant.*pField = value;
    return variant;
}

/// The result of a conversion; `hr` is its code.
CVariant Convert(const VARIANT& source, VARTYPE vt, HRESULT& hr) {
    CVariant result;
    hr = VariantChangeType(&result, &source, 0, vt);
    return result;
}

Text TextOf(const VARIANT& source) {
    HRESULT hr = E_FAIL;
    const CVariant result = Convert(source, VT_BSTR, hr);
    return SUCCEEDED(hr) ? Text(result.GetText()) : Text(u"<refused>");
}

HRESULT NumberOf(const VARIANT& source, LONG& nValue) {
    HRESULT hr = E_FAIL;
    const CVariant result = Convert(source, VT_I4, hr);
    nValue = result.lVal;
    return hr;
}

TEST(Variant, CopiesDeeply) {
    const CVariant source(u"text");
    CVariant copy;

    ASSERT_EQ(VariantCopy(&copy, &source), S_OK);

    EXPECT_EQ(copy.GetText(), u"text");
    EXPECT_NE(copy.bstrVal, source.bstrVal);
}

TEST(Variant, HoldsAReferenceOfAnObject) {
    CCounted object;
    {
        VARIANT source = Make<IUnknown*>(VT_UNKNOWN, &VARIANT::punkVal, &object);
        CVariant copy;
        ASSERT_EQ(VariantCopy(&copy, &source), S_OK);
        EXPECT_EQ(object.Count(), 2u);
    }
    EXPECT_EQ(object.Count(), 1u);
}

TEST(Variant, IsEmptyAfterClearing) {
    VARIANT variant = Make<LONG>(VT_I4, &VARIANT::lVal, 5);
    EXPECT_EQ(VariantClear(&variant), S_OK);
    EXPECT_EQ(variant.vt, VT_EMPTY);
    EXPECT_EQ(VariantClear(nullptr), E_INVALIDARG);
}

TEST(VariantChangeType, WritesNumbersInDecimal) {
    EXPECT_EQ(TextOf(Make<LONG>(VT_I4, &VARIANT::lVal, -42)), u"-42");
    EXPECT_EQ(TextOf(Make<ULONG>(VT_UI4, &VARIANT::ulVal, 4294967295u)), u"4294967295");
    EXPECT_EQ(TextOf(Make<LONGLONG>(VT_I8, &VARIANT::llVal, std::numeric_limits<LONGLONG>::min())),
              u"-9223372036854775808");
    EXPECT_EQ(TextOf(Make<double>(VT_R8, &VARIANT::dblVal, 0.25)), u"0.25");
    EXPECT_EQ(TextOf(Make<VARIANT_BOOL>(VT_BOOL, &VARIANT::boolVal, VARIANT_TRUE)), u"-1");
    EXPECT_EQ(TextOf(VARIANT{}), u"");
}

TEST(VariantChangeType, ReadsNumbersFromText) {
    LONG nValue = 0;
    EXPECT_EQ(NumberOf(CVariant(u" 17 "), nValue), S_OK);
    EXPECT_EQ(nValue, 17);
    EXPECT_EQ(NumberOf(CVariant(u"2.5"), nValue), S_OK);
    EXPECT_EQ(nValue, 2) << "halves go to the even neighbour";
    EXPECT_EQ(NumberOf(CVariant(u"-3.5"), nValue), S_OK);
    EXPECT_EQ(nValue, -4);
    EXPECT_EQ(NumberOf(CVariant(u"abc"), nValue), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(NumberOf(CVariant(u""), nValue), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(NumberOf(CVariant(u"12x"), nValue), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(NumberOf(CVariant(u"2147483648"), nValue), DISP_E_OVERFLOW);
    EXPECT_EQ(NumberOf(Make<double>(VT_R8, &VARIANT::dblVal, 1e300), nValue), DISP_E_OVERFLOW);
}

TEST(VariantChangeType, ReadsAWholeNumberOfSixtyFourBitsExactly) {
    HRESULT hr = E_FAIL;
    const CVariant result = Convert(CVariant(u"9223372036854775807"), VT_I8, hr);
    EXPECT_EQ(hr, S_OK);
    EXPECT_EQ(result.llVal, std::numeric_limits<LONGLONG>::max());
}

TEST(VariantChangeType, KnowsTheWordsOfTruth) {
    HRESULT hr = E_FAIL;
    EXPECT_EQ(Convert(CVariant(u"true"), VT_BOOL, hr).boolVal, VARIANT_TRUE);
    EXPECT_EQ(Convert(CVariant(u"FALSE"), VT_BOOL, hr).boolVal, VARIANT_FALSE);
    EXPECT_EQ(Convert(CVariant(u"3"), VT_BOOL, hr).boolVal, VARIANT_TRUE);
    Convert(CVariant(u"maybe"), VT_BOOL, hr);
    EXPECT_EQ(hr, DISP_E_TYPEMISMATCH);
}

TEST(VariantChangeType, ConvertsInPlace) {
    CVariant variant(std::int32_t{7});
    ASSERT_EQ(VariantChangeType(&variant, &variant, 0, VT_BSTR), S_OK);
    EXPECT_EQ(variant.GetText(), u"7");
}

TEST(VariantChangeType, FollowsAReferenceToAVariant) {
    CVariant inner(std::int32_t{9});
    VARIANT outer = Make<VARIANT*>(VT_VARIANT | VT_BYREF, &VARIANT::pvarVal, &inner);
    EXPECT_EQ(TextOf(outer), u"9");
}

TEST(VariantChangeType, LeavesTheTargetAloneWhenItRefuses) {
    CCounted object;
    VARIANT source = Make<IUnknown*>(VT_UNKNOWN, &VARIANT::punkVal, &object);
    CVariant target(u"before");
    EXPECT_EQ(VariantChangeType(&target, &source, 0, VT_BSTR), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(target.GetText(), u"before");
}

}  // namespace
}  // namespace qvant
