// What the two object-stream targets share: the seed streams their writers
// make, and the choice of root by an input's first byte (even: the fuzz
// graph's node; odd: the system's data point with its fields).
#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <string>

#include "fuzz_graph.h"
#include "fuzz_support.h"
#include "kernel/kvora_datapoint.h"

namespace qrvfuzz {

// With QRV_FUZZ_WRITE_SEEDS=<dir>, writes the graph ('0') and the data point
// ('1') as `streamOf(root, env)` puts them on a stream, and ends the process.
template <class StreamOf>
void writeObjectSeedsIfAsked(StreamOf streamOf) {
    const char *dir = std::getenv("QRV_FUZZ_WRITE_SEEDS");
    if (dir == nullptr) return;
    KVORAEnv *env = nullptr;
    const auto writeSeed = [dir](const char *name, char selector, const std::string &bytes) {
        std::ofstream(std::string(dir) + "/" + name, std::ios::binary) << selector << bytes;
    };
    KVORAOwnPtr<KVORAFuzzNode> node;
    node.reset(new KVORAFuzzNode(), env);
    kvoraFuzzFillGraph(*node, env);
    writeSeed("graph", '0', streamOf(node, env));
    node.reset(env);

    KVORAOwnPtr<KVORADataPoint> dp;
    kvoraFuzzFillDataPoint(dp, env);
    writeSeed("datapoint", '1', streamOf(dp, env));
    dp.reset(env);
    std::exit(0);
}

// Reads the root that `selector` picks from `reader`.
template <class Reader>
void readObjectRoot(uint8_t selector, Reader &reader) {
    KVORAEnv *env = nullptr;
    if (selector % 2 == 0) {
        KVORAOwnPtr<KVORAFuzzNode> back;
        run([&] { kvoraRead(reader, back, env); });
        back.reset(env);
    } else {
        KVORAOwnPtr<KVORADataPoint> back;
        run([&] { kvoraRead(reader, back, env); });
        back.reset(env);
    }
}

}  // namespace qrvfuzz
