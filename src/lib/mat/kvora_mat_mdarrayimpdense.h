// The family of array bodies that store every element.
#pragma once

#include "mat/kvora_mat_mdarrayimp.h"

template <class T>
class MDArrayImpDense : public MDArrayImp<T> {
public:
    MDArrayImpDense() {}
    explicit MDArrayImpDense(const DimensionSizes &sizes) : MDArrayImp<T>(sizes) {}
    bool isSparse() const override { return false; }
};
