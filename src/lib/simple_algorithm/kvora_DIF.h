// The diffusion algorithm's data object: energy starts at seed nodes of a
// weighted caller/callee matrix and spreads along its edges, pass after pass,
// until the largest change of a node's energy settles.
//
// Every sum lives in two forms: a node map (node numbers and values in sorted
// arrays, filled in a pass through a table keyed by node, since records come
// in any order) and a pair of one-based arrays, values and ascending node
// numbers, between passes and on the wire. Only the arrays of the present
// phase cross between processes; the maps stay where they were built. The
// memory of either form grows with the nodes reached, never with the records.
// The implementation is split over several source files by subject: object
// base and messages (kvora_DIF.cpp), parameters and seed file (_open), the row
// scan (_scan), the passes and merges (_iteration), and the results (_output).
#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "kvo/kv2ustra.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_env.h"
#include "util/kvora_largepages.h"
#include "util/kvora_xray.h"

class KVORAXMLTag;

// A sum per node where the algorithm speaks of an ordered map: node numbers
// ascending in one array, their values in a parallel one. Only the order of
// a walk over such a map is ever observable, and two sorted arrays walk in
// that order with no tree to search and 12 to 16 bytes an entry. Arrays
// coming in (from a message, from the seed file) are folded in by a linear
// merge; those that are not ascending are put in order first, a stable sort
// that keeps each node's values in the order of the array.
template <class V>
class KVORADIFNodeMap {
public:
    typedef std::pair<uint64_t, V> Entry;

    KVORADIFNodeMap() = default;
    KVORADIFNodeMap(std::initializer_list<Entry> entries)
    {
        for (const Entry &entry : entries) (*this)[entry.first] = entry.second;
    }

    size_t size() const { return ivKeys.size(); }
    bool empty() const { return ivKeys.empty(); }
    uint64_t key(size_t i) const { return ivKeys[i]; }
    V &value(size_t i) { return ivValues[i]; }
    const V &value(size_t i) const { return ivValues[i]; }
    // Empties the map and gives its memory back.
    void clear()
    {
        std::vector<uint64_t>().swap(ivKeys);
        std::vector<V>().swap(ivValues);
    }
    // The position of the first key not below `key`, searched from `from`.
    size_t lowerBound(uint64_t key, size_t from = 0) const
    {
        return static_cast<size_t>(std::lower_bound(ivKeys.begin() + from, ivKeys.end(), key) - ivKeys.begin());
    }
    // lowerBound(key) for a key met after the one found at `from`: keys
    // that come in ascending order are mostly a few steps on, so those steps
    // are tried before a search.
    size_t seek(uint64_t key, size_t from) const
    {
        const size_t n = ivKeys.size();
        if (from > n) from = n;
        if (from > 0 && !(ivKeys[from - 1] < key)) return lowerBound(key);
        const size_t near = std::min(n, from + 8);
        for (size_t at = from; at < near; ++at)
            if (!(ivKeys[at] < key)) return at;
        return lowerBound(key, near);
    }
    bool holds(size_t at, uint64_t key) const { return at < ivKeys.size() && ivKeys[at] == key; }
    // What op makes of a value folded into a new entry (0.0 + -0.0 is 0.0).
    template <class Op>
    static V newEntry(Op op, const V &value)
    {
        V sum = V();
        op(sum, value);
        return sum;
    }
    // The map becomes the given arrays, whose keys must ascend without
    // repeats; the arrays are left empty.
    void adopt(std::vector<uint64_t> &keys, std::vector<V> &values)
    {
        ivKeys.swap(keys);
        ivValues.swap(values);
        std::vector<uint64_t>().swap(keys);
        std::vector<V>().swap(values);
    }
    // The position of the key's entry, created with V() where it belongs when
    // missing. A key above the last is appended; another new key costs a
    // shift of the entries behind it, which only rare keys may pay.
    size_t entryAt(uint64_t key)
    {
        if (ivKeys.empty() || ivKeys.back() < key) {
            ivKeys.push_back(key);
            ivValues.push_back(V());
            return ivKeys.size() - 1;
        }
        const size_t at = lowerBound(key);
        if (!holds(at, key)) {
            ivKeys.insert(ivKeys.begin() + at, key);
            ivValues.insert(ivValues.begin() + at, V());
        }
        return at;
    }
    V &operator[](uint64_t key) { return ivValues[entryAt(key)]; }
    bool operator==(const KVORADIFNodeMap &other) const
    {
        return ivKeys == other.ivKeys && ivValues == other.ivValues;
    }

