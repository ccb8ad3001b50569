#include "module.h"

namespace qvant::store {

common::CModuleUse& GetModule() {
    static common::CModuleUse module;
    return module;
}

}  // namespace qvant::store
