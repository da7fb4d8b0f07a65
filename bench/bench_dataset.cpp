// Rows per second of a dense dataset read through getNextRecord, and the
// allocations made per row, counted by a replaced global operator new. The
// dataset is written once to a temporary directory: one million rows of four
// numeric columns, or of three numeric and one categorical column.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "control/kvora_binaryindataset.h"
#include "control/kvora_pagereader.h"
#include "kernel/kvora_datapoint.h"

namespace {
std::atomic<int64_t> gAllocations{0};
}

void *operator new(std::size_t size) {
    ++gAllocations;
    void *p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void *operator new[](std::size_t size) {
    ++gAllocations;
    void *p = std::malloc(size == 0 ? 1 : size);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
    ++gAllocations;
    return std::malloc(size == 0 ? 1 : size);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
    ++gAllocations;
    return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete[](void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete[](void *p, std::size_t) noexcept { std::free(p); }

namespace {

const int64_t kRows = 1000000;

// Writes the dataset once per kind; answers its path.
std::string makeDataset(bool categorical) {
    static std::string paths[2];
    std::string &path = paths[categorical ? 1 : 0];
    if (!path.empty()) return path;
    char dir[] = "/tmp/bench_dataset_XXXXXX";
    if (::mkdtemp(dir) == nullptr) std::abort();
    path = std::string(dir) + (categorical ? "/cat" : "/num");
    FILE *info = std::fopen((path + ".info").c_str(), "w");
    std::fputs("line Numeric LineNumber\na Numeric Explanatory\nb Numeric Explanatory\n", info);
    std::fputs(categorical ? "k Categorical Target\n" : "t Numeric Target\n", info);
    std::fclose(info);
    FILE *data = std::fopen(path.c_str(), "wb");
    std::vector<double> row(4);
    for (int64_t r = 0; r < kRows; ++r) {
        row[0] = static_cast<double>(r + 1);
        row[1] = r * 0.5;
        row[2] = r % 17 == 0 ? -99999.0 : -1.0 * r;
        row[3] = static_cast<double>(r % 1000);
        std::fwrite(row.data(), 8, 4, data);  // little-endian host
    }
    std::fclose(data);
    return path;
}

void readAll(benchmark::State &state, bool categorical) {
    const std::string path = makeDataset(categorical);
    KVORAEnv *env = nullptr;
    KVORAPageReader pages;
    KVORAOwnPtr<KVORADataPoint> dp;
    dp.create(env);
    KVORAOwnPtr<KVORABinaryInputDataset> ds;
    ds.create(env);
    ds->setPageReader(&pages);
    ds->open(path, dp, 0, 1, env);
    // One pass before timing, so that texts have reached their longest.
    ds->beginScan(0);
    while (ds->getNextRecord(*dp, env) >= 0) {
    }
    int64_t rows = 0;
    int64_t allocations = 0;
    for (auto _ : state) {
        ds->beginScan(0);
        const int64_t before = gAllocations.load();
        KVORADataPoint &point = *dp;
        for (;;) {
            point.beginRecord();
            const int64_t r = ds->getNextRecord(point, env);
            if (r < 0) break;
            point.endRecord(env);
            ++rows;
        }
        allocations += gAllocations.load() - before;
    }
    state.counters["rows_per_s"] = benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsRate);
    state.counters["allocs_per_row"] = rows > 0 ? static_cast<double>(allocations) / rows : 0.0;
    ds.reset(env);
    dp.reset(env);
}

void BM_DenseRowsNumeric(benchmark::State &state) { readAll(state, false); }
void BM_DenseRowsWithCategory(benchmark::State &state) { readAll(state, true); }

}  // namespace

BENCHMARK(BM_DenseRowsNumeric)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DenseRowsWithCategory)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
