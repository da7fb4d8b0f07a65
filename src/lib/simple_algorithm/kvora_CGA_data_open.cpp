// The group analysis object's parameters and its kernel values file. The
// keys are read in a fixed order; defaults are gathered into one text that
// goes to the run log at the end, and an illegal value ends the run at once,
// except the conflict of the two cluster sizes, which is known only after
// all keys. The kernel values file gives the kernel edges without a kernel.
#include "simple_algorithm/kvora_CGA_data.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

namespace {

const KVORAXMLTag *findKey(const KVORAXMLTag &parameters, const char *key, KVORA_ENV env)
{
    // The lookups read the tree only.
    KVORAXMLTag &tree = const_cast<KVORAXMLTag &>(parameters);
    if (!tree.findTagByLongName(key, env)) return nullptr;
    return &tree.getTagByLongName(key, env);
}

// The value of an int key: a stream extraction of the whole text, as the
// type test has already looked at its form.
int32_t extractInt(const char *text)
{
    std::istringstream in(text);
    int32_t value = 0;
    in >> value;
    return value;
}

bool isInt(const char *text) { return TestInputStringType(text, "int") != 0; }

// strtoul where long had 32 bits: a minus sign negates in 32-bit arithmetic,
// a magnitude beyond 32 bits is 4294967295.
uint32_t strtoul32(const char *text)
{
    const char *p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r')) ++p;
    const bool negative = *p == '-';
    char *end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text, &end, 0);
    if (end == text) return 0;
    if (errno == ERANGE) return 4294967295u;
    const unsigned long long magnitude = negative ? 0ull - value : value;
    if (magnitude > 4294967295ull) return 4294967295u;
    const uint32_t low = static_cast<uint32_t>(magnitude);
    return negative ? 0u - low : low;
}

}  // namespace

void KVORACGAData::open(const KVORAXMLTag &parameters, KVORA_ENV env)
{
    reportLog(0, "Starting reading parameter file.");
    // The kernel's own keys stand in this same parameter group.
    ivKernelPtr.reset(env);
    ivKernelPtr.create(env);
    ivKernelPtr.get()->open(parameters, env);
    std::ostringstream gathered;

    if (const KVORAXMLTag *tag = findKey(parameters, "MinClusterSize", env)) {
        const char *text = tag->getValue().c_str();
        ivMinClusterSize = extractInt(text);
        if (!isInt(text) || ivMinClusterSize < 1)
            reportError(2202, "KVORACGAData::open, illegal min cluster size", env, 1);
    } else {
        ivMinClusterSize = 1;
        gathered << "Defaulting min cluster size to: " << ivMinClusterSize << "\n";
    }

    {
        // The test of this key stands outside the test for its presence: a
        // missing key is tested as an empty text and refused.
        const KVORAXMLTag *tag = findKey(parameters, "MaxClusterSize", env);
        const char *text = tag != nullptr ? tag->getValue().c_str() : "";
        if (tag != nullptr) {
            ivMaxClusterSize = extractInt(text);
        } else {
            ivMaxClusterSize = 100;
            gathered << "Defaulting max cluster size to: " << ivMaxClusterSize << "\n";
        }
        if (!isInt(text) || ivMaxClusterSize < 1)
            reportError(2202, "KVORACGAData::open, illegal max cluster size", env, 1);
        if (ivMaxClusterSize > 800) {
            char warning[160];
            std::snprintf(warning, sizeof warning,
                          "Warning: Cluster size maybe too high. %d. This might reflect on the performance of the "
                          "algorithm",
                          static_cast<int>(ivMaxClusterSize));
            reportWarning(5002, std::to_string(ivMaxClusterSize), warning);
        }
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "NumIterations", env)) {
        ivNumIterations = extractInt(tag->getValue().c_str());
        if (ivNumIterations != 1) {
            std::ostringstream text;
            text << "KVORACGAData::open, number of iterations must be " << 1;
            reportError(2204, text, env, 1);
        }
    } else {
        ivNumIterations = 1;
        gathered << "Defaulting number iterations to: " << ivNumIterations << "\n";
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "NumIterationsCollectingEdges", env)) {
        const char *text = tag->getValue().c_str();
        ivNumIterationsCollectingEdges = extractInt(text);
        if (!isInt(text) || ivNumIterationsCollectingEdges < 1)
            reportError(2202, "KVORACGAData::open, illegal NumIterationsCollectingEdges value", env, 1);
    } else {
        ivNumIterationsCollectingEdges = 1;
        gathered << "Defaulting number iterations for collecting edges: " << ivNumIterationsCollectingEdges << "\n";
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "MaxNodesCollectingEdges", env)) {
        const char *text = tag->getValue().c_str();
        ivMaxNodesCollectingEdges = extractInt(text);
        // The range test looks at the number of collecting iterations, not at
        // the value just read: any integer passes.
        if (!isInt(text) || ivNumIterationsCollectingEdges < 1)
            reportError(2202, "KVORACGAData::open, illegal MaxNodesCollectingEdges value", env, 1);
    } else {
        ivMaxNodesCollectingEdges = 0;
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "NumIterationsConnectingNodes", env)) {
        const char *text = tag->getValue().c_str();
        ivNumIterationsConnectingNodes = extractInt(text);
        if (!isInt(text) || ivNumIterationsConnectingNodes < 1)
            reportError(2202, "KVORACGAData::open, illegal NumIterationsConnectingNodes value", env, 1);
    } else {
        ivNumIterationsConnectingNodes = 1;
        gathered << "Defaulting number iterations for connecting nodes to: " << ivNumIterationsConnectingNodes << "\n";
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "VerbosityLevel", env)) {
        const char *text = tag->getValue().c_str();
        ivVerbosityLvl = extractInt(text);
        if (!isInt(text) || ivVerbosityLvl < 0 || ivVerbosityLvl > 100)
            reportError(2202, "KVORACGAData::open, illegal verbosity level", env, 1);
        gathered << "Verbosity level " << ivVerbosityLvl << "\n";
    } else {
        ivVerbosityLvl = 1;
        gathered << "Defaulting verbosity level to " << ivVerbosityLvl << "\n";
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "OutputFileName", env)) {
        ivOutputFileName = tag->getValue();
        if (ivOutputFileName.size() == 0)
            reportError(2202, "KVORACGAData::open, output file is illegal or not provided", env, 1);
    }

    ivOutputFormat = FormatNormal;
    if (const KVORAXMLTag *tag = findKey(parameters, "OutputFormat", env)) {
        const KV2AscString &format = tag->getValue();
        if (format == "Compact")
            ivOutputFormat = FormatCompact;
        else if (format == "Normal")
            ivOutputFormat = FormatNormal;
        else if (format == "CSV")
            ivOutputFormat = FormatCSV;
        else
            reportError(2202, "KVORACGAData::open, unknown format", env, 1);
    }
    if (ivOutputFormat != FormatCSV)
        reportError(2204, "KVORACGAData::open, only CSV format is supported in this version", env, 1);

    if (const KVORAXMLTag *tag = findKey(parameters, "TagPrefix", env)) ivTagPrefix = tag->getValue();
    if (const KVORAXMLTag *tag = findKey(parameters, "OutputNamespace", env)) ivOutputNamespace = tag->getValue();
    if (const KVORAXMLTag *tag = findKey(parameters, "KernelValuesFileName", env)) {
        ivKernelFileName = tag->getValue();
        ivState = StartFromKernel;
        gathered << "Starting from kernel values file\n";
    }

    if (ivMinClusterSize > ivMaxClusterSize)
        reportError(2202, "KVORACGAData::open: Min cluster size is larger than max cluster size", env, 1);

    reportLog(1, gathered.str());
    reportLog(0, "Reading parameter file is done.");
}

