// A numeric field: its value is a real and its index a bin of its
// distribution. The setter is repeated here so that a caller holding a
// KVORANumField (the dataset's per-column cache) reaches the bin lookup
// without a virtual call.
#pragma once

#include <cstdint>

#include "kernel/kvora_field.h"
#include "kernel/kvora_numfielddist.h"
#include "util/kvora_ownptr.h"

// What computes a numeric field's value instead of the dataset.
class KVORANumValueProducer {
public:
    virtual ~KVORANumValueProducer() {}
    virtual void getValue(int32_t &present, int32_t &missing, double &value) = 0;
};

class KVORANumField : public KVORAField {
    KVORA_OBJECT_DECL(KVORANumField)
public:
    KVORANumField();

    KVORANumValueProducer *ivValueProducer = nullptr;  // null: fed by the dataset
    // The field's value distribution; none until distributions are built.
    KVORAOwnPtr<KVORANumFieldDist> ivNumFieldDistPtr;

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
    int32_t getCatIndex(const KV2AscString &text) const override;
    int32_t getBinIndex(double value) const override {
        if (ivMissing != 0) return MissingValueIndex;
        // No distribution (or no bins yet): every value is in the one bin 0.
        const KVORANumFieldDist *dist = ivNumFieldDistPtr.get();
        return dist == nullptr ? 0 : dist->getBinIndex(value);
    }
    const KV2AscString &getCategoryAt(int32_t index) const override;
    int32_t hasProducer() const override { return ivValueProducer != nullptr; }
    void drawValue(uint32_t seed, KVORA_ENV env) override;
    // The distribution's counts of a pass travel as the field's scan result.
    int32_t hasScanResults() const override;
    void merge(KVORADataScan *other, KVORA_ENV env) override;

    void setRealValue(double value) {
        ivRealValue = value;
        ivPresent = 1;
        ivMissing = 0;
        ivValueIndex = KVORANumField::getBinIndex(value);
    }
};
