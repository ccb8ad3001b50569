#include "soak/holdings.h"

#include <filesystem>
#include <string>

#include <malloc.h>

#include "support/threads.h"

namespace qvant::test {

namespace fs = std::filesystem;

Holdings TakeStock() {
    const auto heap = ::mallinfo2();
    Holdings holdings;
    holdings.nHeapBytes = heap.uordblks + heap.hblkhd;
    holdings.nThreads = CountThreads();
    for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
        std::error_code ignored;
        const bool bSocket = fs::read_symlink(entry.path(), ignored).string().starts_with("socket:");
        ++(bSocket ? holdings.nConnections : holdings.nHandles);
    }
    return holdings;
}

}  // namespace qvant::test
