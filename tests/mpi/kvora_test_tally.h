// A data object used only by the tests: it counts the records and sums the
// first explanatory column in pass 1, sums its squares in pass 2, and works
// out the mean in a pass without data (scan type 3). It also records the
// order in which the job layer merged the processes' results, and carries an
// optional filler text so that a distribution can be made any size.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"

constexpr int32_t KVORA_TEST_TALLY_MODEL_ID = 901;

class KVORATestTallyData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORATestTallyData)
public:
    KVORATestTallyData();
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    void open(const KVORAXMLTag &parameters, KVORA_ENV env);
    int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env) override;
    void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec, uint64_t lineNumber,
                KVORA_ENV env) override;
    int32_t endDataScan(KVORA_ENV env) override;
    void updateWithoutDataScan(KVORA_ENV env) override;
    void initIteration(KVORA_ENV env) override;
    void finishIteration(KVORA_ENV env) override;
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override;
    void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) override;
    int32_t getScanType() const override;
    int32_t canUpdateWithoutDataScan() const override;

    int32_t ivPass = 0;          // 0 and 1 read data, 2 runs without data, 3 is done
    int64_t ivRecords = 0;
    double ivSum = 0.0;
    double ivSumSquares = 0.0;
    double ivMean = 0.0;
    uint64_t ivLineSum = 0;      // sum of line numbers in pass 1
    int32_t ivWithoutDataCalls = 0;  // kept per process, never merged
    KV2AscString ivOrder;        // merge order, one digit per rank
    KV2AscString ivFiller;       // ballast, never merged
};
