// The master and worker loops. The master decides everything: it opens the
// dataset once, drives the model's scans and writes the reports; a worker
// only obeys the next message, opening the dataset anew for each scan since
// the message may change what it reads. The per-record loop asks the model
// for its scan type before each record, so that a model can stop a pass.
#include "qrvexec/kvora_control_loops.h"

#include <memory>
#include <string>

#include "control/kvora_XML_tag.h"
#include "control/kvora_binaryindataset.h"
#include "control/kvora_pagereader.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_fieldglobalvars.h"
#include "kernel/kvora_fieldnamemap.h"
#include "kernel/kvora_model.h"
#include "kernel/kvora_numfield.h"
#include "kernel/kvora_multiscan.h"
#include "qrvexec/kvora_control.h"
#include "qrvexec/kvora_model_report.h"
#include "qrvexec/kvora_pcontrol.h"
#include "qrvexec/kvora_runvalues.h"
#include "simple_algorithm/kvora_CGA_data.h"
#include "simple_algorithm/kvora_DIF.h"
#include "simple_algorithm/kvora_kernel_data.h"
#include "simple_algorithm/kvora_simple_algorithm.h"
#include "util/kvora_debug.h"

namespace {

void fieldsBeginScan(KVORADataPoint &dataPoint, KVORA_ENV env) {
    const int32_t count = dataPoint.getFieldCount();
    for (int32_t i = 1; i <= count; ++i) dataPoint.getFieldAt(i)->beginDataScan(env);
}

void fieldsEndScan(KVORADataPoint &dataPoint, KVORA_ENV env) {
    const int32_t count = dataPoint.getFieldCount();
    for (int32_t i = 1; i <= count; ++i) dataPoint.getFieldAt(i)->endDataScan(env);
}

KVORAPControl &jobLayer() {
    // Without a started job (a test's single process) the job is one process.
    static KVORAPControl single;
    return kvoraPControl != nullptr ? *kvoraPControl : single;
}

void openDataset(KVORAOwnPtr<KVORABinaryInputDataset> &dataset, KVORAPageReader *pageReader, const char *fileName,
                 int32_t multiFile, KVORAOwnPtr<KVORADataPoint> &dataPoint, KVORA_ENV env) {
    dataset.create(env);
    dataset->setPageReader(pageReader);
    dataset->setMultiFile(multiFile);
    KVORAPControl &job = jobLayer();
    dataset->open(fileName != nullptr ? fileName : "", dataPoint, job.ivRank, job.ivSize, env);
}

// The data classes enter the registry from their own object files, which a
// static link takes only when something refers to them: the driver does.
void registerAlgorithms() {
    static const int32_t cgaRegistered = kvoraRegisterCGAData();
    (void)cgaRegistered;
    static const int32_t registered = kvoraRegisterDIFData();
    (void)registered;
    static const int32_t kernelRegistered = kvoraRegisterKernelData();
    (void)kernelRegistered;
}

}  // namespace

int32_t kvoraRecordPartition(int64_t recordIndex, int32_t maxPartition) {
    const int64_t span = static_cast<int64_t>(maxPartition) - 3 + 1;
    return static_cast<int32_t>(recordIndex % span + 3);
}

