/// What a process holds of the system.
#pragma once

#include <cstddef>

namespace qvant::test {

/// At one moment.
struct Holdings {
    std::size_t nHeapBytes = 0;    ///< 0 under a sanitizer, which has a heap of its own
    std::size_t nHandles = 0;      ///< but for sockets
    std::size_t nConnections = 0;  ///< sockets, those kept for the next request among them
    int nThreads = 0;              ///< those among them that were joined just now
};

Holdings TakeStock();

}  // namespace qvant::test
