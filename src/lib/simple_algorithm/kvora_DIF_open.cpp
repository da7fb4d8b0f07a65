// The diffusion object's parameters and seed file. The keys are handled in a
// fixed order, each announcing its value or its default on a line of its own;
// an illegal value ends the run. The seed file's name is not taken from the
// XML tree but from a raw line scan of the parameter file, and the seed file
// is read line by line with two number paths chosen by the line's length.
#include "simple_algorithm/kvora_DIF.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <sstream>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

// The process's first command-line argument, set by the entry point. Weak, so
// that this layer does not depend on the program that links it: without the
// entry point (unit tests) its address is null.
extern const char *kvoraParamFileName __attribute__((weak));

const char *KVORADIFData::cvParamFileName = nullptr;

const char *KVORADIFData::getParamFileName()
{
    if (cvParamFileName != nullptr) return cvParamFileName;
    if (&kvoraParamFileName != nullptr && kvoraParamFileName != nullptr) return kvoraParamFileName;
    return "";
}

namespace {

void printLine(const std::string &line)
{
    std::cout << line + "\n" << std::flush;
}

// strtol as it was where long had 32 bits: base 0, overflow gives the
// extreme values. `rest` tells whether text follows the number.
int32_t strtol32(const char *text, bool &rest)
{
    char *end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text, &end, 0);
    rest = *end != '\0';
    if (value > INT32_MAX) return INT32_MAX;
    if (value < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(value);
}

double strtodChecked(const char *text, bool &rest)
{
    char *end = nullptr;
    const double value = std::strtod(text, &end);
    rest = *end != '\0';
    return value;
}

// strtoul as it was where long had 32 bits: a minus sign negates in 32-bit
// arithmetic ("-5" is 4294967291), a magnitude beyond 32 bits is 4294967295.
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

// The number of UTF-16 units that a UTF-8 name takes.
int64_t utf16Length(const std::string &name)
{
    int64_t units = 0;
    for (unsigned char c : name) {
        if ((c & 0xC0) == 0x80) continue;
        units += c >= 0xF0 ? 2 : 1;
    }
    return units;
}

const KVORAXMLTag *findKey(const KVORAXMLTag &parameters, const char *key, KVORA_ENV env)
{
    // The lookups read the tree only.
    KVORAXMLTag &tree = const_cast<KVORAXMLTag &>(parameters);
    if (!tree.findTagByLongName(key, env)) return nullptr;
    return &tree.getTagByLongName(key, env);
}

}  // namespace

std::string decodeXmlEntities(const std::string &text)
{
    static const char *const rules[][2] = {
        {"&amp;", "&"},  {"&lt;", "<"},   {"&gt;", ">"},    {"&quot;", "\""},  {"&#9;", "\t"},
        {"&#10;", "\n"}, {"&#13;", "\r"}, {" &#32;", "  "}, {"&#32;", " "},
    };
    std::string result(text);
    for (const auto &rule : rules) {
        const std::string from(rule[0]), to(rule[1]);
        std::string::size_type position = 0;
        while ((position = result.find(from, position)) != std::string::npos) {
            result.replace(position, from.size(), to);
            position += to.size();
        }
    }
    return result;
}

bool KVORADIFData::FindSeedFileNameInParamFile(const char *paramFileName, std::string &seedFileName)
{
    seedFileName.clear();
    std::ifstream in(paramFileName);
    if (!in) {
        printLine(std::string("FindSeedFileNameInParamFile:  cannot open file param file ") + paramFileName);
        return false;
    }
    static const int32_t bufferSize = 10000;
    std::string buffer(bufferSize, '\0');
    int32_t lineNumber = 0;
    while (!in.eof()) {
        in.getline(&buffer[0], bufferSize, '\n');
        ++lineNumber;
        if (in.fail() || in.bad()) {
            printLine("FindSeedFileNameInParamFile: reading failure in line " + std::to_string(lineNumber));
            break;
        }
        const std::string line(buffer.c_str());
        const std::string::size_type open = line.find("<Seed>");
        const std::string::size_type close = line.find("</Seed>");
        if (open == std::string::npos || close == std::string::npos || open >= close) continue;
        std::string name = decodeXmlEntities(line.substr(open + 6, close - open - 6));
        const std::string::size_type first = name.find_first_not_of(' ');
        const std::string::size_type last = name.find_last_not_of(' ');
        // A single non-blank character keeps its blanks; only blanks count.
        if (first != std::string::npos && last != std::string::npos && first != last)
            name = name.substr(first, last - first + 1);
        seedFileName = name;
        printLine("find seed file: [" + seedFileName + "]");
        in.close();
        return true;
    }
    printLine("Warning: param file should contain a line of the form <Seed> fname </Seed>");
    return false;
}

