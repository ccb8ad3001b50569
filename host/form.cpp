#include "form.h"

#include <cstdio>

namespace qvant::host {

namespace {

constexpr std::int64_t SECOND = 1000;
constexpr std::int64_t MINUTE = 60 * SECOND;
constexpr std::int64_t HOUR = 60 * MINUTE;

template <typename... Arguments>
Text Print(const char* pszFormat, Arguments... arguments) {
    char szText[64];
    std::snprintf(szText, sizeof szText, pszFormat, arguments...);
    return Widen(szText);
}

Text ShowDuration(std::int64_t nDuration) {
    if (nDuration < SECOND) return Print("%lld ms", static_cast<long long>(nDuration));
    const auto nTenths = static_cast<long long>(nDuration / 100);
    if (nDuration < MINUTE) return Print("%lld.%lld s", nTenths / 10, nTenths % 10);
    const auto nUnit = nDuration < HOUR ? MINUTE : HOUR;
    const auto nWhole = static_cast<long long>(nDuration / nUnit);
    const auto nRest = static_cast<long long>(nDuration % nUnit / (nUnit / 60));
    const bool bMinutes = nUnit == MINUTE;
    if (nRest == 0) return Print(bMinutes ? "%lld min" : "%lld h", nWhole);
    return Print(bMinutes ? "%lld min %lld s" : "%lld h %lld min", nWhole, nRest);
}

std::optional<Text> ShowDate(std::int64_t nDate) {
    static constexpr const char* DAYS[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    const auto day = ToDay(nDate);
    if (!day) return std::nullopt;
    return Print("%04d-%02d-%02d %s", static_cast<int>(nDate / 10000), static_cast<int>(nDate / 100 % 100),
                 static_cast<int>(nDate % 100), DAYS[std::chrono::weekday(*day).c_encoding()]);
}

std::optional<Text> ShowTime(std::int64_t nTime) {
    if (nTime < 0 || nTime / 10000 > 23 || nTime / 100 % 100 > 59 || nTime % 100 > 59) return std::nullopt;
    return Print("%02d:%02d:%02d", static_cast<int>(nTime / 10000), static_cast<int>(nTime / 100 % 100),
                 static_cast<int>(nTime % 100));
}

std::optional<Text> ShowFineTime(std::int64_t nTime) {
    std::optional<Text> strTime = nTime < 0 ? std::nullopt : ShowTime(nTime / 1000);
    if (!strTime || nTime % 1000 == 0) return strTime;
    return *strTime + Print(".%03d", static_cast<int>(nTime % 1000));
}

std::optional<Text> ShowMoment(std::int64_t nMoment) {
    constexpr std::int64_t DATES_END = 100'000'000;
    if (nMoment < DATES_END) return ShowDate(nMoment);
    const auto strDate = ShowDate(nMoment / 1'000'000);
    const auto strTime = ShowTime(nMoment % 1'000'000);
    if (!strDate || !strTime) return std::nullopt;
    return *strDate + u' ' + *strTime;
}

std::optional<Text> Show(std::int64_t nNumber, Form nForm) {
    switch (nForm) {
        case Form::Duration:
            return ShowDuration(nNumber);
        case Form::Date:
            return ShowDate(nNumber);
        case Form::Time:
            return ShowTime(nNumber);
        case Form::FineTime:
            return ShowFineTime(nNumber);
        case Form::Moment:
            return ShowMoment(nNumber);
        case Form::Flag:
            return Text(nNumber != 0 ? u"yes" : u"no");
        case Form::Plain:
            break;
    }
    return std::nullopt;
}

/// The items beside each other.
Text JoinItems(const std::vector<Text>& arItems) {
    Text strItems;
    for (const Text& strItem : arItems) strItems.append(strItems.empty() ? u"" : u"  ").append(strItem);
    return strItems;
}

}  // namespace

std::optional<std::chrono::sys_days> ToDay(std::int64_t nDate) {
    if (nDate < 1'01'01 || nDate > 9999'12'31) return std::nullopt;
    const std::chrono::year_month_day date(std::chrono::year(static_cast<int>(nDate / 10000)),
                                           std::chrono::month(static_cast<unsigned>(nDate / 100 % 100)),
                                           std::chrono::day(static_cast<unsigned>(nDate % 100)));
    return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

Text ToText(const Value& value, Form nForm) {
    if (const auto* pList = std::get_if<std::vector<Text>>(&value)) return JoinItems(*pList);
    Text strText = ToText(value);
    if (nForm == Form::Plain) return strText;
    const auto nNumber = ParseInteger(strText);
    const auto strShown = nNumber ? Show(*nNumber, nForm) : std::nullopt;
    return strShown.value_or(std::move(strText));
}

}  // namespace qvant::host
