// Heap sifts: the root holds the lowest priority, so that a bounded sample
// that replaces its root by better newcomers keeps the largest priorities.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "util/kvora_heap.h"
#include "util_test_support.h"

namespace {

struct Element {
    uint32_t ivPriority;
    int32_t ivValue;
};

TEST(Heap, BoundedSampleKeepsTheLargestPriorities) {
    const size_t capacity = 7;
    std::vector<Element> heap;
    std::vector<uint32_t> offered;
    uint32_t x = 12345;
    for (int32_t i = 0; i < 200; ++i) {
        x = x * 1664525u + 1013904223u;
        offered.push_back(x);
        if (heap.size() < capacity) {
            heap.push_back(Element{x, i});
            if (heap.size() == capacity) kvoraHeapify(heap.data(), capacity);
        } else if (heap[0].ivPriority < x) {
            kvoraHeapReplaceRoot(heap.data(), capacity, Element{x, i});
        }
        for (size_t k = 1; heap.size() == capacity && k < capacity; ++k)
            ASSERT_GE(heap[k].ivPriority, heap[(k - 1) / 2].ivPriority) << i;
    }
    std::sort(offered.begin(), offered.end());
    std::vector<uint32_t> kept;
    for (const Element &e : heap) kept.push_back(e.ivPriority);
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(kept, std::vector<uint32_t>(offered.end() - capacity, offered.end()));
}

TEST(Heap, EqualPrioritiesStayInPlaceAndEmptyHeapIsTheAssertion) {
    std::vector<Element> v{{5, 0}, {5, 1}, {5, 2}};
    kvoraHeapify(v.data(), 3);
    EXPECT_EQ(v[0].ivValue, 0);
    EXPECT_EQ(v[1].ivValue, 1);
    EXPECT_TRUE(utiltest::failedWith(utiltest::caught([&] { kvoraHeapSiftDown(v.data(), 0, 0); }),
                                     "ASSERTION FAILED (len > 0)"));
    utiltest::clearErrorFlags();
}

}  // namespace
