#include "rolls.h"

#include <algorithm>
#include <utility>

#include "failure.h"
#include "local_time.h"
#include "roll_file.h"
#include "symbol_key.h"
#include "text_file.h"
#include "trading_hours.h"

namespace qvant::host {

struct RollKind {
    TextView strTopic;
    TextView strQuery;  ///< what the lines of the log begin with
    const char* pszFolder;
    const char* pszEnding;
    std::string_view strThing;  ///< what a line is
    const char* pszDate;        ///< what its date is
    bool bMonthFirst;           ///< the month stands before the date
};

const RollKind HOT_CHANGES{u"HOTCHANGE.REQUEST", u"QueryHotChange", "HotChange", ".HOT.txt", "roll", "from", false};
const RollKind EXPIRY_DATES{u"EXPIREDATE.REQUEST", u"QueryExpireDate", "ExpireDate", ".txt",
                            "expiry date",         "expiry",           true};

namespace {

/// How long an answer is waited for when an earlier run's file could be shown instead.
constexpr std::chrono::milliseconds PATIENCE_WITH_FILE{1000};
constexpr std::chrono::milliseconds PATIENCE{5000};

constexpr TextView STOCKS = u"QV.S.";

/// What has become of a request so far, read from the topics and from the log.
class COutcome {
public:
    COutcome(const RollKind& kind, TextView strSymbol)
        : m_kind(kind),
          m_strSymbol(strSymbol),
          m_strBegin(Text(kind.strQuery).append(u". strSymbol=").append(strSymbol).append(u".")),
          m_strEnd(Text(kind.strQuery).append(u" End. strSymbol=").append(strSymbol).append(u".")),
          m_strFault(Text(kind.strQuery).append(u" Fail. ")),
          m_strNoFile(Text(kind.strQuery).append(u". OpenFile fail. ")),
          m_strEmpty(Text(kind.strQuery).append(u" Empty.")) {}

    /// @return true when nothing more will come
    bool Take(const Event& event) {
        m_bAnswered = IsTopic(event, m_kind.strTopic, 1, m_strSymbol);
        if (m_bAnswered) return true;
        const TextView strLine = LogLineOf(event);
        if (strLine.ends_with(m_strBegin)) m_strReason.clear();
        if (strLine.ends_with(m_strEmpty)) m_strReason = u"the server has none";
        for (const Text& strFault : {m_strFault, m_strNoFile}) {
            const std::size_t nFault = strLine.find(strFault);
            if (nFault != TextView::npos) m_strReason = strLine.substr(nFault + strFault.size());
        }
        m_bEnded = strLine.ends_with(m_strEnd);
        return m_bEnded;
    }

