#include "plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "failure.h"

namespace qvant::host {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

template <typename... Arguments>
std::string Print(const char* pszFormat, Arguments... arguments) {
    char szText[64];
    std::snprintf(szText, sizeof szText, pszFormat, arguments...);
    return szText;
}

std::string ShowDay(sys_days day) {
    const year_month_day date(day);
    return Print("%04d-%02u-%02u", int{date.year()}, unsigned{date.month()}, unsigned{date.day()});
}

std::pair<double, double> RangeOf(const std::vector<PlotStep>& arSteps) {
    const auto [lowest, highest] = std::ranges::minmax_element(arSteps, {}, &PlotStep::dValue);
    return {lowest->dValue, highest->dValue};
}

/// 1, 2 or 5 times a power of ten, not below `dLeast`.
double RoundUp(double dLeast) {
    const double dPower = std::pow(10.0, std::floor(std::log10(dLeast)));
    for (const double dFactor : {1.0, 2.0, 5.0})
        if (dFactor * dPower >= dLeast) return dFactor * dPower;
    return 10 * dPower;
}

/// As many decimals as the step has; where that makes no readable number, six digits in all.
std::string ShowValue(double dValue, double dStep) {
    constexpr double MOST = 1e9;
    constexpr int MOST_DECIMALS = 9;
    const int nDecimals = std::max(0, static_cast<int>(-std::floor(std::log10(dStep))));
    if (std::abs(dValue) >= MOST || nDecimals > MOST_DECIMALS) return Print("%.6g", dValue);
    // What is 0 but for the rounding has no sign.
    return Print("%.*f", nDecimals, std::abs(dValue) < dStep / 2 ? 0.0 : dValue);
}

/// A distance between marks, in months or in days.
struct Interval {
    int nMonths;
    int nDays;
};

constexpr Interval INTERVALS[] = {{0, 1},    {0, 2},    {0, 7},    {0, 14},    {1, 0},     {2, 0},     {3, 0},
                                  {6, 0},    {12, 0},   {24, 0},   {60, 0},    {120, 0},   {240, 0},   {600, 0},
                                  {1200, 0}, {2400, 0}, {6000, 0}, {12000, 0}, {24000, 0}, {120000, 0}};

constexpr int MONTHS_A_YEAR = 12;

/// The last day of the interval's sequence that isn't behind the moment.
sys_days FirstDay(const Interval& interval, std::chrono::sys_seconds moment) {
    const sys_days day = std::chrono::floor<days>(moment);
    if (interval.nDays > 0) return day - day.time_since_epoch() % days(interval.nDays);
    const year_month_day date(day);
    const int nMonth = int{date.year()} * MONTHS_A_YEAR + static_cast<int>(unsigned{date.month()}) - 1;
    const int nFirst = nMonth - nMonth % interval.nMonths;
    return std::chrono::year(nFirst / MONTHS_A_YEAR) /
           std::chrono::month(static_cast<unsigned>(nFirst % MONTHS_A_YEAR) + 1) / 1;
}

sys_days NextDay(const Interval& interval, sys_days day) {
    if (interval.nDays > 0) return day + days(interval.nDays);
    return year_month_day(day) + std::chrono::months(interval.nMonths);
}

std::string ShowMark(const Interval& interval, sys_days day) {
    const year_month_day date(day);
    if (interval.nDays > 0) return ShowDay(day);
    if (interval.nMonths >= MONTHS_A_YEAR) return Print("%d", int{date.year()});
    return Print("%04d-%02u", int{date.year()}, unsigned{date.month()});
}

/// The days of a sequence between two moments; of too many, one more than may be.
std::vector<sys_days> DaysBetween(const Interval& interval, std::chrono::sys_seconds begin,
                                  std::chrono::sys_seconds end, std::size_t nMost) {
    std::vector<sys_days> arDays;
    for (sys_days day = FirstDay(interval, begin); day <= end && arDays.size() <= nMost; day = NextDay(interval, day))
        if (day >= begin) arDays.push_back(day);
    return arDays;
}

}  // namespace

Plot MakePlot(TextView strName, std::vector<PlotStep> arSteps, std::chrono::sys_seconds end) {
    if (arSteps.empty()) throw CFailure("there is nothing to draw");
    const auto [dLowest, dHighest] = RangeOf(arSteps);
    // A scale reaches beyond the values.
    constexpr double ROOM = 8;
    if (!std::isfinite(dLowest * ROOM) || !std::isfinite(dHighest * ROOM))
        throw CFailure("the values are too far apart to be drawn");
    end = std::max(end, arSteps.back().moment + days(1));
    const std::size_t nSteps = arSteps.size();
    Text strTitle = Text(strName) + Widen(", " + ShowDay(std::chrono::floor<days>(arSteps.front().moment)) + " to " +
                                          ShowDay(std::chrono::floor<days>(end)) + ", " + std::to_string(nSteps) +
                                          (nSteps == 1 ? " step" : " steps"));
    return {std::move(strTitle), std::move(arSteps), end};
}

CValueScale::CValueScale(const Plot& plot, int nIntervals) {
    auto [dLowest, dHighest] = RangeOf(plot.arSteps);
    // Values that differ by no more than their last digits are one line in the middle.
    const double dLeast = std::max(std::max(std::abs(dLowest), std::abs(dHighest)) * 1e-9, 1e-300);
    if (dHighest - dLowest < dLeast) {
        const double dRoom = dLowest == 0 ? 1 : std::max(std::abs(dLowest) / 20, dLeast);
        dLowest -= dRoom;
        dHighest += dRoom;
    }
    m_dStep = RoundUp((dHighest - dLowest) / nIntervals);
    m_dLow = std::floor(dLowest / m_dStep) * m_dStep;
    m_dHigh = std::ceil(dHighest / m_dStep) * m_dStep;
}

std::vector<CValueScale::Mark> CValueScale::GetMarks() const {
    std::vector<Mark> arMarks;
    const auto nIntervals = static_cast<int>(std::lround((m_dHigh - m_dLow) / m_dStep));
    for (int i = 0; i <= nIntervals; ++i) {
        const double dValue = m_dLow + i * m_dStep;
        arMarks.push_back({GetPlace(dValue), ShowValue(dValue, m_dStep)});
    }
    return arMarks;
}

double CTimeScale::GetPlace(std::chrono::sys_seconds moment) const {
    return static_cast<double>((moment - m_begin).count()) / static_cast<double>((m_end - m_begin).count());
}

std::vector<CTimeScale::Mark> CTimeScale::GetMarks(std::size_t nMost) const {
    for (const Interval& interval : INTERVALS) {
        const std::vector<sys_days> arDays = DaysBetween(interval, m_begin, m_end, nMost);
        if (arDays.size() > nMost) continue;
        std::vector<Mark> arMarks;
        arMarks.reserve(arDays.size());
        for (const sys_days day : arDays) arMarks.push_back({GetPlace(day), ShowMark(interval, day)});
        return arMarks;
    }
    return {};
}

}  // namespace qvant::host
