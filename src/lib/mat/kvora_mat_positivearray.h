// The plain, uncached kind of positive array; dimension lists and positions
// derive from it so that they print and grow alike.
#pragma once

#include "mat/kvora_mat_positivearraybase.h"

class PositiveArray : public PositiveArrayBase {
public:
    PositiveArray() {}
    PositiveArray(std::initializer_list<uint32_t> values) : PositiveArrayBase(values) {}
    explicit PositiveArray(uint32_t count, uint32_t fill = 0) : PositiveArrayBase(count, fill) {}
};
