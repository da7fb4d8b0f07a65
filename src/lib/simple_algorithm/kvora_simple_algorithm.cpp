// The simple-algorithm model: field places, the per-record update that fills
// the two vectors, the forwarding of scan events to the data object, and the
// model's part of the object streams.
#include "simple_algorithm/kvora_simple_algorithm.h"

#include "control/kvora_XML_tag.h"
#include "control/kvora_binaryindataset.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_numfield.h"
#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORASimpleAlgorithmModel, KVORAModel, 6)
KVORA_MEMBER_KEYWORD(KVORASimpleAlgorithmModel, ivExplanatoryFieldOrder, 1)
KVORA_MEMBER_KEYWORD(KVORASimpleAlgorithmModel, ivTargetFieldOrder, 2)
KVORA_MEMBER_KEYWORD(KVORASimpleAlgorithmModel, ivLineNumberFieldOrder, 3)
KVORA_MEMBER_KEYWORD(KVORASimpleAlgorithmModel, ivDataPtr, 4)
KVORA_MEMBER_KEYWORD(KVORASimpleAlgorithmModel, ivIterationCount, 5)
KVORA_MEMBER_KEYWORD(KVORASimpleAlgorithmModel, ivState, 6)

namespace {

// A field's value as the algorithms see it: 0.0 unless numeric; the value of
// the partition when the field holds one per partition, else its single value.
inline double fieldValue(const KVORAField *field, int32_t partition)
{
    if (field->ivFieldType != KVORAField::NumericType) return 0.0;
    if (field->ivActualChannelCount > 0) {
        if (partition >= 1 && partition <= field->ivChannelValues.getSize()) return field->ivChannelValues[partition];
        return field->getChannelValue(partition);  // out of range: its assertion
    }
    return field->ivRealValue;
}

void updateFunction(KVORADataScan *object, int32_t partition, KVORA_ENV env)
{
    static_cast<KVORASimpleAlgorithmModel *>(object)->update(partition, env);
}

void altUpdateFunction(KVORADataScan *object, int32_t partition, KVORA_ENV env) { KVORA_NEVER_HERE(); }

}  // namespace

KVORASimpleAlgorithmModel::KVORASimpleAlgorithmModel()
    : ivDataVec(KVORA_PLACE), ivTargetVec(KVORA_PLACE), ivExplanatoryFieldOrder(KVORA_PLACE),
      ivTargetFieldOrder(KVORA_PLACE), ivLineNumberFieldOrder(-1), ivDataPtr(KVORA_PLACE), ivIterationCount(0),
      ivState(StateNew)
{
}

// ---- object base ----

void KVORASimpleAlgorithmModel::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORAModel::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORASimpleAlgorithmModel *other = static_cast<const KVORASimpleAlgorithmModel *>(source);
    ivExplanatoryFieldOrder.copyFrom(other->ivExplanatoryFieldOrder, env);
    ivTargetFieldOrder.copyFrom(other->ivTargetFieldOrder, env);
    ivLineNumberFieldOrder = other->ivLineNumberFieldOrder;
    ivIterationCount = other->ivIterationCount;
    ivState = other->ivState;
    if (other->ivDataPtr.get() == nullptr) {
        ivDataPtr.reset(env);
    } else {
        KVORAOwnPtr<KVORAObject> copy(KVORA_PLACE);
        other->ivDataPtr->cloneObject(copy, env);
        KVORA_ASSERT(copy.get() != 0);
        copy->copyFromPrimitive(other->ivDataPtr.get(), env);
        ivDataPtr.reset(static_cast<KVORASimpleAlgorithmAbstractData *>(copy.transfer()), env);
    }
    sizeVectors(env);
}

void KVORASimpleAlgorithmModel::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    if (source != nullptr) KVORA_NEVER_HERE();
}

void KVORASimpleAlgorithmModel::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAModel::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivExplanatoryFieldOrder), ivExplanatoryFieldOrder, env);
    kvoraRead(reader, KVORA_KWD(ivTargetFieldOrder), ivTargetFieldOrder, env);
    kvoraRead(reader, KVORA_KWD(ivLineNumberFieldOrder), ivLineNumberFieldOrder, env);
    kvoraRead(reader, KVORA_KWD(ivDataPtr), ivDataPtr, env);
    kvoraRead(reader, KVORA_KWD(ivIterationCount), ivIterationCount, env);
    kvoraRead(reader, KVORA_KWD(ivState), ivState, env);
}

