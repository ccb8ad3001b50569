/// Finding symbols by what a person remembers of them: id, name, pinyin, instrument.
#pragma once

#include "listing.h"
#include "search_database.h"

namespace qvant::host {

/// Symbols in which each word of the text occurs, without regard to case, in the symbol, the name, the search id, the
/// pinyin or the instrument. Best first: where a word is the whole product or id, then where it begins something,
/// then the others; among equals futures, stocks, options, and then the order of the lists.
/// @param nFirst  most rows that the listing gets; it counts all
/// @throws CFailure for a text without a word, and when the database can't be read
Listing FindSymbols(CSearchDatabase& database, TextView strText, std::size_t nFirst);

}  // namespace qvant::host
