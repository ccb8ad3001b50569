#include "options.h"

#include <cstdlib>
#include <functional>
#include <map>
#include <string_view>

#include "failure.h"

namespace qvant::host {

const char* const USAGE =
    "usage: lumivale-host [--home DIR] [--common-data DIR] [--module FILE] [--bare] [--json]\n"
    "                     [--script FILE [--prompt]]\n"
    "\n"
    "  --home DIR         home folder of the service; else LUMIVALE_HOME, else this program's folder\n"
    "  --common-data DIR  common application-data folder; else LUMIVALE_COMMON_DATA, else $XDG_DATA_HOME,\n"
    "                     else ~/.local/share\n"
    "  --module FILE      the service's shared library; else the one that came with this program\n"
    "  --bare             make no table at the start\n"
    "  --json             standard output carries JSON lines and nothing else\n"
    "  --script FILE      take the requests from FILE instead of standard input\n"
    "  --prompt           after the script, go on with standard input; at a terminal the script runs unseen\n";

namespace {

namespace fs = std::filesystem;

fs::path ProgramFolder() {
    std::error_code error;
    return fs::read_symlink("/proc/self/exe", error).parent_path();
}

/// Beside the program's folder in a build and in an installation; beside the program in a folder of its own.
fs::path FindModule() {
    constexpr const char* NAME = "libQVLumivale.so";
    const fs::path pathProgram = ProgramFolder();
    for (const char* pszFolder : {"../lib", "../" QV_LIBRARY_FOLDER, "."}) {
        std::error_code error;
        fs::path pathModule = (pathProgram / pszFolder / NAME).lexically_normal();
        if (fs::exists(pathModule, error)) return pathModule;
    }
    return (pathProgram / "../lib" / NAME).lexically_normal();
}

/// The modules read the folder where they would find it in the terminal: in the environment.
fs::path HandOn(const char* pszVariable, const char* pszFolder) {
    fs::path pathFolder = fs::absolute(pszFolder).lexically_normal();
    setenv(pszVariable, pathFolder.c_str(), 1);
    return pathFolder;
}

fs::path HomeOfEnvironment() {
    const char* pszHome = std::getenv("LUMIVALE_HOME");
    return pszHome && *pszHome ? HandOn("LUMIVALE_HOME", pszHome) : ProgramFolder();
}

/// Where the service looks for it.
fs::path CommonDataOfEnvironment() {
    for (const char* pszName : {"LUMIVALE_COMMON_DATA", "XDG_DATA_HOME"}) {
        const char* pszFolder = std::getenv(pszName);
        if (pszFolder && *pszFolder) return pszFolder;
    }
    const char* pszUser = std::getenv("HOME");
    return fs::path(pszUser ? pszUser : "") / ".local" / "share";
}

using Flags = std::map<std::string_view, std::function<void()>>;
using Settings = std::map<std::string_view, std::function<void(const char*)>>;

}  // namespace

Options ReadOptions(int nArguments, const char* const* parguments) {
    Options options;
    const Flags mapFlags = {{"--bare", [&] { options.bBare = true; }},
                            {"--json", [&] { options.bJson = true; }},
                            {"--prompt", [&] { options.bPrompt = true; }},
                            {"--help", [&] { options.bHelp = true; }}};
    const Settings mapSettings = {{"--home", [&](const char* psz) { options.pathHome = HandOn("LUMIVALE_HOME", psz); }},
                                  {"--common-data", [](const char* psz) { HandOn("LUMIVALE_COMMON_DATA", psz); }},
                                  {"--module", [&](const char* psz) { options.pathModule = fs::absolute(psz); }},
                                  {"--script", [&](const char* psz) { options.pathScript = psz; }}};
    for (int i = 1; i < nArguments; ++i) {
        const std::string strOption = parguments[i];
        if (const auto flag = mapFlags.find(strOption); flag != mapFlags.end()) {
            flag->second();
            continue;
        }
        const auto setting = mapSettings.find(strOption);
        if (setting == mapSettings.end()) throw CFailure("unknown option " + strOption);
        if (++i == nArguments || !*parguments[i]) throw CFailure(strOption + " needs an argument");
        setting->second(parguments[i]);
    }
    if (options.pathHome.empty()) options.pathHome = HomeOfEnvironment();
    options.pathCommonData = CommonDataOfEnvironment();
    if (options.pathModule.empty()) options.pathModule = FindModule();
    return options;
}

}  // namespace qvant::host
