// The Poly kernel: its formula, its members in the stream and its parameters
// in the model report.
#include "simple_algorithm/kvora_kernel_functions_poly.h"

#include <cmath>
#include <iostream>

#include "control/kvora_XML_tag.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunctionPoly, KVORAKernelFunction, 3)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionPoly, ivMul, 1)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionPoly, ivDeg, 2)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionPoly, ivBias, 3)

KVORAKernelFunctionPoly::KVORAKernelFunctionPoly() : ivMul(0), ivDeg(0), ivBias(0) {}

KVORAKernelFunctionPoly::KVORAKernelFunctionPoly(int32_t degree, double multiplier, double bias, KVORA_ENV env) : ivMul(multiplier), ivDeg(degree), ivBias(bias) {}

void KVORAKernelFunctionPoly::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::copyFromPrimitive(source, env);
    const KVORAKernelFunctionPoly *other = static_cast<const KVORAKernelFunctionPoly *>(source);
    ivMul = other->ivMul;
    ivDeg = other->ivDeg;
    ivBias = other->ivBias;
}

void KVORAKernelFunctionPoly::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::transferFromPrimitive(source, env);
    KVORAKernelFunctionPoly *other = static_cast<KVORAKernelFunctionPoly *>(source);
    ivMul = other->ivMul;
    ivDeg = other->ivDeg;
    ivBias = other->ivBias;
}

void KVORAKernelFunctionPoly::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAKernelFunction::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivMul), ivMul, env);
    kvoraRead(reader, KVORA_KWD(ivDeg), ivDeg, env);
    kvoraRead(reader, KVORA_KWD(ivBias), ivBias, env);
}

void KVORAKernelFunctionPoly::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAKernelFunction::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivMul), ivMul, env);
    kvoraWrite(writer, KVORA_KWD(ivDeg), ivDeg, env);
    kvoraWrite(writer, KVORA_KWD(ivBias), ivBias, env);
}

void KVORAKernelFunctionPoly::releasePrimitive(KVORA_ENV env) { KVORAKernelFunction::releasePrimitive(env); }

void KVORAKernelFunctionPoly::prepareFilter(const KVORAXaRay<uint64_t, 1> &, KVORA_ENV) {}

int32_t KVORAKernelFunctionPoly::filterCandidates(KVORAXaRay<int32_t, 1> &, const KVORAKernelVector &, KVORA_ENV) { return 0; }

double KVORAKernelFunctionPoly::ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2, uint64_t,
                                              uint64_t) {
    const double x = ivMul * kvoraKernelDot(vec1, vec2) + ivBias;
    double result;
    if (ivDeg == 1)
        result = x;
    else if (ivDeg == 2)
        result = x * x;
    else
        result = std::pow(x, static_cast<double>(ivDeg));
    std::cout << "KVORAKernelFunctionPoly::ComputeKernel, alleged dead code reached (multi-platform adjustments)\n";
    return result;
}

void KVORAKernelFunctionPoly::writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    tag.getOrAddLeafTag("KernelType", env).setValue("Poly", env);
    tag.getOrAddLeafTag("Deg", env).setIntValue(ivDeg, env);
    tag.getOrAddLeafTag("Bias", env).setRealValue(ivBias, env);
    tag.getOrAddLeafTag("Mul", env).setRealValue(ivMul, env);
}
