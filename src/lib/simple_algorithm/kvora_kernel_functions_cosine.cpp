// The Cosine kernel: its formula, its members in the stream and its parameters
// in the model report.
#include "simple_algorithm/kvora_kernel_functions_cosine.h"

#include <cmath>

#include "control/kvora_XML_tag.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunctionCosine, KVORAKernelFunction, 0)

KVORAKernelFunctionCosine::KVORAKernelFunctionCosine() {}

void KVORAKernelFunctionCosine::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::copyFromPrimitive(source, env);
}

void KVORAKernelFunctionCosine::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::transferFromPrimitive(source, env);
}

void KVORAKernelFunctionCosine::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAKernelFunction::readPrimitive(reader, env);
}

void KVORAKernelFunctionCosine::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAKernelFunction::writePrimitive(writer, env);
}

void KVORAKernelFunctionCosine::releasePrimitive(KVORA_ENV env) { KVORAKernelFunction::releasePrimitive(env); }

void KVORAKernelFunctionCosine::prepareFilter(const KVORAXaRay<uint64_t, 1> &, KVORA_ENV) {}

int32_t KVORAKernelFunctionCosine::filterCandidates(KVORAXaRay<int32_t, 1> &, const KVORAKernelVector &, KVORA_ENV) { return 0; }

double KVORAKernelFunctionCosine::ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2,
                                                uint64_t, uint64_t) {
    const double d = std::sqrt(kvoraKernelDot(vec1, vec1) * kvoraKernelDot(vec2, vec2));
    const double dot = kvoraKernelDot(vec1, vec2);
    if (d > 0) return dot / d;
    return dot;
}

void KVORAKernelFunctionCosine::writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    tag.getOrAddLeafTag("KernelType", env).setValue("Cosine", env);
}
