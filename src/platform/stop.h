/// The stop signal of the thread that runs: waits, sleeps and transfers below it end as soon as its owner says stop.
///
/// A `CThread` carries its own. Work on a thread of somebody else (the host's) runs inside a `CStopScope`, so that it
/// can be cut short as well.
#pragma once

#include <chrono>
#include <stop_token>

namespace qvant::platform {

/// The stop signal of the calling thread; one that never comes where nobody set any.
std::stop_token CurrentStop();

/// Whether the calling thread has been told to stop.
inline bool StopRequested() { return CurrentStop().stop_requested(); }

/// Makes `stop` the signal of the calling thread until the scope ends.
class CStopScope {
public:
    explicit CStopScope(std::stop_token stop);
    ~CStopScope();
    CStopScope(const CStopScope&) = delete;
    CStopScope& operator=(const CStopScope&) = delete;

private:
    std::stop_token m_previous;
};

/// Pauses the calling thread.
/// @return false when a stop cut the pause short
bool SleepFor(std::chrono::milliseconds pause);

}  // namespace qvant::platform
