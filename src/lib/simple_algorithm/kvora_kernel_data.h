// The similarity kernel's data object: each worker reads its own samples,
// a threshold is fixed on the master from the merged histograms of sampled
// kernel values, then every sample of the dataset streams past each worker
// and is compared with that worker's own samples; only values at or above
// the threshold are kept, in nested ordered maps. The workers meet through
// the histogram and the threshold alone: kept values never leave their
// worker. The implementation is split by subject: object base and messages
// (kvora_kernel_data.cpp), parameters and set-up (_open), the record scan and
// the kernel columns (_scan), histogram, threshold and output (_threshold).
#pragma once

#include <cstdint>
#include <map>
#include <ostream>
#include <vector>

#include "kvo/kv2ustra.h"
#include "simple_algorithm/kvora_kernel_data_parameters.h"
#include "simple_algorithm/kvora_kernel_functions.h"
#include "simple_algorithm/kvora_labeled_matrix.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "simple_algorithm/kvora_sparse_to_dense.h"
#include "util/kvora_env.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_xray.h"

class KVORAXMLTag;

class KVORAKernelData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORAKernelData)
public:
    enum { InitKernelObject = 0, InputMySamples = 1, InputOtherSamples = 2, ReadyForQuery = 3 };
    enum { KernelMode = 0, BufferMode = 1 };

    typedef std::map<double, double> ColumnMap;
    typedef std::map<uint64_t, double> KernelRow;

    KVORAKernelData();
    ~KVORAKernelData() override;

    // ---- object base ----
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // ---- the data interface ----
    void reservedOperationA() override;
    int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env) override;
    void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec, uint64_t sampleNumber,
                KVORA_ENV env) override;
    int32_t endDataScan(KVORA_ENV env) override;
    void initIteration(KVORA_ENV env) override;
    void finishIteration(KVORA_ENV env) override;
    int32_t isFinished() const override { return ivDataStatus == ReadyForQuery ? 1 : 0; }
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override;
    void print(std::ostream &stream) const override {}
    void reservedOperationB() override;
    void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) override;
    int32_t getScanType() const override;
    double getSamplingRate() const override { return 1.0; }
    int32_t canUpdateWithoutDataScan() const override { return 1; }

    // ---- the kernel's own virtual operations, in slot order ----
    virtual void buildSelfKernelValuesHistogram(KVORA_ENV env);
    virtual void writeSparseKernel(KVORA_ENV env);
    virtual void setSparseKernelValue(uint64_t row, uint64_t column, double value);
    virtual double getSparseKernelValue(uint64_t row, uint64_t column) const;
    virtual void getSparseInputRow(uint64_t sampleNumber, KVORAXaRay<double, 1> &out, KVORA_ENV env) const;

    // ---- set-up ----
    // Reads "KernelParams" below `tag` if there is one, else `tag` itself;
    // makes the kernel function and the matrices.
    void open(const KVORAXMLTag &tag, KVORA_ENV env);
    void initKernelData(const KVORAKernelDataParameters &parameters, KVORA_ENV env);
    // Frees the four labeled matrices and makes each anew, empty.
    void releaseMatrices(KVORA_ENV env);

    // ---- results ----
    uint64_t getKernelColSampleNumber(int32_t index) const { return ivKernelColSampleNumber[index]; }
    uint64_t getOtherSampleNumber(int32_t index) const { return ivOtherSamplesOrder[index]; }
    const std::map<uint64_t, KernelRow> &getSparseKernelMatrix() const { return ivSparseKernelMatrix; }
    // Pairs given to the kernel function in the scans of other samples.
    int64_t getComputedPairs() const { return ivComputedPairs; }

    // Fixes ivSparsityThreshold from the histogram arrays and ivSparsityLevel.
    void fixThreshold(KVORA_ENV env);

    // ---- messages ----
    void traceEvent(int32_t level, const char *text, int32_t withDump, KVORA_ENV env) const;
    void dump(std::ostream &out) const;
    static int32_t getRank();

    // ---- members, in declaration order ----
    KVORAOwnPtr<KVORALabeledMatrix> ivMyInputMatrixPtr;
    KVORAOwnPtr<KVORALabeledMatrix> ivMyTargetMatrixPtr;
    KVORAOwnPtr<KVORALabeledMatrix> ivOtherTargetMatrixPtr;
    KVORAXaRay<uint64_t, 1> ivSamplesOrder;
    KVORAXaRay<uint64_t, 1> ivOtherSamplesOrder;
    KVORAOwnPtr<KVORALabeledMatrix> ivKernelMatrixPtr;
    KVORAOwnPtr<KVORAKernelFunction> ivKernelFunctionPtr;
    int32_t ivKernelMode;
    int32_t ivSamplesNum;
    int32_t ivAllSamplesNum;
    int32_t ivIsSparseKernel;
    double ivSparsityLevel;
    double ivSparsityThreshold;
    int32_t ivIsSparseData;
    KVORAOwnPtr<KVORASparseToDenseData> ivSparseDataPtr;
    double ivColumnNum;
    std::map<uint64_t, ColumnMap> ivSparseInputMatrix;
    std::map<uint64_t, KernelRow> ivSparseKernelMatrix;
    std::map<uint64_t, int32_t> ivOtherSamplesMap;
    KVORAXaRay<double, 1> ivKernelHistogramLocations;
    KVORAXaRay<int32_t, 1> ivKernelHistogramCounts;
    KV2AscString ivOutputFileName;
    int32_t ivFilterSimilarities;
    int32_t ivNumberOfComputeIterations;
    int32_t ivCurComputeIteration;
    KVORAXaRay<uint64_t, 1> ivKernelColSampleNumber;
    int32_t ivFirstKernelCol;
    int32_t ivSamplesCounter;
    int32_t ivKernelVerbosityLvl;
    int32_t ivKernelSampleTraceOn;
    int64_t ivSampleTraceKernelEventsCounter;
    int32_t ivDataStatus;

