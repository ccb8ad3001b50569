/// Order limits of the stocks of Shanghai and Shenzhen.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

#include "base/text.h"

namespace qvant {

/// Quantities in shares, 0 where the exchange names none.
struct StockLimits {
    std::int32_t BuyQtyUpperLimit = 0;   ///< largest buy order
    std::int32_t SellQtyUpperLimit = 0;  ///< largest sell order
    std::int32_t BuyQtyUnit = 0;         ///< lot of a buy order
    std::int32_t SellQtyUnit = 0;        ///< lot of a sell order
    std::int32_t MaturityDate = 0;       ///< bond maturity as YYYYMMDD, 0 if none
};

/// By symbol, such as "QV.S.SSE.600000".
using StockLimitMap = std::map<Text, StockLimits, std::less<>>;

}  // namespace qvant
