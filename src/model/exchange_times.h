/// Exchange times to UTC: three conversions and the list formats built on them.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>

#include "base/text.h"
#include "platform/clock.h"
#include "symbols/time_zones.h"

namespace qvant {

/// Belongs to the thread of the securities pass.
///
/// A zone conversion depends on nothing but the zone, its date of today, the hour and the minute, and a conversion from
/// the machine's zone on the hour and the minute alone. So both remember what they found, minute by minute: a document
/// of many thousands of securities has few thousand different times.
class CExchangeTimes {
public:
    /// @param zones  the tables of the zones, filled before the first conversion
    CExchangeTimes(const CTimeZones& zones, const platform::IClock& clock) : m_zones(zones), m_clock(clock) {}

    /// Sessions "HH:MM~HH:MM;..." or one time, from the machine's zone, by its offset of 1 January 2000. A view without
    /// any text behind it (a null text) stays empty; an empty text is midnight.
    /// @throw CFailure  unspecified for an hour above 23 or a minute above 59
    Text FormatTradeSession(TextView strText);
    /// One time through the zone of a city, by its offset of today; a city that isn't known leaves the text.
    Text ConvertTimeToUtc(TextView strText, TextView strZone);
    /// Sessions through the zone of a city.
    Text ConvertSessionToUtc(TextView strText, TextView strZone);

    /// Session or single conversion: by the zone, or by the machine's zone when it is empty.
    Text ConvertSession(TextView strText, TextView strZone);
    Text ConvertSingle(TextView strText, TextView strZone);

    /// Lists "HHMM-HHMM|...:W" and "HHMM|...:W", W a weekday from 1 to 7. A text without ":" stays as it is.
    Text ConvertNewFormatOCT(TextView strText, TextView strZone);
    Text ConvertNewFormatReset(TextView strText, TextView strZone);
    /// Dated lists "YYYYMMDD:HHMM-HHMM,...|..." and "YYYYMMDD:HHMM,...|...".
    /// @throw CFailure  unspecified for a date outside its ranges, invalid argument for one that can't be built
    Text ConvertSpecificOCT(TextView strText, TextView strZone);
    Text ConvertSpecificReset(TextView strText, TextView strZone);

    /// How the last zone conversion moved the day: 0 not, -1 UTC lies before the exchange's date, 1 after it.
    std::int32_t GetDayShift() const { return m_nDayShift; }

private:
    static constexpr std::size_t MINUTES_A_DAY = 1440;

    /// What became of a time of day.
    struct Converted {
        std::int16_t nMinuteOfDay = -1;  ///< in UTC; -1 while nobody asked
        std::int16_t nDayShift = 0;
    };
    using DayTable = std::array<Converted, MINUTES_A_DAY>;

    /// A zone's times of one date.
    struct ZoneTimes {
        const platform::ZoneRecord* pRecord = nullptr;
        std::int64_t nSecond = INT64_MIN;  ///< of the clock, when the date was last looked at
        platform::SystemTime localNow;     ///< the zone's time at that second
        DayTable table;
    };

    ZoneTimes* FindZone(TextView strZone);
    void ForgetZones();
    void UpdateDate(ZoneTimes& times) const;
    static Converted ConvertInZone(const ZoneTimes& times, int nHour, int nMinute);
    Converted ConvertCached(ZoneTimes& times, int nHour, int nMinute);
    void AppendZoneTime(Text& strResult, TextView strTime, ZoneTimes* pTimes);
    void AppendMachineTime(Text& strResult, TextView strTime);
    Text ConvertDated(TextView strText, TextView strZone, bool bSessions);
    Text ConvertDatedList(TextView strList, TextView strZone, bool bSessions);
    Text ConvertItem(TextView strItem, TextView strZone, bool bSessions);
    Text ConvertWeekly(TextView strText, TextView strZone, bool bSessions);

    const CTimeZones& m_zones;
    const platform::IClock& m_clock;
    using ZoneMap = std::unordered_map<Text, std::unique_ptr<ZoneTimes>, TextHash, std::equal_to<>>;
    std::uint32_t m_nGeneration = 0;  ///< of the zones that the map holds
    ZoneMap m_mapZoneTimes;
    ZoneMap::value_type* m_pLastZone = nullptr;  ///< the one of that map that was last asked for
    std::int64_t m_nMachineSecond = INT64_MIN;
    DayTable m_machineTable;
    /// Not reset between securities or passes: one without a known zone sees the shift that the one before it left.
    std::int32_t m_nDayShift = 0;
};

}  // namespace qvant