private:
    // mine(i): own sample i's input row, into `out`, as getSparseInputRow
    // gives it in sparse mode. `dirty` belongs to `out`: the highest place
    // that may hold a non-zero, so that only that far is cleared.
    void mineRow(int32_t position, KVORAXaRay<double, 1> &out, int32_t &dirty, KVORA_ENV env);
    // Lays the own samples' sparse rows out flat by position.
    void makeFlatRows();
    // Forgets the flat rows and the last own row; called wherever the own
    // samples or their rows change.
    void forgetOwnRows();
    // One kernel column: the other sample `row` at column j against the own samples.
    void computeColumn(const KVORAXaRay<double, 1> &row, uint64_t sampleNumber, int32_t j, KVORA_ENV env);
    int32_t sampleTraceEvent(int32_t level);
    void appendOwnSample(uint64_t sampleNumber, KVORA_ENV env);

    // Working storage of the per-record and per-pair paths, kept between
    // records so that they allocate nothing once warm. Never carried.
    KVORAXaRay<double, 1> ivRow;
    KVORAXaRay<double, 1> ivTarget;
    KVORAXaRay<double, 1> ivMine;
    KVORAXaRay<double, 1> ivOther;
    KVORAXaRay<int32_t, 1> ivCandidates;
    int64_t ivComputedPairs;
    int32_t ivMineDirty = 0;
    int32_t ivOtherDirty = 0;

    // The own samples' sparse rows by position, flat: row i's places and
    // values (those of keys above 0, in the map's ascending order) are
    // [ivFlatStart[i - 1], ivFlatStart[i]). Pairs read them per kernel value,
    // so they are laid out once rather than found and walked in the nested
    // maps every time. Valid while ivFlatRows is the number of own samples.
    std::vector<size_t> ivFlatStart;
    std::vector<int32_t> ivFlatPlace;
    std::vector<double> ivFlatValue;
    int32_t ivFlatRows = -1;
    // The row of the last own record, since a sample's records come together.
    uint64_t ivLastOwnSample = 0;
    ColumnMap *ivLastOwnRow = nullptr;

    // The kept table's rows of the own samples, by position after
    // ivKeptRowBase (the first kernel column when they were found): a row's
    // values come spread over the whole pass, and a tree row stays where it
    // is while others come in. Forgotten wherever the table is replaced or
    // emptied.
    KernelRow &keptRow(uint64_t row);
    void forgetKeptRows() { ivKeptRowAt.clear(); }
    std::vector<KernelRow *> ivKeptRowAt;
    int64_t ivKeptRowBase = 0;
};

// Enters the class under its model identifier, 8; the same entry is made
// before main when this class's object file is linked in.
int32_t kvoraRegisterKernelData();
