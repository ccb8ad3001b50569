/// Blocks of shared memory that a module of the terminal publishes.
#pragma once

#include <string>
#include <unordered_map>

#include "text.h"

namespace qvant::host {

/// A copy of a block's first bytes.
/// @throws CFailure when there is no block of that name, or it is shorter
std::string ReadSharedBlock(TextView strName, std::size_t nSize);

/// Reads the archive form of a map from text to text, which takes all of the bytes.
/// @throws CFailure with the place where they are damaged
std::unordered_map<Text, Text> ReadTextArchive(std::string_view strBytes);

}  // namespace qvant::host
