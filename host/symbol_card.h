/// All that is known of one symbol, put for reading.
#pragma once

#include "listing.h"
#include "search_database.h"
#include "tables.h"

namespace qvant::host {

/// The symbol's row of the search database, and its trading hours today. A symbol that doesn't occur as it is
/// written is looked for without regard to case.
/// @throws CFailure for an unknown symbol, and when the database can't be read
Record ReadSymbolCard(CSearchDatabase& database, const CTables& tables, TextView strSymbol);

}  // namespace qvant::host