    // Folds `count` entries into the map, as if `op(map[key], value)` ran
    // for each in the source's order; `keyAt(j)` and `valueAt(j)` give entry
    // j, from 0. One walk over both, the map's new arrays sized exactly.
    template <class KeyAt, class ValueAt, class Op>
    void fold(size_t count, KeyAt keyAt, ValueAt valueAt, Op op)
    {
        std::vector<size_t> order;
        bool ascending = true;
        bool strictly = true;
        for (size_t j = 1; j < count && ascending; ++j) {
            ascending = !(keyAt(j) < keyAt(j - 1));
            strictly = strictly && keyAt(j - 1) < keyAt(j);
        }
        if (ivKeys.empty() && ascending && strictly) {
            // Into an empty map without repeats: each entry is op on a new
            // entry, with no merge walk.
            std::vector<uint64_t> keys(count);
            std::vector<V> values(count);
            for (size_t j = 0; j < count; ++j) {
                keys[j] = keyAt(j);
                values[j] = newEntry(op, valueAt(j));
            }
            adopt(keys, values);
            return;
        }
        if (!ascending) {
            order.resize(count);
            for (size_t j = 0; j < count; ++j) order[j] = j;
            std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) { return keyAt(a) < keyAt(b); });
        }
        auto at = [&](size_t j) { return ascending ? j : order[j]; };
        // First the size of the union, then the walk that fills it.
        size_t total = 0;
        for (size_t i = 0, j = 0; i < ivKeys.size() || j < count; ++total) {
            if (j == count || (i < ivKeys.size() && ivKeys[i] < keyAt(at(j)))) {
                ++i;
                continue;
            }
            const uint64_t key = keyAt(at(j));
            if (i < ivKeys.size() && ivKeys[i] == key) ++i;
            while (j < count && keyAt(at(j)) == key) ++j;
        }
        std::vector<uint64_t> keys;
        std::vector<V> values;
        keys.reserve(total);
        values.reserve(total);
        for (size_t i = 0, j = 0; i < ivKeys.size() || j < count;) {
            if (j == count || (i < ivKeys.size() && ivKeys[i] < keyAt(at(j)))) {
                keys.push_back(ivKeys[i]);
                values.push_back(ivValues[i]);
                ++i;
                continue;
            }
            const uint64_t key = keyAt(at(j));
            V sum = V();
            if (i < ivKeys.size() && ivKeys[i] == key) sum = ivValues[i++];
            for (; j < count && keyAt(at(j)) == key; ++j) op(sum, valueAt(at(j)));
            keys.push_back(key);
            values.push_back(sum);
        }
        adopt(keys, values);
    }
    // The same from a pair of one-based arrays, values and node numbers.
    template <class Op>
    void fold(const KVORAXaRay<V, 1> &values, const KVORAXaRay<uint64_t, 1> &samples, Op op)
    {
        const int32_t n = values.getSize() < samples.getSize() ? values.getSize() : samples.getSize();
        fold(static_cast<size_t>(n), [&](size_t j) { return samples[static_cast<int32_t>(j) + 1]; },
             [&](size_t j) { return values[static_cast<int32_t>(j) + 1]; }, op);
    }
    // The map that clear, assign(values, samples) and fold(otherValues,
    // otherSamples, op) would make, in one walk, where both pairs of arrays
    // are in ascending key order without repeats; else false, and the map
    // is left as it was.
    template <class Op>
    bool mergeAscending(const KVORAXaRay<V, 1> &values, const KVORAXaRay<uint64_t, 1> &samples,
                        const KVORAXaRay<V, 1> &otherValues, const KVORAXaRay<uint64_t, 1> &otherSamples, Op op)
    {
        const int32_t n = std::min(values.getSize(), samples.getSize());
        const int32_t m = std::min(otherValues.getSize(), otherSamples.getSize());
        if (!ascendingWithoutRepeats(samples, n) || !ascendingWithoutRepeats(otherSamples, m)) return false;
        std::vector<uint64_t> keys;
        std::vector<V> sums;
        keys.reserve(static_cast<size_t>(n) + static_cast<size_t>(m));
        sums.reserve(keys.capacity());
        int32_t i = 1, j = 1;
        while (i <= n || j <= m) {
            if (j > m || (i <= n && samples[i] < otherSamples[j])) {
                keys.push_back(samples[i]);
                sums.push_back(values[i++]);
                continue;
            }
            const uint64_t key = otherSamples[j];
            V sum = V();
            if (i <= n && samples[i] == key) sum = values[i++];
            op(sum, otherValues[j++]);
            keys.push_back(key);
            sums.push_back(sum);
        }
        adopt(keys, sums);
        return true;
    }
    // Whether the first `count` node numbers (from 1) rise without repeats.
    static bool ascendingWithoutRepeats(const KVORAXaRay<uint64_t, 1> &samples, int32_t count)
    {
        for (int32_t i = 2; i <= count; ++i)
            if (!(samples[i - 1] < samples[i])) return false;
        return true;
    }
    // map[key] = value for every pair of the arrays: the last of a node wins.
    void assign(const KVORAXaRay<V, 1> &values, const KVORAXaRay<uint64_t, 1> &samples)
    {
        fold(values, samples, [](V &entry, const V &value) { entry = value; });
    }
    // The map's entries as the two arrays, each value times `factor` when
    // one is given; the arrays are emptied first.
    void toArrays(KVORAXaRay<V, 1> &values, KVORAXaRay<uint64_t, 1> &samples, KVORA_ENV env) const
    {
        resizeArrays(values, samples, env);
        for (size_t i = 0; i < ivKeys.size(); ++i) {
            samples[static_cast<int32_t>(i) + 1] = ivKeys[i];
            values[static_cast<int32_t>(i) + 1] = ivValues[i];
        }
    }
    void toArraysScaled(double factor, KVORAXaRay<V, 1> &values, KVORAXaRay<uint64_t, 1> &samples,
                        KVORA_ENV env) const
    {
        resizeArrays(values, samples, env);
        for (size_t i = 0; i < ivKeys.size(); ++i) {
            samples[static_cast<int32_t>(i) + 1] = ivKeys[i];
            values[static_cast<int32_t>(i) + 1] = ivValues[i] * factor;
        }
    }

