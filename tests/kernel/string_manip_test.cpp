// The string library: scanToken's modes, its result rule and the position it
// leaves (the parameter reader depends on each), and the number texts and
// lists that nothing else here reads.
#include "kernel/kvora_string_manip.h"

#include <gtest/gtest.h>

#include <string>

TEST(ScanToken, ModesResultAndPosition) {
    struct Case {
        const char *text;
        int32_t start, mode;
        const char *delimiters;
        int32_t mustBeNonEmpty;
        const char *incoming;
        bool result;
        int32_t position;
        const char *token;  // nullptr: not checked
    } cases[] = {
        {"  a b\tc /rest", 0, 0, "/", 1, "", true, 8, "abc"},  // blanks dropped, stops on the delimiter
        {"  a b\tc <x", 0, 1, "<", 1, "", true, 8, "a b\tc"},  // inner blanks kept, ends trimmed
        {"ab cd/>", 0, 2, "/>", 1, "x", true, 2, "ab"},        // a token came in: a blank ends it
        {"< a/>", 1, 2, "/>", 1, "x", false, 1, nullptr},      // ... at once: empty, position back
        {"a b >", 0, 2, ">", 1, "", true, 4, "ab"},            // no token came in: as mode 0
        {"abc", 0, 0, "=", 1, "", true, 3, nullptr},           // no delimiter at all
        {"x y<", 0, 0, "<", 0, "", false, 0, "xy"},            // must be empty but is not
        {"ab   ", 2, 0, "", 0, "", true, 5, ""},               // a blank rest, no delimiters
    };
    KVORAEnv *env = nullptr;
    for (const Case &c : cases) {
        KV2AscString token(c.incoming);
        int32_t position = c.start;
        EXPECT_EQ(scanToken(KV2AscString(c.text), position, c.mode, token, c.delimiters, c.mustBeNonEmpty, env),
                  c.result) << c.text;
        EXPECT_EQ(position, c.position) << c.text;
        if (c.token != nullptr) EXPECT_STREQ(token.c_str(), c.token) << c.text;
    }
    // Another flag value is not implemented.
    KV2AscString token;
    int32_t position = 0;
    EXPECT_ANY_THROW(scanToken(KV2AscString("abc"), position, 0, token, "", 2, env));
}

TEST(StringManip, SubstringsNumberTextsAndLists) {
    KVORAEnv *env = nullptr;
    KV2AscString r;
    kvoraSubstring(KV2AscString("abcdef"), r, 4, 99, env);  // clamped at the end
    EXPECT_STREQ(r.c_str(), "ef");
    kvoraSubstring(KV2AscString("abcdef"), r, 4, 2, env);
    EXPECT_STREQ(r.c_str(), "");
    kvoraLongToString(-2147483647 - 1, r, env);
    EXPECT_STREQ(r.c_str(), "-2147483648");
    EXPECT_EQ(kvoraStringToLong(KV2AscString(" 42abc")), 42);
    EXPECT_EQ(kvoraStringToLong(KV2AscString("abc")), 0);
    EXPECT_EQ(kvoraStringToReal(KV2AscString("2.5e1")), 25.0);

    KVORAXaRay<int32_t, 1> longs;
    EXPECT_EQ(kvoraSplitLongs(KV2AscString(""), longs, env), 1);  // commas plus one
    EXPECT_EQ(longs[1], 0);
    KVORAXaRay<double, 1> reals;
    ASSERT_EQ(kvoraSplitReals(KV2AscString("0.5, -2,1e3"), reals, env), 3);
    EXPECT_EQ(reals[2], -2.0);
    EXPECT_EQ(reals[3], 1000.0);
    longs.reset(env);
    reals.reset(env);
}
