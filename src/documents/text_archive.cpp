#include "documents/text_archive.h"

#include <cstdint>

#include "documents/reply_text.h"
#include "platform/large_pages.h"

namespace qvant {

namespace {

constexpr std::string_view WIDE_MARK = "\xFF\xFE\xFF";
constexpr std::size_t LONGEST_HEAD = 10;  ///< mark and length of a text

template <class Number>
void AppendNumber(std::string& strArchive, std::size_t nValue) {
    for (std::size_t i = 0; i < sizeof(Number); ++i) strArchive.push_back(static_cast<char>(nValue >> (8 * i) & 0xFF));
}

void AppendCount(std::string& strArchive, std::size_t nCount) {
    if (nCount < 0xFFFF) return AppendNumber<std::uint16_t>(strArchive, nCount);
    AppendNumber<std::uint16_t>(strArchive, 0xFFFF);
    AppendNumber<std::uint32_t>(strArchive, nCount);
}

void AppendLength(std::string& strArchive, std::size_t nLength) {
    if (nLength < 0xFF) return AppendNumber<std::uint8_t>(strArchive, nLength);
    AppendNumber<std::uint8_t>(strArchive, 0xFF);
    // One less than the count's limit: 0xFFFE marks a text as wide in this place.
    if (nLength < 0xFFFE) return AppendNumber<std::uint16_t>(strArchive, nLength);
    AppendNumber<std::uint16_t>(strArchive, 0xFFFF);
    AppendNumber<std::uint32_t>(strArchive, nLength);
}

void AppendText(std::string& strArchive, TextView strText) {
    strArchive.append(WIDE_MARK);
    AppendLength(strArchive, strText.size());
    strArchive.append(BytesOf(strText));
}

}  // namespace

std::string ArchiveMap(const CTextMap& map) {
    std::size_t nMost = LONGEST_HEAD;
    for (const auto& [strKey, strValue] : map) {
        nMost += 2 * LONGEST_HEAD + BytesOf(strKey).size() + BytesOf(strValue).size();
    }
    std::string strArchive;
    platform::ReserveLarge(strArchive, nMost);
    AppendCount(strArchive, map.size());
    for (const auto& [strKey, strValue] : map) {
        AppendText(strArchive, strKey);
        AppendText(strArchive, strValue);
    }
    return strArchive;
}

}  // namespace qvant
