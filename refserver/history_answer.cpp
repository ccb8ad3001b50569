#include "history_answer.h"

#include <chrono>
#include <optional>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "history_reply.h"
#include "json_file.h"

namespace qvant::refserver {

namespace {

using Minute = std::chrono::sys_time<std::chrono::minutes>;
using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

// The opening of the stock exchanges, from which on a stock trades without its dividend: HHMMSSmmm.
constexpr std::int64_t StockOpening = 93'000'000;

std::string ReadMember(const rapidjson::Value& command, const char* pName) {
    const auto it = command.FindMember(pName);
    if (it == command.MemberEnd()) return {};
    if (!it->value.IsString()) throw CCommandError(std::string("\"") + pName + "\" isn't a string");
    return std::string(ToView(it->value));
}

const rapidjson::Value& FindSubject(const rapidjson::Value& command) {
    const auto itData = command.FindMember("d");
    if (itData == command.MemberEnd() || !itData->value.IsObject()) throw CCommandError("\"d\" isn't an object");
    const auto it = itData->value.FindMember("s");
    if (it == itData->value.MemberEnd()) throw CCommandError("\"d\" has no \"s\"");
    return it->value;
}

/// YYYYMMDDhhmm.
std::optional<Minute> ToMinute(const rapidjson::Value& value) {
    if (!value.IsInt64()) return {};
    const std::int64_t nMoment = value.GetInt64();
    const auto day = ToDay(nMoment / 10'000);
    const std::int64_t nHour = nMoment / 100 % 100;
    const std::int64_t nMinute = nMoment % 100;
    if (nMoment < 0 || !day || nHour > 23 || nMinute > 59) return {};
    return *day + std::chrono::minutes(nHour * 60 + nMinute);
}

/// The array "data" of a reply, written element by element.
class CDataWriter {
public:
    CDataWriter() : m_writer(m_buffer) {
        m_writer.StartObject();
        m_writer.Key("data");
        m_writer.StartArray();
    }

    void Begin() { m_writer.StartObject(); }
    void Add(const char* pName, std::int64_t nValue) {
        m_writer.Key(pName);
        m_writer.Int64(nValue);
    }
    void AddDouble(const char* pName, double dValue) {
        m_writer.Key(pName);
        m_writer.Double(dValue);
    }
    void Add(const char* pName, std::string_view text) {
        m_writer.Key(pName);
        m_writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    }
    void End() { m_writer.EndObject(); }

    std::string Finish() {
        m_writer.EndArray();
        m_writer.EndObject();
        return {m_buffer.GetString(), m_buffer.GetSize()};
    }

private:
    rapidjson::StringBuffer m_buffer;
    Writer m_writer;
};

/// Factors of a stock: what the prices before the day are multiplied by.
std::string MakeStockFactors(const std::vector<StockEvent>& arEvents) {
    CDataWriter data;
    for (const auto& event : arEvents) {
        data.Begin();
        data.Add("od", ToNumber(event.day));
        data.Add("d", ToNumber(event.day));
        data.Add("t", StockOpening);
        data.AddDouble("sxd", event.GetFactor());
        data.AddDouble("cash", event.dCash);
        data.AddDouble("shares", event.dShares);
        data.End();
    }
    return data.Finish();
}

/// Factors of a hot series: by how much the new month stood above the old one when the series went over to it, which
/// is when the bar of the roll's day had ended.
std::string MakeRollFactors(const WorldHistory& history, const std::string& strKey, const ProductRolls& rolls,
                            const BarRule& rule) {
    const auto close = [&](unsigned nMonth, Minute moment) -> std::optional<Price> {
        const auto expiry = FindExpiry(rolls, nMonth);
        return expiry ? FindClose(rule, {strKey, nMonth, *expiry}, history.tradingDays, moment) : std::nullopt;
    };
    CDataWriter data;
    // The rolls stand the latest first, the factors the first one first. What the series held before its first roll
    // isn't known, so that one has no factor.
    for (auto n = rolls.arRolls.size(); n > 1; --n) {
        const MonthDay& roll = rolls.arRolls[n - 2];
        const unsigned nOldMonth = rolls.arRolls[n - 1].nMonth;
        const Minute moment = roll.day + rule.end;
        const auto newClose = close(roll.nMonth, moment);
        const auto oldClose = close(nOldMonth, moment);
        if (!newClose || !oldClose) continue;
        const auto day = std::chrono::floor<std::chrono::days>(moment);
        const std::int64_t nMinutes = (moment - day).count();
        data.Begin();
        data.Add("od", ToNumber(day));
        data.Add("d", ToNumber(roll.day));
        data.Add("t", (nMinutes / 60 * 100 + nMinutes % 60) * 100'000);
        data.AddDouble("sxd", (*newClose - *oldClose).ToDouble());
        data.Add("old", nOldMonth);
        data.Add("new", roll.nMonth);
        data.End();
    }
    return data.Finish();
}

/// @return none for a security that has no factors here
std::optional<std::string> MakeFactors(const WorldHistory& history, const rapidjson::Value& subject) {
    if (!subject.IsString()) throw CCommandError("\"s\" of \"d\" isn't a quote class");
    const auto symbol = history.names.Find(std::string(ToView(subject)));
    if (!symbol || !symbol->strRest.empty()) return {};
    if (const auto* pEvents = history.events.Find(symbol->strKey)) return MakeStockFactors(*pEvents);
    const auto* pRolls = history.rolls.Find(symbol->strKey);
    const auto* pRule = history.bars.Find(symbol->strKey);
    if (!pRolls || pRolls->arRolls.empty() || !pRule) return {};
    return MakeRollFactors(history, symbol->strKey, *pRolls, *pRule);
}

void AddCloses(const WorldHistory& history, const std::string& strContract, const rapidjson::Value& moments,
               CDataWriter& data) {
    const auto symbol = history.names.Find(strContract);
    const auto nMonth = symbol ? ParseMonth(symbol->strRest) : std::nullopt;
    const auto* pRolls = nMonth ? history.rolls.Find(symbol->strKey) : nullptr;
    const auto* pRule = nMonth ? history.bars.Find(symbol->strKey) : nullptr;
    const auto expiry = pRolls ? FindExpiry(*pRolls, *nMonth) : std::nullopt;
    for (const auto& value : moments.GetArray()) {
        const auto moment = ToMinute(value);
        if (!moment) throw CCommandError("\"" + strContract + "\" has a moment that isn't YYYYMMDDhhmm");
        if (!pRule || !expiry) continue;
        const auto close = FindClose(*pRule, {symbol->strKey, *nMonth, *expiry}, history.tradingDays, *moment);
        if (!close) continue;
        data.Begin();
        data.Add("s", strContract);
        data.Add("dm", value.GetInt64());
        data.AddDouble("c", close->ToDouble());
        data.End();
    }
}

std::string MakeCloses(const WorldHistory& history, const rapidjson::Value& subject) {
    if (!subject.IsObject()) throw CCommandError("\"s\" of \"d\" isn't an object of quote contracts");
    CDataWriter data;
    for (const auto& contract : subject.GetObject()) {
        const std::string strContract(ToView(contract.name));
        if (!contract.value.IsArray()) throw CCommandError("\"" + strContract + "\" has no array of moments");
        AddCloses(history, strContract, contract.value, data);
    }
    return data.Finish();
}

}  // namespace

std::string AnswerHistory(const WorldHistory& history, const std::string& strCommand) {
    rapidjson::Document command;
    command.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(strCommand.data(),
                                                                                          strCommand.size());
    if (command.HasParseError()) {
        throw CCommandError(std::string("the command isn't JSON: ") +
                            rapidjson::GetParseError_En(command.GetParseError()) + " (byte " +
                            std::to_string(command.GetErrorOffset()) + ")");
    }
    if (!command.IsObject()) throw CCommandError("the command isn't an object");
    const HistoryHead head{ReadMember(command, "s"), ReadMember(command, "c"), ReadMember(command, "r")};
    if (head.strCommand == "cqyz") {
        const auto strFactors = MakeFactors(history, FindSubject(command));
        return PackHistory(head, strFactors ? &*strFactors : nullptr);
    }
    if (head.strCommand == "lastk") {
        const std::string strCloses = MakeCloses(history, FindSubject(command));
        return PackHistory(head, &strCloses);
    }
    throw CCommandError("there is no command \"" + head.strCommand + "\"");
}

}  // namespace qvant::refserver
