/// The contract pass: the texts of the contract list files to all results and committed tables, next to the wide JSON
/// reader reading the same texts.
///
/// `MakeContractList/100000` is to stay within twice `ReadFiles/100000`, and `MakeContractList/1000000` within eleven
/// times `MakeContractList/100000`. `PeakMegabytes` is the most memory that the process had; run one size alone to see
/// what it takes: --benchmark_filter=MakeContractList/1000000

#include <map>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include "base/format.h"
#include "model/contract_builder.h"
#include "net/wide_json.h"

namespace qvant {
namespace {

constexpr const char16_t* EXCHANGES[] = {u"CME",   u"CBOT", u"NYMEX", u"ICEUS", u"EUREX", u"TFE",
                                         u"CFFEX", u"SHFE", u"DCE",   u"CZCE",  u"HKEX",  u"SGX"};
constexpr int EXCHANGE_COUNT = static_cast<int>(std::size(EXCHANGES));

/// A leaf in the making.
class CLeaf {
public:
    void Add(TextView strSymbol, TextView strExpiry, TextView strMargin, TextView strInstrument) {
        const TextView arTexts[] = {strSymbol, strExpiry, strInstrument, strMargin, strMargin};
        for (std::size_t i = 0; i < std::size(arTexts); ++i) {
            if (!arTexts[i].empty()) AppendAll(m_arLists[i], {u"\"", arTexts[i], u"\","});
        }
    }
    void AppendTo(Text& strFile, TextView strName) const {
        constexpr TextView NAMES[] = {u"Contracts", u"ExpirationDate", u"InstrumentID", u"LongMarginRate",
                                      u"ShortMarginRate"};
        AppendAll(strFile, {u"{\"ENG\":\"", strName, u"\",\"CHT\":\"\u5546\u54C1 ", strName, u"\""});
        for (std::size_t i = 0; i < std::size(NAMES); ++i) {
            const TextView strList = m_arLists[i];
            if (!strList.empty()) {
                AppendAll(strFile, {u",\"", NAMES[i], u"\":[", strList.substr(0, strList.size() - 1), u"]"});
            }
        }
        strFile.append(u"},");
    }

private:
    Text m_arLists[5];
};

/// The files of the classifications, and the names of their products.
class CWorld {
public:
    explicit CWorld(int nContracts) {
        MakeFile(u"FUT", nContracts / 5, 240, [this](int nLeaf, Text& strFile) { return AddFutures(nLeaf, strFile); });
        MakeFile(u"OPT", nContracts / 2, 800, [this](int nLeaf, Text& strFile) { return AddOptions(nLeaf, strFile); });
        MakeFile(u"STK", nContracts * 3 / 10, 2000,
                 [this](int nLeaf, Text& strFile) { return AddStocks(nLeaf, strFile); });
    }

    std::vector<std::pair<Text, Text>> arFiles;  ///< classification and text
    std::vector<Text> arProducts;

private:
    /// A file of so many contracts, in categories of about so many each.
    template <class AddLeaf>
    void MakeFile(TextView strName, int nContracts, int nCategory, AddLeaf addLeaf) {
        Text strFile = Format(u"{\"ENG\":\"%s\",\"CHT\":\"\u5206\u985E\",\"Node\":[", strName);
        int nMade = 0;
        for (int nNode = 0, nLeaf = 0; nMade < nContracts; ++nNode) {
            strFile += Format(u"{\"ENG\":\"Group %d\",\"CHT\":\"\u7FA4\u7D44 %d\",\"Node\":[", nNode, nNode);
            for (const int nEnd = nMade + nCategory; nMade < nEnd && nMade < nContracts; ++nLeaf) {
                nMade += addLeaf(nLeaf, strFile);
            }
            strFile.back() = u']';
            strFile.append(u"},");
        }
        strFile.back() = u']';
        arFiles.emplace_back(strName, strFile.append(u"}"));
    }

    Text AddProduct(TextView strClass, int nIndex) {
        return arProducts.emplace_back(
            Format(u"QV.%s.%s.P%d", strClass, EXCHANGES[nIndex % EXCHANGE_COUNT], 100 + nIndex));
    }
    static Text Month(int nIndex) { return Format(u"20%02d%02d", 26 + nIndex / 12, nIndex % 12 + 1); }

    int AddFutures(int nLeaf, Text& strFile) {
        const Text strProduct = AddProduct(u"F", nLeaf);
        CLeaf leaf;
        for (int i = 0; i < 12; ++i) {
            leaf.Add(Concatenate({strProduct, u".", Month(i)}), Month(i) + u"18", u"0.0825",
                     Format(u"P%d%02d", nLeaf, i));
        }
        leaf.AppendTo(strFile, strProduct.substr(5));
        CLeaf hot;
        hot.Add(Concatenate({strProduct, u".", Month(2)}), Month(2) + u"18", u"0.0825", Format(u"P%d%02d", nLeaf, 2));
        strFile += Format(u"{\"ENG\":\"HOT\",\"CHT\":\"\u71B1\u9580\",\"Node\":[");
        hot.AppendTo(strFile, strProduct.substr(5));
        strFile.back() = u']';
        strFile.append(u"},");
        return 13;
    }

