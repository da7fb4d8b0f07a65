// The distribution of a categorical field: which texts are its categories,
// and how often each occurs. The categories are learnt in the first two
// passes from a bounded sample whose elements are chosen by a priority made
// from the row's hash and the field's name, so that the sample, and with it
// the choice, depends neither on the order of the rows nor on how they are
// split over the workers: each worker keeps its own best elements, and the
// merge of two samples keeps the best of both. After the second pass the
// sample is freed and only counts change.
//
// Per row (add) the distribution does one table lookup with a hash of the
// text and, for a text that is no category while the sample lives, one
// priority hash and at most a heap step: nothing is allocated once the
// sample holds its texts.
#pragma once

#include <cstdint>

#include "kernel/kvora_catfieldcat.h"
#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xash.h"
#include "util/kvora_xray.h"

class KVORAObjReader;
class KVORAObjWriter;

// An element of the text sample: a text and its priority.
class KVORAStringPQElement : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAStringPQElement)
public:
    KVORAHashString ivValue;
    uint32_t ivPriority = 0;

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
};

class KVORACatFieldDist : public KVORAObject {
    KVORA_OBJECT_DECL(KVORACatFieldDist)
public:
    // Sample elements in a learning pass.
    static const int32_t cvSampleCapacity = 3000;
    // Creators that give no limits get these.
    static const int32_t cvDefaultMaxCats = 1000;
    static const int32_t cvDefaultMinOccurrence = 1;

    KVORACatFieldDist();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // The hash of the owning field's name, which every priority takes in.
    // Not streamed: the field sets it before its first row (setFieldName).
    void setFieldName(const KV2AscString &name);
    int32_t hasFieldName() const { return ivNameHashValid; }
    uint32_t getNameHash() const { return ivNameHash; }

    void beginPass(KVORA_ENV env);
    // One valid value of the row whose hash is `seed`.
    void add(uint32_t seed, const KV2AscString &text, KVORA_ENV env) {
        const int32_t index = findCategory(text);
        ivCurrValidCount += 1.0;
        if (index > 0) {
            ivCatsVec[index].ivCurrCount += 1.0;
            return;
        }
        ivCurrDefaultCount += 1.0;
        if (ivScansDone < 2) offer(text, kvoraHashCombine(seed, ivNameHash), env);
    }
    // One missing value: it counts among all rows seen.
    void addMissing() {
        ivCurrMissingCount += 1.0;
        ivCurrValidCount += 1.0;
    }
    void endPass(KVORA_ENV env);
    // Folds another worker's counts and sample of the same pass into this.
    void merge(const KVORACatFieldDist &other, KVORA_ENV env);

    // The category's position from 1, or DefaultValueIndex (0) for a text
    // that is no category.
    int32_t getCatIndex(const KV2AscString &text) const { return findCategory(text); }
    // The text of a category; index 0 is the empty text.
    const KV2AscString &getCategoryAt(int32_t index) const;
    int32_t getCategoryCount() const { return ivCatsVec.getSize(); }
    // Draws by the frequencies of the last finished pass, deterministically
    // from the seed: -1 missing, 0 the default value, else a category.
    int32_t drawIndex(uint32_t seed) const;

    // The priority of a row's value in this field's sample.
    uint32_t priorityOf(uint32_t seed) const { return kvoraHashCombine(seed, ivNameHash); }
    // Offers an element to the sample: kept if it is among the `capacity`
    // largest priorities offered.
    void offer(const KV2AscString &text, uint32_t priority, KVORA_ENV env);

    // ---- streamed members ----
    KVORAXaRay<KVORAStringPQElement, 1> ivSampleVec;  // a heap once full
    int32_t ivSampleVecCapacity = 0;
    KVORAXaRay<KVORACatFieldCat, 1> ivCatsVec;
    int32_t ivMaxCatsAllowed = cvDefaultMaxCats;
    int32_t ivMinCatOccuranceThreshold = cvDefaultMinOccurrence;
    int32_t ivScansDone = 0;
    double ivValidCount = 0.0;
    double ivMissingCount = 0.0;
    double ivDefaultCount = 0.0;
    double ivCurrValidCount = 0.0;
    double ivCurrMissingCount = 0.0;
    double ivCurrDefaultCount = 0.0;

private:
    int32_t findCategory(const KV2AscString &text) const {
        if (ivCatsVec.getSize() == 0) return 0;
        return ivCatIndex.find(text, kvoraHashBytes(text.c_str(), text.size(), 0));
    }
    void addCategory(const KV2AscString &text, KVORA_ENV env);
    void rebuildIndex(KVORA_ENV env);
    void chooseCategories(KVORA_ENV env);
    void freeSample(KVORA_ENV env);

    // Category texts to their positions, in step with ivCatsVec.
    KVORAObjectIndexXAshTable<KV2AscString> ivCatIndex;
    uint32_t ivNameHash = 0;
    int32_t ivNameHashValid = 0;
};
