/// The latency test of eight servers on loopback, four that answer after 30 ms and four that keep silent, next to one
/// answer of 30 ms.
///
/// `LatencyTest` is to stay within 120 ms, four times `OneAnswer`. `LatencyTestAgain` follows another test, whose
/// workers it has to sweep first.

#include <array>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include <benchmark/benchmark.h>
#include <httplib.h>

#include "base/format.h"
#include "net/http_query.h"
#include "net/server_list.h"
#include "platform/internet.h"

namespace qvant {

// No table is opened here.
class CBaseData {};

namespace bench {
namespace {

class CSilentHost : public IHost {
public:
    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView) override {}
    std::unique_ptr<CBaseData> OpenTable(TextView, CBaseDataEventReceiver*) override { return nullptr; }
};

/// Answers after 30 ms, or never.
class CServer {
public:
    explicit CServer(bool bAnswers) {
        m_server.set_tcp_nodelay(true);
        m_server.Get(".*", [this, bAnswers](const httplib::Request&, httplib::Response& response) {
            std::unique_lock lock(m_mutex);
            if (bAnswers) {
                m_end.wait_for(lock, std::chrono::milliseconds(30), [this] { return m_bEnd; });
            } else {
                m_end.wait(lock, [this] { return m_bEnd; });
            }
            response.set_content(R"({"LastVersion":"7"})", "application/json");
        });
        m_nPort = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        while (!m_server.is_running()) std::this_thread::yield();
    }
    ~CServer() {
        {
            const std::lock_guard lock(m_mutex);
            m_bEnd = true;
            m_end.notify_all();
        }
        platform::CloseIdleConnections();
        m_server.stop();
        m_thread.join();
    }
    CServer(const CServer&) = delete;
    CServer& operator=(const CServer&) = delete;

    Text GetUrl() const { return Format(u"http://127.0.0.1:%d/", m_nPort); }

private:
    httplib::Server m_server;
    int m_nPort = 0;
    std::thread m_thread;
    std::mutex m_mutex;
    std::condition_variable m_end;
    bool m_bEnd = false;
};

/// Silent ones first: the order has to be found.
class CWorld {
public:
    CWorld() {
        for (const CServer& server : m_arServers) m_strUrls.append(server.GetUrl()).append(u"|");
        Assign();
    }

    void Assign() {
        m_list.Assign(m_strUrls, [] { return 0U; });
    }
    void StartLatencyTest() { m_list.StartLatencyTest(m_test, m_host); }
    void StopWorkers() { m_test.StopWorkers(); }
    /// Whether the four that answer stand in front.
    bool IsRanked() const {
        const auto listing = m_list.GetListing();
        for (std::size_t n = 0; n < 4; ++n) {
            if (!listing.arServers[n].measured || listing.arServers[n].measured->nLatency >= LATENCY_FAILED)
                return false;
        }
        return true;
    }
    Text GetFastUrl() const { return m_arServers.back().GetUrl(); }

private:
    std::array<CServer, 8> m_arServers{CServer(false), CServer(false), CServer(false), CServer(false),
                                       CServer(true),  CServer(true),  CServer(true),  CServer(true)};
    Text m_strUrls;
    CSilentHost m_host;
    CSession m_session{platform::MachineClock()};
    CServerList m_list;
    CLatencyTest m_test{m_host, m_session, platform::MachineClock()};
};

void OneAnswer(benchmark::State& state) {
    const CWorld world;
    const Text strUrl = world.GetFastUrl();
    for (auto _ : state) {
        std::uint32_t nLength = 0;
        Text strError;
        if (!DoGetHttpQuery(strUrl, &nLength, {}, strError, true, 0)) return state.SkipWithError("no answer");
    }
}

void RunTests(benchmark::State& state, bool bSwept) {
    CWorld world;
    for (auto _ : state) {
        state.PauseTiming();
        world.Assign();
        if (bSwept) world.StopWorkers();
        state.ResumeTiming();
        world.StartLatencyTest();
        if (!world.IsRanked()) return state.SkipWithError("not ranked");
    }
}

void LatencyTest(benchmark::State& state) { RunTests(state, true); }
void LatencyTestAgain(benchmark::State& state) { RunTests(state, false); }

BENCHMARK(OneAnswer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LatencyTest)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LatencyTestAgain)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace bench
}  // namespace qvant

BENCHMARK_MAIN();
