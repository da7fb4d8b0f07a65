// The similarity of two samples, each a one-based vector of doubles. The root
// class fixes the interface that the kernel data object calls per pair; the
// seven members (one per file, kvora_kernel_functions_*) give the formulas.
// ComputeKernel is a per-pair path: no member allocates in it except
// Information, and the two shared sums below are plain inline loops.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xray.h"

class KVORAXMLTag;

// One-based vector of doubles: a sample, as the kernel sees it.
typedef KVORAXaRay<double, 1> KVORAKernelVector;

// Sum of a[i] * b[i] over the size of a, unrolled fourfold but added strictly
// left to right, so that the result is that of the plain loop bit for bit.
// The range is cut at the size of b: past its end there is nothing to read.
inline double kvoraKernelDot(const KVORAKernelVector &a, const KVORAKernelVector &b) {
    int32_t n = a.getSize();
    if (b.getSize() < n) n = b.getSize();
    const double *x = a.getBlock();
    const double *y = b.getBlock();
    double sum = 0.0;
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        sum = sum + x[i] * y[i];
        sum = sum + x[i + 1] * y[i + 1];
        sum = sum + x[i + 2] * y[i + 2];
        sum = sum + x[i + 3] * y[i + 3];
    }
    for (; i < n; ++i) sum = sum + x[i] * y[i];
    return sum;
}

// Sum of (a[i] - b[i]) squared, over the same range and in the same order.
inline double kvoraKernelSquaredDistance(const KVORAKernelVector &a, const KVORAKernelVector &b) {
    int32_t n = a.getSize();
    if (b.getSize() < n) n = b.getSize();
    const double *x = a.getBlock();
    const double *y = b.getBlock();
    double sum = 0.0;
    int32_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const double d0 = x[i] - y[i];
        const double d1 = x[i + 1] - y[i + 1];
        const double d2 = x[i + 2] - y[i + 2];
        const double d3 = x[i + 3] - y[i + 3];
        sum = sum + d0 * d0;
        sum = sum + d1 * d1;
        sum = sum + d2 * d2;
        sum = sum + d3 * d3;
    }
    for (; i < n; ++i) {
        const double d = x[i] - y[i];
        sum = sum + d * d;
    }
    return sum;
}

class KVORAKernelFunction : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAKernelFunction)
public:
    KVORAKernelFunction() : ivDummy(0) {}

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // The similarity of two samples; sample1 and sample2 are their numbers.
    virtual double ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2, uint64_t sample1,
                                 uint64_t sample2);
    // Adds the kernel's parameters as leaf tags under `tag`.
    virtual void writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env);
    // Learns the numbers of the own samples, positions from 1.
    virtual void prepareFilter(const KVORAXaRay<uint64_t, 1> &samples, KVORA_ENV env);
    // Positions of the own samples that `vec` mentions, in `positions` (the
    // rest -1); answers 2 if any, 1 if none, 0 where there is no filter.
    virtual int32_t filterCandidates(KVORAXaRay<int32_t, 1> &positions, const KVORAKernelVector &vec,
                                     KVORA_ENV env);

    int32_t ivDummy;  // no meaning; kept for the stream's sake
};
