/// Values as the host shows and takes them, to and from component variants.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "qvant/component.h"
#include "text.h"

namespace qvant::host {

/// Empty, an integer or a text; a fraction and a list of texts in events and replies alone.
using Value = std::variant<std::monostate, std::int64_t, double, Text, std::vector<Text>>;

/// What a variant holds, looked up through references. A type that a value has no word for comes as text where the
/// component library can convert it, else as empty.
Value FromVariant(const VARIANT& variant);

/// The value as text: decimal digits, as few as tell a fraction from its neighbours, the text itself, a path joined
/// with "/", nothing for empty.
Text ToText(const Value& value);

/// A variant that owns what it holds.
class CVariant {
public:
    CVariant() = default;
    explicit CVariant(std::int32_t nValue);
    explicit CVariant(TextView strText);
    /// @param value  empty, an integer of 32 bits or a text
    explicit CVariant(const Value& value);
    CVariant(const CVariant&) = delete;
    CVariant& operator=(const CVariant&) = delete;
    ~CVariant() { VariantClear(&m_variant); }

    VARIANT* operator&() { return &m_variant; }
    const VARIANT& operator*() const { return m_variant; }
    const VARIANT* operator->() const { return &m_variant; }

private:
    void SetText(TextView strText);

    VARIANT m_variant{};
};

/// A component string that is freed with the object.
class CBstr {
public:
    explicit CBstr(TextView strText);
    CBstr(const CBstr&) = delete;
    CBstr& operator=(const CBstr&) = delete;
    ~CBstr() { SysFreeString(m_bstr); }

    BSTR Get() const { return m_bstr; }

private:
    BSTR m_bstr;
};

}  // namespace qvant::host
