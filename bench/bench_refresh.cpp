/// The service keeping itself current, with a server on loopback.
///
/// `PassWithoutNews` is to stay within 25 ms: a refresh pass of 4 classifications that finds nothing new.
/// `ClockToRequest` is to stay within 60 ms: from the host's clock at a reset time to the first request at the server,
/// the 50 ms of the burst's first timer included.

#include <optional>
#include <string>

#include <benchmark/benchmark.h>

#include "qvant/lumivale.h"
#include "service/lumivale.h"
#include "support/document_server.h"
#include "support/driven_clock.h"
#include "support/scratch_folder.h"
#include "support/test_host.h"

namespace qvant::test {
namespace {

constexpr std::int64_t PERIOD = 2'220'000;
constexpr const char* SECURITIES =
    R"({"LastVersion":"7","SecuritiesInfo":{"QV.F.TWF.TXF":{"OpenCloseTime":"08:45~13:45","ResetTime":"08:30"}}})";

/// A signed-in service of a user with four classifications.
class CTerminal {
public:
    explicit CTerminal(const platform::IClock& clock) : m_clock(clock) {
        for (const auto* pszTable :
             {u"QvantSystemTime", u"STORAGE", u"OpenTimeExchange", u"orderExchange", u"Security.Info", u"Contract.List",
              u"Contract.List.Name", u"HOTMONTHTABLE", u"NearbyMonth"}) {
            m_host.MakeTable(pszTable);
        }
        m_host.Set(u"GeneralService", {{u"AppsLanguage", u"ENG"}});
        m_host.Set(u"PERMISSIONS.LUMIVale", {{u"LUMIValeURL", m_server.GetUrl()}, {u"InfoListType", u"ALL"}});
        m_host.SetRows(u"PERMISSIONS.LUMIVale",
                       {u"Classification=a", u"Classification=b", u"Classification=c", u"Classification=d"});
        m_server.Publish("7", SECURITIES);
        for (const char* pszName : {"A", "B", "C", "D"}) {
            m_server.PublishList(pszName, "1", R"({"LastVersion":"1","Classification":{"ENG":"List"}})");
        }
        SignIn();
    }
    ~CTerminal() { m_service.reset(); }

    /// A new service object, as after a restart.
    void SignIn() {
        m_service.emplace(m_host, m_clock);
        for (const SubStatus nSubStatus : {SYSTEM_STATUS_INIT, SYSTEM_STATUS_START, SYSTEM_STATUS_LOGIN}) {
            m_service->OnSystemStatus(SYSTEM_STATUS, nSubStatus);
        }
    }
    std::vector<TimerState> ListTimers() const { return m_service->ListTimers(); }
    CTestHost& GetHost() { return m_host; }
    CDocumentServer& GetServer() { return m_server; }

private:
    const platform::IClock& m_clock;
    CEnvironment m_zone{"TZ", "UTC"};
    CScratchFolder m_folder;
    CEnvironment m_home{"LUMIVALE_HOME", m_folder.GetPath().string()};
    CEnvironment m_common{"LUMIVALE_COMMON_DATA", m_folder.GetPath().string()};
    CTestHost m_host;
    CDocumentServer m_server;
    std::optional<CLumivale> m_service;
};

void PassWithoutNews(benchmark::State& state) {
    CDrivenClock clock(platform::MachineClock().NowMilliseconds());
    CTerminal terminal(clock);
    clock.Expect([&]() -> std::optional<std::vector<std::int64_t>> {
        std::vector<std::int64_t> arDue;
        for (const TimerState& timer : terminal.ListTimers()) {
            if (timer.bRunning || !timer.nNextDue) return std::nullopt;
            arDue.push_back(*timer.nNextDue);
        }
        return arDue;
    });
    const std::size_t nBefore = terminal.GetServer().GetTargets().size();
    for (auto _ : state) clock.Advance(PERIOD);
    const std::size_t nQueries = terminal.GetServer().GetTargets().size() - nBefore;
    if (nQueries != 5 * static_cast<std::size_t>(state.iterations())) state.SkipWithError("a query is missing");
}
BENCHMARK(PassWithoutNews)->Unit(benchmark::kMillisecond)->UseRealTime();

void ClockToRequest(benchmark::State& state) {
    CTerminal terminal(platform::MachineClock());
    for (auto _ : state) {
        state.PauseTiming();
        terminal.SignIn();
        const std::size_t nBefore = terminal.GetServer().GetTargets().size();
        state.ResumeTiming();
        terminal.GetHost().Set(u"QvantSystemTime", {{u"SystemTime", u"83000"}});
        terminal.GetServer().WaitForQueries(nBefore + 1);
    }
}
BENCHMARK(ClockToRequest)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(20);

}  // namespace
}  // namespace qvant::test

BENCHMARK_MAIN();
