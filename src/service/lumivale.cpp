#include "service/lumivale.h"

#include <chrono>
#include <random>

#include "base/failure.h"
#include "base/format.h"
#include "platform/files.h"
#include "platform/internet_limits.h"
#include "platform/module.h"
#include "platform/stop.h"
#include "qvant/lumivale.h"
#include "service/failure_code.h"
#include "service/inspection.h"

namespace qvant {

namespace {

constexpr std::chrono::milliseconds SERVER_SELECTION_LIMIT{10000};

}  // namespace

CLumivale::CLumivale(IHost& host, const platform::IClock& clock)
    : m_host(host),
      m_clock(clock),
      m_databases(host, *this),
      m_session(clock),
      m_latencyTest(host, m_session, clock),
      m_errors(host, clock),
      m_times(m_zones, clock),
      m_parser(host, m_times),
      m_lists(host),
      m_builder({host, m_state, m_lists, m_words, m_localExchanges}),
      m_storage(host, m_state,
                {[this] { LoadLanguage(); }, [this](CBaseData& child) { m_holidays.FillFromDatabase(child); },
                 [this]() QV_REQUIRES(m_mutexStatus) { StartHardwareReport(); }}),
      m_securities({host, m_session, m_servers, m_errors, m_storage, m_parser, m_state},
                   [this] { MakeUnderlyingList(); }),
      m_stockInfo({host, m_session, m_servers, m_errors, m_state}),
      m_rates({host, m_session, m_servers, m_errors, m_state}),
      m_hardware({host, clock, m_session}, platform::ReadMachineIdentity),
      m_rights({host, m_session, m_errors, m_storage, m_state}),
      m_holidays({host, *this, m_session, m_errors, m_storage, clock, m_hEventHolidayReady}),
      m_lookup({host, clock, m_state, m_builder, m_lists, m_parser, m_stockInfo.m_mapStockLimits, m_databases,
                m_hEventSymbolLookUp},
               [this] { return m_bSystemTimeOpen.load(); }),
      m_answering(
          {host, clock, m_settings, m_session, m_errors, m_rollServers, m_parser.m_mapSymbolResetTime, m_storage,
           m_databases, m_stockInfo},
          {[this] { return GetStop(); }, [this] { return CopyHotMonths(); }, [this] { return m_tables.pCqyz.get(); },
           [this] { return m_events.GetSystemTime(); }, [this] { return m_events.GetSystemDate(); },
           [this] { m_refresh.ArmExpiry(); }, [this] { m_refresh.StopExpiry(); }}),
      m_contracts({host, m_session, m_servers, m_errors, m_storage, m_builder, m_state, clock},
                  {[this] { return m_stockInfo.QueryStkInfo(); }, [this] { m_stockInfo.LoadStkInfo(); },
                   [this] { MakeSymbolLookupList(); }, [this] { m_refresh.ArmRequery(); }}),
      m_preProcess({m_state, m_settings, m_session, m_tables, m_securities, m_contracts, m_rates, m_lockPass},
                   [this] { m_words = m_settings.ReadSymbolWords(m_state.AppsLanguage); }),
      m_timer(clock, [this] { return GetStop(); }),
      m_refresh({host, clock, m_state, m_settings, m_session, m_tables, m_storage, m_securities, m_contracts, m_timer,
                 m_lockPass, m_hEventSymbolLookUp, m_hEventTimerIdle},
                {[this] { m_rates.QueryCurrency(m_tables.pCurrencyExchangeRate.get()); },
                 [this](std::uint32_t nTimerId) { m_answering.CheckExpireCQYZ(nTimerId); },
                 [this] { m_answering.ProcessRequeryData(); }}),
      m_events({host, clock, m_state, m_settings, m_tables, m_parser.m_mapResetTime, m_contracts, m_refresh, m_lockPass,
                m_hEventSymbolLookUp},
               {[this] { return GetStop(); }, [this] { m_words = m_settings.ReadSymbolWords(m_state.AppsLanguage); },
                [this] { m_answering.OnClock(); }}),
      m_login({host, m_events.GetLanguageSink(), m_state, m_options, m_settings, m_session, m_rollServers, m_tables,
               m_storage, m_securities, m_contracts, m_stockInfo, m_rates, m_rights, m_databases,
               m_hThreadPreProcessData, m_hEventSymbolLookUp, m_lockPass},
              {[this](TextView strUrls) {
                   AssignServers(strUrls);
                   StartLatencyTest();
               },
               [this](const Text& strUrls) QV_REQUIRES(m_mutexStatus) { StartPermissionQuery(strUrls); },
               [this]() QV_REQUIRES(m_mutexStatus) { StartSymbolLookup(); },
               [this](const Text& strUrls) QV_REQUIRES(m_mutexStatus) { StartHolidays(strUrls); },
               [this] { m_refresh.Start(); }, [this] { m_refresh.ArmRequery(); },
               [this] { m_answering.RequestUserHotMonths(); }}) {}

CLumivale::~CLumivale() {
    TellToStop();
    EndTimers();
    EndThreads();
    CleanUp();
}

HRESULT CLumivale::OnSystemStatus(LONG nStatus, LONG nSubStatus) noexcept {
    if (nStatus != SYSTEM_STATUS) return S_OK;
    try {
        switch (nSubStatus) {
            case SYSTEM_STATUS_INIT:
            case SYSTEM_STATUS_START:
            case SYSTEM_STATUS_LOGIN:
                Run(nSubStatus);
                break;
            case SYSTEM_STATUS_STOP:
                RunStopping(&CLumivale::Stop);
                break;
            case SYSTEM_STATUS_EXIT:
                RunStopping(&CLumivale::Exit);
                break;
            default:
                break;
        }
        return S_OK;
    } catch (...) {
        return CodeOfCurrentFailure();
    }
}

std::optional<Text> CLumivale::GetState(TextView strWhat) const {
    if (strWhat == u"timers") return DescribeTimers(m_timer.List(), m_clock.TickMilliseconds());
    if (strWhat == u"servers") return DescribeServers(m_servers.GetListing());
    if (strWhat == u"refresh") return DescribeRefresh(m_refresh.GetState());
    return std::nullopt;
}

HRESULT CLumivale::OnTopicCommand(TextView strTopic, LONG nType, LONG nParameter, TextView strText,
                                  VARIANT* pData) noexcept {
    try {
        const platform::CStopScope stopScope(GetStop());
        m_answering.OnTopicCommand(strTopic, nType, nParameter, strText, pData);
    } catch (...) {
        // Not even the log could be told; who asks hears of no failure.
    }
    return S_OK;
}

/// The stop signal of one call: a fresh one, unless a stop is waiting for its turn already.
std::stop_token CLumivale::BeginCall() {
    const CLock lock(m_mutexStop);
    if (m_nStopsPending == 0 && m_stop.stop_requested()) m_stop = std::stop_source();
    return m_stop.get_token();
}

/// The stop signal of what the service does by itself.
std::stop_token CLumivale::GetStop() {
    const CLock lock(m_mutexStop);
    return m_stop.get_token();
}

void CLumivale::TellToStop() {
    const CLock lock(m_mutexStop);
    m_stop.request_stop();
}

void CLumivale::Run(LONG nSubStatus) {
    const CLock lock(m_mutexStatus);
    const platform::CStopScope stopScope(BeginCall());
    if (nSubStatus == SYSTEM_STATUS_INIT) Init();
    if (nSubStatus == SYSTEM_STATUS_START) Start();
    if (nSubStatus == SYSTEM_STATUS_LOGIN) m_login.Run();
}

/// Tells the sub-status that runs on another thread, the timers' callbacks and the reactions to the store to end, then
/// takes its turn. What they hold, and the sub-status waits for, is free by then.
void CLumivale::RunStopping(void (CLumivale::*pStep)()) {
    struct CPending {
        CLumivale& service;
        explicit CPending(CLumivale& s) : service(s) {
            const CLock lock(service.m_mutexStop);
            ++service.m_nStopsPending;
            service.m_stop.request_stop();
        }
        ~CPending() {
            const CLock lock(service.m_mutexStop);
            --service.m_nStopsPending;
        }
    };
    const CPending pending(*this);
    const CLock lock(m_mutexStatus);
    (this->*pStep)();
}

/// The tables change hands, so a refresh pass and a change of the language have to end first.
void CLumivale::Init() {
    EndThreads();
    const platform::CStoppableHold pass(m_lockPass);
    if (!pass) return;
    RegisterWithHost();
    FindHomeDir();
    RemoveStaleFiles();
    m_tables.RegisterAndOpen(m_host);
    m_databases.OpenSearch(m_settings.GetHomeDir(), m_settings.ReadSystemName());
    m_tables.RegisterAndOpenHoliday(m_host);
    m_holidays.OpenHolidayDb(m_settings.GetHomeDir(), m_databases.GetSystemName());
    m_databases.OpenCqyz(m_settings.GetHomeDir());
    m_builder.m_arAllContract.clear();
    m_answering.BeginRun();
    m_tables.RegisterAndOpenContractLists(m_host);
    m_zones.LoadCities(m_settings.GetCitiesPath());
    m_zones.LoadTimeZones(m_clock);
    m_tables.pCqyz = m_host.OpenTable(u"CQYZ", nullptr);
    m_tables.pSystemTime.reset();  // first, so that the sink has one delivery thread at a time
    m_tables.pSystemTime = m_host.OpenTable(u"QvantSystemTime", &m_events.GetClockSink());
    m_bSystemTimeOpen = m_tables.pSystemTime != nullptr;
    ReadOptions();
    TakeStoredServers();
    m_settings.ReadRollServers(m_state);
}

void CLumivale::RegisterWithHost() {
    m_host.RegisterTable(u"orderExchange");
    m_host.RegisterTable(u"AppsTradePermission");
    m_host.RegisterTopic(u"LUMIVALE.REQUEST");
    for (const auto* pszTable : {u"OpenTimeExchange", u"LongMarginRate", u"ShortMarginRate", u"ExpireDate"}) {
        m_host.RegisterTable(pszTable);
    }
    for (const auto* pszBoth : {u"HOTCHANGE.REQUEST", u"EXPIREDATE.REQUEST", u"CQYZ.REQUEST"}) {
        m_host.RegisterTable(pszBoth);
        m_host.RegisterTopic(pszBoth);
    }
    for (const auto* pszTopic : {u"API_CQYZ.REQUEST", u"API_UpdateUDHotMonth", u"UpdateUDHotMonth"}) {
        m_host.RegisterTopic(pszTopic);
    }
}

void CLumivale::FindHomeDir() {
    const Text strProgram = platform::GetExecutablePath();
    const Text strHomeDir = strProgram.substr(0, strProgram.rfind(u'/') + 1);
    m_settings.SetHomeDir(strHomeDir);
    m_securities.SetHomeDir(strHomeDir);
    m_contracts.SetHomeDir(strHomeDir);
    m_stockInfo.SetHomeDir(strHomeDir);
    m_answering.SetHomeDir(strHomeDir);
}

/// What a process that was killed left behind: its shared block, and what it was writing in the folders of the replaced
/// files.
void CLumivale::RemoveStaleFiles() const {
    platform::RemoveStaleSharedMemory(CONTRACT_LIST_BLOCK_NAME);
    platform::RemoveStaleReplacements(m_settings.GetConfigsPath());
    platform::RemoveStaleReplacements(m_settings.GetHomeDir() + u"Data");
    platform::RemoveStaleReplacements(m_settings.GetHomeDir() + u"Data/UserDefHotMonth");
    m_answering.RemoveStaleFiles();
    for (const bool bPerUser : {false, true}) {
        const auto strRegistry = platform::GetRegistryPath(bPerUser);
        if (strRegistry) platform::RemoveStaleReplacements(strRegistry->substr(0, strRegistry->rfind(u'/')));
    }
}

void CLumivale::ReadOptions() {
    m_options = m_settings.ReadOptions();
    m_latencyTest.SetResponseInterval(m_options.nResponseInterval);
    platform::SetMostBody(static_cast<std::size_t>(m_options.nReplyLimit) << 20);
    m_stockInfo.SetCgi(m_options.bStkInfoCgi);
    m_holidays.SetDefaultHost(m_options.strHolidayHost);
    m_errors.SetHideErrorMsg(m_options.nHideErrorMsg);
    m_host.LogMessage(Format(u"HideErrorMsg:%ld, ResponseInterval=%d, stkinfo cgi=%x", m_options.nHideErrorMsg,
                             m_options.nResponseInterval, m_options.bStkInfoCgi));
}

void CLumivale::TakeStoredServers() {
    m_state.m_strLumivaleURL = m_settings.ReadServerList();
    if (m_state.m_strLumivaleURL.empty()) return;
    AssignServers(m_state.m_strLumivaleURL);
    // A list of separators only names no server that could become the one in use.
    if (m_servers.GetCount() == 0) throw CFailure(CFailure::INVALID_ARGUMENT);
    m_hThreadPreProcessData.Start("PreProcessData", [this] { RunPreProcessData(); });
}

/// Takes a server list over. Its random start shares the load of cold starts out among the servers.
void CLumivale::AssignServers(TextView strUrls) {
    std::minstd_rand random(static_cast<std::uint32_t>(m_clock.NowMilliseconds() / 1000));
    m_servers.Assign(strUrls, [&random] { return static_cast<unsigned>(random()); });
}

/// The servers are measured before the run state is read, and so without the proxy that it names.
void CLumivale::RunPreProcessData() {
    const platform::CApartment apartment;
    try {
        StartLatencyTest();
        if (platform::StopRequested()) return;
        m_preProcess.PreProcessData();
    } catch (...) {
        m_host.LogMessage(Format(u"PreProcessData Fail, Error : %x", CodeOfCurrentFailure()));
    }
}

void CLumivale::MakeUnderlyingList() {
    m_lists.MakeUnderlyingList({m_tables.pSecurityInfo.get(), m_tables.pUnderlyingList.get(),
                                m_tables.pUnderlyingFList.get(), m_tables.pOptionStyle.get()},
                               m_state.AppsLanguage);
}

void CLumivale::LoadLanguage() {
    m_words = m_settings.ReadSymbolWords(m_state.AppsLanguage);
    MakeUnderlyingList();
}

/// What has a hot month, taken while nobody works on the contracts; nothing when a stop comes first.
std::vector<HotMonth> CLumivale::CopyHotMonths() {
    std::vector<HotMonth> arHotMonths;
    const platform::CStoppableHold pass(m_lockPass);
    if (!pass) return arHotMonths;
    arHotMonths.reserve(m_builder.m_mapSymbolToHot.size());
    for (const auto& [strContract, strHot] : m_builder.m_mapSymbolToHot) {
        arHotMonths.push_back({Text(strContract), Text(strHot)});
    }
    return arHotMonths;
}

void CLumivale::MakeSymbolLookupList() { m_lookup.MakeSymbolLookupList(m_tables.GetSymbolLookupTables()); }

/// The event falls before the thread runs, so that nobody slips in between.
void CLumivale::StartSymbolLookup() {
    m_hEventSymbolLookUp.Clear();
    const bool bStarted = m_threadSymbolLookUp.Start("SymbolLookUp", [this] {
        const platform::CApartment apartment;
        try {
            MakeSymbolLookupList();
        } catch (...) {
            m_host.LogMessage(Format(u"MakeSymbolLookupList Fail, Error : %x", CodeOfCurrentFailure()));
        }
        m_hEventSymbolLookUp.Set();
    });
    if (!bStarted) m_hEventSymbolLookUp.Set();
}

/// Nobody waits for it, but for the end of the service. One that a sign-in before this one started goes on.
void CLumivale::StartPermissionQuery(const Text& strUrls) {
    m_listTradePermission.remove_if([](const platform::CThread& thread) { return thread.HasEnded(); });
    m_listTradePermission.emplace_back().Start("TradePermission", [this, strUrls] {
        const platform::CApartment apartment;
        try {
            m_rights.QueryAppsTradePermission(strUrls);
        } catch (...) {
            m_host.LogMessage(Format(u"QueryAppsTradePermission Fail, Error : %x", CodeOfCurrentFailure()));
        }
    });
}

/// Nobody waits for it, but for the next sign-in's and the end of the service.
void CLumivale::StartHardwareReport() {
    m_threadHardware.Start("HardwareReport", [this] {
        const platform::CApartment apartment;
        try {
            m_hardware.QueryHardwareInformation();
        } catch (...) {
            m_host.LogMessage(Format(u"QueryHardwareInformation Fail, Error : %x", CodeOfCurrentFailure()));
        }
    });
}

/// A sign-in before this one may have left a loop of its own, which ends here.
void CLumivale::StartHolidays(const Text& strUrls) {
    m_threadHoliday.StopAndJoin();
    m_holidays.SetTradingDayURL(strUrls);
    const auto run = [this] {
        const platform::CApartment apartment;
        m_holidays.Run(m_tables.pHoliday.get());
    };
    m_threadHoliday.Start("Holiday", run, platform::Priority::Lowest);
}

void CLumivale::Start() {
    m_host.LogMessage(u"SYSTEM_STATUS_START");
    m_localExchanges.Fill();
}

void CLumivale::Stop() {
    m_answering.RequestStop();
    m_bSystemTimeOpen = false;
    m_tables.pSystemTime.reset();
    m_refresh.Stop();
    m_threadSymbolLookUp.RequestStop();
    m_threadHoliday.RequestStop();
    for (platform::CThread& thread : m_listTradePermission) thread.RequestStop();
    m_latencyTest.StopWorkers();
    m_threadHardware.StopAndJoin();
    m_hEventSymbolLookUp.Wait();
    m_hEventHolidayReady.Wait();
}

void CLumivale::Exit() {
    m_hEventTimerIdle.Wait();
    EndTimers();
    EndThreads();
    // Without any server list no latency test ever ends, and the wait costs its whole limit: a host that exits before
    // the first sign-in has always waited these ten seconds.
    if (m_bLatencyEndOpen) m_latencyTest.WaitForEnd(SERVER_SELECTION_LIMIT);
    m_bLatencyEndOpen = false;
    // A change of the language, which was told to end, may still be about to.
    const platform::CStoppableHold pass(m_lockPass);
    m_contracts.CloseBlock();
    CleanUp();
}

/// A burst whose timers are gone would hold up every later pass.
void CLumivale::EndTimers() {
    m_refresh.Stop();
    m_timer.EndAll();
}

void CLumivale::EndThreads() {
    m_hThreadPreProcessData.StopAndJoin();
    m_latencyTest.StopWorkers();
    m_threadHoliday.StopAndJoin();
    m_threadSymbolLookUp.StopAndJoin();
    m_threadHardware.StopAndJoin();
    m_answering.StopAndJoin();
    m_listTradePermission.clear();
}

void CLumivale::CleanUp() {
    m_answering.Release();
    m_tables.ReleasePublished();
    m_storage.ReleaseHoliday();
    m_storage.ReleaseLumivale();
    m_storage.ReleaseAppTradePermission();
    m_contracts.CloseBlock();
    m_databases.ReleaseSearch();
    m_holidays.ReleaseDatabase();
    m_databases.Release();
    m_tables.pCqyz.reset();
}

}  // namespace qvant
