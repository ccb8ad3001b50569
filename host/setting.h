/// The terminal's settings files, as far as the host reads them.
#pragma once

#include <filesystem>

#include "text.h"

namespace qvant::host {

/// The value of the first such key in the first such section, names without regard to case. Blanks around the value
/// and one pair of quotes fall away. Empty when the file, the section or the key isn't there.
Text ReadSetting(const std::filesystem::path& path, TextView strSection, TextView strKey);

}  // namespace qvant::host
