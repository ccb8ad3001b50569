#include "platform/stoppable_lock.h"

#include "platform/stop.h"

namespace qvant::platform {

bool CStoppableLock::Lock() {
    const std::thread::id self = std::this_thread::get_id();
    CLock lock(m_mutex);
    if (!m_free.wait(lock, CurrentStop(), [&]() QV_REQUIRES(m_mutex) { return m_nDepth == 0 || m_owner == self; })) {
        return false;
    }
    m_owner = self;
    ++m_nDepth;
    return true;
}

void CStoppableLock::Unlock() {
    const CLock lock(m_mutex);
    if (--m_nDepth > 0) return;
    m_owner = {};
    m_free.notify_one();
}

}  // namespace qvant::platform
