/// The currency rates of a generated world.
#pragma once

#include "options.h"

namespace qvant::refserver {

/// Writes "currency.json": rates of the dollar about where they are, and a risk-free rate for each currency.
/// @throw std::runtime_error  the file can't be written
void GenerateCurrencyRates(const GenerateOptions& options);

}  // namespace qvant::refserver
