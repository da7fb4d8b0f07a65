// The abstract writer of the object streams: keywords and values in one
// self-describing sequence. The binary and the ASCII formats implement the
// virtual operations; the structure (owned objects, objects by value, arrays)
// is built from them by the typed kvoraWrite functions of util/kvora_objio.h.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_keyword.h"

class KVORAObject;

class KVORAObjWriter {
public:
    int32_t ivGood;  // 0 after a stream failure
    int32_t ivMode;  // 0 distribution to a worker, 1 plain dump, 2 scan results
    int32_t ivDepth; // nesting; indentation in ASCII

    explicit KVORAObjWriter(int32_t mode) : ivGood(1), ivMode(mode), ivDepth(0) {}
    virtual ~KVORAObjWriter() {}

    virtual void flush() {}
    virtual void writeKeyword(const KVORAKeyword &keyword, KVORA_ENV env) = 0;
    virtual void writeBool(bool value, KVORA_ENV env) = 0;
    virtual void writeChar(char value, KVORA_ENV env) = 0;
    virtual void writeString(const KV2AscString &value, KVORA_ENV env) = 0;
    virtual void writeUnsigned(uint64_t value, KVORA_ENV env) = 0;
    virtual void writeSigned(int64_t value, KVORA_ENV env) = 0;
    virtual void writeReal(double value, KVORA_ENV env) = 0;
    // The elements of an array, as that many writeUnsigned or writeReal.
    virtual void writeUnsigneds(const uint64_t *values, int32_t count, KVORA_ENV env);
    virtual void writeReals(const double *values, int32_t count, KVORA_ENV env);
    virtual void beginObjectType(const KV2AscString &typeName, KVORA_ENV env) = 0;
    virtual void beginObject(KVORA_ENV env) = 0;
    virtual void beginArray(int32_t size, KVORA_ENV env) = 0;

    int32_t getMode() const { return ivMode; }
    int32_t isGood() const { return ivGood; }

    // An object through an owner: its type name, members and EndObject; a
    // null object is the empty type name alone.
    void writeOwnedObject(const KVORAObject *object, KVORA_ENV env);
    // An object embedded as a value: BeginObject, members, EndObject.
    void writeObjectByValue(const KVORAObject &object, KVORA_ENV env);
};
