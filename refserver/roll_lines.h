/// Replies to hot-change and expiry requests: lines of binary quote messages.
#pragma once

#include <string>
#include <string_view>

#include "roll_book.h"

namespace qvant::refserver {

/// A line for each roll, the latest first.
/// @param product  "CME.ES"
std::string MakeHotChangeLines(std::string_view product, const ProductRolls& rolls);

/// A line for each month, the latest first.
std::string MakeExpiryLines(std::string_view product, const ProductRolls& rolls);

}  // namespace qvant::refserver
