/// Exchange times to UTC: three conversions and the list formats built on them.
#pragma once

#include <cstdint>

#include "base/text.h"
#include "platform/clock.h"
#include "symbols/time_zones.h"

namespace qvant {

/// Belongs to the thread of the securities pass.
class CExchangeTimes {
public:
    CExchangeTimes(const CTimeZones& zones, const platform::IClock& clock) : m_zones(zones), m_clock(clock) {}

    /// Sessions "HH:MM~HH:MM;..." or one time, from the machine's zone, by its offset of 1 January 2000.
    /// @throw CFailure  unspecified for an hour above 23 or a minute above 59
    Text FormatTradeSession(TextView strText);
    /// One time through the zone of a city, by its offset of today; a city that isn't known leaves the text.
    Text ConvertTimeToUtc(TextView strText, TextView strZone);
    /// Sessions through the zone of a city.
    Text ConvertSessionToUtc(TextView strText, TextView strZone);

    /// Session or single conversion: by the zone, or by the machine's zone when it is empty.
    Text ConvertSession(TextView strText, TextView strZone);
    Text ConvertSingle(TextView strText, TextView strZone);

    Text ConvertNewFormatOCT(TextView strText, TextView strZone);
    Text ConvertSpecificOCT(TextView strText, TextView strZone);
    Text ConvertNewFormatReset(TextView strText, TextView strZone);
    Text ConvertSpecificReset(TextView strText, TextView strZone);

    /// How the last zone conversion moved the day: 0 not, -1 UTC lies before the exchange's date, 1 after it.
    std::int32_t GetDayShift() const { return m_nDayShift; }

private:
    const CTimeZones& m_zones;
    const platform::IClock& m_clock;
    std::int32_t m_nDayShift = 0;
};

}  // namespace qvant
