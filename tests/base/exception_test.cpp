// Base exceptions and the base log: what they report on standard error, when
// the user exception stays quiet, and the failure path that ends the process
// with status 1.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "base/BASE_Log.h"
#include "base/BASE_MlException.h"
#include "base/BASE_MlExceptionUser.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

TEST(BaseException, InternalErrorReportsTextAndPlace) {
    BASE_MlException failure("matrix sizes differ", "MDArray.cpp", 88);
    CaptureStderr();
    failure.reportThrown();
    failure.reportCatch("caller.cpp", 5, "while multiplying");
    failure.reportFinalCatch("main.cpp", 9, "giving up");
    const std::string err = GetCapturedStderr();
    EXPECT_EQ(err,
              "Internal Error: matrix sizes differ\nThrown in file MDArray.cpp at line 88\n"
              "Catch in file caller.cpp at line 5 : while multiplying\n"
              "Final catch in file main.cpp at line 9 : giving up\n");
}

TEST(BaseException, UserErrorTellsItsPlaceOnlyWhenVerbose) {
    BASE_MlExceptionUser failure("bad file", "reader.cpp", 3);
    CaptureStderr();
    failure.reportThrown();
    failure.reportCatch("c.cpp", 1, "x");
    EXPECT_EQ(GetCapturedStderr(), "User Error: bad file\n");
    baseUserExceptionVerbose = 1;
    CaptureStderr();
    failure.reportThrown();
    failure.reportCatch("c.cpp", 1, "x");
    baseUserExceptionVerbose = 0;
    EXPECT_EQ(GetCapturedStderr(), "User Error: bad file\nThrown in file reader.cpp at line 3\nCatch in file c.cpp at line 1 : x\n");
    // A user error is caught as the base kind.
    EXPECT_THROW(throw BASE_MlExceptionUser("u", "f", 1), BASE_MlException);
}

TEST(BaseException, LibraryFailureEndsTheProcessWithStatusOne) {
    EXPECT_EXIT(BASE_MlException("index out of range", "Graph.cpp", 12).exitOnFailure(), testing::ExitedWithCode(1),
                "Internal Error: index out of range\nThrown in file Graph.cpp at line 12");
}

TEST(BaseLog, OpenWriteAndItsFailures) {
    EXPECT_FALSE(Log::IsOpen());
    EXPECT_THROW(Log::GetStream(), BASE_MlException);
    EXPECT_THROW(Log::Open("/nonexistent-dir/x/log.txt"), BASE_MlExceptionUser);
    try {
        Log::Open("/nonexistent-dir/x/log.txt");
    } catch (const BASE_MlExceptionUser &e) {
        EXPECT_EQ(e.getText(), "Log file: '/nonexistent-dir/x/log.txt' could not be opened");
    }
    const std::string name = testing::TempDir() + "base_log_test.txt";
    Log::Open(name);
    try {
        Log::Open(name);
        ADD_FAILURE() << "second open accepted";
    } catch (const BASE_MlExceptionUser &) {
        ADD_FAILURE() << "wrong kind";
    } catch (const BASE_MlException &e) {
        EXPECT_EQ(e.getText(), "Log file already open");
    }
    Log::GetStream() << "line one\n";
    Log::Close();
    std::FILE *f = std::fopen(name.c_str(), "r");
    ASSERT_NE(f, nullptr);
    char buf[64] = {0};
    ASSERT_NE(std::fgets(buf, sizeof(buf), f), nullptr);
    std::fclose(f);
    EXPECT_STREQ(buf, "line one\n");
    std::remove(name.c_str());
}

}  // namespace
