/// Worlds of any size, for load and growth tests.
#pragma once

#include "options.h"

namespace qvant::refserver {

/// Writes a data folder of `nProducts` futures and options products, and stocks up to `nContracts` securities in all,
/// with `nListed` contracts of the products in its classifications, three years of rolls and bars for those that list
/// any, and factors for every twentieth stock. The files depend on the options alone, byte for byte, and are written as
/// a stream.
/// @throw std::runtime_error  the folder holds a world already or can't be written, or so many contracts don't
///                            fit on so few products
void GenerateWorld(const GenerateOptions& options);

}  // namespace qvant::refserver
