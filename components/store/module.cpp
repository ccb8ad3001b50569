#include "module.h"

namespace qvant::store {

CModule& GetModule() {
    static CModule module;
    return module;
}

}  // namespace qvant::store
