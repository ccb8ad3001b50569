/// What the timers have to do, minute by minute: told from the rules alone, to be held against the log.
#pragma once

#include <cstdint>
#include <set>

namespace qvant::test {

/// The passes that a month of minutes must bring. A minute begins with an event of the host's clock; sign-ins and the
/// passes of the long timer fall into its second half, those of a burst into its first second.
class CPassModel {
public:
    static constexpr std::int64_t REFRESH_MS = 2'220'000;   ///< 37 minutes
    static constexpr std::int64_t CALENDAR_MS = 6'000'000;  ///< 100 minutes
    static constexpr int LOOK_BACK = 10;                    ///< minutes
    static constexpr int MINUTES_A_DAY = 24 * 60;

    /// @param setResets  minutes of the day at which some exchange resets
    explicit CPassModel(std::set<int> setResets) : m_setResets(std::move(setResets)) {}

    /// The first sign-in arms the long timer, which stays as it is at further ones; each starts the calendar's loop
    /// anew.
    void SignIn(std::int64_t nTick) {
        if (m_nNextRefresh == 0) m_nNextRefresh = nTick + REFRESH_MS;
        ++nSignIns;
        ++nCalendars;
        m_nNextCalendar = nTick + CALENDAR_MS;
    }

    /// @return whether the clock's event at this minute of the day begins a burst
    bool BeginMinute(int nMinute) {
        const bool bBegins = m_nLeft < 1 && TryBurst(nMinute);
        m_setFired.erase((nMinute + MINUTES_A_DAY - 5) % MINUTES_A_DAY);
        if (bBegins) {
            ++nBursts;
            CountPass();
        } else if (m_bMinuteTimer) {
            ++nMinuteTimers;
            CountPass();
        }
        return bBegins;
    }

    /// The rest of the minute, up to a tick.
    void EndMinute(std::int64_t nTick) {
        for (; m_nNextRefresh != 0 && m_nNextRefresh <= nTick; m_nNextRefresh += REFRESH_MS) {
            ++nRefreshTimers;
            if (m_nLeft < 1) ++nPasses;
        }
        for (; m_nNextCalendar != 0 && m_nNextCalendar <= nTick; m_nNextCalendar += CALENDAR_MS) ++nCalendars;
    }

    int nSignIns = 0;
    int nRefreshTimers = 0;  ///< wakes of timer 100
    int nBursts = 0;         ///< of timer 101
    int nMinuteTimers = 0;   ///< of timer 102
    int nPasses = 0;         ///< refresh passes of all three
    int nCalendars = 0;      ///< fetches of the holiday calendar

private:
    bool TryBurst(int nMinute) {
        if (m_setFired.contains(nMinute)) return false;
        for (int k = 0; k < LOOK_BACK; ++k) {
            if (!m_setResets.contains((nMinute + MINUTES_A_DAY - k) % MINUTES_A_DAY)) continue;
            m_setFired.insert(nMinute);
            m_nLeft = LOOK_BACK - k;
            return true;
        }
        return false;
    }

    void CountPass() {
        ++nPasses;
        --m_nLeft;
        m_bMinuteTimer = m_nLeft > 0;
    }

    const std::set<int> m_setResets;
    std::set<int> m_setFired;
    int m_nLeft = 0;              ///< passes that the burst still has to bring
    bool m_bMinuteTimer = false;  ///< the next of them falls into the next minute
    std::int64_t m_nNextRefresh = 0;
    std::int64_t m_nNextCalendar = 0;
};

}  // namespace qvant::test
