#include "refresh_progress.h"

#include <pthread.h>

#include "failure.h"

namespace qvant::host {

namespace {

/// Between two looks at a pass that runs. Nothing is looked at while none does.
constexpr std::chrono::milliseconds INTERVAL{50};

constexpr std::size_t MOST_CALLS = 100;  ///< threads of timers whose calls led to no pass

bool IsRefreshTimer(std::int64_t nTimer) { return nTimer >= 100 && nTimer <= 102; }

}  // namespace

CRefreshProgress::CWatch::CWatch(CRefreshProgress& progress, std::function<RefreshState()> readState)
    : m_thread([&progress, readState = std::move(readState)](const std::stop_token& stop) {
          progress.Watch(stop, readState);
      }) {
    pthread_setname_np(m_thread.native_handle(), "progress");
}

void CRefreshProgress::ShowEvent(const Event& event) {
    m_output.ShowEvent(event);
    if (event.strKind == kind::WRITE_LOG) Take(ToText(event.arFields.front().second));
}

void CRefreshProgress::Take(TextView strLine) {
    const auto idThread = std::this_thread::get_id();
    const CLock lock(m_mutex);
    if (const auto nTimer = CRefreshPass::FindTimer(strLine)) {
        if (m_mapCalls.size() >= MOST_CALLS) m_mapCalls.clear();
        m_mapCalls.erase(idThread);
        if (IsRefreshTimer(*nTimer)) m_mapCalls.emplace(idThread, *nTimer);
        return;
    }
    if (const auto it = m_mapCalls.find(idThread); it != m_mapCalls.end()) {
        it->second.Take(strLine);
        if (!it->second.HasBegun()) return;
        if (m_pass) End({});
        m_pass = Pass{it->second, std::nullopt};
        m_idThread = idThread;
        ++m_nPass;
        m_mapCalls.erase(it);
    } else if (m_pass && m_idThread == idThread) {
        m_pass->pass.Take(strLine);
    } else {
        return;
    }
    m_bNews = true;
    m_changed.notify_all();
}

void CRefreshProgress::Watch(const std::stop_token& stop, const std::function<RefreshState()>& readState) {
    CLock lock(m_mutex);
    while (m_changed.wait(lock, stop, [this]() QV_REQUIRES(m_mutex) { return m_pass.has_value(); }) &&
           !stop.stop_requested()) {
        const std::uint64_t nPass = m_nPass;
        lock.unlock();
        std::optional<RefreshState> state;
        try {
            state = readState();
        } catch (const CFailure&) {
            // A service that doesn't show when its passes end.
        }
        lock.lock();
        if (!state) {
            m_pass.reset();
        } else if (m_pass && m_nPass == nPass) {
            Look(*state);
        }
        if (m_pass)
            m_changed.wait_for(lock, stop, INTERVAL,
                               [this]() QV_REQUIRES(m_mutex) { return std::exchange(m_bNews, false); });
    }
}

void CRefreshProgress::Look(const RefreshState& state) {
    if (!m_pass->nPasses) m_pass->nPasses = state.nPasses;
    if (state.bRunning && state.nPasses == *m_pass->nPasses) {
        m_line.SetProgress(m_pass->pass.Show(false));
    } else {
        End(u"; " + ToText(Value(state.nLastDuration), Form::Duration));
    }
}

void CRefreshProgress::End(const Text& strDuration) {
    m_line.SetProgress({});
    m_writer.Write(Narrow(m_pass->pass.Show(true) + strDuration) + '\n');
    m_pass.reset();
}

}  // namespace qvant::host
