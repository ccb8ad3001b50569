/// A clock that stands until the test moves it, and wakes those who sleep by it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <stop_token>
#include <vector>

#include "platform/clock.h"

namespace qvant::test {

/// Time of day and count move together, and only by `AdvanceTo` and `Advance`. These release whoever is due in the
/// order of the due times, one time after another, and each time wait until the released threads sleep again or have
/// ended. So a rhythm of minutes runs as fast as its work, and always the same way.
class CDrivenClock : public platform::IClock {
public:
    /// The counts that threads of the system are about to sleep until, though they may not sleep yet: one that was just
    /// started, say. Nothing while one of them works.
    using Expected = std::function<std::optional<std::vector<std::int64_t>>()>;

    /// @param nNow  milliseconds since 1970 at which the clock stands
    explicit CDrivenClock(std::int64_t nNow) : m_nNow(nNow), m_nTick(FIRST_TICK) {}

    std::int64_t NowMilliseconds() const override;
    std::int64_t TickMilliseconds() const override;
    bool SleepUntilTick(std::int64_t nTick) const override;

    /// Who is to sleep before the clock moves on. Without it only those count that have slept before. The one that was
    /// given before isn't asked any more when this returns.
    void Expect(Expected expected);

    void AdvanceTo(std::int64_t nTick);
    void Advance(std::int64_t nMilliseconds) { AdvanceTo(TickMilliseconds() + nMilliseconds); }
    /// Time that the caller's own work takes: it goes by, and nobody is woken before the clock is advanced.
    void Pass(std::int64_t nMilliseconds);
    /// Sets the time of day and leaves the count.
    void SetNow(std::int64_t nNow);

    /// Waits until so many threads sleep. Who is released or told to stop sleeps no longer, though it has yet to leave.
    void WaitForSleepers(std::size_t nCount) const;
    /// Waits until all that were released, and all that are expected, sleep.
    void Settle() const;
    std::size_t GetSleepers() const;

private:
    static constexpr std::int64_t FIRST_TICK = 1'000'000;

    class CReleased;
    struct Sleeper {
        std::int64_t nDue;
        std::stop_token stop;
        bool bReleased = false;

        /// A timer that its own callback killed comes once more, to leave at once: it must not pass for its successor,
        /// which is due at the same time.
        bool IsAsleep() const { return !bReleased && !stop.stop_requested(); }
    };

    void NoteReturn() const;
    std::size_t CountSleepers() const;
    std::optional<std::vector<std::int64_t>> AskExpected() const;
    bool IsSettled() const;
    bool ReleaseNext(std::int64_t nTick);

    mutable std::mutex m_mutexExpected;  ///< guards the next one, while it is asked as well
    Expected m_expected;
    mutable std::mutex m_mutex;  ///< guards the rest
    mutable std::condition_variable_any m_changed;
    std::int64_t m_nNow;
    std::int64_t m_nTick;
    mutable std::list<Sleeper> m_listSleepers;
    mutable int m_nAwake = 0;  ///< threads that were released and have neither slept again nor ended
};

}  // namespace qvant::test
