/// An event: signalled or not, waited for by any thread.
#pragma once

#include <chrono>
#include <condition_variable>

#include "base/mutex.h"

namespace qvant::platform {

enum class WaitResult { Signalled, TimedOut, Stopped };

/// A manual event stays signalled until it is reset; an automatic one lets one waiting thread through and resets.
class CEvent {
public:
    enum class Reset { Manual, Automatic };

    CEvent(Reset reset, bool bSignalled) : m_reset(reset), m_bSignalled(bSignalled) {}

    void Set();
    void Clear();

    /// Waits without limit, or until the calling thread is told to stop. An event that is signalled wins over a stop.
    WaitResult Wait();
    WaitResult WaitFor(std::chrono::milliseconds limit);
    bool IsSet() const;

private:
    const Reset m_reset;
    mutable CMutex m_mutex;
    std::condition_variable_any m_condition;
    bool m_bSignalled QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant::platform
