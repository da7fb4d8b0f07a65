// A call that may end in the assertion throw, with what it printed, and
// binary object streams held in strings.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "util/kvora_binobjio.h"
#include "util/kvora_debug.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"
#include "qrv_caught.h"

namespace utiltest {

using qrvtest::Caught;
using qrvtest::caught;

inline bool failedWith(const Caught &c, const char *text) { return c.threw && c.err.find(text) != std::string::npos; }

// A failure leaves the run-wide flags set; the next test starts clean.
inline void clearErrorFlags() {
    kvoraErrorFlag = 0;
    kvoraExceptionInFlightFlag = 0;
}

// Writes with a fresh binary writer and answers the bytes.
template <class F>
std::string binaryWritten(F f) {
    KVORAEnv *env = nullptr;
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, 0);
        f(writer, env);
    }
    return ss.str();
}

// Reads the bytes with a fresh binary reader.
template <class F>
Caught binaryRead(const std::string &bytes, F f) {
    KVORAEnv *env = nullptr;
    std::stringstream ss(bytes);
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    return caught([&] { f(reader, env); });
}

}  // namespace utiltest
