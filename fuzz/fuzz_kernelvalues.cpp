// The kernel values file of group analysis: pairs of node numbers and a value
// per line, read into the edge list of a fresh group-analysis object.
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "simple_algorithm/kvora_CGA_data.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string path = qrvfuzz::writeScratch("kernel.csv", data, size);
    KVORAEnv *env = nullptr;
    KVORACGAData *cga = new KVORACGAData();
    cga->ivKernelFileName = path.c_str();
    qrvfuzz::run([&] { cga->readKernelValuesFile(env); });
    // Two numbers per line read, whatever the line held.
    if (cga->ivKernelEdges.getSize() % 2 != 0) __builtin_trap();
    cga->releasePrimitive(env);
    delete cga;
    return 0;
}
