// Blob streams: counts of bytes moved, the end of the stream as status 1, a
// failed stream as another non-zero status, and the binary writer's refusal
// when its sink fails.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "util/kvora_binobjio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

TEST(BlobStreams, ReaderCountsAndEnd)
{
    std::istringstream in(std::string("abcde"));
    KVOStreamBlobReader r(&in);
    char buf[8] = {};
    EXPECT_EQ(r.read(buf, 3), 3);
    EXPECT_EQ(std::string(buf, 3), "abc");
    EXPECT_EQ(r.status(), 0);
    EXPECT_EQ(r.read(buf, 2), 2);  // exactly to the end: still good
    EXPECT_EQ(r.status(), 0);
    EXPECT_EQ(r.read(buf, 4), 0);
    EXPECT_EQ(r.status(), 1);

    std::istringstream in2(std::string("xy"));
    KVOStreamBlobReader r2(&in2);
    EXPECT_EQ(r2.read(buf, 5), 2);  // fewer than asked
    EXPECT_EQ(r2.status(), 1);
}

TEST(BlobStreams, WriterCountsAndFailure)
{
    std::ostringstream out;
    {
        KVOStreamBlobWriter w(&out);
        EXPECT_EQ(w.write("hello", 5), 5);
        EXPECT_EQ(w.status(), 0);
    }
    EXPECT_EQ(out.str(), "hello");

    std::ostringstream broken;
    broken.setstate(std::ios::badbit);
    KVOStreamBlobWriter bw(&broken);
    EXPECT_EQ(bw.write("abc", 3), 0);
    EXPECT_NE(bw.status(), 0);

    // The binary writer clears ivGood and fails on a broken sink.
    KVORABinObjWriter writer(&bw, 0);
    KVORAEnv *env = nullptr;
    testing::internal::CaptureStderr();
    bool threw = false;
    try {
        writer.writeSigned(1, env);
    } catch (int) {
        threw = true;
    }
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(threw);
    EXPECT_EQ(writer.ivGood, 0);
    EXPECT_NE(err.find("BLOB I/O Write Error"), std::string::npos) << err;
}

TEST(BlobStreams, PositioningIsNotImplemented)
{
    std::istringstream in(std::string("a"));
    KVOStreamBlobReader r(&in);
    testing::internal::CaptureStderr();
    bool threw = false;
    try {
        r.seek(0);
    } catch (int) {
        threw = true;
    }
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(threw);
    EXPECT_NE(err.find("Function/Feature not yet implemented"), std::string::npos);
}
