#include "service_state.h"

#include <algorithm>
#include <iterator>

namespace qvant::host {

namespace {

/// A number, a text, a flag as 0 or 1; empty for anything else.
Value MemberOf(const JsonValue& object, TextView strName) {
    if (!object.IsObject()) return {};
    const auto it = object.FindMember(JsonValue(rapidjson::StringRef(strName.data(), strName.size())));
    if (it == object.MemberEnd()) return {};
    if (it->value.IsInt64()) return it->value.GetInt64();
    if (it->value.IsBool()) return std::int64_t{it->value.GetBool()};
    if (it->value.IsString()) return Text(TextOf(it->value));
    return {};
}

std::int64_t NumberOf(const JsonValue& object, TextView strName) {
    const Value value = MemberOf(object, strName);
    const auto* pNumber = std::get_if<std::int64_t>(&value);
    return pNumber ? *pNumber : 0;
}

template <typename Use>
void ForEachItem(const JsonDocument& state, TextView strName, const Use& use) {
    if (!state.IsObject()) return;
    const auto it = state.FindMember(JsonValue(rapidjson::StringRef(strName.data(), strName.size())));
    if (it == state.MemberEnd() || !it->value.IsArray()) return;
    for (const JsonValue& item : it->value.GetArray()) use(item);
}

Value PurposeOf(const Value& id) {
    static constexpr std::pair<std::int64_t, TextView> PURPOSES[] = {{100, u"a refresh from time to time"},
                                                                     {101, u"the first refresh at a reset time"},
                                                                     {102, u"the next refresh at a reset time"},
                                                                     {800, u"letting go of adjustment factors"},
                                                                     {999, u"roll files of moved hot months"}};
    const auto* pId = std::get_if<std::int64_t>(&id);
    const auto it =
        pId ? std::ranges::find(PURPOSES, *pId, &std::pair<std::int64_t, TextView>::first) : std::end(PURPOSES);
    return it == std::end(PURPOSES) ? Value() : Text(it->second);
}

}  // namespace

Listing ListTimers(const JsonDocument& state) {
    Listing listing{
        "timer",
        {"id", "purpose", {"interval_ms", Form::Duration}, {"due_in_ms", Form::Duration}, {"running", Form::Flag}},
        {},
        0};
    ForEachItem(state, u"timers", [&listing](const JsonValue& timer) {
        Value id = MemberOf(timer, u"id");
        Value purpose = PurposeOf(id);
        listing.arRows.push_back({std::move(id), std::move(purpose), MemberOf(timer, u"interval"),
                                  MemberOf(timer, u"due"), MemberOf(timer, u"running")});
    });
    listing.nTotal = listing.arRows.size();
    return listing;
}

Listing ListServers(const JsonDocument& state) {
    Listing listing{"server",
                    {"rank",
                     "url",
                     "state",
                     {"latency_ms", Form::Duration},
                     {"handicap_ms", Form::Duration},
                     {"in_use", Form::Flag}},
                    {},
                    0};
    ForEachItem(state, u"servers", [&listing](const JsonValue& server) {
        listing.arRows.push_back({static_cast<std::int64_t>(listing.arRows.size() + 1), MemberOf(server, u"url"),
                                  MemberOf(server, u"state"), MemberOf(server, u"latency"),
                                  MemberOf(server, u"handicap"), MemberOf(server, u"inUse")});
    });
    listing.nTotal = listing.arRows.size();
    return listing;
}

Record ReadRefresh(const JsonDocument& state) {
    Record refresh;
    refresh.arFields.emplace_back("passes", MemberOf(state, u"passes"));
    refresh.arFields.emplace_back("left_of_burst", MemberOf(state, u"left"));
    refresh.arFields.emplace_back(Column("last_took_ms", Form::Duration), MemberOf(state, u"last"));
    refresh.arFields.emplace_back(Column("running", Form::Flag), MemberOf(state, u"running"));
    return refresh;
}

RefreshState ReadRefreshState(const JsonDocument& state) {
    return {NumberOf(state, u"running") != 0, NumberOf(state, u"passes"), NumberOf(state, u"last")};
}

}  // namespace qvant::host
