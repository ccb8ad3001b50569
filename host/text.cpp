#include "text.h"

#include <algorithm>
#include <charconv>

#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace qvant::host {

namespace {

/// An error names what was wrong with it, and needn't repeat a line of megabytes to do so.
constexpr std::size_t QUOTED_UNITS = 80;

char16_t Fold(char16_t ch) { return ch >= u'a' && ch <= u'z' ? static_cast<char16_t>(ch - u'a' + u'A') : ch; }

}  // namespace

Text Widen(std::string_view strUtf8) {
    Text strResult;
    strResult.reserve(strUtf8.size());
    const auto* pIn = reinterpret_cast<const std::uint8_t*>(strUtf8.data());
    std::size_t i = 0;
    while (i < strUtf8.size()) {
        UChar32 nPoint = 0;
        U8_NEXT_OR_FFFD(pIn, i, strUtf8.size(), nPoint);
        if (nPoint > 0xFFFF) {
            strResult += static_cast<char16_t>(U16_LEAD(nPoint));
            strResult += static_cast<char16_t>(U16_TRAIL(nPoint));
        } else {
            strResult += static_cast<char16_t>(nPoint);
        }
    }
    return strResult;
}

std::string Narrow(TextView strText) {
    std::string strResult(strText.size() * 3, '\0');
    auto* pOut = reinterpret_cast<std::uint8_t*>(strResult.data());
    std::size_t nOut = 0;
    std::size_t i = 0;
    while (i < strText.size()) {
        UChar32 nPoint = 0;
        U16_NEXT_OR_FFFD(strText.data(), i, strText.size(), nPoint);
        U8_APPEND_UNSAFE(pOut, nOut, nPoint);
    }
    strResult.resize(nOut);
    return strResult;
}

std::string Quote(TextView strText) {
    const bool bLong = strText.size() > QUOTED_UNITS;
    Text strQuoted(strText.substr(0, QUOTED_UNITS));
    // An error's text ends at a NUL.
    std::ranges::replace(strQuoted, u'\0', u'\xFFFD');
    return '"' + Narrow(strQuoted) + (bLong ? "...\"" : "\"");
}

bool EqualsNoCase(TextView strOne, TextView strOther) { return std::ranges::equal(strOne, strOther, {}, Fold, Fold); }

bool ContainsNoCase(TextView strText, TextView strPart) {
    const auto same = [](char16_t ch, char16_t chOther) { return Fold(ch) == Fold(chOther); };
    return std::search(strText.begin(), strText.end(), strPart.begin(), strPart.end(), same) != strText.end() ||
           strPart.empty();
}

std::optional<std::int64_t> ParseInteger(TextView strText) {
    const std::string strDigits = Narrow(strText);
    const char* pEnd = strDigits.data() + strDigits.size();
    std::int64_t nValue = 0;
    const auto [pStop, nError] = std::from_chars(strDigits.data(), pEnd, nValue);
    if (nError != std::errc{} || pStop != pEnd) return std::nullopt;
    return nValue;
}

}  // namespace qvant::host
