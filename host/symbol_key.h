/// The fields of a symbol that name its product.
#pragma once

#include "text.h"

namespace qvant::host {

/// The symbol's first fields, with "." between them; empty ones count for nothing.
Text TakeFields(TextView strSymbol, int nFields);

/// The first four fields, for a name of a file.
/// @throws CFailure for a symbol that has fewer, or one that can't name a file of a folder
Text KeyForFile(TextView strSymbol);

}  // namespace qvant::host
