/// A price that wanders over the years, always along the same way, and known at any day without the days before it.
#pragma once

#include <cstdint>
#include <string_view>

#include "world_date.h"

namespace qvant::refserver {

/// 64 bits that follow from a text, the same ones always. Nobody is out to forge them.
std::uint64_t Hash(std::string_view text);

/// The logarithm of a wandering price against its long-term mean, as far as it swings by 1 a year.
/// @param nSeed  the same seed gives the same way
double WanderedBy(std::uint64_t nSeed, Day day);

}  // namespace qvant::refserver
