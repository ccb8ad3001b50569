/// The command line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace qvant::host {

struct Options {
    std::filesystem::path pathHome;        ///< the service's home folder
    std::filesystem::path pathCommonData;  ///< the common application-data folder
    std::filesystem::path pathModule;
    std::optional<std::filesystem::path> pathScript;
    bool bBare = false;
    bool bJson = false;
    bool bPrompt = false;  ///< after the script, the requests of standard input
    bool bHelp = false;
};

/// Text for `--help`.
extern const char* const USAGE;

/// Reads the command line, and hands the two folders on to the modules in the process environment.
/// @throws CFailure for an option that there isn't, or one without its argument
Options ReadOptions(int nArguments, const char* const* parguments);

}  // namespace qvant::host
