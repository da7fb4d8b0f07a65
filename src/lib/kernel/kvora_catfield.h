// A categorical field: its value is a text and its index the position of
// that text among the categories of its distribution. The setter is repeated
// here so that a caller holding a KVORACatField reaches the category lookup
// without a virtual call; the text goes into the kept capacity of the field's
// string, so a row allocates nothing once the longest text has been seen.
#pragma once

#include <cstdint>

#include "kernel/kvora_catfielddist.h"
#include "kernel/kvora_field.h"
#include "util/kvora_ownptr.h"

// What computes a categorical field's value instead of the dataset.
class KVORACatValueProducer {
public:
    virtual ~KVORACatValueProducer() {}
    virtual void getValue(int32_t &present, int32_t &missing, KV2AscString &value) = 0;
};

class KVORACatField : public KVORAField {
    KVORA_OBJECT_DECL(KVORACatField)
public:
    KVORACatField();

    KVORACatValueProducer *ivValueProducer = nullptr;  // null: fed by the dataset
    // The field's category distribution; none until distributions are built.
    KVORAOwnPtr<KVORACatFieldDist> ivCatFieldDistPtr;

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    int32_t getDistinctCount() const override;
    void setSampleFlag(int32_t flag) override { ivSampleFlag = flag; }
    int32_t refreshFromProducer() override;
    void onRecordBegin() override {}
    void addToDistribution(uint32_t recordHash, KVORA_ENV env) override;
    void beginDataScan(KVORA_ENV env) override;
    void endDataScan(KVORA_ENV env) override;
    int32_t getCatIndex(const KV2AscString &text) const override {
        if (ivMissing != 0) return MissingValueIndex;
        // No distribution: every text is a default value.
        const KVORACatFieldDist *dist = ivCatFieldDistPtr.get();
        return dist == nullptr ? static_cast<int32_t>(DefaultValueIndex) : dist->getCatIndex(text);
    }
    int32_t getBinIndex(double value) const override;
    const KV2AscString &getCategoryAt(int32_t index) const override;
    int32_t hasProducer() const override { return ivValueProducer != nullptr; }
    void drawValue(uint32_t seed, KVORA_ENV env) override;
    // The distribution's counts of a pass travel as the field's scan result.
    int32_t hasScanResults() const override;
    void merge(KVORADataScan *other, KVORA_ENV env) override;

    void setTextValue(const KV2AscString &text) { setTextValue(text.c_str(), static_cast<int32_t>(text.size())); }
    void setTextValue(const char *text, int32_t length) {
        ivTextValue.assign(text, length);
        ivPresent = 1;
        ivRealValue = 0.0;
        ivMissing = 0;
        ivValueIndex = UnsetValueIndex;
        ivValueIndex = KVORACatField::getCatIndex(ivTextValue);
    }
};
