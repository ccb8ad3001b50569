/// The contracts of a generated world, and the documents that go with them.
#pragma once

#include "options.h"

namespace qvant::refserver {

/// Writes "contracts", "classifications", "stkinfo" and "permissions.json" of a world whose securities are those that
/// the same options give: exactly `nListed` futures and options contracts, and every stock.
/// @throw std::runtime_error  so many contracts don't fit on the products, or a file can't be written
void GenerateContracts(const GenerateOptions& options);

}  // namespace qvant::refserver
