/// Dates and months as the files of a data folder write them.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>

namespace qvant::refserver {

using Day = std::chrono::sys_days;

/// The number of a text of exactly so many decimal digits, at most 18.
std::optional<std::int64_t> ParseDigits(std::string_view text, std::size_t nDigits);

/// "YYYYMMDD", a day of the calendar.
std::optional<Day> ParseDay(std::string_view text);

/// YYYYMMDD as a number.
std::optional<Day> ToDay(std::int64_t nDate);
std::int64_t ToNumber(Day day);

/// "YYYYMM" as a number.
std::optional<unsigned> ParseMonth(std::string_view text);

}  // namespace qvant::refserver
