// Growing array with index base N (0 or 1) and a growth factor of about the
// square root of two. The implementation class does the work; the outer
// KVORAXaRay only forwards and carries the place where it was made, for the
// memory account and for complaints. Elements are contiguous in one block.
// Indexing is inline and unchecked (at() checks); growth is out of the way.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <type_traits>
#include <utility>

#include "base/KVOMemoryException.h"
#include "util/kvora_debug.h"
#include "util/kvora_env.h"

// The growth factor, a shade above the square root of two so that 1 times it
// twice is above 2.
constexpr double kvoraXaRayGrowth = 1.4142135623731;

// Cell functions: construct an empty element in raw memory, make an element
// empty again, and move an element to raw memory leaving the source
// destroyed. A type may overload them; the defaults use its constructors.
template <class T>
inline void kvoraXaRayCellInit(T *cell) {
    if constexpr (std::is_trivially_copyable_v<T>)
        std::memset(static_cast<void *>(cell), 0, sizeof(T));
    else
        new (cell) T();
}

template <class T>
inline void kvoraXaRayCellReInit(T *cell) {
    if constexpr (std::is_trivially_copyable_v<T>) {
        std::memset(static_cast<void *>(cell), 0, sizeof(T));
    } else {
        cell->~T();
        new (cell) T();
    }
}

template <class T>
inline void kvoraXaRayCellXfer(T *target, T *source) {
    if constexpr (std::is_trivially_copyable_v<T>) {
        std::memcpy(static_cast<void *>(target), static_cast<const void *>(source), sizeof(T));
    } else {
        new (target) T(std::move(*source));
        source->~T();
    }
}

template <class T>
inline void kvoraXaRayCellDestroy(T *cell) {
    if constexpr (!std::is_trivially_destructible_v<T>) cell->~T();
}

// The capacity after growth to `needed` elements from `capacity`.
int32_t kvoraXaRayGrownCapacity(int32_t capacity, int64_t needed);

// Prints "Cannot allocate array memory" with the place and throws
// KVOMemoryException.
[[noreturn]] void kvoraArrayAllocFailed(const char *file, int32_t line, const char *function);

// Prints the complaint of an array destroyed while holding memory.
void kvoraArrayDestructorComplaint(const char *className, const char *file, int32_t line, const char *function);

template <class T, int N>
class KVORAXaRayImplementation {
    static_assert(N == 0 || N == 1, "index base is 0 or 1");

public:
    KVORAXaRayImplementation() = default;
    KVORAXaRayImplementation(KVORAXaRayImplementation &&other) noexcept
        : ivCapacity(other.ivCapacity), ivSize(other.ivSize), ivData(other.ivData) {
        other.ivCapacity = 0;
        other.ivSize = 0;
        other.ivData = nullptr;
    }
    KVORAXaRayImplementation(const KVORAXaRayImplementation &) = delete;
    KVORAXaRayImplementation &operator=(const KVORAXaRayImplementation &) = delete;
    // Without an environment nothing can be accounted: only the memory goes.
    ~KVORAXaRayImplementation() { releaseUnaccounted(); }

    int32_t getSize() const { return ivSize; }
    int32_t getCapacity() const { return ivCapacity; }
    // First element; null when the capacity is 0.
    T *getBlock() { return ivData; }
    const T *getBlock() const { return ivData; }
    // The displacement of N folds into the address: no subtraction at run time.
    T &operator[](int32_t index) { return ivData[index - N]; }
    const T &operator[](int32_t index) const { return ivData[index - N]; }
    T &at(int32_t index) {
        KVORA_ASSERT(index >= N && index < ivSize + N);
        return ivData[index - N];
    }

    void setSizeCapacity(int32_t size, int32_t capacity, KVORA_ENV env, const KVORAPlace &place) {
        KVORA_ASSERT(size >= 0);
        if (capacity < size) capacity = size;
        if (capacity < 1) {
            reset(env, place);
            return;
        }
        if (capacity == ivCapacity) {
            for (int32_t i = size; i < ivSize; ++i) kvoraXaRayCellDestroy(ivData + i);
            for (int32_t i = ivSize; i < size; ++i) kvoraXaRayCellInit(ivData + i);
            ivSize = size;
            return;
        }
        const int32_t kept = size < ivSize ? size : ivSize;
        T *block = rawBlock(capacity, env, place);
        for (int32_t i = kept; i < size; ++i) kvoraXaRayCellInit(block + i);
        for (int32_t i = 0; i < kept; ++i) kvoraXaRayCellXfer(block + i, ivData + i);
        for (int32_t i = kept; i < ivSize; ++i) kvoraXaRayCellDestroy(ivData + i);
        ivSize = kept;  // the old cells are gone: nothing left to destroy
        receiveNewSegment(block, size, capacity, env, place, false);
    }

