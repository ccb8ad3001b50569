/// The holiday calendar as the service published it, for a person.
#pragma once

#include <optional>

#include "listing.h"
#include "tables.h"

namespace qvant::host {

struct HolidayFilter {
    Text strExchange;                   ///< upper and lower case are the same; empty: all
    std::optional<std::int32_t> nYear;  ///< none: from today on
};

/// The holidays in the order of their dates, each with its type and the exchanges that have it.
/// @param nFirst  most rows that the listing gets; it counts all
/// @throws CFailure when there is no table "Holiday"
Listing ListHolidays(const CTables& tables, const HolidayFilter& filter, std::size_t nFirst);

}  // namespace qvant::host
