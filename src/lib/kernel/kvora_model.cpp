// The model base: input fields by usage, the state machine of the scans and
// the choice of the best candidate by its scores.
#include "kernel/kvora_model.h"

#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_modelglobalvars.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_ABSTRACT_OBJECT_IMPL(KVORAModel, KVORADataScan, 6)
KVORA_MEMBER_KEYWORD(KVORAModel, ivTargetFields, 1)
KVORA_MEMBER_KEYWORD(KVORAModel, ivExplanatoryFields, 2)
KVORA_MEMBER_KEYWORD(KVORAModel, ivCaseWeightFieldPtr, 3)
KVORA_MEMBER_KEYWORD(KVORAModel, ivInvVarWeightFieldPtr, 4)
KVORA_MEMBER_KEYWORD(KVORAModel, ivNumAddDegreesOfFreedom, 5)
KVORA_MEMBER_KEYWORD(KVORAModel, ivModelState, 6)

void kvoraWrite(KVORAObjWriter &writer, const KVORAModelInputField &entry, KVORA_ENV env)
{
    if (entry.ivFieldPtr == nullptr) {
        writer.writeString(KV2AscString(), env);
        return;
    }
    writer.writeString(entry.ivFieldPtr->getName(), env);
}

void kvoraRead(KVORAObjReader &reader, KVORAModelInputField &entry, KVORA_ENV env)
{
    KV2AscString name;
    reader.readString(name, env);
    if (name.size() == 0) {
        entry.ivFieldPtr = nullptr;
        entry.ivUsage = 0;
        return;
    }
    KVORAFieldNameMap *map = static_cast<KVORAFieldNameMap *>(reader.findBackPointer(KVORAFieldNameMap::cvBackPtrName));
    KVORA_ASSERT_CAUSE(map != 0, "A field reference can only be read with a field name map attached");
    entry.ivFieldPtr = map->getFieldByName(name);
    entry.ivUsage = entry.ivFieldPtr->getPurpose();
}

KVORAModel::KVORAModel()
    : ivTargetFields(KVORA_PLACE), ivExplanatoryFields(KVORA_PLACE), ivCaseWeightFieldPtr(nullptr),
      ivInvVarWeightFieldPtr(nullptr), ivNumAddDegreesOfFreedom(0), ivModelState(StateNone), ivDataPoint(nullptr)
{
}

void KVORAModel::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORADataScan::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORAModel *other = static_cast<const KVORAModel *>(source);
    ivTargetFields.copyFrom(other->ivTargetFields, env);
    ivExplanatoryFields.copyFrom(other->ivExplanatoryFields, env);
    ivCaseWeightFieldPtr = other->ivCaseWeightFieldPtr;
    ivInvVarWeightFieldPtr = other->ivInvVarWeightFieldPtr;
    ivNumAddDegreesOfFreedom = other->ivNumAddDegreesOfFreedom;
    ivModelState = other->ivModelState;
    ivDataPoint = other->ivDataPoint;
}

void KVORAModel::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    if (source != nullptr) KVORA_NEVER_HERE();
}

void KVORAModel::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORADataScan::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivTargetFields), ivTargetFields, env);
    kvoraRead(reader, KVORA_KWD(ivExplanatoryFields), ivExplanatoryFields, env);
    KVORAFieldNameMap::readFieldReference(reader, KVORA_KWD(ivCaseWeightFieldPtr), ivCaseWeightFieldPtr, env);
    KVORAFieldNameMap::readFieldReference(reader, KVORA_KWD(ivInvVarWeightFieldPtr), ivInvVarWeightFieldPtr, env);
    kvoraRead(reader, KVORA_KWD(ivNumAddDegreesOfFreedom), ivNumAddDegreesOfFreedom, env);
    kvoraRead(reader, KVORA_KWD(ivModelState), ivModelState, env);
}

void KVORAModel::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORADataScan::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivTargetFields), ivTargetFields, env);
    kvoraWrite(writer, KVORA_KWD(ivExplanatoryFields), ivExplanatoryFields, env);
    KVORAFieldNameMap::writeFieldReference(writer, KVORA_KWD(ivCaseWeightFieldPtr), ivCaseWeightFieldPtr, env);
    KVORAFieldNameMap::writeFieldReference(writer, KVORA_KWD(ivInvVarWeightFieldPtr), ivInvVarWeightFieldPtr, env);
    kvoraWrite(writer, KVORA_KWD(ivNumAddDegreesOfFreedom), ivNumAddDegreesOfFreedom, env);
    kvoraWrite(writer, KVORA_KWD(ivModelState), ivModelState, env);
}

void KVORAModel::releasePrimitive(KVORA_ENV env)
{
    ivTargetFields.reset(env);
    ivExplanatoryFields.reset(env);
    ivCaseWeightFieldPtr = nullptr;
    ivInvVarWeightFieldPtr = nullptr;
    ivNumAddDegreesOfFreedom = 0;
    ivModelState = StateNone;
    ivDataPoint = nullptr;
    KVORADataScan::releasePrimitive(env);
}

void KVORAModel::declareOutputs(KVORAModelOutputPair &outputs, KVORA_ENV env) {}

void KVORAModel::declareOutputs(KVORAModelOutputPair &outputs, int32_t targetIndex, KVORA_ENV env) {}

