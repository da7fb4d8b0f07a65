#include "util/kvora_largepages.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>

namespace {

// The large page of x86-64 and of most other 64-bit systems.
const std::size_t kLargePage = std::size_t(2) << 20;

}  // namespace

void *kvoraAllocateLargeBlock(std::size_t bytes)
{
    if (bytes < kLargePage) return ::operator new(bytes);
    // Whole large pages, so that no small block shares the last one.
    const std::size_t rounded = (bytes + kLargePage - 1) & ~(kLargePage - 1);
    void *block = std::aligned_alloc(kLargePage, rounded);
    if (block == nullptr) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    // Only advice: where the system has no large pages, small ones serve.
    ::madvise(block, rounded, MADV_HUGEPAGE);
#endif
    return block;
}

void kvoraFreeLargeBlock(void *block, std::size_t bytes)
{
    if (bytes < kLargePage)
        ::operator delete(block);
    else
        std::free(block);
}
