// The record of named fields: ownership and name index of the fields, the
// per-record begin and end, and the record hash.
#include "kernel/kvora_datapoint.h"

#include <typeinfo>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_numfield.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORADataPoint, KVORAObject, 1)
KVORA_MEMBER_KEYWORD(KVORADataPoint, ivFields, 1)

KVORADataPoint::KVORADataPoint() : ivFields(KVORA_PLACE), ivActiveFields(KVORA_PLACE) {}

void KVORADataPoint::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivFields), ivFields, env);
}

void KVORADataPoint::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAObject::postReadPrimitive(reader, env);
    rebuildNameIndex(env);
}

void KVORADataPoint::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivFields), ivFields, env);
}

void KVORADataPoint::releasePrimitive(KVORA_ENV env) {
    const int32_t n = ivFields.getSize();
    for (int32_t i = 1; i <= n; ++i) ivFields[i].reset(env);
    ivFields.reset(env);
    ivActiveFields.reset(env);
    ivNameIndex.reset(env);
    ivSlots.clear();
    ivHashValue = 0;
    ivHashValid = 0;
    KVORAObject::releasePrimitive(env);
}

void KVORADataPoint::rebuildNameIndex(KVORA_ENV env) {
    // Positions in the index are the order of entry, so they match ivFields
    // as long as no name comes twice.
    ivNameIndex.reset(env);
    const int32_t n = ivFields.getSize();
    for (int32_t i = 1; i <= n; ++i) {
        KVORAField *field = ivFields[i].get();
        KVORA_ASSERT(field != 0);
        const KVORAHashString name(field->getName());
        const int32_t index = ivNameIndex.copyPut(name, name.getHash(), env);
        KVORA_ASSERT_CAUSE(index == i, "Two fields of the data point have the same name");
    }
    refreshSlots();
}

void KVORADataPoint::refreshSlots() {
    const int32_t n = ivFields.getSize();
    ivSlots.resize(static_cast<size_t>(n));
    for (int32_t i = 1; i <= n; ++i) {
        KVORAField *field = ivFields[i].get();
        // The exact class, not a kind: a subclass may give the hooks work.
        const bool known =
            field != nullptr && (typeid(*field) == typeid(KVORANumField) || typeid(*field) == typeid(KVORACatField));
        ivSlots[static_cast<size_t>(i - 1)] = Slot{field, known ? 1 : 0};
    }
}

int32_t KVORADataPoint::addField(KVORAField *field, KVORA_ENV env) {
    KVORA_ASSERT(field != 0);
    const KVORAHashString name(field->getName());
    if (ivNameIndex.find(name, name.getHash()) > 0) {
        kvoraDestroyObject(field, env);
        return 0;
    }
    const int32_t index = ivNameIndex.copyPut(name, name.getHash(), env);
    ivFields.autoExtend(index, env);
    ivFields[index].reset(field, env);
    refreshSlots();
    return 1;
}

int32_t KVORADataPoint::getFieldIndex(const KVORAHashString &name) const {
    return ivNameIndex.find(name, name.getHash());
}

KVORAField *KVORADataPoint::getField(const KVORAHashString &name) const {
    const int32_t index = getFieldIndex(name);
    return index > 0 && index <= ivFields.getSize() ? ivFields[index].get() : nullptr;
}

KVORAField *KVORADataPoint::getField(const KV2AscString &name) const { return getField(KVORAHashString(name)); }

KVORAField *KVORADataPoint::getField(const char *name) const { return getField(KVORAHashString(name)); }

void KVORADataPoint::addActiveField(int32_t columnIndex, KVORA_ENV env) {
    KVORA_ASSERT(columnIndex >= 0 && columnIndex < ivFields.getSize());
    const int32_t n = ivActiveFields.getSize() + 1;
    ivActiveFields.autoExtend(n, env);
    ivActiveFields[n] = columnIndex;
}

void KVORADataPoint::beginRecord() {
    ivHashValid = 0;
    ivHashValue = 0;
    const int32_t active = ivActiveFields.getSize();
    if (active == 0) {
        for (const Slot &slot : ivSlots) beginField(slot);
        return;
    }
    for (int32_t i = 1; i <= active; ++i) beginField(activeSlotAt(i));
}

void KVORADataPoint::endRecord(KVORA_ENV env) {
    // A first loop without calls, since mostly no field takes the record.
    const int32_t active = ivActiveFields.getSize();
    if (active == 0) {
        for (const Slot &slot : ivSlots) {
            if (takesRecord(slot)) {
                passRecord(env);
                return;
            }
        }
        return;
    }
    for (int32_t i = 1; i <= active; ++i) {
        if (takesRecord(activeSlotAt(i))) {
            passRecord(env);
            return;
        }
    }
}

bool KVORADataPoint::recordsOnlySetValues() const {
    if (ivActiveFields.getSize() != 0) return false;
    for (const Slot &slot : ivSlots)
        if (takesRecord(slot)) return false;
    return true;
}

void KVORADataPoint::passRecord(KVORA_ENV env) {
    const int32_t active = ivActiveFields.getSize();
    const int32_t n = active == 0 ? static_cast<int32_t>(ivSlots.size()) : active;
    for (int32_t i = 0; i < n; ++i) {
        const Slot &slot = active == 0 ? ivSlots[static_cast<size_t>(i)] : activeSlotAt(i + 1);
        if (takesRecord(slot)) slot.field->addToDistribution(getHashValue(), env);
    }
}

uint32_t KVORADataPoint::getHashValue() {
    if (ivHashValid != 0) return ivHashValue;
    uint32_t running = 0;
    const int32_t active = ivActiveFields.getSize();
    const int32_t n = active == 0 ? static_cast<int32_t>(ivSlots.size()) : active;
    for (int32_t i = 0; i < n; ++i) {
        const KVORAField *field = active == 0 ? ivSlots[static_cast<size_t>(i)].field : activeSlotAt(i + 1).field;
        // Computed fields and fields without a value of this row leave no trace.
        if (field->ivComputed != 0 || field->ivPresent == 0 || field->ivMissing != 0) continue;
        running = field->foldHash(running);
    }
    ivHashValue = kvoraHashFinish(running);
    ivHashValid = 1;
    return ivHashValue;
}
