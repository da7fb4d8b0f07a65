// A position in an array: one index per dimension, counting from 0.
#pragma once

#include "mat/kvora_mat_positivearray.h"

class Indexes : public PositiveArray {
public:
    Indexes() {}
    Indexes(std::initializer_list<uint32_t> values) : PositiveArray(values) {}
    explicit Indexes(uint32_t count, uint32_t fill = 0) : PositiveArray(count, fill) {}
};
