/// Calendar times for tests: made in one line, and shown when an expectation fails.
#pragma once

#include <ostream>

#include "platform/clock.h"

namespace qvant::platform {

inline void PrintTo(const SystemTime& time, std::ostream* pOut) {
    *pOut << time.nYear << '-' << time.nMonth << '-' << time.nDay << " (" << time.nDayOfWeek << ") " << time.nHour
          << ':' << time.nMinute << ':' << time.nSecond << '.' << time.nMilliseconds;
}

inline SystemTime MakeTime(int nYear, int nMonth, int nDay, int nHour = 0, int nMinute = 0, int nSecond = 0) {
    return {nYear, nMonth, 0, nDay, nHour, nMinute, nSecond, 0};
}

}  // namespace qvant::platform
