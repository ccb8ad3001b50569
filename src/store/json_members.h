/// String members of a JSON object, without building a document.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "base/text.h"

namespace qvant {

/// Reads the document once and picks the string members of its outermost object, as a look-up by name in the parsed
/// document would find them: of several members of one name the first counts, and a document with any fault has none.
/// Nesting may be of any depth.
/// @param pszJson   a text that ends in NUL, there or before; it may be overwritten while it is read
/// @param nUnits    length of its memory, without a NUL at the end
/// @param arFields  the names asked for
/// @param arTexts   out: one text for each name, empty when there is no such string
void PickJsonMembers(char16_t* pszJson, std::size_t nUnits, std::span<const TextView> arFields,
                     std::vector<Text>& arTexts);

}  // namespace qvant
