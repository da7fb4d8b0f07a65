// The hash functions. All arithmetic is modulo 2 to the 32nd power on
// unsigned 32-bit values, whatever the width of `long` on the platform.
#include "util/kvora_xash.h"

#include <cmath>
#include <cstring>

namespace {
constexpr uint32_t kA = 1664525u;
constexpr uint32_t kC = 1013904223u;

// A byte read as signed, widened to 32 bits.
inline uint32_t sb(const unsigned char *p) { return static_cast<uint32_t>(static_cast<int32_t>(static_cast<int8_t>(*p))); }
}  // namespace

uint32_t kvoraHashBytes(const void *data, uint32_t length, uint32_t seed) {
    if (data == nullptr || length == 0) return kvoraHashFinish(seed);
    const unsigned char *p = static_cast<const unsigned char *>(data);
    uint32_t h = seed;
    uint32_t groups = length / 4;
    for (; groups > 0; --groups, p += 4) {
        const uint32_t w = (sb(p) << 24) + (sb(p + 1) << 16) + (sb(p + 2) << 8) + sb(p + 3);
        h = (h + w) * kA + kC;
    }
    uint32_t t = 0;
    switch (length % 4) {
    case 3: t = ((sb(p) << 8) + sb(p + 1)) * 256u + sb(p + 2); break;
    case 2: t = (sb(p) << 8) + sb(p + 1); break;
    case 1: t = sb(p); break;
    default: break;
    }
    return kvoraHashFinish(h + t);
}

uint32_t kvoraHashText(const char *text, uint32_t running) {
    if (text == nullptr) return kvoraHashBytes(nullptr, 0, running);
    return kvoraHashBytes(text, static_cast<uint32_t>(std::strlen(text)), running);
}

uint32_t kvoraHashCombine(uint32_t a, uint32_t b) {
    return kvoraHashMix(kvoraHashRotate(kvoraHashMix(kvoraHashRotate(a) ^ b)) ^ b);
}

uint32_t kvoraHashReal(double value, uint32_t running) {
    int e = 0;
    const double m = std::frexp(value, &e);
    // |m| < 1, so the product fits a 32-bit integer; NaN and infinities have
    // no defined mantissa and hash as 0.
    const double scaled = m * 2147483647.0;
    const int32_t t = std::isfinite(scaled) ? static_cast<int32_t>(scaled) : 0;
    return static_cast<uint32_t>(t) * 0xAF490A95u - (static_cast<uint32_t>(e) + running) * 1432516515u +
           1649599747u;
}
