// The Precomputed kernel: its formula, its members in the stream and its parameters
// in the model report.
#include "simple_algorithm/kvora_kernel_functions_precomputed.h"

#include <cmath>

#include "control/kvora_XML_tag.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunctionPrecomputed, KVORAKernelFunction, 0)

KVORAKernelFunctionPrecomputed::KVORAKernelFunctionPrecomputed() {}

void KVORAKernelFunctionPrecomputed::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::copyFromPrimitive(source, env);
}

void KVORAKernelFunctionPrecomputed::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::transferFromPrimitive(source, env);
}

void KVORAKernelFunctionPrecomputed::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAKernelFunction::readPrimitive(reader, env);
}

void KVORAKernelFunctionPrecomputed::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAKernelFunction::writePrimitive(writer, env);
}

void KVORAKernelFunctionPrecomputed::releasePrimitive(KVORA_ENV env) { KVORAKernelFunction::releasePrimitive(env); }

void KVORAKernelFunctionPrecomputed::prepareFilter(const KVORAXaRay<uint64_t, 1> &, KVORA_ENV) {}

int32_t KVORAKernelFunctionPrecomputed::filterCandidates(KVORAXaRay<int32_t, 1> &, const KVORAKernelVector &, KVORA_ENV) { return 0; }

double KVORAKernelFunctionPrecomputed::ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &,
                                                     uint64_t, uint64_t sample2) {
    // The low 32 bits of the sample number index the row of values; one that
    // points outside the row is refused rather than read.
    const int32_t index = static_cast<int32_t>(static_cast<uint32_t>(sample2));
    KVORA_ASSERT_CAUSE(index >= 1 && index <= vec1.getSize(), "precomputed kernel row has no value for this sample");
    return vec1[index];
}

void KVORAKernelFunctionPrecomputed::writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    tag.getOrAddLeafTag("KernelType", env).setValue("Precomputed", env);
}
