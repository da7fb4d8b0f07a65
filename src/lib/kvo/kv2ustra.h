// The byte string of the whole system, and its keyed variant with a cached hash.
// It stands under everything else (assertions, tables, streams), so it never
// throws: a violated condition is printed and the operation carries on. Storage
// comes from plain new[] and stays off the memory account, because a string has
// no environment. Capacity is kept on shorter assignments, so a string reused
// per row stops allocating once it has seen the longest value.
#pragma once

#include <cstdint>
#include <iosfwd>

// Top bit of act_len: the length is stale and is recomputed by the terminator.
#define KV2AscString_ACT_LEN_FLAG 0x80000000u
#define KV2AscString_ACT_LEN_MASK 0x7FFFFFFFu

class KV2AscString {
public:
    char *base;               // null when the string has no storage
    mutable uint32_t act_len; // length; top bit marks it stale
    int32_t pot_len;          // bytes allocated, terminator included

    KV2AscString();
    KV2AscString(const char *text);
    KV2AscString(const char *text, int32_t length);
    explicit KV2AscString(int16_t value);
    explicit KV2AscString(uint16_t value);
    explicit KV2AscString(int32_t value);
    explicit KV2AscString(uint32_t value);
    explicit KV2AscString(int64_t value);
    explicit KV2AscString(uint64_t value);
    explicit KV2AscString(double value);
    KV2AscString(const KV2AscString &other);
    KV2AscString(KV2AscString &&other) noexcept;
    ~KV2AscString();

    // Length in bytes; recomputed by the terminator if a writer marked it stale.
    uint32_t size() const;
    // The bytes, terminated; a string without storage reads as one shared zero byte.
    const char *c_str() const;
    int32_t capacity() const { return pot_len; }
    bool isEmpty() const { return size() == 0; }
    // Marks the length stale after the buffer was written through `base`.
    void markLengthStale() { act_len |= KV2AscString_ACT_LEN_FLAG; }

    char &operator[](int32_t ix);
    char operator[](int32_t ix) const;

    void setLength(int32_t length, int32_t capacity);
    void assign(const char *text, int32_t length);
    void assign(const char *text);

    KV2AscString &operator=(const KV2AscString &other);
    KV2AscString &operator=(KV2AscString &&other) noexcept;
    KV2AscString &operator=(const char *text);
    KV2AscString &operator+=(const KV2AscString &other);
    KV2AscString &operator+=(const char *text);
    KV2AscString &operator+=(char c);

    // Byte-wise unsigned comparison up to the terminator: <0, 0, >0.
    int32_t compare(const KV2AscString &other) const;
    int32_t compare(const char *text) const;

    // Prints the string assertion and carries on; answers `ok`.
    static bool check(bool ok, const char *expression, int32_t line, const char *file);

protected:
    void appendBytes(const char *text, uint32_t length);
    void formatFrom(const char *format, ...);
};

inline bool operator==(const KV2AscString &a, const KV2AscString &b) { return a.compare(b) == 0; }
inline bool operator!=(const KV2AscString &a, const KV2AscString &b) { return a.compare(b) != 0; }
inline bool operator<(const KV2AscString &a, const KV2AscString &b) { return a.compare(b) < 0; }
inline bool operator>(const KV2AscString &a, const KV2AscString &b) { return a.compare(b) > 0; }
inline bool operator<=(const KV2AscString &a, const KV2AscString &b) { return a.compare(b) <= 0; }
inline bool operator>=(const KV2AscString &a, const KV2AscString &b) { return a.compare(b) >= 0; }
inline bool operator==(const KV2AscString &a, const char *b) { return a.compare(b) == 0; }
inline bool operator!=(const KV2AscString &a, const char *b) { return a.compare(b) != 0; }

std::ostream &operator<<(std::ostream &os, const KV2AscString &s);
std::istream &operator>>(std::istream &is, KV2AscString &s);

// A string that carries the 32-bit hash of its bytes (seed 0), for names and
// table keys: a repeated lookup of the same key does not rehash it. Appending
// clears the cached hash; getHash() recomputes it when it is not current.
class KVORAHashString : public KV2AscString {
public:
    mutable int32_t ivHashValid; // 1 when ivHash is current
    mutable uint32_t ivHash;

    KVORAHashString();
    KVORAHashString(const char *text);
    KVORAHashString(const char *text, int32_t length);
    KVORAHashString(const KV2AscString &other);
    KVORAHashString(const KVORAHashString &other);
    KVORAHashString(KVORAHashString &&other) noexcept;

    uint32_t getHash() const;
    void rehash() const;

    KVORAHashString &operator=(const KVORAHashString &other);
    KVORAHashString &operator=(KVORAHashString &&other) noexcept;
    KVORAHashString &operator=(const KV2AscString &other);
    KVORAHashString &operator=(const char *text);
    KVORAHashString &operator+=(const KV2AscString &other);
    KVORAHashString &operator+=(const char *text);
    KVORAHashString &operator+=(char c);

    void setLength(int32_t length, int32_t capacity);
    void assign(const char *text, int32_t length);
    void assign(const char *text);

private:
    void clearHash() { ivHashValid = 0; ivHash = 0; }
};
