#include "factors.h"

#include <algorithm>
#include <set>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "failure.h"
#include "local_time.h"

namespace qvant::host {

namespace {

constexpr TextView REQUEST = u"API_CQYZ.REQUEST";
constexpr TextView ANSWER = u"API_CQYZ.INFO";

/// What the parameter of an answer says.
enum AnswerParameter { NOTHING = 0, FETCHED = 1, STORED = 3 };

/// Names of other members that get a column of their own.
constexpr std::size_t MORE_COLUMNS = 24;

const JsonValue* FindMember(const JsonValue& object, TextView strName) {
    if (!object.IsObject()) return nullptr;
    const auto it = object.FindMember(JsonValue(rapidjson::StringRef(strName.data(), strName.size())));
    return it == object.MemberEnd() ? nullptr : &it->value;
}

std::int64_t NumberOf(const JsonValue& row, TextView strName) {
    const JsonValue* pValue = FindMember(row, strName);
    return pValue && pValue->IsInt64() ? pValue->GetInt64() : 0;
}

/// A text of its own for what isn't a number or a text.
Value ValueOf(const JsonValue* pValue) {
    if (!pValue || pValue->IsNull()) return {};
    if (pValue->IsString()) return Text(TextOf(*pValue));
    if (pValue->IsInt64()) return pValue->GetInt64();
    if (pValue->IsNumber()) return pValue->GetDouble();
    rapidjson::GenericStringBuffer<rapidjson::UTF16<char16_t>> buffer;
    rapidjson::Writer<decltype(buffer), rapidjson::UTF16<char16_t>, rapidjson::UTF16<char16_t>> writer(buffer);
    pValue->Accept(writer);
    return Text(buffer.GetString());
}

/// "od" goes before "d", and a date of 0 is none.
bool HasOwnDate(const JsonValue& row) { return NumberOf(row, u"od") != 0; }
std::int64_t DateOf(const JsonValue& row) { return NumberOf(row, HasOwnDate(row) ? u"od" : u"d"); }

/// Members that stand in the first columns already.
bool IsShown(const JsonValue& row, TextView strName) {
    static constexpr TextView SHOWN[] = {u"od", u"t", u"odt_utc", u"sxd"};
    return std::ranges::find(SHOWN, strName) != std::end(SHOWN) || (strName == u"d" && !HasOwnDate(row));
}

/// The names of the other members, in the order in which they come up.
std::vector<Text> NamesOf(const JsonValue& rows, std::size_t nFirst) {
    std::vector<Text> arNames;
    std::set<TextView> setKnown;
    for (const JsonValue& row : rows.GetArray()) {
        if (nFirst-- == 0 || arNames.size() == MORE_COLUMNS) break;
        if (!row.IsObject()) continue;
        for (const auto& member : row.GetObject()) {
            const TextView strName = TextOf(member.name);
            if (IsShown(row, strName) || !setKnown.insert(strName).second) continue;
            if (arNames.size() < MORE_COLUMNS) arNames.emplace_back(strName);
        }
    }
    return arNames;
}

/// A member that is named like one of the first two columns gets another name than theirs.
std::string ColumnFor(TextView strName) {
    return Narrow(strName) + (strName == u"date" || strName == u"time" ? "_member" : "");
}

std::optional<std::chrono::sys_seconds> MomentOf(const JsonValue& row) {
    constexpr std::int64_t MILLISECONDS = 1000;
    constexpr std::int64_t TIMES_OF_A_DAY = 1'000'000;
    const std::int64_t nDate = DateOf(row);
    if (!ToDay(nDate)) return std::nullopt;
    const std::int64_t nTime = NumberOf(row, u"t") / MILLISECONDS;
    const auto moment = nTime >= 0 && nTime < TIMES_OF_A_DAY ? ToMoment(nDate * TIMES_OF_A_DAY + nTime) : std::nullopt;
    return moment ? moment : ToMoment(nDate * TIMES_OF_A_DAY);
}

std::string WhyNothing(TextView strSymbol) {
    const bool bSeries = strSymbol.find(u".HOT") != TextView::npos;
    const bool bMonths = strSymbol.find(u"QV.F.") != TextView::npos || strSymbol.find(u"QV.O.") != TextView::npos;
    if (bMonths && !bSeries)
        return "futures and options have factors as a series alone, such as " + Quote(u"QV.F.CME.ES.HOT");
    return "the server gave nothing";
}

/// Keeps what a server had against answering, for a request that gets no answer.
class CFaults {
public:
    void Take(const Event& event) {
        constexpr TextView FAULT = u"DoQueryCQYZ Fail : ";
        const TextView strLine = LogLineOf(event);
        const std::size_t nFault = strLine.find(FAULT);
        if (nFault != TextView::npos) m_strLast = strLine.substr(nFault + FAULT.size());
    }
    std::string Get() const { return m_strLast.empty() ? "" : "; the last server asked: " + Narrow(m_strLast); }

private:
    Text m_strLast;
};

}  // namespace

CFactors::CFactors(TextView strJson) {
    try {
        m_document = ParseJsonLine(Narrow(strJson));
    } catch (const CFailure& failure) {
        throw CFailure(std::string("the factors can't be read: ") + failure.what());
    }
    m_pRows = FindMember(m_document, u"data");
    if (!m_pRows || !m_pRows->IsArray()) throw CFailure("the factors have no array \"data\"");
}

Listing CFactors::List(std::size_t nFirst) const {
    const std::vector<Text> arNames = NamesOf(*m_pRows, nFirst);
    Listing listing{
        "factor", {{"date", Form::Date}, {"time", Form::FineTime}, {"odt_utc", Form::Moment}, "sxd"}, {}, 0};
    for (const Text& strName : arNames) listing.arColumns.emplace_back(ColumnFor(strName));
    for (const JsonValue& row : m_pRows->GetArray()) {
        if (listing.nTotal++ >= nFirst) continue;
        auto& arRow = listing.arRows.emplace_back();
        const std::int64_t nDate = DateOf(row);
        arRow = {nDate != 0 ? Value(nDate) : Value(), ValueOf(FindMember(row, u"t")),
                 ValueOf(FindMember(row, u"odt_utc")), ValueOf(FindMember(row, u"sxd"))};
        for (const Text& strName : arNames)
            arRow.push_back(IsShown(row, strName) ? Value() : ValueOf(FindMember(row, strName)));
    }
    return listing;
}

std::vector<PlotStep> CFactors::GetSteps() const {
    std::vector<PlotStep> arSteps;
    for (const JsonValue& row : m_pRows->GetArray()) {
        const auto moment = MomentOf(row);
        const JsonValue* pFactor = FindMember(row, u"sxd");
        if (moment && pFactor && pFactor->IsNumber()) arSteps.push_back({*moment, pFactor->GetDouble()});
    }
    std::ranges::stable_sort(arSteps, {}, &PlotStep::moment);
    return arSteps;
}

FactorAnswer AskForFactors(CAsk& ask, TextView strSymbol, std::chrono::milliseconds timeout) {
    const std::uint64_t nBefore = ask.Send(REQUEST, 0, strSymbol);
    CFaults faults;
    const auto answer = ask.Await(
        [&faults, strSymbol](const Event& event) {
            faults.Take(event);
            return std::ranges::any_of(std::initializer_list<int>{NOTHING, FETCHED, STORED},
                                       [&](int nParameter) { return IsTopic(event, ANSWER, nParameter, strSymbol); });
        },
        nBefore, timeout);
    const std::string strFailure = "no factors of " + Quote(strSymbol) + ": ";
    if (!answer) throw CFailure(strFailure + "no answer in " + ShowSeconds(timeout) + faults.Get());
    if (IsTopic(*answer, ANSWER, NOTHING, strSymbol)) throw CFailure(strFailure + WhyNothing(strSymbol));
    return {CFactors(TextOf(*answer, "data")), IsTopic(*answer, ANSWER, FETCHED, strSymbol)};
}

}  // namespace qvant::host
