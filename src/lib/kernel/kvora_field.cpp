// The field's streamed members, its run-time value state and its part of the
// record hash. The value-kind operations are left to the two subclasses.
#include "kernel/kvora_field.h"

#include <cstdio>

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_xash.h"

KVORA_ABSTRACT_OBJECT_IMPL(KVORAField, KVORADataScan, 6)
KVORA_MEMBER_KEYWORD(KVORAField, ivName, 1)
KVORA_MEMBER_KEYWORD(KVORAField, ivPurpose, 2)
KVORA_MEMBER_KEYWORD(KVORAField, ivAlias, 3)
KVORA_MEMBER_KEYWORD(KVORAField, ivFieldType, 4)
KVORA_MEMBER_KEYWORD(KVORAField, ivComputed, 5)
KVORA_MEMBER_KEYWORD(KVORAField, ivActualChannelCount, 6)

namespace {

// Fields take no part in the per-record update calls of the driver.
void kvoraFieldNoUpdate(KVORADataScan *, int32_t, KVORA_ENV) {}

}  // namespace

KVORAField::KVORAField() : ivChannelValues(KVORA_PLACE) {}

KVORAUpdateFunc KVORAField::getUpdateFunction() const { return &kvoraFieldNoUpdate; }

KVORAUpdateFunc KVORAField::getAltUpdateFunction() const { return &kvoraFieldNoUpdate; }

void KVORAField::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    KVORADataScan::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORAField *other = static_cast<const KVORAField *>(source);
    ivName = other->ivName;
    ivPurpose = other->ivPurpose;
    ivAlias = other->ivAlias;
    ivFieldType = other->ivFieldType;
    ivComputed = other->ivComputed;
    ivActualChannelCount = other->ivActualChannelCount;
    ivPresent = other->ivPresent;
    ivMissing = other->ivMissing;
    ivRealValue = other->ivRealValue;
    ivTextValue = other->ivTextValue;
    ivValueIndex = other->ivValueIndex;
    ivChannelValues.copyFrom(other->ivChannelValues, env);
    ivSampleFlag = other->ivSampleFlag;
}

void KVORAField::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORADataScan::readPrimitive(reader, env);
    KV2AscString tempName;
    if (kvoraRead(reader, KVORA_KWD(ivName), tempName, env)) {
        // A field is the slot of one column for the whole run: reading another
        // column's field over it would silently redirect every later row.
        if (!(ivName.size() <= 0 || ivName == tempName)) {
            std::fprintf(stderr, "*** ERROR %s != %s\n", ivName.c_str(), tempName.c_str());
            std::fflush(stderr);
            kvoraAssertFailCause("ivName.size() <= 0 || ivName == tempName",
                                 "Attempt to overwrite an existing field object with a different field",
                                 KVORA_PLACE);
        }
        ivName = tempName;
    }
    kvoraRead(reader, KVORA_KWD(ivPurpose), ivPurpose, env);
    kvoraRead(reader, KVORA_KWD(ivAlias), ivAlias, env);
    int32_t savedType = ivFieldType;
    if (kvoraRead(reader, KVORA_KWD(ivFieldType), savedType, env)) {
        // The class fixes the kind of value; a stream cannot change it.
        if (!(savedType == getType())) kvoraAssertFail("savedfieldval.ivFieldType == getType()", KVORA_PLACE);
    }
    kvoraRead(reader, KVORA_KWD(ivComputed), ivComputed, env);
    kvoraRead(reader, KVORA_KWD(ivActualChannelCount), ivActualChannelCount, env);
}

void KVORAField::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORADataScan::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivName), ivName, env);
    kvoraWrite(writer, KVORA_KWD(ivPurpose), ivPurpose, env);
    kvoraWrite(writer, KVORA_KWD(ivAlias), ivAlias, env);
    kvoraWrite(writer, KVORA_KWD(ivFieldType), ivFieldType, env);
    kvoraWrite(writer, KVORA_KWD(ivComputed), ivComputed, env);
    kvoraWrite(writer, KVORA_KWD(ivActualChannelCount), ivActualChannelCount, env);
}

void KVORAField::releasePrimitive(KVORA_ENV env) {
    ivChannelValues.reset(env);
    ivName.setLength(0, 0);
    ivAlias.setLength(0, 0);
    ivTextValue.setLength(0, 0);
    ivPresent = 0;
    ivMissing = 0;
    ivRealValue = 0.0;
    ivValueIndex = UnsetValueIndex;
    ivSampleFlag = 0;
    KVORADataScan::releasePrimitive(env);
}

void KVORAField::setChannelValue(int32_t channel, double value, KVORA_ENV env) {
    KVORA_ASSERT(channel >= 1);
    ivChannelValues.autoExtend(channel, env);
    ivChannelValues[channel] = value;
}

double KVORAField::getChannelValue(int32_t channel) const {
    KVORA_ASSERT(channel >= 1 && channel <= ivChannelValues.getSize());
    return ivChannelValues[channel];
}

const KV2AscString &KVORAField::getTextValue() const {
    KVORA_ASSERT(!isMissing());
    return ivTextValue;
}

uint32_t KVORAField::foldHash(uint32_t running) const {
    if (ivFieldType == CategoricalType) return kvoraHashText(ivTextValue.c_str(), running);
    if (ivFieldType == NumericType) return kvoraHashReal(ivRealValue, running);
    kvoraAssertFail("ivFieldType == CategoricalType || ivFieldType == NumericType", KVORA_PLACE);
}
