/// The service: everything it owns, and its life from the host's first status to the last.
#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "documents/contract_list_block.h"
#include "documents/contract_list_document.h"
#include "documents/currency_rates.h"
#include "documents/holiday_calendar.h"
#include "documents/securities_document.h"
#include "documents/stock_info.h"
#include "documents/trade_permissions.h"
#include "model/contract_builder.h"
#include "model/exchange_times.h"
#include "model/run_state.h"
#include "model/securities_parser.h"
#include "model/storage_tables.h"
#include "model/symbol_lookup.h"
#include "model/underlying_lists.h"
#include "net/error_report.h"
#include "net/latency_test.h"
#include "net/roll_servers.h"
#include "net/server_list.h"
#include "net/session.h"
#include "platform/event.h"
#include "platform/stoppable_lock.h"
#include "platform/thread.h"
#include "qvant/component.h"
#include "rolls/hardware_report.h"
#include "service/answering.h"
#include "service/login.h"
#include "service/pre_process.h"
#include "service/refresh.h"
#include "service/settings.h"
#include "service/store_events.h"
#include "service/tables.h"
#include "service/timer.h"
#include "store/host.h"
#include "store/record_databases.h"
#include "symbols/time_zones.h"

namespace qvant {

/// One object for each service that a host makes; it owns every map, table, thread and handle of it. There is no state
/// variable: nothing checks the order in which the host calls.
///
/// Any thread may call. The sub-statuses run one at a time; a stop or exit that comes while another runs tells it to
/// end first, so that neither ever waits for a server.
class CLumivale : private CDataBaseEventReceiver {
public:
    CLumivale(IHost& host, const platform::IClock& clock);
    ~CLumivale() override;

    /// @return 0, or the code of a failure that ended the sub-status early; nothing is thrown
    HRESULT OnSystemStatus(LONG nStatus, LONG nSubStatus) noexcept;

    /// Takes a request of another module. @return 0
    HRESULT OnTopicCommand(TextView strTopic, LONG nType, LONG nParameter, TextView strText, VARIANT* pData) noexcept;

    /// What the service does in the background, as the inspection interface gives it. Any thread.
    /// @param strWhat  "timers", "servers" or "refresh"; nothing for any other
    std::optional<Text> GetState(TextView strWhat) const;

    /// The timers as they stand.
    std::vector<TimerState> ListTimers() const { return m_timer.List(); }

private:
    /// Lines of the record databases go where all others go.
    void OnWriteLog(const Text& strLine) override { m_host.LogMessage(strLine); }

    std::stop_token BeginCall();
    std::stop_token GetStop();
    void TellToStop();
    void Run(LONG nSubStatus);
    void RunStopping(void (CLumivale::*pStep)());
    void Init() QV_REQUIRES(m_mutexStatus);
    void Start() QV_REQUIRES(m_mutexStatus);
    void Stop() QV_REQUIRES(m_mutexStatus);
    void Exit() QV_REQUIRES(m_mutexStatus);
    void EndThreads() QV_REQUIRES(m_mutexStatus);
    void EndTimers();
    void CleanUp();

    void RegisterWithHost();
    void FindHomeDir();
    void RemoveStaleFiles() const;
    void ReadOptions();
    void TakeStoredServers();
    void AssignServers(TextView strUrls);
    void StartLatencyTest() { m_servers.StartLatencyTest(m_latencyTest, m_host); }
    void RunPreProcessData();
    void MakeUnderlyingList();
    void LoadLanguage();
    std::vector<HotMonth> CopyHotMonths();
    void MakeSymbolLookupList();
    void StartSymbolLookup() QV_REQUIRES(m_mutexStatus);
    void StartPermissionQuery(const Text& strUrls) QV_REQUIRES(m_mutexStatus);
    void StartHardwareReport() QV_REQUIRES(m_mutexStatus);
    void StartHolidays(const Text& strUrls) QV_REQUIRES(m_mutexStatus);

    IHost& m_host;
    const platform::IClock& m_clock;
    CMutex m_mutexStop;
    /// Of the running sub-status, the timers' callbacks and the reactions to the store.
    std::stop_source m_stop QV_GUARDED_BY(m_mutexStop);
    int m_nStopsPending QV_GUARDED_BY(m_mutexStop) = 0;
    /// One sub-status at a time; the host may call again from inside an event.
    CRecursiveMutex m_mutexStatus QV_ACQUIRED_BEFORE(m_mutexStop);

    platform::CStoppableLock m_lockPass;  ///< held by whoever works on the reference data
    platform::CEvent m_hEventSymbolLookUp{platform::CEvent::Reset::Manual, true};
    platform::CEvent m_hEventTimerIdle{platform::CEvent::Reset::Manual, true};
    RunState m_state;
    KeptTables m_tables;
    CRecordDatabases m_databases;
    CSettings m_settings;
    Options m_options;
    CSession m_session;
    CServerList m_servers;
    CRollServers m_rollServers;
    CLatencyTest m_latencyTest;
    CErrorReport m_errors;
    CTimeZones m_zones;
    CExchangeTimes m_times;
    CSecuritiesParser m_parser;
    CUnderlyingLists m_lists;
    SymbolWords m_words;
    CLocalExchanges m_localExchanges;
    CContractBuilder m_builder;
    CStorageTables m_storage;
    CSecuritiesDocument m_securities;
    CStockInfo m_stockInfo;
    CCurrencyRates m_rates;
    CHardwareReport m_hardware;
    CTradePermissions m_rights;
    CHolidayCalendar m_holidays;
    CSymbolLookup m_lookup;
    CAnswering m_answering;
    CContractListDocument m_contracts;
    CPreProcess m_preProcess;
    CTimer m_timer;
    CRefresh m_refresh;
    CStoreEvents m_events;
    CLogin m_login;

    platform::CEvent m_hEventHolidayReady{platform::CEvent::Reset::Manual, true};
    /// Until the exit, which waits for the end of a latency test once.
    bool m_bLatencyEndOpen QV_GUARDED_BY(m_mutexStatus) = true;
    std::atomic<bool> m_bSystemTimeOpen{false};  ///< from the start to the stop
    platform::CThread m_hThreadPreProcessData;
    platform::CThread m_threadSymbolLookUp QV_GUARDED_BY(m_mutexStatus);
    platform::CThread m_threadHardware QV_GUARDED_BY(m_mutexStatus);
    platform::CThread m_threadHoliday QV_GUARDED_BY(m_mutexStatus);
    /// The queries that run, and ended ones.
    std::list<platform::CThread> m_listTradePermission QV_GUARDED_BY(m_mutexStatus);
};

}  // namespace qvant
