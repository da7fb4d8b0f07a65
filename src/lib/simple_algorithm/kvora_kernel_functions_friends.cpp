// The Friends kernel: counting in value and indices modes, the signed mutual
// information, and the filter of candidate pairs.
#include "simple_algorithm/kvora_kernel_functions_friends.h"

#include <cmath>

#include "control/kvora_XML_tag.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelFunctionFriends, KVORAKernelFunction, 3)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionFriends, ivIsIndicesData, 1)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionFriends, ivEmptyMarker, 2)
KVORA_MEMBER_KEYWORD(KVORAKernelFunctionFriends, ivNormalizingFactor, 3)

KVORAKernelFunctionFriends::KVORAKernelFunctionFriends()
    : ivIsIndicesData(0), ivEmptyMarker(0.0), ivNormalizingFactor(0.0), ivFilterSamplesCount(0), ivListedCall(0) {}

KVORAKernelFunctionFriends::KVORAKernelFunctionFriends(int32_t isIndicesData, double emptyMarker,
                                                       double normalizingFactor, KVORA_ENV env)
    : ivIsIndicesData(isIndicesData),
      ivEmptyMarker(emptyMarker),
      ivNormalizingFactor(normalizingFactor),
      ivFilterSamplesCount(0),
      ivListedCall(0) {}

void KVORAKernelFunctionFriends::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::copyFromPrimitive(source, env);
    const KVORAKernelFunctionFriends *other = static_cast<const KVORAKernelFunctionFriends *>(source);
    ivIsIndicesData = other->ivIsIndicesData;
    ivEmptyMarker = other->ivEmptyMarker;
    ivNormalizingFactor = other->ivNormalizingFactor;
    ivFilterSamplesMap = other->ivFilterSamplesMap;
    ivFilterSamplesCount = other->ivFilterSamplesCount;
    makeIndex();
}

void KVORAKernelFunctionFriends::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr) return;
    KVORAKernelFunction::transferFromPrimitive(source, env);
    KVORAKernelFunctionFriends *other = static_cast<KVORAKernelFunctionFriends *>(source);
    ivIsIndicesData = other->ivIsIndicesData;
    ivEmptyMarker = other->ivEmptyMarker;
    ivNormalizingFactor = other->ivNormalizingFactor;
    ivFilterSamplesMap.swap(other->ivFilterSamplesMap);
    other->ivFilterSamplesMap.clear();
    ivIndexKeys.swap(other->ivIndexKeys);
    ivIndexPositions.swap(other->ivIndexPositions);
    ivIndexEntries = other->ivIndexEntries;
    other->ivIndexKeys.clear();
    other->ivIndexPositions.clear();
    other->ivIndexEntries = 0;
    ivFilterSamplesCount = other->ivFilterSamplesCount;
}

void KVORAKernelFunctionFriends::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAKernelFunction::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivIsIndicesData), ivIsIndicesData, env);
    kvoraRead(reader, KVORA_KWD(ivEmptyMarker), ivEmptyMarker, env);
    kvoraRead(reader, KVORA_KWD(ivNormalizingFactor), ivNormalizingFactor, env);
}

void KVORAKernelFunctionFriends::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAKernelFunction::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivIsIndicesData), ivIsIndicesData, env);
    kvoraWrite(writer, KVORA_KWD(ivEmptyMarker), ivEmptyMarker, env);
    kvoraWrite(writer, KVORA_KWD(ivNormalizingFactor), ivNormalizingFactor, env);
}

void KVORAKernelFunctionFriends::releasePrimitive(KVORA_ENV env) {
    ivFilterSamplesMap.clear();
    ivFilterSamplesCount = 0;
    ivIndexKeys = std::vector<uint64_t>();
    ivIndexPositions = std::vector<int32_t>();
    ivIndexEntries = 0;
    ivListedMark.reset(env);
    KVORAKernelFunction::releasePrimitive(env);
}

