/// The events so far, with their running numbers, and the waits for them.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <optional>
#include <stop_token>

#include "base/mutex.h"
#include "event.h"
#include "output.h"

namespace qvant::host {

/// What a wait looks for: an event of a kind, with fields that contain texts.
struct EventPattern {
    struct FieldPattern {
        std::string strName;
        Text strText;
        bool bWhole;  ///< the field is this text; otherwise it contains it
    };

    std::string_view strKind;
    std::vector<FieldPattern> arFields;

    bool Matches(const Event& event) const;
};

/// Any thread may add events. Each is shown before anybody can find it.
class CEventLog {
public:
    /// Events that are kept. Those before the last so many are forgotten: a wait doesn't find them any more.
    static constexpr std::size_t KEPT_EVENTS = 100'000;

    explicit CEventLog(IOutput& output) : m_output(output) {}

    void Add(std::string_view strKind, EventFields arFields);

    /// Waits for the first event that matches and has a number above `nAfter`, among those that came and will come.
    /// @return none at the time-out or the stop
    std::optional<Event> Wait(const EventPattern& pattern, std::uint64_t nAfter, std::chrono::milliseconds timeout,
                              const std::stop_token& stop);

    /// Tells whether an event is the one; looks at each only once.
    using Accept = std::function<bool(const Event&)>;

    /// The same for what a pattern can't say. `accept` is called with the log locked.
    std::optional<Event> Wait(const Accept& accept, std::uint64_t nAfter, std::chrono::milliseconds timeout,
                              const std::stop_token& stop);

    /// The number of the last event, 0 before the first.
    std::uint64_t GetLast() const;

private:
    const Event* FindFrom(const Accept& accept, std::uint64_t& nAfter) const QV_REQUIRES(m_mutex);

    IOutput& m_output;
    const std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    mutable CMutex m_mutex;
    std::condition_variable_any m_added;
    std::deque<Event> m_arEvents QV_GUARDED_BY(m_mutex);
    std::uint64_t m_nLast QV_GUARDED_BY(m_mutex) = 0;
};

}  // namespace qvant::host
