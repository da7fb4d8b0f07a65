// The kernel build on one process: 10,000 samples of 20 friends each, own
// samples read, threshold fixed, then every sample streamed past. Reports
// the pairs that reached the kernel function, which must be those that the
// filter admits (each named known sample once per row), not all 10^8 pairs.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <set>
#include <vector>

#include "simple_algorithm/kvora_kernel_data.h"
#include "simple_algorithm/kvora_kernel_functions_friends.h"
#include "util/kvora_env.h"

namespace {

struct Record {
    uint64_t node;
    double column, value;
};

const int kRows = 10000;
const int kPerRow = 20;

// Header, 20 ascending friends, closing record, for every sample; and the
// number of (row, named sample) pairs that the filter admits.
std::vector<Record> makeRecords(int64_t &admitted) {
    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> pick(1, kRows);
    std::vector<Record> records;
    admitted = 0;
    for (int n = 1; n <= kRows; ++n) {
        std::set<int> named;
        while (static_cast<int>(named.size()) < kPerRow) named.insert(pick(random));
        const uint64_t node = static_cast<uint64_t>(n);
        records.push_back({node, 0.0, static_cast<double>(kPerRow)});
        int column = 0;
        for (int f : named) records.push_back({node, static_cast<double>(++column), static_cast<double>(f)});
        records.push_back({node, static_cast<double>(kPerRow + 1), 0.0});
        admitted += kPerRow;  // every name is a sample of the data
    }
    return records;
}

void feed(KVORAKernelData &data, const std::vector<Record> &records, KVORAXaRay<double, 1> &row,
          KVORAXaRay<double, 1> &target, KVORA_ENV env) {
    data.initIteration(env);
    for (const Record &r : records) {
        row[1] = r.column;
        row[2] = r.value;
        data.update(row, target, r.node, env);
    }
    data.finishIteration(env);
}

void BM_KernelBuild(benchmark::State &state) {
    KVORAEnv *env = nullptr;
    int64_t admitted = 0;
    const std::vector<Record> records = makeRecords(admitted);
    KVORAXaRay<double, 1> row, target;
    row.setSize(2, env);
    int64_t computed = 0;
    size_t kept = 0;
    for (auto _ : state) {
        KVORAKernelData data;
        KVORAKernelDataParameters parameters;
        parameters.isSparseKernel = 1;
        parameters.sparsityLevel = 0.9;
        parameters.isSparseData = 1.0;
        parameters.filterSimilarities = 1;
        parameters.verbosity = 0;
        KVORAKernelFunctionFriends *kernel = new KVORAKernelFunctionFriends(1, 0.0, 50000.0, env);
        kvoraMemAccount(kernel->getObjectSize(), env);
        data.ivKernelFunctionPtr.reset(kernel, env);
        data.initKernelData(parameters, env);
        feed(data, records, row, target, env);  // own samples, histogram
        data.endDataScan(env);                  // threshold
        feed(data, records, row, target, env);  // every sample past the own ones
        data.endDataScan(env);
        computed = data.getComputedPairs();
        kept = 0;
        for (const auto &r : data.getSparseKernelMatrix()) kept += r.second.size();
        data.releasePrimitive(env);
    }
    state.counters["pairs_computed"] = static_cast<double>(computed);
    state.counters["pairs_admitted"] = static_cast<double>(admitted);
    state.counters["pairs_all"] = static_cast<double>(kRows) * kRows;
    state.counters["entries_kept"] = static_cast<double>(kept);
    if (computed != admitted) state.SkipWithError("computed pairs differ from the pairs the filter admits");
    row.reset(env);
}

}  // namespace

BENCHMARK(BM_KernelBuild)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
