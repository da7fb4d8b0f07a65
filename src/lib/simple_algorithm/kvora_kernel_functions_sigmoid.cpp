// The Sigmoid kernel: its formula, its members in the stream and its parameters
// in the model report.
#include "simple_algorithm/kvora_kernel_functions_sigmoid.h"

#include <cmath>

#include "control/kvora_XML_tag.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunctionSigmoid, KVORAKernelFunction, 2)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionSigmoid, ivMul, 1)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionSigmoid, ivBias, 2)

KVORAKernelFunctionSigmoid::KVORAKernelFunctionSigmoid() : ivMul(0), ivBias(0) {}

KVORAKernelFunctionSigmoid::KVORAKernelFunctionSigmoid(double multiplier, double bias, KVORA_ENV env) : ivMul(multiplier), ivBias(bias) {}

void KVORAKernelFunctionSigmoid::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::copyFromPrimitive(source, env);
    const KVORAKernelFunctionSigmoid *other = static_cast<const KVORAKernelFunctionSigmoid *>(source);
    ivMul = other->ivMul;
    ivBias = other->ivBias;
}

void KVORAKernelFunctionSigmoid::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::transferFromPrimitive(source, env);
    KVORAKernelFunctionSigmoid *other = static_cast<KVORAKernelFunctionSigmoid *>(source);
    ivMul = other->ivMul;
    ivBias = other->ivBias;
}

void KVORAKernelFunctionSigmoid::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAKernelFunction::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivMul), ivMul, env);
    kvoraRead(reader, KVORA_KWD(ivBias), ivBias, env);
}

void KVORAKernelFunctionSigmoid::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAKernelFunction::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivMul), ivMul, env);
    kvoraWrite(writer, KVORA_KWD(ivBias), ivBias, env);
}

void KVORAKernelFunctionSigmoid::releasePrimitive(KVORA_ENV env) { KVORAKernelFunction::releasePrimitive(env); }

void KVORAKernelFunctionSigmoid::prepareFilter(const KVORAXaRay<uint64_t, 1> &, KVORA_ENV) {}

int32_t KVORAKernelFunctionSigmoid::filterCandidates(KVORAXaRay<int32_t, 1> &, const KVORAKernelVector &, KVORA_ENV) { return 0; }

double KVORAKernelFunctionSigmoid::ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2,
                                                 uint64_t, uint64_t) {
    return std::tanh(ivMul * kvoraKernelDot(vec1, vec2) + ivBias);
}

void KVORAKernelFunctionSigmoid::writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    tag.getOrAddLeafTag("KernelType", env).setValue("Sigmoid", env);
    tag.getOrAddLeafTag("Bias", env).setRealValue(ivBias, env);
    tag.getOrAddLeafTag("Mul", env).setRealValue(ivMul, env);
}
