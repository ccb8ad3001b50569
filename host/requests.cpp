#include "requests.h"

#include <algorithm>
#include <iterator>

#include "factors.h"
#include "failure.h"
#include "holidays.h"
#include "input.h"
#include "local_time.h"
#include "name_tree.h"
#include "rates.h"
#include "screen.h"
#include "service_state.h"
#include "svg_plot.h"
#include "symbol_card.h"
#include "symbol_search.h"
#include "text_file.h"
#include "text_plot.h"
#include "trading_hours.h"
#include "user_months.h"
#include "words.h"

namespace qvant::host {

namespace {

constexpr std::chrono::milliseconds WAIT_TIMEOUT{10'000};
constexpr std::chrono::milliseconds ANSWER_TIMEOUT{5'000};  ///< for what a person waits for
constexpr std::uint64_t SHOWN_ROWS = 20;
constexpr std::size_t PLOT_ROWS = 16;

EventPattern::FieldPattern ReadFieldPattern(const JsonValue& name, const JsonValue& wanted) {
    const std::string strName = Narrow(TextOf(name));
    if (wanted.IsString()) return {strName, Text(TextOf(wanted)), false};
    if (wanted.IsInt64()) return {strName, Widen(std::to_string(wanted.GetInt64())), true};
    throw CFailure(Quote(TextOf(name)) + " of \"match\" isn't a string or an integer");
}

EventPattern ReadPattern(const CRequest& request) {
    const Text strKind = request.GetText(u"event");
    const auto it = std::ranges::find(kind::ALL, Narrow(strKind));
    if (it == std::end(kind::ALL)) throw CFailure("unknown event " + Quote(strKind));
    EventPattern pattern{*it, {}};
    if (!request.Has(u"match")) return pattern;
    for (const auto& member : request.GetObject(u"match").GetObject())
        pattern.arFields.push_back(ReadFieldPattern(member.name, member.value));
    return pattern;
}

/// The values are read before the transaction begins, so that a bad one leaves no trace.
std::vector<std::pair<Text, Value>> ReadValues(const CRequest& request) {
    std::vector<std::pair<Text, Value>> arValues;
    for (const auto& member : request.GetObject(u"values").GetObject())
        arValues.emplace_back(TextOf(member.name), ValueOf(member.value, TextOf(member.name)));
    return arValues;
}

std::vector<Value> ReadRows(const CRequest& request) {
    std::vector<Value> arRows;
    for (const JsonValue& row : request.GetArray(u"rows").GetArray()) arRows.push_back(ValueOf(row, u"rows"));
    return arRows;
}

std::size_t FirstOf(const CRequest& request) {
    return static_cast<std::size_t>(request.GetCount(u"first", SHOWN_ROWS));
}

std::chrono::milliseconds TimeoutOf(const CRequest& request) {
    return request.GetDuration(u"timeout_ms", ANSWER_TIMEOUT);
}

}  // namespace

CRequests::Handler CRequests::FindHandler(TextView strName) {
    static constexpr std::pair<TextView, Handler> HANDLERS[] = {
        {u"status", &CRequests::Status}, {u"topic", &CRequests::Topic},      {u"set", &CRequests::Set},
        {u"rows", &CRequests::Rows},     {u"clear", &CRequests::Clear},      {u"drop", &CRequests::Drop},
        {u"get", &CRequests::Get},       {u"keys", &CRequests::Keys},        {u"dump", &CRequests::Dump},
        {u"tables", &CRequests::Tables}, {u"find", &CRequests::FindSymbols}, {u"card", &CRequests::Card},
        {u"tree", &CRequests::Tree},     {u"watch", &CRequests::Watch},      {u"unwatch", &CRequests::Unwatch},
        {u"hold", &CRequests::Hold},     {u"release", &CRequests::Release},  {u"clock", &CRequests::Clock},
        {u"timers", &CRequests::Timers}, {u"servers", &CRequests::Servers},  {u"holidays", &CRequests::Holidays},
        {u"rates", &CRequests::Rates},   {u"wait", &CRequests::Wait},        {u"rolls", &CRequests::Rolls},
        {u"expiry", &CRequests::Expiry}, {u"factors", &CRequests::Factors},  {u"myrolls", &CRequests::MyRolls},
        {u"plot", &CRequests::Plot},     {u"sleep", &CRequests::Sleep},      {u"help", &CRequests::Help},
        {u"quit", &CRequests::Quit}};
    const auto it = std::ranges::find(HANDLERS, strName, &std::pair<TextView, Handler>::first);
    if (it == std::end(HANDLERS)) throw CFailure("unknown request " + Quote(strName));
    return it->second;
}

Reply CRequests::Run(std::string_view strLine) {
    Reply reply{std::to_string(++m_nRequest), {}, {}};
    try {
        if (strLine.size() > CFileLines::LINE_LIMIT) throw CFailure("the line is too long");
        RunOn(CRequest(strLine.starts_with('{') ? ParseJsonLine(strLine) : ParseWords(strLine)), reply);
    } catch (const std::exception& failure) {
        reply.strError = failure.what();
    }
    return reply;
}

void CRequests::RunOn(const CRequest& request, Reply& reply) {
    if (auto strId = request.GetId()) {
        reply.strId = std::move(*strId);
    } else if (request.Has(u"id")) {
        throw CFailure("\"id\" isn't a string or a number");
    }
    (this->*FindHandler(request.GetText(u"do")))(request, reply);
}

void CRequests::Status(const CRequest& request, Reply& reply) {
    const std::int32_t nStatus = request.GetInteger(u"status");
    const std::int32_t nSubStatus = request.GetInteger(u"sub");
    // A call that began behind the stop would find nobody to cut it short.
    if (m_stop.IsRequested()) throw CFailure(ENDS);
    const auto start = std::chrono::steady_clock::now();
    const HRESULT hr = m_service.SendStatus(nStatus, nSubStatus);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    reply.Add("result", std::int64_t{hr});
    reply.Add("ms", std::int64_t{std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count()});
}

void CRequests::Topic(const CRequest& request, Reply& reply) {
    CVariant data(request.GetValue(u"data"));
    const HRESULT hr = m_service.SendTopic(request.GetText(u"topic"), request.GetInteger(u"type", 0),
                                           request.GetInteger(u"param", 0), request.GetText(u"text", u""), data);
    reply.Add("result", std::int64_t{hr});
    reply.Add("data", FromVariant(*data));
}

void CRequests::Set(const CRequest& request, Reply&) {
    const auto arValues = ReadValues(request);
    CTransaction transaction(m_tables.OpenOrMake(request.GetTablePath()));
    for (const auto& [strKey, value] : arValues) transaction.SetValue(strKey, value);
    transaction.Commit();
}

void CRequests::Rows(const CRequest& request, Reply&) {
    const auto arRows = ReadRows(request);
    CTransaction transaction(m_tables.OpenOrMake(request.GetTablePath()));
    transaction.Clear(store::MASK_ROWS);
    std::int32_t nIndex = 0;
    for (const Value& row : arRows) transaction.SetRow(nIndex++, row);
    transaction.Commit();
}

void CRequests::Clear(const CRequest& request, Reply&) {
    const std::int32_t nMask = request.GetInteger(u"mask", store::MASK_ALL);
    CTransaction transaction(m_tables.Open(request.GetTablePath()));
    transaction.Clear(nMask);
    transaction.Commit();
}

void CRequests::Drop(const CRequest& request, Reply&) {
    const Text strTable = request.GetText(u"table");
    if (!m_tables.Drop(strTable)) throw CFailure("unknown table " + Quote(strTable));
    m_watches.Forget(strTable);
}

void CRequests::Get(const CRequest& request, Reply& reply) {
    const Text strKey = request.GetText(u"key");
    reply.Add("value", m_tables.Open(request.GetTablePath()).GetValue(strKey));
}

void CRequests::Keys(const CRequest& request, Reply& reply) {
    reply.Add("value", m_tables.Open(request.GetTablePath()).GetKeys());
}

void CRequests::Dump(const CRequest& request, Reply& reply) {
    reply.nShownRows = FirstOf(request);
    reply.Add("dump", ReadTable(m_tables.Open(request.GetTablePath())));
}

void CRequests::Tables(const CRequest&, Reply& reply) { reply.Add("tables", Value(m_tables.GetNames())); }

void CRequests::FindSymbols(const CRequest& request, Reply& reply) {
    const auto nFirst = FirstOf(request);
    const Text strText = request.GetText(u"text");
    CSearchDatabase database(m_folders.pathHome, m_stop);
    reply.Add("symbols", host::FindSymbols(database, strText, nFirst));
}

void CRequests::Card(const CRequest& request, Reply& reply) {
    const Text strSymbol = request.GetText(u"symbol");
    CSearchDatabase database(m_folders.pathHome, m_stop);
    reply.Add("card", ReadSymbolCard(database, m_tables, strSymbol));
}

void CRequests::Tree(const CRequest& request, Reply& reply) {
    reply.Add("names", CNameTree(m_tables).List(request.GetText(u"path", u"")));
}

void CRequests::Watch(const CRequest& request, Reply&) {
    const TablePath path = request.GetTablePath();
    m_watches.Watch(path, m_tables.Open(path));
}

void CRequests::Unwatch(const CRequest& request, Reply&) {
    const TablePath path = request.GetTablePath();
    if (!m_watches.Unwatch(path)) throw CFailure(Quote(path.strTable) + " isn't watched");
}

void CRequests::Hold(const CRequest& request, Reply&) { m_holds.Hold(request.GetText(u"name")); }

void CRequests::Release(const CRequest& request, Reply&) {
    const Text strName = request.GetText(u"name");
    if (!m_holds.Release(strName)) throw CFailure(Quote(strName) + " isn't held");
}

void CRequests::Clock(const CRequest& request, Reply& reply) {
    if (!request.Has(u"tick") && !request.Has(u"date") && !request.Has(u"time")) {
        reply.Add("clock", m_clock.Read());
    } else if (!request.Has(u"tick")) {
        m_clock.Set(request.GetInteger(u"date"), request.GetInteger(u"time"));
    } else if (request.GetFlag(u"tick")) {
        m_clock.StartTicking();
    } else {
        m_clock.StopTicking();
    }
}

void CRequests::Holidays(const CRequest& request, Reply& reply) {
    HolidayFilter filter{request.GetText(u"exchange", u""), std::nullopt};
    if (request.Has(u"year")) filter.nYear = request.GetInteger(u"year");
    reply.Add("holidays", ListHolidays(m_tables, filter, FirstOf(request)));
}

void CRequests::Rates(const CRequest& request, Reply& reply) {
    host::Rates rates = ListRates(m_tables, request.GetText(u"name", u""));
    reply.Add("rates", std::move(rates.currencies));
    reply.Add("risk_free", std::move(rates.riskFree));
    reply.Add("version", std::move(rates.version));
}

void CRequests::Timers(const CRequest&, Reply& reply) {
    reply.Add("timers", ListTimers(m_service.GetState(u"timers")));
    reply.Add("refresh", ReadRefresh(m_service.GetState(u"refresh")));
}

void CRequests::Servers(const CRequest&, Reply& reply) {
    reply.Add("servers", ListServers(m_service.GetState(u"servers")));
}

void CRequests::Rolls(const CRequest& request, Reply& reply) { ShowRolls(HOT_CHANGES, request, reply); }

void CRequests::Expiry(const CRequest& request, Reply& reply) { ShowRolls(EXPIRY_DATES, request, reply); }

void CRequests::ShowRolls(const RollKind& kind, const CRequest& request, Reply& reply) {
    RollRequest asked{request.GetText(u"symbol"), FirstOf(request), std::nullopt};
    if (request.Has(u"timeout_ms")) asked.timeout = request.GetDuration(u"timeout_ms");
    host::Rolls rolls = AskForRolls(m_ask, m_tables, m_folders.pathCommonData, kind, asked);
    reply.Add("product", std::move(rolls.product));
    reply.Add(&kind == &HOT_CHANGES ? "rolls" : "expiry", std::move(rolls.lines));
}

void CRequests::Factors(const CRequest& request, Reply& reply) {
    const FactorAnswer answer = AskForFactors(m_ask, request.GetText(u"symbol"), TimeoutOf(request));
    reply.Add("factors", answer.factors.List(FirstOf(request)));
    reply.Add("answer", Value(Text(answer.bFetched ? u"fetched" : u"from the store")));
}

void CRequests::MyRolls(const CRequest& request, Reply& reply) {
    const Text strTitle = request.GetText(u"title", u"");
    const std::int64_t nNow = ReadNow(m_tables);
    Text strUpdate;
    if (!strTitle.empty()) strUpdate = UpdateUserSeries(m_ask, m_folders.pathHome, strTitle, nNow, TimeoutOf(request));
    std::vector<UserSeries> arSeries = ReadUserSeries(m_folders.pathHome);
    if (!strTitle.empty())
        std::erase_if(arSeries, [&strTitle](const UserSeries& series) { return series.strTitle != strTitle; });
    reply.Add("definitions", ListSeries(arSeries, nNow));
    reply.Add("rolls", ListUserRolls(arSeries, nNow, FirstOf(request)));
    if (!strTitle.empty()) reply.Add("update", Value(std::move(strUpdate)));
}

void CRequests::Plot(const CRequest& request, Reply& reply) {
    const Text strWhat = request.GetText(u"what");
    if (strWhat != u"factors") throw CFailure("there is no plot of " + Quote(strWhat));
    const Text strSymbol = request.GetText(u"symbol");
    const Text strFile = request.GetText(u"svg", u"");
    const FactorAnswer answer = AskForFactors(m_ask, strSymbol, TimeoutOf(request));
    const host::Plot plot =
        MakePlot(strSymbol + u": adjustment factors", answer.factors.GetSteps(), ReadToday(m_tables));
    reply.Add("plot", Value(DrawText(plot, request.GetCount(u"width", TerminalWidth()), PLOT_ROWS)));
    if (strFile.empty()) return;
    const auto path = std::filesystem::absolute(Narrow(strFile));
    WriteWholeFile(path, DrawSvg(plot));
    reply.Add("svg", Value(Widen(path.string())));
}

void CRequests::Wait(const CRequest& request, Reply& reply) {
    const EventPattern pattern = ReadPattern(request);
    auto found = m_log.Wait(pattern, request.GetCount(u"after", m_nLastFound),
                            request.GetDuration(u"timeout_ms", WAIT_TIMEOUT), m_stop.GetToken());
    if (!found) throw CFailure(m_stop.IsRequested() ? ENDS : "timeout");
    m_nLastFound = found->nNumber;
    reply.Add("found", std::move(*found));
}

void CRequests::Sleep(const CRequest& request, Reply&) {
    if (!m_stop.Sleep(request.GetDuration(u"ms"))) throw CFailure(ENDS);
}

void CRequests::Help(const CRequest& request, Reply& reply) {
    reply.Add("help", Value(MakeHelp(request.GetText(u"word", u""))));
}

void CRequests::Quit(const CRequest&, Reply&) {
    m_bQuit = true;
    End();
}

void CRequests::End() {
    m_clock.StopTicking();
    m_service.End();
    m_watches.Clear();
    m_holds.Clear();
}

}  // namespace qvant::host
