/// The holiday text, line by line.
#pragma once

#include <functional>

#include "base/text.h"

namespace qvant {

/// One row; the texts are borrowed and live until the visit ends.
struct HolidayRow {
    TextView strDate;
    TextView strType;
    TextView strExchanges;  ///< joined by "|", as both copies of the calendar have them
};

/// Gives each row of a text: lines that end in CR LF (the last one may lack it), fields parted by TAB, exchanges by
/// ",". Lines with "#" in them, wherever it stands, are comments; those of fewer than three fields are no rows; a
/// fourth field is nobody's.
/// @param visit  returns false to end the walk
/// @return false when a visit ended it
bool ForEachHoliday(TextView strText, const std::function<bool(const HolidayRow& row)>& visit);

}  // namespace qvant
