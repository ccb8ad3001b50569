/// Profile files: sections and keys as text, read and written key by key.
///
/// Sections and keys are found without regard to case; blanks around names and values and one pair of quotes around a
/// value fall away. A file is UTF-16LE with its mark or UTF-8 and keeps its encoding; a new one is UTF-16LE.
#pragma once

#include <cstdint>
#include <span>

#include "base/text.h"

namespace qvant::platform {

/// The value, cut to `nSize` - 1 units; the default when there is no such file, section or key.
/// @param nSize  units of the buffer that the value has to fit in, with its NUL
Text GetProfileText(TextView strSection, TextView strKey, TextView strDefault, std::size_t nSize, TextView strPath);

/// The decimal number at the start of the value; the default when there is no such key.
std::int32_t GetProfileInt(TextView strSection, TextView strKey, std::int32_t nDefault, TextView strPath);

/// Sets one key and replaces the file whole; comments, order and all other keys stay. Line ends in the value, which
/// could only break the file, are dropped. Writes of one process don't run into each other.
/// @return false when the file can't be replaced; it stands as it was then
bool WriteProfileText(TextView strSection, TextView strKey, TextView strValue, TextView strPath);

/// A key and its new value.
struct ProfileValue {
    TextView strKey;
    TextView strValue;
};

/// Sets several keys of one section, in their order and in one replacement: a crash leaves all of them old or all new.
bool WriteProfileTexts(TextView strSection, std::span<const ProfileValue> values, TextView strPath);

}  // namespace qvant::platform
