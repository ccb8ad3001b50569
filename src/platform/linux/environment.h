/// What the process finds around it: its variables, its home, its program file.
#pragma once

#include <optional>
#include <string>

namespace qvant::platform {

/// A variable that is set and not empty.
std::optional<std::string> GetVariable(const char* pszName);

/// The user's home folder, without a trailing slash.
std::optional<std::string> GetHome();

/// The program file of the process; empty when the kernel doesn't tell.
std::string GetProgramPath();

/// The folder without the slashes at its end; the root stays.
std::string WithoutEndingSlash(std::string strFolder);

}  // namespace qvant::platform
