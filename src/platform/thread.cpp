#include "platform/thread.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/thread_system.h"

namespace qvant::platform {

namespace {

/// Runs on the new thread. What `run` holds is gone when this returns.
// NOLINTNEXTLINE(performance-unnecessary-value-param): it must own what it runs
void RunThread(std::stop_token stop, const std::string& strName, std::function<void()> run, Priority priority) {
    const CStopScope scope(std::move(stop));
    NameCurrentThread(strName);
    if (priority != Priority::Normal) SetThreadPriority(priority);
    try {
        run();
    } catch (...) {
        // A thread's failure is its own; the process and its other threads go on.
    }
}

}  // namespace

CThread::~CThread() { StopAndJoin(); }

bool CThread::Start(std::string strName, std::function<void()> run, Priority priority) {
    StopAndJoin();
    m_finished.Clear();
    try {
        m_thread = std::jthread(
            [this, strName = std::move(strName), run = std::move(run), priority](std::stop_token stop) mutable {
                RunThread(std::move(stop), strName, std::move(run), priority);
                m_finished.Set();
            });
    } catch (const std::system_error& error) {
        errno = error.code().value();
        return false;
    }
    return true;
}

WaitResult CThread::Wait() {
    // Without a thread nothing would ever finish.
    return IsStarted() ? m_finished.Wait() : WaitResult::Signalled;
}

WaitResult CThread::WaitFor(std::chrono::milliseconds limit) {
    return IsStarted() ? m_finished.WaitFor(limit) : WaitResult::Signalled;
}

void CThread::StopAndJoin() {
    if (!m_thread.joinable()) return;
    m_thread.request_stop();
    m_thread.join();
}

}  // namespace qvant::platform
