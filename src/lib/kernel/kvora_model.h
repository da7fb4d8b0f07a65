// Base of every model: its state machine (none, mode set, scanning, finished),
// its mining modes, the input fields given to it by usage, and the virtual
// operations that a kind of model fills in. The driver talks only to this
// class; the scan begin and end here decide the state, the subclass's
// primitives decide whether it can scan and when it is done.
#pragma once

#include <cstdint>

#include "kernel/kvora_datascan.h"
#include "kernel/kvora_modelscores.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xray.h"

class KVORADataPoint;
class KVORAField;
class KVORAFieldNameMap;
class KVORAModelOutputPair;
class KVORAObjReader;
class KVORAObjWriter;
class KVORAXMLTag;

// One entry of a model input list: the field and its usage. On the streams an
// entry is the field's name alone; reading takes the usage from the field's
// purpose, which the dataset numbers as the usages are numbered.
struct KVORAModelInputField {
    KVORAField *ivFieldPtr = nullptr;
    int32_t ivUsage = 0;
};

void kvoraWrite(KVORAObjWriter &writer, const KVORAModelInputField &entry, KVORA_ENV env);
void kvoraRead(KVORAObjReader &reader, KVORAModelInputField &entry, KVORA_ENV env);

class KVORAModel : public KVORADataScan {
    KVORA_ABSTRACT_OBJECT_DECL(KVORAModel)
public:
    // Usages of an input field.
    enum {
        UsageTarget = 1,
        UsageExplanatory = 2,
        UsageExplanatory3 = 3,
        UsageExplanatory4 = 4,
        UsageCaseWeight = 5,
        UsageInvVarWeight = 6,
        UsageLineNumber = 7
    };
    // Model states besides mode m (1..10), 100+m scanning and -m finished.
    enum { StateNone = 0, ScanningOffset = 100 };

    KVORAModel();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // ---- the model's own virtual operations, in slot order ----
    virtual void declareOutputs(KVORAModelOutputPair &outputs, KVORA_ENV env);
    virtual void declareOutputs(KVORAModelOutputPair &outputs, int32_t targetIndex, KVORA_ENV env);
    virtual void declareOutputs(KVORAModelOutputPair &outputs, KVORAFieldNameMap &fieldNameMap, KVORA_ENV env);
    virtual void clearFields(KVORA_ENV env);
    virtual int32_t canResetFields() const;
    virtual void targetFieldAdded(KVORAFieldNameMap *fieldNameMap) = 0;
    virtual int32_t setMiningModePrimitive(int32_t mode, const KVORAXaRay<int32_t, 1> *fieldsUsed,
                                           KVORAModelOutputPair *outputs, KVORA_ENV env) = 0;
    virtual int32_t beginDataScanPrimitive(KVORA_ENV env) = 0;
    virtual int32_t endDataScanPrimitive(int32_t flag, KVORA_ENV env) = 0;
    virtual void updateWithoutDataScanPrimitive(KVORA_ENV env) = 0;
    virtual void initIterationPrimitive(KVORA_ENV env) = 0;
    virtual void finishIterationPrimitive(KVORA_ENV env) = 0;
    virtual void writeModelXML(KVORAXMLTag &tag, KVORA_ENV env) = 0;
    // Prediction and scores.
    virtual int32_t getNumCandidateModels() const = 0;
    virtual double getPredictionVariance() const = 0;
    virtual void computeScores(KVORAXaRay<KVORAModelScores, 1> &scores, KVORA_ENV env) = 0;
    virtual double getDegreesOfFreedom() const = 0;
    virtual void resetPrediction(KVORA_ENV env) = 0;
    virtual int32_t getBestModelIndex() const = 0;
    virtual void setBestModel(int32_t index, KVORA_ENV env) = 0;
    virtual void calibratePrediction(KVORA_ENV env) = 0;
    virtual void finishPrediction(KVORA_ENV env) = 0;
    virtual void score(KVORA_ENV env) = 0;
    virtual void reservedModelOperationA() = 0;
    virtual void reservedModelOperationB() = 0;
    // Tells the subclass of a field just added; nothing here.
    virtual void fieldAdded(KVORAField *field, int32_t usage, KVORA_ENV env);

    // ---- non-virtual operations ----
    void setDataPoint(KVORADataPoint *dataPoint) { ivDataPoint = dataPoint; }
    KVORADataPoint *getDataPoint() const { return ivDataPoint; }
    void addInputField(KVORAField *field, int32_t usage, KVORAFieldNameMap *fieldNameMap, KVORA_ENV env);
    int32_t setMiningMode(int32_t mode, const KVORAXaRay<int32_t, 1> *fieldsUsed, KVORAModelOutputPair *outputs,
                          KVORA_ENV env);
    int32_t setMiningMode(int32_t mode, KVORA_ENV env) { return setMiningMode(mode, nullptr, nullptr, env); }
    int32_t beginDataScan(KVORA_ENV env);
    int32_t endDataScan(int32_t flag, KVORA_ENV env);
    void updateWithoutDataScan(KVORA_ENV env) { updateWithoutDataScanPrimitive(env); }
    void initIteration(KVORA_ENV env) { initIterationPrimitive(env); }
    void finishIteration(KVORA_ENV env) { finishIterationPrimitive(env); }

    int32_t getModelState() const { return ivModelState; }
    int32_t getNumTargetFields() const { return ivTargetFields.getSize(); }
    int32_t getNumExplanatoryFields() const { return ivExplanatoryFields.getSize(); }
    // Places of a field, from 1, or 0 when it is not there: among the
    // explanatory fields of usage 2, among the target fields, and as the
    // line number field (usage 7). The first and last are places in
    // ivExplanatoryFields.
    int32_t getExplanatoryFieldOrder(const KVORAField *field) const;
    int32_t getTargetFieldOrder(const KVORAField *field) const;
    int32_t getLineNumberFieldOrder(const KVORAField *field) const;

    // ---- members ----
    KVORAXaRay<KVORAModelInputField, 1> ivTargetFields;
    KVORAXaRay<KVORAModelInputField, 1> ivExplanatoryFields;
    KVORAField *ivCaseWeightFieldPtr;
    KVORAField *ivInvVarWeightFieldPtr;
    int32_t ivNumAddDegreesOfFreedom;
    int32_t ivModelState;
    KVORADataPoint *ivDataPoint;  // not owned

private:
    // The negative mode after a scan; evaluates the scores where the mode has them.
    void finishMode(int32_t mode, KVORA_ENV env);
    void evaluateModelScores(int32_t kind, KVORA_ENV env);
};
