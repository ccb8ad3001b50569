/// The store against the plain map of the standard library: a look-up while another thread commits, and a bulk load.
///
/// Run with --benchmark_repetitions=10 --benchmark_format=json; the figures are ReadKeyDuringCommits over LookUpInMap
/// and CommitKeys over FillMap.
#include <algorithm>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "base/format.h"
#include "store/base_data.h"

namespace qvant {
namespace {

constexpr int KEY_COUNT = 100'000;

/// Contract symbols and values of the length that the contract tables have.
struct SampleData {
    std::vector<Text> arKeys;
    std::vector<Text> arValues;
    std::vector<Text> arAsked;  ///< the keys in another order

    SampleData() {
        for (int i = 0; i < KEY_COUNT; ++i) {
            arKeys.push_back(Format(u"QV.F.CME.P%04d.20%02d%02d", i / 240, 20 + i % 240 / 12, i % 12 + 1));
            arValues.push_back(Format(u"E-mini product %05d|USD|0.25|12.50|22:00", i));
        }
        arAsked = arKeys;
        std::shuffle(arAsked.begin(), arAsked.end(), std::mt19937(7));
    }
};

const SampleData& GetData() {
    static const SampleData data;
    return data;
}

using Map = std::unordered_map<std::u16string, std::u16string>;

void Fill(Map& map) {
    const SampleData& data = GetData();
    for (std::size_t i = 0; i < data.arKeys.size(); ++i) map.emplace(data.arKeys[i], data.arValues[i]);
}

void Fill(CBaseData& table) {
    const SampleData& data = GetData();
    CTransaction transaction(table);
    for (std::size_t i = 0; i < data.arKeys.size(); ++i) transaction.SetValue(data.arKeys[i], data.arValues[i]);
    transaction.Commit();
}

void LookUpInMap(benchmark::State& state) {
    Map map;
    Fill(map);
    const auto& arAsked = GetData().arAsked;
    std::size_t i = 0;
    for (auto _ : state) {
        const auto it = map.find(arAsked[i]);
        benchmark::DoNotOptimize(it->second.data());
        if (++i == arAsked.size()) i = 0;
    }
}
BENCHMARK(LookUpInMap)->UseRealTime();

/// Commits one key after another, without a pause, until it is destroyed.
class CCommitter {
public:
    explicit CCommitter(CBaseData& table)
        : m_thread([&table](const std::stop_token& stop) {
              const SampleData& data = GetData();
              for (std::size_t i = 0; !stop.stop_requested(); i = (i + 7919) % data.arKeys.size()) {
                  CTransaction transaction(table);
                  transaction.SetValue(data.arKeys[i], data.arValues[i]);
                  transaction.Commit();
              }
          }) {}

private:
    std::jthread m_thread;
};

void Read(benchmark::State& state, const CBaseData& table) {
    const auto& arAsked = GetData().arAsked;
    std::size_t i = 0;
    for (auto _ : state) {
        const CVariant value = table.GetVariant(arAsked[i]);
        benchmark::DoNotOptimize(value.bstrVal);
        if (++i == arAsked.size()) i = 0;
    }
}

void ReadKey(benchmark::State& state) {
    const auto pTable = CBaseData::CreateNew();
    if (!pTable) return state.SkipWithError("no store");
    Fill(*pTable);
    Read(state, *pTable);
}
BENCHMARK(ReadKey)->UseRealTime();

void ReadKeyDuringCommits(benchmark::State& state) {
    const auto pTable = CBaseData::CreateNew();
    if (!pTable) return state.SkipWithError("no store");
    Fill(*pTable);
    const CCommitter committer(*pTable);
    Read(state, *pTable);
}
BENCHMARK(ReadKeyDuringCommits)->UseRealTime();

void FillMap(benchmark::State& state) {
    GetData();
    for (auto _ : state) {
        std::optional<Map> map(std::in_place);
        Fill(*map);
        state.PauseTiming();
        map.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(FillMap)->UseRealTime()->Unit(benchmark::kMillisecond);

void CommitKeys(benchmark::State& state) {
    GetData();
    for (auto _ : state) {
        state.PauseTiming();
        auto pTable = CBaseData::CreateNew();
        if (!pTable) return state.SkipWithError("no store");
        state.ResumeTiming();
        Fill(*pTable);
        state.PauseTiming();
        pTable.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(CommitKeys)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvant

BENCHMARK_MAIN();
