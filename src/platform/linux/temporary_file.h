/// Temporary files that stand beside what they are to replace.
#pragma once

#include <string>

namespace qvant::platform {

/// Creates a temporary file in the folder, readable by the user alone. It counts as being written, for
/// `RemoveStaleReplacements` of every process, as long as the descriptor is open: it is to be closed when the file has
/// its final name, and not before.
/// @param strPath  out: its path
/// @return the descriptor; below 0 on failure, which `errno` tells
int CreateTemporary(const std::string& strFolder, std::string& strPath);

}  // namespace qvant::platform
