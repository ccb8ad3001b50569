#include "stop.h"

#include <csignal>
#include <system_error>

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace qvant::host {

namespace {

int CheckedFile(int nFile) {
    if (nFile < 0) throw std::system_error(errno, std::generic_category());
    return nFile;
}

void Raise(int nEventFile) {
    const std::uint64_t nOne = 1;
    // It can fail only when the counter is full, and then it is readable already.
    [[maybe_unused]] const auto nWritten = write(nEventFile, &nOne, sizeof nOne);
}

sigset_t EndingSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int nSignal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, nSignal);
    return signals;
}

}  // namespace

void CStop::Signal::operator()() const { Raise(nFile); }

CStop::CStop()
    : m_nFile(CheckedFile(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))), m_callback(m_source.get_token(), Signal{m_nFile}) {}

CStop::~CStop() { close(m_nFile); }

bool CStop::Sleep(std::chrono::milliseconds duration) {
    CLock lock(m_mutex);
    m_condition.wait_until(lock, GetToken(), std::chrono::steady_clock::now() + duration, [] { return false; });
    return !IsRequested();
}

CSignals::CSignals(CStop& stop) : m_stop(stop) {
    // A reader that went away is told by the failed write.
    std::signal(SIGPIPE, SIG_IGN);
    // A parent may have left these ignored, as a shell does for what it starts in the background; an ignored signal
    // would never reach the file below.
    for (const int nSignal : {SIGINT, SIGTERM}) std::signal(nSignal, SIG_DFL);
    const sigset_t signals = EndingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    m_nSignals = CheckedFile(signalfd(-1, &signals, SFD_CLOEXEC));
    m_nEnd = CheckedFile(eventfd(0, EFD_CLOEXEC));
    m_thread = std::thread([this] { Watch(); });
    pthread_setname_np(m_thread.native_handle(), "signals");
}

CSignals::~CSignals() {
    Raise(m_nEnd);
    m_thread.join();
    close(m_nEnd);
    close(m_nSignals);
}

void CSignals::Watch() {
    pollfd arFiles[] = {{m_nSignals, POLLIN, 0}, {m_nEnd, POLLIN, 0}};
    while (poll(arFiles, 2, -1) >= 0 || errno == EINTR) {
        if (arFiles[1].revents) return;
        signalfd_siginfo info{};
        if (!arFiles[0].revents || read(m_nSignals, &info, sizeof info) != sizeof info) continue;
        // Whoever asks twice doesn't want to wait for a module that hangs.
        if (m_stop.IsRequested()) _exit(128 + static_cast<int>(info.ssi_signo));
        m_stop.Request();
    }
}

}  // namespace qvant::host
