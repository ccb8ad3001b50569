/// The one signal that ends the host: by the person, by the system, or because nobody reads any more.
#pragma once

#include <chrono>
#include <condition_variable>
#include <stop_token>
#include <thread>

#include "base/mutex.h"

namespace qvant::host {

/// Any thread may ask; whatever waits ends at once.
class CStop {
public:
    CStop();
    CStop(const CStop&) = delete;
    CStop& operator=(const CStop&) = delete;
    ~CStop();

    void Request() { m_source.request_stop(); }
    bool IsRequested() const { return m_source.stop_requested(); }
    std::stop_token GetToken() const { return m_source.get_token(); }

    /// Becomes readable with the stop, for those who wait for a file as well.
    int GetFile() const { return m_nFile; }

    /// @return false when the stop cut the sleep short
    bool Sleep(std::chrono::milliseconds duration);

private:
    struct Signal {
        int nFile;
        void operator()() const;
    };

    const int m_nFile;
    std::stop_source m_source;
    std::stop_callback<Signal> m_callback;
    CMutex m_mutex;
    std::condition_variable_any m_condition;
};

/// Turns the system's wish that the program end (interrupt, termination, hang-up) into a stop. A second such wish
/// ends the process on the spot. Must be made before any other thread is, so that they all leave the signals alone.
class CSignals {
public:
    explicit CSignals(CStop& stop);
    CSignals(const CSignals&) = delete;
    CSignals& operator=(const CSignals&) = delete;
    ~CSignals();

private:
    void Watch();

    CStop& m_stop;
    int m_nSignals;
    int m_nEnd;
    std::thread m_thread;
};

}  // namespace qvant::host
