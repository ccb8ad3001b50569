/// The securities pass: from a reply in memory to all tables committed, next to RapidJSON parsing the same bytes.
///
/// `Pass/60000` is to stay within four times `PlainParse/60000`, and within eleven times `Pass/6000`. The others show
/// where the time goes.

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>

#include <benchmark/benchmark.h>
#include <rapidjson/document.h>

#include "documents/reply_file.h"
#include "documents/securities_document.h"
#include "model/underlying_lists.h"

namespace qvant {
namespace {

struct Exchange {
    const char* pszName;
    const char* pszZone;
    const char* pszSessions;
    const char* pszReset;
};

constexpr Exchange EXCHANGES[] = {
    {"CME", "America/Chicago", "17:00~16:00", "16:30"},
    {"CBOT", "America/Chicago", "19:00~07:45;08:30~13:20", "16:30"},
    {"NYMEX", "America/New_York", "18:00~17:00", "17:30"},
    {"ICEUS", "America/New_York", "20:00~18:00", "18:30"},
    {"EUREX", "Europe/Berlin", "01:10~22:00", "00:30"},
    {"LIFFE", "Europe/London", "01:00~21:00", "00:30"},
    {"TSE", "Asia/Tokyo", "08:45~15:15;16:30~06:00", "08:00"},
    {"TFE", "Asia/Taipei", "08:45~13:45;15:00~05:00", "14:50"},
    {"HKEX", "Asia/Hong_Kong", "09:15~12:00;13:00~16:30;17:15~03:00", "08:30"},
    {"SGX", "Asia/Singapore", "07:30~19:55;20:30~05:15", "07:00"},
    {"SHFE", "Asia/Shanghai", "21:00~02:30;09:00~10:15;10:30~11:30;13:30~15:00", "20:30"},
    {"SSE", "Asia/Shanghai", "09:30~11:30;13:00~15:00", "08:30"},
    {"SZSE", "Asia/Shanghai", "09:30~11:30;13:00~15:00", "08:30"},
    {"ASX", "Australia/Sydney", "17:10~07:00;09:50~16:30", "08:30"},
};

constexpr const char* CITIES =
    "Chicago,Central Standard Time\nNew York,Eastern Standard Time\nBerlin,W. Europe Standard Time\n"
    "London,GMT Standard Time\nTokyo,Tokyo Standard Time\nTaipei,Taipei Standard Time\n"
    "Hong Kong,China Standard Time\nSingapore,Singapore Standard Time\nShanghai,China Standard Time\n"
    "Sydney,AUS Eastern Standard Time\n";

void AppendMember(std::string& strJson, const std::string& strName, const std::string& strValue) {
    strJson.append("\"").append(strName).append("\":\"").append(strValue).append("\",");
}

/// One security: every third a future, an option and a stock.
void AppendSecurity(std::string& strJson, int nIndex) {
    const Exchange& exchange = EXCHANGES[static_cast<std::size_t>(nIndex / 3) % std::size(EXCHANGES)];
    const char* pszClass = nIndex % 3 == 0 ? "F" : nIndex % 3 == 1 ? "O" : "S";
    const std::string strCode = std::to_string(100000 + nIndex);
    const std::string strProduct = std::string("QV.") + pszClass + "." + exchange.pszName + "." + strCode;
    strJson.append("\"").append(strProduct).append("\":{");
    AppendMember(strJson, "Name.ENG", "Product " + strCode);
    AppendMember(strJson, "Name.CHT", "\xE5\x95\x86\xE5\x93\x81" + strCode);
    AppendMember(strJson, "Name.-CN", "\xE4\xBA\xA7\xE5\x93\x81" + strCode);
    AppendMember(strJson, "TimeZone", exchange.pszZone);
    AppendMember(strJson, "OpenCloseTime", exchange.pszSessions);
    AppendMember(strJson, "ResetTime", exchange.pszReset);
    AppendMember(strJson, "EXG", exchange.pszName);
    AppendMember(strJson, "EXG.mo", "1");
    AppendMember(strJson, "Symbol.QVDATA", strCode);
    if (nIndex % 3 == 2) {
        AppendMember(strJson, "pinyin", "cp" + strCode);
        AppendMember(strJson, "securityMainType", "ES");
    } else {
        AppendMember(strJson, "Underlying", std::string("QV.S.") + exchange.pszName + "." + strCode);
        AppendMember(strJson, "SettlementTime", exchange.pszReset);
    }
    if (nIndex % 3 == 1) {
        AppendMember(strJson, "Underlying.F", std::string("QV.F.") + exchange.pszName + "." + strCode);
        AppendMember(strJson, "OptionStyle", nIndex % 2 ? "American" : "European");
    }
    if (nIndex % 20 == 0) AppendMember(strJson, "NewFormatOCT", "0845-1345|1500-0500:3");
    if (nIndex % 50 == 0) AppendMember(strJson, "SpecificOCT", "20240213:0845-1345|20240214:0845-1345,1500-1700");
    strJson.back() = '}';
    strJson.push_back(',');
}

/// The reply of a server with that many securities, about a third of a kilobyte each.
const std::string& GetReply(int nSecurities) {
    static std::map<int, std::string> mapReplies;
    std::string& strReply = mapReplies[nSecurities];
    if (!strReply.empty()) return strReply;
    strReply = "{\"LastVersion\":\"20240116001\",\"SecuritiesInfo\":{";
    for (int i = 0; i < nSecurities; ++i) AppendSecurity(strReply, i);
    strReply.back() = '}';
    return strReply.append("}");
}

/// A host of tables that nobody listens to.
class CHost : public IHost {
public:
    CHost() {
        for (const TextView strTable : {u"Security.Info", u"OpenTimeExchange", u"orderExchange", u"STORAGE",
                                        u"Underlying.List", u"Underlying.F.List", u"OptionStyle"}) {
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
    CBaseData* operator[](TextView strName) { return m_mapTables.at(Text(strName)).get(); }

private:
    std::map<Text, std::unique_ptr<CBaseData>> m_mapTables;
};

/// What the service has around a pass.
class CService {
public:
    CService() {
        m_folder = std::filesystem::temp_directory_path() / ("qv-bench-" + std::to_string(std::random_device{}()));
        std::filesystem::create_directories(m_folder / "Configs");
        std::ofstream(m_folder / "cities.txt") << CITIES;
        m_zones.LoadCities(Widen((m_folder / "cities.txt").string()));
        m_zones.LoadTimeZones(platform::MachineClock());
        m_document.SetHomeDir(Widen((m_folder / "").string()));
    }
    ~CService() { std::filesystem::remove_all(m_folder); }

    /// All that follows on the transfer of a reply: it is parsed and saved, then loaded, and the lists are made.
    bool Pass(const std::string& strReply) {
        const bool bTaken = m_document.TakeReply(strReply, u"http://127.0.0.1/");
        m_document.LoadSecuritiesInfo(m_host[u"Security.Info"]);
        return bTaken;
    }

    // The steps of a pass, each alone.
    void Parse(const std::string& strReply) { ParseUtf8(m_docSecurities, strReply); }
    void Drop() { JsonDocument().Swap(m_docSecurities); }
    bool Save(const std::string& strReply) {
        return CReplyFile(Widen((m_folder / "LumivaleInfo.dat").string()), strReply).Commit();
    }
    void FillTables() { m_parser.ParseJsonData(m_docSecurities, m_host[u"Security.Info"]); }
    void MakeLists() {
        m_lists.MakeUnderlyingList({m_host[u"Security.Info"], m_host[u"Underlying.List"], m_host[u"Underlying.F.List"],
                                    m_host[u"OptionStyle"]},
                                   u"ENG");
    }

private:
    std::filesystem::path m_folder;
    CHost m_host;
    CTimeZones m_zones;
    CExchangeTimes m_times{m_zones, platform::MachineClock()};
    CSecuritiesParser m_parser{m_host, m_times};
    CUnderlyingLists m_lists{m_host};
    RunState m_state;
    CSession m_session{platform::MachineClock()};
    CServerList m_servers;
    CErrorReport m_errors{m_host, platform::MachineClock()};
    CStorageTables m_storage{m_host, m_state, {}};
    CSecuritiesDocument m_document{{m_host, m_session, m_servers, m_errors, m_storage, m_parser, m_state},
                                   [this] { MakeLists(); }};
    JsonDocument m_docSecurities;
};

void PlainParse(benchmark::State& state) {
    const std::string& strReply = GetReply(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        rapidjson::GenericDocument<rapidjson::UTF16<char16_t>> document;
        document.Parse<0, rapidjson::UTF8<>>(strReply.data(), strReply.size());
        benchmark::DoNotOptimize(document.MemberCount());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(strReply.size()));
}

void Pass(benchmark::State& state) {
    const std::string& strReply = GetReply(static_cast<int>(state.range(0)));
    CService service;
    for (auto _ : state) {
        if (!service.Pass(strReply)) state.SkipWithError("the reply wasn't taken");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(strReply.size()));
}

void DepthLimitedParse(benchmark::State& state) {
    const std::string& strReply = GetReply(static_cast<int>(state.range(0)));
    CService service;
    for (auto _ : state) {
        service.Parse(strReply);
        service.Drop();
    }
}

void Save(benchmark::State& state) {
    const std::string& strReply = GetReply(static_cast<int>(state.range(0)));
    CService service;
    for (auto _ : state) {
        if (!service.Save(strReply)) state.SkipWithError("the reply wasn't saved");
    }
}

void FillTables(benchmark::State& state) {
    CService service;
    service.Parse(GetReply(static_cast<int>(state.range(0))));
    for (auto _ : state) service.FillTables();
}

void MakeLists(benchmark::State& state) {
    CService service;
    service.Parse(GetReply(static_cast<int>(state.range(0))));
    service.FillTables();
    for (auto _ : state) service.MakeLists();
}

BENCHMARK(PlainParse)->Arg(6000)->Arg(60000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Pass)->Arg(6000)->Arg(60000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(DepthLimitedParse)->Arg(60000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(Save)->Arg(60000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FillTables)->Arg(60000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(MakeLists)->Arg(60000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace qvant

BENCHMARK_MAIN();
