#include "platform/event.h"

#include "platform/stop.h"
#include "platform/waiting.h"

namespace qvant::platform {

void CEvent::Set() {
    // Woken under the lock: whoever waits may destroy the event as soon as the wait returns.
    const CLock lock(m_mutex);
    m_bSignalled = true;
    if (m_reset == Reset::Manual) {
        m_condition.notify_all();
    } else {
        m_condition.notify_one();
    }
}

void CEvent::Clear() {
    const CLock lock(m_mutex);
    m_bSignalled = false;
}

WaitResult CEvent::Wait() {
    CLock lock(m_mutex);
    if (!m_condition.wait(lock, CurrentStop(), [this]() QV_REQUIRES(m_mutex) { return m_bSignalled; })) {
        return WaitResult::Stopped;
    }
    if (m_reset == Reset::Automatic) m_bSignalled = false;
    return WaitResult::Signalled;
}

WaitResult CEvent::WaitFor(std::chrono::milliseconds limit) {
    const std::stop_token stop = CurrentStop();
    CLock lock(m_mutex);
    if (!m_condition.wait_for(lock, stop, LimitWait(limit), [this]() QV_REQUIRES(m_mutex) { return m_bSignalled; })) {
        return stop.stop_requested() ? WaitResult::Stopped : WaitResult::TimedOut;
    }
    if (m_reset == Reset::Automatic) m_bSignalled = false;
    return WaitResult::Signalled;
}

bool CEvent::IsSet() const {
    const CLock lock(m_mutex);
    return m_bSignalled;
}

}  // namespace qvant::platform
