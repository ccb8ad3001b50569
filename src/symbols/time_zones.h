/// The zones of the machine and the cities of the installation.
#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <vector>

#include "base/text.h"
#include "platform/zones.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// Filled once at the start, cities first; read unlocked by any thread from then on.
class CTimeZones {
public:
    /// Reads "city,zone key" lines; city names go to upper case with "_" for blanks. A missing file leaves the map
    /// empty, without a message.
    /// @param strPath  "cities.txt" of the installation, UTF-8 or UTF-16LE with its mark
    void LoadCities(TextView strPath);

    /// Reads the machine's zones, with the rules of the year of `clock`.
    void LoadTimeZones(const platform::IClock& clock);

    /// The zone of an upper-case city name; null when the city or its zone isn't known.
    const platform::ZoneRecord* FindCity(TextView strCity) const;

    /// Counts the readings of both: whoever keeps a record knows by it that the records are others now.
    std::uint32_t GetGeneration() const { return m_nGeneration; }

    const std::vector<Text>& GetZoneNames() const { return m_arZoneNames; }
    const TextMap& GetCities() const { return m_mapCities; }

private:
    std::vector<Text> m_arZoneNames;
    std::unordered_map<Text, platform::ZoneRecord, TextHash, std::equal_to<>> m_mapZones;
    TextMap m_mapCities;
    std::uint32_t m_nGeneration = 0;
};

}  // namespace qvant
