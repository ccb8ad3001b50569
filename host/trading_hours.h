/// The trading hours of a security on one day. The tables hold them in UTC; a person lives in the machine's zone.
#pragma once

#include <chrono>

#include "listing.h"
#include "tables.h"

namespace qvant::host {

/// The day that the host's clock shows; without a date in it, the machine's in its own zone.
std::chrono::sys_days ReadToday(const CTables& tables);

/// Adds the hours that the security of a symbol has on a day: the day and the zone, the sessions and the reset time in
/// the machine's zone and in UTC. Where they aren't known, a note says why.
///
/// Times of the day in UTC are moved by the offset that the machine's zone has at noon of that day. Hours and resets
/// that the security has on this date alone, by the place of their first time in the machine's zone, replace the
/// everyday ones.
void AddTradingHours(const CTables& tables, TextView strSymbol, std::chrono::sys_days today, Record& card);

}  // namespace qvant::host
