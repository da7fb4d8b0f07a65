// The numeric field's side of the field operations. Until
// distributions are built a field has none: its sample flag stays clear and
// the scan hooks find nothing to pass on.
#include "kernel/kvora_numfield.h"

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORANumField, KVORAField, 2)
KVORA_MEMBER_KEYWORD(KVORANumField, ivSampleFlag, 1)
KVORA_MEMBER_KEYWORD(KVORANumField, ivNumFieldDistPtr, 2)

KVORANumField::KVORANumField() : ivNumFieldDistPtr(KVORA_PLACE) { ivFieldType = NumericType; }

void KVORANumField::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    KVORAField::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    ivValueProducer = static_cast<const KVORANumField *>(source)->ivValueProducer;
}

void KVORANumField::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAField::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivSampleFlag), ivSampleFlag, env);
    kvoraRead(reader, KVORA_KWD(ivNumFieldDistPtr), ivNumFieldDistPtr, env);
}

void KVORANumField::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAField::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivSampleFlag), ivSampleFlag, env);
    kvoraWrite(writer, KVORA_KWD(ivNumFieldDistPtr), ivNumFieldDistPtr, env);
}

void KVORANumField::releasePrimitive(KVORA_ENV env) {
    ivNumFieldDistPtr.reset(env);
    ivValueProducer = nullptr;
    KVORAField::releasePrimitive(env);
}

int32_t KVORANumField::getDistinctCount() const {
    // The distribution's num count; with none there is nothing distinct yet.
    if (ivNumFieldDistPtr.get() == nullptr) return 0;
    return ivNumFieldDistPtr->getBinCount();
}

int32_t KVORANumField::refreshFromProducer() {
    if (ivValueProducer == nullptr) return 1;
    int32_t present = 0;
    int32_t missing = 0;
    double value = 0.0;
    ivValueProducer->getValue(present, missing, value);
    if (present == 0)
        setPresent(0);
    else if (missing != 0)
        setMissing(1);
    else
        setRealValue(value);
    return 1;
}

void KVORANumField::addToDistribution(uint32_t recordHash, KVORA_ENV env) {
    if (ivSampleFlag == 0) return;
    if (ivComputed != 0 && ivPresent == 0) return;
    KVORANumFieldDist *dist = ivNumFieldDistPtr.get();
    if (dist == nullptr) return;
    // A distribution read from a stream learns the name before its first row.
    if (dist->hasFieldName() == 0) dist->setFieldName(ivName);
    if (ivMissing != 0) {
        dist->addMissing();
    } else if (ivActualChannelCount == 0) {
        dist->add(recordHash, ivRealValue, env);
    } else {
        for (int32_t channel = 1; channel <= ivActualChannelCount; ++channel)
            dist->add(recordHash, ivFieldType == NumericType ? getChannelValue(channel) : 0.0, env);
    }
}

void KVORANumField::beginDataScan(KVORA_ENV env) {
    if (ivSampleFlag == 0 || ivNumFieldDistPtr.get() == nullptr) return;
    ivNumFieldDistPtr->setFieldName(ivName);
    ivNumFieldDistPtr->beginPass(env);
}

void KVORANumField::endDataScan(KVORA_ENV env) {
    if (ivSampleFlag == 0 || ivNumFieldDistPtr.get() == nullptr) return;
    ivNumFieldDistPtr->endPass(env);
}

int32_t KVORANumField::hasScanResults() const {
    return ivSampleFlag != 0 && ivNumFieldDistPtr.get() != nullptr;
}

void KVORANumField::merge(KVORADataScan *other, KVORA_ENV env) {
    const KVORANumField *o = static_cast<const KVORANumField *>(other);
    if (ivNumFieldDistPtr.get() == nullptr || o->ivNumFieldDistPtr.get() == nullptr) return;
    ivNumFieldDistPtr->merge(*o->ivNumFieldDistPtr, env);
}

void KVORANumField::drawValue(uint32_t seed, KVORA_ENV env) {
    // Drawing needs the frequencies of a distribution.
    KVORA_ASSERT(ivNumFieldDistPtr.get() != 0);
    int32_t missing = 0;
    const double value = ivNumFieldDistPtr->drawValue(seed, missing);
    if (missing != 0)
        setMissing(1);
    else
        setRealValue(value);
}

int32_t KVORANumField::getCatIndex(const KV2AscString &text) const {
    // A numeric field has no categories.
    kvoraAssertFail("getType() == CategoricalType", KVORA_PLACE);
}

const KV2AscString &KVORANumField::getCategoryAt(int32_t index) const { KVORA_NEVER_HERE(); }