void kvoraScanData(KVORAControl &control, KVORAOwnPtr<KVORAModel> &model, KVORAOwnPtr<KVORADataPoint> &dataPoint,
                   KVORABinaryInputDataset &dataset, int32_t scanPurpose, KVORAOwnPtr<KVORAObject> &modelOutputPair,
                   KVORAOwnPtr<KVORAMultiScan> &liftData, KVORAOwnPtr<KVORAMultiScan> &modelSensitivity,
                   KVORA_ENV env) {
    (void)control;
    (void)modelOutputPair;
    (void)liftData;
    (void)modelSensitivity;
    KVORAModel &m = *model;
    KVORADataPoint &point = *dataPoint;
    const int32_t maxPartition = KVORAFieldGlobalVars::get(env)->ivMaxPartition;
    // A span below 1 would divide by zero on the first record.
    KVORA_ASSERT_CAUSE(maxPartition >= 3, "Maximum partition number below 3");

    m.initIteration(env);
    const int32_t scanType = m.getScanType();
    switch (scanType) {
    case 0:
    case 1:
    case 2:
    case 3:
    case 5:
    case 6:
    case 8:
        dataset.beginScan(scanType);
        break;
    case 4:
    case 7:
        dataset.beginSampledScan(scanType, m.getSamplingRate());
        break;
    default:
        KVORA_NOT_IMPLEMENTED();
    }

    if (scanPurpose != 0) {
        // Scoring and validation need a model that declares outputs; none of
        // the driver's algorithms does (the validation passes stop before).
        KVORA_NOT_IMPLEMENTED();
    }

    // Nothing in a pass changes the model's state, so its update function is
    // fetched once; it is still only required once a record has come.
    const KVORAUpdateFunc update = m.ivUpdateFunc;
    KVORARecordPartitions partitions(maxPartition);
    bool dataEnded = false;
    if (scanType != 8 && KVORASimpleAlgorithmModel::isRecordUpdate(update) && point.recordsOnlySetValues()) {
        KVORANumField *const *columnFields = dataset.numericColumnFields(point);
        auto &simple = static_cast<KVORASimpleAlgorithmModel &>(m);
        if (columnFields != nullptr && simple.bindRowColumns(columnFields, dataset.getColumnCount())) {
            // Records that only set values go from the row to the model
            // directly; the fields are left as the loop below leaves them.
            bool delivered = false;
            const bool typeKept = simple.keepsScanTypeInPass();
            if (typeKept && m.getScanType() != 3) {
                // Nothing is asked between records: the rows go in batches,
                // as they lie in the reader's window.
                const double *rows[512];
                for (;;) {
                    const int32_t count = dataset.nextRows(rows, 512);
                    if (count == 0) {
                        dataEnded = true;
                        break;
                    }
                    simple.updateRows(rows, count, env);
                    delivered = true;
                }
            }
            for (bool more = !typeKept && m.getScanType() != 3; more; more = m.getScanType() != 3) {
                const int64_t recordIndex = dataset.nextRow();
                if (recordIndex < 0) {
                    dataEnded = true;
                    break;
                }
                // The memory of a record some rows on is asked for now.
                if (const double *ahead = dataset.rowAhead(16)) simple.prefetchRow(ahead);
                simple.updateRow(dataset.rowValues(), partitions.of(recordIndex), env);
                delivered = true;
            }
            if (dataEnded || delivered) point.beginRecord();
            if (!dataEnded && delivered) {
                dataset.deliverRow(point);
                point.endRecord(env);
            }
            if (!dataEnded && m.canUpdateWithoutDataScan()) m.updateWithoutDataScan(env);
            m.finishIteration(env);
            return;
        }
    }
    while (m.getScanType() != 3) {
        point.beginRecord();
        const int64_t recordIndex = dataset.getNextRecord(point, env);
        if (recordIndex < 0) {
            dataEnded = true;
            break;
        }
        point.endRecord(env);
        if (update == nullptr) KVORA_FATAL("Model has no update function for a data scan");
        update(&m, partitions.of(recordIndex), env);
    }
    if (!dataEnded && m.canUpdateWithoutDataScan()) m.updateWithoutDataScan(env);

    m.finishIteration(env);
}

