#include "documents/reply_text.h"

#include <bit>
#include <cstring>

#include "base/format.h"

namespace qvant {

std::string_view GetReplyText(const ReplyBuffer& pReply, std::uint32_t nLength) {
    const auto* pText = reinterpret_cast<const char*>(pReply.get());
    return {pText, ::strnlen(pText, nLength)};
}

Text GetReplyStart(std::string_view strReply) {
    constexpr std::size_t LOGGED_UNITS = 200;
    return Widen(strReply.substr(0, LOGGED_UNITS * 4)).substr(0, LOGGED_UNITS);
}

std::optional<Text> RenderName(const JsonValue& value) {
    if (value.IsString()) return Text(GetText(value));
    if (value.IsInt64()) return Format(u"%I64d", value.GetInt64());
    return std::nullopt;
}

std::string_view BytesOf(TextView strText) {
    static_assert(std::endian::native == std::endian::little);
    return {reinterpret_cast<const char*>(strText.data()), strText.size() * sizeof(char16_t)};
}

}  // namespace qvant
