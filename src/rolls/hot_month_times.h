/// When a user's own hot-month series rolls. Pure computation; no file and no clock.
#pragma once

#include <cstdint>

#include "base/text.h"

namespace qvant {

/// The times of day at which a series may roll, HHMM00 each. Daylight saving is that of the United States.
struct ResetVariables {
    Text utcStd;    ///< in UTC, outside daylight saving
    Text utcDst;    ///< in UTC, inside; empty for an exchange that doesn't follow it
    Text localStd;  ///< the same two in the machine's zone
    Text localDst;
    Text fileStd;  ///< from the definition file, HHMMSS; empty while it has named none
    Text fileDst;
};

/// Whether the exchange in a title follows the daylight saving of the United States.
bool FollowsUsDaylightSaving(TextView strTitle);

/// The first four of the variables, from the reset time that an exchange has today.
/// @param strResetTime  HHMM00 in UTC; an empty one is midnight
/// @param bUs           whether the exchange follows the daylight saving of the United States
/// @param bDst          whether it is inside of it today
/// @param nOffset       minutes that the machine's zone is ahead of UTC
ResetVariables MakeResetVariables(TextView strResetTime, bool bUs, bool bDst, std::int64_t nOffset);

/// Takes the lines of one definition file in their order: a setting holds for the rolls behind it.
class CHotMonthTimes {
public:
    /// @param strResetTime  of the product, as `MakeResetVariables` takes it
    /// @param nToday        YYYYMMDD
    CHotMonthTimes(TextView strTitle, TextView strResetTime, std::int32_t nToday, std::int64_t nOffset);

    /// A line "key=value"; keys that nobody knows are ignored.
    void TakeSetting(TextView strLine);

    /// @param strDate  YYYYMMDD, the left side of a roll line
    /// @return the moment of the roll as YYYYMMDDhhmmss in UTC; the date alone in a zone that is neither "UTC" nor the
    ///         machine's own. A broken line gives some number or other.
    std::int64_t TakeRoll(TextView strDate);

    /// HHMMSS in UTC at which the series begins its day anew, as the last line left it.
    std::int64_t GetReset() const { return m_nReset; }

    const ResetVariables& GetVariables() const { return m_variables; }

private:
    void ApplyFile(Text& strStd, Text& strDst) const;
    std::int64_t BuildMoment(TextView strDate, TextView strTime);
    std::int64_t BuildFromLocal(TextView strDate, TextView strTime);

    const bool m_bUs;
    const bool m_bDst;
    const std::int64_t m_nOffset;
    ResetVariables m_variables;
    Text m_strInDaylight;  ///< what the file's settings say of the time inside daylight saving; empty for nothing
    Text m_strZone;
    std::int64_t m_nReset;
    Text m_strMoment;  ///< its memory serves all rolls
};

}  // namespace qvant
