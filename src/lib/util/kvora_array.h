// KVORAArray<T>: the growing array that always indexes from 1, the type of
// member arrays such as children lists. It shares the block handling and the
// growth rule of KVORAXaRay and has the same three members; the place where
// it was made goes to the memory account and to its complaint.
#pragma once

#include "util/kvora_xray.h"

template <class T>
class KVORAArray {
public:
    explicit KVORAArray(const char *file = __builtin_FILE(), int32_t line = __builtin_LINE(),
                        const char *function = __builtin_FUNCTION())
        : ivPlace{file, line, function, nullptr} {}
    KVORAArray(KVORAArray &&other) noexcept : ivImpl(std::move(other.ivImpl)), ivPlace(other.ivPlace) {}
    KVORAArray(const KVORAArray &) = delete;
    KVORAArray &operator=(const KVORAArray &) = delete;
    ~KVORAArray() {
        if (ivImpl.getCapacity() > 0) kvoraArrayDestructorComplaint("KVORAArray", KVORA_PLACE);
    }

    int32_t getSize() const { return ivImpl.getSize(); }
    int32_t getCapacity() const { return ivImpl.getCapacity(); }
    T *getBlock() { return ivImpl.getBlock(); }
    const T *getBlock() const { return ivImpl.getBlock(); }
    T &operator[](int32_t index) { return ivImpl[index]; }
    const T &operator[](int32_t index) const { return ivImpl[index]; }
    T &at(int32_t index) { return ivImpl.at(index); }

    void setSize(int32_t size, int32_t capacity, KVORA_ENV env) { ivImpl.setSizeCapacity(size, capacity, env, ivPlace); }
    void setSize(int32_t size, KVORA_ENV env) { ivImpl.setSize(size, env, ivPlace); }
    void autoExtend(int32_t index, KVORA_ENV env) {
        if (index >= 1 && index <= ivImpl.getSize()) return;
        ivImpl.autoExtend(index, env, ivPlace);
    }
    void copyAppend(const T &value, KVORA_ENV env) { ivImpl.copyAppend(value, env, ivPlace); }
    void copyFrom(const KVORAArray &other, KVORA_ENV env) { ivImpl.copyFrom(other.ivImpl, env, ivPlace); }
    void transferFrom(KVORAArray &other, KVORA_ENV env) { ivImpl.transferFrom(other.ivImpl, env, ivPlace); }
    void reset(KVORA_ENV env) { ivImpl.reset(env, ivPlace); }

private:
    KVORAXaRayImplementation<T, 1> ivImpl;
    KVORAPlace ivPlace;
};
