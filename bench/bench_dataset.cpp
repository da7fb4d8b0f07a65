// Rows per second of a dense dataset read through getNextRecord, and the
// allocations made per row, counted by a replaced global operator new. The
// dataset is written once to a temporary directory: one million rows of four
// numeric columns, or of three numeric and one categorical column. A third
// case runs whole passes of the driver's scan loop over the numeric dataset,
// with a model whose data object does nothing: the generic per-record path
// (row delivery, record begin and end, partition, the model's update) alone.
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

#include "control/kvora_XML_tag.h"
#include "control/kvora_binaryindataset.h"
#include "control/kvora_pagereader.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_fieldglobalvars.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_multiscan.h"
#include "qrvexec/kvora_control.h"
#include "qrvexec/kvora_control_loops.h"
#include "simple_algorithm/kvora_simple_algorithm.h"

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

constexpr int32_t kIdleModelId = 903;

}  // namespace

// Takes every record and does nothing with it.
class KVORABenchIdleData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORABenchIdleData)
public:
    void open(const KVORAXMLTag &, KVORA_ENV) {}
    int32_t beginDataScan(int32_t, KVORA_ENV) override { return 1; }
    void update(const KVORAXaRay<double, 1> &, const KVORAXaRay<double, 1> &, uint64_t, KVORA_ENV) override {}
    void initIteration(KVORA_ENV) override {}
    void finishIteration(KVORA_ENV) override {}
    int32_t getScanType() const override { return 0; }
    int32_t canUpdateWithoutDataScan() const override { return 0; }
};
KVORA_OBJECT_IMPL(KVORABenchIdleData, KVORASimpleAlgorithmAbstractData, 0)

namespace {

void BM_ScanPassIdleModel(benchmark::State &state) {
    const std::string path = makeDataset(false);
    KVORAEnv *env = nullptr;
    kvoraRegisterSimpleAlgorithmData(kIdleModelId, &kvoraOpenSimpleAlgorithmData<KVORABenchIdleData>);
    KVORAFieldGlobalVars::get(env)->ivMaxPartition = 4;
    KVORAPageReader pages;
    KVORAOwnPtr<KVORADataPoint> dp;
    dp.create(env);
    KVORAOwnPtr<KVORABinaryInputDataset> ds;
    ds.create(env);
    ds->setPageReader(&pages);
    ds->open(path, dp, 0, 1, env);
    KVORAOwnPtr<KVORAFieldNameMap> map;
    map.create(env);
    map->fillFromDataPoint(*dp, env);
    KVORAOwnPtr<KVORAModel> model;
    KVORASimpleAlgorithmModel *made = new KVORASimpleAlgorithmModel();
    kvoraMemAccount(made->getObjectSize(), env);
    model.reset(made, env);
    model->setDataPoint(dp.get());
    for (int32_t i = 1; i <= dp->getFieldCount(); ++i)
        model->addInputField(dp->getFieldAt(i), ds->getFieldUsage(i), map.get(), env);
    model->setMiningMode(1, env);
    KVORAXMLTag parameters;
    made->open(kIdleModelId, *dp, parameters, env);
    model->beginDataScan(env);
    KVORAControl control;
    KVORAOwnPtr<KVORAObject> outputs;
    KVORAOwnPtr<KVORAMultiScan> lift;
    KVORAOwnPtr<KVORAMultiScan> sensitivity;
    int64_t rows = 0;
    for (auto _ : state) {
        ds->rewind(env);
        kvoraScanData(control, model, dp, *ds, 0, outputs, lift, sensitivity, env);
        rows += kRows;
    }
    state.counters["rows_per_s"] = benchmark::Counter(static_cast<double>(rows), benchmark::Counter::kIsRate);
    model.reset(env);
    map.reset(env);
    ds.reset(env);
    dp.reset(env);
}

}  // namespace

BENCHMARK(BM_DenseRowsNumeric)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DenseRowsWithCategory)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ScanPassIdleModel)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
