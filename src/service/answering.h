/// Everything by which the service answers other modules: the topics, and what works on their requests.
#pragma once

#include <cstdint>
#include <functional>
#include <stop_token>

#include "base/text.h"
#include "documents/stock_info.h"
#include "model/storage_tables.h"
#include "qvant/component.h"
#include "service/history_thread.h"
#include "service/settings.h"
#include "service/topics.h"
#include "store/host.h"
#include "store/record_databases.h"

namespace qvant {

/// What the answers are made with; all outlive them.
struct AnsweringParts {
    IHost& host;
    const CSettings& settings;
    const CStorageTables& storage;
    CRecordDatabases& databases;
    const CStockInfo& stockInfo;
};

/// Owns the thread of the history servers and hands each request to the part that answers it. Any thread.
class CAnswering {
public:
    /// @param getStop  the stop signal of the service
    CAnswering(const AnsweringParts& parts, std::function<std::stop_token()> getStop);

    /// A new start: every symbol's rolls may be asked for once again.
    void BeginRun() { m_topics.BeginRun(); }

    /// Takes a request of another module. A failure becomes a line of the log.
    void OnTopicCommand(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                        VARIANT* pData);

    /// The users' own hot months are read anew, which a sign-in asks for as another module would.
    void RequestUserHotMonths() { OnTopicCommand(u"UpdateUDHotMonth", 1, 1, u"ALL", nullptr); }

    /// The host's clock moved. Nobody is told when the thread can't take that.
    void OnClock();

    /// The callback of timer 800.
    void CheckExpireCQYZ(std::uint32_t nTimerId);

    /// The callback of timer 999.
    void ProcessRequeryData();

    /// Has all work end; what was asked for and isn't answered is dropped.
    void RequestStop();

    /// Tells all work to end and waits for that.
    void StopAndJoin();

private:
    /// The work of the thread, and of the topics that go past it.
    void QueryFactors(const Text& strSymbol);
    void ResetFactors();
    void QueryHotMonths(const Text& strSelector);
    void UpdateHotMonths();
    void EnqueueRequery(TextView strTopic, TextView strSymbol);

    IHost& m_host;
    CHistoryThread m_history;
    CTopics m_topics;
};

}  // namespace qvant
