// The size of each dimension of an array, with the element count (the product
// of the sizes) cached: it is asked for on every flat access, and recomputed
// only after a size changed. The product is 64-bit so that large arrays index
// correctly on every platform.
#pragma once

#include "mat/kvora_mat_positivearraybase.h"

class DimensionSizes : public PositiveArrayBase {
public:
    DimensionSizes() {}
    DimensionSizes(std::initializer_list<uint32_t> values) : PositiveArrayBase(values) {}
    explicit DimensionSizes(uint32_t count, uint32_t fill = 0) : PositiveArrayBase(count, fill) {}
    DimensionSizes(const DimensionSizes &other)
        : PositiveArrayBase(other), ivProduct(other.ivProduct), ivProductValid(other.ivProductValid) {}
    DimensionSizes &operator=(const DimensionSizes &other) {
        PositiveArrayBase::operator=(other);
        ivProduct = other.ivProduct;
        ivProductValid = other.ivProductValid;
        return *this;
    }

    uint32_t nDims() const { return size(); }

    // The element count; 1 for no dimensions, as an empty product.
    uint64_t product() const {
        if (!ivProductValid) {
            uint64_t p = 1;
            for (uint32_t v : ivValues) p *= v;
            ivProduct = p;
            ivProductValid = true;
        }
        return ivProduct;
    }
    bool productValid() const { return ivProductValid; }

protected:
    void valuesChanged() override { ivProductValid = false; }

private:
    mutable uint64_t ivProduct = 1;
    mutable bool ivProductValid = false;
};
