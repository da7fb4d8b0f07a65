// The object stream model: the abstract writer and reader, their keywords, and
// the typed free functions kvoraWrite/kvoraRead by which every persistent
// class writes and reads its members. Numbers travel at full width and are
// clamped to the variable's type on reading, never cut. Arrays are written
// with their size and read element by element in place, so that an element
// object keeps the members that the stream leaves out; a corrupted size
// cannot make the reader allocate more than the elements that really arrive.
//
//   kvoraWrite(writer, value, env)                  the value alone
//   kvoraWrite(writer, KVORA_KWD(ivX), ivX, env)    keyword, then value
//   kvoraRead(reader, variable, env)                the value alone
//   kvoraRead(reader, KVORA_KWD(ivX), ivX, env)     if the stream is at ivX:
//                                                   read it and answer true
//
// Values: 8- to 64-bit signed and unsigned integers, float, double, bool,
// char, KV2AscString (and KVORAHashString), objects by value (classes derived
// from KVORAObject), owner pointers KVORAOwnPtr<T>, and KVORAXaRay<T,N> or KVORAArray<T> of
// any of these.
#pragma once

#include <cfloat>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "kvo/kv2ustra.h"
#include "util/kvora_debug.h"
#include "util/kvora_env.h"
#include "util/kvora_keyword.h"
#include "util/kvora_object.h"
#include "util/kvora_objreader.h"
#include "util/kvora_objwriter.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_typename.h"
#include "util/kvora_array.h"
#include "util/kvora_xray.h"

// ---- writing ----

