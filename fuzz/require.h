/// What a fuzz target demands of a parser beyond that it lives.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace qvant::fuzz {

/// Ends the process, which makes the input a finding.
inline void Require(bool bHolds, const char* pszWhat) {
    if (bHolds) return;
    std::fprintf(stderr, "Required, and doesn't hold: %s\n", pszWhat);
    std::abort();
}

inline std::string_view AsBytes(const std::uint8_t* pData, std::size_t nSize) {
    return {reinterpret_cast<const char*>(pData), nSize};
}

/// A reply as those read it for whom it ends at its first NUL.
inline std::string_view AsReply(const std::uint8_t* pData, std::size_t nSize) {
    const std::string_view strBytes = AsBytes(pData, nSize);
    return strBytes.substr(0, strBytes.find('\0'));
}

}  // namespace qvant::fuzz
