// The string library: scanToken's modes, its result rule and the position it
// leaves (the parameter reader depends on each), and the integer text. The
// list splitting, substring and text-to-number helpers have no caller in the
// product and are left untested here.
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
        if (c.token != nullptr) { EXPECT_STREQ(token.c_str(), c.token) << c.text; }
    }
    // Another flag value is not implemented.
    KV2AscString token;
    int32_t position = 0;
    EXPECT_ANY_THROW(scanToken(KV2AscString("abc"), position, 0, token, "", 2, env));
}

// The parameter writer's integer texts reach the most negative value.
TEST(StringManip, LongTextOfTheMostNegativeValue) {
    KVORAEnv *env = nullptr;
    KV2AscString r;
    kvoraLongToString(-2147483647 - 1, r, env);
    EXPECT_STREQ(r.c_str(), "-2147483648");
}
