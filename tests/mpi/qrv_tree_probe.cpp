// A probe of the job layer's tree, run under mpiexec by the end-to-end tests.
//   qrv_tree_probe raw <bytes>     rank 0 sends a patterned stream of that size
//                                  to every other rank, which checks each byte
//   qrv_tree_probe rows <n>        every rank r offers the validation rows
//                                  50 - r, 5, 100 + r (actual r, predicted
//                                  r + 0.5); rank 0 prints them once sorted
//   qrv_tree_probe tree <bytes>    a model whose data object makes the
//                                  distribution exactly that size (0: no
//                                  ballast) goes down the tree; each process adds
//                                  its share, the results come back up, and the
//                                  workers then learn that the job has ended
// Each process writes its findings as lines "rank R: ..." to its own file
// "probe.R" in the working directory (the launcher may split lines of several
// processes on a shared output); the test compares them with values worked
// out by hand.
#include <mpi.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_model.h"
#include "kernel/kvora_multiscan.h"
#include "kvora_test_tally.h"
#include "qrvexec/kvora_pcontrol.h"
#include "simple_algorithm/kvora_simple_algorithm.h"

namespace {

FILE *gOut = stdout;

char patternByte(int64_t i) { return static_cast<char>((i * 131 + 7) % 251); }

int runRaw(KVORAPControl &control, int64_t bytes) {
    if (control.ivRank == 0) {
        std::stringstream stream(std::ios::in | std::ios::out | std::ios::binary);
        for (int64_t i = 0; i < bytes; ++i) stream.put(patternByte(i));
        for (int32_t r = 1; r < control.ivSize; ++r) control.sendStream(stream, r);
        std::fprintf(gOut, "rank 0: sent %lld\n", static_cast<long long>(bytes));
    } else {
        std::stringstream stream(std::ios::in | std::ios::out | std::ios::binary);
        int32_t got = control.receiveStream(stream);
        std::string s = stream.str();
        bool same = static_cast<int64_t>(s.size()) == bytes;
        for (int64_t i = 0; same && i < bytes; ++i) same = s[i] == patternByte(i);
        std::fprintf(gOut, "rank %d: result %d size %lld %s\n", control.ivRank, got, static_cast<long long>(s.size()),
                    same ? "intact" : "damaged");
    }
    return 0;
}

int runRows(KVORAPControl &control, KVORA_ENV env) {
    KVORAArray<int32_t> rows;
    KVORAArray<double> actual;
    KVORAArray<double> predicted;
    const int32_t r = control.ivRank;
    for (int32_t number : {50 - r, 5, 100 + r}) {
        rows.copyAppend(number, env);
        actual.copyAppend(static_cast<double>(r), env);
        predicted.copyAppend(r + 0.5, env);
    }
    control.collectValidationRows(rows, actual, predicted, env);
    if (r == 0) {
        std::string text;
        for (int32_t i = 1; i <= rows.getSize(); ++i) {
            char item[64];
            std::snprintf(item, sizeof item, " %d:%g:%g", rows[i], actual[i], predicted[i]);
            text += item;
        }
        std::fprintf(gOut, "rank 0: rows%s\n", text.c_str());
    }
    rows.reset(env);
    actual.reset(env);
    predicted.reset(env);
    return 0;
}

void makeModel(KVORAOwnPtr<KVORAModel> &model, KVORA_ENV env) {
    KVORASimpleAlgorithmModel *m = new KVORASimpleAlgorithmModel();
    kvoraMemAccount(m->getObjectSize(), env);
    model.reset(m, env);
    m->ivModelState = 101;  // scanning: the model then reports results
    KVORATestTallyData *data = new KVORATestTallyData();
    kvoraMemAccount(data->getObjectSize(), env);
    m->ivDataPtr.reset(data, env);
}

KVORATestTallyData *tallyOf(KVORAOwnPtr<KVORAModel> &model) {
    if (model.get() == nullptr) return nullptr;
    KVORASimpleAlgorithmModel *m = static_cast<KVORASimpleAlgorithmModel *>(model.get());
    return static_cast<KVORATestTallyData *>(m->ivDataPtr.get());
}

int runTree(KVORAPControl &control, int64_t bytes, KVORA_ENV env) {
    KVORAOwnPtr<KVORAModel> model;
    KVORAOwnPtr<KVORADataPoint> dataPoint;
    KVORAOwnPtr<KVORAFieldNameMap> fieldNameMap;
    KVORAOwnPtr<KVORAObject> pair;
    KVORAOwnPtr<KVORAMultiScan> lift;
    KVORAOwnPtr<KVORAMultiScan> sensitivity;
    int32_t purpose = 0;
    if (control.ivRank == 0) {
        dataPoint.create(env);
        fieldNameMap.create(env);
        makeModel(model, env);
        KVORATestTallyData *tally = tallyOf(model);
        if (bytes > 0) {
            // Grow the ballast until the whole distribution has the size asked for.
            int64_t filler = bytes;
            for (int round = 0; round < 8; ++round) {
                tally->ivFiller = KV2AscString(std::string(static_cast<size_t>(filler), 'x').c_str(),
                                               static_cast<int32_t>(filler));
                std::stringstream probe(std::ios::in | std::ios::out | std::ios::binary);
                control.writeDistribution(probe, model, dataPoint, pair, lift, sensitivity, purpose, env);
                int64_t size = static_cast<int64_t>(probe.str().size());
                if (size == bytes) break;
                filler += bytes - size;
            }
        }
        std::stringstream check(std::ios::in | std::ios::out | std::ios::binary);
        control.writeDistribution(check, model, dataPoint, pair, lift, sensitivity, purpose, env);
        std::fprintf(gOut, "rank 0: distribution %lld\n", static_cast<long long>(check.str().size()));
    }
    int32_t got = control.distribute(model, dataPoint, fieldNameMap, nullptr, pair, lift, sensitivity, purpose, env);
    KVORATestTallyData *tally = tallyOf(model);
    if (tally == nullptr) {
        std::fprintf(gOut, "rank %d: no model\n", control.ivRank);
        return 1;
    }
    if (control.ivRank != 0) {
        const int32_t filler = tally->ivFiller.size();
        bool intact = true;
        for (int32_t i = 0; i < filler && intact; ++i) intact = tally->ivFiller.c_str()[i] == 'x';
        std::fprintf(gOut, "rank %d: distribute %d filler %d %s\n", control.ivRank, got, filler,
                    intact ? "intact" : "damaged");
    }
    // Each process's share: rank + 1 records of value 0.5 each.
    tally->ivRecords = control.ivRank + 1;
    tally->ivSum = 0.5 * (control.ivRank + 1);
    char digit[2] = {static_cast<char>('0' + control.ivRank % 10), 0};
    tally->ivOrder = KV2AscString(digit);
    control.collect(model, dataPoint, fieldNameMap, pair, lift, sensitivity, purpose, env);
    if (control.ivRank == 0) {
        std::fprintf(gOut, "rank 0: records %lld sum %.1f order %s\n", static_cast<long long>(tally->ivRecords),
                    tally->ivSum, tally->ivOrder.c_str());
        control.terminateWorkers();
    } else {
        int32_t again =
            control.distribute(model, dataPoint, fieldNameMap, nullptr, pair, lift, sensitivity, purpose, env);
        std::fprintf(gOut, "rank %d: after end %d\n", control.ivRank, again);
    }
    model.reset(env);
    fieldNameMap.reset(env);
    dataPoint.reset(env);
    return 0;
}

}  // namespace

int main(int argc, char **argv) {
    KVORAPControl control;
    control.initialise(argc, argv);
    const std::string name = "probe." + std::to_string(control.ivRank);
    gOut = std::fopen(name.c_str(), "w");
    if (gOut == nullptr) gOut = stdout;
    int status = 2;
    if (argc == 3) {
        const int64_t bytes = std::strtoll(argv[2], nullptr, 10);
        KVORAEnv *env = nullptr;
        if (std::strcmp(argv[1], "raw") == 0) status = runRaw(control, bytes);
        if (std::strcmp(argv[1], "rows") == 0) status = runRows(control, env);
        if (std::strcmp(argv[1], "tree") == 0) status = runTree(control, bytes, env);
    }
    if (gOut != stdout) std::fclose(gOut);
    MPI_Finalize();
    return status;
}
