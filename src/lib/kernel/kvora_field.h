// A field: one named column of the record. It lives for the whole run and is
// both the slot that each row writes its value into and the owner of the
// statistics on its column, which is why it is a data-scan object. The
// setters are plain member functions over plain members, so that writing a
// row costs a few stores and no allocation (a categorical text reuses its
// capacity); the value-kind decisions sit in the two subclasses.
#pragma once

#include <cstdint>

#include "kernel/kvora_datascan.h"
#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xray.h"

class KVORAField : public KVORADataScan {
    KVORA_ABSTRACT_OBJECT_DECL(KVORAField)
public:
    // Value indexes besides those the distribution answers.
    enum { DefaultValueIndex = 0, MissingValueIndex = -1, UnsetValueIndex = -2 };
    // ivFieldType: the kind of value.
    enum { CategoricalType = 1, NumericType = 2 };
    // ivPurpose codes that the dataset gives its columns.
    enum { PurposeTarget = 1, PurposeExplanatory = 2, PurposeLineNumber = 7 };

    KVORAField();

    // ---- streamed members ----
    KV2AscString ivName;
    int32_t ivPurpose = 0;
    KV2AscString ivAlias;
    int32_t ivFieldType = 0;
    int32_t ivComputed = 0;            // computed, not read: valid only when present
    int32_t ivActualChannelCount = 0;  // 0 for a plain single value

    // ---- run-time state ----
    int32_t ivPresent = 0;
    int32_t ivMissing = 0;
    double ivRealValue = 0.0;
    KV2AscString ivTextValue;
    int32_t ivValueIndex = UnsetValueIndex;
    KVORAXaRay<double, 1> ivChannelValues;  // indexed from 1
    int32_t ivSampleFlag = 0;               // streamed by the subclass

    // ---- the field's own virtual operations, in slot order ----
    virtual int32_t getDistinctCount() const = 0;
    virtual void setSampleFlag(int32_t flag) = 0;
    virtual int32_t refreshFromProducer() = 0;
    virtual void onRecordBegin() = 0;
    virtual void addToDistribution(uint32_t recordHash, KVORA_ENV env) = 0;
    virtual void beginDataScan(KVORA_ENV env) = 0;
    virtual void endDataScan(KVORA_ENV env) = 0;
    virtual int32_t getCatIndex(const KV2AscString &text) const = 0;
    virtual int32_t getBinIndex(double value) const = 0;
    virtual const KV2AscString &getCategoryAt(int32_t index) const = 0;
    virtual int32_t hasProducer() const = 0;
    virtual void drawValue(uint32_t seed, KVORA_ENV env) = 0;

    // ---- object base ----
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;
    // A field accumulates through addToDistribution, not per-record updates.
    KVORAUpdateFunc getUpdateFunction() const override;
    KVORAUpdateFunc getAltUpdateFunction() const override;

    // ---- setters: the same in both kinds ----
    // Numeric only; the index is the distribution's bin.
    void setRealValue(double value) {
        ivRealValue = value;
        ivPresent = 1;
        ivMissing = 0;
        ivValueIndex = getBinIndex(value);
    }
    void setTextValue(const KV2AscString &text) { setTextValue(text.c_str(), static_cast<int32_t>(text.size())); }
    // Categorical only; the text's bytes are copied into the kept capacity.
    void setTextValue(const char *text, int32_t length) {
        ivTextValue.assign(text, length);
        ivPresent = 1;
        ivRealValue = 0.0;
        ivMissing = 0;
        ivValueIndex = UnsetValueIndex;
        ivValueIndex = getCatIndex(ivTextValue);
    }
    void setMissing(int32_t flag) {
        ivMissing = flag;
        if (flag != 0) {
            ivPresent = 1;
            clearValue(MissingValueIndex);
        }
    }
    void setPresent(int32_t flag) {
        ivPresent = flag;
        if (flag == 0) {
            ivMissing = 0;
            clearValue(UnsetValueIndex);
        }
    }
    // Channels are set one by one; the array grows to hold `channel`.
    void setChannelValue(int32_t channel, double value, KVORA_ENV env);
    double getChannelValue(int32_t channel) const;

    // ---- getters ----
    const KV2AscString &getName() const { return ivName; }
    void setName(const KV2AscString &name) { ivName = name; }
    int32_t getPurpose() const { return ivPurpose; }
    void setPurpose(int32_t purpose) { ivPurpose = purpose; }
    int32_t getType() const { return ivFieldType; }
    int32_t isComputed() const { return ivComputed; }
    void setComputed(int32_t flag) { ivComputed = flag; }
    int32_t isPresent() const { return ivPresent; }
    int32_t isMissing() const { return ivMissing; }
    double getRealValue() const { return ivRealValue; }
    // Reading a categorical value of a missing row is a broken invariant.
    const KV2AscString &getTextValue() const;
    int32_t getValueIndex() const { return ivValueIndex; }
    int32_t getSampleFlag() const { return ivSampleFlag; }

    // The field's part of the record hash, folded into `running`.
    uint32_t foldHash(uint32_t running) const;

protected:
    void clearValue(int32_t index) {
        // Only the length goes: the capacity stays for the next row.
        if (ivTextValue.base != nullptr) ivTextValue.assign("", 0);
        ivRealValue = 0.0;
        ivValueIndex = index;
        const int32_t n = ivChannelValues.getSize();
        for (int32_t i = 1; i <= n; ++i) ivChannelValues[i] = 0.0;
    }
};
