/// `Format`: the platform's print formats over wide text, with arguments that know their own type.
#pragma once

#include <concepts>
#include <cstdint>
#include <span>

#include "base/text.h"

namespace qvant {

/// One argument of `Format`: text, an integer, a double or a single unit. Borrows the text for the call.
class FormatArgument {
public:
    enum class Kind { String, Integer, Double };

    // NOLINTBEGIN(google-explicit-constructor): a call names plain values, as with any print function
    FormatArgument(const char16_t* psz) : m_kind(Kind::String), m_strText(psz ? psz : u"") {}
    FormatArgument(TextView str) : m_kind(Kind::String), m_strText(str) {}
    FormatArgument(const Text& str) : m_kind(Kind::String), m_strText(str) {}
    FormatArgument(double d) : m_kind(Kind::Double), m_dValue(d) {}
    template <std::integral T>
    FormatArgument(T n) : m_kind(Kind::Integer), m_nValue(static_cast<std::int64_t>(n)), m_nSize(sizeof(T)) {}
    // NOLINTEND(google-explicit-constructor)

    Kind GetKind() const { return m_kind; }
    TextView GetText() const { return m_strText; }
    double GetDouble() const { return m_dValue; }
    std::int64_t GetInteger() const { return m_nValue; }
    /// The bits of an integer of its own size, for the unsigned forms.
    std::uint64_t GetBits() const {
        return m_nSize >= 8 ? static_cast<std::uint64_t>(m_nValue)
                            : static_cast<std::uint64_t>(m_nValue) & ((std::uint64_t{1} << (m_nSize * 8)) - 1);
    }

private:
    Kind m_kind;
    TextView m_strText;
    std::int64_t m_nValue = 0;
    std::size_t m_nSize = 8;
    double m_dValue = 0;
};

/// Fills the format with the arguments in their order.
Text FormatArguments(TextView strFormat, std::span<const FormatArgument> arguments);

/// %s %d %i %u %x %X %c %f and %%, with the flags "-" and "0", width, precision, and the size words h, l, ll, I64
/// (which are read and have no effect: an argument knows its size). A precision on an integer is its least number of
/// digits, on a text its most units. A missing argument, or one of the wrong kind, stands as nothing.
template <class... Arguments>
Text Format(TextView strFormat, const Arguments&... arguments) {
    if constexpr (sizeof...(arguments) == 0) {
        return FormatArguments(strFormat, {});
    } else {
        const FormatArgument arArguments[] = {FormatArgument(arguments)...};
        return FormatArguments(strFormat, arArguments);
    }
}

}  // namespace qvant
