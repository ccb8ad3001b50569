/// The shared library: what keeps it in use.
#pragma once

#include "common/module_use.h"

namespace qvant::database {

inline common::CModuleUse& GetModule() {
    static common::CModuleUse use;
    return use;
}

}  // namespace qvant::database
