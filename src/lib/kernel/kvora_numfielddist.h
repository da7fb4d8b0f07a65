// The distribution of a numeric field: bins that fit the column, learnt in
// the first pass from a bounded sample of values chosen by a priority made
// from the row's hash and the field's name (so the sample does not depend on
// the order or the split of the rows), then counted in every later pass.
// Per row (add) it costs one priority hash and at most a heap step while the
// sample lives, then a binary search over the bins; it never allocates.
//
// The bins are made by equal shares of the sorted sample (at most
// cvBinCount of them); their outer ends are the sample's extremes, and a
// later value beyond either belongs to the outer bin on its side.
#pragma once

#include <cstdint>

#include "kernel/kvora_numfieldbin.h"
#include "kvo/kv2ustra.h"
#include "util/kvora_debug.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xash.h"
#include "util/kvora_xray.h"

class KVORAObjReader;
class KVORAObjWriter;

// An element of the value sample: a real and its priority.
class KVORARealPQElement : public KVORAObject {
    KVORA_OBJECT_DECL(KVORARealPQElement)
public:
    double ivValue = 0.0;
    uint32_t ivPriority = 0;

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
};

class KVORANumFieldDist : public KVORAObject {
    KVORA_OBJECT_DECL(KVORANumFieldDist)
public:
    static const int32_t cvSampleCapacity = 3000;
    static const int32_t cvBinCount = 10;

    KVORANumFieldDist();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // The hash of the owning field's name, which every priority takes in.
    // Not streamed: the field sets it before its first row.
    void setFieldName(const KV2AscString &name);
    int32_t hasFieldName() const { return ivNameHashValid; }
    uint32_t getNameHash() const { return ivNameHash; }

    void beginPass(KVORA_ENV env);
    // One valid value of the row whose hash is `seed`.
    void add(uint32_t seed, double value, KVORA_ENV env) {
        ivCurrValidCount += 1.0;
        if (ivPotBinsVec.getSize() == 0) {
            if (ivScansDone == 0) offer(value, kvoraHashCombine(seed, ivNameHash), env);
            return;
        }
        ivPotBinsVec[getBinIndex(value)].addCurrent(value);
    }
    // One missing value: it counts among all rows seen.
    void addMissing() {
        ivCurrMissingCount += 1.0;
        ivCurrValidCount += 1.0;
    }
    void endPass(KVORA_ENV env);
    // Folds another worker's counts and sample of the same pass into this.
    void merge(const KVORANumFieldDist &other, KVORA_ENV env);

    // The bin of a value, from 1; 0 while there are no bins.
    int32_t getBinIndex(double value) const {
        const int32_t n = ivPotBinsVec.getSize();
        if (n == 0) return 0;
        if (value != value) KVORA_NEVER_HERE();  // NaN has no bin
        // The last bin whose low end is not above the value, else the first.
        int32_t lo = 1, hi = n, found = 1;
        while (lo <= hi) {
            const int32_t mid = lo + (hi - lo) / 2;
            if (ivPotBinsVec[mid].ivLoEnd <= value) {
                found = mid;
                lo = mid + 1;
            } else {
                hi = mid - 1;
            }
        }
        for (int32_t i = found; i <= n; ++i) {
            if (ivPotBinsVec[i].holdsBelowHiEnd(value)) return i;
        }
        return n;  // above the sample's largest value
    }
    int32_t getBinCount() const { return ivPotBinsVec.getSize(); }
    // Draws by the frequencies of the last finished pass, deterministically
    // from the seed; `missing` tells a missing draw.
    double drawValue(uint32_t seed, int32_t &missing) const;

    uint32_t priorityOf(uint32_t seed) const { return kvoraHashCombine(seed, ivNameHash); }
    void offer(double value, uint32_t priority, KVORA_ENV env);

    // ---- streamed members ----
    KVORAXaRay<KVORARealPQElement, 1> ivSampleSortVec;  // a heap once full
    int32_t ivSampleSortVecCapacity = 0;
    int32_t ivScansDone = 0;
    KVORAXaRay<KVORANumFieldBin, 1> ivPotBinsVec;
    double ivMissingCount = 0.0;
    double ivValidCount = 0.0;
    double ivCurrMissingCount = 0.0;
    double ivCurrValidCount = 0.0;

private:
    void buildBins(KVORA_ENV env);
    void freeSample(KVORA_ENV env);

    uint32_t ivNameHash = 0;
    int32_t ivNameHashValid = 0;
};
