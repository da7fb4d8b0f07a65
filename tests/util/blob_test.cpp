// Blob streams: counts of bytes moved, the end of the stream as status 1, a
// failed stream as another non-zero status, the binary writer's refusal
// when its sink fails, and no positioning.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "util_test_support.h"

TEST(BlobStreams, ReaderCountsAndEnd) {
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

    // Positioning is not implemented.
    EXPECT_TRUE(utiltest::failedWith(utiltest::caught([&] { r2.seek(0); }), "Function/Feature not yet implemented"));
}

TEST(BlobStreams, WriterCountsAndFailure) {
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

    // A sink that takes four bytes: the count says exactly what went in.
    struct FourBytes : std::streambuf {
        char room[4];
        FourBytes() { setp(room, room + 4); }
    } four;
    std::ostream small(&four);
    KVOStreamBlobWriter sw(&small);
    EXPECT_EQ(sw.write("abcdef", 6), 4);
    EXPECT_EQ(std::string(four.room, 4), "abcd");
    EXPECT_NE(sw.status(), 0);
    EXPECT_EQ(sw.write("g", 1), 0);

    // The binary writer clears ivGood and fails on a broken sink.
    KVORABinObjWriter writer(&bw, 0);
    KVORAEnv *env = nullptr;
    utiltest::Caught o = utiltest::caught([&] { writer.writeSigned(1, env); });
    EXPECT_TRUE(utiltest::failedWith(o, "BLOB I/O Write Error")) << o.err;
    EXPECT_EQ(writer.ivGood, 0);
}
