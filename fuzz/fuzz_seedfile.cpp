// The diffusion seed file and the raw scan of the parameter file that finds
// its name. First byte even: the rest is the seed file, named by a fixed
// parameter file, and read into a fresh diffusion object. Odd: the rest is a
// parameter file, scanned for the seed's name only (opening a name that the
// fuzzer made up could reach a device or a pipe, which is not the reader's
// business).
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz_support.h"
#include "simple_algorithm/kvora_DIF.h"

namespace {
std::string gParamPath;
}

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    const std::string seedPath = qrvfuzz::scratchDir() + "/seeds.txt";
    const std::string param = "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n<Seed>" + seedPath +
                              "</Seed>\n</QRVInput>\n";
    gParamPath = qrvfuzz::writeScratch("params.xml", reinterpret_cast<const uint8_t *>(param.data()), param.size());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    KVORAEnv *env = nullptr;
    if (data[0] % 2 == 0) {
        qrvfuzz::writeScratch("seeds.txt", data + 1, size - 1);
        KVORADIFData::cvParamFileName = gParamPath.c_str();
        KVORADIFData *dif = new KVORADIFData();
        qrvfuzz::run([&] { dif->readSeedFile(KV2AscString(), env); });
        dif->releasePrimitive(env);
        delete dif;
    } else {
        const std::string path = qrvfuzz::writeScratch("scan.xml", data + 1, size - 1);
        std::string name;
        qrvfuzz::run([&] { KVORADIFData::FindSeedFileNameInParamFile(path.c_str(), name); });
    }
    return 0;
}
