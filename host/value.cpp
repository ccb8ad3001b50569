#include "value.h"

#include <charconv>
#include <iterator>
#include <new>

namespace qvant::host {

namespace {

BSTR MakeBstr(TextView strText) {
    BSTR bstr = SysAllocStringLen(strText.data(), static_cast<UINT>(strText.size()));
    if (!bstr) throw std::bad_alloc();
    return bstr;
}

Text TextOf(BSTR bstr) { return bstr ? Text(bstr, SysStringLen(bstr)) : Text(); }

Value Converted(const VARIANT& variant) {
    CVariant converted;
    if (FAILED(VariantChangeType(&converted, &variant, 0, VT_BSTR))) return {};
    return TextOf(converted->bstrVal);
}

Value Referenced(const VARIANT& variant) {
    if (!variant.byref) return {};
    switch (variant.vt & ~VT_BYREF) {
        case VT_VARIANT:
            // A reference to a reference isn't followed: nothing keeps such a chain from being a ring.
            return variant.pvarVal->vt & VT_BYREF ? Value() : FromVariant(*variant.pvarVal);
        case VT_I4:
            return std::int64_t{*variant.plVal};
        case VT_BSTR:
            return TextOf(*variant.pbstrVal);
        default:
            return {};
    }
}

}  // namespace

Value FromVariant(const VARIANT& variant) {
    if (variant.vt & VT_BYREF) return Referenced(variant);
    switch (variant.vt) {
        case VT_EMPTY:
        case VT_NULL:
            return {};
        case VT_BSTR:
            return TextOf(variant.bstrVal);
        case VT_I2:
            return std::int64_t{variant.iVal};
        case VT_I4:
            return std::int64_t{variant.lVal};
        case VT_UI4:
            return std::int64_t{variant.ulVal};
        case VT_I8:
            return std::int64_t{variant.llVal};
        default:
            return Converted(variant);
    }
}

Text ToText(const Value& value) {
    if (const auto* pText = std::get_if<Text>(&value)) return *pText;
    if (const auto* pNumber = std::get_if<std::int64_t>(&value)) return Widen(std::to_string(*pNumber));
    if (const auto* pFraction = std::get_if<double>(&value)) {
        char szDigits[32];
        const auto end = std::to_chars(std::begin(szDigits), std::end(szDigits), *pFraction).ptr;
        return Widen({szDigits, static_cast<std::size_t>(end - szDigits)});
    }
    Text strResult;
    if (const auto* pList = std::get_if<std::vector<Text>>(&value)) {
        for (const Text& strItem : *pList) strResult.append(strResult.empty() ? u"" : u"/").append(strItem);
    }
    return strResult;
}

CVariant::CVariant(std::int32_t nValue) : CVariant() {
    m_variant.vt = VT_I4;
    m_variant.lVal = nValue;
}

CVariant::CVariant(TextView strText) : CVariant() { SetText(strText); }

CVariant::CVariant(const Value& value) : CVariant() {
    if (const auto* pNumber = std::get_if<std::int64_t>(&value)) {
        m_variant.vt = VT_I4;
        m_variant.lVal = static_cast<LONG>(*pNumber);
    } else if (const auto* pText = std::get_if<Text>(&value)) {
        SetText(*pText);
    }
}

void CVariant::SetText(TextView strText) {
    m_variant.bstrVal = MakeBstr(strText);
    m_variant.vt = VT_BSTR;
}

CBstr::CBstr(TextView strText) : m_bstr(MakeBstr(strText)) {}

}  // namespace qvant::host
