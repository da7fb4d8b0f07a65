// The kernel's keys and its set-up. Keys are handled in a fixed order, each
// failure ends the run with its own report; the defaults of the chosen
// kernel type are announced afterwards. Only the Friends kernel passes the
// reader, though the set-up can make every kernel function of the family.
#include "simple_algorithm/kvora_kernel_data.h"

#include <cstring>
#include <iostream>
#include <sstream>
#include <string>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
#include "simple_algorithm/kvora_kernel_functions_cosine.h"
#include "simple_algorithm/kvora_kernel_functions_friends.h"
#include "simple_algorithm/kvora_kernel_functions_information.h"
#include "simple_algorithm/kvora_kernel_functions_poly.h"
#include "simple_algorithm/kvora_kernel_functions_precomputed.h"
#include "simple_algorithm/kvora_kernel_functions_rbf.h"
#include "simple_algorithm/kvora_kernel_functions_sigmoid.h"
#include "util/kvora_debug.h"

namespace {

void printLine(const std::string &line)
{
    std::cout << line + "\n" << std::flush;
}

const KVORAXMLTag *findKey(const KVORAXMLTag &parameters, const char *key, KVORA_ENV env)
{
    // The lookups read the tree only.
    KVORAXMLTag &tree = const_cast<KVORAXMLTag &>(parameters);
    if (!tree.findTagByLongName(key, env)) return nullptr;
    return &tree.getTagByLongName(key, env);
}

// Values go through the stream conversion, which takes what it can and
// leaves the rest unread.
int32_t streamInt(const KVORAXMLTag &tag)
{
    int32_t value = 0;
    std::istringstream in(tag.getValue().c_str());
    in >> value;
    return value;
}

double streamReal(const KVORAXMLTag &tag)
{
    double value = 0.0;
    std::istringstream in(tag.getValue().c_str());
    in >> value;
    return value;
}

bool equals(const KV2AscString &text, const char *word)
{
    return std::strcmp(text.c_str(), word) == 0;
}

}  // namespace

void KVORAKernelDataParameters::readParameters(const KVORAXMLTag &tag, KVORA_ENV env)
{
    reportLog(0, "Starting reading kernel params");

    if (const KVORAXMLTag *key = findKey(tag, "KernelVerbosity", env)) {
        verbosity = streamInt(*key);
        if (!TestInputStringType(key->getValue().c_str(), "int") || verbosity < 0 || verbosity > 100)
            reportError(2202, "KVORAKernelData:, illegal verbosity level", env, 1);
    }

    const KVORAXMLTag *typeKey = findKey(tag, "KernelType", env);
    if (typeKey != nullptr) kernelType = typeKey->getValue();
    if (typeKey == nullptr || !equals(kernelType, "Friends"))
        reportError(2204, "VORAKernelDataParameters::readParameters: only Friends Kernel is supported", env, 1);

    if (const KVORAXMLTag *key = findKey(tag, "OutputFileName", env)) outputFileName = key->getValue();

    if (const KVORAXMLTag *key = findKey(tag, "FilterSimilarities", env))
        filterSimilarities = streamInt(*key);
    else
        reportError(2204, "VORAKernelDataParameters::readParameters: filter similarities must me true", env, 1);

    if (const KVORAXMLTag *key = findKey(tag, "NumberOfComputeIterations", env))
        numberOfComputeIterations = streamInt(*key);
    if (numberOfComputeIterations != 1)
        reportError(2204, "VORAKernelDataParameters::readParameters: number of computing iterations must be 1", env,
                    1);

    if (const KVORAXMLTag *key = findKey(tag, "isSparseData", env)) {
        isSparseData = static_cast<double>(streamInt(*key));
        if (isSparseData != 0.0) {
            std::ostringstream line;
            line << "Reading sparse mode data : " << isSparseData;
            printLine(line.str());
        }
    } else {
        reportError(2204, "VORAKernelDataParameters::readParameters: data must be sparse", env, 1);
    }

    const KVORAXMLTag *sparseKernelKey = findKey(tag, "IsSparseKernel", env);
    if (sparseKernelKey != nullptr) {
        isSparseKernel = streamInt(*sparseKernelKey);
        if (isSparseKernel != 0) printLine("Sparsifying kernel: ");
    }
    const KVORAXMLTag *levelKey = findKey(tag, "SparsityLevel", env);
    if (levelKey != nullptr) sparsityLevel = streamReal(*levelKey);

    const KVORAXMLTag *degreeKey = findKey(tag, "Degree", env);
    if (degreeKey != nullptr) degree = streamInt(*degreeKey);
    const KVORAXMLTag *biasKey = findKey(tag, "Bias", env);
    if (biasKey != nullptr) bias = streamReal(*biasKey);
    const KVORAXMLTag *multiplierKey = findKey(tag, "Multiplier", env);
    if (multiplierKey != nullptr) multiplier = streamReal(*multiplierKey);
    const KVORAXMLTag *gammaKey = findKey(tag, "Gamma", env);
    if (gammaKey != nullptr) gamma = streamReal(*gammaKey);

    const KVORAXMLTag *indicesKey = findKey(tag, "IndicesData", env);
    if (indicesKey != nullptr) indicesData = streamInt(*indicesKey);
    if (indicesKey == nullptr || indicesData != 1) reportError(2204, "Indeces data must be 1", env, 1);

    const KVORAXMLTag *markerKey = findKey(tag, "EmptyMarker", env);
    if (markerKey != nullptr) emptyMarker = streamReal(*markerKey);
    const KVORAXMLTag *factorKey = findKey(tag, "NormalizingFactor", env);
    if (factorKey != nullptr) normalizingFactor = streamReal(*factorKey);
    const KVORAXMLTag *binsKey = findKey(tag, "NumberOfBins", env);
    if (binsKey != nullptr) numberOfBins = streamInt(*binsKey);

    if (typeKey == nullptr) {
        printLine("Defaulting KernelType to RBF");
        kernelType = "RBF";
    }
    if (levelKey == nullptr || sparseKernelKey == nullptr || isSparseKernel == 0)
        reportError(2203,
                    "KVORACGAData::readKernelValuesFile: kernel must be sparse and sparsity level must be provided",
                    env, 1);
    if (!(sparsityLevel > 0.0) || !(sparsityLevel < 1.0))
        reportError(2203,
                    "KVORACGAData::readKernelValuesFile: sparsity level must stricltly greater than 0 and strictly "
                    "less than 1",
                    env, 1);

    if (equals(kernelType, "Poly")) {
        if (degreeKey == nullptr) {
            printLine("Defaulting Poly Kernel Degree to 1");
            degree = 1;
        }
        if (multiplierKey == nullptr) {
            printLine("Defaulting Poly Kernel Multiplier to 1");
            multiplier = 1.0;
        }
        if (biasKey == nullptr) {
            printLine("Defaulting Poly Kernel Bias to 1");
            bias = 1.0;
        }
    } else if (equals(kernelType, "RBF")) {
        if (gammaKey == nullptr) {
            printLine("Defaulting RBF Kernel Gamma to 1");
            gamma = 1.0;
        }
    } else if (equals(kernelType, "Sigmoid")) {
        if (multiplierKey == nullptr) {
            printLine("Defaulting Sigmoid Kernel Multiplier to 1");
            multiplier = 1.0;
        }
        if (biasKey == nullptr) {
            printLine("Defaulting Sigmoid Kernel Bias to 1");
            bias = 1.0;
        }
    } else if (equals(kernelType, "Friends")) {
        if (indicesKey == nullptr) {
            printLine("Defaulting data mode to sparse vector mode.");
            indicesData = 1;
        }
        if (markerKey == nullptr) {
            printLine("Defaulting empty space marker to zero");
            emptyMarker = 0.0;
        }
        if (factorKey == nullptr) {
            printLine("Defaulting normalizing factor to 50000000. In general, this must be in the order of the "
                      "population size, otherwise results might get skewed!");
            normalizingFactor = 50000000.0;
        }
    } else if (equals(kernelType, "Information")) {
        KVORA_ASSERT_CAUSE(binsKey != nullptr, "Number of bins not defined.");
    }

    std::ostringstream line;
    line << (verbosity == 0 ? "Defaulting verbosity level to " : "Verbosity level ") << verbosity;
    reportLog(1, line.str());
    reportLog(0, "Reading kernel params is done.");
}

