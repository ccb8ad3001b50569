#include "rolls/adjustment_factors.h"

#include <set>
#include <utility>

#include "base/format.h"
#include "base/numbers.h"
#include "base/split.h"
#include "platform/stop.h"
#include "rolls/factor_text.h"
#include "symbols/symbol_grammar.h"
#include "symbols/time_base.h"

namespace qvant {

namespace {

constexpr std::int32_t MESSAGE_TYPE = 1;
constexpr const char16_t* SEPARATOR = u";";

/// Single contracts need no adjustment; series over contracts do, and stocks.
bool IsServed(TextView strSymbol) {
    const bool bDerivative = Contains(strSymbol, u"QV.F.") || Contains(strSymbol, u"QV.O.");
    return !bDerivative || Contains(strSymbol, u".HOT");
}

/// Its factors come in another unit than its prices.
bool IsRescaled(TextView strSymbol) { return Contains(strSymbol, u".CME.6J"); }

/// HHMM without leading zeros; "0" for a text without a number, which midnight then shares.
Text MakeResetKey(std::int64_t nHhmmss) { return Format(u"%lld", nHhmmss / 100); }

template <class Map>
class QV_SCOPED_CAPABILITY CWalkLock {
public:
    explicit CWalkLock(Map& map) QV_ACQUIRE(map) : m_map(map) { m_map.Lock(); }
    ~CWalkLock() QV_RELEASE() { m_map.Unlock(); }
    CWalkLock(const CWalkLock&) = delete;
    CWalkLock& operator=(const CWalkLock&) = delete;

private:
    Map& m_map;
};

}  // namespace

void CAdjustmentFactors::OnRequest(const Text& strSymbol) {
    m_parts.host.LogMessage(Concatenate({u"WM_QUERY_CQYZ. strSymbol=", strSymbol, u"."}));
    if (!IsServed(strSymbol)) {
        Signal(strSymbol);
        CVariant empty;
        return SendInfo(strSymbol, INFO_NOTHING, empty);
    }
    std::int32_t nState = STATE_NONE;
    m_mapCQYZState.Lookup(strSymbol, nState);
    if (nState == STATE_SAVED) return AnswerFromTable(strSymbol);
    if (nState != STATE_NONE) return;
    m_mapCQYZState.SetAt(strSymbol, STATE_RUNNING);
    try {
        if (!QueryCQYZ(strSymbol)) return m_mapCQYZState.RemoveKey(strSymbol);
    } catch (...) {
        m_mapCQYZState.RemoveKey(strSymbol);
        throw;
    }
    m_calls.armExpiry();
}

void CAdjustmentFactors::OnClock() {
    Text strSymbols;
    if (!m_mapCQYZReset.Lookup(MakeResetKey(m_calls.getSystemTime()), strSymbols)) return;
    const auto arSymbols = SplitTokens(strSymbols, SEPARATOR);
    for (const Text& strSymbol : std::set<Text>(arSymbols.begin(), arSymbols.end())) {
        if (!QueryCQYZ(strSymbol)) return;
    }
}

void CAdjustmentFactors::CheckExpireCQYZ(std::uint32_t nTimerId) {
    const std::vector<Text> arExpired = FindExpired();
    for (const Text& strSymbol : arExpired) {
        m_parts.host.LogMessage(Format(u"CheckExpireCQYZ(1). ID=%d, strSymbol=%s, lVal=%d.", nTimerId, strSymbol,
                                       std::int32_t{STATE_SAVED}));
    }
    for (const Text& strSymbol : arExpired) {
        m_parts.host.LogMessage(Format(u"CheckExpireCQYZ(3). ID=%d, strSymbol=%s.", nTimerId, strSymbol));
        m_mapCQYZState.SetAt(strSymbol, STATE_NONE);
        CVariant empty;
        SendInfo(strSymbol, INFO_EXPIRED, empty);
    }
}

/// The timer is stopped before anybody can save again: a save behind it arms the timer anew.
std::vector<Text> CAdjustmentFactors::FindExpired() {
    const std::int64_t nLimit = ClockNowUtc(m_parts.clock) - CLOCK_HOUR;
    std::vector<Text> arExpired;
    bool bSaved = false;
    Text strSymbol;
    std::int32_t nState = STATE_NONE;
    const CWalkLock lock(m_mapCQYZState);
    for (CLumMapStringToVal::Position position = 0; m_mapCQYZState.GetNextAssoc(position, strSymbol, nState);) {
        if (nState != STATE_SAVED) continue;
        bSaved = true;
        std::int64_t nTime = -1;
        m_mapCQYZTime.Lookup(strSymbol, nTime);
        if (nTime <= nLimit) arExpired.push_back(strSymbol);
    }
    if (!bSaved) m_calls.stopExpiry();
    return arExpired;
}

/// Without an answer of any server nothing goes out, and the state stays as it is: after a request the symbol is
/// dropped from then on, until its factors come by another way.
/// @return false when a stop cut it short
bool CAdjustmentFactors::QueryCQYZ(const Text& strSymbol) {
    const Text strRequest =
        Format(u"{\"s\":\"HistoryData\", \"c\":\"cqyz\", \"r\":\"%s\", \"d\":{\"s\":\"%s\"}}",
               m_parts.session.BuildRequestId(u"QueryCQYZ"), m_parts.mapping.QVSymbolToISymbol(strSymbol));
    m_parts.host.LogMessage(strRequest);
    const auto arServers = m_parts.servers.Get(CRollServers::List::History);
    const HistoryQuery query{m_parts.host, m_parts.session, arServers, u"DoQueryCQYZ Fail : ",
                             [&strRequest] { return Text(strRequest); }};
    Text strError;
    const HistoryReply reply = QueryHistory(query, strError);
    if (reply) {
        TakeReply(strSymbol, reply.GetBytes());
    } else if (!platform::StopRequested()) {
        m_parts.errors.PostErrorMsg(strError);
    }
    return !platform::StopRequested();
}

void CAdjustmentFactors::TakeReply(const Text& strSymbol, std::string_view strReply) {
    HistoryText text = UnpackHistoryReply(strReply);
    if (!platform::StopRequested()) SaveCQYZData(strSymbol, std::move(text));
}

/// The order is the one that the waiting modules know: the event is set before the table has the text, the topic goes
/// out behind both. A text that isn't JSON is saved as an empty one, so that it isn't asked for again and again.
void CAdjustmentFactors::SaveCQYZData(const Text& strSymbol, HistoryText text) {
    if (strSymbol.empty() || text.strUtf8.empty()) {
        m_mapCQYZState.RemoveKey(strSymbol);
        Signal(strSymbol);
        CVariant empty;
        return SendInfo(strSymbol, INFO_NOTHING, empty);
    }
    const Text strBefore = Concatenate({u"SaveCQYZData. strSymbol=", strSymbol, u", strData2="});
    Text strLine = EnrichFactors(std::move(text), IsRescaled(strSymbol), strBefore);
    if (platform::StopRequested()) return;
    if (strLine.empty()) strLine = strBefore;
    const std::size_t nData = strLine.size() - strBefore.size();
    strLine.push_back(u'.');
    m_mapCQYZState.SetAt(strSymbol, STATE_SAVED);
    m_mapCQYZTime.SetAt(strSymbol, ClockNowUtc(m_parts.clock));
    Signal(strSymbol);
    m_parts.host.LogMessage(strLine);
    const TextView strData = TextView(strLine).substr(strBefore.size(), nData);
    WriteTable(strSymbol, strData);
    NoteReset(strSymbol);
    CVariant data(strData);
    SendInfo(strSymbol, INFO_SAVED, data);
}

void CAdjustmentFactors::WriteTable(const Text& strSymbol, TextView strData) {
    CBaseData* const pTable = m_calls.getTable();
    if (!pTable) return;
    CTransaction transaction(*pTable);
    transaction.SetValue(strSymbol, strData);
    transaction.Commit();
}

/// Enters the symbol under the time at which its product resets. One that is part of another one's text counts as
/// entered.
void CAdjustmentFactors::NoteReset(const Text& strSymbol) {
    const Text strReset = m_parts.resetTimes.Get(ExtractSecurityKey(strSymbol));
    const Text strKey = MakeResetKey(ToInt64(strReset));
    Text strSymbols;
    m_mapCQYZReset.Lookup(strKey, strSymbols);
    if (Contains(strSymbols, strSymbol)) return;
    AppendAll(m_strCQYZSymbols, {strSymbol, SEPARATOR});
    AppendAll(strSymbols, {strSymbol, SEPARATOR});
    m_mapCQYZReset.SetAt(strKey, strSymbols);
    m_parts.host.LogMessage(Format(u"SaveCQYZData. strSymbol=%s, strResetTime=%s, strVal=%s, strResetTime2=%s.",
                                   strSymbol, strKey, strSymbols, strReset));
}

void CAdjustmentFactors::AnswerFromTable(const Text& strSymbol) {
    const CBaseData* const pTable = m_calls.getTable();
    CVariant data = pTable ? pTable->GetVariant(strSymbol) : CVariant();
    if (data.vt != VT_BSTR) data = CVariant{TextView(pTable ? pTable->GetString(strSymbol) : Text())};
    m_parts.host.LogMessage(Concatenate({u"QUERY_CQYZ. strSymbol=", strSymbol, u", strData=", data.GetText(), u"."}));
    SendInfo(strSymbol, INFO_KEPT, data);
}

void CAdjustmentFactors::Signal(const Text& strSymbol) { m_calls.signalEvent(u"CQYZRequestEventKey." + strSymbol); }

void CAdjustmentFactors::SendInfo(const Text& strSymbol, Info info, VARIANT& data) {
    m_parts.host.SendTopic(u"API_CQYZ.INFO", MESSAGE_TYPE, info, strSymbol, &data);
}

}  // namespace qvant
