// Helpers shared by the kernel tests: object streams in memory, and failures
// caught in process (the assertion throw) or as the ended run they cause.
#pragma once

#include "qrv_caught.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <sstream>
#include <string>

#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace kerneltest {

// The bytes that f writes in `mode` (0 distributes, 2 returns results).
template <class F>
std::string written(int32_t mode, F f) {
    KVORAEnv *env = nullptr;
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, mode);
        f(writer, env);
    }
    return ss.str();
}

template <class T>
std::string streamed(const T &object, int32_t mode = 0) {
    return written(mode, [&](KVORAObjWriter &w, KVORA_ENV e) { kvoraWrite(w, object, e); });
}

// A reader over given bytes.
struct Reader {
    std::stringstream ss;
    KVOStreamBlobReader blob;
    KVORABinObjReader reader;
    explicit Reader(const std::string &bytes) : ss(bytes), blob(&ss), reader(&blob) {}
};

template <class T>
void readInto(const std::string &bytes, T &object, KVORA_ENV env) { Reader r(bytes); kvoraRead(r.reader, object, env); }

// The failure output if f ended in the assertion throw, else "(no failure)".
inline std::string failureOf(const std::function<void(KVORA_ENV)> &f) {
    KVORAEnv *env = nullptr;
    const qrvtest::Caught c = qrvtest::caught([&] { f(env); });
    return c.threw ? c.err : std::string("(no failure)");
}

inline bool contains(const std::string &text, const char *part) { return text.find(part) != std::string::npos; }

}  // namespace kerneltest

// A failure throws up to the entry point, which ends the process with 99.
#define EXPECT_RUN_ENDS(statement, pattern) \
    EXPECT_EXIT({ try { statement; } catch (...) { std::exit(99); } std::exit(0); }, ::testing::ExitedWithCode(99), pattern)
