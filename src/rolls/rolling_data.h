/// Hot months and expiry dates: fetched on request into files that other modules read, and anew where a hot month or a
/// reset time has moved.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/mutex.h"
#include "model/reset_times.h"
#include "net/roll_servers.h"
#include "net/session.h"
#include "platform/thread.h"
#include "rolls/roll_files.h"
#include "store/host.h"
#include "symbols/symbol_grammar.h"

namespace qvant {

/// What the fetches work with; all outlive them.
struct RollingDataParts {
    IHost& host;
    CSession& session;
    const CRollServers& servers;
    const CResetTimes& resetTimes;
};

/// A contract and the hot symbol that stands for it.
struct HotMonth {
    Text strContract;
    Text strHot;
};

/// Requests wait in one list, which one worker thread takes them from while there are any. The queries may run on other
/// threads too, at the same time.
///
/// An answer carries no data: whoever asked reads the file.
class CRollingData {
public:
    /// Makes the folders of the files.
    /// @param getHotMonths  a copy of the contracts that have a hot symbol, as the last contract lists have them
    CRollingData(const RollingDataParts& parts, std::function<std::vector<HotMonth>()> getHotMonths)
        : m_parts(parts), m_getHotMonths(std::move(getHotMonths)) {}
    ~CRollingData() { StopAndJoin(); }
    CRollingData(const CRollingData&) = delete;
    CRollingData& operator=(const CRollingData&) = delete;

    /// Has the worker run both queries for a symbol, unless it waits already or is a stock's. Any thread.
    /// @param strTopic  what asked for it, for the log; either topic fetches both files
    void EnqueueRequery(TextView strTopic, TextView strSymbol);

    /// Fetch the history of a product's hot months, or its expiry dates, write the file and tell the topic. Blocking;
    /// a stop of the calling thread ends the fetch, and what was there stays. Any thread.
    void QueryHotChange(TextView strSymbol);
    void QueryExpireDate(TextView strSymbol);

    /// Fetches both for each product whose file tells another hot month than the contract list, or was written under
    /// another reset time. Blocking; a stop of the calling thread ends it. Any thread.
    void ProcessRequeryData();

    /// Removes what a process that was killed was writing. Any thread.
    void RemoveStaleFiles() const { m_files.RemoveStale(); }

    /// Tells the worker to stop; it ends its fetch and forgets the requests that wait. Any thread.
    void RequestStop();

    /// The same, and waits for its end. Requests that come meanwhile are dropped; those that come afterwards are served
    /// again. One thread at a time.
    void StopAndJoin();

private:
    struct Query;  ///< what tells the twins apart
    static const Query HOT_CHANGE;
    static const Query EXPIRE_DATE;
    using ServerIndex = std::atomic<std::int32_t>;  ///< the place in a list that answered last

    void ProcessRequeryList();
    std::optional<Text> TakeHead();
    void Serve(const Text& strSymbol);
    void Run(const Query& query, ServerIndex& nIndex, TextView strSymbol);
    bool AskServer(const Query& query, const Text& strUrl, TextView strSymbol, std::string& strRolls);
    void Save(const Query& query, TextView strSymbol, const std::string& strRolls);
    void Forget(TextView strSymbol);
    std::vector<Text> FindMoved() const;
    template <class... Arguments>
    void Log(TextView strFormat, const Arguments&... arguments);

    const RollingDataParts m_parts;
    const std::function<std::vector<HotMonth>()> m_getHotMonths;
    CRollFiles m_files;
    ServerIndex m_nHotChangeURLIndex = 0;
    ServerIndex m_nExpireURLIndex = 0;

    CMutex m_mutexRequery;  ///< never held during a query
    std::list<Text> m_listRequery QV_GUARDED_BY(m_mutexRequery);
    TextSet m_mapRequeryPending QV_GUARDED_BY(m_mutexRequery);  ///< in the list or being worked on
    bool m_bWorking QV_GUARDED_BY(m_mutexRequery) = false;      ///< the worker will look at the list once more
    bool m_bStopping QV_GUARDED_BY(m_mutexRequery) = false;
    platform::CThread m_thread;  ///< begun under the lock, joined without it: the worker takes it on its way out
};

}  // namespace qvant
