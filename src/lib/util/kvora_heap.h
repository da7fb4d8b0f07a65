// Sift operations for heaps of priority elements (any type with a 32-bit
// unsigned ivPriority). The root holds the lowest priority, so that a bounded
// sample keeps the elements of largest priority: a newcomer replaces the root
// only if it beats it. Elements are contiguous and counted from 0; the
// operations move elements and allocate nothing.
#pragma once

#include <cstdint>
#include <utility>

#include "util/kvora_debug.h"

// Restores the heap below `start` in the first `len` elements.
template <class T>
inline void kvoraHeapSiftDown(T *elements, int32_t len, int32_t start) {
    KVORA_ASSERT(len > 0);
    int32_t parent = start;
    for (;;) {
        int32_t child = 2 * parent + 1;
        if (child >= len) return;
        if (child + 1 < len && elements[child + 1].ivPriority < elements[child].ivPriority) ++child;
        if (!(elements[child].ivPriority < elements[parent].ivPriority)) return;
        std::swap(elements[parent], elements[child]);
        parent = child;
    }
}

// Makes a heap of the first `len` elements.
template <class T>
inline void kvoraHeapify(T *elements, int32_t len) {
    KVORA_ASSERT(len > 0);
    for (int32_t i = len / 2 - 1; i >= 0; --i) kvoraHeapSiftDown(elements, len, i);
}

// Puts `element` in place of the root and sifts it down.
template <class T>
inline void kvoraHeapReplaceRoot(T *elements, int32_t len, T &&element) {
    KVORA_ASSERT(len > 0);
    elements[0] = std::move(element);
    kvoraHeapSiftDown(elements, len, 0);
}
