// The run driver. Every process makes the run's root environment, reads the
// XML parameter file, takes the run-level keys and chooses the algorithm;
// then the master and the workers go their own ways. The parameter tree and
// the run-level settings stay with the driver for the whole run, since the
// master hands the tree to the algorithm and frees it only at the end.
#pragma once

#include <cstdint>

#include "control/kvora_XML_handler.h"
#include "control/kvora_XML_tag.h"
#include "kvo/kv2ustra.h"
#include "util/kvora_array.h"
#include "util/kvora_env.h"
#include "util/kvora_ownptr.h"

// Algorithm identifiers: the modelId of the simple-algorithm model.
constexpr int32_t KVORA_MODEL_ID_CGA = 17;
constexpr int32_t KVORA_MODEL_ID_DIF = 24;

// What the common part of execute learns from the parameter file.
struct KVORARunSettings {
    int32_t modelId = 0;
    KV2AscString algorithmName;
    KVORAXMLTag *modelParametersTag = nullptr;  // the QRVInput tag
    int32_t printModelDuringTraining = 0;       // master only
    int32_t multipleTrainFiles = 0;
    int32_t multipleTestFiles = 0;
};

class KVORAControl {
public:
    KVORAOwnPtr<KVORAEnv> ivEnvOwner;
    KVORAArray<int32_t> validationRowNums;
    KVORAArray<double> validationActualVals;
    KVORAArray<double> validationPredictedVals;

    KVORAControl() = default;
    KVORAControl(const KVORAControl &) = delete;
    KVORAControl &operator=(const KVORAControl &) = delete;

    // Runs the whole job in this process; returns when it has ended normally.
    // Fatal errors never return here: they unwind to the entry point.
    void execute();

    // The common part, alike in every process: reads the parameter file into
    // `handler` and fills `settings`. `isMaster` decides whether
    // PrintModelDuringTraining is looked at.
    static void readRunParameters(const char *paramFileName, int32_t isMaster, KVORAXMLHandler &handler,
                                  KVORARunSettings &settings, KVORA_ENV env);

private:
    // The second half of execute: the scan loops of the master and of a worker.
    void runMaster(KVORAXMLHandler &handler, KVORARunSettings &settings, KVORA_ENV env);
    void runWorker(KVORAXMLHandler &handler, KVORARunSettings &settings, KVORA_ENV env);
};
