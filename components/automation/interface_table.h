/// The process's table of interface pointers, each behind a 32-bit cookie.
#pragma once

#include "qvant/component.h"

namespace qvant::automation {

/// The one table of the process; it lives as long as the process. No reference is added.
IGlobalInterfaceTable& GetInterfaceTable();

}  // namespace qvant::automation
