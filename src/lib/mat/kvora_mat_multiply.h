// The one matrix-product loop of the array library, shared by the dense body
// and the general path so that both add in the same order. Each element of
// the result is a dot product along the shared dimension, in ascending order
// from 0.0, taken in blocks of four terms (the four products summed first,
// then added to the running sum), the leftover terms one by one. Running the
// rows of the left operand innermost reads its columns contiguously and keeps
// exactly that per-element order; pageRank's exact values depend on it.
#pragma once

#include <cstdint>

template <class T>
void matMultiplyBlocks(const T *left, uint64_t rows, uint64_t inner, const T *right, uint64_t cols, T *out) {
    for (uint64_t j = 0; j < cols; ++j) {
        T *o = out + j * rows;
        const T *r = right + j * inner;
        for (uint64_t i = 0; i < rows; ++i) o[i] = T(0);
        uint64_t k = 0;
        for (; k + 4 <= inner; k += 4) {
            const T *c0 = left + k * rows;
            const T *c1 = c0 + rows;
            const T *c2 = c1 + rows;
            const T *c3 = c2 + rows;
            const T b0 = r[k], b1 = r[k + 1], b2 = r[k + 2], b3 = r[k + 3];
            for (uint64_t i = 0; i < rows; ++i) o[i] += c0[i] * b0 + c1[i] * b1 + c2[i] * b2 + c3[i] * b3;
        }
        for (; k < inner; ++k) {
            const T *c = left + k * rows;
            const T b = r[k];
            for (uint64_t i = 0; i < rows; ++i) o[i] += c[i] * b;
        }
    }
}
