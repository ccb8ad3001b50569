/// Decimal text to numbers, as the platform's own conversions read it: blanks, a sign, digits; the rest is ignored.
#pragma once

#include <cstdint>

#include "base/text.h"

namespace qvant {

/// 0 without digits; a number out of range becomes the nearest 32-bit value.
std::int32_t ToInt(TextView strText);

/// 0 without digits; a number out of range becomes the nearest 64-bit value.
std::int64_t ToInt64(TextView strText);

/// Sign, digits, fraction and exponent; 0 without digits, and for a number that a double can't hold.
double ToDouble(TextView strText);

/// Hexadecimal digits from the start, with or without "0x"; 0 without digits.
std::uint32_t ToHex(TextView strText);

}  // namespace qvant
