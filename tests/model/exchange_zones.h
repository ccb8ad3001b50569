/// The zones of a few exchanges, a clock and the times between them.
#pragma once

#include <fstream>

#include "model/exchange_times.h"
#include "platform/surroundings.h"
#include "symbols/manual_clock.h"

namespace qvant {

/// A Tuesday in January and a machine in Taipei, unless the test says otherwise.
class CExchangeZones {
public:
    CExchangeZones() {
        std::ofstream(m_folder.GetPath() / "cities.txt")
            << "Taipei,Taipei Standard Time\nNew York,Eastern Standard Time\nChicago,Central Standard Time\n"
            << "London,GMT Standard Time\nAuckland,New Zealand Standard Time\nAtlantis,Sunken Standard Time\n";
        m_zones.LoadCities(m_folder / "cities.txt");
        m_zones.LoadTimeZones(m_clock);
    }

    CManualClock m_clock{2024, 1, 16, 12, 0};
    CTimeZones m_zones;

private:
    platform::CTestFolder m_folder;
};

}  // namespace qvant