void KVORASimpleAlgorithmModel::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORAModel::postReadPrimitive(reader, env);
    // The vectors do not travel: a worker sizes them from the lists it read.
    sizeVectors(env);
    if (ivState != StateNew) checkFieldOrders();
}

void KVORASimpleAlgorithmModel::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORAModel::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivExplanatoryFieldOrder), ivExplanatoryFieldOrder, env);
    kvoraWrite(writer, KVORA_KWD(ivTargetFieldOrder), ivTargetFieldOrder, env);
    kvoraWrite(writer, KVORA_KWD(ivLineNumberFieldOrder), ivLineNumberFieldOrder, env);
    kvoraWrite(writer, KVORA_KWD(ivDataPtr), ivDataPtr, env);
    kvoraWrite(writer, KVORA_KWD(ivIterationCount), ivIterationCount, env);
    kvoraWrite(writer, KVORA_KWD(ivState), ivState, env);
}

void KVORASimpleAlgorithmModel::releasePrimitive(KVORA_ENV env)
{
    ivDataPtr.reset(env);
    ivIterationCount = 0;
    ivState = StateNew;
    ivDataVec.reset(env);
    ivTargetVec.reset(env);
    ivExplanatoryFieldOrder.reset(env);
    ivTargetFieldOrder.reset(env);
    ivLineNumberFieldOrder = -1;
    takeFieldPointers();
    KVORAModel::releasePrimitive(env);
}

// ---- the scan ----

int32_t KVORASimpleAlgorithmModel::getScanType() const { return ivDataPtr->getScanType(); }

double KVORASimpleAlgorithmModel::getSamplingRate() const { return ivDataPtr->getSamplingRate(); }

int32_t KVORASimpleAlgorithmModel::canUpdateWithoutDataScan() const { return ivDataPtr->canUpdateWithoutDataScan(); }

void KVORASimpleAlgorithmModel::merge(KVORADataScan *other, KVORA_ENV env)
{
    KVORAModel::merge(other, env);
    KVORA_ASSERT(other != 0 && other->isKindOf(KVORASimpleAlgorithmModel::classType()));
    ivDataPtr->merge(static_cast<KVORASimpleAlgorithmModel *>(other)->ivDataPtr.get(), env);
}

// A model sends results only while it is scanning.
int32_t KVORASimpleAlgorithmModel::hasScanResults() const
{
    return ivModelState >= 101 ? 1 : KVORAModel::hasScanResults();
}

KVORAUpdateFunc KVORASimpleAlgorithmModel::getUpdateFunction() const
{
    if (ivModelState < 101) return nullptr;
    if (ivModelState == 101) return &updateFunction;
    if (ivModelState <= 110) KVORA_NOT_IMPLEMENTED();
    KVORA_FATAL("Invalid model state");
}

KVORAUpdateFunc KVORASimpleAlgorithmModel::getAltUpdateFunction() const { return &altUpdateFunction; }

void KVORASimpleAlgorithmModel::update(int32_t partition, KVORA_ENV env)
{
    // The places were checked when the model was opened or read.
    const int32_t numData = ivDataVec.getSize();
    const KVORAField *const *dataFields = ivDataFields.data();
    for (int32_t i = 1; i <= numData; ++i) ivDataVec[i] = fieldValue(dataFields[i - 1], partition);
    const int32_t numTargets = ivTargetVec.getSize();
    const KVORAField *const *targetFields = ivTargetFieldPtrs.data();
    for (int32_t i = 1; i <= numTargets; ++i) ivTargetVec[i] = fieldValue(targetFields[i - 1], partition);
    const double lineNumber = fieldValue(ivLineNumberField, partition);
    if (partition == 1 || partition == 2) return;
    ivDataPtr->update(ivDataVec, ivTargetVec, KVORARowLayout::lineNumber(lineNumber), env);
}

bool KVORASimpleAlgorithmModel::isRecordUpdate(KVORAUpdateFunc update) { return update == &updateFunction; }