    bool IsAnswered() const { return m_bAnswered; }
    /// Why there is no answer.
    std::string GetReason(std::chrono::milliseconds timeout) const {
        if (!m_bEnded)
            return "no answer in " + ShowSeconds(timeout) +
                   (m_strReason.empty() ? "" : "; so far: " + Narrow(m_strReason));
        return m_strReason.empty() ? "the service has no server to ask" : Narrow(m_strReason);
    }

private:
    const RollKind& m_kind;
    const TextView m_strSymbol;
    const Text m_strBegin;
    const Text m_strEnd;
    const Text m_strFault;
    const Text m_strNoFile;
    const Text m_strEmpty;
    Text m_strReason;
    bool m_bAnswered = false;
    bool m_bEnded = false;
};

/// Either topic has both files fetched, so that a symbol that one of them has named is asked for no more.
bool IsRequestFor(TextView strLine, TextView strSymbol) {
    if (!strLine.ends_with(Text(u", lParam=0, strParam=").append(strSymbol).append(u"."))) return false;
    return strLine.find(Text(u"strTopic=").append(HOT_CHANGES.strTopic).append(u",")) != TextView::npos ||
           strLine.find(Text(u"strTopic=").append(EXPIRY_DATES.strTopic).append(u",")) != TextView::npos;
}

/// The number of the event with which the symbol was first asked for since the service registered its topics, as it
/// does at every start; 0 when it wasn't.
std::uint64_t FindRequest(CAsk& ask, const RollKind& kind, TextView strSymbol) {
    std::uint64_t nRequest = 0;
    ask.Find([&](const Event& event) {
        if (event.strKind == kind::REGISTER_TOPIC && TextOf(event, "topic") == kind.strTopic) nRequest = 0;
        if (nRequest == 0 && IsRequestFor(LogLineOf(event), strSymbol)) nRequest = event.nNumber;
        return false;
    });
    return nRequest;
}

COutcome Ask(CAsk& ask, const RollKind& kind, TextView strSymbol, std::chrono::milliseconds timeout) {
    const std::uint64_t nEarlier = FindRequest(ask, kind, strSymbol);
    const std::uint64_t nNow = ask.Send(kind.strTopic, 0, strSymbol);
    COutcome outcome(kind, strSymbol);
    ask.Await([&outcome](const Event& event) { return outcome.Take(event); }, nEarlier > 0 ? nEarlier : nNow, timeout);
    return outcome;
}

/// HHMM00 of the file as a time of the day; none for a product without one.
std::optional<std::chrono::minutes> ReadReset(TextView strReset) {
    const auto nReset = strReset.size() < 2 ? std::nullopt : ParseInteger(strReset);
    if (!nReset || *nReset < 0 || *nReset / 10'000 > 23 || *nReset / 100 % 100 > 59) return std::nullopt;
    return std::chrono::minutes(*nReset / 10'000 * 60 + *nReset / 100 % 100);
}

Record DescribeProduct(const CTables& tables, const Text& strKey, TextView strReset, std::chrono::sys_seconds written,
                       Value note) {
    const std::chrono::minutes offset(NoonOf(ReadToday(tables)).tm_gmtoff / 60);
    const auto reset = ReadReset(strReset);
    Record product;
    product.arFields = {{"key", strKey},
                        {"reset", reset ? Value(ShowTime(*reset + offset)) : Value()},
                        {"reset_utc", reset ? Value(ShowTime(*reset)) : Value()},
                        {"zone", ShowZone(offset)},
                        {{"saved", Form::Moment}, ToLocalNumber(written)},
                        {"note", std::move(note)}};
    return product;
}

Listing ListLines(const RollKind& kind, RollFile& file, std::size_t nFirst) {
    Listing listing{kind.strThing, {}, {}, file.arLines.size()};
    listing.arColumns = {{kind.pszDate, Form::Date}, "month"};
    if (kind.bMonthFirst) std::swap(listing.arColumns[0], listing.arColumns[1]);
    for (RollLine& line : file.arLines) {
        if (listing.arRows.size() == nFirst) break;
        auto& arRow = listing.arRows.emplace_back();
        arRow = {std::move(line.date), std::move(line.strMonth)};
        if (kind.bMonthFirst) std::swap(arRow[0], arRow[1]);
    }
    return listing;
}

}  // namespace

Rolls AskForRolls(CAsk& ask, const CTables& tables, const std::filesystem::path& pathCommonData, const RollKind& kind,
                  const RollRequest& request) {
    const std::string strThings = std::string(kind.strThing) + 's';
    const Text strKey = KeyForFile(request.strSymbol);
    if (request.strSymbol.find(STOCKS) != Text::npos)
        throw CFailure(Quote(request.strSymbol) + " is a stock: stocks have no " + strThings);
    const auto path = pathCommonData / "Qvant" / kind.pszFolder / (Narrow(strKey) + kind.pszEnding);
    std::error_code ignored;
    const bool bFile = std::filesystem::exists(path, ignored);
    const auto timeout = request.timeout.value_or(bFile ? PATIENCE_WITH_FILE : PATIENCE);
    const COutcome outcome = Ask(ask, kind, request.strSymbol, timeout);
    const auto content = ReadWholeFile(path);
    if (!content) {
        throw CFailure(
            "no " + strThings + " of " + Quote(request.strSymbol) + ": " +
            (outcome.IsAnswered() ? "the answer came, but its file isn't there" : outcome.GetReason(timeout)));
    }
    RollFile file = ParseRollFile(content->strBytes);
    Value note;
    if (!outcome.IsAnswered()) note = Widen("of an earlier answer; now: " + outcome.GetReason(timeout));
    return {DescribeProduct(tables, strKey, file.strReset, content->written, std::move(note)),
            ListLines(kind, file, request.nFirst)};
}

}  // namespace qvant::host
