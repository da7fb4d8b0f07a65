// The adapter between the model framework and an algorithm: a model in
// mining mode 1 that owns one data object and forwards every scan event to
// it, handing it each record as two plain vectors (explanatory values and
// target values) and the record's line number. The vectors are members sized
// once, so that a record costs field reads and one call, and no allocation.
#pragma once

#include <cstdint>
#include <vector>

#include "kernel/kvora_model.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "util/kvora_env.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_xray.h"

class KVORADataPoint;
class KVORANumField;
class KVORAXMLTag;

class KVORASimpleAlgorithmModel : public KVORAModel {
    KVORA_OBJECT_DECL(KVORASimpleAlgorithmModel)
public:
    // ivState
    enum { StateNew = 0, StateOpened = 1, StateScanBegun = 2, StateScanEnded = 3 };

    KVORASimpleAlgorithmModel();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    int32_t getScanType() const override;
    double getSamplingRate() const override;
    int32_t canUpdateWithoutDataScan() const override;
    void merge(KVORADataScan *other, KVORA_ENV env) override;
    int32_t hasScanResults() const override;
    KVORAUpdateFunc getUpdateFunction() const override;
    KVORAUpdateFunc getAltUpdateFunction() const override;

    void declareOutputs(KVORAModelOutputPair &outputs, KVORA_ENV env) override;
    void declareOutputs(KVORAModelOutputPair &outputs, int32_t targetIndex, KVORA_ENV env) override;
    void declareOutputs(KVORAModelOutputPair &outputs, KVORAFieldNameMap &fieldNameMap, KVORA_ENV env) override;
    void clearFields(KVORA_ENV env) override;
    int32_t canResetFields() const override;
    void targetFieldAdded(KVORAFieldNameMap *fieldNameMap) override;
    int32_t setMiningModePrimitive(int32_t mode, const KVORAXaRay<int32_t, 1> *fieldsUsed,
                                   KVORAModelOutputPair *outputs, KVORA_ENV env) override;
    int32_t beginDataScanPrimitive(KVORA_ENV env) override;
    int32_t endDataScanPrimitive(int32_t flag, KVORA_ENV env) override;
    void updateWithoutDataScanPrimitive(KVORA_ENV env) override;
    void initIterationPrimitive(KVORA_ENV env) override;
    void finishIterationPrimitive(KVORA_ENV env) override;
    void writeModelXML(KVORAXMLTag &tag, KVORA_ENV env) override;
    int32_t getNumCandidateModels() const override;
    double getPredictionVariance() const override;
    void computeScores(KVORAXaRay<KVORAModelScores, 1> &scores, KVORA_ENV env) override;
    double getDegreesOfFreedom() const override;
    void resetPrediction(KVORA_ENV env) override;
    int32_t getBestModelIndex() const override;
    void setBestModel(int32_t index, KVORA_ENV env) override;
    void calibratePrediction(KVORA_ENV env) override;
    void finishPrediction(KVORA_ENV env) override;
    void score(KVORA_ENV env) override;
    void reservedModelOperationA() override;
    void reservedModelOperationB() override;

    // Finds the places of the data point's fields among the model's input
    // fields, then makes and opens the data object of the model identifier.
    void open(int32_t modelId, KVORADataPoint &dataPoint, const KVORAXMLTag &parameters, KVORA_ENV env);
    KVORASimpleAlgorithmAbstractData *getData() const { return ivDataPtr.get(); }

    // One record, in model state 101; partitions 1 and 2 take no part in training.
    void update(int32_t partition, KVORA_ENV env);

    // The same record read straight from a dataset row, for a pass in which
    // records only set the fields' values. bindRowColumns finds, for every
    // value that update reads, the last column that writes its field
    // (`columnFields` in column order), and answers false where a value
    // would not be the row's (a field holding a value per partition, or a
    // place without a field); updateRow then reads the row as update reads
    // the fields: a missing value, a field that no column writes or one that
    // is not numeric gives 0.0.
    bool bindRowColumns(const KVORANumField *const *columnFields, int32_t columnCount);
    void updateRow(const double *row, int32_t partition, KVORA_ENV env);
    // Rows as updateRow takes them one by one, in order, for a pass whose
    // scan type stays the same; the partition of a scan's record is 3 or
    // more, so none is left out. The data object takes them all at once
    // where it can.
    void updateRows(const double *const *rows, int32_t count, KVORA_ENV env);
    // Tells the data object of a row that updateRow will take soon (its
    // first data value).
    void prefetchRow(const double *row) const;
    bool keepsScanTypeInPass() const { return ivDataPtr.get()->keepsScanTypeInPass() != 0; }
    // Whether `update` is this class's per-record update function.
    static bool isRecordUpdate(KVORAUpdateFunc update);

    // ---- members ----
    KVORAXaRay<double, 1> ivDataVec;              // not streamed
    KVORAXaRay<double, 1> ivTargetVec;            // not streamed
    KVORAXaRay<int32_t, 1> ivExplanatoryFieldOrder;
    KVORAXaRay<int32_t, 1> ivTargetFieldOrder;
    int32_t ivLineNumberFieldOrder;
    KVORAOwnPtr<KVORASimpleAlgorithmAbstractData> ivDataPtr;
    int32_t ivIterationCount;
    int32_t ivState;

private:
    // Sizes the two vectors from the input lists and takes the fields that
    // update reads into plain arrays.
    void sizeVectors(KVORA_ENV env);
    void takeFieldPointers();
    // Fills the two vectors from a row by the row columns; the line value.
    double takeRow(const double *row);
    // Checks once, off the per-record path, that every place that update
    // will follow leads to a field.
    void checkFieldOrders() const;

    // The fields behind the places, in vector order, so that update follows
    // one pointer per value (null for a place that leads nowhere: update
    // runs only once the places were checked).
    std::vector<const KVORAField *> ivDataFields;
    std::vector<const KVORAField *> ivTargetFieldPtrs;
    const KVORAField *ivLineNumberField = nullptr;
    // The row columns of bindRowColumns: the data values, the target values
    // and the line number, in that order; -1 for a value that is always 0.0.
    std::vector<int32_t> ivRowColumns;
};
