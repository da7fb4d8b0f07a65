// Assertion and failure output: the header, the base name of the source
// path, the flags, and the integer thrown. (The expected and simulated error
// prefixes, the warning macro and the place chain have no user.)
#include <gtest/gtest.h>

#include <string>

#include "util/kvora_debug.h"
#include "util_test_support.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// Restores the run-wide flags that a test changes.
class DebugTest : public testing::Test {
protected:
    void SetUp() override { clearFlags(); }
    void TearDown() override {
        clearFlags();
        kvoraAssertTraceHook = nullptr;
    }
    static void clearFlags() {
        kvoraSilentFlag = 0;
        kvoraExpectedErrorFlag = 0;
        kvoraSimulatedErrorFlag = 0;
        kvoraErrorFlag = 0;
        kvoraExceptionInFlightFlag = 0;
        kvoraPendingMemoryErrorFlag = 0;
    }
};

// Runs `body`, which must throw the integer 0, and answers what it printed.
template <class F>
std::string thrownOutput(F body) {
    utiltest::Caught c = utiltest::caught(body);
    EXPECT_TRUE(c.threw);
    EXPECT_EQ(c.value, 0);
    return c.err;
}

TEST_F(DebugTest, BaseNameFollowsTheLastCharacterOutsideNamesDigitsDotAndUnderscore) {
    EXPECT_STREQ(kvoraBaseName("src/lib/nelo-common/kvora_reports"), "kvora_reports");
    EXPECT_STREQ(kvoraBaseName("plain.cpp"), "plain.cpp");
    EXPECT_STREQ(kvoraBaseName("dir/with space.h"), "space.h");
    EXPECT_STREQ(kvoraBaseName("ends/"), "");
}

TEST_F(DebugTest, FailedAssertionPrintsHeaderExpressionAndCauseAndThrowsZero) {
    std::string out = thrownOutput([] { kvoraAssertFail("a == b", "C:\\a\\b_c", 42, "doIt"); });
    EXPECT_EQ(out, "\n*** ERROR in function doIt at line 42 in file b_c\n    ASSERTION FAILED (a == b)\n");
    EXPECT_EQ(kvoraErrorFlag, 1);
    EXPECT_EQ(kvoraExceptionInFlightFlag, 1);
    // With a cause, and without an expression.
    out = thrownOutput([] { kvoraAssertFailCause("x > 0", "bad input", "/p/q.cpp", 7, "f"); });
    EXPECT_EQ(out, "\n*** ERROR in function f at line 7 in file q.cpp\n    ASSERTION FAILED (x > 0)\n"
                   "    PROBABLE CAUSE: bad input\n");
    out = thrownOutput([] { kvoraAssertFail(nullptr, "q.cpp", 8, "g"); });
    EXPECT_EQ(out, "\n*** ERROR in function g at line 8 in file q.cpp\n    ASSERTION FAILED (?\?\?)\n");
}

TEST_F(DebugTest, MacrosPassTheirTextAndPlace) {
    int32_t line = 0;
    std::string out = thrownOutput([&line] {
        line = __LINE__ + 1;
        KVORA_ASSERT(1 + 1 == 3);
    });
    EXPECT_EQ(out, "\n*** ERROR in function operator() at line " + std::to_string(line) +
                       " in file debug_test.cpp\n    ASSERTION FAILED (1 + 1 == 3)\n");
    out = thrownOutput([] { KVORA_NOT_IMPLEMENTED(); });
    EXPECT_NE(out.find("\n    Function/Feature not yet implemented\n"), std::string::npos) << out;
    out = thrownOutput([] { KVORA_NEVER_HERE(); });
    EXPECT_NE(out.find("\n    Program control should never reach this point\n"), std::string::npos) << out;
    // A check that holds costs nothing and says nothing.
    CaptureStderr();
    KVORA_ASSERT(2 > 1);
    KVORA_ASSERT_CAUSE(2 > 1, "never");
    EXPECT_EQ(GetCapturedStderr(), "");
}

// A silent run prints nothing but still fails; a fatal report returns, with
// further lines indented.
TEST_F(DebugTest, SilentFailureAndFatalReport) {
    kvoraSilentFlag = 1;
    EXPECT_EQ(thrownOutput([] { kvoraAssertFail("m", "m.cpp", 1, "h"); }), "");
    EXPECT_EQ(kvoraErrorFlag, 1);
    CaptureStderr();
    kvoraFatal("first\nsecond", "m.cpp", 3, "h");
    EXPECT_EQ(GetCapturedStderr(), "");
    kvoraSilentFlag = 0;
    CaptureStderr();
    kvoraFatal("first\nsecond", "m.cpp", 3, "h");
    EXPECT_EQ(GetCapturedStderr(), "\n*** ERROR in function h at line 3 in file m.cpp\n    first\n    second\n");
}

TEST_F(DebugTest, ThrowClearsPendingMemoryErrorAndCallsTheTraceHook) {
    static std::string traced;
    traced.clear();
    kvoraAssertTraceHook = [](const char *file, int32_t line, const char *function, const char *text) {
        traced += std::string(file) + ":" + std::to_string(line) + ":" + function + ":" + text + "|";
    };
    kvoraPendingMemoryErrorFlag = 1;
    thrownOutput([] { kvoraAssertFail("z", "t.cpp", 5, "fn"); });
    EXPECT_EQ(kvoraPendingMemoryErrorFlag, 0);
    EXPECT_EQ(traced, "t.cpp:5:fn:z|t.cpp:5:fn:C++ Exception thrown.|");
}

}  // namespace
