// Hashes of the system (bytes, reals, 32-bit keys, combination) and the
// open-addressed table that gives each key a stable position. The table's
// size is a power of two; each hash makes its own full-period linear
// congruential probe sequence, so keys with the same start slot part at once,
// and a probe never visits more slots than the longest probe so far. Lookup is
// inline and allocates nothing.
#pragma once

#include <cstdint>

#include "util/kvora_debug.h"
#include "util/kvora_env.h"
#include "util/kvora_xray.h"

// The final mix: f(r(f(r(f(h))))) with f(x) = 0xD1CCF6E9 - x * 1354167659 and
// r the rotation by 16 bits.
inline uint32_t kvoraHashMix(uint32_t x) { return 0xD1CCF6E9u - x * 1354167659u; }
inline uint32_t kvoraHashRotate(uint32_t x) { return (x << 16) | (x >> 16); }
inline uint32_t kvoraHashFinish(uint32_t h) {
    return kvoraHashMix(kvoraHashRotate(kvoraHashMix(kvoraHashRotate(kvoraHashMix(h)))));
}

// Hash of `length` bytes (read as signed) from `seed`.
uint32_t kvoraHashBytes(const void *data, uint32_t length, uint32_t seed);
// Hash of a zero-terminated text with a running value (the seed).
uint32_t kvoraHashText(const char *text, uint32_t running);
uint32_t kvoraHashCombine(uint32_t a, uint32_t b);
// Hash of a 32-bit key.
inline uint32_t kvoraHashLong(int32_t key) { return kvoraHashMix(static_cast<uint32_t>(key)); }
// Hash of a real with a running value.
uint32_t kvoraHashReal(double value, uint32_t running);

// One slot: the hash and the object index (0 never used, positive live,
// negated index for a removed entry).
struct KVORAXAshTableEntry {
    uint32_t ivHash;
    int32_t ivIndex;
};

// Key equality of the tables; a key type may overload it.
template <class K>
inline bool kvoraXAshKeyEqual(const K &a, const K &b) {
    return a == b;
}

constexpr int32_t kvoraXAshTableLimit = 0x40000000;

template <class K>
class KVORAObjectIndexXAshTable {
public:
    KVORAObjectIndexXAshTable() : ivHashTable(KVORA_PLACE), ivObjects(KVORA_PLACE) {}
    KVORAObjectIndexXAshTable(const KVORAObjectIndexXAshTable &) = delete;
    KVORAObjectIndexXAshTable &operator=(const KVORAObjectIndexXAshTable &) = delete;

    // The object index of the key, or 0.
    int32_t find(const K &key, uint32_t hash) const {
        const int32_t slot = lookup(key, hash);
        return slot < 0 ? 0 : ivHashTable[slot].ivIndex;
    }

    // The slot of the key, or -1.
    int32_t lookup(const K &key, uint32_t hash) const {
        if (ivUsedCount == 0 || ivLongestProbe < 1) return -1;
        uint32_t i = probeStart(hash);
        const uint32_t m = probeMultiplier(hash);
        const uint32_t a = probeAddend(hash);
        for (int32_t probe = 0; probe < ivLongestProbe; ++probe) {
            const KVORAXAshTableEntry &entry = ivHashTable[static_cast<int32_t>(i)];
            if (entry.ivIndex == 0) return -1;
            if (entry.ivIndex > 0 && entry.ivHash == hash && kvoraXAshKeyEqual(ivObjects[entry.ivIndex], key))
                return static_cast<int32_t>(i);
            i = (i * m + a) & ivMask;
        }
        return -1;
    }

    // Enters the key if needed; answers its object index.
    int32_t copyPut(const K &key, uint32_t hash, KVORA_ENV env) {
        const int32_t slot = findInsertionIndex(key, hash, env);
        KVORAXAshTableEntry &entry = ivHashTable[slot];
        if (entry.ivIndex > 0) return entry.ivIndex;
        const int32_t index = entry.ivIndex < 0 ? -entry.ivIndex : ivObjects.getSize() + 1;
        ivObjects.autoExtend(index, env);
        ivObjects[index] = key;
        entry.ivHash = hash;
        entry.ivIndex = index;
        ++ivUsedCount;
        return index;
    }

    void remove(int32_t index, KVORA_ENV env) {
        KVORA_ASSERT(index > 0 && index <= ivObjects.getSize());
        const int32_t size = ivHashTable.getSize();
        for (int32_t slot = 0; slot < size; ++slot) {
            KVORAXAshTableEntry &entry = ivHashTable[slot];
            if (entry.ivIndex != index) continue;
            kvoraXaRayCellReInit(&ivObjects[index]);
            entry.ivIndex = -index;
            --ivUsedCount;
            return;
        }
        KVORA_NEVER_HERE();
    }

    void reset(KVORA_ENV env) {
        ivHashTable.reset(env);
        ivObjects.reset(env);
        ivUsedCount = 0;
        ivFirstShift = 0;
        ivSecondShift = 0;
        ivMask = 0;
        ivMaxProbeLength = 0;
        ivLongestProbe = 0;
    }

    void calcHashParams(int32_t expected, KVORA_ENV env) {
        int32_t wanted = expected > ivObjects.getSize() ? expected : ivObjects.getSize();
        if (wanted > kvoraXAshTableLimit) wanted = kvoraXAshTableLimit;
        int32_t size = 2;
        ivFirstShift = 31;
        ivMaxProbeLength = 2;
        while (size < wanted) {
            size *= 2;
            --ivFirstShift;
            ++ivMaxProbeLength;
        }
        ivHashTable.reset(env);
        ivHashTable.setSize(size, env);
        if (ivObjects.getCapacity() < wanted) ivObjects.setCapacity(wanted, env);
        setDerivedParams(size);
    }

