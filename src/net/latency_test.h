/// The latency test: how fast each server of a list really answers, and the order that follows from it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <vector>

#include "base/mutex.h"
#include "base/text.h"
#include "net/session.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "platform/thread.h"
#include "store/host.h"

namespace qvant {

constexpr std::int32_t LATENCY_FAILED = 9999;       ///< of a server that gave no valid answer
constexpr std::int32_t LATENCY_UNREPORTED = 99999;  ///< of a server that hadn't answered at the end of the test

/// What one test measured, in milliseconds, by server. A server that stands in the list twice is one key.
struct LatencyResult {
    std::map<Text, std::int32_t> m_mapLatency;   ///< as ranked: with the handicap, but for `LATENCY_FAILED` and more
    std::map<Text, std::int32_t> m_mapInterval;  ///< the handicap
};

/// The servers of a test, fastest first. Those with `LATENCY_FAILED` and more stand at the end and aren't told apart:
/// they, like all with equal latencies, keep the order of the map.
std::vector<Text> RankServers(const std::map<Text, std::int32_t>& mapLatency);

/// Asks all servers of a list at the same time, each on a thread of its own. A test ends when all have reported, when
/// four have given a valid answer, or after ten seconds; who comes later isn't heard. The threads stay until the next
/// test or `StopWorkers`.
///
/// Any thread; one test runs at a time. The host, the session and the clock outlive it.
class CLatencyTest {
public:
    CLatencyTest(IHost& host, const CSession& session, const platform::IClock& clock)
        : m_host(host), m_session(session), m_clock(clock) {}
    ~CLatencyTest() { StopWorkers(); }
    CLatencyTest(const CLatencyTest&) = delete;
    CLatencyTest& operator=(const CLatencyTest&) = delete;

    /// @param nInterval  the handicap in milliseconds for each place behind the head of the list; 0: none. It keeps
    ///                   equally good servers from changing places from test to test.
    void SetResponseInterval(std::int32_t nInterval);

    /// Blocks for ten seconds at most.
    /// @param arServers  base URLs in list order
    /// @return nothing when a stop of the calling thread, or `StopWorkers`, cut the test short
    std::optional<LatencyResult> Run(const std::vector<Text>& arServers);

    /// Stands for a test of a list that has nothing to choose from.
    void Skip() { m_hEventLatencyEnd.Set(); }

    /// Cuts a test that runs short, tells its threads to stop and joins them.
    void StopWorkers();

    /// Waits until a test has ended. One that has begun always ends, a stop of its thread included.
    platform::WaitResult WaitForEnd(std::chrono::milliseconds limit) { return m_hEventLatencyEnd.WaitFor(limit); }

private:
    /// What a worker is told when it reports.
    struct Report {
        std::size_t nQueryCount;
        std::int32_t nInterval;
        bool bDone;
    };

    void SweepWorkers() QV_REQUIRES(m_mutexRun);
    std::list<platform::CThread> TakeWorkers() QV_REQUIRES(m_mutexRun);
    bool Open(const std::vector<Text>& arServers) QV_REQUIRES(m_mutexRun);
    bool StartWorkers(const std::vector<Text>& arServers) QV_REQUIRES(m_mutexRun);
    std::optional<LatencyResult> Close() QV_REQUIRES(m_mutexRun);
    bool IsCut() const QV_REQUIRES(m_mutex);

    void LatencyWorker(const Text& strServer);
    std::int32_t ReadTime() const;
    bool IsRunning() const;
    std::optional<Report> TakeReport(const Text& strServer, std::int32_t nLatency, bool bGood);

    IHost& m_host;
    const CSession& m_session;
    const platform::IClock& m_clock;

    CMutex m_mutexRun QV_ACQUIRED_BEFORE(m_mutex);  ///< one test at a time
    mutable CMutex m_mutex;
    /// Of the last test; changed with `m_mutexRun` held as well.
    std::list<platform::CThread> m_arLatencyThreads QV_GUARDED_BY(m_mutex);
    int m_nStopsPending QV_GUARDED_BY(m_mutex) = 0;  ///< calls of `StopWorkers` under way: no test goes on meanwhile
    std::int32_t m_nResponseInterval QV_GUARDED_BY(m_mutex) = 50;
    LatencyResult m_result QV_GUARDED_BY(m_mutex);
    std::size_t m_nServers QV_GUARDED_BY(m_mutex) = 0;
    std::size_t m_nQueryCount QV_GUARDED_BY(m_mutex) = 0;   ///< workers that have reported
    std::size_t m_nGoodCount QV_GUARDED_BY(m_mutex) = 0;    ///< those of them with a valid answer
    bool m_bLatencyRunning QV_GUARDED_BY(m_mutex) = false;  ///< the test is open: workers may still report

    platform::CEvent m_hEventLatencyDone{platform::CEvent::Reset::Automatic, false};  ///< the test may end early
    platform::CEvent m_hEventLatencyEnd{platform::CEvent::Reset::Manual, false};      ///< not set while a test runs
};

}  // namespace qvant