    int AddOptions(int nLeaf, Text& strFile) {
        if (nLeaf % 8 == 0) m_strOption = AddProduct(u"O", nLeaf / 8);
        CLeaf leaf;
        for (int i = 0; i < 100; ++i) {
            leaf.Add(Format(u"%s.%s.%c.%d", m_strOption, Month(nLeaf % 8), i % 2 ? u'C' : u'P', 2000 + i / 2 * 25),
                     Month(nLeaf % 8) + u"18", u"0.12", Format(u"P%d%c%d", nLeaf, i % 2 ? u'C' : u'P', i / 2));
        }
        leaf.AppendTo(strFile, Month(nLeaf % 8));
        return 100;
    }

    int AddStocks(int nLeaf, Text& strFile) {
        CLeaf leaf;
        for (int i = 0; i < 500; ++i) {
            const Text& strStock =
                arProducts.emplace_back(Format(u"QV.S.%s.%06d", nLeaf % 2 ? u"SSE" : u"SZSE", nLeaf * 500 + i));
            leaf.Add(strStock, {}, {}, {});
        }
        leaf.AppendTo(strFile, Format(u"Board %d", nLeaf));
        return 500;
    }

    Text m_strOption;
};

const CWorld& GetWorld(std::int64_t nContracts) {
    static std::map<std::int64_t, std::unique_ptr<CWorld>> mapWorlds;
    auto& pWorld = mapWorlds[nContracts];
    if (!pWorld) pWorld = std::make_unique<CWorld>(static_cast<int>(nContracts));
    return *pWorld;
}

/// A host of tables that nobody listens to.
class CHost : public IHost {
public:
    CHost() {
        for (const TextView strTable : {u"HOTMONTHTABLE", u"NearbyMonth", u"ExpireDate"}) {
            m_mapTables[Text(strTable)] = CBaseData::CreateNew();
        }
    }

    void RegisterTable(TextView) override {}
    void RegisterTopic(TextView) override {}
    void SendTopic(TextView, std::int32_t, std::int32_t, TextView, VARIANT*) override {}
    void ReportError(std::int32_t, std::int32_t, TextView) override {}
    void LogMessage(TextView) override {}
    std::unique_ptr<CBaseData> OpenTable(TextView strName, CBaseDataEventReceiver* pSink) override {
        return CBaseData::WrapCookie(m_mapTables.at(Text(strName))->GlobalCookie(), pSink);
    }
    CBaseData& operator[](TextView strName) { return *m_mapTables.at(Text(strName)); }

private:
    std::map<Text, std::unique_ptr<CBaseData>> m_mapTables;
};

/// What the service has around a pass.
class CService {
public:
    explicit CService(const CWorld& world) : m_world(world) {
        m_state.AppsLanguage = u"CHT";
        for (const Text& strProduct : world.arProducts) {
            m_lists.m_mapSecurityName.insert_or_assign(strProduct, u"\u5546\u54C1" + strProduct.substr(5));
        }
    }

    void MakeContractList() {
        m_builder.Clear();
        CTransaction hotMonth(m_host[u"HOTMONTHTABLE"]);
        CTransaction nearbyMonth(m_host[u"NearbyMonth"]);
        hotMonth.Clear(store::MASK_VALUES);
        nearbyMonth.Clear(store::MASK_VALUES);
        Text strClassifyText;
        for (const auto& [strName, strText] : m_world.arFiles) {
            m_builder.MakeContractList(strText, &hotMonth, &nearbyMonth, strName, strClassifyText);
        }
        nearbyMonth.Commit();
        hotMonth.Commit();
    }
    std::size_t GetCount() const { return m_builder.m_arContractInsertData.size(); }
    /// As the search build leaves them.
    void DropRows() { m_builder.m_arContractInsertData.clear(); }

private:
    const CWorld& m_world;
    CHost m_host;
    RunState m_state;
    CUnderlyingLists m_lists{m_host};
    SymbolWords m_words;
    CLocalExchanges m_localExchanges{true};
    CContractBuilder m_builder{{m_host, m_state, m_lists, m_words, m_localExchanges}};
};

double GetPeakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

void ReadFiles(benchmark::State& state) {
    const CWorld& world = GetWorld(state.range(0));
    for (auto _ : state) {
        for (const auto& [strName, strText] : world.arFiles) {
            CJsonValue file;
            ParseValue(file, strText.data(), static_cast<std::int32_t>(strText.size()));
            benchmark::DoNotOptimize(file.GetType());
        }
    }
}

/// The first pass of a service, and each one after it.
void MakeFirstContractList(benchmark::State& state) {
    const CWorld& world = GetWorld(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        auto pService = std::make_unique<CService>(world);
        state.ResumeTiming();
        pService->MakeContractList();
        state.PauseTiming();
        pService.reset();
        state.ResumeTiming();
    }
}

void MakeContractList(benchmark::State& state) {
    CService service(GetWorld(state.range(0)));
    for (auto _ : state) {
        service.MakeContractList();
        state.counters["Contracts"] = static_cast<double>(service.GetCount());
        service.DropRows();
    }
    state.counters["PeakMegabytes"] = GetPeakMegabytes();
}

BENCHMARK(ReadFiles)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(MakeFirstContractList)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(MakeContractList)->Arg(100'000)->Arg(1'000'000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace qvant

BENCHMARK_MAIN();
