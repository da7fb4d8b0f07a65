// Runs the driver's master and worker loops under mpiexec with the tests'
// tally data object in place of an algorithm:
//   qrv_loop_probe <param-file> <input-file> <model-output-file>
// The parameter file is read as the driver reads it; the algorithm it names
// is then replaced by the tally's model identifier. Exit status 0 on success,
// 1 when a fatal report or assertion ended the process.
#include <mpi.h>

#include <cstdio>

#include "control/kvora_XML_handler.h"
#include "kernel/kvora_fieldglobalvars.h"
#include "kvora_test_tally.h"
#include "qrvexec/kvora_control.h"
#include "qrvexec/kvora_control_loops.h"
#include "qrvexec/kvora_pcontrol.h"
#include "qrvexec/kvora_runvalues.h"

int main(int argc, char **argv) {
    static KVORAPControl control;
    control.initialise(argc, argv);
    kvoraPControl = &control;
    if (argc != 4) {
        std::fprintf(stderr, "usage: qrv_loop_probe <param-file> <input-file> <model-output-file>\n");
        return 2;
    }
    kvoraParamFileName = argv[1];
    kvoraInputFileName = argv[2];
    kvoraModelOutputFileName = argv[3];

    KVORAControl driver;
    KVORAEnv *env = nullptr;
    driver.ivEnvOwner.create(env);
    env = driver.ivEnvOwner.get();
    env->setValid(1);
    try {
        KVORAXMLHandler handler(env);
        KVORARunSettings settings;
        KVORAControl::readRunParameters(kvoraParamFileName, control.isMaster(), handler, settings, env);
        settings.modelId = KVORA_TEST_TALLY_MODEL_ID;
        KVORAFieldGlobalVars::get(env)->ivMaxPartition = 4;
        if (control.isMaster() != 0)
            kvoraRunMaster(driver, settings, env);
        else
            kvoraRunWorker(driver, settings, env);
        handler.releasePrimitive(env);
    } catch (...) {
        std::fflush(stdout);
        std::_Exit(1);
    }
    driver.validationRowNums.reset(env);
    driver.validationActualVals.reset(env);
    driver.validationPredictedVals.reset(env);
    kvoraEnvLookUpRemove(driver.ivEnvOwner.get());
    driver.ivEnvOwner.reset(env);
    std::fflush(stdout);
    MPI_Finalize();
    return 0;
}
