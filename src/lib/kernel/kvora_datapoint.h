// The record: one set of named fields that every row of a scan is written
// into in place. Fields are owned here and found by name through an index
// built once, or by position from 1; per-row work (beginRecord, endRecord,
// the record hash) is plain loops over the owned fields, touching only the
// active ones when a sparse row listed them. The record hash is made only
// when a field will take it: most runs learn no distribution, and the hash
// would otherwise be the dearest part of a row.
#pragma once

#include <cstdint>
#include <vector>

#include "kernel/kvora_field.h"
#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_xash.h"
#include "util/kvora_xray.h"

class KVORADataPoint : public KVORAObject {
    KVORA_OBJECT_DECL(KVORADataPoint)
public:
    KVORADataPoint();

    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // Takes ownership of a field already on the memory account. A new name
    // goes to the end and answers 1; a name already there destroys `field`
    // at once and answers 0.
    int32_t addField(KVORAField *field, KVORA_ENV env);
    template <class T>
    int32_t addField(KVORAOwnPtr<T> &owner, KVORA_ENV env) {
        return addField(static_cast<KVORAField *>(owner.transfer()), env);
    }

    // The field of that name, or null.
    KVORAField *getField(const KVORAHashString &name) const;
    KVORAField *getField(const KV2AscString &name) const;
    KVORAField *getField(const char *name) const;
    // Position from 1 of the field of that name, or 0.
    int32_t getFieldIndex(const KVORAHashString &name) const;
    int32_t getFieldCount() const { return ivFields.getSize(); }
    KVORAField *getFieldAt(int32_t index) const { return ivFields[index].get(); }

    // The active fields: 0-based column indexes (field index minus 1), in the
    // order of arrival. Empty means every field.
    void clearActiveFields() { ivActiveFields.setSize(0, ivNoEnv); }
    void addActiveField(int32_t columnIndex, KVORA_ENV env);
    int32_t getActiveFieldCount() const { return ivActiveFields.getSize(); }
    int32_t getActiveField(int32_t i) const { return ivActiveFields[i]; }

    void beginRecord();
    void endRecord(KVORA_ENV env);
    // Whether a record does nothing to the fields but clear and set their
    // values: no list of active fields, every field of the two plain
    // classes, none taking records into a distribution.
    bool recordsOnlySetValues() const;
    uint32_t getHashValue();

    // ---- members ----
    KVORAObjectIndexXAshTable<KVORAHashString> ivNameIndex;  // name -> position
    KVORAXaRay<KVORAOwnPtr<KVORAField>, 1> ivFields;
    KVORAXaRay<int32_t, 1> ivActiveFields;
    uint32_t ivHashValue = 0;
    int32_t ivHashValid = 0;

private:
    // A field as the per-row loops see it. `known` is set when its class is
    // one of the two field classes, whose record-begin hook does nothing and
    // which take a row into a distribution only under the sample flag; a
    // field of any other class gets both virtual calls on every row.
    struct Slot {
        KVORAField *field;
        int32_t known;
    };
    const Slot &activeSlotAt(int32_t i) const { return ivSlots[static_cast<size_t>(ivActiveFields[i])]; }
    // Makes ivSlots follow ivFields; called wherever the fields change.
    void refreshSlots();
    // Without its sample flag a field of the two classes takes nothing.
    static bool takesRecord(const Slot &slot) { return slot.known == 0 || slot.field->ivSampleFlag != 0; }
    // The record into the distributions of the fields that take it; kept
    // out of endRecord so that the usual case stays a loop without calls.
    [[gnu::noinline]] void passRecord(KVORA_ENV env);
    void beginField(const Slot &slot) {
        slot.field->setPresent(0);
        if (slot.known == 0) slot.field->onRecordBegin();
    }
    void rebuildNameIndex(KVORA_ENV env);

    std::vector<Slot> ivSlots;
    // Shrinking an array keeps its block; no environment is needed for it.
    mutable KVORAEnv *ivNoEnv = nullptr;
};
