// The name-to-field table of the streams' back references, and the unique
// naming of fields.
#include "kernel/kvora_fieldnamemap.h"

#include <cstdio>

#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_field.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAFieldNameMap, KVORAObject, 0)

const KVORAHashString KVORAFieldNameMap::cvBackPtrName("KVORAFieldNameMap");

void KVORAFieldNameMap::releasePrimitive(KVORA_ENV env) {
    ivTable.reset(env);
    KVORAObject::releasePrimitive(env);
}

void KVORAFieldNameMap::clear(KVORA_ENV env) { ivTable.reset(env); }

void KVORAFieldNameMap::fillFromDataPoint(const KVORADataPoint &dataPoint, KVORA_ENV env) {
    ivTable.reset(env);
    const int32_t n = dataPoint.getFieldCount();
    for (int32_t i = 1; i <= n; ++i) {
        KVORAField *field = dataPoint.getFieldAt(i);
        if (field != nullptr) setField(field->getName(), field, env);
    }
}

void KVORAFieldNameMap::setField(const KV2AscString &name, KVORAField *field, KVORA_ENV env) {
    const KVORAHashString key(name);
    ivTable.put(key, key.getHash(), field, env);
}

KVORAField *KVORAFieldNameMap::findField(const KV2AscString &name) const {
    const KVORAHashString key(name);
    return ivTable.findValue(key, key.getHash());
}

KVORAField *KVORAFieldNameMap::getFieldByName(const KV2AscString &name) {
    KVORAField *ptr = findField(name);
    if (ptr == 0) kvoraAssertFailCause("ptr != 0", "No field with specified name", KVORA_PLACE);
    return ptr;
}

const KVORAField *KVORAFieldNameMap::getFieldByName(const KV2AscString &name) const {
    const KVORAField *ptr = findField(name);
    if (ptr == 0) kvoraAssertFailCause("ptr != 0", "No field with specified name", KVORA_PLACE);
    return ptr;
}

bool KVORAFieldNameMap::isTaken(const KVORAHashString &name) const {
    return ivTable.findValue(name, name.getHash()) != nullptr;
}

KV2AscString KVORAFieldNameMap::makeUniqueName(const KV2AscString &name, int32_t startIndex, KVORA_ENV env) const {
    int32_t number = startIndex;
    if (startIndex < 1) {
        if (!isTaken(KVORAHashString(name))) return name;
        number = 1;
    }
    for (;;) {
        if (number >= 1000000)
            kvoraAssertFailCause("number < 1000000", "Internal suffix limit exceeded in makeUniqueName", KVORA_PLACE);
        char suffix[16];
        std::snprintf(suffix, sizeof suffix, "_%d", static_cast<int>(number));
        KVORAHashString candidate(name);
        candidate += suffix;
        if (!isTaken(candidate)) return KV2AscString(candidate);
        ++number;
    }
}

void KVORAFieldNameMap::writeFieldReference(KVORAObjWriter &writer, const KVORAKeyword &keyword,
                                            const KVORAField *field, KVORA_ENV env) {
    writer.writeKeyword(keyword, env);
    if (field == nullptr) {
        writer.writeString(KV2AscString(), env);
        return;
    }
    writer.writeString(field->getName(), env);
}

bool KVORAFieldNameMap::readFieldReference(KVORAObjReader &reader, const KVORAKeyword &keyword, KVORAField *&field,
                                           KVORA_ENV env) {
    KV2AscString name;
    if (!kvoraRead(reader, keyword, name, env)) return false;
    if (name.size() == 0) {
        field = nullptr;
        return true;
    }
    KVORAFieldNameMap *map = static_cast<KVORAFieldNameMap *>(reader.findBackPointer(cvBackPtrName));
    KVORA_ASSERT_CAUSE(map != 0, "A field reference can only be read with a field name map attached");
    field = map->getFieldByName(name);
    return true;
}
