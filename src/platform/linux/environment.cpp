#include "platform/linux/environment.h"

#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "platform/files.h"

namespace qvant::platform {

namespace {

/// The home of the user's account, for a process that was given none in its variables.
std::optional<std::string> GetAccountHome() {
    std::vector<char> arBuffer(16'384);
    passwd entry{};
    passwd* pFound = nullptr;
    if (getpwuid_r(getuid(), &entry, arBuffer.data(), arBuffer.size(), &pFound) != 0 || !pFound) return std::nullopt;
    if (!pFound->pw_dir || !*pFound->pw_dir) return std::nullopt;
    return std::string(pFound->pw_dir);
}

}  // namespace

std::optional<std::string> GetVariable(const char* pszName) {
    const char* pszValue = std::getenv(pszName);
    if (!pszValue || !*pszValue) return std::nullopt;
    return std::string(pszValue);
}

std::optional<std::string> GetHome() {
    auto strHome = GetVariable("HOME");
    if (!strHome) strHome = GetAccountHome();
    if (!strHome) return std::nullopt;
    return WithoutEndingSlash(std::move(*strHome));
}

std::string GetProgramPath() {
    std::string strPath(256, '\0');
    for (;;) {
        const ssize_t nLength = readlink("/proc/self/exe", strPath.data(), strPath.size());
        if (nLength < 0) return {};
        if (static_cast<std::size_t>(nLength) < strPath.size()) {
            strPath.resize(static_cast<std::size_t>(nLength));
            return strPath;
        }
        strPath.resize(strPath.size() * 2);
    }
}

std::string WithoutEndingSlash(std::string strFolder) {
    while (strFolder.size() > 1 && strFolder.back() == '/') strFolder.pop_back();
    return strFolder;
}

Text GetExecutablePath() {
    if (auto strHome = GetVariable("LUMIVALE_HOME")) {
        return Widen(WithoutEndingSlash(std::move(*strHome)) + "/lumivale-host");
    }
    return Widen(GetProgramPath());
}

std::optional<Text> GetUserDataFolder() {
    const auto strHome = GetHome();
    if (!strHome) return std::nullopt;
    return Widen(*strHome + "/.local/share");
}

std::optional<Text> GetCommonDataFolder() {
    for (const char* pszName : {"LUMIVALE_COMMON_DATA", "XDG_DATA_HOME"}) {
        if (auto strFolder = GetVariable(pszName)) return Widen(WithoutEndingSlash(std::move(*strFolder)));
    }
    return GetUserDataFolder();
}

Text GetTempFolder() {
    std::string strFolder = WithoutEndingSlash(GetVariable("TMPDIR").value_or("/tmp"));
    if (strFolder.back() != '/') strFolder.push_back('/');
    return Widen(strFolder);
}

}  // namespace qvant::platform
