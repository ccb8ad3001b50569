/// A value that changes in steps over time, to be drawn: its scales, for whatever it is drawn on.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "text.h"

namespace qvant::host {

/// A value and the moment from which it counts.
struct PlotStep {
    std::chrono::sys_seconds moment{};
    double dValue = 0;
};

/// @invariant there is a step, they are in the order of their moments, and `end` is behind the first
struct Plot {
    Text strTitle;
    std::vector<PlotStep> arSteps;
    std::chrono::sys_seconds end;  ///< where the last step ends
};

/// Makes a plot that goes on to `end`, or a day behind the last step.
/// @throws CFailure when there is nothing to draw, or the values are too far apart for any scale
Plot MakePlot(TextView strName, std::vector<PlotStep> arSteps, std::chrono::sys_seconds end);

/// A scale of values with round numbers at both ends.
class CValueScale {
public:
    /// @param nIntervals  between the marks, about so many
    CValueScale(const Plot& plot, int nIntervals);

    /// How high a value stands: 0 at the scale's low end, 1 at its high end.
    double GetPlace(double dValue) const { return (dValue - m_dLow) / (m_dHigh - m_dLow); }

    struct Mark {
        double dPlace;
        std::string strLabel;
    };
    /// From the low end to the high one.
    std::vector<Mark> GetMarks() const;

private:
    double m_dLow = 0;
    double m_dHigh = 0;
    double m_dStep = 0;
};

/// The time from the first step to the end.
class CTimeScale {
public:
    explicit CTimeScale(const Plot& plot) : m_begin(plot.arSteps.front().moment), m_end(plot.end) {}

    /// 0 at the first step, 1 at the end.
    double GetPlace(std::chrono::sys_seconds moment) const;

    struct Mark {
        double dPlace;
        std::string strLabel;
    };
    /// Round days, months or years; may be none in a short time.
    /// @param nMost  no more marks than this
    std::vector<Mark> GetMarks(std::size_t nMost) const;

private:
    std::chrono::sys_seconds m_begin;
    std::chrono::sys_seconds m_end;
};

}  // namespace qvant::host
