// Memory for large arrays that are read at random, a few megabytes and up:
// such a block lies on large-page boundaries and the system is asked to back
// it with large pages, so that a random access within it seldom costs a walk
// of the page tables. Smaller blocks come from the usual allocator.
#pragma once

#include <cstddef>

void *kvoraAllocateLargeBlock(std::size_t bytes);
void kvoraFreeLargeBlock(void *block, std::size_t bytes);

template <class T>
struct KVORALargePageAllocator {
    using value_type = T;
    KVORALargePageAllocator() = default;
    template <class U>
    KVORALargePageAllocator(const KVORALargePageAllocator<U> &)
    {
    }
    T *allocate(std::size_t n) { return static_cast<T *>(kvoraAllocateLargeBlock(n * sizeof(T))); }
    void deallocate(T *block, std::size_t n) { kvoraFreeLargeBlock(block, n * sizeof(T)); }
    template <class U>
    bool operator==(const KVORALargePageAllocator<U> &) const
    {
        return true;
    }
    template <class U>
    bool operator!=(const KVORALargePageAllocator<U> &) const
    {
        return false;
    }
};
