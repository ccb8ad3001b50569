#include "platform/module.h"

namespace qvant::platform {

// Threads have no component apartments here.
CApartment::CApartment() {}

CApartment::~CApartment() {}

}  // namespace qvant::platform
