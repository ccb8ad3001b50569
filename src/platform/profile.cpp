#include "platform/profile.h"

#include "base/mutex.h"
#include "base/numbers.h"
#include "platform/files.h"
#include "platform/profile_text.h"

namespace qvant::platform {

namespace {

std::optional<Text> FindValue(TextView strSection, TextView strKey, TextView strPath) {
    const auto strBytes = ReadWholeFile(strPath);
    if (!strBytes) return std::nullopt;
    return CProfileText::Parse(*strBytes).Find(strSection, strKey);
}

}  // namespace

Text GetProfileText(TextView strSection, TextView strKey, TextView strDefault, std::size_t nSize, TextView strPath) {
    if (nSize == 0) return {};
    Text strValue = FindValue(strSection, strKey, strPath).value_or(Text(strDefault));
    if (strValue.size() >= nSize) strValue.resize(nSize - 1);
    return strValue;
}

std::int32_t GetProfileInt(TextView strSection, TextView strKey, std::int32_t nDefault, TextView strPath) {
    const auto strValue = FindValue(strSection, strKey, strPath);
    return strValue ? ToInt(*strValue) : nDefault;
}

bool WriteProfileText(TextView strSection, TextView strKey, TextView strValue, TextView strPath) {
    const ProfileValue value{strKey, strValue};
    return WriteProfileTexts(strSection, {&value, 1}, strPath);
}

bool WriteProfileTexts(TextView strSection, std::span<const ProfileValue> values, TextView strPath) {
    static CMutex mutex;
    // From the reading to the replacement, or one of two writers would lose the other's key.
    const CLock lock(mutex);
    // A file that is there and can't be read must not be replaced by one with a single key.
    auto strBytes = ReadWholeFile(strPath);
    if (!strBytes && FileExists(strPath)) return false;
    CProfileText text = CProfileText::Parse(strBytes.value_or(std::string()));
    for (const auto& [strKey, strValue] : values) text.Set(strSection, strKey, strValue);
    // A save that changes nothing costs no write to the disk: most of a run state stays from one save to the next.
    std::string strNew = text.GetBytes();
    return strNew == strBytes || ReplaceFile(strPath, strNew);
}

}  // namespace qvant::platform
