/// Asking the service by a topic, and hearing what it answers by one.
#pragma once

#include "event_log.h"
#include "service.h"
#include "stop.h"

namespace qvant::host {

/// The text of an event's field; empty when it hasn't the field.
Text TextOf(const Event& event, std::string_view strField);

/// Whether the event is a topic with this parameter that the service sends about this text.
bool IsTopic(const Event& event, TextView strTopic, std::int64_t nParameter, TextView strText);

/// The line that the service wrote to the log; empty when the event isn't one. Lives as long as the event.
TextView LogLineOf(const Event& event);

/// Belongs to the host thread.
class CAsk {
public:
    CAsk(CService& service, CEventLog& log, const CStop& stop) : m_service(service), m_log(log), m_stop(stop) {}

    /// The number of the last event so far: what comes from now on has a higher one.
    std::uint64_t GetLast() const { return m_log.GetLast(); }

    /// Sends a topic. @return the number of the last event before it
    std::uint64_t Send(TextView strTopic, std::int32_t nParameter, TextView strText);

    /// The first event with a number above `nAfter` that is accepted; none at the time-out.
    /// @throws CFailure when the host is to end
    std::optional<Event> Await(const CEventLog::Accept& accept, std::uint64_t nAfter,
                               std::chrono::milliseconds timeout);

    /// The first such event among those that came already.
    std::optional<Event> Find(const CEventLog::Accept& accept) { return Await(accept, 0, {}); }

private:
    CService& m_service;
    CEventLog& m_log;
    const CStop& m_stop;
};

/// For a message: "5 s", "0.2 s".
std::string ShowSeconds(std::chrono::milliseconds duration);

}  // namespace qvant::host
