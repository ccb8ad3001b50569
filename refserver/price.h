/// Prices without the errors of binary fractions: so many units of their last decimal.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace qvant::refserver {

struct Price {
    std::int64_t nUnits = 0;
    int nDecimals = 0;

    /// The nearest number, which is also written with no more decimals.
    double ToDouble() const;
};

/// A decimal text with at most nine digits on each side of the point, such as "6830.25" or "-0.5".
std::optional<Price> ParsePrice(std::string_view text);

/// A text such as "16%" or "-2.5%" as the number 0.16 or -0.025.
std::optional<double> ParsePercent(std::string_view text);

Price operator-(const Price& left, const Price& right);

}  // namespace qvant::refserver
