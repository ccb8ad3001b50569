#include "stop_signal.h"

#include <cerrno>
#include <climits>
#include <cstdint>
#include <system_error>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace qvant::refserver {

CStopSignal::CStopSignal() : m_hEvent(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_hEvent < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

CStopSignal::~CStopSignal() { close(m_hEvent); }

void CStopSignal::Raise() const {
    const int nSaved = errno;
    const std::uint64_t nOne = 1;
    // A full counter means that the signal is raised already.
    [[maybe_unused]] const auto nWritten = write(m_hEvent, &nOne, sizeof nOne);
    errno = nSaved;
}

bool CStopSignal::WaitFor(std::chrono::milliseconds pause) const {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + pause;
    for (;;) {
        const auto nLeft = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        const int nWait = nLeft <= 0 ? 0 : nLeft > INT_MAX ? INT_MAX : static_cast<int>(nLeft);
        pollfd entry{m_hEvent, POLLIN, 0};
        if (poll(&entry, 1, nWait) > 0) return true;
        if (nLeft <= 0) return false;
    }
}

}  // namespace qvant::refserver
