// Timings of the diffusion object's passes without the dataset reader: the
// records of a call graph are held in memory and handed to update one by
// one, so that what is measured is the object's own work per record (row
// check, the caller's entries once per row, the callee's sum) and the work
// at the ends of a pass. Callees are drawn with a skew towards low node
// numbers, as power-law call graphs have them.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "simple_algorithm/kvora_DIF.h"

namespace {

struct Record {
    uint64_t caller;
    double callee;
    double weight;
};

// Rows of 1 to 40 callees for every caller, callees skewed to low numbers.
std::vector<Record> callGraph(uint64_t nodes, uint64_t edges, uint32_t seed) {
    std::mt19937_64 gen(seed);
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<Record> records;
    records.reserve(edges + 2 * nodes);
    uint64_t made = 0;
    for (uint64_t caller = 1; caller <= nodes && made < edges; ++caller) {
        const uint64_t n = 1 + gen() % 40;
        records.push_back({caller, 0.0, static_cast<double>(n)});
        for (uint64_t k = 0; k < n; ++k) {
            const double u = unit(gen);
            const uint64_t callee = 1 + static_cast<uint64_t>(u * u * u * static_cast<double>(nodes - 1));
            records.push_back({caller, static_cast<double>(callee), static_cast<double>(1 + gen() % 9)});
        }
        records.push_back({caller, 0.0, 7788.0});
        made += n;
    }
    return records;
}

// Standard output goes nowhere while it lives: the object's progress reports
// would drown the timings.
class QuietOutput {
public:
    QuietOutput() {
        std::fflush(stdout);
        ivSaved = dup(1);
        const int nowhere = open("/dev/null", O_WRONLY);
        dup2(nowhere, 1);
        close(nowhere);
    }
    ~QuietOutput() {
        std::fflush(stdout);
        dup2(ivSaved, 1);
        close(ivSaved);
    }

private:
    int ivSaved;
};

void pass(KVORADIFData &data, const std::vector<Record> &records, KVORAXaRay<double, 1> &dataVec,
          KVORAXaRay<double, 1> &targetVec, KVORA_ENV env) {
    data.initIteration(env);
    for (const Record &r : records) {
        dataVec[1] = r.callee;
        dataVec[2] = r.weight;
        data.update(dataVec, targetVec, r.caller, env);
    }
    data.finishIteration(env);
}

// The same records as dataset rows (line, callee, weight) in batches of
// 512, as the record loop hands them over.
void passOverRows(KVORADIFData &data, const std::vector<const double *> &rows, KVORA_ENV env) {
    static const int32_t dataColumns[] = {1, 2};
    const KVORARowLayout layout{dataColumns, 2, 0};
    data.initIteration(env);
    for (size_t at = 0; at < rows.size(); at += 512) {
        const int32_t count = static_cast<int32_t>(std::min<size_t>(512, rows.size() - at));
        data.updateRows(rows.data() + at, count, layout, env);
    }
    data.finishIteration(env);
}

// One diffusion pass over the records, after the two degree passes; with
// a range of 1, over the rows in batches.
void BM_DiffusionPass(benchmark::State &state) {
    KVORAEnv *env = nullptr;
    const uint64_t nodes = static_cast<uint64_t>(state.range(0));
    const std::vector<Record> records = callGraph(nodes, 10 * nodes, 11);
    KVORAXaRay<double, 1> dataVec, targetVec;
    dataVec.setSize(2, env);
    KVORADIFData data;
    data.ivEpsilon = 1e-300;
    data.ivMaxNumIterations = 1 << 30;
    for (uint64_t seed = 1; seed <= nodes; seed += nodes / 5 + 1) {
        data.ivModel1FreshEnergies.copyAppend(1.0, env);
        data.ivModel1FreshEnergiesSamples.copyAppend(seed, env);
    }
    std::vector<double> cells;
    cells.reserve(3 * records.size());
    for (const Record &r : records) cells.insert(cells.end(), {static_cast<double>(r.caller), r.callee, r.weight});
    std::vector<const double *> rows;
    for (size_t i = 0; i < records.size(); ++i) rows.push_back(&cells[3 * i]);
    const bool batched = state.range(1) != 0;
    {
        QuietOutput quiet;
        for (int degreePass = 0; degreePass < 2; ++degreePass) {
            pass(data, records, dataVec, targetVec, env);
            data.endDataScan(env);
        }
        for (auto _ : state) {
            if (batched)
                passOverRows(data, rows, env);
            else
                pass(data, records, dataVec, targetVec, env);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(records.size()));
    state.SetLabel("nodes " + std::to_string(nodes) + ", records " + std::to_string(records.size()));
    data.releasePrimitive(env);
    dataVec.reset(env);
}
BENCHMARK(BM_DiffusionPass)
    ->Args({200000, 0})
    ->Args({1000000, 0})
    ->Args({200000, 1})
    ->Args({1000000, 1})
    ->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
