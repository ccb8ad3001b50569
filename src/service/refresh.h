/// The refresh pass, the timers that run it, and what else goes by timers.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <optional>

#include "base/mutex.h"
#include "documents/contract_list_document.h"
#include "documents/securities_document.h"
#include "model/run_state.h"
#include "model/storage_tables.h"
#include "net/session.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "platform/stoppable_lock.h"
#include "service/settings.h"
#include "service/tables.h"
#include "service/timer.h"
#include "store/host.h"

namespace qvant {

/// What a pass works with; all outlive it.
struct RefreshParts {
    IHost& host;
    const platform::IClock& clock;
    RunState& state;
    const CSettings& settings;
    CSession& session;
    const KeptTables& tables;
    CStorageTables& storage;
    CSecuritiesDocument& securities;
    CContractListDocument& contracts;
    CTimer& timer;
    platform::CStoppableLock& lockPass;  ///< held by whoever works on the reference data
    platform::CEvent& eventSymbolLookUp;
    platform::CEvent& eventTimerIdle;  ///< unsignalled while a timer's callback runs
};

/// What the timers call beside the passes, on their threads; whoever tests passes alone leaves out what he doesn't
/// need.
struct RefreshCalls {
    std::function<void()> queryCurrency;  ///< asks for the currency rates
    std::function<void(std::uint32_t nTimerId)> checkExpireCQYZ = [](std::uint32_t) {};
    std::function<void()> processRequeryData = [] {};
};

/// How far the passes are.
struct RefreshState {
    std::int64_t nPasses = 0;                   ///< ended ones
    std::optional<std::int64_t> nLeft;          ///< of a burst
    std::optional<std::int64_t> nLastDuration;  ///< of the last one, in milliseconds of the clock
    bool bRunning = false;                      ///< one is at work; not while it waits for others to end theirs
};

/// Any thread. A pass runs on its timer's thread, one at a time with all other work on the reference data.
class CRefresh {
public:
    static constexpr std::uint32_t TIMER_PERIODIC = 100;  ///< every 37 minutes
    static constexpr std::uint32_t TIMER_BURST = 101;     ///< the first pass of a burst
    static constexpr std::uint32_t TIMER_COUNTED = 102;   ///< each further one
    static constexpr std::uint32_t TIMER_EXPIRY = 800;    ///< letting go of adjustment factors, every 16 minutes
    static constexpr std::uint32_t TIMER_REQUERY = 999;   ///< the rolls of products whose hot month moved

    CRefresh(const RefreshParts& parts, RefreshCalls calls) : m_parts(parts), m_calls(std::move(calls)) {}

    /// Arms timer 100.
    void Start();
    /// Begins a burst: as many passes, the first one at once and the others a minute after the one before.
    void StartBurst(std::int32_t nPasses);
    /// Whether passes of a burst are left.
    bool IsBurst() const { return m_nRefreshCount > 0; }
    /// Arms timer 999; one that is armed already stays as it is, and so does timer 800.
    void ArmRequery();
    void ArmExpiry();
    void StopExpiry() { m_parts.timer.KillTimer(TIMER_EXPIRY); }
    /// Ends a burst and kills the timers of passes and of rolls; a callback that runs is to be told to end before.
    /// Timer 800 stays: it needs nothing that a stop takes away, and ends itself when no factors are left.
    void Stop();

    /// The callback of all timers.
    void OnLumTimer(std::uint32_t nId);

    /// One pass: asks for newer documents, loads what came, and saves the settings when something did. A stop ends it.
    /// A failure becomes a line of the log.
    /// @param bCounted  the pass is one of a burst
    /// @param strWord   the word of its request id
    void TimerQueryAll(bool bCounted, TextView strWord);

    RefreshState GetState() const;

    /// Whether the rates have been judged for today.
    bool IsCurrencyChecked() const { return m_bCurrencyChecked; }

    platform::CStoppableLock DataLock;  ///< a pass against a change of the language

private:
    /// Tells of the pass that runs while it lives.
    class CShown;

    void Arm(std::uint32_t nId, std::uint32_t nInterval);
    void RunPass(TextView strWord);
    void Query(TextView strWord);
    void SaveSettings();
    void JudgeCurrency();
    void CountPass();

    const RefreshParts m_parts;
    const RefreshCalls m_calls;
    std::atomic<std::int32_t> m_nRefreshCount{-1};  ///< passes left of a burst
    std::atomic<bool> m_bCurrencyChecked{false};
    mutable CMutex m_mutexState;
    RefreshState m_stateShown QV_GUARDED_BY(m_mutexState);  ///< but for the passes left
};

}  // namespace qvant
