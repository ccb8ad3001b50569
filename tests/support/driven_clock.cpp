#include "support/driven_clock.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/stop.h"

namespace qvant::test {

/// Of a thread: whether a clock released it. It ends with the thread.
class CDrivenClock::CReleased {
public:
    ~CReleased() { Return(); }
    void Set(const CDrivenClock& clock) { m_pClock = &clock; }
    void Return() {
        if (const auto* const pClock = std::exchange(m_pClock, nullptr)) pClock->NoteReturn();
    }
    static CReleased& OfThread() {
        thread_local CReleased released;
        return released;
    }

private:
    const CDrivenClock* m_pClock = nullptr;
};

std::int64_t CDrivenClock::NowMilliseconds() const {
    const std::lock_guard lock(m_mutex);
    return m_nNow;
}

std::int64_t CDrivenClock::TickMilliseconds() const {
    const std::lock_guard lock(m_mutex);
    return m_nTick;
}

bool CDrivenClock::SleepUntilTick(std::int64_t nTick) const {
    const std::stop_token stop = platform::CurrentStop();
    std::unique_lock lock(m_mutex);
    if (nTick <= m_nTick) return !stop.stop_requested();
    const auto pSleeper = m_listSleepers.insert(m_listSleepers.end(), Sleeper{.nDue = nTick, .stop = stop});
    lock.unlock();
    CReleased::OfThread().Return();
    lock.lock();
    m_changed.notify_all();
    m_changed.wait(lock, stop, [&] { return pSleeper->bReleased; });
    // Who was released counts as awake until it is back; a stop alone releases nobody.
    if (pSleeper->bReleased) CReleased::OfThread().Set(*this);
    m_listSleepers.erase(pSleeper);
    m_changed.notify_all();
    return !stop.stop_requested();
}

void CDrivenClock::NoteReturn() const {
    const std::lock_guard lock(m_mutex);
    --m_nAwake;
    m_changed.notify_all();
}

void CDrivenClock::Pass(std::int64_t nMilliseconds) {
    const std::lock_guard lock(m_mutex);
    m_nNow += nMilliseconds;
    m_nTick += nMilliseconds;
}

void CDrivenClock::SetNow(std::int64_t nNow) {
    const std::lock_guard lock(m_mutex);
    m_nNow = nNow;
}

void CDrivenClock::AdvanceTo(std::int64_t nTick) {
    do Settle();
    while (ReleaseNext(nTick));
}

/// Moves to the next due time up to `nTick` and wakes who is due then.
/// @return false when nobody is: the clock stands at `nTick`
bool CDrivenClock::ReleaseNext(std::int64_t nTick) {
    const std::lock_guard lock(m_mutex);
    std::int64_t nNext = nTick;
    bool bDue = false;
    for (const Sleeper& sleeper : m_listSleepers) {
        if (!sleeper.IsAsleep() || sleeper.nDue > nNext) continue;
        nNext = sleeper.nDue;
        bDue = true;
    }
    nNext = std::max(nNext, m_nTick);
    m_nNow += nNext - m_nTick;
    m_nTick = nNext;
    for (Sleeper& sleeper : m_listSleepers) {
        if (!sleeper.IsAsleep() || sleeper.nDue > nNext) continue;
        sleeper.bReleased = true;
        ++m_nAwake;
    }
    m_changed.notify_all();
    return bDue;
}

/// What is expected is asked for outside of the lock: whoever answers has a lock of its own, and may hold it while it
/// asks for the time.
void CDrivenClock::Settle() const {
    constexpr std::chrono::milliseconds LOOK_AGAIN{1};
    while (!IsSettled()) {
        std::unique_lock lock(m_mutex);
        m_changed.wait_for(lock, LOOK_AGAIN);
    }
}

void CDrivenClock::Expect(Expected expected) {
    const std::lock_guard lock(m_mutexExpected);
    m_expected = std::move(expected);
}

std::optional<std::vector<std::int64_t>> CDrivenClock::AskExpected() const {
    const std::lock_guard lock(m_mutexExpected);
    return m_expected ? m_expected() : std::vector<std::int64_t>();
}

bool CDrivenClock::IsSettled() const {
    auto expected = AskExpected();
    if (!expected) return false;
    const std::lock_guard lock(m_mutex);
    if (m_nAwake > 0) return false;
    std::vector<std::int64_t> arDue;
    for (const Sleeper& sleeper : m_listSleepers) {
        if (sleeper.IsAsleep()) arDue.push_back(sleeper.nDue);
    }
    std::ranges::sort(arDue);
    std::ranges::sort(*expected);
    return std::ranges::includes(arDue, *expected);
}

void CDrivenClock::WaitForSleepers(std::size_t nCount) const {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [&] { return CountSleepers() == nCount; });
}

std::size_t CDrivenClock::GetSleepers() const {
    const std::lock_guard lock(m_mutex);
    return CountSleepers();
}

std::size_t CDrivenClock::CountSleepers() const {
    return static_cast<std::size_t>(std::ranges::count_if(m_listSleepers, &Sleeper::IsAsleep));
}

}  // namespace qvant::test
