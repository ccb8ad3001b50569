/// A clock that stands where the test puts it.
#pragma once

#include "platform/clock.h"

namespace qvant {

class CManualClock : public platform::IClock {
public:
    /// A time in UTC.
    CManualClock(int nYear, int nMonth, int nDay, int nHour = 0, int nMinute = 0, int nSecond = 0) {
        Set(nYear, nMonth, nDay, nHour, nMinute, nSecond);
    }

    void Set(int nYear, int nMonth, int nDay, int nHour = 0, int nMinute = 0, int nSecond = 0) {
        m_nNow = platform::FromUtc(
            {.nYear = nYear, .nMonth = nMonth, .nDay = nDay, .nHour = nHour, .nMinute = nMinute, .nSecond = nSecond});
    }

    std::int64_t NowMilliseconds() const override { return m_nNow; }

private:
    std::int64_t m_nNow = 0;
};

}  // namespace qvant
