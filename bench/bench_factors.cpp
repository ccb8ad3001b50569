/// Adjustment factors of 5,000 rows: from a server's reply in memory to the answer sent, next to RapidJSON parsing and
/// writing the same text; and a request that is answered from the table.
///
/// `FactorsToAnswer` is to stay within twice `PlainFactors`, `KeptFactors` within 200 us. The others show where the
/// time goes.

#include <cstring>
#include <map>
#include <string>

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "base/format.h"
#include "rolls/adjustment_factors.h"
#include "rolls/factor_text.h"
#include "support/history_reply.h"

namespace qvant::test {
namespace {

constexpr int ROWS = 5000;
constexpr const char16_t* SYMBOL = u"QV.F.CME.ES.HOT";

/// Factors of so many days, with what else a server tells of each.
const std::string& GetFactors() {
    static const std::string strFactors = [] {
        Text strJson = u"{\"s\":\"I.F.CME.ES\",\"data\":[";
        for (int i = 0; i < ROWS; ++i) {
            const int nDate = (2000 + i / 336) * 10000 + (i / 28 % 12 + 1) * 100 + i % 28 + 1;
            strJson += Format(u"{\"od\":%d,\"d\":%d,\"t\":93000000,\"sxd\":%.6f,\"gap\":%.2f,\"s\":\"%06d\"},", nDate,
                              nDate, 1 + i * 0.000137, i * 0.25, 200001 + i);
        }
        strJson.back() = u']';
        return Narrow(strJson + u"}");
    }();
    return strFactors;
}

/// A host of tables that nobody listens to.
class CHost : public IHost {
public:
    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t nParameter, TextView, VARIANT* pData) override {
        m_nParameter = nParameter;
        m_nUnits = pData->vt == VT_BSTR ? SysStringLen(pData->bstrVal) : 0;
    }
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView) override {}
    std::unique_ptr<CBaseData> OpenTable(TextView, CBaseDataEventReceiver*) override { return nullptr; }

    std::int32_t m_nParameter = -1;  ///< of the last topic
    std::size_t m_nUnits = 0;        ///< of its payload
};

class CFactors {
public:
    void Take(const std::string& strReply) { m_factors.TakeReply(SYMBOL, strReply); }
    void Request() { m_factors.OnRequest(SYMBOL); }
    bool HasAnswered(std::int32_t nParameter) const {
        return m_host.m_nParameter == nParameter && m_host.m_nUnits > GetFactors().size();
    }

private:
    CHost m_host;
    const platform::IClock& m_clock = platform::MachineClock();
    CSession m_session{m_clock};
    CErrorReport m_errors{m_host, m_clock};
    CRollServers m_servers;
    CSymbolMapping m_mapping{m_host};
    CResetTimes m_resetTimes;
    const std::unique_ptr<CBaseData> m_pTable = CBaseData::CreateNew();
    CAdjustmentFactors m_factors{
        {m_host, m_clock, m_session, m_errors, m_servers, m_mapping, m_resetTimes},
        {[this] { return m_pTable.get(); }, [] { return 0; }, [] {}, [] {}, [](const Text&) {}}};
};

void PlainFactors(benchmark::State& state) {
    const std::string& strFactors = GetFactors();
    for (auto _ : state) {
        rapidjson::Document document;
        document.Parse(strFactors.c_str());
        rapidjson::StringBuffer buffer;
        rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
        document.Accept(writer);
        benchmark::DoNotOptimize(buffer.GetString());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(strFactors.size()));
}

void FactorsToAnswer(benchmark::State& state) {
    const std::string strReply = MakeHistoryReply(GetFactors());
    CFactors factors;
    for (auto _ : state) {
        factors.Take(strReply);
        if (!factors.HasAnswered(1)) state.SkipWithError("the factors weren't taken");
    }
}

void KeptFactors(benchmark::State& state) {
    CFactors factors;
    factors.Take(MakeHistoryReply(GetFactors()));
    for (auto _ : state) {
        factors.Request();
        if (!factors.HasAnswered(3)) state.SkipWithError("the factors weren't there");
    }
}

void UnpackFactors(benchmark::State& state) {
    const std::string strReply = MakeHistoryReply(GetFactors());
    for (auto _ : state) benchmark::DoNotOptimize(UnpackHistoryReply(strReply).strUtf8.size());
}

void EnrichFactorText(benchmark::State& state) {
    const std::string& strFactors = GetFactors();
    for (auto _ : state) {
        HistoryText text;
        text.pMemory = std::make_unique_for_overwrite<std::uint8_t[]>(strFactors.size() + 1);
        std::memcpy(text.pMemory.get(), strFactors.c_str(), strFactors.size() + 1);
        text.strUtf8 = {reinterpret_cast<const char*>(text.pMemory.get()), strFactors.size()};
        benchmark::DoNotOptimize(EnrichFactors(std::move(text), false).size());
    }
}

BENCHMARK(PlainFactors)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(FactorsToAnswer)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(KeptFactors)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(UnpackFactors)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(EnrichFactorText)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
}  // namespace qvant::test

BENCHMARK_MAIN();