bool KVORASimpleAlgorithmModel::bindRowColumns(const KVORANumField *const *columnFields, int32_t columnCount)
{
    ivRowColumns.clear();
    auto bind = [&](const KVORAField *field) {
        if (field == nullptr || field->ivActualChannelCount > 0) return false;
        int32_t column = -1;
        if (field->ivFieldType == KVORAField::NumericType)
            for (int32_t c = 0; c < columnCount; ++c)
                if (columnFields[c] == field) column = c;
        ivRowColumns.push_back(column);
        return true;
    };
    for (const KVORAField *field : ivDataFields)
        if (!bind(field)) return false;
    for (const KVORAField *field : ivTargetFieldPtrs)
        if (!bind(field)) return false;
    return bind(ivLineNumberField);
}

static_assert(KVORARowLayout::cvMissingValue == KVORABinaryInputDataset::cvMissingValue,
              "rows read straight from the dataset know its missing value");

void KVORASimpleAlgorithmModel::prefetchRow(const double *row) const
{
    // The first value alone: it is all that a data object looks at so far,
    // and this runs once per record.
    if (ivDataVec.getSize() < 1) return;
    const double first = KVORARowLayout::value(row, ivRowColumns.front());
    ivDataPtr.get()->prefetchRecord(&first, 1);
}

double KVORASimpleAlgorithmModel::takeRow(const double *row)
{
    // Local pointers: a store into a vector cannot then be taken to change
    // the columns or the vectors' blocks.
    const int32_t *column = ivRowColumns.data();
    const int32_t numData = ivDataVec.getSize();
    double *data = ivDataVec.getBlock();
    for (int32_t i = 0; i < numData; ++i) data[i] = KVORARowLayout::value(row, column[i]);
    column += numData;
    const int32_t numTargets = ivTargetVec.getSize();
    double *targets = ivTargetVec.getBlock();
    for (int32_t i = 0; i < numTargets; ++i) targets[i] = KVORARowLayout::value(row, column[i]);
    return KVORARowLayout::value(row, column[numTargets]);
}

void KVORASimpleAlgorithmModel::updateRow(const double *row, int32_t partition, KVORA_ENV env)
{
    const double lineNumber = takeRow(row);
    if (partition == 1 || partition == 2) return;
    ivDataPtr->update(ivDataVec, ivTargetVec, KVORARowLayout::lineNumber(lineNumber), env);
}

void KVORASimpleAlgorithmModel::updateRows(const double *const *rows, int32_t count, KVORA_ENV env)
{
    if (count <= 0) return;
    const int32_t numData = ivDataVec.getSize();
    const KVORARowLayout layout{ivRowColumns.data(), numData, ivRowColumns[numData + ivTargetVec.getSize()]};
    if (ivDataPtr.get()->updateRows(rows, count, layout, env) != 0) {
        // The vectors as the records one by one would have left them.
        takeRow(rows[count - 1]);
        return;
    }
    const int32_t ahead = 16;
    for (int32_t i = 0; i < count; ++i) {
        if (i + ahead < count) prefetchRow(rows[i + ahead]);
        const double lineNumber = takeRow(rows[i]);
        ivDataPtr->update(ivDataVec, ivTargetVec, KVORARowLayout::lineNumber(lineNumber), env);
    }
}

// ---- the model's operations ----

void KVORASimpleAlgorithmModel::declareOutputs(KVORAModelOutputPair &outputs, KVORA_ENV env)
{
    KVORA_NOT_IMPLEMENTED();
}

void KVORASimpleAlgorithmModel::declareOutputs(KVORAModelOutputPair &outputs, int32_t targetIndex, KVORA_ENV env)
{
    KVORA_NOT_IMPLEMENTED();
}

void KVORASimpleAlgorithmModel::declareOutputs(KVORAModelOutputPair &outputs, KVORAFieldNameMap &fieldNameMap,
                                               KVORA_ENV env)
{
    KVORA_NOT_IMPLEMENTED();
}

void KVORASimpleAlgorithmModel::clearFields(KVORA_ENV env)
{
    KVORAModel::clearFields(env);
    ivExplanatoryFieldOrder.setSize(0, env);
    ivTargetFieldOrder.setSize(0, env);
    ivLineNumberFieldOrder = -1;
    ivDataVec.setSize(0, env);
    ivTargetVec.setSize(0, env);
    takeFieldPointers();
}

