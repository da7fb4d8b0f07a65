// The byte string and its hashed variant. Every failure prints and carries on:
// nothing below the assertions may throw, and a failed allocation leaves the
// string as it was.
#include "kvo/kv2ustra.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>
#include <string>

#include "util/kvora_xash.h"

namespace {
// Storage of every string without storage; never written.
const char kvEmptyByte = 0;
// What an out-of-range index answers instead of reading beyond the storage.
char kvScratchByte = 0;

#define KV2_CHECK(expr) KV2AscString::check((expr), #expr, __LINE__, __FILE__)

char *newBytes(int64_t count)
{
    char *p = (count > 0 && count <= 0x7FFFFFFF) ? new (std::nothrow) char[count] : nullptr;
    if (p == nullptr) {
        KV2AscString::check(false, "0 == 1", __LINE__, __FILE__);
    }
    return p;
}
}  // namespace

bool KV2AscString::check(bool ok, const char *expression, int32_t line, const char *file)
{
    if (!ok) {
        std::cerr << "\n*** ERROR: String Assert Failed: " << expression << "\n    At Line " << line
                  << ", File " << file << "\n";
        std::cerr.flush();
    }
    return ok;
}

KV2AscString::KV2AscString() : base(nullptr), act_len(0), pot_len(0) {}

KV2AscString::KV2AscString(const char *text) : KV2AscString()
{
    assign(text);
}

KV2AscString::KV2AscString(const char *text, int32_t length) : KV2AscString()
{
    assign(text, length);
}

void KV2AscString::formatFrom(const char *format, ...)
{
    char buf[256];
    va_list args;
    va_start(args, format);
    int n = vsnprintf(buf, sizeof buf, format, args);
    va_end(args);
    if (n < 1) {
        return;
    }
    KV2_CHECK(strlen(buf) < 256);
    assign(buf, static_cast<int32_t>(strlen(buf)));
}

KV2AscString::KV2AscString(int16_t value) : KV2AscString() { formatFrom("%hd", value); }
KV2AscString::KV2AscString(uint16_t value) : KV2AscString() { formatFrom("%hu", value); }
KV2AscString::KV2AscString(int32_t value) : KV2AscString() { formatFrom("%d", value); }
KV2AscString::KV2AscString(uint32_t value) : KV2AscString() { formatFrom("%u", value); }
KV2AscString::KV2AscString(int64_t value) : KV2AscString()
{
    formatFrom("%lld", static_cast<long long>(value));
}
KV2AscString::KV2AscString(uint64_t value) : KV2AscString()
{
    formatFrom("%llu", static_cast<unsigned long long>(value));
}
KV2AscString::KV2AscString(double value) : KV2AscString() { formatFrom("%.15lg", value); }

KV2AscString::KV2AscString(const KV2AscString &other) : KV2AscString()
{
    *this = other;
}

KV2AscString::KV2AscString(KV2AscString &&other) noexcept
    : base(other.base), act_len(other.act_len), pot_len(other.pot_len)
{
    other.base = nullptr;
    other.act_len = 0;
    other.pot_len = 0;
}

KV2AscString::~KV2AscString()
{
    delete[] base;
}

uint32_t KV2AscString::size() const
{
    if (act_len & KV2AscString_ACT_LEN_FLAG) {
        act_len = base ? static_cast<uint32_t>(strlen(base)) : 0;
    }
    return act_len;
}

const char *KV2AscString::c_str() const
{
    return base ? base : &kvEmptyByte;
}

char &KV2AscString::operator[](int32_t ix)
{
    if (KV2_CHECK(ix >= 0)) {
        KV2AscString::check(static_cast<uint32_t>(ix) < (this->act_len & KV2AscString_ACT_LEN_MASK),
                            "static_cast<unsigned long>(ix) < (this->act_len & KV2AscString_ACT_LEN_MASK)",
                            __LINE__, __FILE__);
    }
    // Out of range goes on, but never beyond the storage.
    if (base != nullptr && ix >= 0 && ix < pot_len) {
        return base[ix];
    }
    kvScratchByte = 0;
    return kvScratchByte;
}

char KV2AscString::operator[](int32_t ix) const
{
    return const_cast<KV2AscString *>(this)->operator[](ix);
}

