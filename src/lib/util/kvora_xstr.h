// The string of the type registry's name table: bytes in a growing array, so
// that its memory is on the environment's account and its operations carry
// the environment like every other container of the system. The array's size
// is the length; the terminator stands just past it, inside the capacity.
#pragma once

#include <cstdint>
#include <istream>

#include "util/kvora_env.h"
#include "util/kvora_xray.h"

class KVORATypeNameString {
public:
    KVORATypeNameString() : ivChars(KVORA_PLACE) {}
    KVORATypeNameString(KVORATypeNameString &&other) noexcept : ivChars(std::move(other.ivChars)) {}
    KVORATypeNameString(const KVORATypeNameString &) = delete;
    KVORATypeNameString &operator=(const KVORATypeNameString &) = delete;

    int32_t size() const { return ivChars.getSize(); }
    // The bytes, terminated; "" without storage.
    const char *c_str() const;
    uint32_t hash() const;
    bool equals(const char *text, int32_t length) const;
    bool operator==(const KVORATypeNameString &other) const { return equals(other.c_str(), other.size()); }

    void reset(KVORA_ENV env) { ivChars.reset(env); }
    // Length `size`: kept bytes stay, new ones are zero.
    void setSize(int32_t size, KVORA_ENV env);
    void append(const char *text, int32_t length, KVORA_ENV env);
    void append(const char *text, KVORA_ENV env);
    void copyFrom(const KVORATypeNameString &other, KVORA_ENV env);
    void transferFrom(KVORATypeNameString &other, KVORA_ENV env);
    // Skips white space and takes the next word.
    void read(std::istream &in, KVORA_ENV env);

private:
    KVORAXaRay<char, 0> ivChars;
};