void KVORAModel::declareOutputs(KVORAModelOutputPair &outputs, KVORAFieldNameMap &fieldNameMap, KVORA_ENV env) {}

void KVORAModel::clearFields(KVORA_ENV env)
{
    ivTargetFields.setSize(0, env);
    ivExplanatoryFields.setSize(0, env);
    ivCaseWeightFieldPtr = nullptr;
    ivInvVarWeightFieldPtr = nullptr;
}

int32_t KVORAModel::canResetFields() const { return 1; }

void KVORAModel::fieldAdded(KVORAField *field, int32_t usage, KVORA_ENV env) {}

void KVORAModel::addInputField(KVORAField *field, int32_t usage, KVORAFieldNameMap *fieldNameMap, KVORA_ENV env)
{
    if (usage < UsageTarget || usage > UsageLineNumber) KVORA_FATAL("Invalid model input field usage type");
    if (usage == UsageTarget) targetFieldAdded(fieldNameMap);
    KVORAModelInputField entry;
    entry.ivFieldPtr = field;
    entry.ivUsage = usage;
    switch (usage) {
    case UsageTarget:
        ivTargetFields.copyAppend(entry, env);
        break;
    case UsageCaseWeight:
        ivCaseWeightFieldPtr = field;
        break;
    case UsageInvVarWeight:
        ivInvVarWeightFieldPtr = field;
        break;
    default:  // 2, 3, 4 and the line number
        ivExplanatoryFields.copyAppend(entry, env);
        break;
    }
    fieldAdded(field, usage, env);
}

int32_t KVORAModel::setMiningMode(int32_t mode, const KVORAXaRay<int32_t, 1> *fieldsUsed, KVORAModelOutputPair *outputs,
                                  KVORA_ENV env)
{
    if (setMiningModePrimitive(mode, fieldsUsed, outputs, env) == 0) return 0;
    ivModelState = mode;
    return 1;
}

int32_t KVORAModel::beginDataScan(KVORA_ENV env)
{
    if (ivModelState >= 101) return 1;
    const int32_t ok = beginDataScanPrimitive(env);
    if (ivModelState < 1 || ivModelState > 10) KVORA_FATAL("Invalid model state");
    if (ok == 0) {
        finishMode(ivModelState, env);
    } else {
        ivModelState = ScanningOffset + ivModelState;
    }
    setUpdateFunctions();
    return ivModelState > 100 ? 1 : 0;
}

int32_t KVORAModel::endDataScan(int32_t flag, KVORA_ENV env)
{
    if (ivModelState <= 100) return 1;
    const int32_t done = endDataScanPrimitive(flag, env);
    if (done != 0) {
        if (ivModelState < 101 || ivModelState > 110) KVORA_FATAL("Invalid model state");
        finishMode(ivModelState - ScanningOffset, env);
    }
    setUpdateFunctions();
    return ivModelState < 101 ? 1 : 0;
}

void KVORAModel::finishMode(int32_t mode, KVORA_ENV env)
{
    ivModelState = -mode;
    if (mode == 7 || mode == 10) return;
    evaluateModelScores(mode == 8 ? 2 : 1, env);
}

void KVORAModel::evaluateModelScores(int32_t kind, KVORA_ENV env)
{
    KVORAXaRay<KVORAModelScores, 1> &modelScores = KVORAModelGlobalVars::get(env)->modelScores;
    modelScores.setSize(0, env);
    computeScores(modelScores, env);
    if (!(modelScores.getSize() > 0))
        kvoraAssertFailCause("modelScores.getSize() > 0", "Model scores vector not initialized by derived class",
                             KVORA_PLACE);
    // Without a second entry there is no weight to doubt the kind by.
    if (kind == 2 && modelScores.getSize() >= 2 && modelScores[2].ivSampleWeight < 1.0) kind = 1;
    int32_t best = 1;
    if (modelScores[1].getValue(kind) > 0.0) {
        double bestValue = modelScores[modelScores.getSize()].getValue(kind);
        best = modelScores.getSize();
        for (int32_t i = modelScores.getSize() - 1; i >= 1; --i) {
            const double value = modelScores[i].getValue(kind);
            if (value <= bestValue) {
                bestValue = value;
                best = i;
            }
        }
    }
    setBestModel(best, env);
}

int32_t KVORAModel::getExplanatoryFieldOrder(const KVORAField *field) const
{
    for (int32_t i = 1; i <= ivExplanatoryFields.getSize(); ++i) {
        const KVORAModelInputField &entry = ivExplanatoryFields[i];
        if (entry.ivFieldPtr == field && entry.ivUsage == UsageExplanatory) return i;
    }
    return 0;
}

int32_t KVORAModel::getTargetFieldOrder(const KVORAField *field) const
{
    for (int32_t i = 1; i <= ivTargetFields.getSize(); ++i) {
        if (ivTargetFields[i].ivFieldPtr == field) return i;
    }
    return 0;
}

int32_t KVORAModel::getLineNumberFieldOrder(const KVORAField *field) const
{
    for (int32_t i = 1; i <= ivExplanatoryFields.getSize(); ++i) {
        const KVORAModelInputField &entry = ivExplanatoryFields[i];
        if (entry.ivFieldPtr == field && entry.ivUsage == UsageLineNumber) return i;
    }
    return 0;
}
