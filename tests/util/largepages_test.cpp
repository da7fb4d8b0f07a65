#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "util/kvora_largepages.h"

// An array that grows from small blocks into large ones keeps its values,
// and a large block starts on a large-page boundary (else the system could
// back none of it with large pages).
TEST(LargePageAllocator, GrowingArrayKeepsItsValuesAndLargeBlocksAreAligned) {
    std::vector<uint64_t, KVORALargePageAllocator<uint64_t>> values;
    for (uint64_t i = 0; i < (uint64_t(3) << 18); ++i) {  // 6 MiB in the end
        values.push_back(i * 7);
        if ((i & (i - 1)) == 0 && i * sizeof(uint64_t) >= (size_t(2) << 20)) {
            EXPECT_EQ(reinterpret_cast<uintptr_t>(values.data()) % (uintptr_t(2) << 20), 0u) << i;
        }
    }
    for (uint64_t i = 0; i < values.size(); ++i) ASSERT_EQ(values[i], i * 7) << i;
    values.resize(10);
    values.shrink_to_fit();
    EXPECT_EQ(values.back(), 63u);
}
