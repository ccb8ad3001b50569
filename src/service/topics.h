/// What other modules ask of the service: the dispatcher of topics.
#pragma once

#include <cstdint>
#include <functional>
#include <unordered_set>

#include "base/mutex.h"
#include "base/text.h"
#include "documents/stock_info.h"
#include "model/storage_tables.h"
#include "qvant/component.h"
#include "service/history_thread.h"
#include "service/settings.h"
#include "store/host.h"
#include "store/record_databases.h"

namespace qvant {

/// What the topics work with; all outlive them.
struct TopicParts {
    IHost& host;
    const CSettings& settings;
    const CStorageTables& storage;
    CRecordDatabases& databases;
    const CStockInfo& stockInfo;
    CHistoryThread& history;
};

/// Small requests are carried out on the caller's thread, slow ones are handed on. Any thread.
class CTopics {
public:
    /// @param enqueue  has a symbol's rolls and expiry dates asked for, on another thread
    CTopics(const TopicParts& parts, std::function<void(TextView strTopic, TextView strSymbol)> enqueue)
        : m_parts(parts), m_enqueue(std::move(enqueue)) {}

    /// Takes one request; a topic that isn't the service's own only leaves its line in the log.
    /// @param nType  goes to the log and has no other meaning
    /// @param pData  in: the symbol of "STKINFO", whose answer goes through the table "LUMIVALE.REQUEST"; may be null
    /// @throw CFailure  of the store or the record database
    void OnTopicCommand(TextView strTopic, std::int32_t nType, std::int32_t nParameter, TextView strText,
                        VARIANT* pData);

    /// A new run: every symbol may be asked for once again.
    void BeginRun();

private:
    void OnRequest(TextView strText, VARIANT* pData);
    void Reset();
    void AnswerStockInfo(VARIANT* pData);
    void RequestRolls(TextView strTopic, TextView strSymbol);

    const TopicParts m_parts;
    const std::function<void(TextView strTopic, TextView strSymbol)> m_enqueue;
    CMutex m_mutex;
    /// Symbols whose rolls were asked for: each goes to the servers once in a run, so nothing leaves the set.
    std::unordered_set<Text, TextHash, std::equal_to<>> m_setRequested QV_GUARDED_BY(m_mutex);
};

}  // namespace qvant
