// The binary object reader over a blob of a standard stream, as a worker
// reads a received message. The first byte picks the root: the fuzz graph's
// node, or the system's data point with its fields. Seed streams come from
// the writer (QRV_FUZZ_WRITE_SEEDS=<dir>).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "fuzz_graph.h"
#include "fuzz_support.h"
#include "kernel/kvora_datapoint.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

template <class T>
std::string streamOf(KVORAOwnPtr<T> &root, KVORA_ENV env) {
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, 0);
        kvoraWrite(writer, root, env);
    }
    return ss.str();
}

void writeSeed(const std::string &dir, const char *name, char selector, const std::string &bytes) {
    std::ofstream(dir + "/" + name, std::ios::binary) << selector << bytes;
}

void writeSeeds(const std::string &dir) {
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORAFuzzNode> node;
    node.reset(new KVORAFuzzNode(), env);
    kvoraFuzzFillGraph(*node, env);
    writeSeed(dir, "graph", '0', streamOf(node, env));
    node.reset(env);

    KVORAOwnPtr<KVORADataPoint> dp;
    kvoraFuzzFillDataPoint(dp, env);
    writeSeed(dir, "datapoint", '1', streamOf(dp, env));
    dp.reset(env);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    if (const char *dir = std::getenv("QRV_FUZZ_WRITE_SEEDS")) {
        writeSeeds(dir);
        std::exit(0);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    KVORAEnv *env = nullptr;
    std::stringstream ss(std::string(reinterpret_cast<const char *>(data) + 1, size - 1));
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    if (data[0] % 2 == 0) {
        KVORAOwnPtr<KVORAFuzzNode> back;
        qrvfuzz::run([&] { kvoraRead(reader, back, env); });
        back.reset(env);
    } else {
        KVORAOwnPtr<KVORADataPoint> back;
        qrvfuzz::run([&] { kvoraRead(reader, back, env); });
        back.reset(env);
    }
    return 0;
}
