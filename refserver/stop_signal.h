/// The one thing that ends the program: raised by a signal handler, seen by every wait of every thread.
#pragma once

#include <chrono>

namespace qvant::refserver {

/// Level-triggered and for good: once raised, all present and later waits end at once.
class CStopSignal {
public:
    CStopSignal();
    ~CStopSignal();
    CStopSignal(const CStopSignal&) = delete;
    CStopSignal& operator=(const CStopSignal&) = delete;

    /// Safe inside a signal handler.
    void Raise() const;

    /// Waits for the signal.
    /// @return true when it came, false when the time went by without it
    bool WaitFor(std::chrono::milliseconds pause) const;

    bool IsRaised() const { return WaitFor(std::chrono::milliseconds(0)); }

    /// Readable once raised; for a poll together with a socket.
    int GetHandle() const { return m_hEvent; }

private:
    int m_hEvent;
};

}  // namespace qvant::refserver
