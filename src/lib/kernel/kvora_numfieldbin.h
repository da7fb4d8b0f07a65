// One bin of a numeric field's distribution: its ends, whether each end is
// inside, and the statistics of its values, both of the last finished pass
// and of the pass under way. The pass under way keeps plain sums (count, sum,
// sum of squares, extremes), which workers add up in any order; the totals
// are made from them when the pass ends.
#pragma once

#include <cstdint>

#include "util/kvora_object.h"

class KVORAObjReader;
class KVORAObjWriter;

class KVORANumFieldBin : public KVORAObject {
    KVORA_OBJECT_DECL(KVORANumFieldBin)
public:
    double ivLoEnd = 0.0;
    double ivHiEnd = 0.0;
    int32_t ivIncLoEnd = 1;
    int32_t ivIncHiEnd = 0;
    double ivCount = 0.0;
    double ivMean = 0.0;
    double ivVariance = 0.0;
    double ivMaxValue = 0.0;
    double ivMinValue = 0.0;
    double ivCurrCount = 0.0;
    double ivCurrSum = 0.0;
    double ivCurrVariance = 0.0;  // the sum of squares while the pass runs
    double ivCurrMaxValue = 0.0;
    double ivCurrMinValue = 0.0;

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;

    // True if the high end holds the value: below it, or on it when it is inside.
    bool holdsBelowHiEnd(double value) const { return value < ivHiEnd || (ivIncHiEnd != 0 && value == ivHiEnd); }
    void clearCurrent();
    void addCurrent(double value) {
        if (ivCurrCount == 0.0 || value > ivCurrMaxValue) ivCurrMaxValue = value;
        if (ivCurrCount == 0.0 || value < ivCurrMinValue) ivCurrMinValue = value;
        ivCurrCount += 1.0;
        ivCurrSum += value;
        ivCurrVariance += value * value;
    }
    // Adds another worker's statistics of the same pass.
    void mergeCurrent(const KVORANumFieldBin &other);
    // The pass's statistics become the totals.
    void foldCurrent();
};
