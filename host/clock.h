/// The host's clock: the table that tells the modules what day and time it is.
#pragma once

#include <condition_variable>
#include <optional>
#include <thread>

#include "base/mutex.h"
#include "listing.h"
#include "tables.h"

namespace qvant::host {

/// The calls belong to the host thread; a ticking clock writes on a thread of its own.
class CClock {
public:
    explicit CClock(CTables& tables) : m_tables(tables) {}

    /// Writes a date (decimal yyyymmdd) and a time (decimal hhmmss) in one transaction.
    void Set(std::int32_t nDate, std::int32_t nTime);

    /// What the table has now: date and time, empty when there is none, and whether the clock ticks.
    Record Read() const;

    /// Writes the UTC date and time at once, and again at the beginning of every second.
    void StartTicking();
    void StopTicking() { m_thread.reset(); }

private:
    void Tick(const std::stop_token& stop);

    CTables& m_tables;
    CMutex m_mutex;
    std::condition_variable_any m_condition;
    std::optional<std::jthread> m_thread;
};

}  // namespace qvant::host
