/// A lock whose wait a stop ends.
#pragma once

#include <condition_variable>
#include <thread>

#include "base/mutex.h"

namespace qvant::platform {

/// For work that takes minutes, such as a pass over the network: whoever waits for its end must still obey a stop. Any
/// thread; the one that has the lock may take it again.
///
/// The compiler doesn't check what it guards: its analysis has no hold that comes without the lock.
class CStoppableLock {
public:
    CStoppableLock() = default;
    CStoppableLock(const CStoppableLock&) = delete;
    CStoppableLock& operator=(const CStoppableLock&) = delete;

    /// A lock that is free is taken even by a thread that was told to stop.
    /// @return false when the thread was told to stop while another one has the lock
    bool Lock();
    /// Gives back what the calling thread took.
    void Unlock();

private:
    CMutex m_mutex;
    std::condition_variable_any m_free;
    std::thread::id m_owner QV_GUARDED_BY(m_mutex);
    int m_nDepth QV_GUARDED_BY(m_mutex) = 0;
};

/// Has the lock until the end of the scope, or until it is released.
class CStoppableHold {
public:
    explicit CStoppableHold(CStoppableLock& lock) : m_pLock(lock.Lock() ? &lock : nullptr) {}
    ~CStoppableHold() { Release(); }
    CStoppableHold(const CStoppableHold&) = delete;
    CStoppableHold& operator=(const CStoppableHold&) = delete;

    /// False when a stop ended the wait.
    explicit operator bool() const { return m_pLock != nullptr; }

    void Release() {
        if (m_pLock) m_pLock->Unlock();
        m_pLock = nullptr;
    }

private:
    CStoppableLock* m_pLock;
};

}  // namespace qvant::platform
