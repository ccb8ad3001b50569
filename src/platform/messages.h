/// The system's texts for its error numbers.
#pragma once

#include "base/text.h"

namespace qvant::platform {

/// Text of a system error number; empty when the system has none.
Text DescribeSystemError(int nError);

}  // namespace qvant::platform