double KVORAKernelFunctionFriends::signedInformation(double n, double k00, double k01, double k10, double k11) {
    const double p00 = k00 / n;
    const double p01 = k01 / n;
    const double p10 = k10 / n;
    const double p11 = k11 / n;
    const double r0 = p01 + p00;
    const double c0 = p10 + p00;
    const double c1 = 1.0 - c0;
    const double r1 = 1.0 - r0;
    double sum = 0.0;
    if (r0 > 0) {
        if (c0 > 0 && p00 > 0) sum = std::log(p00 / (c0 * r0)) * p00;
        if (c1 > 0 && p01 > 0) sum = sum + std::log(p01 / (c1 * r0)) * p01;
    }
    if (r1 > 0) {
        if (c0 > 0 && p10 > 0) sum = sum + std::log(p10 / (r1 * c0)) * p10;
        if (c1 > 0 && p11 > 0) sum = sum + std::log(p11 / (c1 * r1)) * p11;
    }
    const double information = sum / std::log(2.0);
    if (k01 + k10 > k00 + k11) return -information;
    return information;
}

KVORAKernelFunctionFriends::Counts KVORAKernelFunctionFriends::countPair(const KVORAKernelVector &vec1,
                                                                          const KVORAKernelVector &vec2) const {
    Counts k{0.0, 0.0, 0.0, 0.0};
    const double marker = ivEmptyMarker;
    if (ivIsIndicesData == 0) {
        // Parallel values; a position past the end of vec2 has nothing to compare.
        int32_t n = vec1.getSize();
        if (vec2.getSize() < n) n = vec2.getSize();
        for (int32_t i = 1; i <= n; ++i) {
            const double a = vec1[i];
            const double b = vec2[i];
            if (marker == a || marker == b) continue;
            if (a > 0) {
                if (b > 0)
                    k.k11 += 1.0;
                else
                    k.k10 += 1.0;
            } else {
                if (b > 0)
                    k.k01 += 1.0;
                else
                    k.k00 += 1.0;
            }
        }
        return k;
    }
    // Ascending item lists, merged with two cursors. The walk stops when either
    // list runs out: what is left behind in the other is not counted.
    const int32_t sizeA = vec1.getSize();
    const int32_t sizeB = vec2.getSize();
    if (sizeA == 0) return k;
    double both = 0.0, totalA = 0.0, totalB = 0.0;
    int32_t a = 1, b = 1;
    while (b <= sizeB) {
        while (a <= sizeA && vec1[a] == marker) ++a;
        while (b <= sizeB && vec2[b] == marker) ++b;
        if (a > sizeA || b > sizeB) break;
        const double va = vec1[a];
        const double vb = vec2[b];
        if (va == vb) {
            ++a;
            ++b;
            both += 1.0;
            totalA += 1.0;
            totalB += 1.0;
        } else if (vb < va) {
            ++b;
            totalB += 1.0;
        } else {
            ++a;
            totalA += 1.0;
        }
        if (a > sizeA) break;
    }
    k.k11 = both;
    k.k10 = totalA - both;
    k.k01 = totalB - both;
    k.k00 = ivNormalizingFactor - k.k11 - k.k01 - k.k10;
    return k;
}

double KVORAKernelFunctionFriends::ComputeKernel(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2,
                                                 uint64_t, uint64_t) {
    const Counts k = countPair(vec1, vec2);
    return signedInformation(ivNormalizingFactor, k.k00, k.k01, k.k10, k.k11);
}

void KVORAKernelFunctionFriends::writeXMLKernelParameters(KVORAXMLTag &tag, KVORA_ENV env) {
    tag.getOrAddLeafTag("KernelType", env).setValue("Friends", env);
    tag.getOrAddLeafTag("IsIndicesData", env).setIntValue(ivIsIndicesData, env);
    tag.getOrAddLeafTag("EmptyMarker", env).setRealValue(ivEmptyMarker, env);
    tag.getOrAddLeafTag("NormalizingFactor", env).setRealValue(ivNormalizingFactor, env);
}

