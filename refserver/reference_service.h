/// The documents and the control endpoint: which request gets which reply, and what goes wrong with it on purpose.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "access_log.h"
#include "base/mutex.h"
#include "faults.h"
#include "http_message.h"
#include "stop_signal.h"
#include "world_keeper.h"

namespace qvant::refserver {

/// Any thread; it lives as long as the server that calls it.
class CReferenceService {
public:
    CReferenceService(CWorldKeeper& worlds, CFaultList& faults, CAccessLog& log, const CStopSignal& stop);

    /// Answers one request and logs it.
    /// @return whether the connection can take another request
    bool Exchange(CConnection& connection, const HttpRequest& request);

private:
    struct Route {
        std::string_view path;
        HttpReply (CReferenceService::*pAnswer)(const HttpRequest&);
    };
    static const Route Routes[];

    HttpReply Answer(const HttpRequest& request);
    HttpReply AnswerDocument(const HttpRequest& request);
    HttpReply AnswerProbe(const HttpRequest& request);
    HttpReply AnswerClassification(const HttpRequest& request);
    HttpReply AnswerStockInfo(const HttpRequest& request);
    HttpReply AnswerPermissions(const HttpRequest& request);
    HttpReply AnswerNamed(const HttpRequest& request);
    HttpReply AnswerFile(const HttpRequest& request);
    HttpReply AnswerHotChange(const HttpRequest& request);
    HttpReply AnswerExpiry(const HttpRequest& request);
    HttpReply AnswerHistoryCommand(const HttpRequest& request);
    HttpReply AnswerControl(const HttpRequest& request);
    HttpReply AnswerFaults(const HttpRequest& request);
    std::string CountsToJson() const;
    void Count(const std::string& strPath);

    bool Carry(CConnection& connection, const HttpRequest& request, const FaultPlan& plan, AccessRecord& record);

    CWorldKeeper& m_worlds;
    CFaultList& m_faults;
    CAccessLog& m_log;
    const CStopSignal& m_stop;
    mutable CMutex m_mutexCounts;
    // Requests by path, control requests apart.
    std::map<std::string, std::size_t> m_mapCounts QV_GUARDED_BY(m_mutexCounts);
};

}  // namespace qvant::refserver
