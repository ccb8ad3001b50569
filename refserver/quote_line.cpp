#include "quote_line.h"

#include <array>
#include <limits>
#include <stdexcept>
#include <utility>

namespace qvant::refserver {

namespace {

constexpr char MessageType = 'Q';

// Digits are those of base 224, moved up by 32: so none of them is a control character.
constexpr unsigned Base = 224;
constexpr unsigned Offset = 32;

// Where the kinds of fields begin, and how many field numbers their first byte alone can tell.
constexpr unsigned ShortInteger = 32;
constexpr unsigned ShortIntegers = 96;
constexpr unsigned LongInteger = 128;
constexpr unsigned LongString = 144;
constexpr unsigned ShortString = 160;
constexpr unsigned ShortStrings = 32;
constexpr unsigned SmallString = 192;
constexpr unsigned SmallStrings = 4;
constexpr unsigned SmallLengths = 16;
constexpr unsigned LongFields = 16 * Base;

// Any byte below 32 would do that is no line end.
constexpr unsigned NullValue = 31;

/// How an integer is written: what its first byte counts from, for both signs, and the digits behind that byte.
struct IntegerForm {
    unsigned nPositive;
    unsigned nNegative;
    unsigned nPositiveFirsts;  // values that the first byte can have
    unsigned nNegativeFirsts;
    int nDigits;
};

constexpr std::array<IntegerForm, 5> IntegerForms = {{
    {32, 160, 64, 32, 0},
    {96, 192, 16, 16, 1},
    {112, 208, 16, 16, 2},
    {128, 224, 16, 16, 4},
    {144, 240, 16, 16, 8},
}};

std::uint64_t Power(int nDigits) {
    std::uint64_t nPower = 1;
    for (; nDigits > 0; --nDigits) nPower *= Base;
    return nPower;
}

void CheckField(unsigned nField) {
    if (nField >= LongFields) throw std::invalid_argument("field " + std::to_string(nField) + " can't be told");
}

}  // namespace

CQuoteLine::CQuoteLine() : m_strLine(1, MessageType) {}

void CQuoteLine::AddInteger(unsigned nField, std::optional<std::int64_t> nValue) {
    CheckField(nField);
    if (nField < ShortIntegers) {
        Add(ShortInteger + nField);
    } else {
        AddLongField(LongInteger, nField);
    }
    if (!nValue || *nValue == std::numeric_limits<std::int64_t>::min()) {
        Add(NullValue);
        return;
    }
    const bool bNegative = *nValue < 0;
    const auto nAmount = static_cast<std::uint64_t>(bNegative ? -*nValue : *nValue);
    for (const auto& form : IntegerForms) {
        const unsigned nFirsts = bNegative ? form.nNegativeFirsts : form.nPositiveFirsts;
        if (nAmount / Power(form.nDigits) >= nFirsts) continue;
        AddDigits(nAmount, bNegative ? form.nNegative : form.nPositive, form.nDigits);
        return;
    }
}

void CQuoteLine::AddString(unsigned nField, std::string_view text) {
    CheckField(nField);
    if (text.size() >= Base * Base || text.find_first_of("\r\n") != std::string_view::npos) {
        throw std::invalid_argument("a text of " + std::to_string(text.size()) + " bytes can't stand in a quote line");
    }
    if (nField < SmallStrings && text.size() < SmallLengths) {
        Add(SmallString + nField * SmallLengths + text.size());
    } else if (nField < ShortStrings && text.size() < Base) {
        Add(ShortString + nField);
        Add(Offset + text.size());
    } else {
        AddLongField(LongString, nField);
        Add(Offset + text.size() / Base);
        Add(Offset + text.size() % Base);
    }
    m_strLine += text;
}

std::string CQuoteLine::Finish() {
    unsigned nSum = 0;
    for (std::size_t n = 1; n < m_strLine.size(); ++n) nSum += static_cast<unsigned char>(m_strLine[n]) & 0x7FU;
    nSum %= 128;
    Add(nSum + (nSum < 64 ? 48 : 112));
    Add('\n');
    return std::exchange(m_strLine, std::string(1, MessageType));
}

void CQuoteLine::AddLongField(unsigned nStart, unsigned nField) {
    Add(nStart + nField / Base);
    Add(Offset + nField % Base);
}

void CQuoteLine::AddDigits(std::uint64_t nValue, unsigned nStart, int nDigits) {
    std::uint64_t nPower = Power(nDigits);
    Add(nStart + nValue / nPower);
    while (nPower > 1) {
        nValue %= nPower;
        nPower /= Base;
        Add(Offset + nValue / nPower);
    }
}

}  // namespace qvant::refserver
