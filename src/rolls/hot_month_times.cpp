#include "rolls/hot_month_times.h"

#include <algorithm>
#include <array>

#include "base/format.h"
#include "base/numbers.h"
#include "base/split.h"
#include "rolls/roll_clock.h"
#include "symbols/time_base.h"

namespace qvant {

namespace {

constexpr std::int64_t MINUTES_A_DAY = 1440;
constexpr std::int64_t TIME_OF_DAY = 1'000'000;

Text FormatTime(std::int64_t nHour, std::int64_t nMinute) { return Format(u"%02d%02d00", nHour, nMinute); }

/// An hour past the last one belongs to the next day.
std::int64_t WrapHour(std::int64_t nHour) { return nHour >= 24 ? nHour - 24 : nHour; }

/// The time outside daylight saving less an hour. It is written without leading zeros, so that an early one makes a
/// number of fewer digits behind the date: those who look for a roll look for that number.
Text MoveToDaylight(TextView strFileStd) {
    const auto nHhmm = static_cast<std::int32_t>(ToInt64(strFileStd) / 100);
    return Format(u"%lld", std::int64_t{ShiftMinutes(nHhmm, -60)} * 100);
}

}  // namespace

bool FollowsUsDaylightSaving(TextView strTitle) {
    constexpr std::array<TextView, 4> EXCHANGES = {u".CME.", u".CBOT.", u".CFE.", u".NYBOT."};
    return std::any_of(EXCHANGES.begin(), EXCHANGES.end(),
                       [strTitle](TextView strExchange) { return Contains(strTitle, strExchange); });
}

ResetVariables MakeResetVariables(TextView strResetTime, bool bUs, bool bDst, std::int64_t nOffset) {
    const std::int64_t nReset = ToInt(strResetTime);
    const std::int64_t nHour = nReset / 10000;
    const std::int64_t nMinute = nReset % 10000 / 100;
    std::int64_t nOfDay = nMinute + nOffset + nHour * 60;
    if (nOfDay < 0) {
        nOfDay += MINUTES_A_DAY;
    } else if (nOfDay >= MINUTES_A_DAY) {
        nOfDay -= MINUTES_A_DAY;
    }
    const std::int64_t nLocalHour = nOfDay / 60;
    const std::int64_t nLocalMinute = nOfDay % 60;

    ResetVariables variables;
    if (bUs && bDst) {
        variables.utcDst = FormatTime(nHour, nMinute);
        variables.utcStd = FormatTime(WrapHour(nHour + 1), nMinute);
        variables.localDst = FormatTime(nLocalHour, nLocalMinute);
        variables.localStd = FormatTime(WrapHour(nLocalHour + 1), nLocalMinute);
        return variables;
    }
    variables.utcStd = FormatTime(nHour, nMinute);
    variables.localStd = FormatTime(nLocalHour, nLocalMinute);
    if (!bUs) return variables;
    variables.utcDst = FormatTime(nHour < 1 ? nHour + 23 : nHour - 1, nMinute);
    // Wraps upward only, unlike the one above: the hour before local midnight is -1. The moments that follow from it
    // stand in the companions that are out there, so it has to stay.
    variables.localDst = FormatTime(WrapHour(nLocalHour - 1), nLocalMinute);
    return variables;
}

CHotMonthTimes::CHotMonthTimes(TextView strTitle, TextView strResetTime, std::int32_t nToday, std::int64_t nOffset)
    : m_bUs(FollowsUsDaylightSaving(strTitle)),
      m_bDst(m_bUs && IsUsDaylightSaving(nToday)),
      m_nOffset(nOffset),
      m_variables(MakeResetVariables(strResetTime, m_bUs, m_bDst, nOffset)),
      m_nReset(ToInt64(m_bDst ? m_variables.utcDst : m_variables.utcStd)) {}

void CHotMonthTimes::TakeSetting(TextView strLine) {
    const Text strKey = ToLower(ExtractField(strLine, 0, u"="));
    const Text strValue = ExtractField(strLine, 1, u"=");
    if (strKey == u"resettime") {
        m_variables.fileStd = Format(u"%06d", ToInt(strValue));
    } else if (strKey == u"resettimedst") {
        m_variables.fileDst = Format(u"%06d", ToInt(strValue));
    } else if (strKey == u"timezone") {
        m_strZone = strValue;
    }
    m_strInDaylight = m_variables.fileDst;
    if (m_strInDaylight.empty() && !m_variables.fileStd.empty()) m_strInDaylight = MoveToDaylight(m_variables.fileStd);
}

std::int64_t CHotMonthTimes::TakeRoll(TextView strDate) {
    const bool bInDaylight = m_bUs && IsUsDaylightSaving(ToInt(strDate));
    if (m_strZone == u"UTC") {
        ApplyFile(m_variables.utcStd, m_variables.utcDst);
        m_nReset = ToInt64(m_bDst ? m_variables.utcDst : m_variables.utcStd);
        return BuildMoment(strDate, bInDaylight ? m_variables.utcDst : m_variables.utcStd);
    }
    if (m_strZone.empty() || m_strZone == u"LOCAL") {
        ApplyFile(m_variables.localStd, m_variables.localDst);
        m_nReset = BuildFromLocal(strDate, m_bDst ? m_variables.localDst : m_variables.localStd) % TIME_OF_DAY;
        return BuildFromLocal(strDate, bInDaylight ? m_variables.localDst : m_variables.localStd);
    }
    return ToInt64(strDate);
}

/// What the file says wins over the exchange, and stays when it later names another zone.
void CHotMonthTimes::ApplyFile(Text& strStd, Text& strDst) const {
    if (!m_variables.fileStd.empty()) strStd = m_variables.fileStd;
    if (!m_strInDaylight.empty()) strDst = m_strInDaylight;
}

std::int64_t CHotMonthTimes::BuildMoment(TextView strDate, TextView strTime) {
    m_strMoment.assign(strDate).append(strTime);
    return ToInt64(m_strMoment);
}

std::int64_t CHotMonthTimes::BuildFromLocal(TextView strDate, TextView strTime) {
    return ShiftMoment(BuildMoment(strDate, strTime), -m_nOffset * CLOCK_MINUTE);
}

}  // namespace qvant
