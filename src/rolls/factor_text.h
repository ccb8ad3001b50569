/// The JSON of adjustment factors, as it comes and as it is published.
#pragma once

#include "base/text.h"
#include "net/history_query.h"

namespace qvant {

/// What a factor of a rescaled product is multiplied by.
inline constexpr double FACTOR_SCALE = 1e6;

/// Adds to each element of the array "data" the member "odt_utc": its date and time, which are China's, as
/// YYYYMMDDhhmmss in UTC. The date is "od", or "d" where that is 0 or missing, the time "t" (HHMMSSmmm); a date or a
/// time that the calendar doesn't have gives the "odt_utc" 0. All else goes through as RapidJSON reads and writes it,
/// elements that are no objects and texts without such an array too.
///
/// Of several members of one name the first counts. Needs memory for a few times the text's length, whatever it holds.
/// @param text       the bytes in UTF-8; broken sequences become U+FFFD
/// @param bRescale   multiplies each "sxd" that is a double, unless the product would be too large for one
/// @param strBefore  what the result is to begin with: a line that holds the JSON needs no copy of it
/// @return empty for a text that isn't JSON or is nested deeper than `JSON_DEEPEST`, and when the calling thread is
///         told to stop
Text EnrichFactors(HistoryText text, bool bRescale, TextView strBefore = {});

}  // namespace qvant
