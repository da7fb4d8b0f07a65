// The categorical field's side of the field operations. Until
// distributions are built a field has none: its sample flag stays clear and
// the scan hooks find nothing to pass on.
#include "kernel/kvora_catfield.h"

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORACatField, KVORAField, 2)
KVORA_MEMBER_KEYWORD(KVORACatField, ivSampleFlag, 1)
KVORA_MEMBER_KEYWORD(KVORACatField, ivCatFieldDistPtr, 2)

KVORACatField::KVORACatField() : ivCatFieldDistPtr(KVORA_PLACE) { ivFieldType = CategoricalType; }

void KVORACatField::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    KVORAField::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    ivValueProducer = static_cast<const KVORACatField *>(source)->ivValueProducer;
}

void KVORACatField::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAField::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivSampleFlag), ivSampleFlag, env);
    kvoraRead(reader, KVORA_KWD(ivCatFieldDistPtr), ivCatFieldDistPtr, env);
}

void KVORACatField::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAField::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivSampleFlag), ivSampleFlag, env);
    kvoraWrite(writer, KVORA_KWD(ivCatFieldDistPtr), ivCatFieldDistPtr, env);
}

void KVORACatField::releasePrimitive(KVORA_ENV env) {
    ivCatFieldDistPtr.reset(env);
    ivValueProducer = nullptr;
    KVORAField::releasePrimitive(env);
}

int32_t KVORACatField::getDistinctCount() const {
    // The distribution's cat count; with none there is nothing distinct yet.
    if (ivCatFieldDistPtr.get() == nullptr) return 0;
    return ivCatFieldDistPtr->getCategoryCount();
}

int32_t KVORACatField::refreshFromProducer() {
    if (ivValueProducer == nullptr) return 1;
    int32_t present = 0;
    int32_t missing = 0;
    KV2AscString value;
    ivValueProducer->getValue(present, missing, value);
    if (present == 0)
        setPresent(0);
    else if (missing != 0)
        setMissing(1);
    else
        setTextValue(value);
    return 1;
}

void KVORACatField::addToDistribution(uint32_t recordHash, KVORA_ENV env) {
    if (ivSampleFlag == 0) return;
    if (ivComputed != 0 && ivPresent == 0) return;
    KVORACatFieldDist *dist = ivCatFieldDistPtr.get();
    if (dist == nullptr) return;
    // A distribution read from a stream learns the name before its first row.
    if (dist->hasFieldName() == 0) dist->setFieldName(ivName);
    if (ivMissing != 0) {
        dist->addMissing();
    } else if (ivActualChannelCount == 0) {
        dist->add(recordHash, ivTextValue, env);
    } else {
        for (int32_t channel = 1; channel <= ivActualChannelCount; ++channel) dist->add(recordHash, ivTextValue, env);
    }
}

void KVORACatField::beginDataScan(KVORA_ENV env) {
    if (ivSampleFlag == 0 || ivCatFieldDistPtr.get() == nullptr) return;
    ivCatFieldDistPtr->setFieldName(ivName);
    ivCatFieldDistPtr->beginPass(env);
}

void KVORACatField::endDataScan(KVORA_ENV env) {
    if (ivSampleFlag == 0 || ivCatFieldDistPtr.get() == nullptr) return;
    ivCatFieldDistPtr->endPass(env);
}

int32_t KVORACatField::hasScanResults() const {
    return ivSampleFlag != 0 && ivCatFieldDistPtr.get() != nullptr;
}

void KVORACatField::merge(KVORADataScan *other, KVORA_ENV env) {
    const KVORACatField *o = static_cast<const KVORACatField *>(other);
    if (ivCatFieldDistPtr.get() == nullptr || o->ivCatFieldDistPtr.get() == nullptr) return;
    ivCatFieldDistPtr->merge(*o->ivCatFieldDistPtr, env);
}

void KVORACatField::drawValue(uint32_t seed, KVORA_ENV env) {
    // Drawing needs the frequencies of a distribution.
    KVORA_ASSERT(ivCatFieldDistPtr.get() != 0);
    const KVORACatFieldDist *fieldDistPtr = ivCatFieldDistPtr.get();
    const int32_t index = fieldDistPtr->drawIndex(seed);
    if (index == MissingValueIndex) {
        setMissing(1);
        return;
    }
    if (index == DefaultValueIndex) {
        static const KV2AscString kvoraEmptyStr;
        KVORA_ASSERT(fieldDistPtr->getCatIndex(kvoraEmptyStr) == KVORAField::DefaultValueIndex);
        setTextValue(kvoraEmptyStr);
        return;
    }
    setTextValue(fieldDistPtr->getCategoryAt(index));
}

int32_t KVORACatField::getBinIndex(double value) const { KVORA_NEVER_HERE(); }

const KV2AscString &KVORACatField::getCategoryAt(int32_t index) const {
    // With no categories only the default value has an index: the empty text.
    static const KV2AscString emptyText;
    if (ivCatFieldDistPtr.get() != nullptr) return ivCatFieldDistPtr->getCategoryAt(index);
    KVORA_ASSERT(index == DefaultValueIndex);
    return emptyText;
}
