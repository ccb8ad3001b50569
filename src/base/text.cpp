#include "base/text.h"

#include <algorithm>
#include <cstring>

#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

namespace qvant {

namespace {

/// Length of the part in front that is ASCII.
std::size_t CountAscii(const std::uint8_t* pBytes, std::size_t nSize) {
    std::size_t i = 0;
    for (std::uint64_t nWord = 0; i + sizeof nWord <= nSize; i += sizeof nWord) {
        std::memcpy(&nWord, pBytes + i, sizeof nWord);
        if ((nWord & 0x8080808080808080) != 0) break;
    }
    while (i < nSize && pBytes[i] < 0x80) ++i;
    return i;
}

/// One unit for each byte is the most that UTF-8 can give, so that the loop writes without checking.
/// @param bBroken  out: set when something became U+FFFD
/// @return one past the last unit
char16_t* WidenInto(std::string_view strUtf8, char16_t* pOut, bool& bBroken) {
    const auto* pIn = reinterpret_cast<const std::uint8_t*>(strUtf8.data());
    const std::size_t nSize = strUtf8.size();
    std::size_t i = 0;
    while (i < nSize) {
        if (const std::size_t nAscii = CountAscii(pIn + i, nSize - i); nAscii > 0) {
            pOut = std::copy_n(pIn + i, nAscii, pOut);
            i += nAscii;
            continue;
        }
        UChar32 nPoint = 0;
        U8_NEXT(pIn, i, nSize, nPoint);
        if (nPoint > 0xFFFF) {
            *pOut++ = static_cast<char16_t>(U16_LEAD(nPoint));
            *pOut++ = static_cast<char16_t>(U16_TRAIL(nPoint));
        } else {
            bBroken |= nPoint < 0;
            *pOut++ = nPoint < 0 ? u'\uFFFD' : static_cast<char16_t>(nPoint);
        }
    }
    return pOut;
}

/// Writes so many units, in a form that the compiler turns into wide steps. @return whether all of them were ASCII
inline bool NarrowAscii(const char16_t* pIn, std::size_t nCount, char* pOut) {
    char16_t nAll = 0;
    for (std::size_t i = 0; i < nCount; ++i) {
        nAll = static_cast<char16_t>(nAll | pIn[i]);
        pOut[i] = static_cast<char>(pIn[i]);
    }
    return nAll < 0x80;
}

}  // namespace

Text Widen(std::string_view strUtf8) {
    Text strResult;
    AppendWidened(strResult, strUtf8);
    return strResult;
}

void AppendWidened(Text& strText, std::string_view strUtf8) {
    const std::size_t nBefore = strText.size();
    strText.resize(nBefore + strUtf8.size());
    bool bBroken = false;
    const char16_t* pEnd = WidenInto(strUtf8, strText.data() + nBefore, bBroken);
    strText.resize(static_cast<std::size_t>(pEnd - strText.data()));
}

std::optional<std::size_t> WidenStrict(std::string_view strUtf8, char16_t* pOut) {
    bool bBroken = false;
    const char16_t* pEnd = WidenInto(strUtf8, pOut, bBroken);
    if (bBroken) return std::nullopt;
    return static_cast<std::size_t>(pEnd - pOut);
}

std::string Narrow(TextView strText) {
    std::string strResult(strText.size(), '\0');
    if (NarrowAscii(strText.data(), strText.size(), strResult.data())) return strResult;
    strResult.resize(strText.size() * 3);
    strResult.resize(NarrowInto(strText, strResult.data()));
    return strResult;
}

/// Most text is ASCII with a few other characters in it: a stretch at a time as long as it is nothing but ASCII.
std::size_t NarrowInto(TextView strText, char* pOut) {
    constexpr std::size_t STRETCH = 16;
    const char16_t* const pIn = strText.data();
    const std::size_t nSize = strText.size();
    auto* const pBytes = reinterpret_cast<std::uint8_t*>(pOut);
    std::size_t nOut = 0;
    std::size_t i = 0;
    while (i < nSize) {
        if (i + STRETCH <= nSize && NarrowAscii(pIn + i, STRETCH, pOut + nOut)) {
            i += STRETCH;
            nOut += STRETCH;
            continue;
        }
        for (const std::size_t nEnd = std::min(i + STRETCH, nSize); i < nEnd;) {
            UChar32 nPoint = 0;
            U16_NEXT_OR_FFFD(pIn, i, nSize, nPoint);
            U8_APPEND_UNSAFE(pBytes, nOut, nPoint);
        }
    }
    return nOut;
}

std::string ToUtf16Bytes(TextView strText) {
    std::string strBytes(strText.size() * 2, '\0');
    for (std::size_t i = 0; i < strText.size(); ++i) {
        strBytes[2 * i] = static_cast<char>(strText[i] & 0xFF);
        strBytes[2 * i + 1] = static_cast<char>(strText[i] >> 8);
    }
    return strBytes;
}

Text FromUtf16Bytes(std::string_view strBytes) {
    Text strText(strBytes.size() / 2, u'\0');
    for (std::size_t i = 0; i < strText.size(); ++i) {
        const auto nLow = static_cast<std::uint8_t>(strBytes[2 * i]);
        const auto nHigh = static_cast<std::uint8_t>(strBytes[2 * i + 1]);
        strText[i] = static_cast<char16_t>(nLow | (nHigh << 8));
    }
    return strText;
}

Text WidenMarked(std::string_view strBytes) {
    constexpr std::string_view UTF16_MARK = "\xFF\xFE";
    constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";
    if (strBytes.starts_with(UTF16_MARK)) return FromUtf16Bytes(strBytes.substr(UTF16_MARK.size()));
    if (strBytes.starts_with(UTF8_MARK)) strBytes.remove_prefix(UTF8_MARK.size());
    return Widen(strBytes);
}

std::size_t ReplaceAll(Text& strText, TextView strFrom, TextView strTo) {
    if (strFrom.empty()) return 0;
    std::size_t nPosition = strText.find(strFrom);
    if (nPosition == Text::npos) return 0;
    Text strResult;
    strResult.reserve(strText.size());
    std::size_t nCount = 0;
    std::size_t nStart = 0;
    for (; nPosition != Text::npos; nPosition = strText.find(strFrom, nStart)) {
        strResult.append(strText, nStart, nPosition - nStart).append(strTo);
        nStart = nPosition + strFrom.size();
        ++nCount;
    }
    strResult.append(strText, nStart);
    strText = std::move(strResult);
    return nCount;
}

void RemoveAll(Text& strText, char16_t ch) { std::erase(strText, ch); }

TextView TrimLeft(TextView strText, TextView strUnits) {
    const std::size_t nStart = strText.find_first_not_of(strUnits);
    return nStart == TextView::npos ? TextView{} : strText.substr(nStart);
}

TextView TrimRight(TextView strText, TextView strUnits) {
    const std::size_t nLast = strText.find_last_not_of(strUnits);
    return nLast == TextView::npos ? TextView{} : strText.substr(0, nLast + 1);
}

TextView Trim(TextView strText, TextView strUnits) { return TrimRight(TrimLeft(strText, strUnits), strUnits); }

namespace {

/// Case maps that leave the Basic Multilingual Plane don't fit a unit and are left out.
char16_t MapUnit(char16_t ch, UChar32 (*pMap)(UChar32)) {
    const UChar32 nMapped = pMap(ch);
    return nMapped > 0xFFFF ? ch : static_cast<char16_t>(nMapped);
}

Text MapText(TextView strText, UChar32 (*pMap)(UChar32)) {
    Text strResult(strText);
    std::transform(strResult.begin(), strResult.end(), strResult.begin(),
                   [pMap](char16_t ch) { return MapUnit(ch, pMap); });
    return strResult;
}

}  // namespace

Text ToUpper(TextView strText) { return MapText(strText, u_toupper); }

Text ToLower(TextView strText) { return MapText(strText, u_tolower); }

bool EqualsNoCase(TextView strA, TextView strB) {
    return std::equal(strA.begin(), strA.end(), strB.begin(), strB.end(),
                      [](char16_t a, char16_t b) { return a == b || MapUnit(a, u_tolower) == MapUnit(b, u_tolower); });
}

}  // namespace qvant
