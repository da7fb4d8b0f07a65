// What every array body has whatever its element type: its dimension sizes,
// and the arithmetic between positions and flat indices. Storage is by
// columns, the first index running fastest, so element (i, j) of an r-row
// matrix is at i + j * r. Flat indices are 64-bit.
#pragma once

#include <cstdint>

#include "mat/kvora_mat_dimensionsizes.h"
#include "mat/kvora_mat_failure.h"
#include "mat/kvora_mat_indexes.h"
#include "mat/kvora_mat_printable.h"

class MDArrayImpBase : public Printable {
public:
    MDArrayImpBase() {}
    explicit MDArrayImpBase(const DimensionSizes &sizes) : ivSizes(sizes) {}
    ~MDArrayImpBase() override {}

    const DimensionSizes &dimensionSizes() const { return ivSizes; }
    uint32_t nDims() const { return ivSizes.nDims(); }
    uint64_t size() const { return ivSizes.product(); }

    uint64_t flatIndex(const Indexes &at) const {
        uint32_t n = ivSizes.nDims();
        if (at.size() != n) {
            MAT_FAIL("Position " << at << " does not fit array of sizes " << ivSizes);
        }
        uint64_t flat = 0;
        uint64_t stride = 1;
        for (uint32_t d = 0; d < n; ++d) {
            uint32_t extent = ivSizes[d];
            if (at[d] >= extent) {
                MAT_FAIL("Position " << at << " does not fit array of sizes " << ivSizes);
            }
            flat += static_cast<uint64_t>(at[d]) * stride;
            stride *= extent;
        }
        return flat;
    }

    void indexesOf(uint64_t flat, Indexes &at) const {
        uint32_t n = ivSizes.nDims();
        at.resize(n);
        for (uint32_t d = 0; d < n; ++d) {
            uint32_t extent = ivSizes[d];
            at.set(d, extent == 0 ? 0 : static_cast<uint32_t>(flat % extent));
            flat = extent == 0 ? 0 : flat / extent;
        }
    }

    void checkDimension(uint32_t d) const {
        if (d >= ivSizes.nDims()) {
            MAT_FAIL("Dim " << d << " out of range 0.." << static_cast<int64_t>(ivSizes.nDims()) - 1);
        }
    }

    void checkFlat(uint64_t flat) const {
        if (flat >= size()) {
            MAT_FAIL("Flat index " << flat << " out of range 0.." << static_cast<int64_t>(size()) - 1);
        }
    }

    // The matrix view of multiply: a one-dimensional array is one column.
    void matrixShape(uint64_t &rows, uint64_t &cols) const {
        uint32_t n = ivSizes.nDims();
        if (n == 1) {
            rows = ivSizes[0];
            cols = 1;
        } else if (n == 2) {
            rows = ivSizes[0];
            cols = ivSizes[1];
        } else {
            MAT_FAIL("Matrix product of an array of " << n << " dimensions");
        }
    }

protected:
    DimensionSizes ivSizes;
};
