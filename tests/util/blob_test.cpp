// Blob streams: counts of bytes moved, the end of the stream as status 1, a
// failed stream as another non-zero status, the binary writer's refusal
// when its sink fails, and no positioning.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
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

namespace {

// A byte source with only the two required operations: it gets the
// general reading of variable-length numbers, which the stream reader's
// own must agree with.
class PlainBlobReader : public KVOBlobReader {
public:
    explicit PlainBlobReader(std::string bytes) : ivBytes(std::move(bytes)) {}
    int32_t status() override { return ivEnded ? 1 : 0; }
    int64_t read(void *buffer, int64_t count) override {
        const int64_t got = std::min<int64_t>(count, static_cast<int64_t>(ivBytes.size() - ivAt));
        std::memcpy(buffer, ivBytes.data() + ivAt, static_cast<size_t>(got));
        ivAt += static_cast<size_t>(got);
        if (got < count) ivEnded = true;
        return got;
    }

private:
    std::string ivBytes;
    size_t ivAt = 0;
    bool ivEnded = false;
};

}  // namespace

TEST(BlobStreams, VariableLengthNumbersAgreeAcrossSources) {
    // 5; 300 (two groups); eleven groups, past 64 bits; then a number cut off.
    std::string bytes = {static_cast<char>(0x85), 0x2C, static_cast<char>(0x82)};
    for (int i = 0; i < 10; ++i) bytes.push_back(0x7F);
    bytes.push_back(static_cast<char>(0x81));
    bytes.push_back(0x01);
    std::istringstream in(bytes);
    KVOStreamBlobReader streamReader(&in);
    PlainBlobReader plainReader(bytes);
    for (KVOBlobReader *r : {static_cast<KVOBlobReader *>(&streamReader), static_cast<KVOBlobReader *>(&plainReader)}) {
        uint64_t v = 0;
        ASSERT_TRUE(r->readVarUnsigned(v));
        EXPECT_EQ(v, 5u);
        ASSERT_TRUE(r->readVarUnsigned(v));
        EXPECT_EQ(v, 300u);
        ASSERT_TRUE(r->readVarUnsigned(v));
        EXPECT_EQ(v, 0xFFFFFFFFFFFFFFFFull);
        v = 7;
        EXPECT_FALSE(r->readVarUnsigned(v));
        EXPECT_EQ(v, 7u);
        EXPECT_EQ(r->status(), 1);
    }
}
