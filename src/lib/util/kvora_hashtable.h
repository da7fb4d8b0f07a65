// The key-value table: the object-index table with a parallel array of
// values by the same object index. Used for run-wide objects by class and for
// the thread table of the environments.
#pragma once

#include "util/kvora_xash.h"

template <class K, class V>
class KVORAKeyValueXAshTable : public KVORAObjectIndexXAshTable<K> {
    using Base = KVORAObjectIndexXAshTable<K>;

public:
    KVORAKeyValueXAshTable() : ivValues(KVORA_PLACE) {}

    // Enters the key if needed and stores the value; answers the object index.
    int32_t put(const K &key, uint32_t hash, const V &value, KVORA_ENV env) {
        const int32_t index = Base::copyPut(key, hash, env);
        ivValues.autoExtend(index, env);
        ivValues[index] = value;
        return index;
    }

    // The value of the key, or null when absent (for pointer values), or a
    // default value.
    V findValue(const K &key, uint32_t hash) const {
        const int32_t index = Base::find(key, hash);
        return index > 0 && index <= ivValues.getSize() ? ivValues[index] : V();
    }

    V &getValue(int32_t index) { return ivValues[index]; }
    const V &getValue(int32_t index) const { return ivValues[index]; }

    void remove(int32_t index, KVORA_ENV env) {
        Base::remove(index, env);
        if (index <= ivValues.getSize()) kvoraXaRayCellReInit(&ivValues[index]);
    }

    void reset(KVORA_ENV env) {
        Base::reset(env);
        ivValues.reset(env);
    }

private:
    KVORAXaRay<V, 1> ivValues;
};
