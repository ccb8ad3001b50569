/// The shared library: its objects, locks and class factory.
#pragma once

#include "common/module_use.h"

namespace qvant::store {

common::CModuleUse& GetModule();

}  // namespace qvant::store
