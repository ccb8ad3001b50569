/// Telling the user of failures.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/text.h"
#include "platform/clock.h"
#include "store/host.h"

namespace qvant {

/// Sends messages to the host. Any thread; a failure to send is ignored.
class CErrorReport {
public:
    static constexpr std::int32_t NO_SECURITIES_FILE = -1;  ///< the securities document has no copy on disk
    static constexpr std::int32_t NO_CONTRACT_FILE = -2;    ///< a contract list file can't be read
    static constexpr std::int32_t NETWORK_FAILURE = -108;   ///< a network failure with a system number

    CErrorReport(IHost& host, const platform::IClock& clock) : m_host(host), m_clock(clock) {}

    /// Not 0 keeps the posts of `PostErrorMsg` from the user; the log line stays.
    void SetHideErrorMsg(std::int32_t nHideErrorMsg) { m_nHideErrorMsg = nHideErrorMsg; }

    /// Sends a code with a text, as JSON; never suppressed.
    void PostMsg(std::int32_t nCode, TextView strText);

    /// Logs an error text of `DoGetHttpQuery` and, if it carries a system number, sends the system's text of it.
    void PostErrorMsg(TextView strText);

private:
    IHost& m_host;
    const platform::IClock& m_clock;
    std::atomic<std::int32_t> m_nHideErrorMsg{0};
};

}  // namespace qvant