void KVORAKernelData::open(const KVORAXMLTag &tag, KVORA_ENV env)
{
    const KVORAXMLTag *own = findKey(tag, "KernelParams", env);
    KVORAKernelDataParameters parameters;
    parameters.readParameters(own != nullptr ? *own : tag, env);

    KVORAKernelFunction *made = nullptr;
    const KV2AscString &type = parameters.kernelType;
    if (equals(type, "Poly"))
        made = new KVORAKernelFunctionPoly(parameters.degree, parameters.multiplier, parameters.bias, env);
    else if (equals(type, "RBF"))
        made = new KVORAKernelFunctionRBF(parameters.gamma, env);
    else if (equals(type, "Sigmoid"))
        made = new KVORAKernelFunctionSigmoid(parameters.multiplier, parameters.bias, env);
    else if (equals(type, "Cosine"))
        made = new KVORAKernelFunctionCosine();
    else if (equals(type, "Precomputed"))
        made = new KVORAKernelFunctionPrecomputed();
    else if (equals(type, "Friends"))
        made = new KVORAKernelFunctionFriends(parameters.indicesData, parameters.emptyMarker,
                                              parameters.normalizingFactor, env);
    else if (equals(type, "Information"))
        made = new KVORAKernelFunctionInformation(parameters.numberOfBins, env);
    else
        KVORA_NEVER_HERE();
    kvoraMemAccount(made->getObjectSize(), env);
    ivKernelFunctionPtr.reset(made, env);

    initKernelData(parameters, env);
}

void KVORAKernelData::initKernelData(const KVORAKernelDataParameters &parameters, KVORA_ENV env)
{
    releaseMatrices(env);
    ivKernelMode = KernelMode;
    ivIsSparseKernel = parameters.isSparseKernel;
    ivSparsityLevel = parameters.sparsityLevel;
    ivIsSparseData = static_cast<int32_t>(parameters.isSparseData);
    ivOutputFileName = parameters.outputFileName;
    ivFilterSimilarities = parameters.filterSimilarities;
    ivNumberOfComputeIterations = parameters.numberOfComputeIterations;
    ivCurComputeIteration = 1;
    ivKernelVerbosityLvl = parameters.verbosity;
}
