#include "base/numbers.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace qvant {

namespace {

bool IsBlank(char16_t ch) { return ch == u' ' || (ch >= u'\t' && ch <= u'\r'); }

bool IsDigit(char16_t ch) { return ch >= u'0' && ch <= u'9'; }

TextView SkipBlanks(TextView strText) {
    while (!strText.empty() && IsBlank(strText.front())) strText.remove_prefix(1);
    return strText;
}

}  // namespace

std::int64_t ToInt64(TextView strText) {
    constexpr auto nMost = std::numeric_limits<std::int64_t>::max();
    constexpr auto nLeast = std::numeric_limits<std::int64_t>::min();
    strText = SkipBlanks(strText);
    bool bNegative = false;
    if (!strText.empty() && (strText.front() == u'-' || strText.front() == u'+')) {
        bNegative = strText.front() == u'-';
        strText.remove_prefix(1);
    }
    std::int64_t nValue = 0;
    for (; !strText.empty() && IsDigit(strText.front()); strText.remove_prefix(1)) {
        const std::int64_t nDigit = strText.front() - u'0';
        if (bNegative) {
            if (nValue < (nLeast + nDigit) / 10) return nLeast;
            nValue = nValue * 10 - nDigit;
        } else {
            if (nValue > (nMost - nDigit) / 10) return nMost;
            nValue = nValue * 10 + nDigit;
        }
    }
    return nValue;
}

std::int32_t ToInt(TextView strText) {
    constexpr std::int64_t nMost = std::numeric_limits<std::int32_t>::max();
    constexpr std::int64_t nLeast = std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(std::clamp(ToInt64(strText), nLeast, nMost));
}

double ToDouble(TextView strText) {
    strText = SkipBlanks(strText);
    if (strText.starts_with(u'+')) {
        strText.remove_prefix(1);
        if (strText.starts_with(u'-')) return 0;
    }
    std::string strBytes;
    for (const char16_t ch : strText) {
        if (!IsDigit(ch) && ch != u'-' && ch != u'+' && ch != u'.' && ch != u'e' && ch != u'E') break;
        strBytes.push_back(static_cast<char>(ch));
    }
    double dValue = 0;
    std::from_chars(strBytes.data(), strBytes.data() + strBytes.size(), dValue);
    return dValue;
}

std::uint32_t ToHex(TextView strText) {
    if (strText.substr(0, 2) == u"0x" || strText.substr(0, 2) == u"0X") strText.remove_prefix(2);
    std::uint32_t nValue = 0;
    for (const char16_t ch : strText) {
        std::uint32_t nDigit = 0;
        if (IsDigit(ch))
            nDigit = static_cast<std::uint32_t>(ch - u'0');
        else if (ch >= u'a' && ch <= u'f')
            nDigit = static_cast<std::uint32_t>(ch - u'a' + 10);
        else if (ch >= u'A' && ch <= u'F')
            nDigit = static_cast<std::uint32_t>(ch - u'A' + 10);
        else
            break;
        nValue = nValue * 16 + nDigit;
    }
    return nValue;
}

}  // namespace qvant
