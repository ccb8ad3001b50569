/// Equality of wide texts for loops over tens of thousands of keys.
#pragma once

#include <cstring>

#include "base/text.h"

namespace qvant {

/// As `==` tells it. The standard library compares wide text unit by unit, and memory many bytes at once.
inline bool IsSame(TextView strA, TextView strB) {
    return strA.size() == strB.size() &&
           (strA.empty() || std::memcmp(strA.data(), strB.data(), strA.size() * sizeof(char16_t)) == 0);
}

}  // namespace qvant
