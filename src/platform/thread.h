/// A thread with a name, an owner that joins it, and a stop signal.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "platform/event.h"
#include "platform/stop.h"

namespace qvant::platform {

enum class Priority { Normal, Lowest };

/// Lowers or restores the priority of the calling thread. A thread that went to the lowest may not come back.
void SetThreadPriority(Priority priority);

/// The system's number of the calling thread; never 0.
std::uint32_t GetThreadId();

/// Owned by one object, which calls all operations from one thread at a time.
class CThread {
public:
    CThread() = default;
    /// Tells the thread to stop and joins it.
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    /// Runs `run` on a new thread whose stop signal is this object's; a thread started before is stopped and joined.
    /// An exception that leaves `run` ends the thread and nothing else.
    /// @param strName  at most 15 bytes are shown by the system's tools
    /// @return false when the system has no thread to give; `errno` then says why
    bool Start(std::string strName, std::function<void()> run, Priority priority = Priority::Normal);

    /// True from a successful `Start` to `Join`, whether or not `run` has returned.
    bool IsStarted() const { return m_thread.joinable(); }

    /// Waits until `run` has returned, or until the calling thread is told to stop. The thread stays joinable.
    /// Without a thread it returns at once.
    WaitResult Wait();
    WaitResult WaitFor(std::chrono::milliseconds limit);

    /// Whether `run` has returned.
    bool HasEnded() const { return m_finished.IsSet(); }

    /// Whether the caller is this very thread.
    bool IsCurrent() const { return m_thread.get_id() == std::this_thread::get_id(); }

    void RequestStop() { m_thread.request_stop(); }

    /// Tells the thread to stop, waits for its end and forgets it. Nothing when it wasn't started.
    void StopAndJoin();

private:
    std::jthread m_thread;
    CEvent m_finished{CEvent::Reset::Manual, false};
};

}  // namespace qvant::platform
