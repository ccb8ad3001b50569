/// The hot-month series that users define for themselves.
#pragma once

#include <cstdint>
#include <functional>

#include "base/locked_maps.h"
#include "base/text.h"
#include "model/reset_times.h"
#include "platform/clock.h"
#include "rolls/hot_month_times.h"
#include "rolls/last_bars.h"
#include "rolls/roll_moments.h"
#include "rolls/udhm_node.h"
#include "store/host.h"

namespace qvant {

/// What the series are worked out with; all outlive them.
struct UserHotMonthsParts {
    IHost& host;
    const platform::IClock& clock;
    const CResetTimes& resetTimes;
    CLastBars& lastBars;
};

/// What they ask their owner for.
struct UserHotMonthsCalls {
    std::function<std::int32_t()> getSystemDate;     ///< the host's clock, YYYYMMDD in UTC
    std::function<std::int32_t()> getSystemTime;     ///< HHMMSS
    std::function<void(const Text& strTitle)> post;  ///< posts `WM_QUERY_BA` with the title
};

/// Reads the definition files when somebody asks, and each of them again at the moments of its rolls. Everything runs
/// on the thread that serves the requests for adjustment factors, but for `GetReset`, which any thread may call.
class CUserHotMonths {
public:
    CUserHotMonths(const UserHotMonthsParts& parts, UserHotMonthsCalls calls)
        : m_parts(parts), m_calls(std::move(calls)) {}

    /// @param strHomeDir  the folder of the terminal's program, with its trailing slash
    void SetHomeDir(TextView strHomeDir) { m_strFolder = Text(strHomeDir) + u"Data/UserDefHotMonth/"; }

    /// The message `WM_QUERY_BA`: reads the files, enters their rolls, and has the gaps fetched of those whose
    /// companion is stale. An unreadable file is logged and skipped. A stop of the calling thread ends it.
    /// @param strSelector  the title of one file; "ALL" or nothing for all of them
    void LoadConfig(TextView strSelector);

    /// The message `WM_UPDATE_BA`: the host's clock has moved. Posts the title of each file that rolls in this minute,
    /// so that its gap is filled in.
    void OnClock();

    /// When a series begins its day anew, HHMMSS in UTC. @return false for a title that wasn't met
    bool GetReset(TextView strTitle, std::int64_t& nReset) const { return m_mapUDHMReset.Lookup(strTitle, nReset); }

private:
    std::int64_t GetNow() const;
    std::int32_t GetToday() const;
    void LoadFile(TextView strTitle);
    bool ReadLines(TextView strText, CHotMonthTimes& times, UDHMNode& node);

    const UserHotMonthsParts m_parts;
    const UserHotMonthsCalls m_calls;
    Text m_strFolder;                      ///< with its trailing slash
    CLumMap<std::int64_t> m_mapUDHMReset;  ///< title to HHMMSS
    CRollMoments m_mapUDHMRollFiles;
};

}  // namespace qvant
