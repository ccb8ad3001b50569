/// Sign-in: the user's rights and servers, compared with what the last run left.
#pragma once

#include <functional>
#include <vector>

#include "documents/contract_list_document.h"
#include "documents/currency_rates.h"
#include "documents/securities_document.h"
#include "documents/stock_info.h"
#include "documents/trade_permissions.h"
#include "model/run_state.h"
#include "model/storage_tables.h"
#include "net/roll_servers.h"
#include "net/server_list.h"
#include "net/session.h"
#include "platform/event.h"
#include "platform/stoppable_lock.h"
#include "platform/thread.h"
#include "service/settings.h"
#include "service/tables.h"
#include "store/base_data.h"
#include "store/host.h"
#include "store/record_databases.h"

namespace qvant {

/// What sign-in works with; all outlive it.
struct LoginParts {
    IHost& host;
    CBaseDataEventReceiver& sink;  ///< receives the events of "GeneralService"
    RunState& state;
    const Options& options;
    const CSettings& settings;
    CSession& session;
    CRollServers& rollServers;
    KeptTables& tables;
    CStorageTables& storage;
    CSecuritiesDocument& securities;
    CContractListDocument& contracts;
    CStockInfo& stockInfo;
    CCurrencyRates& rates;
    CTradePermissions& rights;
    CRecordDatabases& databases;
    platform::CThread& threadPreProcess;
    platform::CEvent& eventSymbolLookUp;
    platform::CStoppableLock& lockPass;  ///< held by whoever works on the reference data
};

/// What sign-in starts and doesn't wait for.
struct LoginSteps {
    std::function<void(TextView strUrls)> selectServers;        ///< makes a list of URLs the servers of the service
    std::function<void(const Text& strUrls)> queryPermissions;  ///< asks for the trade permissions, on a thread
    std::function<void()> makeSymbolLookupList;                 ///< on a thread
    std::function<void(const Text& strUrls)> startHolidays;     ///< keeps the holiday calendar current, on a thread
    std::function<void()> startRefresh;                         ///< arms the timer of the refresh passes
    std::function<void()> armRequery;            ///< has the rolls of moved hot months be asked for, on a thread
    std::function<void()> requestUserHotMonths;  ///< has the users' own hot months be read, on a thread
};

/// One call on the host's thread; every step returns when its work is done, or at once when the service is told to
/// stop. Signing in again appends the URL lists again.
class CLogin {
public:
    CLogin(const LoginParts& parts, LoginSteps steps) : m_parts(parts), m_steps(std::move(steps)) {}

    void Run();

private:
    /// What "PERMISSIONS.LUMIVale" says of the servers.
    struct Servers {
        Text strLumivaleURL;
        Text strInfoListType;
    };

    void ReadProxy();
    bool WaitForFirstLoad();
    bool TakeUser();
    void ReadUser();
    Servers ReadServers();
    void TakeTradePermissions();
    void TakeServers(const Servers& servers);
    bool TakeExchanges();
    void Refresh(const Servers& servers, bool bOtherExchanges);
    void RefreshChanged();
    void LoadContractList();
    void QueryCurrency();
    void RebuildAll();
    void SaveSettings();

    const LoginParts m_parts;
    const LoginSteps m_steps;
    Text m_strAppsTradeURL;
    Text m_strTradingDayURL;
    Text m_strSS2Cmd;
};

}  // namespace qvant