    void setSize(int32_t size, KVORA_ENV env, const KVORAPlace &place) {
        setSizeCapacity(size, ivCapacity, env, place);
    }

    void setCapacity(int32_t capacity, KVORA_ENV env, const KVORAPlace &place) {
        setSizeCapacity(ivSize, capacity, env, place);
    }

    // Makes `index` valid; grows the capacity geometrically when needed.
    void autoExtend(int32_t index, KVORA_ENV env, const KVORAPlace &place) {
        KVORA_ASSERT(index >= N);
        const int64_t needed = static_cast<int64_t>(index) + 1 - N;
        if (needed <= ivSize) return;
        if (needed <= ivCapacity) {
            for (int32_t i = ivSize; i < needed; ++i) kvoraXaRayCellInit(ivData + i);
            ivSize = static_cast<int32_t>(needed);
            return;
        }
        setSizeCapacity(static_cast<int32_t>(needed), kvoraXaRayGrownCapacity(ivCapacity, needed), env, place);
    }

    void reset(KVORA_ENV env, const KVORAPlace &place) {
        for (int32_t i = 0; i < ivSize; ++i) kvoraXaRayCellDestroy(ivData + i);
        ivSize = 0;
        deleteMemory(env, place);
    }

    void transferFrom(KVORAXaRayImplementation &other, KVORA_ENV env, const KVORAPlace &place) {
        if (&other == this) return;
        reset(env, place);
        ivCapacity = other.ivCapacity;
        ivSize = other.ivSize;
        ivData = other.ivData;
        other.ivCapacity = 0;
        other.ivSize = 0;
        other.ivData = nullptr;
    }

    void copyFrom(const KVORAXaRayImplementation &other, KVORA_ENV env, const KVORAPlace &place) {
        if (&other == this) return;
        setSize(other.ivSize, env, place);
        for (int32_t i = 0; i < ivSize; ++i) ivData[i] = other.ivData[i];
    }

    void copyAppend(const T &value, KVORA_ENV env, const KVORAPlace &place) {
        const int32_t index = ivSize + N;
        if (ivSize < ivCapacity) {
            new (ivData + ivSize) T(value);
            ++ivSize;
            return;
        }
        T copy(value);  // the value may live in this array's block
        autoExtend(index, env, place);
        (*this)[index] = std::move(copy);
    }

    // A block of `capacity` cells, the first `size` initialised.
    T *makeNewSegment(int32_t size, int32_t capacity, KVORA_ENV env, const KVORAPlace &place) {
        KVORA_ASSERT(size >= 0 && size <= capacity);
        T *block = rawBlock(capacity, env, place);
        for (int32_t i = 0; i < size; ++i) kvoraXaRayCellInit(block + i);
        return block;
    }

    // Makes `block` current after freeing the old one; the old cells must be
    // gone (moved or destroyed) unless `destroyOld`.
    void receiveNewSegment(T *block, int32_t size, int32_t capacity, KVORA_ENV env, const KVORAPlace &place,
                           bool destroyOld = true) {
        if (destroyOld)
            for (int32_t i = 0; i < ivSize; ++i) kvoraXaRayCellDestroy(ivData + i);
        ivSize = 0;
        deleteMemory(env, place);
        ivData = block;
        ivCapacity = capacity;
        ivSize = size;
    }

    // Frees the block; the cells must be destroyed already.
    void deleteMemory(KVORA_ENV env, const KVORAPlace &place) {
        if (ivData != nullptr) {
            kvoraMemAccount(-static_cast<int64_t>(ivCapacity) * static_cast<int64_t>(sizeof(T)), env);
            if (kvoraMemTraceStream != nullptr)
                kvoraMemTraceLine(*kvoraMemTraceStream, ivData, place.file, place.line, place.function,
                                  static_cast<int64_t>(sizeof(T)), -static_cast<int64_t>(ivCapacity));
            ::operator delete(static_cast<void *>(ivData));
        }
        ivData = nullptr;
        ivCapacity = 0;
    }

