/// The list of cities.

#include "memory_file.h"
#include "symbols/time_zones.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    using namespace qvant;
    static const fuzz::CMemoryFile file;
    file.Replace(fuzz::AsBytes(pData, nSize));
    CTimeZones zones;
    zones.LoadCities(file.GetPath());
    for (const auto& [strCity, strZone] : zones.GetCities()) {
        fuzz::Require(!strCity.empty() && !Contains(strCity, u" ") && !Contains(strCity, u","), "a city's key");
        fuzz::Require(!Contains(strZone, u"\n") && !Contains(strZone, u","), "a zone's name");
        fuzz::Require(zones.FindCity(strCity) == nullptr, "no zone where none was loaded");
    }
    return 0;
}