private:
    void resizeArrays(KVORAXaRay<V, 1> &values, KVORAXaRay<uint64_t, 1> &samples, KVORA_ENV env) const
    {
        values.setSize(0, env);
        samples.setSize(0, env);
        values.setSize(static_cast<int32_t>(ivKeys.size()), env);
        samples.setSize(static_cast<int32_t>(ivKeys.size()), env);
    }
    std::vector<uint64_t> ivKeys;
    std::vector<V> ivValues;
};

template <class V>
std::ostream &operator<<(std::ostream &out, const KVORADIFNodeMap<V> &map)
{
    out << "{";
    for (size_t i = 0; i < map.size(); ++i) out << (i == 0 ? "" : ", ") << map.key(i) << ": " << map.value(i);
    return out << "}";
}

// A pass's sums keyed by node as records bring them, in any order, with no
// allocation per record. Node numbers are mostly small and dense, so while
// the largest key stays below four times the keys held (plus a margin) the
// sums stand in an array indexed by the key itself, with a bit per key that
// tells which are held: one access where records put hot nodes close
// together, no sort at the end, and no more memory than a hash table would
// take. Sparser keys go to an open-addressed table of 16-byte slots. Any
// 64-bit key is allowed (a callee such as 0.5 makes 0; -1.0 makes the
// all-ones key, which marks a free slot and is kept aside). The memory is
// kept from pass to pass unless released; the sums leave in key order.
template <class V>
class KVORADIFNodeTable {
public:
    // Asks for the memory of the sums that callee values truncate to, ahead
    // of their use, where those keys stand in the array form as it was when
    // the prefetcher was taken; changes nothing. A value whose key lies
    // outside (the missing mark, -1.0 or below) asks for nothing. Taken once
    // for a batch of records: should the array move within the batch, later
    // requests only miss their mark, since addresses are worked out as
    // numbers. Inlined where it is called: a call of its own would be taken
    // for one without effect and dropped. A read prefetch: a write one needs
    // an instruction beyond the baseline, and is dropped without it.
    class ValuePrefetcher {
    public:
        explicit ValuePrefetcher(const KVORADIFNodeTable &table)
            : ivDense(addressOf(table.ivDense)), ivHeld(addressOf(table.ivHeld)), ivSize(table.ivDense.size())
        {
        }
        [[gnu::always_inline]] void operator()(double value) const
        {
            // The key that the record's add truncates the value to.
            const uint64_t key = static_cast<uint64_t>(kvoraTruncate64(value));
            if (key < ivSize) prefetchSlot(ivDense, ivHeld, static_cast<uintptr_t>(key));
        }

