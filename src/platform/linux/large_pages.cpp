#include "platform/large_pages.h"

#include <cstdint>

#include <sys/mman.h>

#include "platform/large_memory.h"

namespace qvant::platform {

void PreferLargePages(void* pMemory, std::size_t nBytes) {
    constexpr std::uintptr_t LARGE_PAGE = 2 * 1024 * 1024;
    if (nBytes < LARGE_ARRAY) return;
    const auto nStart = reinterpret_cast<std::uintptr_t>(pMemory);
    const std::size_t nBefore = (LARGE_PAGE - nStart % LARGE_PAGE) % LARGE_PAGE;
    const std::size_t nWhole = (nBytes - nBefore) / LARGE_PAGE * LARGE_PAGE;
    // A system that has none to give serves small ones.
    madvise(static_cast<char*>(pMemory) + nBefore, nWhole, MADV_HUGEPAGE);
}

}  // namespace qvant::platform
