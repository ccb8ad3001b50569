/// Memory for large arrays whose elements are looked up in no order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

namespace qvant::platform {

/// Arrays from this size on lie in pages as large as the system has them: with small ones, each look-up in a far place
/// would also wait for the machine to find the page.
inline constexpr std::size_t LARGE_ARRAY = 4 * 1024 * 1024;

/// @return null when memory is out
void* AllocateLargeArray(std::size_t nBytes);
void FreeLargeArray(void* pArray);

/// For the standard library's containers; a small array takes the ordinary way.
template <class T>
class CLargeArrayAllocator {
public:
    using value_type = T;

    CLargeArrayAllocator() = default;
    template <class U>
    explicit CLargeArrayAllocator(const CLargeArrayAllocator<U>&) {}

    T* allocate(std::size_t nCount) {
        if (nCount < LARGE_ARRAY / sizeof(T)) return static_cast<T*>(::operator new(nCount * sizeof(T)));
        void* const pArray = nCount <= SIZE_MAX / sizeof(T) ? AllocateLargeArray(nCount * sizeof(T)) : nullptr;
        if (!pArray) throw std::bad_alloc();
        return static_cast<T*>(pArray);
    }
    void deallocate(T* pArray, std::size_t nCount) {
        if (nCount < LARGE_ARRAY / sizeof(T)) {
            ::operator delete(pArray);
        } else {
            FreeLargeArray(pArray);
        }
    }

    bool operator==(const CLargeArrayAllocator&) const { return true; }
};

}  // namespace qvant::platform