inline void kvoraWrite(KVORAObjWriter &w, int8_t v, KVORA_ENV env) { w.writeSigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, int16_t v, KVORA_ENV env) { w.writeSigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, int32_t v, KVORA_ENV env) { w.writeSigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, int64_t v, KVORA_ENV env) { w.writeSigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, uint8_t v, KVORA_ENV env) { w.writeUnsigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, uint16_t v, KVORA_ENV env) { w.writeUnsigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, uint32_t v, KVORA_ENV env) { w.writeUnsigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, uint64_t v, KVORA_ENV env) { w.writeUnsigned(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, float v, KVORA_ENV env) { w.writeReal(static_cast<double>(v), env); }
inline void kvoraWrite(KVORAObjWriter &w, double v, KVORA_ENV env) { w.writeReal(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, bool v, KVORA_ENV env) { w.writeBool(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, char v, KVORA_ENV env) { w.writeChar(v, env); }
inline void kvoraWrite(KVORAObjWriter &w, const KV2AscString &v, KVORA_ENV env) { w.writeString(v, env); }

// An object embedded as a value.
template <class T, std::enable_if_t<std::is_base_of_v<KVORAObject, T>, int> = 0>
inline void kvoraWrite(KVORAObjWriter &w, const T &object, KVORA_ENV env) {
    w.writeObjectByValue(object, env);
}

// An owned object: its dynamic type, members and EndObject; null is the empty type.
template <class T>
inline void kvoraWrite(KVORAObjWriter &w, const KVORAOwnPtr<T> &owner, KVORA_ENV env) {
    w.writeOwnedObject(owner.get(), env);
}

// An array: its size, the elements in index order, EndArray.
template <int N, class A>
void kvoraWriteArray(KVORAObjWriter &w, const A &array, KVORA_ENV env) {
    ++w.ivDepth;
    int32_t size = array.getSize();
    w.beginArray(size, env);
    using Element = std::remove_cv_t<std::remove_reference_t<decltype(array[N])>>;
    if constexpr (std::is_same_v<Element, double>) {
        // Node tables travel as long arrays: one call for all.
        if (size > 0) w.writeReals(&array[N], size, env);
    } else if constexpr (std::is_same_v<Element, uint64_t>) {
        if (size > 0) w.writeUnsigneds(&array[N], size, env);
    } else {
        for (int32_t i = N; i < size + N; ++i) {
            kvoraWrite(w, array[i], env);
        }
    }
    w.writeKeyword(kvoraKwd_EndArray(), env);
    --w.ivDepth;
}

template <class T, int N>
inline void kvoraWrite(KVORAObjWriter &w, const KVORAXaRay<T, N> &array, KVORA_ENV env) {
    kvoraWriteArray<N>(w, array, env);
}

template <class T>
inline void kvoraWrite(KVORAObjWriter &w, const KVORAArray<T> &array, KVORA_ENV env) {
    kvoraWriteArray<1>(w, array, env);
}

template <class T>
inline void kvoraWrite(KVORAObjWriter &w, const KVORAKeyword &keyword, const T &value, KVORA_ENV env) {
    w.writeKeyword(keyword, env);
    kvoraWrite(w, value, env);
}

// ---- reading ----

template <class T>
inline T kvoraClampSigned(int64_t v) {
    constexpr int64_t lo = static_cast<int64_t>(std::numeric_limits<T>::min());
    constexpr int64_t hi = static_cast<int64_t>(std::numeric_limits<T>::max());
    return static_cast<T>(v < lo ? lo : (v > hi ? hi : v));
}

template <class T>
inline T kvoraClampUnsigned(uint64_t v) {
    constexpr uint64_t hi = static_cast<uint64_t>(std::numeric_limits<T>::max());
    return static_cast<T>(v > hi ? hi : v);
}

inline void kvoraRead(KVORAObjReader &r, int8_t &v, KVORA_ENV env) {
    int64_t x = 0;
    r.readSigned(x, env);
    v = kvoraClampSigned<int8_t>(x);
}
inline void kvoraRead(KVORAObjReader &r, int16_t &v, KVORA_ENV env) {
    int64_t x = 0;
    r.readSigned(x, env);
    v = kvoraClampSigned<int16_t>(x);
}
inline void kvoraRead(KVORAObjReader &r, int32_t &v, KVORA_ENV env) {
    int64_t x = 0;
    r.readSigned(x, env);
    v = kvoraClampSigned<int32_t>(x);
}
inline void kvoraRead(KVORAObjReader &r, int64_t &v, KVORA_ENV env) { r.readSigned(v, env); }
inline void kvoraRead(KVORAObjReader &r, uint8_t &v, KVORA_ENV env) {
    uint64_t x = 0;
    r.readUnsigned(x, env);
    v = kvoraClampUnsigned<uint8_t>(x);
}
inline void kvoraRead(KVORAObjReader &r, uint16_t &v, KVORA_ENV env) {
    uint64_t x = 0;
    r.readUnsigned(x, env);
    v = kvoraClampUnsigned<uint16_t>(x);
}
inline void kvoraRead(KVORAObjReader &r, uint32_t &v, KVORA_ENV env) {
    uint64_t x = 0;
    r.readUnsigned(x, env);
    v = kvoraClampUnsigned<uint32_t>(x);
}
inline void kvoraRead(KVORAObjReader &r, uint64_t &v, KVORA_ENV env) { r.readUnsigned(v, env); }
// A real as read: at or beyond the largest finite value is that value; NaN
// stays NaN.
inline double kvoraReadRealValue(double x) { return x >= DBL_MAX ? DBL_MAX : (x <= -DBL_MAX ? -DBL_MAX : x); }
inline void kvoraRead(KVORAObjReader &r, double &v, KVORA_ENV env) {
    double x = 0.0;
    r.readReal(x, env);
    v = kvoraReadRealValue(x);
}
inline void kvoraRead(KVORAObjReader &r, float &v, KVORA_ENV env) {
    double x = 0.0;
    r.readReal(x, env);
    const double fmax = 3.4028234663852886e38;
    v = static_cast<float>(x >= fmax ? fmax : (x <= -fmax ? -fmax : x));
}
inline void kvoraRead(KVORAObjReader &r, bool &v, KVORA_ENV env) { r.readBool(v, env); }
inline void kvoraRead(KVORAObjReader &r, char &v, KVORA_ENV env) { r.readChar(v, env); }
inline void kvoraRead(KVORAObjReader &r, KV2AscString &v, KVORA_ENV env) { r.readString(v, env); }
inline void kvoraRead(KVORAObjReader &r, KVORAHashString &v, KVORA_ENV env) {
    r.readString(v, env);
    v.rehash();
}

template <class T, std::enable_if_t<std::is_base_of_v<KVORAObject, T>, int> = 0>
inline void kvoraRead(KVORAObjReader &r, T &object, KVORA_ENV env) {
    r.readObjectByValue(object, env);
}

// Reads into an owner: a null in the stream destroys what it holds; an object
// of the same type is read in place (members left out keep their values);
// otherwise a new object is made by the type's factory.
template <class T>
void kvoraRead(KVORAObjReader &r, KVORAOwnPtr<T> &owner, KVORA_ENV env) {
    const KVORATypeName *type = r.readOwnedType(env);
    if (type == nullptr) {
        if (owner.get() != nullptr) owner.reset(env);
        return;
    }
    T *held = owner.get();
    if (held == nullptr || held->getObjectType().getIndex() != type->getIndex()) {
        if (held != nullptr) owner.reset(env);
        KVORAOwnPtr<KVORAObject> made;
        type->newInstance(made, env);
        KVORAObject *objPtr = made.get();
        if (objPtr != nullptr && !objPtr->isKindOf(T::classType())) {
            made.reset(env);
            r.unknownObjectType(type->getNameString(), env);
        }
        KVORA_ASSERT(objPtr != 0);
        owner.reset(static_cast<T *>(made.transfer()), env);
    }
    r.readObjectBody(*owner.get(), env);
}

// Makes an array cell empty before it is dropped: owners give back their object.
template <class T>
inline void kvoraReleaseCell(T &cell, KVORA_ENV env) {
    if constexpr (std::is_base_of_v<KVORAObject, T>) cell.releasePrimitive(env);
}
template <class T>
inline void kvoraReleaseCell(KVORAOwnPtr<T> &cell, KVORA_ENV env) {
    if (cell.get() != nullptr) cell.reset(env);
}

template <class T, int N>
inline void kvoraArraySetSize(KVORAXaRay<T, N> &array, int32_t size, int32_t capacity, KVORA_ENV env) {
    array.setSizeCapacity(size, capacity, env);
}
template <class T>
inline void kvoraArraySetSize(KVORAArray<T> &array, int32_t size, int32_t capacity, KVORA_ENV env) {
    array.setSize(size, capacity, env);
}

// The integer types whose reads go through readSigned or readUnsigned, and
// so can come a block at a time, as reals do.
template <class T>
struct kvoraReadsAsSigned
    : std::integral_constant<bool, std::is_same_v<T, int8_t> || std::is_same_v<T, int16_t> ||
                                       std::is_same_v<T, int32_t> || std::is_same_v<T, int64_t>> {};
template <class T>
struct kvoraReadsAsUnsigned
    : std::integral_constant<bool, std::is_same_v<T, uint8_t> || std::is_same_v<T, uint16_t> ||
                                       std::is_same_v<T, uint32_t> || std::is_same_v<T, uint64_t>> {};

inline int32_t kvoraReadBlock(KVORAObjReader &r, double *out, int32_t count, KVORA_ENV env) {
    return r.readReals(out, count, env);
}
inline int32_t kvoraReadBlock(KVORAObjReader &r, int64_t *out, int32_t count, KVORA_ENV env) {
    return r.readSigneds(out, count, env);
}
inline int32_t kvoraReadBlock(KVORAObjReader &r, uint64_t *out, int32_t count, KVORA_ENV env) {
    return r.readUnsigneds(out, count, env);
}

// The array, counted from N, made valid up to index `last` as autoExtend
// called for each index in turn would make it, capacity and all, with one
// call per step of the capacity.
template <int N, class A>
void kvoraExtendThrough(A &array, int32_t last, KVORA_ENV env) {
    while (static_cast<int64_t>(last) + 1 - N > array.getCapacity()) array.autoExtend(N + array.getCapacity(), env);
    array.autoExtend(last, env);
}

// Elements N to `end` - 1 of an array of numbers, read a block at a time as
// `Wide` and narrowed by `narrow` as a read of one element narrows it. The
// array grows only by the elements that came, and an element that does not
// come whole is read alone, to fail as it would have.
template <class Wide, int N, class A, class Narrow>
void kvoraReadBlocks(KVORAObjReader &r, A &array, int64_t end, KVORA_ENV env, Narrow narrow) {
    Wide block[512];
    for (int64_t i = N; i < end;) {
        const int32_t want = static_cast<int32_t>(end - i < 512 ? end - i : 512);
        const int32_t got = kvoraReadBlock(r, block, want, env);
        if (got > 0) kvoraExtendThrough<N>(array, static_cast<int32_t>(i + got - 1), env);
        for (int32_t k = 0; k < got; ++k, ++i) array[static_cast<int32_t>(i)] = narrow(block[k]);
        if (got < want) {
            array.autoExtend(static_cast<int32_t>(i), env);
            kvoraRead(r, array[static_cast<int32_t>(i)], env);
            ++i;
        }
    }
}

template <int N, class A>
void kvoraReadArray(KVORAObjReader &r, A &array, KVORA_ENV env) {
    int32_t n = r.beginArray(env);
    r.enterNesting(env);
    if (n >= 0) {
        int32_t old = array.getSize();
        if (n < old) {
            for (int32_t i = n + N; i < old + N; ++i) kvoraReleaseCell(array[i], env);
            kvoraArraySetSize(array, n, array.getCapacity(), env);
        }
        // Elements already there are read in place; the rest as they arrive.
        // The bound is 64-bit: a size of 2^31-1 from the stream, counted
        // from 1, passes the 32-bit range.
        const int64_t end = static_cast<int64_t>(n) + N;
        using Element = std::remove_cv_t<std::remove_reference_t<decltype(array[N])>>;
        if constexpr (std::is_same_v<Element, double>) {
            kvoraReadBlocks<double, N>(r, array, end, env, [](double v) { return kvoraReadRealValue(v); });
        } else if constexpr (kvoraReadsAsSigned<Element>::value) {
            kvoraReadBlocks<int64_t, N>(r, array, end, env, [](int64_t v) { return kvoraClampSigned<Element>(v); });
        } else if constexpr (kvoraReadsAsUnsigned<Element>::value) {
            kvoraReadBlocks<uint64_t, N>(r, array, end, env,
                                         [](uint64_t v) { return kvoraClampUnsigned<Element>(v); });
        } else {
            for (int64_t i = N; i < end; ++i) {
                array.autoExtend(static_cast<int32_t>(i), env);
                kvoraRead(r, array[static_cast<int32_t>(i)], env);
            }
        }
    } else {
        int64_t hint = -static_cast<int64_t>(n);
        for (int32_t i = N; i < array.getSize() + N; ++i) kvoraReleaseCell(array[i], env);
        kvoraArraySetSize(array, 0, static_cast<int32_t>(hint < 4096 ? hint : 4096), env);
        for (int32_t i = N; !r.atArrayEnd(env); ++i) {
            array.autoExtend(i, env);
            kvoraRead(r, array[i], env);
        }
    }
    r.clearKeyword();
    if (!r.keywordMatches(kvoraKwd_EndArray(), env)) {
        kvoraAssertFailCause("reader.keywordMatches (KVORA_KWD(EndArray), KVORA_ENV)",
                             "Syntax Error: EndArray keyword expected", KVORA_PLACE);
    }
    r.clearKeyword();
    --r.ivDepth;
}

template <class T, int N>
inline void kvoraRead(KVORAObjReader &r, KVORAXaRay<T, N> &array, KVORA_ENV env) {
    kvoraReadArray<N>(r, array, env);
}

template <class T>
inline void kvoraRead(KVORAObjReader &r, KVORAArray<T> &array, KVORA_ENV env) {
    kvoraReadArray<1>(r, array, env);
}

template <class T>
inline bool kvoraRead(KVORAObjReader &r, const KVORAKeyword &keyword, T &value, KVORA_ENV env) {
    if (!r.keywordMatches(keyword, env)) return false;
    kvoraRead(r, value, env);
    r.clearKeyword();
    return true;
}