void KVORADIFData::open(const KVORAXMLTag &parameters, KVORA_ENV env)
{
    bool rest = false;

    if (const KVORAXMLTag *tag = findKey(parameters, "isSparseData", env)) {
        const int32_t flag = strtol32(tag->getValue().c_str(), rest);
        if (rest || (flag != 0 && flag != 1))
            reportError(2202, "KVORADIFData::open: illegal value: isSparseData flag must be 0 or 1 ", env, 1);
        if (flag == 0) reportError(2202, "KVORADIFData::open: Data must be sparse!", env, 1);
        printLine("Using sparse data - flag set to 1");
    } else {
        printLine("Using default sparse data flag");
    }
    ivIsSparse = 1;

    const KVORAXMLTag *verbosityTag = findKey(parameters, "VerbosityLevel", env);
    if (verbosityTag != nullptr) {
        const char *text = verbosityTag->getValue().c_str();
        ivVerbosityLvl = strtol32(text, rest);
        if (!TestInputStringType(text, "int") || ivVerbosityLvl < 0 || ivVerbosityLvl > 100)
            reportError(2202, "KVORACGAData::open, illegal verbosity level", env, 1);
    }

    double spreadCoefficient = 0.5;
    if (const KVORAXMLTag *tag = findKey(parameters, "SpreadCoefficient", env)) {
        spreadCoefficient = strtodChecked(tag->getValue().c_str(), rest);
        if (rest || !(spreadCoefficient > 0.0 && spreadCoefficient < 1.0))
            reportError(2202, "KVORADIFData::open: Illegal value. Spreading coefficient must be in the range (0,1)",
                        env, 1);
        std::ostringstream line;
        line << "Using spreading coefficient: " << spreadCoefficient;
        printLine(line.str());
    } else {
        printLine("Using default spreading coeeficient value of 0.5 ");
    }

    KV2AscString seed;
    if (const KVORAXMLTag *tag = findKey(parameters, "Seed", env)) {
        seed = tag->getValue();
        printLine(std::string("Seed file: ") + seed.c_str() + " modelParameters file = " + getParamFileName());
    } else {
        reportError(2202, "KVORADIFData::open: No seed file specified", env, 1);
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "OutputFileName", env)) {
        ivOutputFileName = tag->getValue();
        printLine(std::string("Output file: ") + ivOutputFileName.c_str());
    } else {
        reportError(2202, "KVORADIFData::open: No output file name specified", env, 1);
    }

    if (const KVORAXMLTag *tag = findKey(parameters, "OutputFormat", env)) {
        if (!(tag->getValue() == "CSV")) reportError(2202, "KVORADIFData::open: Data format must be CSV", env, 1);
        printLine("Output format set to CSV");
    } else {
        printLine("Using default output format - CSV ");
    }
    ivOutputFormat = 1;

    if (const KVORAXMLTag *tag = findKey(parameters, "TagPrefix", env)) {
        ivTagPrefix = tag->getValue();
        printLine(std::string("Using tagprefix: ") + ivTagPrefix.c_str());
    } else if (ivOutputFormat == 0) {
        // Never printed: the output format is always CSV by now.
        printLine("Using default tag prefix - empty string");
    }

    double endConditionValue = 0.01;
    if (const KVORAXMLTag *tag = findKey(parameters, "EndConditionValue", env)) {
        endConditionValue = strtodChecked(tag->getValue().c_str(), rest);
        if (rest || !(endConditionValue > 0.0))
            reportError(2202, "KVORADIFData::open: Illegal value. End condition value must be positive", env, 1);
        std::ostringstream line;
        line << "Using EndConditionValue of " << endConditionValue;
        printLine(line.str());
    } else {
        printLine("Using default end condition value of 0.01");
    }

    int32_t maxNumIterations = 100;
    if (const KVORAXMLTag *tag = findKey(parameters, "MaxNumIterations", env)) {
        maxNumIterations = strtol32(tag->getValue().c_str(), rest);
        if (rest || maxNumIterations < 1 || maxNumIterations == INT32_MAX || maxNumIterations == INT32_MIN)
            reportError(2202,
                        "KVORADIFData::open: Illegal value. Maximal number of iterations must be a positive integer",
                        env, 1);
        printLine("Maximal number of iterations set to " + std::to_string(maxNumIterations));
    } else {
        printLine("Using default maximal number of iterations value of 100");
    }

    if (verbosityTag != nullptr)
        printLine("Verbosity level " + std::to_string(ivVerbosityLvl));
    else
        printLine("Defaulting verbosity level to " + std::to_string(ivVerbosityLvl));

    initParameters(spreadCoefficient, endConditionValue, maxNumIterations, seed, env);
}

