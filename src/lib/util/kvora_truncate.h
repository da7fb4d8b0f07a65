// A real truncated toward zero to a 64-bit integer as the x86-64 conversion
// instruction does it: outside the range, and for NaN, the lowest integer.
// Record loops convert a value or two per record, so the instruction itself
// serves where there is one, in place of range tests before a conversion.
// It is written out rather than called through the compiler's built-in,
// which the compiler may fold with other answers for values out of range.
#pragma once

#include <cstdint>

inline int64_t kvoraTruncate64(double value)
{
#if defined(__x86_64__) && defined(__GNUC__)
    int64_t result;
    __asm__("cvttsd2si %1, %0" : "=r"(result) : "x"(value));
    return result;
#else
    if (value >= -9223372036854775808.0 && value < 9223372036854775808.0) return static_cast<int64_t>(value);
    return INT64_MIN;
#endif
}
