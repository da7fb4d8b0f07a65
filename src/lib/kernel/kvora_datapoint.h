// The record: one set of named fields that every row of a scan is written
// into in place. Fields are owned here and found by name through an index
// built once, or by position from 1; per-row work (beginRecord, endRecord,
// the record hash) is plain loops over the owned fields, touching only the
// active ones when a sparse row listed them.
#pragma once

#include <cstdint>

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
    uint32_t getHashValue();

    // ---- members ----
    KVORAObjectIndexXAshTable<KVORAHashString> ivNameIndex;  // name -> position
    KVORAXaRay<KVORAOwnPtr<KVORAField>, 1> ivFields;
    KVORAXaRay<int32_t, 1> ivActiveFields;
    uint32_t ivHashValue = 0;
    int32_t ivHashValid = 0;

private:
    KVORAField *activeFieldAt(int32_t i) const;
    void rebuildNameIndex(KVORA_ENV env);
    // Shrinking an array keeps its block; no environment is needed for it.
    mutable KVORAEnv *ivNoEnv = nullptr;
};
