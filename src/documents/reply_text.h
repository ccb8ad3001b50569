/// What the document families share in reading a reply and keeping its text.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "model/json_document.h"
#include "net/http_query.h"

namespace qvant {

inline constexpr const char16_t* NOTHING_HELD = u"-1";  ///< the version that forces a full download

/// The text of a reply up to its first NUL, borrowed.
std::string_view GetReplyText(const ReplyBuffer& pReply, std::uint32_t nLength);

/// The start of a reply, as far as the log shows one that is no JSON.
Text GetReplyStart(std::string_view strReply);

/// A version or an identifier as text; nothing for a value that is neither text nor a whole number.
std::optional<Text> RenderName(const JsonValue& value);

/// The units of a wide text as they stand in memory, which on every machine this runs on is the form of the files.
std::string_view BytesOf(TextView strText);

}  // namespace qvant