void KVORADIFData::initParameters(double spreadCoefficient, double endConditionValue, int32_t maxNumIterations,
                                  const KV2AscString &seed, KVORA_ENV env)
{
    ivSpreadCoefficient = spreadCoefficient;
    ivEpsilon = endConditionValue;
    ivMaxNumIterations = maxNumIterations;
    ivDiffVal = 100000.0;  // above any sensible end condition
    ivIsSparse = 1;
    ivState = ComputeNormalizer;
    ivMatState = 0;
    ivRowsCounter = 0;
    readSeedFile(seed, env);
}

void KVORADIFData::readSeedFile(const KV2AscString &seed, KVORA_ENV env)
{
    std::string name;
    if (!FindSeedFileNameInParamFile(getParamFileName(), name))
        reportError(2307, "KVORADIFData::readSeedFile: Unable to open seed file (visual version) ", env, 1);

    // The name passed through a wide buffer of 2,048 characters, terminator
    // included: a longer name could not be opened.
    std::ifstream in;
    if (utf16Length(name) < 2048) in.open(name);
    if (!in.is_open() || in.fail())
        reportError(2307, "KVORADIFData::readSeedFile: Unable to open seed file", env, 1);

    int32_t lineNumber = 1;
    int32_t elementIndex = 1;
    char buffer[80];
    static const char *const warningFormat = "Warning: ignoring empty line or invalid numeric value - %d ";
    while (!in.eof()) {
        std::memset(buffer, 0, sizeof buffer);
        in.getline(buffer, sizeof buffer);
        char warning[128];
        std::snprintf(warning, sizeof warning, warningFormat, static_cast<int>(lineNumber));
        if (in.fail() && !in.eof()) {
            if (in.bad() || in.gcount() == 0) {
                // Nothing can be read from this stream (a directory, a device
                // error): it would fail for ever.
                reportError(2307, "KVORADIFData::readSeedFile: Unable to open seed file", env, 1);
            }
            // A line of 80 characters or more: refuse it whole and go on with
            // the next line.
            in.clear();
            in.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
            reportWarning(5003, std::to_string(lineNumber), warning);
            ++lineNumber;
            continue;
        }
        const size_t length = std::strlen(buffer);
        uint64_t node = 0;
        if (length <= 10) {
            const uint32_t value = strtoul32(buffer);
            if (value == 0 || value == 4294967295u) {
                reportWarning(5003, std::to_string(elementIndex), warning);
            } else {
                node = value;
            }
        } else {
            bool plain = true;
            for (size_t i = 0; i < length; ++i) {
                const char c = buffer[i];
                if (!((c >= '0' && c <= '9') || c == ' ' || c == '\r' || c == '\n')) plain = false;
            }
            // "%lld" as a defined conversion: the same blanks skipped, and
            // an overflow saturates instead of being undefined.
            long long value = 0;
            if (plain) value = std::strtoll(buffer, nullptr, 10);
            if (!plain || value == 0) {
                reportWarning(5003, std::to_string(lineNumber), warning);
            } else {
                node = static_cast<uint64_t>(value);
            }
        }
        if (node != 0) {
            ivModel1TotalEnergiesOld.copyAppend(1.0, env);
            ivModel1TotalEnergiesSamplesOld.copyAppend(node, env);
            ++elementIndex;
        }
        ++lineNumber;
    }
    in.close();
    ivModel1FreshEnergies.copyFrom(ivModel1TotalEnergiesOld, env);
    ivModel1FreshEnergiesSamples.copyFrom(ivModel1TotalEnergiesSamplesOld, env);
}
