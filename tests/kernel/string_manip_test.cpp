// The string library: scanToken's three modes, its result rule and the
// position it leaves, trimming, substrings, and the number texts that the
// parameter files and reports depend on.
#include "kernel/kvora_string_manip.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Scan {
    bool result;
    int32_t position;
    std::string token;
};

Scan scan(const char *text, int32_t position, int32_t mode, const char *delimiters, int32_t mustBeNonEmpty,
          const char *incoming = "") {
    KVORAEnv *env = nullptr;
    KV2AscString line(text);
    KV2AscString token(incoming);
    bool r = scanToken(line, position, mode, token, delimiters, mustBeNonEmpty, env);
    return {r, position, token.c_str()};
}

}  // namespace

TEST(ScanToken, ModeZeroDropsBlanksEverywhereAndStopsBeforeTheDelimiter) {
    Scan s = scan("  a b\tc /rest", 0, 0, "/", 1);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.token, "abc");
    EXPECT_EQ(s.position, 8);  // on the "/", not past it
}

TEST(ScanToken, ModeOneKeepsInnerBlanksAndTrimsTheEnds) {
    Scan s = scan("  a b\tc <x", 0, 1, "<", 1);
    EXPECT_TRUE(s.result);
    EXPECT_EQ(s.token, "a b\tc");
    EXPECT_EQ(s.position, 8);
}

TEST(ScanToken, ModeTwoDependsOnTheIncomingToken) {
    // Incoming token not empty: the first blank ends the scan, position on it.
    Scan ends = scan("ab cd/>", 0, 2, "/>", 1, "x");
    EXPECT_TRUE(ends.result);
    EXPECT_EQ(ends.token, "ab");
    EXPECT_EQ(ends.position, 2);
    // A blank straight at the start gives an empty token: false, position back.
    Scan blankFirst = scan("< a/>", 1, 2, "/>", 1, "x");
    EXPECT_FALSE(blankFirst.result);
    EXPECT_EQ(blankFirst.position, 1);
    // Incoming token empty: blanks vanish as in mode 0.
    Scan drops = scan("a b >", 0, 2, ">", 1, "");
    EXPECT_TRUE(drops.result);
    EXPECT_EQ(drops.token, "ab");
    EXPECT_EQ(drops.position, 4);
}

TEST(ScanToken, ResultFollowsTheTokenNotTheDelimiter) {
    // No delimiter found, token non-empty: true with mustBeNonEmpty 1.
    Scan noDelimiter = scan("abc", 0, 0, "=", 1);
    EXPECT_TRUE(noDelimiter.result);
    EXPECT_EQ(noDelimiter.position, 3);
    // Must be empty, but text stands before the delimiter: false, position
    // back, the token keeps what was collected.
    Scan text = scan("x y<", 0, 0, "<", 0);
    EXPECT_FALSE(text.result);
    EXPECT_EQ(text.position, 0);
    EXPECT_EQ(text.token, "xy");
    // A blank rest with an empty delimiter list: true, at the end.
    Scan blank = scan("ab   ", 2, 0, "", 0);
    EXPECT_TRUE(blank.result);
    EXPECT_EQ(blank.position, 5);
    EXPECT_EQ(blank.token, "");
}

TEST(ScanToken, AnotherFlagValueIsNotImplemented) {
    EXPECT_ANY_THROW(scan("abc", 0, 0, "", 2));
}

TEST(StringManip, TrimAndSubstring) {
    KVORAEnv *env = nullptr;
    KV2AscString t(" \t a b \t");
    kvoraTrim(t, env);
    EXPECT_STREQ(t.c_str(), "a b");
    EXPECT_EQ(t.size(), 3u);
    KV2AscString blank("  \t ");
    kvoraTrim(blank, env);
    EXPECT_EQ(blank.size(), 0u);

    KV2AscString r;
    kvoraSubstring(KV2AscString("abcdef"), r, 1, 4, env);
    EXPECT_STREQ(r.c_str(), "bcd");
    kvoraSubstring(KV2AscString("abcdef"), r, 4, 99, env);
    EXPECT_STREQ(r.c_str(), "ef");
    kvoraSubstring(KV2AscString("abcdef"), r, 4, 2, env);
    EXPECT_STREQ(r.c_str(), "");
    EXPECT_EQ(kvoraCharAt(KV2AscString("xyz"), 1), 'y');
}

TEST(StringManip, NumberTextsUseTheDefaultStreamFormat) {
    KVORAEnv *env = nullptr;
    KV2AscString s;
    kvoraRealToString(3.14159265, s, env);
    EXPECT_STREQ(s.c_str(), "3.14159");
    kvoraRealToString(1234567.0, s, env);
    EXPECT_STREQ(s.c_str(), "1.23457e+06");
    kvoraRealToString(0.5, s, env);
    EXPECT_STREQ(s.c_str(), "0.5");
    kvoraLongToString(-2147483647 - 1, s, env);
    EXPECT_STREQ(s.c_str(), "-2147483648");

    EXPECT_EQ(kvoraStringToLong(KV2AscString(" 42abc")), 42);
    EXPECT_EQ(kvoraStringToLong(KV2AscString("abc")), 0);
    EXPECT_EQ(kvoraStringToReal(KV2AscString("2.5e1")), 25.0);
    EXPECT_EQ(kvoraStringToReal(KV2AscString("")), 0.0);
}

TEST(StringManip, SplitListsCountCommasPlusOne) {
    KVORAEnv *env = nullptr;
    KVORAXaRay<int32_t, 1> longs;
    EXPECT_EQ(kvoraSplitLongs(KV2AscString("1,2,3"), longs, env), 3);
    ASSERT_EQ(longs.getSize(), 3);
    EXPECT_EQ(longs[1], 1);
    EXPECT_EQ(longs[3], 3);
    EXPECT_EQ(kvoraSplitLongs(KV2AscString(""), longs, env), 1);
    EXPECT_EQ(longs.getSize(), 1);
    EXPECT_EQ(longs[1], 0);

    KVORAXaRay<double, 1> reals;
    EXPECT_EQ(kvoraSplitReals(KV2AscString("0.5, -2,1e3"), reals, env), 3);
    EXPECT_EQ(reals[1], 0.5);
    EXPECT_EQ(reals[2], -2.0);
    EXPECT_EQ(reals[3], 1000.0);
    longs.reset(env);
    reals.reset(env);
}