    private:
        uintptr_t ivDense;
        uintptr_t ivHeld;
        uint64_t ivSize;
    };
    // The table for a batch of records: the array form's place and size are
    // read once, not at every add. An add beyond the array goes to the
    // table, which may move the array, and the view reads them again.
    class BatchView {
    public:
        explicit BatchView(KVORADIFNodeTable &table) : ivTable(table) { refresh(); }
        [[gnu::always_inline]] V &operator[](uint64_t key)
        {
            if (key < ivSize) return heldSlot(ivDense, ivHeld, key, ivTable.ivCount);
            V &entry = ivTable.sparseEntry(key);
            refresh();
            return entry;
        }

    private:
        void refresh()
        {
            ivDense = ivTable.ivDense.data();
            ivHeld = ivTable.ivHeld.data();
            ivSize = ivTable.ivDense.size();
        }
        KVORADIFNodeTable &ivTable;
        V *ivDense = nullptr;
        uint64_t *ivHeld = nullptr;
        uint64_t ivSize = 0;
    };
    V &operator[](uint64_t key)
    {
        if (key < ivDense.size()) return heldSlot(ivDense.data(), ivHeld.data(), key, ivCount);
        return sparseEntry(key);
    }
    bool empty() const { return ivCount == 0 && !ivHasFreeKey; }
    void clear()
    {
        if (ivCount != 0) {
            std::fill(ivDense.begin(), ivDense.end(), V());
            std::fill(ivHeld.begin(), ivHeld.end(), 0);
            for (Slot &slot : ivSlots) slot.key = kFree;
        }
        ivCount = 0;
        ivMaxKey = 0;
        ivHasFreeKey = false;
    }
    // Empties the table and gives its memory back.
    void release()
    {
        DenseArray().swap(ivDense);
        std::vector<uint64_t>().swap(ivHeld);
        std::vector<Slot>().swap(ivSlots);
        ivCount = 0;
        ivMaxKey = 0;
        ivHasFreeKey = false;
    }
    // The sums folded into `map` by `op`, in ascending key order; the table
    // is left empty, in the form that suits the keys it held.
    template <class Op>
    void foldInto(KVORADIFNodeMap<V> &map, Op op)
    {
        const size_t count = ivCount + (ivHasFreeKey ? 1 : 0);
        if (map.empty()) {
            // A pass's first fold: each key's entry is op on a new entry,
            // straight into the map's arrays.
            std::vector<uint64_t> keys;
            std::vector<V> values;
            keys.reserve(count);
            values.reserve(count);
            takeAscending([&](uint64_t key, const V &value) {
                keys.push_back(key);
                values.push_back(KVORADIFNodeMap<V>::newEntry(op, value));
            });
            map.adopt(keys, values);
            return;
        }
        std::vector<Slot> entries;
        entries.reserve(count);
        takeAscending([&](uint64_t key, const V &value) { entries.push_back(Slot{key, value}); });
        map.fold(
            entries.size(), [&](size_t j) { return entries[j].key; }, [&](size_t j) { return entries[j].value; }, op);
    }

private:
    // Calls fn(key, sum) for each sum held, in ascending key order, and
    // leaves the table empty, in the form that suits the keys it held.
    template <class Fn>
    void takeAscending(Fn fn)
    {
        if (!ivDense.empty()) {
            // The held bits in order give the keys ascending; the walk
            // leaves the array and the bits empty behind it.
            forEachHeld([&](uint64_t key) {
                fn(key, ivDense[key]);
                ivDense[key] = V();
            });
            std::fill(ivHeld.begin(), ivHeld.end(), 0);
        } else if (ivCount != 0) {
            std::vector<Slot> entries;
            entries.reserve(ivCount);
            for (Slot &slot : ivSlots) {
                if (slot.key == kFree) continue;
                entries.push_back(slot);
                slot.key = kFree;
            }
            std::sort(entries.begin(), entries.end(), [](const Slot &a, const Slot &b) { return a.key < b.key; });
            if (denseFits(ivMaxKey, ivCount)) makeDense(ivMaxKey + 1);
            for (const Slot &slot : entries) fn(slot.key, slot.value);
        }
        if (ivHasFreeKey) fn(kFree, ivFreeKeyValue);
        ivCount = 0;
        ivMaxKey = 0;
        ivHasFreeKey = false;
    }
    // A key of the array form: its sum and its word of held bits, from the
    // arrays' addresses as numbers.
    template <class Array>
    static uintptr_t addressOf(const Array &array)
    {
        return reinterpret_cast<uintptr_t>(array.data());
    }
    // A key's sum in the array form, marked held.
    [[gnu::always_inline]] static V &heldSlot(V *dense, uint64_t *held, uint64_t key, size_t &count)
    {
        uint64_t &word = held[key >> 6];
        const uint64_t bit = 1ull << (key & 63);
        if ((word & bit) == 0) {
            word |= bit;
            ++count;
        }
        return dense[key];
    }
    [[gnu::always_inline]] static void prefetchSlot(uintptr_t dense, uintptr_t held, uintptr_t key)
    {
        __builtin_prefetch(reinterpret_cast<const void *>(dense + key * sizeof(V)));
        __builtin_prefetch(reinterpret_cast<const void *>(held + (key >> 6) * sizeof(uint64_t)));
    }
    static const uint64_t kFree = ~0ull;
    struct Slot {
        uint64_t key;
        V value;
    };
    // Calls fn(key) for each key held in the array form, ascending.
    template <class Fn>
    void forEachHeld(Fn fn) const
    {
        for (size_t w = 0; w < ivHeld.size(); ++w)
            for (uint64_t bits = ivHeld[w]; bits != 0; bits &= bits - 1)
                fn((static_cast<uint64_t>(w) << 6) + static_cast<uint64_t>(__builtin_ctzll(bits)));
    }
    // An array while it is at most four slots a key, or whatever the keys
    // when it stays below a million slots (8 MB of doubles): a pass then
    // never probes and rehashes a growing hash form on its way to the array.
    static bool denseFits(uint64_t maxKey, size_t count) { return maxKey < 4 * static_cast<uint64_t>(count) + (1u << 20); }
    // The entries in an array of `size` keys; the table must be in hash form
    // (or empty), and every held key below `size`.
    void makeDense(uint64_t size)
    {
        DenseArray dense(static_cast<size_t>(size), V());
        std::vector<uint64_t> held(static_cast<size_t>((size + 63) / 64), 0);
        for (const Slot &slot : ivSlots) {
            if (slot.key == kFree) continue;
            dense[slot.key] = slot.value;
            held[slot.key >> 6] |= 1ull << (slot.key & 63);
        }
        std::vector<Slot>().swap(ivSlots);
        ivDense.swap(dense);
        ivHeld.swap(held);
    }
    // The entries in open-addressed slots, at most half of them used.
    void makeSparse(size_t slots)
    {
        std::vector<Slot> old;
        old.swap(ivSlots);
        ivSlots.assign(slots, Slot{kFree, V()});
        ivShift = 64;
        for (size_t n = slots; n > 1; n >>= 1) --ivShift;
        for (const Slot &slot : old)
            if (slot.key != kFree) *probe(slot.key) = slot;
        forEachHeld([&](uint64_t key) { *probe(key) = Slot{key, ivDense[key]}; });
        DenseArray().swap(ivDense);
        std::vector<uint64_t>().swap(ivHeld);
    }
    // The slot of `key`, or the free slot where it goes.
    Slot *probe(uint64_t key)
    {
        size_t at = static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> ivShift);
        for (;;) {
            Slot &slot = ivSlots[at];
            if (slot.key == key || slot.key == kFree) return &slot;
            at = (at + 1) & (ivSlots.size() - 1);
        }
    }
    V &sparseEntry(uint64_t key)
    {
        if (key == kFree) {
            if (!ivHasFreeKey) {
                ivHasFreeKey = true;
                ivFreeKeyValue = V();
            }
            return ivFreeKeyValue;
        }
        const uint64_t maxKey = key > ivMaxKey ? key : ivMaxKey;
        if (!ivDense.empty() || ivSlots.empty()) {
            // Beyond the array (or nothing yet): a longer array while the
            // keys stay dense enough, else the hash form.
            if (denseFits(maxKey, ivCount + 1)) {
                uint64_t size = 2 * static_cast<uint64_t>(ivDense.size());
                if (size < maxKey + 1) size = maxKey + 1;
                if (size < 1024) size = 1024;
                if (!denseFits(size - 1, ivCount + 1)) size = maxKey + 1;
                growDense(size);
                ivMaxKey = maxKey;
                return (*this)[key];
            }
            size_t slots = 1024;
            while (slots < 2 * (ivCount + 1)) slots *= 2;
            makeSparse(slots);
        } else if ((ivCount + 1) * 2 > ivSlots.size()) {
            if (denseFits(maxKey, ivCount + 1)) {
                makeDense(maxKey + 1);
                ivMaxKey = maxKey;
                return (*this)[key];
            }
            makeSparse(ivSlots.size() * 2);
        }
        ivMaxKey = maxKey;
        Slot *slot = probe(key);
        if (slot->key == kFree) {
            slot->key = key;
            slot->value = V();
            ++ivCount;
        }
        return slot->value;
    }
    void growDense(uint64_t size)
    {
        ivDense.resize(static_cast<size_t>(size), V());
        ivHeld.resize(static_cast<size_t>((size + 63) / 64), 0);
    }
    // Each record adds at a random key of this array.
    using DenseArray = std::vector<V, KVORALargePageAllocator<V>>;
    DenseArray ivDense;
    std::vector<uint64_t> ivHeld;
    std::vector<Slot> ivSlots;
    size_t ivCount = 0;
    uint64_t ivMaxKey = 0;
    int ivShift = 64;
    bool ivHasFreeKey = false;
    V ivFreeKeyValue = V();
};

