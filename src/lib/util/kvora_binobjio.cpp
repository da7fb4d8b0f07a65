// The variable-length integer encodings of the binary object format.
#include "util/kvora_binobjio.h"

int32_t kvoraEncodeUnsigned(uint64_t value, uint8_t *out)
{
    int32_t n = 0;
    while (value >= 0x80) {
        out[n++] = static_cast<uint8_t>(value & 0x7F);
        value >>= 7;
    }
    out[n++] = static_cast<uint8_t>(value | 0x80);
    return n;
}

int32_t kvoraEncodeSigned(int64_t value, uint8_t *out)
{
    uint64_t magnitude = static_cast<uint64_t>(value);
    uint8_t sign = 0;
    if (value < 0) {
        magnitude = ~magnitude;
        sign = 0x40;
    }
    uint8_t first = static_cast<uint8_t>((magnitude & 0x3F) | sign);
    magnitude >>= 6;
    if (magnitude == 0) {
        out[0] = static_cast<uint8_t>(first | 0x80);
        return 1;
    }
    out[0] = first;
    return 1 + kvoraEncodeUnsigned(magnitude, out + 1);
}
