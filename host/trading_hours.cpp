#include "trading_hours.h"

#include <algorithm>
#include <ctime>

#include "failure.h"
#include "local_time.h"
#include "request.h"
#include "symbol_key.h"

namespace qvant::host {

namespace {

using std::chrono::minutes;
using std::chrono::sys_days;

struct Session {
    minutes start{};
    std::optional<minutes> end;  ///< none: a single time, or a session whose end wasn't kept
};
using Sessions = std::vector<Session>;

/// How the two kinds of lists are put together.
struct Form {
    char16_t chBetweenSessions;
    char16_t chBetweenTimes;
};
constexpr Form EVERYDAY{u';', u'~'};  ///< HH:MM~HH:MM;HH:MM~HH:MM
constexpr Form DATED{u',', u'-'};     ///< HHMM-HHMM,HHMM-HHMM, behind a date and ":"

/// Takes the text up to a separator, or all of it, off the front.
TextView TakePiece(TextView& strRest, char16_t chSeparator) {
    const std::size_t nEnd = std::min(strRest.find(chSeparator), strRest.size());
    const TextView strPiece = strRest.substr(0, nEnd);
    strRest.remove_prefix(std::min(nEnd + 1, strRest.size()));
    return strPiece;
}

/// HH:MM or HHMM; none for anything else.
std::optional<minutes> FindTime(TextView strTime) {
    Text strDigits(strTime);
    std::erase(strDigits, u':');
    const auto nTime = ParseInteger(strDigits);
    if (!nTime || *nTime < 0 || *nTime > 2400 || *nTime % 100 > 59) return std::nullopt;
    return minutes(*nTime / 100 * 60 + *nTime % 100);
}

minutes ReadTime(TextView strTime) {
    const auto time = FindTime(strTime);
    if (!time) throw CFailure(Quote(strTime) + " isn't a time");
    return *time;
}

Sessions ReadSessions(TextView strList, const Form& form) {
    Sessions arSessions;
    while (!strList.empty()) {
        TextView strEnd = TakePiece(strList, form.chBetweenSessions);
        if (strEnd.empty()) continue;
        Session& session = arSessions.emplace_back();
        session.start = ReadTime(TakePiece(strEnd, form.chBetweenTimes));
        if (!strEnd.empty()) session.end = ReadTime(strEnd);
    }
    return arSessions;
}

/// The list of the day, out of DATE:LIST|DATE:LIST. A date belongs to the UTC place of the list's first time. One that
/// begins with "-" has no times, and its date is the day itself.
std::optional<TextView> FindDated(TextView strLists, sys_days today, minutes offset) {
    while (!strLists.empty()) {
        TextView strList = TakePiece(strLists, u'|');
        const auto nDate = ParseInteger(TakePiece(strList, u':'));
        const auto day = nDate ? ToDay(*nDate) : std::nullopt;
        if (!day || strList.empty()) continue;
        const auto first = strList.starts_with(u'-') ? -offset : FindTime(strList.substr(0, 4));
        if (first && std::chrono::floor<std::chrono::days>(*day + *first + offset) == today) return strList;
    }
    return std::nullopt;
}

Value ShowSessions(const Sessions& arSessions, minutes offset) {
    if (arSessions.empty()) return {};
    std::vector<Text> arShown;
    for (const auto& [start, end] : arSessions) {
        arShown.push_back(ShowTime(start + offset));
        if (end) arShown.back() += u'~' + ShowTime(*end + offset);
    }
    return arShown;
}

Text ShowDay(const std::tm& noon) {
    char szDay[32];
    std::strftime(szDay, sizeof szDay, "%Y-%m-%d %a", &noon);
    return Widen(szDay);
}

/// The security of a symbol, as the service published it.
/// @throws CFailure that says what is missing
JsonDocument ReadSecurity(const CTables& tables, TextView strSymbol) {
    const auto securities = tables.Find(u"Security.Info");
    if (!securities) throw CFailure("there is no table \"Security.Info\"");
    const Text strKey = TakeFields(strSymbol, 4);
    const auto group = securities->GetTable(TakeFields(strSymbol, 3));
    const Value value = group ? group->GetValue(strKey) : Value();
    const auto* pText = std::get_if<Text>(&value);
    if (!pText) throw CFailure("there is no security " + Quote(strKey));
    JsonDocument document;
    try {
        document = ParseJsonLine(Narrow(*pText));
    } catch (const CFailure& failure) {
        throw CFailure("the security " + Quote(strKey) + " can't be read: " + failure.what());
    }
    if (!document.IsObject()) throw CFailure("the security " + Quote(strKey) + " isn't an object");
    return document;
}

TextView MemberOf(const JsonDocument& security, TextView strName) {
    const JsonValue name(rapidjson::StringRef(strName.data(), strName.size()));
    const auto it = security.FindMember(name);
    return it != security.MemberEnd() && it->value.IsString() ? TextOf(it->value) : TextView();
}

struct Hours {
    Sessions arSessions;
    Sessions arResets;
    bool bSpecial = false;  ///< the sessions are this date's own
};

Hours ReadHours(const JsonDocument& security, sys_days today, minutes offset) {
    Hours hours;
    const auto sessions = FindDated(MemberOf(security, u"SpecificOCT"), today, offset);
    hours.bSpecial = sessions.has_value();
    hours.arSessions =
        sessions ? ReadSessions(*sessions, DATED) : ReadSessions(MemberOf(security, u"OpenCloseTime"), EVERYDAY);
    const auto resets = FindDated(MemberOf(security, u"SpecificReset"), today, offset);
    if (!resets) {
        hours.arResets = ReadSessions(MemberOf(security, u"ResetTime"), EVERYDAY);
    } else if (!resets->starts_with(u'-')) {
        hours.arResets = ReadSessions(*resets, DATED);
    }
    return hours;
}

}  // namespace

sys_days ReadToday(const CTables& tables) {
    if (const auto clock = tables.Find(u"QvantSystemTime")) {
        const auto nDate = ParseInteger(ToText(clock->GetValue(u"SystemDate")));
        if (const auto day = nDate ? ToDay(*nDate) : std::nullopt) return *day;
    }
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return std::chrono::floor<std::chrono::days>(std::chrono::sys_seconds(std::chrono::seconds(now + local.tm_gmtoff)));
}

void AddTradingHours(const CTables& tables, TextView strSymbol, sys_days today, Record& card) {
    const std::tm noon = NoonOf(today);
    const minutes offset(noon.tm_gmtoff / 60);
    Hours hours;
    Value note;
    try {
        hours = ReadHours(ReadSecurity(tables, strSymbol), today, offset);
        if (hours.bSpecial) note = Text(u"special hours on this date");
        if (hours.arSessions.empty()) note = Text(u"the security has no hours");
    } catch (const CFailure& failure) {
        // The rest of the card is good all the same.
        note = Widen(failure.what());
    }
    const auto Add = [&card](std::string_view strName, Value value) {
        card.arFields.emplace_back(strName, std::move(value));
    };
    Add("today", ShowDay(noon));
    Add("zone", ShowZone(offset));
    Add("hours", ShowSessions(hours.arSessions, offset));
    Add("hours_utc", ShowSessions(hours.arSessions, minutes(0)));
    Add("reset", ShowSessions(hours.arResets, offset));
    Add("reset_utc", ShowSessions(hours.arResets, minutes(0)));
    Add("note", std::move(note));
}

}  // namespace qvant::host
