/// What is told of a data folder that can't be served.
#pragma once

#include <stdexcept>

namespace qvant::refserver {

/// A data folder that can't be served; the text names the file and what is wrong with it.
class CWorldError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace qvant::refserver
