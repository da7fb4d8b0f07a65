// The type registry: name to index and index to type. It is filled before
// main by the classes' registrations, never changes after, and is never freed.
// It is built at first use from plain storage, outside any environment, so
// that it works during static initialisation whatever order the translation
// units come in. Names are found through an open-addressed table keyed by the
// hash of the name.
#include "util/kvora_typename.h"

#include <cstring>

#include "kvo/kv2ustra.h"
#include "util/kvora_debug.h"
#include "util/kvora_xash.h"

// The name of a type as a hashed string; the hash is the name's kvoraHashBytes.
class KVORATypeNameAux {
public:
    explicit KVORATypeNameAux(const char *name) : ivName(name), ivHash(ivName.getHash()) {}
    KVORAHashString ivName;
    uint32_t ivHash;
};

namespace {

struct KVORATypeRegistry {
    KVORATypeNameAux **names = nullptr;  // by index, from 1
    KVORATypeName **types = nullptr;     // by index, from 1: the first registration
    int32_t count = 0;
    int32_t capacity = 0;
    int32_t *slots = nullptr;            // open-addressed: index or 0
    uint32_t slotMask = 0;

    // Slot of a name, or the empty slot where it would go.
    uint32_t probe(const char *name, uint32_t length, uint32_t hash) const {
        uint32_t i = hash & slotMask;
        while (slots[i] != 0) {
            const KVORATypeNameAux *aux = names[slots[i]];
            if (aux->ivHash == hash && aux->ivName.size() == length && memcmp(aux->ivName.c_str(), name, length) == 0) {
                return i;
            }
            i = (i + 1) & slotMask;
        }
        return i;
    }

    void grow() {
        int32_t newCapacity = capacity < 64 ? 64 : capacity * 2;
        KVORATypeNameAux **newNames = new KVORATypeNameAux *[newCapacity + 1]();
        KVORATypeName **newTypes = new KVORATypeName *[newCapacity + 1]();
        for (int32_t i = 1; i <= count; ++i) {
            newNames[i] = names[i];
            newTypes[i] = types[i];
        }
        delete[] names;
        delete[] types;
        names = newNames;
        types = newTypes;
        capacity = newCapacity;
        // Twice as many slots as names keeps probes short.
        uint32_t slotCount = static_cast<uint32_t>(newCapacity) * 2;
        delete[] slots;
        slots = new int32_t[slotCount]();
        slotMask = slotCount - 1;
        for (int32_t i = 1; i <= count; ++i) {
            const KVORATypeNameAux *aux = names[i];
            slots[probe(aux->ivName.c_str(), aux->ivName.size(), aux->ivHash)] = i;
        }
    }

    int32_t find(const char *name, uint32_t length) const {
        if (count == 0 || length == 0) {
            return 0;
        }
        uint32_t hash = kvoraHashBytes(name, length, 0);
        return slots[probe(name, length, hash)];
    }

    // Enters a name if new; answers its index.
    int32_t put(KVORATypeNameAux *aux) {
        if (count + 1 > capacity) {
            grow();
        }
        uint32_t slot = probe(aux->ivName.c_str(), aux->ivName.size(), aux->ivHash);
        if (slots[slot] != 0) {
            return slots[slot];
        }
        ++count;
        names[count] = aux;
        slots[slot] = count;
        return count;
    }
};

KVORATypeRegistry &registry()
{
    static KVORATypeRegistry theRegistry;
    return theRegistry;
}

}  // namespace

KVORATypeName::KVORATypeName(const char *name, KVORAFactoryFunc factory)
    : ivName(name), ivFactoryFunc(factory), ivIndex(0), ivRegistered(1), ivAux(nullptr)
{
    KVORAEnv *env = nullptr;
    transferString(env);
    loadTypeName(env);
}

KVORATypeName::KVORATypeName(const char *name)
    : ivName(name), ivFactoryFunc(nullptr), ivIndex(0), ivRegistered(0), ivAux(nullptr)
{
    KVORAEnv *env = nullptr;
    transferString(env);
    loadTypeName(env);
}

void KVORATypeName::transferString(KVORA_ENV env)
{
    ivAux = new KVORATypeNameAux(ivName != nullptr ? ivName : "");
}

void KVORATypeName::loadTypeName(KVORA_ENV env)
{
    if (ivAux->ivName.size() == 0) {
        return;
    }
    KVORATypeRegistry &reg = registry();
    int32_t index = reg.put(ivAux);
    if (index > 0) {
        if (reg.types[index] == nullptr) {
            reg.types[index] = this;  // the first registration stays
        }
        ivIndex = index;
    }
}

const KV2AscString &KVORATypeName::getNameString() const
{
    return ivAux->ivName;
}

uint32_t KVORATypeName::getNameHash() const
{
    return ivAux->ivHash;
}

void KVORATypeName::newInstance(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) const
{
    KVORA_ASSERT(ivFactoryFunc != 0);
    ivFactoryFunc(result, env);
}

int32_t KVORATypeName::getIndex(const char *name)
{
    if (name == nullptr) {
        return 0;
    }
    return registry().find(name, static_cast<uint32_t>(strlen(name)));
}

int32_t KVORATypeName::getIndex(const char *name, int32_t length)
{
    if (name == nullptr || length < 1) {
        return 0;
    }
    return registry().find(name, static_cast<uint32_t>(length));
}

KVORATypeName *KVORATypeName::getTypeAt(int32_t index)
{
    KVORATypeRegistry &reg = registry();
    if (index < 1 || index > reg.count) {
        return nullptr;
    }
    return reg.types[index];
}

int32_t KVORATypeName::getRegisteredCount()
{
    return registry().count;
}
