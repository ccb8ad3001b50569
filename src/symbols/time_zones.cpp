#include "symbols/time_zones.h"

#include <algorithm>

#include "base/token_view.h"
#include "platform/files.h"

namespace qvant {

namespace {

/// Documents write a city as the last part of "America/New_York".
Text MakeCityKey(TextView strCity) {
    Text strKey = ToUpper(strCity);
    std::replace(strKey.begin(), strKey.end(), u' ', u'_');
    return strKey;
}

}  // namespace

void CTimeZones::LoadCities(TextView strPath) {
    const auto strText = platform::ReadWholeText(strPath);
    if (!strText) return;
    ++m_nGeneration;
    for (TextView strRest = *strText; !strRest.empty();) {
        TextView strLine = TrimRight(CutPiece(strRest, u'\n'), u"\r");
        const TextView strCity = CutPiece(strLine, u',');
        if (!strCity.empty()) m_mapCities.insert_or_assign(MakeCityKey(strCity), CutPiece(strLine, u','));
    }
}

void CTimeZones::LoadTimeZones(const platform::IClock& clock) {
    const int nYear = platform::ToUtc(clock.NowMilliseconds()).nYear;
    m_arZoneNames = platform::GetZoneKeys();
    m_mapZones.clear();
    ++m_nGeneration;
    for (const Text& strName : m_arZoneNames) m_mapZones.emplace(strName, platform::ReadZone(strName, nYear));
}

const platform::ZoneRecord* CTimeZones::FindCity(TextView strCity) const {
    const auto pCity = m_mapCities.find(strCity);
    if (pCity == m_mapCities.end()) return nullptr;
    const auto pZone = m_mapZones.find(pCity->second);
    return pZone == m_mapZones.end() ? nullptr : &pZone->second;
}

}  // namespace qvant
