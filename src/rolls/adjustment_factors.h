/// The adjustment factors of continuous series and stocks: asked for by other modules, fetched, kept for an hour.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "base/locked_maps.h"
#include "model/reset_times.h"
#include "net/error_report.h"
#include "net/history_query.h"
#include "net/roll_servers.h"
#include "net/session.h"
#include "platform/clock.h"
#include "store/base_data.h"
#include "store/host.h"
#include "symbols/symbol_mapping.h"

namespace qvant {

/// What the factors work with; all outlive them.
struct AdjustmentFactorsParts {
    IHost& host;
    const platform::IClock& clock;
    CSession& session;
    CErrorReport& errors;
    const CRollServers& servers;
    CSymbolMapping& mapping;
    const CResetTimes& resetTimes;
};

/// What the factors ask of the service; none is called while a lock is held, but for `stopExpiry`.
struct AdjustmentFactorsCalls {
    std::function<CBaseData*()> getTable;                  ///< the table "CQYZ"; null when the host has none
    std::function<std::int32_t()> getSystemTime;           ///< HHMMSS of the host's clock
    std::function<void()> armExpiry;                       ///< arms timer 800; one that runs goes on
    std::function<void()> stopExpiry;                      ///< stops it; called under the lock of the states
    std::function<void(const Text& strName)> signalEvent;  ///< sets the named event for whoever holds it open
};

/// Requests and resets run on the message thread, one after another; the expiry on the thread of timer 800.
///
/// Each answer goes out twice, as the named event "CQYZRequestEventKey.SYMBOL" and as the topic "API_CQYZ.INFO". The
/// factors stand in the table "CQYZ" under the symbol as it was asked for, and outlive their state there.
class CAdjustmentFactors {
public:
    /// What a symbol is in; an absent one is in the first.
    enum State : std::int32_t {
        STATE_NONE = 0,     ///< the next request asks the server
        STATE_SAVED = 1,    ///< a request is answered from the table
        STATE_RUNNING = 2,  ///< a query runs, or no server answered one: requests are dropped without an answer
    };

    CAdjustmentFactors(const AdjustmentFactorsParts& parts, AdjustmentFactorsCalls calls)
        : m_parts(parts), m_calls(std::move(calls)) {}

    /// Answers a request for the factors of a symbol, from the table or from a server. A query that a stop cuts short
    /// tells nobody anything, and the next request asks anew.
    /// @throw CFailure  of the store; the symbol may be asked for again then
    void OnRequest(const Text& strSymbol);

    /// The host's clock has moved: fetches again what resets in this minute. The state of a symbol isn't touched before
    /// there is something new, so that a failure leaves the old factors in place.
    /// @throw CFailure  of the store
    void OnClock();

    /// Tells the others of each symbol whose factors are an hour old, and forgets its state; stops the timer when no
    /// factors are left.
    /// @param nTimerId  of the timer whose callback it is, for the log
    void CheckExpireCQYZ(std::uint32_t nTimerId);

    /// The second half of a query: takes a server's reply apart, saves its factors, and answers.
    /// @throw CFailure  of the store
    void TakeReply(const Text& strSymbol, std::string_view strReply);

private:
    /// What happened to the factors of a symbol, as "API_CQYZ.INFO" tells it.
    enum Info : std::int32_t { INFO_NOTHING = 0, INFO_SAVED = 1, INFO_KEPT = 3, INFO_EXPIRED = 4 };

    bool QueryCQYZ(const Text& strSymbol);
    void SaveCQYZData(const Text& strSymbol, HistoryText text);
    void WriteTable(const Text& strSymbol, TextView strData);
    void NoteReset(const Text& strSymbol);
    void AnswerFromTable(const Text& strSymbol);
    std::vector<Text> FindExpired();
    void Signal(const Text& strSymbol);
    void SendInfo(const Text& strSymbol, Info info, VARIANT& data);

    const AdjustmentFactorsParts m_parts;
    const AdjustmentFactorsCalls m_calls;
    CLumMapStringToVal m_mapCQYZState;    ///< symbol to `State`
    CLumMap<std::int64_t> m_mapCQYZTime;  ///< symbol to the clock value of the last save
    CLumMapStringToString
        m_mapCQYZReset;     ///< reset time as HHMM without leading zeros, to symbols with ";" behind each
    Text m_strCQYZSymbols;  ///< every symbol that entered a reset time, with ";" behind each
};

}  // namespace qvant
