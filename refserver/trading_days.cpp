#include "trading_days.h"

#include <algorithm>

namespace qvant::refserver {

namespace {

/// Takes the text before the separator off, and the separator with it.
std::string_view TakePiece(std::string_view& text, char cSeparator) {
    const auto nEnd = std::min(text.find(cSeparator), text.size());
    const auto piece = text.substr(0, nEnd);
    text.remove_prefix(std::min(nEnd + 1, text.size()));
    return piece;
}

}  // namespace

CTradingDays::CTradingDays(std::string_view holidays) {
    while (!holidays.empty()) {
        auto line = TakePiece(holidays, '\n');
        if (line.ends_with('\r')) line.remove_suffix(1);
        const auto day = ParseDay(TakePiece(line, '\t'));
        if (!day || TakePiece(line, '\t') != "H") continue;
        while (!line.empty()) m_mapHolidays[std::string(TakePiece(line, ','))].push_back(*day);
    }
    for (auto& [strExchange, arDays] : m_mapHolidays) std::sort(arDays.begin(), arDays.end());
}

bool CTradingDays::IsTradingDay(std::string_view exchange, Day day) const {
    const std::chrono::weekday weekday(day);
    if (weekday == std::chrono::Saturday || weekday == std::chrono::Sunday) return false;
    const auto it = m_mapHolidays.find(exchange);
    return it == m_mapHolidays.end() || !std::binary_search(it->second.begin(), it->second.end(), day);
}

Day CTradingDays::Last(std::string_view exchange, Day day) const {
    while (!IsTradingDay(exchange, day)) day -= std::chrono::days(1);
    return day;
}

}  // namespace qvant::refserver
