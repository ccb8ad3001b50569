#include "platform/module.h"

namespace qvant::platform {

// Threads have no component apartments here; where they have, these two enter and leave one.
// NOLINTBEGIN(modernize-use-equals-default)
CApartment::CApartment() {}

CApartment::~CApartment() {}
// NOLINTEND(modernize-use-equals-default)

}  // namespace qvant::platform
