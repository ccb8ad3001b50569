/// Exchange rates and risk-free rates as the service published them, for a person.
#pragma once

#include "listing.h"
#include "tables.h"

namespace qvant::host {

struct Rates {
    Listing currencies;  ///< a currency that the setting maps names the one whose rate it has
    Listing riskFree;
    Value version;  ///< of the document; empty before the first one
};

/// The rates in the order of their names.
/// @param strName  what a name, or the one that it is mapped to, must contain; upper and lower case are the same
/// @throws CFailure when there is no table "CurrencyExchangeRate"
Rates ListRates(const CTables& tables, TextView strName);

}  // namespace qvant::host
