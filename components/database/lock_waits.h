/// Waiting for the locks that others hold on a file.
#pragma once

#include <chrono>

#include "base/mutex.h"

namespace qvant::database {

/// The waits of one database object: each call has two seconds for all of them together. `Allow` may come from any
/// thread, the rest from the one that runs the call.
class CLockWaits {
public:
    /// A call begins, with its whole time in hand.
    void BeginCall() { m_bStarted = false; }

    /// Pauses before another try, a little longer each time. @return false when there is no time left, or no leave
    bool WaitBeforeTry(int nTry);

    void Allow(bool bAllow);

private:
    CMutex m_mutex;
    CCondition m_forbidden;
    bool m_bAllowed QV_GUARDED_BY(m_mutex) = true;
    bool m_bStarted = false;
    std::chrono::steady_clock::time_point m_end;
};

}  // namespace qvant::database
