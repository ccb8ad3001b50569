/// A user's own hot-month series, as one pass over its definition file sees it.
#pragma once

#include <cstdint>
#include <limits>
#include <vector>

#include "base/text.h"

namespace qvant {

/// Stands for a number that there isn't: a contract without a close, a roll without a gap.
inline constexpr std::int64_t NO_PRICE = std::numeric_limits<std::int64_t>::min();

/// From its moment on this contract is the hot one.
struct UDHMRoll {
    Text symbol;                    ///< QV.F.CME.ES.202012
    std::int64_t dateTime = 0;      ///< YYYYMMDDhhmmss in UTC; what a broken line gives may be no date and time
    std::int64_t spare = NO_PRICE;  ///< nobody's
};

/// One for each definition file, alive while it is handled.
struct UDHMNode {
    std::int64_t lastWriteTime = 0;  ///< of the definition file, in seconds since 1970
    Text title;                      ///< its name without extension: QV.F.CME.ES.HOT_MINE
    std::vector<UDHMRoll> rolls;     ///< in the order of the file, which need not be that of time
    Text companionPath;              ///< of the file that the gaps go to
};

}  // namespace qvant
