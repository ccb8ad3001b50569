/// The archive form in which modules of the terminal hand each other a map from text to text.
///
/// All numbers are little-endian. First the count of pairs: 16 bits, or 0xFFFF and 32 bits when it is 0xFFFF or more.
/// Then each key and its value, in the map's order. A text is 0xFF 0xFE 0xFF, its length in units, and the units. The
/// length is one byte below 255, else 0xFF and 16 bits below 0xFFFE, else 0xFF, 0xFFFF and 32 bits.
#pragma once

#include <cstddef>

#include "symbols/text_map.h"

namespace qvant {

/// How many bytes the archive of a map has.
std::size_t MeasureArchive(const CTextMap& map);

/// Writes the archive of a map. @param pOut  as many bytes as it has
void WriteArchive(const CTextMap& map, char* pOut);

}  // namespace qvant
