/// Digests of bytes, by which a text is recognised again.
#pragma once

#include <string>
#include <string_view>

namespace qvant::platform {

/// The MD5 of the bytes as 32 hexadecimal digits in lower case. It tells changes and guards nothing: whoever wants to
/// can make two texts with the same one.
/// @throw CFailure  the system's library refuses it
std::string Md5Hex(std::string_view strBytes);

}  // namespace qvant::platform
