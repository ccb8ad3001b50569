/// Everything by which the service answers other modules: the topics, and what works on their requests.
#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>
#include <vector>

#include "base/text.h"
#include "documents/stock_info.h"
#include "model/reset_times.h"
#include "model/storage_tables.h"
#include "net/error_report.h"
#include "net/roll_servers.h"
#include "net/session.h"
#include "platform/clock.h"
#include "qvant/component.h"
#include "rolls/adjustment_factors.h"
#include "rolls/last_bars.h"
#include "rolls/rolling_data.h"
#include "rolls/user_hot_months.h"
#include "service/history_thread.h"
#include "service/settings.h"
#include "service/topics.h"
#include "store/base_data.h"
#include "store/host.h"
#include "store/record_databases.h"
#include "symbols/symbol_mapping.h"

namespace qvant {

/// What the answers are made with; all outlive them.
struct AnsweringParts {
    IHost& host;
    const platform::IClock& clock;
    const CSettings& settings;
    CSession& session;
    CErrorReport& errors;
    const CRollServers& servers;
    const CResetTimes& resetTimes;
    const CStorageTables& storage;
    CRecordDatabases& databases;
    const CStockInfo& stockInfo;
};

/// What the answers ask of the service.
struct AnsweringCalls {
    std::function<std::stop_token()> getStop;             ///< the stop signal of the service
    std::function<std::vector<HotMonth>()> getHotMonths;  ///< a copy of what the last contract lists have
    std::function<CBaseData*()> getFactorTable;           ///< the table "CQYZ"; null when the host has none
    std::function<std::int32_t()> getSystemTime;          ///< HHMMSS of the host's clock
    std::function<std::int32_t()> getSystemDate;          ///< YYYYMMDD
    std::function<void()> armExpiry;                      ///< arms timer 800
    std::function<void()> stopExpiry;
};

/// Owns the thread of the history servers and hands each request to the part that answers it. Any thread.
class CAnswering {
public:
    CAnswering(const AnsweringParts& parts, const AnsweringCalls& calls);

    /// The folder of the terminal, whose users define hot months of their own. Before the first request.
    void SetHomeDir(TextView strHomeDir) { m_hotMonths.SetHomeDir(strHomeDir); }

    /// A new start: every symbol's rolls may be asked for once again.
    void BeginRun() { m_topics.BeginRun(); }

    /// Removes what a process that was killed was writing of the files of rolls.
    void RemoveStaleFiles() const { m_rolls.RemoveStaleFiles(); }

    /// Takes a request of another module. A failure becomes a line of the log.
    void OnTopicCommand(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                        VARIANT* pData);

    /// The users' own hot months are read anew, which a sign-in asks for as another module would.
    void RequestUserHotMonths() { OnTopicCommand(u"UpdateUDHotMonth", 1, 1, u"ALL", nullptr); }

    /// The host's clock moved. Nobody is told when the thread can't take that.
    void OnClock();

    /// The callback of timer 800.
    void CheckExpireCQYZ(std::uint32_t nTimerId) { m_factors.CheckExpireCQYZ(nTimerId); }

    /// The callback of timer 999.
    void ProcessRequeryData() { m_rolls.ProcessRequeryData(); }

    /// Has all work end; what was asked for and isn't answered is dropped.
    void RequestStop();

    /// Tells all work to end and waits for that.
    void StopAndJoin();

    /// Closes what was opened; nothing works any more at that time.
    void Release() { m_mapping.Release(); }

private:
    IHost& m_host;
    CSymbolMapping m_mapping;  ///< of the thread alone, like what works with it
    CRollingData m_rolls;
    CAdjustmentFactors m_factors;
    CLastBars m_lastBars;
    CUserHotMonths m_hotMonths;
    CHistoryThread m_history;
    CTopics m_topics;
};

}  // namespace qvant
