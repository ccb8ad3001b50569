#include "service/inspection.h"

#include <algorithm>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace qvant {

namespace {

using Buffer = rapidjson::GenericStringBuffer<rapidjson::UTF16<char16_t>>;
using Writer = rapidjson::Writer<Buffer, rapidjson::UTF16<char16_t>, rapidjson::UTF16<char16_t>>;

void Put(Writer& writer, TextView strText) {
    writer.String(strText.data(), static_cast<rapidjson::SizeType>(strText.size()));
}
void Put(Writer& writer, bool bFlag) { writer.Bool(bFlag); }
void Put(Writer& writer, std::int64_t nNumber) { writer.Int64(nNumber); }
void Put(Writer& writer, const std::optional<std::int64_t>& nNumber) {
    if (nNumber) {
        writer.Int64(*nNumber);
    } else {
        writer.Null();
    }
}

template <typename Value>
void Put(Writer& writer, const char16_t* pszName, const Value& value) {
    writer.Key(pszName);
    Put(writer, value);
}

/// An object with one array, whose items `put` writes.
template <typename Items, typename PutItem>
Text DescribeItems(const char16_t* pszName, const Items& arItems, const PutItem& put) {
    Buffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writer.Key(pszName);
    writer.StartArray();
    for (const auto& item : arItems) {
        writer.StartObject();
        put(writer, item);
        writer.EndObject();
    }
    writer.EndArray();
    writer.EndObject();
    return buffer.GetString();
}

TextView StateOf(const ServerRow& row) {
    if (!row.measured) return u"untested";
    if (row.measured->nLatency >= LATENCY_UNREPORTED) return u"late";
    return row.measured->nLatency >= LATENCY_FAILED ? u"failed" : u"answered";
}

}  // namespace

Text DescribeTimers(const std::vector<TimerState>& arTimers, std::int64_t nNow) {
    return DescribeItems(u"timers", arTimers, [nNow](Writer& writer, const TimerState& timer) {
        std::optional<std::int64_t> nDue = timer.nNextDue;
        if (nDue) nDue = std::max<std::int64_t>(*nDue - nNow, 0);
        Put(writer, u"id", std::int64_t{timer.nId});
        Put(writer, u"interval", std::int64_t{timer.nInterval});
        Put(writer, u"due", nDue);
        Put(writer, u"running", timer.bRunning);
    });
}

Text DescribeServers(const ServerListing& listing) {
    return DescribeItems(u"servers", listing.arServers, [](Writer& writer, const ServerRow& row) {
        const TextView strState = StateOf(row);
        std::optional<std::int64_t> nLatency, nHandicap;
        if (row.measured) nHandicap = row.measured->nInterval;
        // The handicap is part of what the test ranks by.
        if (strState == u"answered") nLatency = row.measured->nLatency - row.measured->nInterval;
        Put(writer, u"url", TextView(row.strServer));
        Put(writer, u"state", strState);
        Put(writer, u"latency", nLatency);
        Put(writer, u"handicap", nHandicap);
        Put(writer, u"inUse", row.bInUse);
    });
}

Text DescribeRefresh(const RefreshState& state) {
    Buffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    Put(writer, u"passes", state.nPasses);
    Put(writer, u"left", state.nLeft);
    Put(writer, u"last", state.nLastDuration);
    Put(writer, u"running", state.bRunning);
    writer.EndObject();
    return buffer.GetString();
}

}  // namespace qvant