void KVORAKernelFunctionFriends::prepareFilter(const KVORAXaRay<uint64_t, 1> &samples, KVORA_ENV env) {
    ivFilterSamplesMap.clear();
    int32_t position = 1;
    const int32_t n = samples.getSize();
    for (int32_t i = 1; i <= n; ++i, ++position) ivFilterSamplesMap.emplace(samples[i], position);
    ivFilterSamplesCount = position;
    makeIndex();
    // One mark per position, cleared; the call counter starts again.
    ivListedMark.setSize(0, env);
    ivListedMark.setSize(position, env);
    ivListedCall = 0;
}

namespace {

size_t slotOf(uint64_t key, size_t mask) { return static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> 20) & mask; }

}  // namespace

void KVORAKernelFunctionFriends::makeIndex() {
    size_t capacity = 16;
    while (capacity < 2 * ivFilterSamplesMap.size()) capacity *= 2;
    ivIndexKeys.assign(capacity, 0);
    ivIndexPositions.assign(capacity, 0);
    ivIndexEntries = 0;
    for (const auto &entry : ivFilterSamplesMap) {
        // A position outside 1.. could not be told from a free slot; the map
        // serves such a filter alone.
        if (entry.second < 1) {
            ivIndexEntries = static_cast<size_t>(-1);
            return;
        }
        size_t slot = slotOf(entry.first, capacity - 1);
        while (ivIndexPositions[slot] != 0) slot = (slot + 1) & (capacity - 1);
        ivIndexKeys[slot] = entry.first;
        ivIndexPositions[slot] = entry.second;
        ++ivIndexEntries;
    }
}

int32_t KVORAKernelFunctionFriends::positionOf(uint64_t key) const {
    const size_t mask = ivIndexKeys.size() - 1;
    for (size_t slot = slotOf(key, mask);; slot = (slot + 1) & mask) {
        const int32_t position = ivIndexPositions[slot];
        if (position == 0 || ivIndexKeys[slot] == key) return position;
    }
}

int32_t KVORAKernelFunctionFriends::filterCandidates(KVORAXaRay<int32_t, 1> &positions, const KVORAKernelVector &vec,
                                                     KVORA_ENV env) {
    const int32_t n = vec.getSize();
    positions.setSize(n, env);
    for (int32_t i = 1; i <= n; ++i) positions[i] = -1;
    if (++ivListedCall == 0) {  // the marks wrapped round: clear them once
        for (int32_t i = 1; i <= ivListedMark.getSize(); ++i) ivListedMark[i] = 0;
        ivListedCall = 1;
    }
    int32_t listed = 0;
    const bool indexed = !ivIndexKeys.empty() && ivIndexEntries == ivFilterSamplesMap.size();
    for (int32_t column = 1; column <= n; ++column) {
        const double element = vec[column];
        if (element == ivEmptyMarker) continue;
        uint64_t key;
        if (ivIsIndicesData != 0) {
            // Truncation toward zero to a 64-bit integer; what has no such
            // value (NaN, out of range, negative) names no sample.
            if (!(element > -1.0 && element < 18446744073709551616.0)) continue;
            key = static_cast<uint64_t>(element);
        } else {
            key = static_cast<uint64_t>(column);
        }
        int32_t position;
        if (indexed) {
            position = positionOf(key);
            if (position == 0) continue;
        } else {
            const auto found = ivFilterSamplesMap.find(key);
            if (found == ivFilterSamplesMap.end()) continue;
            position = found->second;
        }
        if (position >= 1 && position <= ivListedMark.getSize()) {
            if (ivListedMark[position] == ivListedCall) continue;
            ivListedMark[position] = ivListedCall;
        } else {
            // Not from prepareFilter (a copied map): fall back to a scan.
            bool seen = false;
            for (int32_t i = 1; i <= listed && !seen; ++i) seen = positions[i] == position;
            if (seen) continue;
        }
        positions[++listed] = position;
    }
    return listed > 0 ? 2 : 1;
}
