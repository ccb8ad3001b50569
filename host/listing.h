/// What a look-up shows: a list of things with the same columns, or one thing with its fields.
#pragma once

#include <string_view>
#include <vector>

#include "event.h"

namespace qvant::host {

/// The names are literals.
struct Listing {
    std::string_view strThing;  ///< what a row is, for counting them
    std::vector<std::string_view> arColumns;
    std::vector<std::vector<Value>> arRows;  ///< each with a value for every column
    std::size_t nTotal = 0;                  ///< rows that there are; those behind the shown ones are left out
};

/// One thing. A person is shown the fields that aren't empty.
struct Record {
    EventFields arFields;
};

}  // namespace qvant::host
