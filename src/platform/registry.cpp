// The registration of components as a profile file: a section for each key, named by the key's whole path, and a line
// for each value, always in quotes, so that blanks and quotes of its own come back. "@" is the default value.

#include <algorithm>

#include "base/mutex.h"
#include "platform/files.h"
#include "platform/module.h"
#include "platform/profile_text.h"

namespace qvant::platform {

namespace {

constexpr TextView DEFAULT_VALUE = u"@";

CMutex& RegistryMutex() {
    static CMutex mutex;
    return mutex;
}

/// Whether a text comes back from the file as it went in.
bool IsWhole(TextView strText) {
    return strText.find_first_of(TextView(u"\r\n\0", 3)) == TextView::npos && Trim(strText, u" \t\v\f") == strText;
}

bool CanStore(const RegistryValue& value) {
    const bool bName = !Contains(value.strName, u"=") && !value.strName.starts_with(u';') &&
                       !value.strName.starts_with(u'[') && value.strName != DEFAULT_VALUE;
    return bName && IsWhole(value.strKey) && IsWhole(value.strName) && IsWhole(u'"' + value.strValue + u'"');
}

TextView NameInFile(TextView strName) { return strName.empty() ? DEFAULT_VALUE : strName; }

bool IsBelow(TextView strKey, TextView strParent) {
    const TextView strStart = strKey.substr(0, strParent.size());
    return EqualsNoCase(strStart, strParent) &&
           (strKey.size() == strParent.size() || strKey[strParent.size()] == u'\\');
}

std::optional<Text> ReadValue(bool bPerUser, TextView strKey, TextView strName) {
    const auto strPath = GetRegistryPath(bPerUser);
    const auto strBytes = strPath ? ReadWholeFile(*strPath) : std::nullopt;
    if (!strBytes) return std::nullopt;
    return CProfileText::Parse(*strBytes).Find(strKey, NameInFile(strName));
}

}  // namespace

std::optional<Text> GetRegistryPath(bool bPerUser) {
    auto strPath = bPerUser ? GetUserDataFolder() : GetCommonDataFolder();
    if (strPath) strPath->append(u"/Qvant/registry.ini");
    return strPath;
}

std::optional<Text> ReadRegistry(TextView strKey, TextView strName) {
    auto strValue = ReadValue(true, strKey, strName);
    return strValue ? strValue : ReadValue(false, strKey, strName);
}

bool WriteRegistry(bool bPerUser, const std::vector<RegistryValue>& arValues) {
    const auto strPath = GetRegistryPath(bPerUser);
    if (!strPath || !std::all_of(arValues.begin(), arValues.end(), CanStore)) return false;
    const CLock lock(RegistryMutex());
    if (!CreateFolders(TextView(*strPath).substr(0, strPath->rfind(u'/')))) return false;
    const auto strBytes = ReadWholeFile(*strPath);
    if (!strBytes && FileExists(*strPath)) return false;
    CProfileText text = CProfileText::Parse(strBytes.value_or(std::string()));
    for (const RegistryValue& value : arValues) {
        text.Set(value.strKey, NameInFile(value.strName), u'"' + value.strValue + u'"');
    }
    return ReplaceFile(*strPath, text.GetBytes());
}

bool RemoveRegistryKeys(bool bPerUser, const std::vector<Text>& arKeys) {
    const auto strPath = GetRegistryPath(bPerUser);
    if (!strPath) return false;
    const CLock lock(RegistryMutex());
    const auto strBytes = ReadWholeFile(*strPath);
    if (!strBytes) return !FileExists(*strPath);
    CProfileText text = CProfileText::Parse(*strBytes);
    text.RemoveSections([&arKeys](TextView strKey) {
        return std::any_of(arKeys.begin(), arKeys.end(), [strKey](const Text& str) { return IsBelow(strKey, str); });
    });
    return ReplaceFile(*strPath, text.GetBytes());
}

}  // namespace qvant::platform