void KVORACGAData::collectKernelEdges(KVORA_ENV env)
{
    KVORAKernelData *kernel = ivKernelPtr.get();
    KVORA_ASSERT(kernel != nullptr);
    for (const auto &row : kernel->getSparseKernelMatrix()) {
        const uint64_t r = kernel->getKernelColSampleNumber(static_cast<int32_t>(row.first));
        const bool rowCovered = ivCoveredNodes.count(r) != 0;
        for (const auto &entry : row.second) {
            const uint64_t c = kernel->getOtherSampleNumber(static_cast<int32_t>(entry.first));
            if (rowCovered || ivCoveredNodes.count(c) != 0 || r == c) continue;
            ivKernelEdges.copyAppend(r, env);
            ivKernelEdges.copyAppend(c, env);
        }
    }
    kernel->releaseMatrices(env);
}

void KVORACGAData::readKernelValuesFile(KVORA_ENV env)
{
    ivKernelEdges.reset(env);
    std::ifstream in(ivKernelFileName.c_str());
    if (!in.is_open() || in.fail())
        reportError(2304, "KVORACGAData::readKernelValuesFile: Unable to kernel values file", env, 1);

    // Fields are taken into buffers of 30 characters: a longer field fails
    // the stream before its end, and the reading stops there with the pairs
    // read so far rather than going round for ever.
    char first[30], second[30], value[30];
    int32_t count = 0;
    while (!in.eof()) {
        first[0] = second[0] = value[0] = '\0';
        in.getline(first, sizeof first, ',');
        in.getline(second, sizeof second, ',');
        in.getline(value, sizeof value, '\n');
        // A read that fails outright (a folder, an I/O error) is a file that
        // can't be read, not an empty one.
        if (in.bad()) reportError(2304, "KVORACGAData::readKernelValuesFile: Unable to kernel values file", env, 1);
        if (in.fail() && !in.eof()) break;
        const uint32_t a = strtoul32(first);
        const uint32_t b = strtoul32(second);
        if ((a == 0 || b == 0) && (a == 4294967295u || b == 4294967295u)) {
            char warning[128];
            std::snprintf(warning, sizeof warning,
                          "Warning: Ignoring empty line or invalid numeric value in line number %d",
                          static_cast<int>(count));
            reportWarning(5001, std::to_string(count), warning);
        }
        // The pair is kept in every case, the warning's word notwithstanding.
        ++count;
        ivKernelEdges.copyAppend(a, env);
        ivKernelEdges.copyAppend(b, env);
    }
    in.close();
    std::cout << "Read " << count << " kernel values from file\n" << std::flush;
}
