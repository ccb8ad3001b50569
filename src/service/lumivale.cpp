#include "service/lumivale.h"

#include <chrono>
#include <new>
#include <random>

#include "base/failure.h"
#include "base/format.h"
#include "platform/files.h"
#include "platform/module.h"
#include "qvant/lumivale.h"

namespace qvant {

namespace {

constexpr std::chrono::milliseconds SERVER_SELECTION_LIMIT{10000};

void CreateCommonFolders() {
    const auto strCommon = platform::GetCommonDataFolder();
    if (!strCommon) return;
    platform::CreateFolders(*strCommon + u"/Qvant/HotChange/");
    platform::CreateFolders(*strCommon + u"/Qvant/ExpireDate/");
}

/// The code that a failure has at the border of the library.
HRESULT CodeOfCurrentFailure() noexcept {
    try {
        throw;
    } catch (const CFailure& failure) {
        return failure.GetCode();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

}  // namespace

CLumivale::CLumivale(IHost& host, const platform::IClock& clock)
    : m_host(host),
      m_clock(clock),
      m_databases(host, *this),
      m_session(clock),
      m_errors(host, clock),
      m_times(m_zones, clock),
      m_parser(host, m_times),
      m_lists(host),
      m_builder({host, m_state, m_lists, m_words, m_localExchanges}),
      m_storage(
          host, m_state, [this] { LoadLanguage(); }, [this](CBaseData& child) { m_holidays.FillFromDatabase(child); }),
      m_securities({host, m_session, m_servers, m_errors, m_storage, m_parser, m_state},
                   [this] { MakeUnderlyingList(); }),
      m_stockInfo({host, m_session, m_servers, m_errors, m_state}),
      m_rights({host, m_session, m_errors, m_storage, m_state}),
      m_holidays({host, *this, m_session, m_errors, m_storage, clock, m_hEventHolidayReady}),
      m_lookup({host, clock, m_state, m_builder, m_lists, m_parser, m_stockInfo.m_mapStockLimits, m_databases,
                m_hEventSymbolLookUp},
               [this] { return m_bSystemTimeOpen.load(); }),
      m_contracts({host, m_session, m_servers, m_errors, m_storage, m_builder, m_state, clock},
                  {[this] { return m_stockInfo.QueryStkInfo(); }, [this] { m_stockInfo.LoadStkInfo(); },
                   [this] { MakeSymbolLookupList(); }}),
      m_preProcess({m_state, m_settings, m_session, m_tables, m_securities, m_contracts},
                   [this] { m_words = m_settings.ReadSymbolWords(m_state.AppsLanguage); }),
      m_login({host, *this, m_state, m_options, m_settings, m_session, m_tables, m_storage, m_securities, m_contracts,
               m_stockInfo, m_rights, m_databases, m_hThreadPreProcessData, m_hEventSymbolLookUp},
              {[this](TextView strUrls) { SelectServers(strUrls); },
               [this](const Text& strUrls) { StartPermissionQuery(strUrls); }, [this] { StartSymbolLookup(); },
               [this](const Text& strUrls) { StartHolidays(strUrls); }}),
      m_hEventLatencyEnd(std::make_unique<platform::CEvent>(platform::CEvent::Reset::Manual, false)) {
    CreateCommonFolders();
}

CLumivale::~CLumivale() {
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

HRESULT CLumivale::OnTopicCommand(TextView, LONG, LONG, TextView, VARIANT*) noexcept { return S_OK; }

/// The stop signal of one call: a fresh one, unless a stop is waiting for its turn already.
std::stop_token CLumivale::BeginCall() {
    const std::lock_guard lock(m_mutexStop);
    if (m_nStopsPending == 0 && m_stop.stop_requested()) m_stop = std::stop_source();
    return m_stop.get_token();
}

void CLumivale::Run(LONG nSubStatus) {
    const std::lock_guard lock(m_mutexStatus);
    const platform::CStopScope stopScope(BeginCall());
    if (nSubStatus == SYSTEM_STATUS_INIT) Init();
    if (nSubStatus == SYSTEM_STATUS_START) Start();
    if (nSubStatus == SYSTEM_STATUS_LOGIN) m_login.Run();
}

/// Tells the sub-status that runs on another thread to end, then takes its turn.
void CLumivale::RunStopping(void (CLumivale::*pStep)()) {
    struct CPending {
        CLumivale& service;
        explicit CPending(CLumivale& s) : service(s) {
            const std::lock_guard lock(service.m_mutexStop);
            ++service.m_nStopsPending;
            service.m_stop.request_stop();
        }
        ~CPending() {
            const std::lock_guard lock(service.m_mutexStop);
            --service.m_nStopsPending;
        }
    };
    const CPending pending(*this);
    const std::lock_guard lock(m_mutexStatus);
    (this->*pStep)();
}

void CLumivale::Init() {
    EndThreads();
    RegisterWithHost();
    FindHomeDir();
    RemoveStaleFiles();
    m_tables.RegisterAndOpen(m_host);
    m_databases.OpenSearch(m_settings.GetHomeDir(), m_settings.ReadSystemName());
    m_tables.RegisterAndOpenHoliday(m_host);
    m_holidays.OpenHolidayDb(m_settings.GetHomeDir(), m_databases.GetSystemName());
    m_databases.OpenCqyz(m_settings.GetHomeDir());
    m_builder.m_arAllContract.clear();
    m_tables.RegisterAndOpenContractLists(m_host);
    m_zones.LoadCities(m_settings.GetCitiesPath());
    m_zones.LoadTimeZones(m_clock);
    m_tables.pCqyz = m_host.OpenTable(u"CQYZ", nullptr);
    m_tables.pSystemTime = m_host.OpenTable(u"QvantSystemTime", this);
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
}

/// What a process that was killed left behind: its shared block, and what it was writing in the folders of the replaced
/// files.
void CLumivale::RemoveStaleFiles() const {
    platform::RemoveStaleSharedMemory(CONTRACT_LIST_BLOCK_NAME);
    platform::RemoveStaleReplacements(m_settings.GetConfigsPath());
    platform::RemoveStaleReplacements(m_settings.GetHomeDir() + u"Data");
    for (const bool bPerUser : {false, true}) {
        const auto strRegistry = platform::GetRegistryPath(bPerUser);
        if (strRegistry) platform::RemoveStaleReplacements(strRegistry->substr(0, strRegistry->rfind(u'/')));
    }
}

void CLumivale::ReadOptions() {
    m_options = m_settings.ReadOptions();
    m_stockInfo.SetCgi(m_options.bStkInfoCgi);
    m_holidays.SetDefaultHost(m_options.strHolidayHost);
    m_errors.SetHideErrorMsg(m_options.nHideErrorMsg);
    m_host.LogMessage(Format(u"HideErrorMsg:%ld, ResponseInterval=%d, stkinfo cgi=%x", m_options.nHideErrorMsg,
                             m_options.nResponseInterval, m_options.bStkInfoCgi));
}

void CLumivale::TakeStoredServers() {
    m_state.m_strLumivaleURL = m_settings.ReadServerList();
    if (m_state.m_strLumivaleURL.empty()) return;
    SelectServers(m_state.m_strLumivaleURL);
    // A list of separators only names no server that could become the one in use.
    if (m_servers.GetCount() == 0) throw CFailure(CFailure::INVALID_ARGUMENT);
    m_hThreadPreProcessData.Start("PreProcessData", [this] { RunPreProcessData(); });
}

/// Takes a server list over. Its random start shares the load of cold starts out among the servers.
void CLumivale::SelectServers(TextView strUrls) {
    std::minstd_rand random(static_cast<std::uint32_t>(m_clock.NowMilliseconds() / 1000));
    m_servers.Assign(strUrls, [&random] { return static_cast<unsigned>(random()); });
    if (m_hEventLatencyEnd) m_hEventLatencyEnd->Set();
}

void CLumivale::RunPreProcessData() {
    const platform::CApartment apartment;
    try {
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
    m_bSystemTimeOpen = false;
    m_tables.pSystemTime.reset();
    m_threadSymbolLookUp.RequestStop();
    for (platform::CThread& thread : m_listTradePermission) thread.RequestStop();
    m_threadHoliday.RequestStop();
    m_hEventSymbolLookUp.Wait();
    m_hEventHolidayReady.Wait();
}

void CLumivale::Exit() {
    m_hEventTimerIdle.Wait();
    EndThreads();
    // Without any server list no selection ever ends, and the wait costs its whole limit: a host that exits before
    // the first sign-in has always waited these ten seconds.
    if (m_hEventLatencyEnd) m_hEventLatencyEnd->WaitFor(SERVER_SELECTION_LIMIT);
    m_hEventLatencyEnd.reset();
    m_contracts.CloseBlock();
    CleanUp();
}

void CLumivale::EndThreads() {
    m_hThreadPreProcessData.StopAndJoin();
    m_threadHoliday.StopAndJoin();
    m_threadSymbolLookUp.StopAndJoin();
    m_listTradePermission.clear();
}

void CLumivale::CleanUp() {
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