int32_t KVORASimpleAlgorithmModel::canResetFields() const
{
    KVORA_ASSERT(KVORAModel::canResetFields() == 0);
    return 0;
}

void KVORASimpleAlgorithmModel::targetFieldAdded(KVORAFieldNameMap *fieldNameMap) {}

int32_t KVORASimpleAlgorithmModel::setMiningModePrimitive(int32_t mode, const KVORAXaRay<int32_t, 1> *fieldsUsed,
                                                          KVORAModelOutputPair *outputs, KVORA_ENV env)
{
    if (mode == 1) return 1;
    if (mode >= 2 && mode <= 10) KVORA_NOT_IMPLEMENTED();
    KVORA_FATAL("Invalid Model State");
}

int32_t KVORASimpleAlgorithmModel::beginDataScanPrimitive(KVORA_ENV env)
{
    if (ivModelState == 10) KVORA_NOT_IMPLEMENTED();
    if (ivModelState != 1) KVORA_FATAL("Invalid Model State");
    ivState = StateScanBegun;
    ivDataPtr->beginDataScan(ivExplanatoryFields.getSize() - 1, env);
    return 1;
}

int32_t KVORASimpleAlgorithmModel::endDataScanPrimitive(int32_t flag, KVORA_ENV env)
{
    if (flag != 0) return 0;
    if (ivModelState != 101) KVORA_FATAL("Invalid Model State");
    const int32_t done = ivDataPtr->endDataScan(env);
    ++ivIterationCount;
    ivState = StateScanEnded;
    return done;
}

void KVORASimpleAlgorithmModel::updateWithoutDataScanPrimitive(KVORA_ENV env) { ivDataPtr->updateWithoutDataScan(env); }

void KVORASimpleAlgorithmModel::initIterationPrimitive(KVORA_ENV env) { ivDataPtr->initIteration(env); }

void KVORASimpleAlgorithmModel::finishIterationPrimitive(KVORA_ENV env) { ivDataPtr->finishIteration(env); }

void KVORASimpleAlgorithmModel::writeModelXML(KVORAXMLTag &tag, KVORA_ENV env) { ivDataPtr->writeXMLParameters(tag, env); }

int32_t KVORASimpleAlgorithmModel::getNumCandidateModels() const { return 1; }

double KVORASimpleAlgorithmModel::getPredictionVariance() const { return 0.0; }

// The simple algorithms have no score of their own: one entry of kind 4, all zero.
void KVORASimpleAlgorithmModel::computeScores(KVORAXaRay<KVORAModelScores, 1> &scores, KVORA_ENV env)
{
    KVORAModelScores entry;
    entry.ivKind = 4;
    scores.copyAppend(entry, env);
}

double KVORASimpleAlgorithmModel::getDegreesOfFreedom() const { return 0.0; }

void KVORASimpleAlgorithmModel::resetPrediction(KVORA_ENV env) {}

int32_t KVORASimpleAlgorithmModel::getBestModelIndex() const { return 0; }

void KVORASimpleAlgorithmModel::setBestModel(int32_t index, KVORA_ENV env) {}

void KVORASimpleAlgorithmModel::calibratePrediction(KVORA_ENV env) {}

void KVORASimpleAlgorithmModel::finishPrediction(KVORA_ENV env) {}

void KVORASimpleAlgorithmModel::score(KVORA_ENV env) { KVORA_NOT_IMPLEMENTED(); }

void KVORASimpleAlgorithmModel::reservedModelOperationA() { KVORA_NEVER_HERE(); }

void KVORASimpleAlgorithmModel::reservedModelOperationB() {}

// ---- opening ----

