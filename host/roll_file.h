/// The files that the service keeps of a product's rolls: hot months with their first days, months with their expiry.
#pragma once

#include <string_view>
#include <vector>

#include "value.h"

namespace qvant::host {

/// A line DATE->MONTH. The date is a number where it is one, otherwise the text that stands there.
struct RollLine {
    Value date;
    Text strMonth;
};

struct RollFile {
    Text strReset;  ///< HHMM00 in UTC, or "0" when the service knew none
    std::vector<RollLine> arLines;
};

/// Reads the content of a file. Lines that aren't of the form are passed over.
RollFile ParseRollFile(std::string_view strBytes);

}  // namespace qvant::host
