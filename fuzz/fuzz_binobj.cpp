// The binary object reader over a blob of a standard stream, as a worker
// reads a received message. The first byte picks the root: the fuzz graph's
// node, or the system's data point with its fields. Seed streams come from
// the writer (QRV_FUZZ_WRITE_SEEDS=<dir>).
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "fuzz_objstream.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    qrvfuzz::writeObjectSeedsIfAsked([](auto &root, KVORA_ENV env) {
        std::stringstream ss;
        {
            KVOStreamBlobWriter blob(&ss);
            KVORABinObjWriter writer(&blob, 0);
            kvoraWrite(writer, root, env);
        }
        return ss.str();
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    std::stringstream ss(std::string(reinterpret_cast<const char *>(data) + 1, size - 1));
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    qrvfuzz::readObjectRoot(data[0], reader);
    return 0;
}
