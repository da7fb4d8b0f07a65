// The family of array bodies that store only some elements; an absent
// element reads as 0.
#pragma once

#include "mat/kvora_mat_mdarrayimp.h"

template <class T>
class MDArrayImpSparse : public MDArrayImp<T> {
public:
    MDArrayImpSparse() {}
    explicit MDArrayImpSparse(const DimensionSizes &sizes) : MDArrayImp<T>(sizes) {}
    bool isSparse() const override { return true; }
};
