#include "event_log.h"

#include <algorithm>

namespace qvant::host {

bool EventPattern::Matches(const Event& event) const {
    if (event.strKind != strKind) return false;
    return std::ranges::all_of(arFields, [&event](const FieldPattern& wanted) {
        const auto it = std::ranges::find(event.arFields, wanted.strName, &EventFields::value_type::first);
        if (it == event.arFields.end()) return false;
        const Text strField = ToText(it->second);
        return wanted.bWhole ? strField == wanted.strText : strField.find(wanted.strText) != Text::npos;
    });
}

void CEventLog::Add(std::string_view strKind, EventFields arFields) {
    const CLock lock(m_mutex);
    const auto elapsed = std::chrono::steady_clock::now() - m_start;
    m_arEvents.push_back({strKind, ++m_nLast, std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count(),
                          std::move(arFields)});
    if (m_arEvents.size() > KEPT_EVENTS) m_arEvents.pop_front();
    // Shown inside the lock, so that the numbers on the output rise.
    m_output.ShowEvent(m_arEvents.back());
    m_added.notify_all();
}

std::optional<Event> CEventLog::Wait(const EventPattern& pattern, std::uint64_t nAfter,
                                     std::chrono::milliseconds timeout, const std::stop_token& stop) {
    return Wait([&pattern](const Event& event) { return pattern.Matches(event); }, nAfter, timeout, stop);
}

std::uint64_t CEventLog::GetLast() const {
    const CLock lock(m_mutex);
    return m_nLast;
}

std::optional<Event> CEventLog::Wait(const Accept& accept, std::uint64_t nAfter, std::chrono::milliseconds timeout,
                                     const std::stop_token& stop) {
    CLock lock(m_mutex);
    const Event* pFound = nullptr;
    m_added.wait_until(lock, stop, std::chrono::steady_clock::now() + timeout,
                       [&]() QV_REQUIRES(m_mutex) { return (pFound = FindFrom(accept, nAfter)) != nullptr; });
    return pFound ? std::optional(*pFound) : std::nullopt;
}

/// `nAfter` moves past the events that were looked at, so that each is looked at once in a wait.
const Event* CEventLog::FindFrom(const Accept& accept, std::uint64_t& nAfter) const {
    const std::uint64_t nForgotten = m_nLast - m_arEvents.size();
    for (std::uint64_t n = std::max(nAfter, nForgotten); n < m_nLast; ++n) {
        const Event& event = m_arEvents[static_cast<std::size_t>(n - nForgotten)];
        if (accept(event)) return &event;
    }
    nAfter = std::max(nAfter, m_nLast);
    return nullptr;
}

}  // namespace qvant::host
