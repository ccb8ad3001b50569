/// A request that can't be carried out; its text is the reply's "error".
#pragma once

#include <stdexcept>

namespace qvant::host {

/// Error of a request that the stop cut short.
inline constexpr const char* ENDS = "the host ends";

class CFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace qvant::host