    // The slot where the key is or goes; grows the table when probes get long
    // in a table at least half full, or when it is full.
    int32_t findInsertionIndex(const K &key, uint32_t hash, KVORA_ENV env) {
        for (;;) {
            const int32_t size = ivHashTable.getSize();
            if (size == 0) {
                expandXAshTable(env);
                continue;
            }
            uint32_t i = probeStart(hash);
            const uint32_t m = probeMultiplier(hash);
            const uint32_t a = probeAddend(hash);
            for (int32_t probe = 0; probe < ivLongestProbe; ++probe) {
                const KVORAXAshTableEntry &entry = ivHashTable[static_cast<int32_t>(i)];
                if (entry.ivIndex < 1) return static_cast<int32_t>(i);
                if (entry.ivHash == hash && kvoraXAshKeyEqual(ivObjects[entry.ivIndex], key))
                    return static_cast<int32_t>(i);
                i = (i * m + a) & ivMask;
            }
            if (ivUsedCount >= static_cast<uint32_t>(size)) {
                expandXAshTable(env);
                continue;
            }
            int32_t count = ivLongestProbe;
            for (;;) {
                ++count;
                if (ivHashTable[static_cast<int32_t>(i)].ivIndex < 1) break;
                // The sequence has full period: a free slot comes within one round.
                if (count > ivLongestProbe + size) KVORA_NEVER_HERE();
                i = (i * m + a) & ivMask;
            }
            if (count > ivMaxProbeLength && ivUsedCount >= static_cast<uint32_t>(size / 2)) {
                expandXAshTable(env);
                continue;
            }
            ivLongestProbe = count;
            return static_cast<int32_t>(i);
        }
    }

    void expandXAshTable(KVORA_ENV env) {
        if (ivHashTable.getSize() == 0) {
            calcHashParams(0, env);
            return;
        }
        KVORAXaRay<KVORAXAshTableEntry, 0> oldHTable(KVORA_PLACE);
        oldHTable.transferFrom(ivHashTable, env);
        if (!(oldHTable.getSize() < 0x40000000L)) {
            oldHTable.reset(env);
            kvoraAssertFail("oldHTable.getSize() < 0x40000000L", KVORA_PLACE);
        }
        const int32_t size = oldHTable.getSize() * 2;
        ivHashTable.setSize(size, env);
        --ivFirstShift;
        ++ivMaxProbeLength;
        setDerivedParams(size);
        const int32_t oldSize = oldHTable.getSize();
        for (int32_t slot = 0; slot < oldSize; ++slot)
            if (oldHTable[slot].ivIndex > 0) reHash(oldHTable[slot]);
        for (int32_t slot = 0; slot < oldSize; ++slot)
            if (oldHTable[slot].ivIndex < 0) reHash(oldHTable[slot]);
        oldHTable.reset(env);
    }

    // Enters one old slot at the first never-used slot of its sequence.
    void reHash(const KVORAXAshTableEntry &old) {
        uint32_t i = probeStart(old.ivHash);
        const uint32_t m = probeMultiplier(old.ivHash);
        const uint32_t a = probeAddend(old.ivHash);
        int32_t visited = 1;
        while (ivHashTable[static_cast<int32_t>(i)].ivIndex != 0) {
            i = (i * m + a) & ivMask;
            ++visited;
            if (visited > ivHashTable.getSize()) KVORA_NEVER_HERE();
        }
        ivHashTable[static_cast<int32_t>(i)] = old;
        if (visited > ivLongestProbe) ivLongestProbe = visited;
    }

    // Probe sequence of a hash.
    uint32_t probeStart(uint32_t hash) const { return (hash >> ivFirstShift) & ivMask; }
    uint32_t probeMultiplier(uint32_t hash) const {
        return (((hash >> ivSecondShift) & ~static_cast<uint32_t>(2)) | 5u) & ivMask;
    }
    uint32_t probeAddend(uint32_t hash) const { return (2u * hash + 1u) & ivMask; }

    const K &getKey(int32_t index) const { return ivObjects[index]; }
    int32_t getObjectCount() const { return ivObjects.getSize(); }
    uint32_t getUsedCount() const { return ivUsedCount; }
    int32_t getTableSize() const { return ivHashTable.getSize(); }
    const KVORAXAshTableEntry &getEntry(int32_t slot) const { return ivHashTable[slot]; }
    int32_t getFirstShift() const { return ivFirstShift; }
    int32_t getSecondShift() const { return ivSecondShift; }
    uint32_t getMask() const { return ivMask; }
    int32_t getMaxProbeLength() const { return ivMaxProbeLength; }
    int32_t getLongestProbe() const { return ivLongestProbe; }

protected:
    void setDerivedParams(int32_t size) {
        ivSecondShift = ivFirstShift < 5 ? 0 : ivFirstShift / 2 - 2;
        ivMask = static_cast<uint32_t>(size) - 1u;
        ivLongestProbe = 0;
    }

    KVORAXaRay<KVORAXAshTableEntry, 0> ivHashTable;
    KVORAXaRay<K, 1> ivObjects;
    uint32_t ivUsedCount = 0;
    int32_t ivFirstShift = 0;
    int32_t ivSecondShift = 0;
    uint32_t ivMask = 0;
    int32_t ivMaxProbeLength = 0;
    int32_t ivLongestProbe = 0;
};
