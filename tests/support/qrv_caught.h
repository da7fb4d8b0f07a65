// A call that may end in the run's assertion throw (an int), with what it
// printed meanwhile: the shared shape of the unit tests' failure checks.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace qrvtest {

struct Caught {
    bool threw = false;
    int value = -1;   // the integer thrown
    std::string out;  // standard output meanwhile, when asked for
    std::string err;  // standard error meanwhile
};

template <class F>
Caught caught(F f, bool withOutput = false) {
    Caught c;
    testing::internal::CaptureStderr();
    if (withOutput) testing::internal::CaptureStdout();
    try {
        f();
    } catch (int value) {
        c.threw = true;
        c.value = value;
    }
    if (withOutput) c.out = testing::internal::GetCapturedStdout();
    c.err = testing::internal::GetCapturedStderr();
    return c;
}

}  // namespace qrvtest
