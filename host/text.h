/// Text at the host's borders: UTF-16 inside, UTF-8 on the lines that come and go.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qvant::host {

using Text = std::u16string;
using TextView = std::u16string_view;

/// UTF-8 to UTF-16. Each broken sequence becomes one U+FFFD.
Text Widen(std::string_view strUtf8);

/// UTF-16 to UTF-8, always valid. A lone surrogate becomes U+FFFD.
std::string Narrow(TextView strText);

/// The text for an error message: in quotes, and cut when it is long.
std::string Quote(TextView strText);

/// Comparisons that take the letters from A to Z, which is what names are made of, for their small ones.
bool EqualsNoCase(TextView strOne, TextView strOther);
bool ContainsNoCase(TextView strText, TextView strPart);

/// A whole decimal number with nothing around it; none when it isn't one or needs more than 64 bits.
std::optional<std::int64_t> ParseInteger(TextView strText);

}  // namespace qvant::host