void KVORASimpleAlgorithmModel::open(int32_t modelId, KVORADataPoint &dataPoint, const KVORAXMLTag &parameters,
                                     KVORA_ENV env)
{
    ivState = StateOpened;
    ivLineNumberFieldOrder = -1;
    ivExplanatoryFieldOrder.setSize(0, env);
    ivTargetFieldOrder.setSize(0, env);
    for (int32_t i = 1; i <= dataPoint.getFieldCount(); ++i) {
        const KVORAField *field = dataPoint.getFieldAt(i);
        const int32_t lineOrder = getLineNumberFieldOrder(field);
        if (lineOrder > 0) {
            ivLineNumberFieldOrder = lineOrder;
            continue;
        }
        const int32_t explanatoryOrder = getExplanatoryFieldOrder(field);
        if (explanatoryOrder > 0) {
            ivExplanatoryFieldOrder.copyAppend(explanatoryOrder, env);
            continue;
        }
        const int32_t targetOrder = getTargetFieldOrder(field);
        if (targetOrder < 1) KVORA_NEVER_HERE();
        ivTargetFieldOrder.copyAppend(targetOrder, env);
    }

    KVORASimpleAlgorithmDataOpener opener = kvoraFindSimpleAlgorithmData(modelId);
    if (opener == nullptr)
        reportError(2100, "KVORASimpleAlgorithmModel::open: Internal error - wrong  modelId", env, 1);
    KVORAOwnPtr<KVORASimpleAlgorithmAbstractData> made(KVORA_PLACE);
    opener(made, parameters, env);
    sizeVectors(env);
    ivDataPtr.transferFrom(made, env);
    checkFieldOrders();
}

void KVORASimpleAlgorithmModel::sizeVectors(KVORA_ENV env)
{
    const int32_t numData = ivExplanatoryFields.getSize() - 1;
    const int32_t numTargets = ivTargetFields.getSize();
    if (numData >= 0) ivDataVec.setSize(numData, env);
    if (numTargets >= 0) ivTargetVec.setSize(numTargets, env);
    takeFieldPointers();
}

void KVORASimpleAlgorithmModel::takeFieldPointers()
{
    const int32_t numData = ivDataVec.getSize();
    ivDataFields.assign(static_cast<size_t>(numData), nullptr);
    for (int32_t i = 1; i <= numData && i <= ivExplanatoryFieldOrder.getSize(); ++i) {
        const int32_t order = ivExplanatoryFieldOrder[i];
        if (order >= 1 && order <= ivExplanatoryFields.getSize())
            ivDataFields[static_cast<size_t>(i - 1)] = ivExplanatoryFields[order].ivFieldPtr;
    }
    const int32_t numTargets = ivTargetVec.getSize();
    ivTargetFieldPtrs.assign(static_cast<size_t>(numTargets), nullptr);
    for (int32_t i = 1; i <= numTargets && i <= ivTargetFieldOrder.getSize(); ++i) {
        const int32_t order = ivTargetFieldOrder[i];
        if (order >= 1 && order <= ivTargetFields.getSize())
            ivTargetFieldPtrs[static_cast<size_t>(i - 1)] = ivTargetFields[order].ivFieldPtr;
    }
    ivLineNumberField = nullptr;
    if (ivLineNumberFieldOrder >= 1 && ivLineNumberFieldOrder <= ivExplanatoryFields.getSize())
        ivLineNumberField = ivExplanatoryFields[ivLineNumberFieldOrder].ivFieldPtr;
}

void KVORASimpleAlgorithmModel::checkFieldOrders() const
{
    // Without a line number field the vectors would be one short and the
    // record would have no number: the loader always gives one.
    if (!(ivLineNumberFieldOrder >= 1 && ivLineNumberFieldOrder <= ivExplanatoryFields.getSize()))
        kvoraAssertFailCause("ivLineNumberFieldOrder >= 1 && ivLineNumberFieldOrder <= ivExplanatoryFields.getSize()",
                             "The model has no line number field", KVORA_PLACE);
    KVORA_ASSERT(ivExplanatoryFields[ivLineNumberFieldOrder].ivFieldPtr != 0);
    KVORA_ASSERT(ivExplanatoryFieldOrder.getSize() >= ivDataVec.getSize());
    for (int32_t i = 1; i <= ivDataVec.getSize(); ++i) {
        const int32_t order = ivExplanatoryFieldOrder[i];
        KVORA_ASSERT(order >= 1 && order <= ivExplanatoryFields.getSize());
        KVORA_ASSERT(ivExplanatoryFields[order].ivFieldPtr != 0);
    }
    KVORA_ASSERT(ivTargetFieldOrder.getSize() >= ivTargetVec.getSize());
    for (int32_t i = 1; i <= ivTargetVec.getSize(); ++i) {
        const int32_t order = ivTargetFieldOrder[i];
        KVORA_ASSERT(order >= 1 && order <= ivTargetFields.getSize());
        KVORA_ASSERT(ivTargetFields[order].ivFieldPtr != 0);
    }
}
