#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include <unicode/ures.h>

#include "platform/zone_rules.h"

namespace qvant::platform {

namespace {

using Resource = std::unique_ptr<UResourceBundle, decltype(&ures_close)>;

/// The table of zone keys in the Unicode library's data; null when the data lack it.
Resource OpenZoneTable() {
    UErrorCode error = U_ZERO_ERROR;
    const Resource bundle(ures_openDirect(nullptr, "windowsZones", &error), ures_close);
    return Resource(ures_getByKey(bundle.get(), "mapTimezones", nullptr, &error), ures_close);
}

std::vector<Text> ReadZoneKeys() {
    std::vector<Text> arKeys;
    const Resource table = OpenZoneTable();
    UErrorCode error = U_ZERO_ERROR;
    while (table && ures_hasNext(table.get())) {
        const Resource entry(ures_getNextResource(table.get(), nullptr, &error), ures_close);
        const char* pszKey = U_SUCCESS(error) ? ures_getKey(entry.get()) : nullptr;
        if (!pszKey) break;
        arKeys.push_back(Widen(pszKey));
    }
    std::sort(arKeys.begin(), arKeys.end());
    return arKeys;
}

/// The data don't change while the process runs.
const std::vector<Text>& ZoneKeys() {
    static const std::vector<Text> arKeys = ReadZoneKeys();
    return arKeys;
}

/// "(UTC+08:00) Taipei Standard Time"
std::string MakeDisplay(std::int32_t nBias, const std::string& strKey) {
    if (nBias == 0) return "(UTC) " + strKey;
    const std::int32_t nMinutes = std::abs(nBias);
    char szOffset[32];
    std::snprintf(szOffset, sizeof szOffset, "(UTC%c%02d:%02d) ", nBias < 0 ? '+' : '-', nMinutes / 60, nMinutes % 60);
    return szOffset + strKey;
}

std::string MakeDaylightName(std::string strKey) {
    constexpr std::string_view STANDARD = "Standard Time";
    if (strKey.ends_with(STANDARD)) strKey.replace(strKey.size() - STANDARD.size(), STANDARD.size(), "Daylight Time");
    return strKey;
}

}  // namespace

std::string FindZoneName(TextView strKey) {
    constexpr const char* WHOLE_WORLD = "001";
    const Resource table = OpenZoneTable();
    UErrorCode error = U_ZERO_ERROR;
    const Resource entry(ures_getByKey(table.get(), Narrow(strKey).c_str(), nullptr, &error), ures_close);
    std::int32_t nLength = 0;
    const char16_t* pszName = ures_getStringByKey(entry.get(), WHOLE_WORLD, &nLength, &error);
    if (U_FAILURE(error) || !pszName) return {};
    return Narrow(TextView(pszName, static_cast<std::size_t>(nLength)));
}

std::vector<Text> GetZoneKeys() { return ZoneKeys(); }

ZoneRecord ReadZone(TextView strKey, int nYear) {
    ZoneRecord record;
    const std::vector<Text>& arKeys = ZoneKeys();
    const auto found = std::lower_bound(arKeys.begin(), arKeys.end(), strKey);
    if (found == arKeys.end() || *found != strKey) return record;
    SetRules(record, ReadOffsets(FindZoneName(strKey), nYear));
    record.index = static_cast<std::int32_t>(found - arKeys.begin());
    record.standardName = Narrow(strKey);
    record.daylightName = MakeDaylightName(record.standardName);
    record.display = MakeDisplay(record.bias, record.standardName);
    return record;
}

}  // namespace qvant::platform
