#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "util/kvora_truncate.h"

// Toward zero inside the range; the lowest integer for everything the range
// does not hold, NaN and the infinities included.
TEST(Truncate64, TowardZeroInsideAndTheLowestIntegerOutside) {
    const double two63 = 9223372036854775808.0;
    EXPECT_EQ(kvoraTruncate64(0.0), 0);
    EXPECT_EQ(kvoraTruncate64(-0.0), 0);
    EXPECT_EQ(kvoraTruncate64(-0.5), 0);
    EXPECT_EQ(kvoraTruncate64(2.999), 2);
    EXPECT_EQ(kvoraTruncate64(-2.999), -2);
    EXPECT_EQ(kvoraTruncate64(-99999.0), -99999);
    EXPECT_EQ(kvoraTruncate64(-two63), INT64_MIN);
    EXPECT_EQ(kvoraTruncate64(std::nextafter(two63, 0.0)), INT64_C(9223372036854774784));
    EXPECT_EQ(kvoraTruncate64(two63), INT64_MIN);
    EXPECT_EQ(kvoraTruncate64(std::nextafter(-two63, -1e300)), INT64_MIN);
    EXPECT_EQ(kvoraTruncate64(1e300), INT64_MIN);
    EXPECT_EQ(kvoraTruncate64(std::numeric_limits<double>::infinity()), INT64_MIN);
    EXPECT_EQ(kvoraTruncate64(-std::numeric_limits<double>::infinity()), INT64_MIN);
    EXPECT_EQ(kvoraTruncate64(std::nan("")), INT64_MIN);
}
