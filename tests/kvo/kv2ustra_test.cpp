// The byte string and its hashed variant: number texts, capacity reuse,
// assignment from its own buffer, comparison, stale lengths, and the
// print-and-carry-on failures.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <sstream>
#include <string>

#include "kvo/kv2ustra.h"
#include "util/kvora_xash.h"

TEST(KV2AscString, NumberTexts)
{
    EXPECT_EQ(KV2AscString(3.0), "3");
    EXPECT_EQ(KV2AscString(0.1), "0.1");
    EXPECT_EQ(KV2AscString(1e20), "1e+20");
    EXPECT_EQ(KV2AscString(1.0 / 3.0), "0.333333333333333");
    EXPECT_EQ(KV2AscString(int32_t(-5)), "-5");
    EXPECT_EQ(KV2AscString(uint32_t(4294967295u)), "4294967295");
    EXPECT_EQ(KV2AscString(int16_t(-32768)), "-32768");
    EXPECT_EQ(KV2AscString(uint16_t(65535)), "65535");
    EXPECT_EQ(KV2AscString(INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(KV2AscString(UINT64_MAX), "18446744073709551615");
}

TEST(KV2AscString, AssignKeepsCapacityAndStopsAtZero)
{
    KV2AscString s("a longer text");
    int32_t cap = s.capacity();
    EXPECT_EQ(cap, 14);
    s = "short";
    EXPECT_EQ(s.size(), 5u);
    EXPECT_EQ(s.capacity(), cap);
    s = KV2AscString();
    EXPECT_EQ(s.size(), 0u);
    EXPECT_EQ(s.capacity(), cap);
    EXPECT_NE(s.base, nullptr);

    // A text with an embedded zero ends there.
    s.assign("ab\0cd", 5);
    EXPECT_EQ(s.size(), 2u);
    EXPECT_EQ(s, "ab");

    // Null or a length below 1 makes it empty.
    s.assign(nullptr, 3);
    EXPECT_EQ(s.size(), 0u);
    s.assign("xyz", 0);
    EXPECT_EQ(s.size(), 0u);
}

TEST(KV2AscString, AssignFromOwnBufferTruncates)
{
    KV2AscString s("abcdef");
    s.assign(s.base, 3);
    EXPECT_EQ(s, "abc");
    s.assign(s.base, 10);  // longer than itself: unchanged
    EXPECT_EQ(s, "abc");
    s = s;
    EXPECT_EQ(s, "abc");
}

TEST(KV2AscString, EmptyFormsCompareEqual)
{
    KV2AscString none;
    KV2AscString stored("x");
    stored.assign("", 0);
    EXPECT_EQ(none.base, nullptr);
    EXPECT_NE(stored.base, nullptr);
    EXPECT_TRUE(none == stored);
    EXPECT_STREQ(none.c_str(), "");
    EXPECT_EQ(none.size(), 0u);
}

TEST(KV2AscString, ComparesBytesAsUnsigned)
{
    EXPECT_LT(KV2AscString("a"), KV2AscString("\xff"));
    EXPECT_LT(KV2AscString("ab"), KV2AscString("abc"));
    EXPECT_GT(KV2AscString("b"), KV2AscString("abc"));
    EXPECT_EQ(KV2AscString("abc").compare("abc"), 0);
    // Text after an embedded zero does not count.
    KV2AscString a;
    a.setLength(3, 0);
    memcpy(a.base, "a\0b", 3);
    EXPECT_TRUE(a == KV2AscString("a"));
}

TEST(KV2AscString, SetLengthAndStaleLength)
{
    KV2AscString s("hello");
    s.setLength(3, 0);
    EXPECT_EQ(s, "hel");
    EXPECT_EQ(s.size(), 3u);
    s.setLength(2, 40);
    EXPECT_EQ(s, "he");
    EXPECT_EQ(s.capacity(), 40);
    s.setLength(0, 0);
    EXPECT_EQ(s.base, nullptr);
    EXPECT_EQ(s.capacity(), 0);
    EXPECT_EQ(s.size(), 0u);

    // A writer fills the buffer and marks the length stale.
    s.setLength(0, 16);
    strcpy(s.base, "written");
    s.markLengthStale();
    EXPECT_EQ(s.size(), 7u);
    EXPECT_EQ(s.act_len, 7u);  // the flag is cleared
}

TEST(KV2AscString, AppendGrowsAndKeepsContent)
{
    KV2AscString s;
    std::string expect;
    for (int i = 0; i < 200; ++i) {
        s += "ab";
        s += 'c';
        expect += "abc";
    }
    EXPECT_EQ(std::string(s.c_str()), expect);
    EXPECT_EQ(s.size(), 600u);
    EXPECT_GT(s.capacity(), 600);
    KV2AscString t("xy");
    t += t;
    EXPECT_EQ(t, "xyxy");
}

TEST(KV2AscString, StreamInputAndOutput)
{
    std::istringstream in("  first\tsecond\n");
    KV2AscString a, b;
    in >> a >> b;
    EXPECT_EQ(a, "first");
    EXPECT_EQ(b, "second");
    std::ostringstream out;
    out << a << '|' << KV2AscString();
    EXPECT_EQ(out.str(), "first|");
}

TEST(KV2AscString, FailuresPrintAndCarryOn)
{
    KV2AscString s("abc");
    testing::internal::CaptureStderr();
    char c = s[5];
    char d = s[-1];
    KV2AscString empty;
    empty += "";  // nothing to append: tot_len is 0
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(c, 0);
    EXPECT_EQ(d, 0);
    EXPECT_NE(err.find("\n*** ERROR: String Assert Failed: "
                       "static_cast<unsigned long>(ix) < (this->act_len & KV2AscString_ACT_LEN_MASK)\n    At Line "),
              std::string::npos)
        << err;
    EXPECT_NE(err.find("String Assert Failed: ix >= 0\n"), std::string::npos) << err;
    EXPECT_NE(err.find("String Assert Failed: tot_len > 0\n"), std::string::npos) << err;
    EXPECT_EQ(s, "abc");
    EXPECT_EQ(s[1], 'b');
}

TEST(KVORAHashString, HashFollowsTheBytes)
{
    KVORAHashString h("ivIsLeaf");
    EXPECT_EQ(h.ivHashValid, 1);
    EXPECT_EQ(h.getHash(), kvoraHashBytes("ivIsLeaf", 8, 0));
    h += "X";
    EXPECT_EQ(h.ivHashValid, 0);
    EXPECT_EQ(h.ivHash, 0u);
    EXPECT_EQ(h.getHash(), kvoraHashBytes("ivIsLeafX", 9, 0));

    KVORAHashString copy;
    copy = h;
    EXPECT_EQ(copy.ivHashValid, 1);
    EXPECT_EQ(copy.ivHash, h.ivHash);
    EXPECT_EQ(copy, "ivIsLeafX");

    KVORAHashString empty;
    EXPECT_EQ(empty.getHash(), kvoraHashBytes(nullptr, 0, 0));
    KVORAHashString fromPlain(KV2AscString("ab"));
    EXPECT_EQ(fromPlain.getHash(), kvoraHashBytes("ab", 2, 0));
}
