#include "base/format.h"

#include <algorithm>
#include <charconv>
#include <optional>

namespace qvant {

namespace {

/// What stands between "%" and the letter.
struct Conversion {
    bool bLeft = false;
    bool bZero = false;
    std::size_t nWidth = 0;
    std::optional<std::size_t> nPrecision;
    char16_t chType = 0;
};

std::size_t ReadNumber(TextView strFormat, std::size_t& nPosition) {
    std::size_t nValue = 0;
    for (; nPosition < strFormat.size() && strFormat[nPosition] >= u'0' && strFormat[nPosition] <= u'9'; ++nPosition) {
        nValue = std::min<std::size_t>(nValue * 10 + (strFormat[nPosition] - u'0'), 4096);
    }
    return nValue;
}

/// Reads one conversion; `nPosition` stands behind the "%" and ends behind the letter.
Conversion ReadConversion(TextView strFormat, std::size_t& nPosition) {
    Conversion conversion;
    for (; nPosition < strFormat.size() && (strFormat[nPosition] == u'-' || strFormat[nPosition] == u'0');
         ++nPosition) {
        (strFormat[nPosition] == u'-' ? conversion.bLeft : conversion.bZero) = true;
    }
    conversion.nWidth = ReadNumber(strFormat, nPosition);
    if (nPosition < strFormat.size() && strFormat[nPosition] == u'.') {
        conversion.nPrecision = ReadNumber(strFormat, ++nPosition);
    }
    if (strFormat.substr(nPosition, 3) == u"I64") nPosition += 3;
    while (nPosition < strFormat.size() && (strFormat[nPosition] == u'l' || strFormat[nPosition] == u'h')) ++nPosition;
    if (nPosition < strFormat.size()) conversion.chType = strFormat[nPosition++];
    return conversion;
}

Text Digits(std::uint64_t nValue, int nBase, bool bUpper) {
    char szDigits[24];
    const auto end = std::to_chars(szDigits, szDigits + sizeof szDigits, nValue, nBase).ptr;
    Text strDigits(szDigits, end);
    return bUpper ? ToUpper(strDigits) : strDigits;
}

void AppendInteger(Text& strResult, const Conversion& conversion, const FormatArgument& argument) {
    const bool bSigned = conversion.chType == u'd' || conversion.chType == u'i';
    const bool bNegative = bSigned && argument.GetInteger() < 0;
    const int nBase = conversion.chType == u'x' || conversion.chType == u'X' ? 16 : 10;
    const std::uint64_t nMagnitude = bNegative ? 0 - static_cast<std::uint64_t>(argument.GetInteger())
                                     : bSigned ? static_cast<std::uint64_t>(argument.GetInteger())
                                               : argument.GetBits();
    const Text strDigits = Digits(nMagnitude, nBase, conversion.chType == u'X');
    const std::size_t nSign = bNegative ? 1 : 0;
    std::size_t nZeros = 0;
    if (conversion.nPrecision) {
        nZeros = *conversion.nPrecision > strDigits.size() ? *conversion.nPrecision - strDigits.size() : 0;
    } else if (conversion.bZero && !conversion.bLeft && conversion.nWidth > strDigits.size() + nSign) {
        nZeros = conversion.nWidth - strDigits.size() - nSign;
    }
    const std::size_t nLength = nSign + nZeros + strDigits.size();
    const std::size_t nBlanks = conversion.nWidth > nLength ? conversion.nWidth - nLength : 0;
    if (!conversion.bLeft) strResult.append(nBlanks, u' ');
    if (bNegative) strResult.push_back(u'-');
    strResult.append(nZeros, u'0').append(strDigits);
    if (conversion.bLeft) strResult.append(nBlanks, u' ');
}

void AppendText(Text& strResult, const Conversion& conversion, TextView strText) {
    if (conversion.nPrecision) strText = strText.substr(0, *conversion.nPrecision);
    const std::size_t nBlanks = conversion.nWidth > strText.size() ? conversion.nWidth - strText.size() : 0;
    if (!conversion.bLeft) strResult.append(nBlanks, u' ');
    strResult.append(strText);
    if (conversion.bLeft) strResult.append(nBlanks, u' ');
}

void AppendDouble(Text& strResult, const Conversion& conversion, double dValue) {
    // Room for the longest double in full; never in the manner of a locale.
    char szNumber[400];
    const int nPrecision = static_cast<int>(std::min<std::size_t>(conversion.nPrecision.value_or(6), 40));
    const auto end =
        std::to_chars(szNumber, szNumber + sizeof szNumber, dValue, std::chars_format::fixed, nPrecision).ptr;
    const Text strNumber(szNumber, end);
    Conversion padding = conversion;
    padding.nPrecision.reset();
    AppendText(strResult, padding, strNumber);
}

void AppendConversion(Text& strResult, const Conversion& conversion, const FormatArgument& argument) {
    using Kind = FormatArgument::Kind;
    switch (conversion.chType) {
        case u's':
            if (argument.GetKind() == Kind::String) AppendText(strResult, conversion, argument.GetText());
            break;
        case u'c':
            if (argument.GetKind() == Kind::Integer) {
                const auto ch = static_cast<char16_t>(argument.GetInteger());
                AppendText(strResult, conversion, TextView(&ch, 1));
            }
            break;
        case u'f':
            if (argument.GetKind() == Kind::Double) AppendDouble(strResult, conversion, argument.GetDouble());
            break;
        case u'd':
        case u'i':
        case u'u':
        case u'x':
        case u'X':
            if (argument.GetKind() == Kind::Integer) AppendInteger(strResult, conversion, argument);
            break;
        default:
            break;
    }
}

}  // namespace

Text FormatArguments(TextView strFormat, std::span<const FormatArgument> arguments) {
    Text strResult;
    std::size_t nNext = 0;
    std::size_t nPosition = 0;
    while (nPosition < strFormat.size()) {
        const std::size_t nPercent = strFormat.find(u'%', nPosition);
        strResult.append(strFormat, nPosition, nPercent == TextView::npos ? nPercent : nPercent - nPosition);
        if (nPercent == TextView::npos) break;
        nPosition = nPercent + 1;
        const Conversion conversion = ReadConversion(strFormat, nPosition);
        if (conversion.chType == u'%') {
            strResult.push_back(u'%');
        } else if (nNext < arguments.size()) {
            AppendConversion(strResult, conversion, arguments[nNext++]);
        }
    }
    return strResult;
}

}  // namespace qvant
