/// Bodies made smaller, once for each version of the data.
#pragma once

#include <string>
#include <string_view>

namespace qvant::refserver {

/// The same bytes for the same text, always.
/// @throw std::runtime_error  zlib can't work (out of memory)
std::string Gzip(std::string_view text);

}  // namespace qvant::refserver
