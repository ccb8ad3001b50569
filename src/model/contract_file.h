/// The reading of a contract list file: the forgiving JSON in a form that holds a million contracts.
#pragma once

#include "model/json_document.h"

namespace qvant {

/// Takes and refuses the same texts as `ParseValue`, whose tree has memory of its own for each value and text. This
/// one borrows its texts from the file. Only texts, arrays and objects are kept; any other value stands as null.
/// Members keep the order of the file, repeated ones included.
/// @param strText  outlives the document
/// @return false when the text is broken; the document is null then
bool ParseContractFile(JsonDocument& file, TextView strText);

}  // namespace qvant