void kvoraRunMaster(KVORAControl &control, KVORARunSettings &settings, KVORA_ENV env) {
    KVORAPControl &job = jobLayer();
    KVORAOwnPtr<KVORABinaryInputDataset> dataset;
    KVORAOwnPtr<KVORADataPoint> dataPoint;
    KVORAOwnPtr<KVORAFieldNameMap> fieldNameMap;
    KVORAOwnPtr<KVORAModel> model;
    KVORAOwnPtr<KVORAObject> modelOutputPair;  // no output pair class yet: stays null
    KVORAOwnPtr<KVORAMultiScan> liftData;
    KVORAOwnPtr<KVORAMultiScan> modelSensitivity;
    int32_t scanPurpose = 0;

    registerAlgorithms();

    // 1. Dataset and data point; the dataset makes the fields.
    dataPoint.create(env);
    std::unique_ptr<KVORAPageReader> pageReader(new KVORAPageReader());
    openDataset(dataset, pageReader.get(), kvoraInputFileName, settings.multipleTrainFiles, dataPoint, env);

    // 2.-5. Field name map, model, output pair.
    fieldNameMap.create(env);
    fieldNameMap->fillFromDataPoint(*dataPoint, env);
    {
        KVORASimpleAlgorithmModel *made = new KVORASimpleAlgorithmModel();
        kvoraMemAccount(made->getObjectSize(), env);
        model.reset(made, env);
    }
    model->setDataPoint(dataPoint.get());

    // 6. Input fields by the dataset's usage of each column.
    const int32_t fieldCount = dataPoint->getFieldCount();
    for (int32_t i = 1; i <= fieldCount; ++i)
        model->addInputField(dataPoint->getFieldAt(i), dataset->getFieldUsage(i), fieldNameMap.get(), env);

    // 7.-8. Mining mode, then the algorithm's data object.
    model->setMiningMode(1, env);
    static_cast<KVORASimpleAlgorithmModel *>(model.get())
        ->open(settings.modelId, *dataPoint, *settings.modelParametersTag, env);

    const int32_t useXML = kvoraModelReportUsesXML(settings.modelId);

    // 9. The training loop; beginDataScan once for the whole loop.
    const int32_t state = model->getModelState();
    if (state >= 1 && state <= 100 && model->beginDataScan(env) != 0) {
        int32_t iteration = 0;
        for (;;) {
            dataset->rewind(env);
            reportElapsed(0, "");
            fieldsBeginScan(*dataPoint, env);
            job.distribute(model, dataPoint, fieldNameMap, &control, modelOutputPair, liftData, modelSensitivity,
                           scanPurpose, env);
            reportElapsed(1, "distribute");
            kvoraScanData(control, model, dataPoint, *dataset, scanPurpose, modelOutputPair, liftData,
                          modelSensitivity, env);
            reportElapsed(1, "computation");
            job.collect(model, dataPoint, fieldNameMap, modelOutputPair, liftData, modelSensitivity, scanPurpose,
                        env);
            reportElapsed(1, "collect");
            fieldsEndScan(*dataPoint, env);
            reportElapsed(1, "end scan");
            if (model->endDataScan(0, env) != 0) break;
            ++iteration;
            if (settings.printModelDuringTraining != 0)
                kvoraWriteModelReport(iteration, *model, fieldNameMap.get(), useXML, control.validationRowNums,
                                      control.validationActualVals, control.validationPredictedVals, env);
        }
    }

    // 10. Validation: the output pair must take the model and declare its
    // outputs, which no model of this driver can do.
    if (model->getNumTargetFields() == 1 && kvoraValidationFileName != nullptr) {
        KVORA_NOT_IMPLEMENTED();
    }

    // 11. End of the job.
    job.terminateWorkers();
    pageReader.reset();

    // 12. The final report.
    kvoraWriteModelReport(-1, *model, fieldNameMap.get(), useXML, control.validationRowNums,
                          control.validationActualVals, control.validationPredictedVals, env);

    // 13. Objects by the object base's rule, in this order.
    liftData.reset(env);
    modelSensitivity.reset(env);
    modelOutputPair.reset(env);
    model.reset(env);
    fieldNameMap.reset(env);
    dataPoint.reset(env);
    dataset.reset(env);
}

void kvoraRunWorker(KVORAControl &control, KVORARunSettings &settings, KVORA_ENV env) {
    KVORAPControl &job = jobLayer();
    registerAlgorithms();
    std::unique_ptr<KVORAPageReader> pageReader(new KVORAPageReader());
    KVORAOwnPtr<KVORAModel> model;
    KVORAOwnPtr<KVORADataPoint> dataPoint;
    KVORAOwnPtr<KVORAFieldNameMap> fieldNameMap;
    KVORAOwnPtr<KVORAMultiScan> liftData;
    KVORAOwnPtr<KVORAMultiScan> modelSensitivity;
    KVORAOwnPtr<KVORAObject> modelOutputPair;
    int32_t scanPurpose = 0;

    for (;;) {
        // A model that can update without a data scan stays: the next message
        // is read into it, and what the message leaves out keeps its value.
        if (model.get() != nullptr && model->canUpdateWithoutDataScan() == 0) model.reset(env);
        if (job.distribute(model, dataPoint, fieldNameMap, &control, modelOutputPair, liftData, modelSensitivity,
                           scanPurpose, env) == 0)
            break;
        if (model.get() == nullptr || dataPoint.get() == nullptr) KVORA_FATAL("Distribution without model or data point");

        KVORAOwnPtr<KVORABinaryInputDataset> dataset;
        openDataset(dataset, pageReader.get(), kvoraInputFileName, settings.multipleTrainFiles, dataPoint, env);
        if (scanPurpose != 0 && kvoraValidationFileName != nullptr && kvoraValidationFileName != kvoraInputFileName) {
            dataset.reset(env);
            openDataset(dataset, pageReader.get(), kvoraValidationFileName, settings.multipleTestFiles, dataPoint,
                        env);
        }
        kvoraScanData(control, model, dataPoint, *dataset, scanPurpose, modelOutputPair, liftData, modelSensitivity,
                      env);
        job.collect(model, dataPoint, fieldNameMap, modelOutputPair, liftData, modelSensitivity, scanPurpose, env);
        if (scanPurpose == 2)
            job.collectValidationRows(control.validationRowNums, control.validationActualVals,
                                      control.validationPredictedVals, env);
        dataset.reset(env);
    }

    liftData.reset(env);
    modelSensitivity.reset(env);
    modelOutputPair.reset(env);
    model.reset(env);
    fieldNameMap.reset(env);
    dataPoint.reset(env);
}
