// Run reports: the exact lines on standard output, the fatal path that
// throws to the entry point, the immediate exit with status 1, and the
// number checks of TestInputStringType.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

class ReportsTest : public testing::Test {
protected:
    void TearDown() override {
        kvoraErrorFlag = 0;
        kvoraExceptionInFlightFlag = 0;
    }
    KVORAEnv *env = nullptr;
};

TEST_F(ReportsTest, LinesOfTheThreeKinds) {
    CaptureStdout();
    reportLog(0, "qrvexec version is 2.0.6");
    reportLog(2, std::string("Time spent [1.000500s] doing collect "));
    reportWarning(5004, "Warning: Row sum smaller than min real value");
    reportWarning(5001, "first", "second");
    reportError(2202, "illegal value", env, 0);
    reportError(-7, std::string("negative code"), env, 0);
    std::ostringstream stream;
    stream << "from a stream " << 42;
    reportError(2100, stream, env, 0);
    std::stringstream both;
    both << "read-write stream";
    reportError(2100, both, env, 0);
    reportError(4602, "123", "row scan expected a header", env, 0);
    EXPECT_EQ(GetCapturedStdout(),
              "Log;|0;|qrvexec version is 2.0.6;|LogEnd\n"
              "Log;|2;|Time spent [1.000500s] doing collect ;|LogEnd\n"
              "Warning;|5004;|Warning: Row sum smaller than min real value;|WarningEnd\n"
              "Warning;|5001;|first;|second;|WarningEnd\n"
              "Error;|2202;|illegal value;|ErrorEnd\n"
              "Error;|-7;|negative code;|ErrorEnd\n"
              "Error;|2100;|from a stream 42;|ErrorEnd\n"
              "Error;|2100;|read-write stream;|ErrorEnd\n"
              "Error;|4602;|123;|row scan expected a header;|ErrorEnd\n");
}

TEST_F(ReportsTest, ErrorWithTerminateThrowsToTheEntryPoint) {
    CaptureStdout();
    CaptureStderr();
    int thrown = -1;
    try {
        reportError(2303, "Could not open parameters file", env, 1);
    } catch (int value) {
        thrown = value;
    }
    const std::string err = GetCapturedStderr();
    const std::string out = GetCapturedStdout();
    EXPECT_EQ(thrown, 0);
    EXPECT_EQ(out, "Error;|2303;|Could not open parameters file;|ErrorEnd\nTerminating NELO\n");
    EXPECT_EQ(err.rfind("\n*** ERROR in function reportError at line ", 0), 0u) << err;
    const std::string tail = " in file kvora_reports\n    KVORA Terminating\n";
    ASSERT_GE(err.size(), tail.size());
    EXPECT_EQ(err.substr(err.size() - tail.size()), tail) << err;
    EXPECT_EQ(kvoraErrorFlag, 1);
}

TEST_F(ReportsTest, TwoStringErrorWithTerminateAlsoThrows) {
    CaptureStdout();
    CaptureStderr();
    EXPECT_THROW(reportError(4603, "9", "caller changed", env, 2), int);
    GetCapturedStderr();
    EXPECT_EQ(GetCapturedStdout(), "Error;|4603;|9;|caller changed;|ErrorEnd\nTerminating NELO\n");
}

TEST_F(ReportsTest, ErrorAndExitEndsWithStatusOne) {
    EXPECT_EXIT(
        {
            reportErrorAndExit(2201, "main: wrong number of parameters", 1);
            std::exit(5);
        },
        testing::ExitedWithCode(1), "");
    EXPECT_EXIT(
        {
            reportErrorAndExit(2307, "a", "b", 1);
            std::exit(5);
        },
        testing::ExitedWithCode(1), "");
    CaptureStdout();
    reportErrorAndExit(2201, std::string("only a line"), 0);  // terminate 0 returns
    reportErrorAndExit(2201, "x", "y", 0);
    EXPECT_EQ(GetCapturedStdout(), "Error;|2201;|only a line;|ErrorEnd\nError;|2201;|x;|y;|ErrorEnd\n");
}

TEST_F(ReportsTest, IntegerTexts) {
    CaptureStdout();
    EXPECT_EQ(TestInputStringType("12", "int"), 1);
    EXPECT_EQ(TestInputStringType(" 12", "int"), 1);  // strtol skips leading blanks
    EXPECT_EQ(TestInputStringType("0x10", "int"), 1);  // base 0: hexadecimal
    EXPECT_EQ(TestInputStringType("010", "int"), 1);   // base 0: octal
    EXPECT_EQ(TestInputStringType("-5", "int"), 1);
    EXPECT_EQ(GetCapturedStdout(), "");
    CaptureStdout();
    EXPECT_EQ(TestInputStringType("12abc", "int"), 0);
    EXPECT_EQ(TestInputStringType("", "int"), 0);
    EXPECT_EQ(TestInputStringType("12 ", "int"), 0);
    EXPECT_EQ(TestInputStringType("1.5", "int"), 0);
    EXPECT_EQ(GetCapturedStdout(),
              "TestInputStringType, illegal int value found: 12abc\n"
              "TestInputStringType, illegal int value found: \n"
              "TestInputStringType, illegal int value found: 12 \n"
              "TestInputStringType, illegal int value found: 1.5\n");
}

TEST_F(ReportsTest, RealTextsAndUnknownTypes) {
    CaptureStdout();
    EXPECT_EQ(TestInputStringType("1.5e3", "double"), 1);
    EXPECT_EQ(TestInputStringType("", "double"), 1);  // empty is a legal double
    EXPECT_EQ(TestInputStringType(std::string("-0.25"), std::string("double")), 1);
    EXPECT_EQ(TestInputStringType("", "long"), 1);  // empty with an unknown type: the double path
    EXPECT_EQ(GetCapturedStdout(), "");
    CaptureStdout();
    EXPECT_EQ(TestInputStringType("1.5x", "double"), 0);
    EXPECT_EQ(GetCapturedStdout(), "TestInputStringType, illegal double value found: 1.5x\n");
    // The type is compared by bytes: "Int" is unknown.
    EXPECT_EXIT(TestInputStringType("5", "Int"), testing::ExitedWithCode(1), "");
}

}  // namespace
