/// The service's own forgiving JSON reader and writer over wide text, for small documents.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <variant>
#include <vector>

#include "base/text.h"

namespace qvant {

/// One value; owns the tree below it. An object's members stand sorted by name. Belongs to one thread.
class CJsonValue {
public:
    enum Type : std::int32_t {
        TYPE_NULL = 0,
        TYPE_BOOLEAN = 1,
        TYPE_INT32 = 2,
        TYPE_INT64 = 3,
        TYPE_DOUBLE = 4,
        TYPE_STRING = 5,
        TYPE_ARRAY = 6,
        TYPE_OBJECT = 7
    };
    using Array = std::vector<std::unique_ptr<CJsonValue>>;
    using Object = std::map<Text, std::unique_ptr<CJsonValue>, std::less<>>;

    CJsonValue() = default;
    explicit CJsonValue(bool bValue) : m_value(bValue) {}
    explicit CJsonValue(std::int32_t nValue) : m_value(nValue) {}
    explicit CJsonValue(std::int64_t nValue) : m_value(nValue) {}
    explicit CJsonValue(double dValue) : m_value(dValue) {}
    explicit CJsonValue(Text strValue) : m_value(std::move(strValue)) {}
    // NOLINTBEGIN(bugprone-exception-escape): taking a tree apart needs memory, and ends the process when there is none
    ~CJsonValue();
    CJsonValue(CJsonValue&&) noexcept;
    CJsonValue& operator=(CJsonValue&&) noexcept;
    // NOLINTEND(bugprone-exception-escape)

    Type GetType() const { return static_cast<Type>(m_value.index()); }
    /// The payload, or null when the value is of another type.
    template <class T>
    const T* Get() const {
        return std::get_if<T>(&m_value);
    }
    template <class T>
    T* Get() {
        return std::get_if<T>(&m_value);
    }
    /// Makes the value an empty array or object.
    void MakeArray() { m_value = Array(); }
    void MakeObject() { m_value = Object(); }

    /// Sets a member of an object; a value that is there is freed. Nothing on any other type.
    void Set(TextView strKey, CJsonValue value);
    /// A member of an object, or null.
    const CJsonValue* Find(TextView strKey) const;

private:
    friend void ClearValue(CJsonValue& value);
    std::variant<std::monostate, bool, std::int32_t, std::int64_t, double, Text, Array, Object> m_value;
};

/// Reads the first complete value of a text; what follows it isn't looked at.
/// @return above 0: the units consumed, leading white space included. Otherwise a failure: -1, or the negative of the
///         position reached; `value` then holds what was read and is the caller's to clear
std::int32_t ParseValue(CJsonValue& value, const char16_t* pText, std::int32_t nLength);

/// Renders a value. Strings aren't escaped: one with a quote in it doesn't survive a write and read.
Text ValueToText(const CJsonValue& value);

/// Frees the tree and leaves the value null.
void ClearValue(CJsonValue& value);

}  // namespace qvant
