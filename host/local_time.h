/// Times of the day and moments, in UTC and in the machine's zone.
#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>

#include "tables.h"

namespace qvant::host {

/// Noon of a day in the machine's zone, with what that zone is away from UTC then.
std::tm NoonOf(std::chrono::sys_days day);

/// What a zone is away from UTC: UTC+08:00.
Text ShowZone(std::chrono::minutes offset);

/// A time of the day as HH:MM; one before or behind the day is one of the day before or the next.
Text ShowTime(std::chrono::minutes time);

/// The moment of a decimal yyyymmddhhmmss, none when there is no such moment; and the other way round.
std::optional<std::chrono::sys_seconds> ToMoment(std::int64_t nMoment);
std::int64_t ToNumber(std::chrono::sys_seconds moment);

/// Decimal yyyymmddhhmmss of a moment in the machine's zone.
std::int64_t ToLocalNumber(std::chrono::sys_seconds moment);

/// The UTC date and time that the host's clock shows, as decimal yyyymmddhhmmss; what it lacks is the machine's.
std::int64_t ReadNow(const CTables& tables);

}  // namespace qvant::host
