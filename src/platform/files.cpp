#include "platform/files.h"

namespace qvant::platform {

std::optional<Text> ReadWholeText(TextView strPath) {
    constexpr std::string_view UTF16_MARK = "\xFF\xFE";
    constexpr std::string_view UTF8_MARK = "\xEF\xBB\xBF";
    const auto strFile = ReadWholeFile(strPath);
    if (!strFile) return std::nullopt;
    std::string_view strBytes = *strFile;
    if (strBytes.starts_with(UTF16_MARK)) return FromUtf16Bytes(strBytes.substr(UTF16_MARK.size()));
    if (strBytes.starts_with(UTF8_MARK)) strBytes.remove_prefix(UTF8_MARK.size());
    return Widen(strBytes);
}

}  // namespace qvant::platform
