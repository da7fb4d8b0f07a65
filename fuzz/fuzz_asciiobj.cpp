// The ASCII object reader over a text stream, as an object dump is read
// back. The first byte picks the root: the fuzz graph's node, or the
// system's data point with its fields. Seed streams come from the writer
// (QRV_FUZZ_WRITE_SEEDS=<dir>).
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include "fuzz_objstream.h"
#include "qrvexec/kvora_t_asciiobjio.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    qrvfuzz::writeObjectSeedsIfAsked([](auto &root, KVORA_ENV env) {
        std::ostringstream out;
        KVORAAsciiStreamWriter writer(&out, 0);
        kvoraWrite(writer, root, env);
        return out.str();
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    std::istringstream in(std::string(reinterpret_cast<const char *>(data) + 1, size - 1));
    KVORAAsciiStreamReader reader(&in);
    qrvfuzz::readObjectRoot(data[0], reader);
    return 0;
}
