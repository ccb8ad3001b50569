#include "price.h"

#include <algorithm>

namespace qvant::refserver {

namespace {

// On each side of the point, so that two prices can be brought to the same decimals in 64 bits.
constexpr std::size_t MostDigits = 9;

std::int64_t PowerOfTen(int nPower) {
    std::int64_t nValue = 1;
    for (; nPower > 0; --nPower) nValue *= 10;
    return nValue;
}

}  // namespace

double Price::ToDouble() const { return static_cast<double>(nUnits) / static_cast<double>(PowerOfTen(nDecimals)); }

std::optional<Price> ParsePrice(std::string_view text) {
    const bool bNegative = text.starts_with('-');
    if (bNegative) text.remove_prefix(1);
    const auto nPoint = std::min(text.find('.'), text.size());
    const std::size_t nDecimals = text.size() - std::min(nPoint + 1, text.size());
    if (nPoint == 0 || nPoint + 1 == text.size() || nPoint > MostDigits || nDecimals > MostDigits) return {};
    Price price{0, static_cast<int>(nDecimals)};
    for (std::size_t n = 0; n < text.size(); ++n) {
        if (n == nPoint) continue;
        if (text[n] < '0' || text[n] > '9') return {};
        price.nUnits = price.nUnits * 10 + (text[n] - '0');
    }
    if (bNegative) price.nUnits = -price.nUnits;
    return price;
}

std::optional<double> ParsePercent(std::string_view text) {
    if (!text.ends_with('%')) return {};
    text.remove_suffix(1);
    const auto price = ParsePrice(text);
    return price ? std::optional(price->ToDouble() / 100) : std::nullopt;
}

Price operator-(const Price& left, const Price& right) {
    const int nDecimals = std::max(left.nDecimals, right.nDecimals);
    return {
        left.nUnits * PowerOfTen(nDecimals - left.nDecimals) - right.nUnits * PowerOfTen(nDecimals - right.nDecimals),
        nDecimals};
}

}  // namespace qvant::refserver
