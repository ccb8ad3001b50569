#include "net/quote_message.h"

#include <algorithm>
#include <array>

namespace qvant {

namespace {

constexpr std::size_t FIRST_INTEGERS = 96;
constexpr std::size_t FIRST_STRINGS = 20;

constexpr std::uint8_t ZERO = 32;  ///< the digit 0
constexpr unsigned BASE = 224;

// Where the kinds of field begin, by the first byte of a field; what is below the first of them is none.
constexpr std::uint8_t LONG_INTEGER = 128;  ///< before it: an integer whose number is that digit
constexpr std::uint8_t LONG_STRING = 144;
constexpr std::uint8_t SHORT_STRING = 160;
constexpr std::uint8_t TINY_STRING = 192;  ///< number and length in one byte

/// How an integer begins: the digit that its first byte stands for is counted from `nStart`.
struct Form {
    std::uint8_t nStart;
    std::uint8_t nFurtherDigits;
};
constexpr std::array<Form, 5> POSITIVE_FORMS{{{144, 8}, {128, 4}, {112, 2}, {96, 1}, {ZERO, 0}}};
constexpr std::array<Form, 5> NEGATIVE_FORMS{{{240, 8}, {224, 4}, {208, 2}, {192, 1}, {160, 0}}};

constexpr std::uint64_t MOST_POSITIVE = std::numeric_limits<std::int64_t>::max();
constexpr std::uint64_t MOST_NEGATIVE = MOST_POSITIVE + 1;

std::uint8_t ByteAt(std::string_view strBytes, std::size_t nPosition) {
    return static_cast<std::uint8_t>(strBytes[nPosition]);
}

bool TakeByte(std::string_view& strBytes, std::uint8_t& nByte) {
    if (strBytes.empty()) return false;
    nByte = ByteAt(strBytes, 0);
    strBytes.remove_prefix(1);
    return true;
}

bool TakeDigit(std::string_view& strBytes, unsigned& nDigit) {
    std::uint8_t nByte = 0;
    if (!TakeByte(strBytes, nByte) || nByte < ZERO) return false;
    nDigit = nByte - ZERO;
    return true;
}

/// Reads one digit more of a number. @param nValue  its first digits
bool TakeNext(std::string_view& strBytes, std::size_t& nValue) {
    unsigned nDigit = 0;
    if (!TakeDigit(strBytes, nDigit)) return false;
    nValue = nValue * BASE + nDigit;
    return true;
}

std::uint8_t MakeCheckCharacter(std::string_view strFields) {
    std::size_t nSum = 0;
    for (const char ch : strFields) nSum += static_cast<std::uint8_t>(ch) & 0x7FU;
    nSum %= 128;
    return static_cast<std::uint8_t>(nSum < 64 ? nSum + 48 : nSum + 112);
}

}  // namespace

CLum_QuoteMsg2U::CLum_QuoteMsg2U() : m_arIntegers(FIRST_INTEGERS), m_arStrings(FIRST_STRINGS) {}

bool CLum_QuoteMsg2U::Parse(std::string_view strLine) {
    ++m_nLine;
    m_nType = 0;
    if (strLine.size() < 2) return false;
    std::string_view strFields = strLine.substr(1, strLine.size() - 2);
    if (MakeCheckCharacter(strFields) != ByteAt(strLine, strLine.size() - 1)) return false;
    while (!strFields.empty()) {
        if (TakeField(strFields)) continue;
        ++m_nLine;
        return false;
    }
    m_nType = ByteAt(strLine, 0);
    return true;
}

std::int64_t CLum_QuoteMsg2U::GetInteger(std::size_t nField) const {
    if (nField >= m_arIntegers.size() || m_arIntegers[nField].nLine != m_nLine) return NULL_INTEGER;
    return m_arIntegers[nField].value;
}

std::optional<std::string_view> CLum_QuoteMsg2U::GetString(std::size_t nField) const {
    if (nField >= m_arStrings.size() || m_arStrings[nField].nLine != m_nLine) return std::nullopt;
    return m_arStrings[nField].value;
}

/// The last of several values for one field counts. A number above the room makes room.
template <class Value>
void CLum_QuoteMsg2U::Set(Slots<Value>& arSlots, std::size_t nField, Value value) {
    if (nField >= arSlots.size()) arSlots.resize(nField + 1);
    arSlots[nField] = {value, m_nLine};
}

bool CLum_QuoteMsg2U::TakeField(std::string_view& strFields) {
    std::uint8_t nFirst = 0;
    if (!TakeByte(strFields, nFirst) || nFirst < ZERO) return false;
    if (nFirst < LONG_INTEGER) return TakeInteger(strFields, nFirst - ZERO);
    if (nFirst < LONG_STRING) {
        std::size_t nField = nFirst - LONG_INTEGER;
        return TakeNext(strFields, nField) && TakeInteger(strFields, nField);
    }
    std::size_t nLength = 0;
    if (nFirst < SHORT_STRING) {
        std::size_t nField = nFirst - LONG_STRING;
        return TakeNext(strFields, nField) && TakeNext(strFields, nLength) && TakeNext(strFields, nLength) &&
               TakeString(strFields, nField, nLength);
    }
    if (nFirst < TINY_STRING) {
        return TakeNext(strFields, nLength) && TakeString(strFields, nFirst - SHORT_STRING, nLength);
    }
    return TakeString(strFields, (nFirst - TINY_STRING) / 16U, nFirst & 15U);
}

bool CLum_QuoteMsg2U::TakeInteger(std::string_view& strFields, std::size_t nField) {
    std::uint8_t nFirst = 0;
    if (!TakeByte(strFields, nFirst)) return false;
    if (nFirst < ZERO) {
        Set(m_arIntegers, nField, NULL_INTEGER);
        return true;
    }
    const bool bNegative = nFirst >= NEGATIVE_FORMS.back().nStart;
    const auto& arForms = bNegative ? NEGATIVE_FORMS : POSITIVE_FORMS;
    const auto pForm =
        std::find_if(arForms.begin(), arForms.end(), [nFirst](const Form& form) { return form.nStart <= nFirst; });
    const std::uint64_t nMost = bNegative ? MOST_NEGATIVE : MOST_POSITIVE;
    std::uint64_t nValue = nFirst - pForm->nStart;
    for (int nLeft = pForm->nFurtherDigits; nLeft > 0; --nLeft) {
        unsigned nDigit = 0;
        if (!TakeDigit(strFields, nDigit) || nValue > (nMost - nDigit) / BASE) return false;
        nValue = nValue * BASE + nDigit;
    }
    // The least number of all is the null as well.
    Set(m_arIntegers, nField, static_cast<std::int64_t>(bNegative ? 0 - nValue : nValue));
    return true;
}

bool CLum_QuoteMsg2U::TakeString(std::string_view& strFields, std::size_t nField, std::size_t nLength) {
    if (nLength > strFields.size()) return false;
    Set(m_arStrings, nField, strFields.substr(0, nLength));
    strFields.remove_prefix(nLength);
    return true;
}

void ForEachQuoteMessage(std::string_view strReply, const std::function<void(const CLum_QuoteMsg2U& message)>& visit) {
    CLum_QuoteMsg2U message;
    // Looked for from the second byte on, as the servers count on: a reply may begin with the type 10.
    for (std::size_t nEnd = strReply.find('\n', 1); nEnd != std::string_view::npos; nEnd = strReply.find('\n')) {
        std::string_view strLine = strReply.substr(0, nEnd);
        if (strLine.ends_with('\r')) strLine.remove_suffix(1);
        if (message.Parse(strLine)) visit(message);
        strReply.remove_prefix(nEnd + 1);
    }
    // What no line end follows keeps a CR.
    if (message.Parse(strReply)) visit(message);
}

}  // namespace qvant
