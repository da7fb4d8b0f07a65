// The Information kernel: its formula, its members in the stream and its parameters
// in the model report.
#include "simple_algorithm/kvora_kernel_functions_information.h"

#include <climits>
#include <cmath>
#include <map>

#include "control/kvora_XML_tag.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunctionInformation, KVORAKernelFunction, 1)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionInformation, ivNumberOfBins, 1)

KVORAKernelFunctionInformation::KVORAKernelFunctionInformation() : ivNumberOfBins(0) {}

KVORAKernelFunctionInformation::KVORAKernelFunctionInformation(int32_t numberOfBins, KVORA_ENV env) : ivNumberOfBins(numberOfBins) {}

void KVORAKernelFunctionInformation::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::copyFromPrimitive(source, env);
    const KVORAKernelFunctionInformation *other = static_cast<const KVORAKernelFunctionInformation *>(source);
    ivNumberOfBins = other->ivNumberOfBins;
}

void KVORAKernelFunctionInformation::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::transferFromPrimitive(source, env);
    KVORAKernelFunctionInformation *other = static_cast<KVORAKernelFunctionInformation *>(source);
    ivNumberOfBins = other->ivNumberOfBins;
}

void KVORAKernelFunctionInformation::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAKernelFunction::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivNumberOfBins), ivNumberOfBins, env);
}

void KVORAKernelFunctionInformation::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAKernelFunction::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivNumberOfBins), ivNumberOfBins, env);
}

void KVORAKernelFunctionInformation::releasePrimitive(KVORA_ENV env) { KVORAKernelFunction::releasePrimitive(env); }

void KVORAKernelFunctionInformation::prepareFilter(const KVORAXaRay<uint64_t, 1> &, KVORA_ENV) {}

int32_t KVORAKernelFunctionInformation::filterCandidates(KVORAXaRay<int32_t, 1> &, const KVORAKernelVector &, KVORA_ENV) { return 0; }

namespace {
// Truncation toward zero to a 32-bit int, with what has no such value (NaN,
// out of range) pinned to the nearest end instead of left undefined.
int32_t truncInt32(double value) {
    if (!(value == value)) return 0;
    if (value >= 2147483647.0) return INT32_MAX;
    if (value <= -2147483648.0) return INT32_MIN;
    return static_cast<int32_t>(value);
}
}  // namespace

double KVORAKernelFunctionInformation::ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2,
                                                     uint64_t, uint64_t) {
    const int32_t size = vec1.getSize();
    const double n = static_cast<double>(size);
    if (size == 0) return 0.0 / std::log(2.0);
    // Recovering the bin pair from a joint key divides by the number of bins:
    // without bins that is a division by zero, refused here.
    KVORA_ASSERT_CAUSE(ivNumberOfBins != 0, "Number of bins not defined.");
    KVORA_ASSERT_CAUSE(vec2.getSize() >= size, "Information kernel: second vector shorter than the first");
    std::map<int32_t, int32_t> cx, cy, cxy;
    for (int32_t i = 1; i <= size; ++i) {
        const int32_t x = truncInt32(vec1[i]);
        const int32_t y = truncInt32(vec2[i]);
        ++cx[x];
        ++cy[y];
        // 32-bit arithmetic that wraps, as the key was first made.
        const uint32_t key = static_cast<uint32_t>(truncInt32(vec1[i] - 1.0)) * static_cast<uint32_t>(ivNumberOfBins) +
                             static_cast<uint32_t>(y);
        ++cxy[static_cast<int32_t>(key)];
    }
    double sum = 0.0;
    for (const auto &entry : cxy) {
        const int64_t k1 = static_cast<int64_t>(entry.first) - 1;
        const int32_t xBin = static_cast<int32_t>(k1 / ivNumberOfBins + 1);
        const int32_t yBin = static_cast<int32_t>(k1 % ivNumberOfBins + 1);
        const double pxy = entry.second / n;
        const auto fx = cx.find(xBin);
        const auto fy = cy.find(yBin);
        const double px = (fx == cx.end() ? 0 : fx->second) / n;
        const double py = (fy == cy.end() ? 0 : fy->second) / n;
        sum = sum + pxy * std::log(pxy / (px * py));
    }
    return sum / std::log(2.0);
}

void KVORAKernelFunctionInformation::writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    tag.getOrAddLeafTag("KernelType", env).setValue("Information", env);
    tag.getOrAddLeafTag("NumberOfBins", env).setIntValue(ivNumberOfBins, env);
}
