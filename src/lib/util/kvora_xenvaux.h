// The object table of an environment: the run-wide objects of each class,
// keyed by the class's name. Class names are texts that live for the whole
// run, so the key holds only the pointer and compares by bytes.
#pragma once

#include <cstring>

#include "util/kvora_env.h"
#include "util/kvora_hashtable.h"

struct KVORAEnvAuxKey {
    const char *name = nullptr;
};

inline bool operator==(const KVORAEnvAuxKey &a, const KVORAEnvAuxKey &b) {
    if (a.name == b.name) return true;
    if (a.name == nullptr || b.name == nullptr) return false;
    return std::strcmp(a.name, b.name) == 0;
}

class KVORAEnvAux {
public:
    KVORAEnvAux() = default;

    // The object entered under the class name, or null.
    KVORAObject *find(const char *key) const;
    void put(const char *key, KVORAObject *object, KVORA_ENV env);
    // Empties the table. The objects stay alive: they belong to the run.
    void reset(KVORA_ENV env);
    uint32_t getCount() const { return ivTable.getUsedCount(); }

private:
    KVORAKeyValueXAshTable<KVORAEnvAuxKey, KVORAObject *> ivTable;
};
