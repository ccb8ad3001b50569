/// Tells a person at the prompt how a refresh pass of the service goes on.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <thread>

#include "base/mutex.h"
#include "output.h"
#include "refresh_pass.h"
#include "service_state.h"

namespace qvant::host {

/// Where the progress is shown.
class IProgressLine {
public:
    virtual ~IProgressLine() = default;

    /// The line that stands above the prompt until another one takes its place; empty: none. Any thread.
    virtual void SetProgress(Text strLine) = 0;
};

/// Shows everything as the output behind it does, and reads the passes from the log on its way. The lines of a pass
/// come on the thread of its timer, which is how they are told from the others.
class CRefreshProgress final : public IOutput {
public:
    CRefreshProgress(IOutput& output, ILineWriter& writer, IProgressLine& line)
        : m_output(output), m_writer(writer), m_line(line) {}

    void ShowEvent(const Event& event) override;
    void ShowReply(const Reply& reply) override { m_output.ShowReply(reply); }

    /// Shows the progress of passes for its life, on a thread of its own.
    class CWatch {
    public:
        /// @param readState  how far the service is, which tells when a pass is over: no line of the log does. It
        ///                   may throw `CFailure`, for a service that doesn't show it; its passes aren't shown then.
        CWatch(CRefreshProgress& progress, std::function<RefreshState()> readState);

    private:
        std::jthread m_thread;
    };

private:
    struct Pass {
        CRefreshPass pass;
        std::optional<std::int64_t> nPasses;  ///< passes that had ended when it was first looked at
    };

    void Take(TextView strLine);
    void Watch(const std::stop_token& stop, const std::function<RefreshState()>& readState);
    void Look(const RefreshState& state) QV_REQUIRES(m_mutex);
    void End(const Text& strDuration) QV_REQUIRES(m_mutex);

    IOutput& m_output;
    ILineWriter& m_writer;
    IProgressLine& m_line;
    CMutex m_mutex;
    std::condition_variable_any m_changed;
    /// Timers that have called, and no pass has come of it yet.
    std::map<std::thread::id, CRefreshPass> m_mapCalls QV_GUARDED_BY(m_mutex);
    std::thread::id m_idThread QV_GUARDED_BY(m_mutex);  ///< of the pass
    std::optional<Pass> m_pass QV_GUARDED_BY(m_mutex);  ///< the one that runs; there is one at a time
    std::uint64_t m_nPass QV_GUARDED_BY(m_mutex) = 0;   ///< counts them
    bool m_bNews QV_GUARDED_BY(m_mutex) = false;        ///< a line of it has come
};

}  // namespace qvant::host
