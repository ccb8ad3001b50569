#include "net/wide_json_scan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

#include <unicode/uchar.h>

#include "base/numbers.h"

namespace qvant {

namespace {

// Digits of every script count, as they do for the platform's own test.
bool IsDigit(char16_t ch) { return (ch >= u'0' && ch <= u'9') || (ch > 127 && u_isdigit(ch)); }

char16_t PlainDigit(char16_t ch) { return ch <= 127 ? ch : static_cast<char16_t>(u'0' + u_charDigitValue(ch)); }

Text WithPlainDigits(TextView strText) {
    Text strPlain(strText);
    for (char16_t& ch : strPlain) {
        if (IsDigit(ch)) ch = PlainDigit(ch);
    }
    return strPlain;
}

// What the processor's conversion gives outside the range is the least number, not undefined.
std::int64_t Truncate(double dValue) {
    constexpr double LIMIT = 9223372036854775808.0;
    if (!(dValue >= -LIMIT && dValue < LIMIT)) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(dValue);
}

template <class T>
T Negate(T value, bool bNegative) {
    if (!bNegative) return value;
    if constexpr (std::is_integral_v<T>) {
        return static_cast<T>(0 - static_cast<std::make_unsigned_t<T>>(value));
    } else {
        return -value;
    }
}

}  // namespace

CWideJsonScan::CWideJsonScan(TextView strText)
    : m_strText(strText), m_nLastBrace(strText.rfind(u'}')), m_nLastBracket(strText.rfind(u']')) {}

void CWideJsonScan::SkipBlanks() {
    while (m_nPosition < m_strText.size() && m_strText[m_nPosition] >= 1 && m_strText[m_nPosition] <= 32) ++m_nPosition;
}

bool CWideJsonScan::ReadString(Text& strValue) {
    Skip();
    while (m_nPosition < m_strText.size()) {
        const std::size_t nNext = std::min(m_strText.find_first_of(u"\"\\", m_nPosition), m_strText.size());
        strValue.append(m_strText, m_nPosition, nNext - m_nPosition);
        m_nPosition = nNext;
        if (nNext == m_strText.size()) return false;
        if (m_strText[nNext] == u'"') {
            Skip();
            return true;
        }
        if (nNext + 1 == m_strText.size()) return false;
        ReadEscape(strValue);
    }
    return false;
}

bool CWideJsonScan::ReadString(TextView& strValue, Text& strBuffer) {
    const std::size_t nStart = m_nPosition + 1;
    std::size_t nEnd = nStart;
    while (nEnd < m_strText.size() && m_strText[nEnd] != u'"' && m_strText[nEnd] != u'\\') ++nEnd;
    if (nEnd < m_strText.size() && m_strText[nEnd] == u'"') {
        strValue = m_strText.substr(nStart, nEnd - nStart);
        m_nPosition = nEnd + 1;
        return true;
    }
    strBuffer.clear();
    const bool bRead = ReadString(strBuffer);
    strValue = strBuffer;
    return bRead;
}

void CWideJsonScan::ReadEscape(Text& strValue) {
    const char16_t chEscape = m_strText[m_nPosition + 1];
    if (chEscape == u'u' && m_strText.size() - m_nPosition >= 6) {
        strValue += static_cast<char16_t>(ToHex(Text(u"0x").append(m_strText, m_nPosition + 2, 4)));
        m_nPosition += 6;
        return;
    }
    m_nPosition += 2;
    switch (chEscape) {
        case u'"':
        case u'/':
            strValue += chEscape;
            break;
        case u'n':
            strValue += u'\n';
            break;
        case u'r':
            strValue += u'\r';
            break;
        case u't':
            strValue += u'\t';
            break;
        case u'u':
            strValue += u"\\u";
            break;
        default:
            // The letter is lost and the backslash stays: readers of the stored texts count on it.
            strValue += u'\\';
    }
}

bool CWideJsonScan::ReadScalar(CJsonValue& value) {
    if (m_nPosition >= m_strText.size()) return false;
    const char16_t ch = Peek();
    if (ch == u'+' || ch == u'-' || IsDigit(ch)) return ReadNumber(value);
    if (Contains(u"tTfFnN", TextView(&ch, 1))) return ReadKeyword(value);
    return false;
}

bool CWideJsonScan::ReadKeyword(CJsonValue& value) {
    if (m_strText.size() - m_nPosition < 4) return false;
    const bool bFive = Peek() == u'f' || Peek() == u'F';
    Text strWord(m_strText.substr(m_nPosition, bFive ? 5 : 4));
    for (char16_t& ch : strWord) {
        if (ch >= u'A' && ch <= u'Z') ch = static_cast<char16_t>(ch + 32);
    }
    if (strWord == u"true" || strWord == u"false") {
        value = CJsonValue(!bFive);
    } else if (strWord != u"null") {
        return false;
    }
    m_nPosition += strWord.size();
    return true;
}

bool CWideJsonScan::ReadNumber(CJsonValue& value) {
    const bool bNegative = Peek() == u'-';
    if (bNegative || Peek() == u'+') Skip();
    const std::size_t nStart = m_nPosition;
    bool bPoint = false;
    while (m_nPosition < m_strText.size() && (IsDigit(Peek()) || Peek() == u'.')) {
        if (Peek() == u'.' && std::exchange(bPoint, true)) return false;
        Skip();
    }
    // A number at the very end of the input may have been cut: it is refused.
    if (m_nPosition >= m_strText.size()) return false;
    const Text strDigits = WithPlainDigits(m_strText.substr(nStart, m_nPosition - nStart));
    if (Peek() == u'E' && ReadExponent(value, strDigits, bNegative)) return true;
    if (bPoint) {
        value = CJsonValue(Negate(ToDouble(strDigits), bNegative));
    } else if (strDigits.size() <= 9) {
        value = CJsonValue(Negate(ToInt(strDigits), bNegative));
    } else {
        value = CJsonValue(Negate(ToInt64(strDigits), bNegative));
    }
    return true;
}

bool CWideJsonScan::ReadExponent(CJsonValue& value, const Text& strMantissa, bool bNegative) {
    const std::size_t nEnd = m_strText.find_first_of(u",\"]}", m_nPosition);
    if (nEnd == TextView::npos) return false;
    const Text strExponent = WithPlainDigits(m_strText.substr(m_nPosition + 1, nEnd - m_nPosition - 1));
    const double dValue = std::pow(10.0, ToInt(strExponent)) * ToDouble(strMantissa);
    value = CJsonValue(Negate(Truncate(dValue), bNegative));
    m_nPosition = nEnd;
    return true;
}

}  // namespace qvant
