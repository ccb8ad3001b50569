#include "service/timer.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <string>
#include <utility>

#include "base/format.h"
#include "platform/messages.h"
#include "platform/module.h"
#include "platform/stop.h"
#include "qvant/message_box.h"

namespace qvant {

namespace {

constexpr int MORE_TRIES = 5;
constexpr std::chrono::milliseconds PAUSE_BEFORE_TRY{10};

void ShowThreadFailure(int nError) {
    const Text strDescription = platform::DescribeSystemError(nError);
    const Text strText =
        strDescription.empty()
            ? Format(u"Win32 API function 'CreateThread' fails!\r\n\r\nErrorCode : %d", nError)
            : Format(u"Win32 API function 'CreateThread' fails!\r\n\r\nErrorCode : %d\r\nDecription : %s", nError,
                     strDescription);
    QvantShowMessageBox(u"Error", strText.c_str());
}

}  // namespace

/// The stop of its thread says that the timer was killed: it ends the wait for the next time and reaches no callback.
struct CTimer::Timer {
    Timer(std::uint32_t id, std::uint32_t nPeriod, Callback call, std::int64_t nDue)
        : nId(id), nInterval(nPeriod), callback(std::move(call)), nFirstDue(nDue), nNextDue(nDue) {}

    const std::uint32_t nId;
    const std::uint32_t nInterval;
    const Callback callback;
    const std::int64_t nFirstDue;
    // The next three are touched under the owner's mutex, which can't be named here.
    std::int64_t nNextDue;
    bool bKilled = false;
    bool bRunning = false;
    platform::CThread thread;

    /// The next time of the grid behind `nNow`.
    std::int64_t GetDueAfter(std::int64_t nNow) const {
        return nNow + nInterval - (std::max(nNow, nFirstDue) - nFirstDue) % nInterval;
    }

    TimerState GetState() const { return {nId, nInterval, bKilled ? std::nullopt : std::optional(nNextDue), bRunning}; }
};

CTimer::CTimer(const platform::IClock& clock, std::function<std::stop_token()> getStop)
    : m_clock(clock), m_getStop(std::move(getStop)) {}

CTimer::~CTimer() { EndAll(); }

std::uint32_t CTimer::SetTimer(std::uint32_t nId, std::uint32_t nInterval, const Callback& callback) {
    JoinEnded();
    Armed armed = TryToArm(nId, nInterval, callback);
    for (int i = 0; i < MORE_TRIES && armed == Armed::NoThread; ++i) {
        if (!platform::SleepFor(PAUSE_BEFORE_TRY)) return 0;
        armed = TryToArm(nId, nInterval, callback);
    }
    if (armed == Armed::NoThread) ShowThreadFailure(errno);
    return armed == Armed::Yes ? nId : 0;
}

/// The stop is asked for under the lock: a timer is either armed before a stop, whose kill then finds it, or not at
/// all.
CTimer::Armed CTimer::TryToArm(std::uint32_t nId, std::uint32_t nInterval, const Callback& callback) {
    const CLock lock(m_mutex);
    if (m_mapActive.contains(nId) || m_getStop().stop_requested()) return Armed::No;
    const std::uint32_t nPeriod = std::max(nInterval, 1U);
    const std::int64_t nDue = m_clock.TickMilliseconds() + nPeriod;
    const auto pTimer = m_mapActive.emplace(nId, std::make_unique<Timer>(nId, nPeriod, callback, nDue));
    Timer& timer = *pTimer->second;
    if (timer.thread.Start("Timer" + std::to_string(nId), [this, &timer] { Run(timer); })) return Armed::Yes;
    const int nError = errno;
    m_mapActive.erase(pTimer);
    errno = nError;
    return Armed::NoThread;
}

void CTimer::KillTimer(std::uint32_t nId) {
    JoinEnded();
    const CLock lock(m_mutex);
    const auto pTimer = m_mapActive.find(nId);
    if (pTimer != m_mapActive.end()) Retire(pTimer);
}

/// Under the lock also so that nobody joins the thread meanwhile.
void CTimer::Retire(Timers::iterator pTimer) {
    Timer& timer = *pTimer->second;
    m_mapRetiring.insert(m_mapActive.extract(pTimer));
    timer.bKilled = true;
    timer.thread.RequestStop();
}

/// Nothing is waited for: these threads have run to their ends.
void CTimer::JoinEnded() {
    Timers mapEnded;
    const CLock lock(m_mutex);
    for (auto pTimer = m_mapRetiring.begin(); pTimer != m_mapRetiring.end();) {
        const auto pNext = std::next(pTimer);
        if (pTimer->second->thread.HasEnded()) mapEnded.insert(m_mapRetiring.extract(pTimer));
        pTimer = pNext;
    }
}

void CTimer::EndAll() {
    Timers mapEnding;
    const CLock lock(m_mutex);
    while (!m_mapActive.empty()) Retire(m_mapActive.begin());
    for (auto pTimer = m_mapRetiring.begin(); pTimer != m_mapRetiring.end();) {
        const auto pNext = std::next(pTimer);
        if (!pTimer->second->thread.IsCurrent()) mapEnding.insert(m_mapRetiring.extract(pTimer));
        pTimer = pNext;
    }
}

std::vector<TimerState> CTimer::List() const {
    std::vector<TimerState> arStates;
    const CLock lock(m_mutex);
    for (const auto& [nId, pTimer] : m_mapActive) arStates.push_back(pTimer->GetState());
    for (const auto& [nId, pTimer] : m_mapRetiring) {
        if (pTimer->bRunning) arStates.push_back(pTimer->GetState());
    }
    return arStates;
}

void CTimer::Run(Timer& timer) {
    const platform::CApartment apartment;
    std::int64_t nDue = timer.nFirstDue;
    while (m_clock.SleepUntilTick(nDue)) {
        nDue = timer.GetDueAfter(m_clock.TickMilliseconds());
        {
            const CLock lock(m_mutex);
            timer.nNextDue = nDue;
            timer.bRunning = true;
        }
        Call(timer);
        const CLock lock(m_mutex);
        timer.bRunning = false;
    }
}

/// A timer that its own callback kills must not cut that callback short: what counts in there is the stop of the
/// service.
void CTimer::Call(Timer& timer) {
    const platform::CStopScope scope(m_getStop());
    try {
        timer.callback(timer.nId);
    } catch (...) {
        // One call that fails doesn't end the timer.
    }
}

}  // namespace qvant
