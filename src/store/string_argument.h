/// A text as the string argument of a component call.
#pragma once

#include <cstddef>
#include <cstring>

#include "base/failure.h"
#include "base/text.h"
#include "qvant/component.h"

namespace qvant {

/// Short texts are laid out as a component string on the stack, since the callee must not keep what it is passed; only
/// a longer one is allocated. Lives until the call has returned.
template <std::size_t nUnits>
class CStringArgument {
public:
    explicit CStringArgument(TextView strText) : m_bstr(Place(strText)) {
        m_variant.vt = VT_BSTR;
        m_variant.bstrVal = m_bstr;
    }
    ~CStringArgument() {
        if (m_bstr != GetUnits()) SysFreeString(m_bstr);
    }
    CStringArgument(const CStringArgument&) = delete;
    CStringArgument& operator=(const CStringArgument&) = delete;

    const VARIANT& GetVariant() const { return m_variant; }

private:
    OLECHAR* GetUnits() { return reinterpret_cast<OLECHAR*>(m_buffer + HEADER); }

    BSTR Place(TextView strText) {
        if (strText.size() > nUnits) return Allocate(strText);
        const auto nBytes = static_cast<std::uint32_t>(strText.size() * sizeof(OLECHAR));
        std::memcpy(m_buffer + HEADER - sizeof nBytes, &nBytes, sizeof nBytes);
        if (nBytes != 0) std::memcpy(m_buffer + HEADER, strText.data(), nBytes);
        GetUnits()[strText.size()] = 0;
        return GetUnits();
    }

    static BSTR Allocate(TextView strText) {
        const BSTR bstr = SysAllocStringLen(strText.data(), static_cast<UINT>(strText.size()));
        if (!bstr) throw CFailure(CFailure::OUT_OF_MEMORY);
        return bstr;
    }

    static constexpr std::size_t HEADER = 8;  // the byte count stands in its last four bytes
    alignas(8) std::byte m_buffer[HEADER + (nUnits + 1) * sizeof(OLECHAR)];
    BSTR m_bstr;
    VARIANT m_variant{};
};

using CKeyArgument = CStringArgument<124>;
using CValueArgument = CStringArgument<508>;

/// A 32-bit integer argument.
inline VARIANT NumberArgument(std::int32_t nValue) {
    VARIANT variant{};
    variant.vt = VT_I4;
    variant.lVal = nValue;
    return variant;
}

}  // namespace qvant
