// The RBF kernel: its formula, its members in the stream and its parameters
// in the model report.
#include "simple_algorithm/kvora_kernel_functions_rbf.h"

#include <cmath>

#include "control/kvora_XML_tag.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunctionRBF, KVORAKernelFunction, 1)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionRBF, ivGamma, 1)

KVORAKernelFunctionRBF::KVORAKernelFunctionRBF() : ivGamma(0) {}

KVORAKernelFunctionRBF::KVORAKernelFunctionRBF(double gamma, KVORA_ENV env) : ivGamma(gamma) {}

void KVORAKernelFunctionRBF::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::copyFromPrimitive(source, env);
    const KVORAKernelFunctionRBF *other = static_cast<const KVORAKernelFunctionRBF *>(source);
    ivGamma = other->ivGamma;
}

void KVORAKernelFunctionRBF::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::transferFromPrimitive(source, env);
    KVORAKernelFunctionRBF *other = static_cast<KVORAKernelFunctionRBF *>(source);
    ivGamma = other->ivGamma;
}

void KVORAKernelFunctionRBF::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAKernelFunction::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivGamma), ivGamma, env);
}

void KVORAKernelFunctionRBF::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAKernelFunction::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivGamma), ivGamma, env);
}

void KVORAKernelFunctionRBF::releasePrimitive(KVORA_ENV env) { KVORAKernelFunction::releasePrimitive(env); }

void KVORAKernelFunctionRBF::prepareFilter(const KVORAXaRay<uint64_t, 1> &, KVORA_ENV) {}

int32_t KVORAKernelFunctionRBF::filterCandidates(KVORAXaRay<int32_t, 1> &, const KVORAKernelVector &, KVORA_ENV) { return 0; }

double KVORAKernelFunctionRBF::ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2, uint64_t,
                                             uint64_t) {
    return std::exp(-(kvoraKernelSquaredDistance(vec1, vec2) * ivGamma));
}

void KVORAKernelFunctionRBF::writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    tag.getOrAddLeafTag("KernelType", env).setValue("RBF", env);
    tag.getOrAddLeafTag("Gamma", env).setRealValue(ivGamma, env);
}
