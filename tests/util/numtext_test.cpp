// The fast number texts must be the stream's own, byte for byte: result files
// are compared whole.
#include "util/kvora_numtext.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>

namespace {

template <class T>
std::string streamed(T value) {
    std::ostringstream out;
    out << value;
    return out.str();
}

std::string realText(double value) {
    char buffer[kvoraNumTextRoom];
    return std::string(buffer, kvoraRealText(buffer, value));
}

template <class Int>
std::string intText(Int value) {
    char buffer[kvoraNumTextRoom];
    return std::string(buffer, kvoraIntText(buffer, value));
}

}  // namespace

TEST(NumText, RealsAsTheStreamWritesThem) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double cases[] = {0.0,     -0.0,     1.0,       -1.0,      0.5,        1e-5,      1e-4,      0.0001234565,
                            123456,  1234567,  999999.5,  9999995,   999999.49,  0.1 + 0.2, 1.0 / 3.0, 2.5e-300,
                            DBL_MAX, -DBL_MAX, DBL_MIN,   4.9e-324,  HUGE_VAL,   -HUGE_VAL, nan,       -nan,
                            1e15,    1e16,     123456.5,  12345.65,  0.000999999, 100000,   1e5 + 0.5, 7788};
    for (double v : cases) EXPECT_EQ(realText(v), streamed(v)) << v;
    // Any bit pattern: subnormals, payloads of NaNs, both signs.
    uint64_t state = 20261122;
    for (int i = 0; i < 200000; ++i) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        double v;
        std::memcpy(&v, &state, sizeof v);
        ASSERT_EQ(realText(v), streamed(v)) << state;
        // Values near round numbers, where the sixth digit carries.
        const double near = std::ldexp(static_cast<double>(state >> 40), static_cast<int>(state % 64) - 40);
        ASSERT_EQ(realText(near), streamed(near)) << state;
    }
}

TEST(NumText, IntegersAsTheStreamWritesThem) {
    EXPECT_EQ(intText(std::numeric_limits<int32_t>::min()), streamed(std::numeric_limits<int32_t>::min()));
    EXPECT_EQ(intText(std::numeric_limits<int32_t>::max()), streamed(std::numeric_limits<int32_t>::max()));
    EXPECT_EQ(intText(std::numeric_limits<uint64_t>::max()), streamed(std::numeric_limits<uint64_t>::max()));
    EXPECT_EQ(intText(uint64_t(0)), "0");
    EXPECT_EQ(intText(int32_t(-7788)), "-7788");
}
