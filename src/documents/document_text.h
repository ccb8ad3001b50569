/// What the documents that are kept as files of wide text share.
#pragma once

#include <bit>
#include <optional>
#include <string_view>

#include "base/format.h"
#include "model/json_document.h"

namespace qvant {

/// The units of a wide text as they stand in memory, which on every machine this runs on is the form of the file.
inline std::string_view BytesOf(TextView strText) {
    static_assert(std::endian::native == std::endian::little);
    return {reinterpret_cast<const char*>(strText.data()), strText.size() * sizeof(char16_t)};
}

/// A version or an identifier as text; nothing for a value that is neither text nor a whole number.
inline std::optional<Text> RenderName(const JsonValue& value) {
    if (value.IsString()) return Text(GetText(value));
    if (value.IsInt()) return Format(u"%d", value.GetInt());
    if (value.IsInt64()) return Format(u"%lld", value.GetInt64());
    return std::nullopt;
}

}  // namespace qvant