class KVORADIFData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORADIFData)
public:
    // ivState: the computation phase.
    enum { ComputeNormalizer = 0, ComputeWeightedInOutDeg = 1, DiffusionIterationModel1 = 2 };

    typedef KVORADIFNodeMap<int32_t> IntMap;
    typedef KVORADIFNodeMap<double> RealMap;

    KVORADIFData();
    ~KVORADIFData() override;

    // ---- object base ----
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // ---- the data interface ----
    void reservedOperationA() override;
    int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env) override;
    void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec, uint64_t lineNumber,
                KVORA_ENV env) override;
    int32_t endDataScan(KVORA_ENV env) override;
    void initIteration(KVORA_ENV env) override;
    void finishIteration(KVORA_ENV env) override;
    int32_t isFinished() const override;
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override;
    void print(std::ostream &stream) const override;
    void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) override;
    int32_t getScanType() const override { return 5; }
    int32_t keepsScanTypeInPass() const override { return 1; }
    double getSamplingRate() const override { return 1.0; }
    int32_t canUpdateWithoutDataScan() const override { return 1; }
    void prefetchRecord(const double *dataValues, int32_t count) const override;
    int32_t updateRows(const double *const *rows, int32_t count, const KVORARowLayout &layout,
                       KVORA_ENV env) override;

    // ---- parameters and seed file ----
    // Reads the algorithm's keys below the parameter tag, then initParameters.
    void open(const KVORAXMLTag &parameters, KVORA_ENV env);
    void initParameters(double spreadCoefficient, double endConditionValue, int32_t maxNumIterations,
                        const KV2AscString &seed, KVORA_ENV env);
    void readSeedFile(const KV2AscString &seed, KVORA_ENV env);
    // The raw line scan of the parameter file for "<Seed>name</Seed>".
    static bool FindSeedFileNameInParamFile(const char *paramFileName, std::string &seedFileName);
    // The parameter file that the seed scan reads: cvParamFileName when set,
    // else the process's first command-line argument.
    static const char *getParamFileName();
    static const char *cvParamFileName;

    // ---- row scan ----
    // Checks the row structure; answers ivMatState as it was on entry.
    int32_t checkMatStateValidity(const KVORAXaRay<double, 1> &dataVec, uint64_t sampleNumber, KVORA_ENV env);
    int32_t sampleTraceEvent(int32_t level);
    // update adds a record's sums into hash tables, keyed by callee and (once
    // per row) by caller; this folds them, in ascending node order, into the
    // maps of the present phase, and in a diffusion pass enters the callers
    // that had no fresh energy into the fresh map with 0. finishIteration
    // calls it first. The sums are the same either way: each node's
    // additions keep the order of the records.
    void gatherCalleeSums();
    // The close of a diffusion pass: the new totals from the old ones, the
    // fresh energies and what the nodes passed on; answers the largest
    // change. The maps take inputs in any order; the arrays, inputs in
    // ascending node order without repeats, to the same result.
    double closeDiffusionByMaps(KVORA_ENV env);
    double closeDiffusionByArrays(KVORA_ENV env);
    static bool strictlyAscending(const KVORAXaRay<uint64_t, 1> &samples);

    // ---- results and messages ----
    void writeDataOutputFile(KVORA_ENV env);
    void traceEvent(int32_t level, const char *text, int32_t withDump, KVORA_ENV env) const;
    void progressReport(const char *message, const char *methodName, KVORA_ENV env);
    void dump(std::ostream &out) const;
    // The rank of this process in the job; 0 without a running job.
    static int32_t getRank();

    // ---- members, in declaration order ----
    int32_t ivIsSparse;
    double ivSpreadCoefficient;
    KV2AscString ivOutputFileName;
    KV2AscString ivTagPrefix;
    KV2AscString ivOutputNamespace;
    int32_t ivOutputFormat;
    KVORAXaRay<int32_t, 1> ivInDegree;
    KVORAXaRay<uint64_t, 1> ivInDegreeSamples;
    IntMap ivNum2InDegreeMap;
    KVORAXaRay<int32_t, 1> ivOutDegree;
    KVORAXaRay<uint64_t, 1> ivOutDegreeSamples;
    IntMap ivNum2OutDegreeMap;
    KVORAXaRay<int32_t, 1> ivWeightedInDegree;
    KVORAXaRay<uint64_t, 1> ivWeightedInDegreeSamples;
    IntMap ivNum2WeightedInDegreeMap;
    KVORAXaRay<int32_t, 1> ivWeightedOutDegree;
    KVORAXaRay<uint64_t, 1> ivWeightedOutDegreeSamples;
    IntMap ivNum2WeightedOutDegreeMap;
    int32_t ivState;
    int32_t ivMatState;
    KVORAXaRay<double, 1> ivModel1TotalEnergies;
    KVORAXaRay<uint64_t, 1> ivModel1TotalEnergiesSamples;
    KVORAXaRay<double, 1> ivModel1TotalEnergiesOld;
    KVORAXaRay<uint64_t, 1> ivModel1TotalEnergiesSamplesOld;
    KVORAXaRay<double, 1> ivModel1FreshEnergies;
    KVORAXaRay<uint64_t, 1> ivModel1FreshEnergiesSamples;
    KVORAXaRay<double, 1> ivModel1FreshEnergiesOld;
    KVORAXaRay<uint64_t, 1> ivModel1FreshEnergiesSamplesOld;
    RealMap ivModel1Num2TotalEnergyMap;
    RealMap ivModel1Num2FreshEnergyMap;
    RealMap ivModel1Num2MultResMap;
    int32_t ivModel1NumIterations;
    uint64_t ivMaxCallees;
    uint64_t ivRowsCounter;
    uint64_t ivCalleesCounter;
    uint64_t ivCurrentCaller;
    RealMap ivNum2RowSumMap;
    KVORAXaRay<double, 1> ivRowSum;
    KVORAXaRay<uint64_t, 1> ivRowSumSamples;
    double ivDiffVal;
    int32_t ivMaxNumIterations;
    double ivEpsilon;
    int32_t ivProgressReportCounter;
    int32_t ivVerbosityLvl;
    int32_t ivSampleTraceOn;
    int64_t ivSampleTraceEventsCounter;

