/// On which days an exchange trades, as far as the holiday text of a data folder tells.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "world_date.h"

namespace qvant::refserver {

class CTradingDays {
public:
    /// Monday to Friday, everywhere.
    CTradingDays() = default;

    /// @param holidays  lines of a date, a type and exchanges joined by ",", parted by TAB; whatever else stands in it
    ///                  is for its readers to bear, and for nobody here
    explicit CTradingDays(std::string_view holidays);

    bool IsTradingDay(std::string_view exchange, Day day) const;

    /// The day itself if the exchange trades on it, else the last one before it that it trades on.
    Day Last(std::string_view exchange, Day day) const;

private:
    std::map<std::string, std::vector<Day>, std::less<>> m_mapHolidays;  // by exchange, rising
};

}  // namespace qvant::refserver
