/// Timers: each one a thread of its own, so that a callback may wait minutes for a server without holding up another.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

#include "base/mutex.h"
#include "platform/clock.h"
#include "platform/thread.h"

namespace qvant {

/// One timer as it stands at the moment.
struct TimerState {
    std::uint32_t nId = 0;
    std::uint32_t nInterval = 0;           ///< milliseconds
    std::optional<std::int64_t> nNextDue;  ///< of the clock's `TickMilliseconds`; nothing once it was killed
    bool bRunning = false;                 ///< its callback runs
};

/// Any thread may call any operation, callbacks included.
///
/// The first callback comes one whole interval after the arming, the others on the grid of that interval. A callback
/// that lasts longer than the interval misses what was due meanwhile and is called once for all of it.
class CTimer {
public:
    using Callback = std::function<void(std::uint32_t nId)>;

    /// @param clock    what the intervals are counted by
    /// @param getStop  the stop signal of the callbacks, asked for at the start of each. Once it was given nothing is
    ///                 armed any more, until the function gives a fresh one.
    CTimer(const platform::IClock& clock, std::function<std::stop_token()> getStop);
    /// Ends all timers, see `EndAll`.
    virtual ~CTimer();
    CTimer(const CTimer&) = delete;
    CTimer& operator=(const CTimer&) = delete;

    /// Arms a timer. One that is armed is not armed again: neither its rhythm nor its interval changes. Without a
    /// thread for it the user gets a message box, and the timer isn't armed.
    /// @param nInterval  milliseconds, 1 at least
    /// @param callback   an exception that leaves it ends this call of it and nothing else
    /// @return the ID, or 0 when nothing was armed
    std::uint32_t SetTimer(std::uint32_t nId, std::uint32_t nInterval, const Callback& callback);

    /// Ends a timer without waiting for its thread; the ID may be armed again at once. A callback that runs, the caller
    /// itself perhaps, runs to its end. An ID that isn't armed is no fault.
    void KillTimer(std::uint32_t nId);

    /// Kills all timers and waits for their threads, but for the calling one. Callbacks that run are to be told to end
    /// before, by the signal given at construction.
    void EndAll();

    /// The armed timers by their IDs, then those that were killed and whose callback still runs.
    std::vector<TimerState> List() const;

private:
    struct Timer;
    using Timers = std::multimap<std::uint32_t, std::unique_ptr<Timer>>;

    enum class Armed { Yes, No, NoThread };

    Armed TryToArm(std::uint32_t nId, std::uint32_t nInterval, const Callback& callback);
    void Retire(Timers::iterator pTimer) QV_REQUIRES(m_mutex);
    void JoinEnded();
    void Run(Timer& timer);
    void Call(Timer& timer);

    const platform::IClock& m_clock;
    const std::function<std::stop_token()> m_getStop;
    mutable CMutex m_mutex;  ///< guards what changes in the timers as well
    Timers m_mapActive QV_GUARDED_BY(m_mutex);
    /// Killed; the next call that arms or kills a timer joins the threads that have ended.
    Timers m_mapRetiring QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant
