// A real truncated toward zero to a 64-bit integer as the x86-64 conversion
// instruction does it: outside the range, and for NaN, the lowest integer.
// Record loops convert a value or two per record, so the instruction itself
// serves where there is one, in place of range tests before a conversion.
#pragma once

#include <cstdint>

#if defined(__x86_64__) && defined(__SSE2__)
#include <emmintrin.h>
#endif

inline int64_t kvoraTruncate64(double value)
{
#if defined(__x86_64__) && defined(__SSE2__)
    return _mm_cvttsd_si64(_mm_set_sd(value));
#else
    if (value >= -9223372036854775808.0 && value < 9223372036854775808.0) return static_cast<int64_t>(value);
    return INT64_MIN;
#endif
}
