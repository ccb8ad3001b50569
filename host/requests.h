/// Carries out the requests, one after the other, on the host thread.
#pragma once

#include <filesystem>
#include <string_view>

#include "ask.h"
#include "clock.h"
#include "event_log.h"
#include "holds.h"
#include "reply.h"
#include "request.h"
#include "rolls.h"
#include "service.h"
#include "stop.h"
#include "tables.h"
#include "watches.h"

namespace qvant::host {

/// Where the service keeps its files.
struct Folders {
    std::filesystem::path pathHome;
    std::filesystem::path pathCommonData;
};

class CRequests {
public:
    CRequests(CTables& tables, CService& service, CEventLog& log, CStop& stop, Folders folders)
        : m_tables(tables),
          m_service(service),
          m_log(log),
          m_stop(stop),
          m_folders(std::move(folders)),
          m_ask(service, log, stop),
          m_watches(log),
          m_holds(log),
          m_clock(tables) {}

    /// Carries out a line: an object in JSON, or words. A bad request gives a reply with an error.
    Reply Run(std::string_view strLine);

    /// Ends what runs in the service and in the host: what `quit` does, for a host that ends without one.
    void End();

    /// After a `quit`: it has ended the service, and no further request is to be read.
    bool HasQuit() const { return m_bQuit; }

private:
    using Handler = void (CRequests::*)(const CRequest&, Reply&);
    static Handler FindHandler(TextView strName);

    void RunOn(const CRequest& request, Reply& reply);

    void Status(const CRequest& request, Reply& reply);
    void Topic(const CRequest& request, Reply& reply);
    void Set(const CRequest& request, Reply& reply);
    void Rows(const CRequest& request, Reply& reply);
    void Clear(const CRequest& request, Reply& reply);
    void Drop(const CRequest& request, Reply& reply);
    void Get(const CRequest& request, Reply& reply);
    void Keys(const CRequest& request, Reply& reply);
    void Dump(const CRequest& request, Reply& reply);
    void Tables(const CRequest& request, Reply& reply);
    void FindSymbols(const CRequest& request, Reply& reply);
    void Card(const CRequest& request, Reply& reply);
    void Tree(const CRequest& request, Reply& reply);
    void Watch(const CRequest& request, Reply& reply);
    void Unwatch(const CRequest& request, Reply& reply);
    void Hold(const CRequest& request, Reply& reply);
    void Release(const CRequest& request, Reply& reply);
    void Clock(const CRequest& request, Reply& reply);
    void Holidays(const CRequest& request, Reply& reply);
    void Rates(const CRequest& request, Reply& reply);
    void Timers(const CRequest& request, Reply& reply);
    void Servers(const CRequest& request, Reply& reply);
    void Rolls(const CRequest& request, Reply& reply);
    void Expiry(const CRequest& request, Reply& reply);
    void ShowRolls(const RollKind& kind, const CRequest& request, Reply& reply);
    void Factors(const CRequest& request, Reply& reply);
    void MyRolls(const CRequest& request, Reply& reply);
    void Plot(const CRequest& request, Reply& reply);
    void Wait(const CRequest& request, Reply& reply);
    void Sleep(const CRequest& request, Reply& reply);
    void Help(const CRequest& request, Reply& reply);
    void Quit(const CRequest& request, Reply& reply);

    CTables& m_tables;
    CService& m_service;
    CEventLog& m_log;
    CStop& m_stop;
    const Folders m_folders;
    CAsk m_ask;
    CWatches m_watches;
    CHolds m_holds;
    CClock m_clock;
    std::uint64_t m_nRequest = 0;
    std::uint64_t m_nLastFound = 0;  ///< number of the event that the last successful wait found
    bool m_bQuit = false;
};

}  // namespace qvant::host
