/// A variant that owns what it holds, and text to and from component strings.
#pragma once

#include <cstdint>
#include <new>
#include <utility>

#include "base/text.h"
#include "qvant/component.h"

namespace qvant {

/// Owning wrapper; a `VARIANT` to the component calls.
class CVariant : public VARIANT {
public:
    CVariant() : VARIANT{} { VariantInit(this); }
    explicit CVariant(std::int32_t nValue) : CVariant() {
        vt = VT_I4;
        lVal = nValue;
    }
    explicit CVariant(TextView strText) : CVariant() {
        bstrVal =
            SysAllocStringLen(reinterpret_cast<const OLECHAR*>(strText.data()), static_cast<UINT>(strText.size()));
        if (!bstrVal) throw std::bad_alloc();
        vt = VT_BSTR;
    }
    CVariant(CVariant&& other) noexcept : CVariant() { Swap(other); }
    CVariant& operator=(CVariant&& other) noexcept {
        Swap(other);
        return *this;
    }
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;
    ~CVariant() { VariantClear(this); }

    /// The text of a string variant, borrowed; empty for any other.
    TextView GetText() const {
        return vt == VT_BSTR && bstrVal ? TextView(reinterpret_cast<const char16_t*>(bstrVal), SysStringLen(bstrVal))
                                        : TextView{};
    }

private:
    void Swap(CVariant& other) noexcept { std::swap(static_cast<VARIANT&>(*this), static_cast<VARIANT&>(other)); }
};

/// The text of a component string; empty for null.
inline Text ToText(BSTR bstr) {
    return bstr ? Text(reinterpret_cast<const char16_t*>(bstr), SysStringLen(bstr)) : Text();
}

}  // namespace qvant
