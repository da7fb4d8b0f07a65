// The registered type of a persistent class: its name, a factory that makes a
// new default object, and a stable index from 1 in order of first
// registration. The object streams carry names, never indexes, so the order
// of registration does not matter. Registration happens once per class, from
// a guarded function that both the static initialisers and getObjectType()
// call, so the order of static initialisation does not matter either.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"

template <class T> class KVORAOwnPtr;
class KVORAObject;
class KVORATypeNameAux;
class KV2AscString;

// Makes a new default object of a class under the owner `result`.
typedef void (*KVORAFactoryFunc)(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env);

class KVORATypeName {
public:
    const char *ivName;            // the class's name, a text that lives for the run
    KVORAFactoryFunc ivFactoryFunc; // null for a type that cannot be made by name
    int32_t ivIndex;               // 0 if not registered
    int32_t ivRegistered;          // 1 with a factory, 0 without
    KVORATypeNameAux *ivAux;       // the name as hashed string; never freed

    KVORATypeName(const char *name, KVORAFactoryFunc factory);
    explicit KVORATypeName(const char *name);
    KVORATypeName(const KVORATypeName &) = delete;
    KVORATypeName &operator=(const KVORATypeName &) = delete;

    const char *getName() const { return ivName; }
    int32_t getIndex() const { return ivIndex; }
    // The name as a string, kept by the registry for the run.
    const KV2AscString &getNameString() const;
    // The 32-bit hash of the name: stable across processes of one program.
    uint32_t getNameHash() const;

    // Makes a new object by the factory; "ivFactoryFunc != 0" without one.
    void newInstance(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) const;

    bool operator==(const KVORATypeName &other) const { return ivIndex == other.ivIndex; }
    bool operator!=(const KVORATypeName &other) const { return ivIndex != other.ivIndex; }

    // Index of a name; 0 for an empty or unknown name.
    static int32_t getIndex(const char *name);
    static int32_t getIndex(const char *name, int32_t length);
    // The type registered first at an index; null outside the registry.
    static KVORATypeName *getTypeAt(int32_t index);
    // The number of registered names.
    static int32_t getRegisteredCount();

private:
    void loadTypeName(KVORA_ENV env);
    void transferString(KVORA_ENV env);
};
