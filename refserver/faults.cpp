#include "faults.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace qvant::refserver {

namespace {

/// A kind's name, the JSON name of its number, and the number when none is given; a kind without a JSON name takes
/// none.
struct KindRow {
    FaultKind kind;
    const char* pName;
    const char* pArgument;
    bool bArgumentNeeded;
};

constexpr std::array<KindRow, 10> Kinds = {{{FaultKind::Delay, "delay", "ms", true},
                                            {FaultKind::Status, "status", "code", true},
                                            {FaultKind::Slow, "slow", "rate", true},
                                            {FaultKind::Cut, "cut", "bytes", false},
                                            {FaultKind::Reset, "reset", nullptr, false},
                                            {FaultKind::Hang, "hang", nullptr, false},
                                            {FaultKind::Garbage, "garbage", nullptr, false},
                                            {FaultKind::Empty, "empty", nullptr, false},
                                            {FaultKind::Refresh, "refresh", "times", false},
                                            {FaultKind::WrongGzip, "wrong-gzip", nullptr, false}}};

const KindRow& FindKind(std::string_view name) {
    const auto it = std::find_if(Kinds.begin(), Kinds.end(), [&](const KindRow& row) { return name == row.pName; });
    if (it == Kinds.end()) throw CFaultError("unknown kind of fault \"" + std::string(name) + "\"");
    return *it;
}

const KindRow& RowOf(FaultKind kind) { return Kinds[static_cast<std::size_t>(kind)]; }

void CheckArgument(const Fault& fault) {
    const std::size_t nLow = fault.kind == FaultKind::Status ? 100 : fault.kind == FaultKind::Slow ? 1 : 0;
    const std::size_t nHigh = fault.kind == FaultKind::Status ? 599 : std::numeric_limits<int>::max();
    if (fault.nArgument < nLow || fault.nArgument > nHigh) {
        throw CFaultError("a " + std::string(RowOf(fault.kind).pName) + " of " + std::to_string(fault.nArgument) +
                          " can't be");
    }
}

std::size_t ParseNumber(std::string_view text, const KindRow& row) {
    std::size_t nNumber = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), nNumber);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size()) {
        throw CFaultError("\"" + std::string(text) + "\" isn't a number, which \"" + row.pName + "\" needs");
    }
    return nNumber;
}

std::optional<std::size_t> ReadNumber(const rapidjson::Value& item, const char* pName) {
    const auto it = item.FindMember(pName);
    if (it == item.MemberEnd()) return std::nullopt;
    if (!it->value.IsUint()) throw CFaultError(std::string("\"") + pName + "\" isn't a whole number");
    return it->value.GetUint();
}

std::string_view ReadString(const rapidjson::Value& item, const char* pName) {
    const auto it = item.FindMember(pName);
    if (it == item.MemberEnd()) return {};
    if (!it->value.IsString()) throw CFaultError(std::string("\"") + pName + "\" isn't a string");
    return {it->value.GetString(), it->value.GetStringLength()};
}

Fault ReadFault(const rapidjson::Value& item) {
    if (!item.IsObject()) throw CFaultError("a fault isn't an object");
    Fault fault;
    fault.strMatch = ReadString(item, "match");
    const auto& row = FindKind(ReadString(item, "kind"));
    fault.kind = row.kind;
    fault.nTimes = ReadNumber(item, "times");
    const auto nArgument = row.pArgument ? ReadNumber(item, row.pArgument) : std::nullopt;
    if (row.bArgumentNeeded && !nArgument) {
        throw CFaultError(std::string("\"") + row.pName + "\" needs \"" + row.pArgument + "\"");
    }
    fault.nArgument = nArgument.value_or(0);
    CheckArgument(fault);
    return fault;
}

void AddToPlan(const Fault& fault, FaultPlan& plan) {
    switch (fault.kind) {
        case FaultKind::Delay:
            plan.delay += std::chrono::milliseconds(fault.nArgument);
            break;
        case FaultKind::Status:
            plan.nStatus = static_cast<int>(fault.nArgument);
            break;
        case FaultKind::Slow:
            plan.nRate = fault.nArgument;
            break;
        case FaultKind::Cut:
            plan.nCutAfter = fault.nArgument;
            break;
        case FaultKind::Reset:
            plan.bReset = true;
            break;
        case FaultKind::Hang:
            plan.bHang = true;
            break;
        case FaultKind::Garbage:
            plan.bGarbage = true;
            break;
        case FaultKind::Empty:
            plan.bEmpty = true;
            break;
        case FaultKind::Refresh:
            plan.bRefresh = true;
            break;
        case FaultKind::WrongGzip:
            plan.bWrongGzip = true;
            break;
    }
    plan.strNames += plan.strNames.empty() ? "" : ",";
    plan.strNames += RowOf(fault.kind).pName;
}

}  // namespace

Fault ParseFault(std::string_view text) {
    const auto nColon = text.rfind(':');
    if (nColon == std::string_view::npos) {
        throw CFaultError("\"" + std::string(text) + "\" isn't PATH-SUBSTRING:KIND[=ARG]");
    }
    const auto rest = text.substr(nColon + 1);
    const auto nEqual = std::min(rest.find('='), rest.size());
    const auto& row = FindKind(rest.substr(0, nEqual));
    Fault fault;
    fault.strMatch = text.substr(0, nColon);
    fault.kind = row.kind;
    if (nEqual == rest.size()) {
        if (row.bArgumentNeeded) throw CFaultError("\"" + std::string(row.pName) + "\" needs =" + row.pArgument);
        return fault;
    }
    if (!row.pArgument) throw CFaultError("\"" + std::string(row.pName) + "\" takes no argument");
    fault.nArgument = ParseNumber(rest.substr(nEqual + 1), row);
    // The number of a refresh is how often it happens.
    if (row.kind == FaultKind::Refresh) fault.nTimes = fault.nArgument;
    CheckArgument(fault);
    return fault;
}

std::vector<Fault> ParseFaults(std::string_view json) {
    rapidjson::Document root;
    root.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
    if (root.HasParseError() || !root.IsArray()) throw CFaultError("the faults aren't a JSON array");
    std::vector<Fault> arFaults;
    for (const auto& item : root.GetArray()) arFaults.push_back(ReadFault(item));
    return arFaults;
}

void CFaultList::Replace(std::vector<Fault> arFaults) {
    const CLock lock(m_mutex);
    m_arFaults = std::move(arFaults);
}

FaultPlan CFaultList::Take(std::string_view path) {
    const CLock lock(m_mutex);
    FaultPlan plan;
    for (auto& fault : m_arFaults) {
        if (path.find(fault.strMatch) == std::string_view::npos || fault.nTimes == 0U) continue;
        if (fault.nTimes) --*fault.nTimes;
        AddToPlan(fault, plan);
    }
    return plan;
}

std::string CFaultList::ToJson() const {
    const CLock lock(m_mutex);
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.StartArray();
    for (const auto& fault : m_arFaults) {
        const auto& row = RowOf(fault.kind);
        writer.StartObject();
        writer.Key("match");
        writer.String(fault.strMatch.data(), static_cast<rapidjson::SizeType>(fault.strMatch.size()));
        writer.Key("kind");
        writer.String(row.pName);
        if (row.pArgument && fault.kind != FaultKind::Refresh) {
            writer.Key(row.pArgument);
            writer.Uint64(fault.nArgument);
        }
        if (fault.nTimes) {
            writer.Key("times");
            writer.Uint64(*fault.nTimes);
        }
        writer.EndObject();
    }
    writer.EndArray();
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace qvant::refserver