private:
    // The sums of a pass as records bring them: by callee (in-degree,
    // weighted in-degree, arriving energy) and by caller (row sum, out-degree
    // and weighted out-degree), the caller's looked up once per row.
    KVORADIFNodeTable<int32_t> ivCalleeIntSums;
    KVORADIFNodeTable<double> ivCalleeRealSums;
    KVORADIFNodeTable<int32_t> ivCallerIntSums;
    KVORADIFNodeTable<double> ivCallerRealSums;
    // Entries of the open row's caller, looked up at its first record: the
    // caller is the same for every record of a row. Every row starts with a
    // header, which resets them.
    double *ivRowCallerSum;
    int32_t *ivRowCallerOut;
    bool ivRowCallerKnown;
    double ivRowCallerRowSum;
    double ivRowCallerFresh;
    // In a diffusion pass: where the last row's caller stands in the row
    // sum map and the fresh map (callers mostly come in ascending order, so
    // the next is searched from there), and which callers a row entered into
    // the fresh map with 0, by their place in the row sum map.
    size_t ivRowSumAt;
    size_t ivFreshAt;
    std::vector<uint8_t> ivCallerEnteredFresh;
    size_t ivCallersEnteredFresh;
    void resetRowCache();
    void dropRowCursors();
    void findRowCaller(uint64_t caller);
    void traceRecord(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                     uint64_t sampleNumber) const;
    void rowError(int32_t code, const char *text, double callee, double weight, uint64_t caller);
    // The row check's counters for a batch of records, held apart from the
    // members they stand for (and named as they are) so that they can stay
    // in registers.
    struct RowCheckState {
        int32_t ivMatState;
        uint64_t ivMaxCallees;
        uint64_t ivRowsCounter;
        uint64_t ivCalleesCounter;
        uint64_t ivCurrentCaller;
    };
    RowCheckState rowCheckState() const;
    void storeRowCheckState(const RowCheckState &state);
    void settleRowCheck(const KVORADIFData &) {}
    void settleRowCheck(const RowCheckState &state) { storeRowCheckState(state); }
    // The row check of checkMatStateValidity on a record's callee and weight,
    // on this object's counters or a batch's.
    template <class Counters>
    int32_t checkRow(Counters &counters, double callee, double weight, uint64_t sampleNumber);
    // A record's work in phase State after its trace: the row check, then
    // the sums; `callees` is the table of callee sums of the phase, or a
    // batch's view of it.
    template <int State, class Callees, class Counters>
    void addRecord(double callee, double weight, uint64_t lineNumber, Callees &callees, Counters &counters);
    template <int State, class Table>
    void addRows(const double *const *rows, int32_t count, const KVORARowLayout &layout, Table &callees);
    template <int State, int Columns, class Table>
    void addRows(const double *const *rows, int32_t count, const KVORARowLayout &layout, Table &callees);
};

// Replaces the XML entities of a seed file name, one rule after the other
// over the whole text.
std::string decodeXmlEntities(const std::string &text);

// Enters the class under its model identifier, 24; the same entry is made
// before main when this class's object file is linked in.
int32_t kvoraRegisterDIFData();
