// An array whose stream announces the largest size, 2^31-1: read into an
// array counted from 1, the elements are read one by one until the stream
// ends, which fails as a broken stream. The bound of that loop once overflowed
// 32 bits (undefined, and with wrapping it read no element at all and failed
// for want of EndArray instead).
#include <gtest/gtest.h>

#include <cstdint>
#include <sstream>
#include <string>

#include "util/kvora_binobjio.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

TEST(ObjectStreamArrays, TheLargestAnnouncedSizeReadsUntilTheStreamEnds)
{
    KVORAEnv *env = nullptr;
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, 0);
        writer.beginArray(INT32_MAX, env);
        writer.writeReal(2.5, env);
        writer.writeReal(-1.0, env);
    }
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    KVORAXaRay<double, 1> values;
    bool threw = false;
    testing::internal::CaptureStderr();
    try {
        kvoraRead(reader, values, env);
    } catch (int) {
        threw = true;
    }
    const std::string err = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(threw);
    EXPECT_EQ(err.find("EndArray keyword expected"), std::string::npos) << err;
    EXPECT_TRUE(err.find("BLOB Binary I/O Read Error") != std::string::npos ||
                err.find("read == size") != std::string::npos)
        << err;
    // The two elements that came were read before the stream broke off.
    ASSERT_GE(values.getSize(), 2);
    EXPECT_EQ(values[1], 2.5);
    EXPECT_EQ(values[2], -1.0);
    values.reset(env);
}
