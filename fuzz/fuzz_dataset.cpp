// The binary dataset: a ".info" text and the data bytes, opened as one worker
// of a few and read to the end with a scan type of the first byte's choosing.
// Layout of an input: byte 0 scan type and share, byte 1 sample rate, bytes
// 2-3 the length of the .info text (little end first), the text, then the
// data bytes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "control/kvora_binaryindataset.h"
#include "control/kvora_pagereader.h"
#include "fuzz_support.h"
#include "kernel/kvora_datapoint.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    qrvfuzz::quiet();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 4) return 0;
    const int32_t scanType = data[0] % 9;
    const int32_t workers = 1 + (data[0] / 9) % 4;
    const int32_t rank = (data[0] / 36) % workers;
    const double rate = 0.25 * (data[1] % 48);  // 0 to 11.75: both sides of the 10 limit
    size_t infoLength = data[2] | (static_cast<size_t>(data[3]) << 8);
    if (infoLength > size - 4) infoLength = size - 4;
    qrvfuzz::writeScratch("d.info", data + 4, infoLength);
    const std::string path = qrvfuzz::writeScratch("d", data + 4 + infoLength, size - 4 - infoLength);

    KVORAEnv *env = nullptr;
    KVORAPageReader pages;
    KVORAOwnPtr<KVORADataPoint> dp;
    KVORAOwnPtr<KVORABinaryInputDataset> ds;
    dp.create(env);
    ds.create(env);
    ds->setPageReader(&pages);
    ds->setMultiFile(0);
    if (qrvfuzz::run([&] { ds->open(path, dp, rank, workers, env); }) == 0) {
        qrvfuzz::run([&] {
            for (int pass = 0; pass < 2; ++pass) {
                if (scanType == 4 || scanType == 7)
                    ds->beginSampledScan(scanType, rate);
                else
                    ds->beginScan(scanType);
                // The data is at most a few kilobytes: rows are bounded by it.
                for (int guard = 0; guard < 100000; ++guard) {
                    dp->beginRecord();
                    if (ds->getNextRecord(*dp, env) < 0) break;
                }
                ds->rewind(env);
            }
        });
    }
    ds.reset(env);
    dp.reset(env);
    return 0;
}
