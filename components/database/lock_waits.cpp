#include "lock_waits.h"

#include <algorithm>

namespace qvant::database {
namespace {

constexpr std::chrono::milliseconds LIMIT{2000};
constexpr std::chrono::milliseconds LONGEST_PAUSE{50};

}  // namespace

bool CLockWaits::WaitBeforeTry(int nTry) {
    const auto now = std::chrono::steady_clock::now();
    if (!m_bStarted) m_end = now + LIMIT;
    m_bStarted = true;
    if (now >= m_end) return false;
    const auto pause = std::min(LONGEST_PAUSE, std::chrono::milliseconds(1 + nTry));
    CLock lock(m_mutex);
    const auto end = now + pause;
    while (m_bAllowed && m_forbidden.wait_until(lock, end)) continue;
    return m_bAllowed;
}

void CLockWaits::Allow(bool bAllow) {
    {
        const CLock lock(m_mutex);
        m_bAllowed = bAllow;
    }
    if (!bAllow) m_forbidden.notify_all();
}

}  // namespace qvant::database
