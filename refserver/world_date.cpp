#include "world_date.h"

#include <algorithm>

namespace qvant::refserver {

std::optional<std::int64_t> ParseDigits(std::string_view text, std::size_t nDigits) {
    if (text.size() != nDigits) return {};
    std::int64_t nNumber = 0;
    for (const char c : text) {
        if (c < '0' || c > '9') return {};
        nNumber = nNumber * 10 + (c - '0');
    }
    return nNumber;
}

std::optional<Day> ParseDay(std::string_view text) {
    const auto nDate = ParseDigits(text, 8);
    return nDate ? ToDay(*nDate) : std::nullopt;
}

std::optional<Day> ToDay(std::int64_t nDate) {
    if (nDate < 0 || nDate > 99'999'999) return {};
    const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(nDate / 10'000)),
                                           std::chrono::month(static_cast<unsigned>(nDate / 100 % 100)),
                                           std::chrono::day(static_cast<unsigned>(nDate % 100))};
    return date.ok() ? std::optional<Day>(date) : std::nullopt;
}

std::int64_t ToNumber(Day day) {
    const std::chrono::year_month_day date(day);
    return std::int64_t{static_cast<int>(date.year())} * 10'000 + static_cast<unsigned>(date.month()) * 100 +
           static_cast<unsigned>(date.day());
}

std::optional<unsigned> ParseMonth(std::string_view text) {
    const auto nMonth = ParseDigits(text, 6);
    if (!nMonth || *nMonth % 100 < 1 || *nMonth % 100 > 12) return {};
    return static_cast<unsigned>(*nMonth);
}

}  // namespace qvant::refserver
