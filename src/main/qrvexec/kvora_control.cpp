// The run driver's common part: environment, parameter file, run-level keys
// and the choice of algorithm, in every process alike. Keys are looked up by
// long names below the QRVInput tag, the tag that the algorithm reads too.
#include "qrvexec/kvora_control.h"
#include "qrvexec/kvora_control_loops.h"

#include <iostream>
#include <sstream>
#include <string>

#include "kernel/kvora_fieldglobalvars.h"
#include "nelo-common/kvora_reports.h"
#include "qrvexec/kvora_pcontrol.h"
#include "qrvexec/kvora_runvalues.h"
#include "util/kvora_debug.h"

void KVORAControl::execute() {
    KVORAEnv *env = nullptr;
    ivEnvOwner.create(env);
    env = ivEnvOwner.get();
    env->setValid(1);

    const int32_t isMaster = kvoraPControl == nullptr ? 1 : kvoraPControl->isMaster();
    KVORAXMLHandler handler(env);
    KVORARunSettings settings;
    readRunParameters(kvoraParamFileName, isMaster, handler, settings, env);

    KVORAFieldGlobalVars *fieldVars = KVORAFieldGlobalVars::get(env);
    if (fieldVars->ivMaxPartition == 0) fieldVars->ivMaxPartition = 4;

    if (isMaster != 0)
        runMaster(handler, settings, env);
    else
        runWorker(handler, settings, env);

    handler.releasePrimitive(env);
    validationRowNums.reset(env);
    validationActualVals.reset(env);
    validationPredictedVals.reset(env);
    KVORAEnv *rootEnv = ivEnvOwner.get();
    kvoraEnvLookUpRemove(rootEnv);
    ivEnvOwner.reset(env);
}

void KVORAControl::readRunParameters(const char *paramFileName, int32_t isMaster, KVORAXMLHandler &handler,
                                     KVORARunSettings &settings, KVORA_ENV env) {
    if (paramFileName == nullptr || !handler.readXMLFile(paramFileName, env))
        reportError(2303, "Could not open parameters file", env, 1);

    if (!handler.findTagByLongName("QRVInput", env))
        kvoraAssertFail("Parameters file must include an <QRVInput>name</QRVInput> tag at the first level of the "
                        "XML structure",
                        KVORA_PLACE);
    if (!handler.findTagByLongName("QRVInput/AlgorithmName", env))
        kvoraAssertFail("Parameters file must include an <AlgorithmName>name</AlgorithmName> tag at the second "
                        "level of the XML structure",
                        KVORA_PLACE);
    KVORAXMLTag &parameters = handler.getTagByLongName("QRVInput", env);
    settings.modelParametersTag = &parameters;
    settings.algorithmName = parameters.getTagByLongName("AlgorithmName", env).getValue();

    if (isMaster != 0 && parameters.findTagByLongName("PrintModelDuringTraining", env)) {
        std::istringstream in(parameters.getTagByLongName("PrintModelDuringTraining", env).getValue().c_str());
        int32_t print = 0;
        in >> print;
        if (print != 0) {
            settings.printModelDuringTraining = 1;
            std::cout << "Print model during training\n" << std::flush;
        }
    }

    if (parameters.findTagByLongName("ValidationFile", env)) {
        const KV2AscString &name = parameters.getTagByLongName("ValidationFile", env).getValue();
        if (name.size() != 0) kvoraSetValidationFileName(name.c_str());
    }

    if (parameters.findTagByLongName("MultipleTrainFiles", env) &&
        parameters.getTagByLongName("MultipleTrainFiles", env).getValue() == "True")
        settings.multipleTrainFiles = 1;
    if (parameters.findTagByLongName("MultipleTestFiles", env) &&
        parameters.getTagByLongName("MultipleTestFiles", env).getValue() == "True")
        settings.multipleTestFiles = 1;

    // Each line in one write: the processes share the output.
    std::cout << std::string("Algorithm: ") + settings.algorithmName.c_str() + "\n" << std::flush;
    if (settings.algorithmName == "CGA") {
        settings.modelId = KVORA_MODEL_ID_CGA;
    } else if (settings.algorithmName == "DIF") {
        settings.modelId = KVORA_MODEL_ID_DIF;
    } else {
        std::cout << std::string("Algorithm ") + settings.algorithmName.c_str() + " is not implemented\n" << std::flush;
        reportError(2202, "KVORAControl::execute: wrong algorithm name. Must be CGA or DIF ", env, 1);
    }
}

// The scan loops live in kvora_control_loops.cpp.
void KVORAControl::runMaster(KVORAXMLHandler &handler, KVORARunSettings &settings, KVORA_ENV env) {
    kvoraRunMaster(*this, settings, env);
}

void KVORAControl::runWorker(KVORAXMLHandler &handler, KVORARunSettings &settings, KVORA_ENV env) {
    kvoraRunWorker(*this, settings, env);
}
