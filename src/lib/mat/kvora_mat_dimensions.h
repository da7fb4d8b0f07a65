// A list of dimension numbers (which dimensions an operation works on).
#pragma once

#include "mat/kvora_mat_positivearray.h"

class Dimensions : public PositiveArray {
public:
    Dimensions() {}
    Dimensions(std::initializer_list<uint32_t> values) : PositiveArray(values) {}
    explicit Dimensions(uint32_t count, uint32_t fill = 0) : PositiveArray(count, fill) {}
};
