/// The code of a failure where it may go no further.
#pragma once

#include <new>

#include "base/failure.h"
#include "qvant/component.h"

namespace qvant {

/// Of the exception that is being handled: the code that it has at the border of the library and in the log.
inline HRESULT CodeOfCurrentFailure() noexcept {
    try {
        throw;
    } catch (const CFailure& failure) {
        return failure.GetCode();
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_UNEXPECTED;
    }
}

}  // namespace qvant
