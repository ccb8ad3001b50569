#include "platform/messages.h"

#include <cstring>
#include <string_view>

namespace qvant::platform {

namespace {

// The C library has one of two forms of strerror_r; the overload for its result tells which.
[[maybe_unused]] const char* TextOf(int nResult, const char* pszBuffer) { return nResult == 0 ? pszBuffer : ""; }

[[maybe_unused]] const char* TextOf(const char* pszResult, const char*) { return pszResult ? pszResult : ""; }

}  // namespace

Text DescribeSystemError(int nError) {
    char szBuffer[256] = "";
    const std::string_view strText = TextOf(strerror_r(nError, szBuffer, sizeof szBuffer), szBuffer);
    // A number without a text of its own gets this one.
    if (strText.starts_with("Unknown error") || strText.starts_with("No error information")) return {};
    return Widen(strText);
}

}  // namespace qvant::platform
