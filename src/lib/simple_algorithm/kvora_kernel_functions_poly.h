// A polynomial of the dot product. It prints a line on every call: that line
// is part of what the program says, so it stays even though it costs time.
#pragma once

#include <cstdint>

#include "simple_algorithm/kvora_kernel_functions.h"

class KVORAKernelFunctionPoly : public KVORAKernelFunction {
    KVORA_OBJECT_DECL(KVORAKernelFunctionPoly)
public:
    KVORAKernelFunctionPoly();
    KVORAKernelFunctionPoly(int32_t degree, double multiplier, double bias, KVORA_ENV env);

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    double ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2, uint64_t sample1,
                         uint64_t sample2) override;
    void writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) override;
    void prepareFilter(const KVORAXaRay<uint64_t, 1> &samples, KVORA_ENV env) override;
    int32_t filterCandidates(KVORAXaRay<int32_t, 1> &positions, const KVORAKernelVector &vec,
                             KVORA_ENV env) override;

    double ivMul;
    int32_t ivDeg;
    double ivBias;
};
