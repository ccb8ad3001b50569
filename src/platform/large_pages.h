/// Large pages for memory that comes from elsewhere.
#pragma once

#include <cstddef>

namespace qvant::platform {

/// Has the system serve large pages for what of the memory wasn't touched yet, if it is large itself and the system has
/// any: the contents of a file of many megabytes would else be waited for page by page when they are first written.
/// The memory is given back as it always is.
void PreferLargePages(void* pMemory, std::size_t nBytes);

/// Room for so many units in an empty text.
template <class String>
void ReserveLarge(String& str, std::size_t nUnits) {
    str.reserve(nUnits);
    PreferLargePages(str.data(), nUnits * sizeof(typename String::value_type));
}

}  // namespace qvant::platform
