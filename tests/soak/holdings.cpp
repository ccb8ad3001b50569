#include "soak/holdings.h"

#include <filesystem>
#include <iterator>
#include <string>

#include <malloc.h>

namespace qvant::test {

namespace fs = std::filesystem;

Holdings TakeStock() {
    const auto heap = ::mallinfo2();
    Holdings holdings;
    holdings.nHeapBytes = heap.uordblks + heap.hblkhd;
    holdings.nThreads =
        static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/task"), fs::directory_iterator()));
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        const bool bSocket = fs::read_symlink(entry.path(), ignored).string().starts_with("socket:");
        ++(bSocket ? holdings.nConnections : holdings.nHandles);
    }
    return holdings;
}

}  // namespace qvant::test
