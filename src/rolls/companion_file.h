/// The companion of a definition file: the price gaps at its rolls, as charting modules read them.
#pragma once

#include <cstdint>
#include <string_view>

#include "base/text.h"

namespace qvant {

/// Its first line's key; behind it stands the last write time of the definition file.
inline constexpr const char16_t* COMPANION_WRITE_TIME = u"UDHMLastWriteTime";

/// Whether the gaps have to be asked for (again): there is no companion, the definition file was written since, or a
/// past roll has no gap yet.
/// @param nLastWriteTime  of the definition file, YYYYMMDDhhmmss in the machine's zone
/// @param nNow            YYYYMMDDhhmmss in UTC
bool IsCompanionStale(const Text& strPath, std::int64_t nLastWriteTime, std::int64_t nNow);

/// Replaces the companion whole: other modules read it at any time. A folder that refuses is asked again for three
/// seconds in all. A stop of the calling thread ends that, and leaves the companion as it was.
void WriteCompanion(const Text& strPath, std::string_view strBytes);

}  // namespace qvant
