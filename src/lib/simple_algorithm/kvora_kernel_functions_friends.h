// The Friends kernel: two samples compared as two sets of items, by the four
// counts of a contingency table, giving a mutual information whose sign says
// whether the samples agree more than they disagree. It is the one kernel the
// kernel data object admits, and it carries a filter so that pairs that share
// no item are never computed. The filter's look-up structures are kept across
// calls, so neither ComputeKernel nor filterCandidates allocates per call once
// warmed up.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "simple_algorithm/kvora_kernel_functions.h"

class KVORAKernelFunctionFriends : public KVORAKernelFunction {
    KVORA_OBJECT_DECL(KVORAKernelFunctionFriends)
public:
    KVORAKernelFunctionFriends();
    KVORAKernelFunctionFriends(int32_t isIndicesData, double emptyMarker, double normalizingFactor, KVORA_ENV env);

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

    // Mutual information in bits of the table (k00, k01, k10, k11) over a
    // population n, negated when the off-diagonal counts outweigh the diagonal.
    static double signedInformation(double n, double k00, double k01, double k10, double k11);

    // The four counts of a pair, as ComputeKernel makes them (k00 from the
    // normalizing factor in indices mode).
    struct Counts {
        double k00, k01, k10, k11;
    };
    Counts countPair(const KVORAKernelVector &vec1, const KVORAKernelVector &vec2) const;

    int32_t ivIsIndicesData;     // 1: vectors are ascending item lists; 0: parallel values
    double ivEmptyMarker;        // elements equal to it stand for nothing
    double ivNormalizingFactor;  // size of the whole population
    // Not carried by the stream: rebuilt on every worker by prepareFilter.
    std::map<uint64_t, int32_t> ivFilterSamplesMap;  // own sample number -> position from 1
    int32_t ivFilterSamplesCount;                    // one more than the samples given

private:
    // Per position: the call of filterCandidates that listed it last, so that
    // a position is listed once per call without a set made per call.
    KVORAXaRay<uint32_t, 1> ivListedMark;
    uint32_t ivListedCall;

    // ivFilterSamplesMap again as an open-addressed table (position 0 marks
    // a free slot; positions start at 1), since filterCandidates looks up
    // every element of every row and a tree walk per element dominated the
    // kernel. Made wherever the map is made; used while it holds as many
    // entries as the map.
    std::vector<uint64_t> ivIndexKeys;
    std::vector<int32_t> ivIndexPositions;
    size_t ivIndexEntries = 0;
    void makeIndex();
    // The position of `key`, or 0 when it is not an own sample.
    int32_t positionOf(uint64_t key) const;
};
