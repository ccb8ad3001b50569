#include "platform/large_memory.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace qvant::platform {
namespace {

using Array = std::vector<std::uint64_t, CLargeArrayAllocator<std::uint64_t>>;

TEST(LargeArray, KeepsWhatItHoldsWhileItGrowsFromSmallToLarge) {
    constexpr std::uint64_t COUNT = 2 * LARGE_ARRAY / sizeof(std::uint64_t);
    Array array;
    for (std::uint64_t i = 0; i < COUNT; ++i) array.push_back(i);
    std::uint64_t nWrong = 0;
    for (std::uint64_t i = 0; i < COUNT; ++i) nWrong += array[i] == i ? 0 : 1;
    EXPECT_EQ(nWrong, 0U);
    const Array copy = array;
    array.clear();
    array.shrink_to_fit();
    EXPECT_EQ(copy.size(), COUNT);
    EXPECT_EQ(copy.back(), COUNT - 1);
}

TEST(LargeArray, BeginsAtTheStartOfALargePage) {
    const Array array(LARGE_ARRAY / sizeof(std::uint64_t));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array.data()) % (2 * 1024 * 1024), 0U);
}

TEST(LargeArray, FailsLikeAnyOtherWhenMemoryIsOut) {
    CLargeArrayAllocator<std::uint64_t> allocator;
    EXPECT_THROW(allocator.allocate(std::numeric_limits<std::size_t>::max() / sizeof(std::uint64_t)), std::bad_alloc);
    EXPECT_THROW(allocator.allocate(std::numeric_limits<std::size_t>::max()), std::bad_alloc);
}

}  // namespace
}  // namespace qvant::platform
