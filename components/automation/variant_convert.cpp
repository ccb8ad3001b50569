/// `VariantChangeType`: every source becomes one of three plain forms, from which the target type is made.
#include <cerrno>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string>

#include "base/text.h"
#include "qvant/component.h"

namespace {

using qvant::Text;
using qvant::TextView;

/// The value between two types: a whole number, a fraction or a text.
struct Plain {
    enum class Kind { Integer, Fraction, String } kind = Kind::Integer;
    std::int64_t nInteger = 0;
    double dFraction = 0;
    Text strText;
};

Plain FromInteger(std::int64_t nValue) { return {Plain::Kind::Integer, nValue, 0, {}}; }
Plain FromFraction(double dValue) { return {Plain::Kind::Fraction, 0, dValue, {}}; }
Plain FromText(BSTR bstr) { return {Plain::Kind::String, 0, 0, bstr ? Text(bstr, SysStringLen(bstr)) : Text()}; }

std::optional<Plain> ReadReference(const VARIANT& source) {
    if (!source.byref) return std::nullopt;
    switch (source.vt & ~VT_BYREF) {
        case VT_I4:
            return FromInteger(*source.plVal);
        case VT_BSTR:
            return FromText(*source.pbstrVal);
        default:
            return std::nullopt;
    }
}

std::optional<Plain> Read(const VARIANT& source) {
    switch (source.vt) {
        case VT_EMPTY:
            return FromInteger(0);
        case VT_BOOL:
            return FromInteger(source.boolVal ? VARIANT_TRUE : VARIANT_FALSE);
        case VT_I2:
            return FromInteger(source.iVal);
        case VT_I4:
            return FromInteger(source.lVal);
        case VT_UI4:
            return FromInteger(source.ulVal);
        case VT_I8:
            return FromInteger(source.llVal);
        case VT_R8:
            return FromFraction(source.dblVal);
        case VT_BSTR:
            return FromText(source.bstrVal);
        default:
            return (source.vt & VT_BYREF) != 0 ? ReadReference(source) : std::nullopt;
    }
}

/// A decimal number with blanks around it and nothing else.
std::optional<double> ParseNumber(TextView strText) {
    std::string strNumber = qvant::Narrow(qvant::Trim(strText, u" \t"));
    if (strNumber.starts_with('+') && !strNumber.starts_with("+-")) strNumber.erase(0, 1);
    double dValue = 0;
    const char* pEnd = strNumber.data() + strNumber.size();
    const auto [pStop, error] = std::from_chars(strNumber.data(), pEnd, dValue);
    if (error != std::errc() || pStop != pEnd || strNumber.empty() || !std::isfinite(dValue)) return std::nullopt;
    return dValue;
}

/// A whole number is read as one: a double couldn't hold all 64 bits.
std::optional<std::int64_t> ParseInteger(TextView strText) {
    const std::string strNumber = qvant::Narrow(qvant::Trim(strText, u" \t"));
    std::int64_t nValue = 0;
    const char* pEnd = strNumber.data() + strNumber.size();
    const auto [pStop, error] = std::from_chars(strNumber.data(), pEnd, nValue);
    if (error != std::errc() || pStop != pEnd) return std::nullopt;
    return nValue;
}

HRESULT RoundTo(double dValue, std::int64_t nLeast, std::int64_t nMost, std::int64_t& nResult) {
    const double dRounded = std::nearbyint(dValue);  // halves go to the even neighbour
    if (!(dRounded >= static_cast<double>(nLeast) && dRounded <= static_cast<double>(nMost))) return DISP_E_OVERFLOW;
    if (dRounded >= 9223372036854775808.0) return DISP_E_OVERFLOW;
    nResult = static_cast<std::int64_t>(dRounded);
    return S_OK;
}

HRESULT ToInteger(const Plain& plain, std::int64_t nLeast, std::int64_t nMost, std::int64_t& nResult) {
    std::optional<std::int64_t> nWhole;
    if (plain.kind == Plain::Kind::Integer) nWhole = plain.nInteger;
    if (plain.kind == Plain::Kind::String) nWhole = ParseInteger(plain.strText);
    if (nWhole) {
        nResult = *nWhole;
        return *nWhole >= nLeast && *nWhole <= nMost ? S_OK : DISP_E_OVERFLOW;
    }
    if (plain.kind == Plain::Kind::Fraction) return RoundTo(plain.dFraction, nLeast, nMost, nResult);
    const std::optional<double> dValue = ParseNumber(plain.strText);
    return dValue ? RoundTo(*dValue, nLeast, nMost, nResult) : DISP_E_TYPEMISMATCH;
}

template <class T>
HRESULT StoreInteger(const Plain& plain, T& target) {
    std::int64_t nValue = 0;
    const HRESULT hr = ToInteger(plain, std::numeric_limits<T>::min(),
                                 static_cast<std::int64_t>(std::numeric_limits<T>::max()), nValue);
    if (SUCCEEDED(hr)) target = static_cast<T>(nValue);
    return hr;
}

HRESULT StoreFraction(const Plain& plain, double& dTarget) {
    if (plain.kind == Plain::Kind::Integer) dTarget = static_cast<double>(plain.nInteger);
    if (plain.kind == Plain::Kind::Fraction) dTarget = plain.dFraction;
    if (plain.kind != Plain::Kind::String) return S_OK;
    const std::optional<double> dValue = ParseNumber(plain.strText);
    if (!dValue) return DISP_E_TYPEMISMATCH;
    dTarget = *dValue;
    return S_OK;
}

HRESULT StoreBoolean(const Plain& plain, VARIANT_BOOL& target) {
    if (plain.kind == Plain::Kind::String) {
        if (qvant::EqualsNoCase(plain.strText, u"True")) return target = VARIANT_TRUE, S_OK;
        if (qvant::EqualsNoCase(plain.strText, u"False")) return target = VARIANT_FALSE, S_OK;
    }
    double dValue = 0;
    const HRESULT hr = StoreFraction(plain, dValue);
    if (SUCCEEDED(hr)) target = dValue != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    return hr;
}

/// Fifteen digits at most, as the platform writes a double.
std::string FormatFraction(double dValue) {
    char szText[64];
    const auto result = std::to_chars(szText, szText + sizeof szText, dValue, std::chars_format::general, 15);
    return std::string(szText, result.ptr);
}

HRESULT StoreText(const Plain& plain, BSTR& target) {
    Text strText = plain.strText;
    if (plain.kind == Plain::Kind::Integer) strText = qvant::Widen(std::to_string(plain.nInteger));
    if (plain.kind == Plain::Kind::Fraction) strText = qvant::Widen(FormatFraction(plain.dFraction));
    target = SysAllocStringLen(strText.data(), static_cast<UINT>(strText.size()));
    return target ? S_OK : E_OUTOFMEMORY;
}

HRESULT Store(const Plain& plain, VARTYPE vt, VARIANT& target) {
    target.vt = vt;
    switch (vt) {
        case VT_BOOL:
            return StoreBoolean(plain, target.boolVal);
        case VT_I2:
            return StoreInteger(plain, target.iVal);
        case VT_I4:
            return StoreInteger(plain, target.lVal);
        case VT_UI4:
            return StoreInteger(plain, target.ulVal);
        case VT_I8:
            return StoreInteger(plain, target.llVal);
        case VT_R8:
            return StoreFraction(plain, target.dblVal);
        case VT_BSTR:
            return StoreText(plain, target.bstrVal);
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

HRESULT Convert(const VARIANT& source, VARTYPE vt, VARIANT& target) {
    std::optional<Plain> plain = Read(source);
    if (!plain) return DISP_E_TYPEMISMATCH;
    // Nothing is a zero to a number and no text at all to a string.
    if (source.vt == VT_EMPTY && vt == VT_BSTR) plain = FromText(nullptr);
    return Store(*plain, vt, target);
}

}  // namespace

HRESULT VariantChangeType(VARIANTARG* pvargDest, const VARIANTARG* pvarSrc, USHORT, VARTYPE vt) {
    if (!pvargDest || !pvarSrc) return E_INVALIDARG;
    if (pvarSrc->vt == (VT_VARIANT | VT_BYREF)) {
        if (!pvarSrc->pvarVal || (pvarSrc->pvarVal->vt & VT_BYREF) != 0) return DISP_E_TYPEMISMATCH;
        pvarSrc = pvarSrc->pvarVal;
    }
    if (pvarSrc->vt == vt) return VariantCopy(pvargDest, pvarSrc);
    if (vt == VT_EMPTY) return DISP_E_TYPEMISMATCH;
    try {
        VARIANT result{};
        const HRESULT hr = Convert(*pvarSrc, vt, result);
        if (FAILED(hr)) return hr;
        VariantClear(pvargDest);
        *pvargDest = result;
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}
