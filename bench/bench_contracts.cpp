/// The load of the contract lists: from the files on disk to all results, committed tables and the shared block, next
/// to the wide JSON reader reading the same files. The search database isn't part of it.
///
/// `LoadContractList/100000` is to stay within twice `ReadFiles/100000`, `LoadContractList/1000000` within eleven times
/// `LoadContractList/100000`, and `PeakMegabytes`, the most memory that the process had, below 2,560 at a million. It
/// counts for a size that runs alone: --benchmark_filter=^LoadContractList/1000000

#include <memory>

#include <benchmark/benchmark.h>

#include "contract_world.h"
#include "documents/contract_list_document.h"
#include "net/wide_json.h"

namespace qvant::bench {
namespace {

/// What the service has around a load.
class CService {
public:
    explicit CService(const CWorld& world) : m_model(world) {
        // As at the start of a service: the symbols are built by its next step.
        m_model.state.m_bPreProcessing = true;
        m_document.SetHomeDir(GetHome().GetFolder());
    }

    void LoadContractList() {
        CHost& host = m_model.host;
        m_document.LoadContractList(
            {&host[u"Contract.List.Name"], &host[u"HOTMONTHTABLE"], &host[u"NearbyMonth"], &host[u"Contract.List"]});
    }
    std::size_t GetCount() const { return m_model.builder.m_arContractInsertData.size(); }
    /// As the search build leaves them.
    void DropRows() { m_model.builder.m_arContractInsertData = {}; }

private:
    Model m_model;
    CSession m_session{platform::MachineClock()};
    CServerList m_servers;
    CErrorReport m_errors{m_model.host, platform::MachineClock()};
    CStorageTables m_storage{m_model.host, m_model.state, {}};
    CContractListDocument m_document{{m_model.host, m_session, m_servers, m_errors, m_storage, m_model.builder,
                                      m_model.state, platform::MachineClock()},
                                     {[] { return false; }, [] {}, [] {}}};
};

/// The lists of the world lie on the disk, where the service looks for them.
const CWorld& PrepareFiles(benchmark::State& state) {
    const CWorld& world = GetWorld(state.range(0));
    GetHome().WriteLists(world);
    return world;
}

void ReadFiles(benchmark::State& state) {
    const CWorld& world = PrepareFiles(state);
    for (auto _ : state) {
        for (const auto& [strName, strUnused] : world.arFiles) {
            const auto strText = platform::ReadWholeText(GetHome().GetList(strName));
            CJsonValue file;
            if (!strText || ParseValue(file, strText->data(), static_cast<std::int32_t>(strText->size())) == 0) {
                return state.SkipWithError("no list");
            }
            benchmark::DoNotOptimize(file.GetType());
        }
    }
}

/// The first load of a service.
void LoadFirstContractList(benchmark::State& state) {
    const CWorld& world = PrepareFiles(state);
    for (auto _ : state) {
        state.PauseTiming();
        auto pService = std::make_unique<CService>(world);
        state.ResumeTiming();
        pService->LoadContractList();
        state.PauseTiming();
        pService.reset();
        state.ResumeTiming();
    }
}

/// Each one after it.
void LoadContractList(benchmark::State& state) {
    CService service(PrepareFiles(state));
    service.LoadContractList();
    service.DropRows();
    for (auto _ : state) {
        service.LoadContractList();
        state.PauseTiming();
        state.counters["Contracts"] = static_cast<double>(service.GetCount());
        service.DropRows();
        state.ResumeTiming();
    }
    state.counters["PeakMegabytes"] = GetPeakMegabytes();
}

BENCHMARK(ReadFiles)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LoadFirstContractList)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(LoadContractList)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace qvant::bench

BENCHMARK_MAIN();