void KV2AscString::setLength(int32_t length, int32_t capacity)
{
    if (length <= 0 && capacity == 0) {
        delete[] base;
        base = nullptr;
        act_len = 0;
        pot_len = 0;
        return;
    }
    if (length < 0) {
        length = 0;
    }
    int64_t need = static_cast<int64_t>(length) + 1;
    if (capacity > need) {
        need = capacity;
    }
    if (need > pot_len) {
        char *p = newBytes(need);
        if (p == nullptr) {
            return;
        }
        memset(p, 0, static_cast<size_t>(need));
        if (base != nullptr) {
            uint32_t keep = size();
            if (keep > static_cast<uint32_t>(length)) {
                keep = static_cast<uint32_t>(length);
            }
            memcpy(p, base, keep);
        }
        delete[] base;
        base = p;
        pot_len = static_cast<int32_t>(need);
    }
    base[length] = 0;
    act_len = static_cast<uint32_t>(length);
}

void KV2AscString::assign(const char *text, int32_t length)
{
    if (text == nullptr || length < 1) {
        if (base != nullptr) {
            base[0] = 0;
        }
        act_len = 0;
        return;
    }
    if (text == base) {
        if (static_cast<uint32_t>(length) < size()) {
            base[length] = 0;
            act_len = static_cast<uint32_t>(length);
        }
        return;
    }
    if (pot_len < static_cast<int64_t>(length) + 1) {
        char *p = newBytes(static_cast<int64_t>(length) + 1);
        if (p == nullptr) {
            return;
        }
        delete[] base;
        base = p;
        pot_len = length + 1;
    }
    strncpy(base, text, static_cast<size_t>(length));
    base[length] = 0;
    act_len = static_cast<uint32_t>(strlen(base));
}

void KV2AscString::assign(const char *text)
{
    assign(text, text ? static_cast<int32_t>(strlen(text)) : 0);
}

KV2AscString &KV2AscString::operator=(const KV2AscString &other)
{
    if (this == &other) {
        return *this;
    }
    uint32_t n = other.size();
    if (n == 0) {
        assign(nullptr, 0);
    } else {
        assign(other.base, static_cast<int32_t>(n));
    }
    return *this;
}

KV2AscString &KV2AscString::operator=(KV2AscString &&other) noexcept
{
    if (this != &other && other.size() == 0) {
        // An empty source keeps this string's capacity, as a copy would.
        assign(nullptr, 0);
    } else if (this != &other) {
        delete[] base;
        base = other.base;
        act_len = other.act_len;
        pot_len = other.pot_len;
        other.base = nullptr;
        other.act_len = 0;
        other.pot_len = 0;
    }
    return *this;
}

KV2AscString &KV2AscString::operator=(const char *text)
{
    assign(text);
    return *this;
}

void KV2AscString::appendBytes(const char *text, uint32_t length)
{
    uint32_t cur = size();
    uint64_t tot_len = static_cast<uint64_t>(cur) + length;
    if (!KV2_CHECK(tot_len > 0)) {
        return;
    }
    if (tot_len >= KV2AscString_ACT_LEN_MASK) {
        KV2AscString::check(false, "0 == 1", __LINE__, __FILE__);
        return;
    }
    if (static_cast<int64_t>(tot_len) + 1 > pot_len) {
        // Geometric growth keeps a loop of appends linear.
        int64_t want = static_cast<int64_t>(tot_len) + 1;
        int64_t grown = static_cast<int64_t>(pot_len) + pot_len / 2;
        if (grown > want && grown < KV2AscString_ACT_LEN_MASK) {
            want = grown;
        }
        char *p = newBytes(want);
        if (p == nullptr) {
            return;
        }
        if (base != nullptr) {
            memcpy(p, base, cur);
        }
        p[cur] = 0;
        // The appended text may live in the old buffer: copy before freeing it.
        memcpy(p + cur, text, length);
        p[tot_len] = 0;
        delete[] base;
        base = p;
        pot_len = static_cast<int32_t>(want);
        act_len = static_cast<uint32_t>(tot_len);
        return;
    }
    KV2_CHECK(tot_len < (unsigned long)(this->pot_len));
    KV2_CHECK(this->act_len == strlen(this->base));
    memmove(base + cur, text, length);
    base[tot_len] = 0;
    act_len = static_cast<uint32_t>(tot_len);
}

KV2AscString &KV2AscString::operator+=(const KV2AscString &other)
{
    appendBytes(other.c_str(), other.size());
    return *this;
}

