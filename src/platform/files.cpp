#include "platform/files.h"

#include <bit>
#include <cstring>

#include "platform/large_pages.h"

namespace qvant::platform {

/// Wide text, which the large files hold, is copied as it lies there.
std::optional<Text> ReadWholeText(TextView strPath) {
    static_assert(std::endian::native == std::endian::little);
    constexpr std::string_view UTF16_MARK = "\xFF\xFE";
    const auto strFile = ReadWholeFile(strPath);
    if (!strFile) return std::nullopt;
    if (!strFile->starts_with(UTF16_MARK)) return WidenMarked(*strFile);
    const std::size_t nUnits = (strFile->size() - UTF16_MARK.size()) / sizeof(char16_t);
    Text strText;
    ReserveLarge(strText, nUnits);
    strText.resize(nUnits);
    if (nUnits > 0) std::memcpy(strText.data(), strFile->data() + UTF16_MARK.size(), nUnits * sizeof(char16_t));
    return strText;
}

}  // namespace qvant::platform
