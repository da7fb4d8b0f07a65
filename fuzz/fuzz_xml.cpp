// The parameter file reader: any bytes, read into a fresh tree, which is then
// written back and released, as the run does with a tree read in part.
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "control/kvora_XML_handler.h"
#include "fuzz_support.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    KVORAEnv *env = nullptr;
    KVORAXMLHandler handler(env);
    qrvfuzz::run([&] {
        std::istringstream in(std::string(reinterpret_cast<const char *>(data), size));
        handler.readFrom(in, env);
    });
    qrvfuzz::run([&] {
        std::ostringstream out;
        handler.writeTo(out, env);
    });
    handler.releasePrimitive(env);
    return 0;
}