KV2AscString &KV2AscString::operator+=(const char *text)
{
    const char *t = text ? text : &kvEmptyByte;
    appendBytes(t, static_cast<uint32_t>(strlen(t)));
    return *this;
}

KV2AscString &KV2AscString::operator+=(char c)
{
    appendBytes(&c, 1);
    return *this;
}

int32_t KV2AscString::compare(const char *text) const
{
    const unsigned char *a = reinterpret_cast<const unsigned char *>(c_str());
    const unsigned char *b = reinterpret_cast<const unsigned char *>(text ? text : &kvEmptyByte);
    while (*a != 0 && *a == *b) {
        ++a;
        ++b;
    }
    return static_cast<int32_t>(*a) - static_cast<int32_t>(*b);
}

int32_t KV2AscString::compare(const KV2AscString &other) const
{
    return compare(other.c_str());
}

std::ostream &operator<<(std::ostream &os, const KV2AscString &s)
{
    return os << s.c_str();
}

std::istream &operator>>(std::istream &is, KV2AscString &s)
{
    std::string word;
    if (is >> word) {
        s.assign(word.c_str(), static_cast<int32_t>(word.size()));
    }
    return is;
}

// ---- KVORAHashString ----

KVORAHashString::KVORAHashString() : KV2AscString(), ivHashValid(0), ivHash(0)
{
    rehash();
}

KVORAHashString::KVORAHashString(const char *text) : KV2AscString(text), ivHashValid(0), ivHash(0)
{
    rehash();
}

KVORAHashString::KVORAHashString(const char *text, int32_t length)
    : KV2AscString(text, length), ivHashValid(0), ivHash(0)
{
    rehash();
}

KVORAHashString::KVORAHashString(const KV2AscString &other) : KV2AscString(other), ivHashValid(0), ivHash(0)
{
    rehash();
}

KVORAHashString::KVORAHashString(const KVORAHashString &other)
    : KV2AscString(other), ivHashValid(other.ivHashValid), ivHash(other.ivHash)
{
}

KVORAHashString::KVORAHashString(KVORAHashString &&other) noexcept
    : KV2AscString(static_cast<KV2AscString &&>(other)), ivHashValid(other.ivHashValid), ivHash(other.ivHash)
{
    other.ivHashValid = 0;
    other.ivHash = 0;
}

void KVORAHashString::rehash() const
{
    ivHash = kvoraHashBytes(c_str(), size(), 0);
    ivHashValid = 1;
}

uint32_t KVORAHashString::getHash() const
{
    if (!ivHashValid) {
        rehash();
    }
    return ivHash;
}

KVORAHashString &KVORAHashString::operator=(const KVORAHashString &other)
{
    if (this != &other) {
        KV2AscString::operator=(other);
        ivHashValid = other.ivHashValid;
        ivHash = other.ivHash;
    }
    return *this;
}

KVORAHashString &KVORAHashString::operator=(KVORAHashString &&other) noexcept
{
    if (this != &other) {
        KV2AscString::operator=(static_cast<KV2AscString &&>(other));
        ivHashValid = other.ivHashValid;
        ivHash = other.ivHash;
        other.ivHashValid = 0;
        other.ivHash = 0;
    }
    return *this;
}

KVORAHashString &KVORAHashString::operator=(const KV2AscString &other)
{
    KV2AscString::operator=(other);
    rehash();
    return *this;
}

KVORAHashString &KVORAHashString::operator=(const char *text)
{
    KV2AscString::assign(text);
    rehash();
    return *this;
}

KVORAHashString &KVORAHashString::operator+=(const KV2AscString &other)
{
    KV2AscString::operator+=(other);
    clearHash();
    return *this;
}

KVORAHashString &KVORAHashString::operator+=(const char *text)
{
    KV2AscString::operator+=(text);
    clearHash();
    return *this;
}

KVORAHashString &KVORAHashString::operator+=(char c)
{
    KV2AscString::operator+=(c);
    clearHash();
    return *this;
}

void KVORAHashString::setLength(int32_t length, int32_t capacity)
{
    KV2AscString::setLength(length, capacity);
    clearHash();
}

void KVORAHashString::assign(const char *text, int32_t length)
{
    KV2AscString::assign(text, length);
    rehash();
}

void KVORAHashString::assign(const char *text)
{
    KV2AscString::assign(text);
    rehash();
}
