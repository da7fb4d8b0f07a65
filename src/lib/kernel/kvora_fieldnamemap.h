// Field names to field objects, where fields from different sources meet:
// an object stream that refers to a field writes its name, and the reader
// turns the name back into the field through the map it carries under
// cvBackPtrName. The map holds no fields; it points at those of a data
// point, and is rebuilt whenever that data point is read anew.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_hashtable.h"
#include "util/kvora_keyword.h"
#include "util/kvora_object.h"

class KVORADataPoint;
class KVORAField;
class KVORAObjReader;
class KVORAObjWriter;

class KVORAFieldNameMap : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAFieldNameMap)
public:
    // The key under which a reader carries the map.
    static const KVORAHashString cvBackPtrName;

    void releasePrimitive(KVORA_ENV env) override;

    // Empties the map and enters every field of the data point.
    void fillFromDataPoint(const KVORADataPoint &dataPoint, KVORA_ENV env);
    // Enters or replaces one name; a null field leaves the name not taken.
    void setField(const KV2AscString &name, KVORAField *field, KVORA_ENV env);
    void clear(KVORA_ENV env);

    // The field of that name or null.
    KVORAField *findField(const KV2AscString &name) const;
    // The field of that name; an unknown name is a broken invariant.
    KVORAField *getFieldByName(const KV2AscString &name);
    const KVORAField *getFieldByName(const KV2AscString &name) const;
    // A name that no field holds yet: `name` itself when startIndex < 1 and
    // it is free, otherwise name_N from N = max(startIndex, 1) upward.
    KV2AscString makeUniqueName(const KV2AscString &name, int32_t startIndex, KVORA_ENV env) const;
    int32_t getCount() const { return static_cast<int32_t>(ivTable.getUsedCount()); }

    // A reference to a field on the streams: its name, or the empty name for
    // null. Reading resolves the name through the map that the reader carries.
    static void writeFieldReference(KVORAObjWriter &writer, const KVORAKeyword &keyword, const KVORAField *field,
                                    KVORA_ENV env);
    static bool readFieldReference(KVORAObjReader &reader, const KVORAKeyword &keyword, KVORAField *&field,
                                   KVORA_ENV env);

private:
    bool isTaken(const KVORAHashString &name) const;
    KVORAKeyValueXAshTable<KVORAHashString, KVORAField *> ivTable;
};
