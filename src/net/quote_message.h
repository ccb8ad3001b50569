/// The reply lines of the quote servers: binary messages of numbered integers and texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

namespace qvant {

/// One message, taken apart from one line. Belongs to one thread; an object takes one line after another and keeps its
/// memory, which is that of the highest field number.
///
/// A line is the type, one byte; the fields, one behind the other; and a check character, one byte. Numbers in it have
/// the base 224 and digits that begin at 32, so that none of them is a line end.
class CLum_QuoteMsg2U {
public:
    static constexpr std::int64_t NULL_INTEGER = std::numeric_limits<std::int64_t>::min();

    CLum_QuoteMsg2U();

    /// Takes a line apart. What the line before it left is forgotten.
    /// @param strLine  without its line end; the texts are borrowed from it
    /// @return false for a line that is wrong in any way, and the message is empty then: an empty line, another check
    ///         character, a field without a number, a digit below 32, a field that the line has no room for, a number
    ///         that 64 bits can't hold
    bool Parse(std::string_view strLine);

    /// The first byte of the line.
    std::uint8_t GetType() const { return m_nType; }

    /// @return `NULL_INTEGER` for one that isn't there
    std::int64_t GetInteger(std::size_t nField) const;

    /// UTF-8 as the server sent it. @return nothing for one that isn't there
    std::optional<std::string_view> GetString(std::size_t nField) const;

private:
    /// A value counts only if it is of the line at hand, so that a new line needn't clear what was there.
    template <class Value>
    struct Slot {
        Value value{};
        std::uint64_t nLine = 0;
    };
    template <class Value>
    using Slots = std::vector<Slot<Value>>;

    template <class Value>
    void Set(Slots<Value>& arSlots, std::size_t nField, Value value);
    bool TakeField(std::string_view& strFields);
    bool TakeInteger(std::string_view& strFields, std::size_t nField);
    bool TakeString(std::string_view& strFields, std::size_t nField, std::size_t nLength);

    std::uint8_t m_nType = 0;
    std::uint64_t m_nLine = 1;  ///< above that of any slot that was never set
    Slots<std::int64_t> m_arIntegers;
    Slots<std::string_view> m_arStrings;
};

/// Gives each message of a reply in its order, all of them in the same object; lines that are wrong are left out.
///
/// Lines end at LF, or at the end of the reply; one CR before an LF isn't part of them. The first byte of the reply is
/// never a line end: whatever it is, it is the type of the first message.
/// @param strReply  as the server sent it, without the NUL behind it
void ForEachQuoteMessage(std::string_view strReply, const std::function<void(const CLum_QuoteMsg2U& message)>& visit);

}  // namespace qvant