    // Destroys all and frees without an account (destructor path).
    void releaseUnaccounted() {
        for (int32_t i = 0; i < ivSize; ++i) kvoraXaRayCellDestroy(ivData + i);
        if (ivData != nullptr) ::operator delete(static_cast<void *>(ivData));
        ivData = nullptr;
        ivSize = 0;
        ivCapacity = 0;
    }

private:
    T *rawBlock(int32_t capacity, KVORA_ENV env, const KVORAPlace &place) {
        const uint64_t bytes = static_cast<uint64_t>(capacity) * sizeof(T);
        void *memory = ::operator new(static_cast<size_t>(bytes), std::nothrow);
        if (memory == nullptr) kvoraArrayAllocFailed(place.file, place.line, place.function);
        kvoraMemAccount(static_cast<int64_t>(bytes), env);
        if (kvoraMemTraceStream != nullptr)
            kvoraMemTraceLine(*kvoraMemTraceStream, memory, place.file, place.line, place.function,
                              static_cast<int64_t>(sizeof(T)), capacity);
        return static_cast<T *>(memory);
    }

    int32_t ivCapacity = 0;
    int32_t ivSize = 0;
    T *ivData = nullptr;
};

template <class T, int N>
class KVORAXaRay {
public:
    KVORAXaRay() : ivPlace{nullptr, 0, nullptr, nullptr} {}
    KVORAXaRay(const char *file, int32_t line, const char *function) : ivPlace{file, line, function, nullptr} {}
    KVORAXaRay(KVORAXaRay &&other) noexcept : ivImpl(std::move(other.ivImpl)), ivPlace(other.ivPlace) {}
    KVORAXaRay(const KVORAXaRay &) = delete;
    KVORAXaRay &operator=(const KVORAXaRay &) = delete;
    // Arrays are reset explicitly with their environment; one that still
    // holds memory here complains, and its memory goes off the books.
    ~KVORAXaRay() {
        if (ivImpl.getCapacity() > 0) kvoraArrayDestructorComplaint("KVORAXaRay", KVORA_PLACE);
    }

    int32_t getSize() const { return ivImpl.getSize(); }
    int32_t getCapacity() const { return ivImpl.getCapacity(); }
    T *getBlock() { return ivImpl.getBlock(); }
    const T *getBlock() const { return ivImpl.getBlock(); }
    T &operator[](int32_t index) { return ivImpl[index]; }
    const T &operator[](int32_t index) const { return ivImpl[index]; }
    T &at(int32_t index) { return ivImpl.at(index); }

    void setSizeCapacity(int32_t size, int32_t capacity, KVORA_ENV env) {
        ivImpl.setSizeCapacity(size, capacity, env, ivPlace);
    }
    void setSize(int32_t size, KVORA_ENV env) { ivImpl.setSize(size, env, ivPlace); }
    void setCapacity(int32_t capacity, KVORA_ENV env) { ivImpl.setCapacity(capacity, env, ivPlace); }
    void autoExtend(int32_t index, KVORA_ENV env) {
        if (index - N < ivImpl.getSize() && index >= N) return;  // the common case stays inline
        ivImpl.autoExtend(index, env, ivPlace);
    }
    void reset(KVORA_ENV env) { ivImpl.reset(env, ivPlace); }
    void transferFrom(KVORAXaRay &other, KVORA_ENV env) { ivImpl.transferFrom(other.ivImpl, env, ivPlace); }
    void copyFrom(const KVORAXaRay &other, KVORA_ENV env) { ivImpl.copyFrom(other.ivImpl, env, ivPlace); }
    void copyAppend(const T &value, KVORA_ENV env) { ivImpl.copyAppend(value, env, ivPlace); }
    T *makeNewSegment(int32_t size, int32_t capacity, KVORA_ENV env) {
        return ivImpl.makeNewSegment(size, capacity, env, ivPlace);
    }
    void receiveNewSegment(T *block, int32_t size, int32_t capacity, KVORA_ENV env) {
        ivImpl.receiveNewSegment(block, size, capacity, env, ivPlace);
    }

    KVORAXaRayImplementation<T, N> &implementation() { return ivImpl; }

private:
    KVORAXaRayImplementation<T, N> ivImpl;
    KVORAPlace ivPlace;
};
