// The kernel's keys as read from the parameter file, held in a plain record
// until the kernel data object and its kernel function are set up from them.
// Keys that neither the file nor the type's defaults give start at 0.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"

class KVORAXMLTag;

struct KVORAKernelDataParameters {
    int32_t verbosity = 1;
    KV2AscString kernelType;
    KV2AscString outputFileName;
    int32_t filterSimilarities = 0;
    int32_t numberOfComputeIterations = 1;
    double isSparseData = 0.0;
    int32_t isSparseKernel = 0;
    double sparsityLevel = 0.0;
    int32_t degree = 0;
    double bias = 0.0;
    double multiplier = 0.0;
    double gamma = 0.0;
    int32_t indicesData = 0;
    double emptyMarker = 0.0;
    double normalizingFactor = 50000000.0;
    int32_t numberOfBins = 0;

    // Reads every key below `tag` in the fixed order, announcing defaults;
    // an illegal or missing required key ends the run.
    void readParameters(const KVORAXMLTag &tag, KVORA_ENV env);
};
