/// Reply lines and roll files: taking a reply of a million lines apart, next to finding its lines and summing up their
/// bytes; comparing the files of 3,000 products of which none has moved, next to reading them.
///
/// `DecodeReply/1000000` is to stay within 1.5 s, `ProcessRequeryData` within 100 ms.
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <unistd.h>

#include "base/format.h"
#include "net/quote_message.h"
#include "platform/files.h"
#include "rolls/rolling_data.h"
#include "store/base_data.h"
#include "support/quote_line.h"

namespace qvant::bench {
namespace {

constexpr int CONTRACT = 14;
constexpr int DATE = 22;
constexpr int PRODUCTS = 3'000;

class CSilentHost : public IHost {
public:
    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView) override { ++nLines; }
    std::unique_ptr<CBaseData> OpenTable(TextView, CBaseDataEventReceiver*) override { return nullptr; }

    int nLines = 0;
};

/// A reply as a server of hot months gives it, only longer.
std::string MakeReply(std::int64_t nLines) {
    std::string strReply;
    for (std::int64_t i = 0; i < nLines; ++i) {
        const std::string strMonth = std::to_string(200'001 + i % 100 * 100 + i % 12);
        strReply += test::CQuoteLine()
                        .String(CONTRACT, "LUM.CME.ES." + strMonth)
                        .Integer(DATE, 20'000'101 + i)
                        .Get()
                        .append("\r\n");
    }
    return strReply;
}

void ScanReply(benchmark::State& state) {
    const std::string strReply = MakeReply(state.range(0));
    for (auto _ : state) {
        unsigned nSum = 0;
        std::string_view strRest = strReply;
        for (std::size_t nEnd = strRest.find('\n'); nEnd != std::string_view::npos; nEnd = strRest.find('\n')) {
            for (const char ch : strRest.substr(0, nEnd)) nSum += static_cast<unsigned char>(ch);
            strRest.remove_prefix(nEnd + 1);
        }
        benchmark::DoNotOptimize(nSum);
    }
}

void DecodeReply(benchmark::State& state) {
    const std::string strReply = MakeReply(state.range(0));
    for (auto _ : state) {
        std::int64_t nLines = 0;
        std::int64_t nSum = 0;
        ForEachQuoteMessage(strReply, [&](const CLum_QuoteMsg2U& message) {
            ++nLines;
            nSum += message.GetInteger(DATE) + static_cast<std::int64_t>(message.GetString(CONTRACT)->size());
        });
        benchmark::DoNotOptimize(nSum);
        if (nLines != state.range(0)) return state.SkipWithError("a line is missing");
    }
}

/// A common data folder with the hot-change files of the products, three years of rolls in each.
class CFolder {
public:
    CFolder() : m_path(std::filesystem::temp_directory_path() / ("lumivale-bench-" + std::to_string(getpid()))) {
        std::filesystem::create_directories(m_path / "Qvant/HotChange");
        setenv("LUMIVALE_COMMON_DATA", m_path.c_str(), 1);
        std::string strFile = "210000\r\n";
        for (int i = 0; i < 12; ++i) strFile += "20" + std::to_string(261'211 - i * 300) + "->202703\r\n";
        for (int i = 0; i < PRODUCTS; ++i) {
            const Text strKey = Format(u"QV.F.CME.P%d", i);
            const Text& strPath =
                arPaths.emplace_back(Format(u"%s/Qvant/HotChange/%s.HOT.txt", Widen(m_path.string()), strKey));
            std::ofstream(Narrow(strPath), std::ios::binary) << strFile;
            arHotMonths.push_back({strKey + u".202703", strKey + u".HOT"});
            resetTimes.Set(strKey, u"210000");
        }
    }
    ~CFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    CFolder(const CFolder&) = delete;
    CFolder& operator=(const CFolder&) = delete;

    std::vector<Text> arPaths;
    std::vector<HotMonth> arHotMonths;
    CResetTimes resetTimes;

private:
    std::filesystem::path m_path;
};

const CFolder& GetFolder() {
    static const CFolder folder;
    return folder;
}

void ReadRollFiles(benchmark::State& state) {
    const CFolder& folder = GetFolder();
    for (auto _ : state) {
        for (const Text& strPath : folder.arPaths) {
            if (!platform::ReadWholeFile(strPath)) return state.SkipWithError("no such file");
        }
    }
}

void ProcessRequeryData(benchmark::State& state) {
    const CFolder& folder = GetFolder();
    CSilentHost host;
    CSession session(platform::MachineClock());
    const CRollServers servers;
    CRollingData data({host, session, servers, folder.resetTimes}, [&folder] { return folder.arHotMonths; });
    for (auto _ : state) {
        host.nLines = 0;
        data.ProcessRequeryData();
        if (host.nLines != 2) return state.SkipWithError("a product has moved");
    }
}

BENCHMARK(ScanReply)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeReply)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadRollFiles)->Unit(benchmark::kMillisecond);
BENCHMARK(ProcessRequeryData)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace qvant::bench

BENCHMARK_MAIN();
