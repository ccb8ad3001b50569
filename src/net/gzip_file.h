/// Decoding of gzip replies by way of a temporary file.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "base/text.h"

namespace qvant {

/// The longest content that is decoded, unless replies may be less long (platform/internet_limits.h). A stream that
/// holds more, and few bytes can hold very much, counts as broken.
inline constexpr std::size_t GUNZIP_MOST = std::size_t{256} << 20;

/// What the temporary file is given between its writing and its reading, for who watches the folder to let go of it.
inline constexpr std::chrono::milliseconds GUNZIP_PAUSE{10};

/// Decodes a reply. Any thread: each call has temporary names of its own.
/// @param pDecoded  out: the content, with a NUL in its last place; untouched on failure
/// @param pause     0 for requests that can't wait
/// @param pTooLong  out: whether it failed because the content is too long; may be null
/// @return the length with the NUL; 0 on failure and for a stream that holds nothing
std::uint32_t GunzipBuffer(std::unique_ptr<std::uint8_t[]>& pDecoded, std::string_view strReceived,
                           std::chrono::milliseconds pause = GUNZIP_PAUSE, bool* pTooLong = nullptr);

/// Decodes a file; ".gz" is added to a name that doesn't end in it. A file that was read to its good end is removed, a
/// broken one stays for whoever wants to look at it.
/// @param nLength   out: the content's length and one more
/// @param pTooLong  out: whether it failed because the content is too long; may be null
/// @return null for a file that can't be opened or is broken, and for a stream that holds nothing
std::unique_ptr<std::uint8_t[]> ReadGzipFile(const Text& strPath, std::uint32_t& nLength, bool* pTooLong = nullptr);

}  // namespace qvant
