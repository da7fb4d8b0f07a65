// The kernel's keys, read in a fixed order into the plain parameter record.
// Each failure ends the run with its own report, and the defaults of the
// chosen kernel type are announced after all keys have been read.
#include "simple_algorithm/kvora_kernel_data_parameters.h"

#include <cstring>
#include <iostream>
#include <sstream>
#include <string>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
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
