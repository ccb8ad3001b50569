#include "platform/large_memory.h"

#include <cstdlib>

#include <sys/mman.h>

namespace qvant::platform {

void* AllocateLargeArray(std::size_t nBytes) {
    constexpr std::size_t LARGE_PAGE = 2 * 1024 * 1024;
    const std::size_t nWhole = (nBytes + LARGE_PAGE - 1) / LARGE_PAGE * LARGE_PAGE;
    void* const pArray = nWhole >= nBytes ? std::aligned_alloc(LARGE_PAGE, nWhole) : nullptr;
    // A system that has no large pages to give serves small ones.
    if (pArray) madvise(pArray, nWhole, MADV_HUGEPAGE);
    return pArray;
}

void FreeLargeArray(void* pArray) { std::free(pArray); }

}  // namespace qvant::platform
