// The diffusion object's results: one line per node, in ascending node
// order, for every node that holds energy or stands in a degree map; and the
// run's parameters for the model report. The energy is printed in the
// stream's default form (six significant digits), which the file's readers
// expect.
#include <fstream>
#include <map>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
#include "simple_algorithm/kvora_DIF.h"
#include "util/kvora_atomicfile.h"
#include "util/kvora_debug.h"

namespace {

struct NodeRecord {
    double energy = 0.0;
    int32_t inDegree = 0;
    int32_t outDegree = 0;
    int32_t weightedInDegree = 0;
    int32_t weightedOutDegree = 0;
};

}  // namespace

void KVORADIFData::writeDataOutputFile(KVORA_ENV env)
{
    // Written under a temporary name and renamed when complete, so that the
    // file appears whole or not at all.
    KVORAAtomicFile file(ivOutputFileName.c_str());
    if (!file.open())
        reportError(2302, ivOutputFileName.c_str(), "KVORADIFData::writeDataOutputFile: Unable to open output file",
                    env, 1);
    std::ofstream &out = file.stream();

    std::map<uint64_t, NodeRecord> records;
    for (int32_t i = 1; i <= ivModel1TotalEnergies.getSize(); ++i) {
        NodeRecord record;
        record.energy = ivModel1TotalEnergies[i];
        records[ivModel1TotalEnergiesSamples[i]] = record;
    }
    for (const auto &entry : ivNum2InDegreeMap) records[entry.first].inDegree = entry.second;
    for (const auto &entry : ivNum2OutDegreeMap) records[entry.first].outDegree = entry.second;
    for (const auto &entry : ivNum2WeightedInDegreeMap) records[entry.first].weightedInDegree = entry.second;
    for (const auto &entry : ivNum2WeightedOutDegreeMap) records[entry.first].weightedOutDegree = entry.second;

    if (ivOutputFormat == 1) {
        out << "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n";
        for (const auto &entry : records) {
            const NodeRecord &r = entry.second;
            out << entry.first << ',' << r.energy << ',' << r.inDegree << ',' << r.outDegree << ','
                << r.weightedInDegree << ',' << r.weightedOutDegree << '\n';
        }
    } else if (ivOutputFormat == 0) {
        const std::string p(ivTagPrefix.c_str());
        for (const auto &entry : records) {
            const NodeRecord &r = entry.second;
            out << "<" << p << "Node>\n";
            out << "<" << p << "Number>" << entry.first << "</" << p << "Number>\n";
            out << "<" << p << "DA_DiffusedEnergy>" << r.energy << "</" << p << "DA_DiffusedEnergy>\n";
            out << "<" << p << "In degree>" << r.inDegree << "</" << p << "In degree>\n";
            out << "<" << p << "Out degree>" << r.outDegree << "</" << p << "Out degree>\n";
            out << "<" << p << "Weighted in degree>" << r.weightedInDegree << "</" << p << "Weighted in degree>\n";
            out << "<" << p << "Weighted out degree>" << r.weightedOutDegree << "</" << p
                << "Weighted out degree>\n";
            out << "</" << p << "Node>\n";
        }
        out << "</" << p << "DIF Output>\n";
    } else {
        KVORA_NEVER_HERE();
    }
    // A file that can't be put in place is one that couldn't be opened.
    if (!file.commit())
        reportError(2302, ivOutputFileName.c_str(), "KVORADIFData::writeDataOutputFile: Unable to open output file",
                    env, 1);
}

void KVORADIFData::writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env)
{
    tag.clearTag(env);
    tag.addTag("InputParameters", env);
    tag.getOrAddLeafTag("InputParameters/Spreading Coefficient", env).setRealValue(ivSpreadCoefficient, env);
    tag.getOrAddLeafTag("InputParameters/End Condition Value", env).setRealValue(ivEpsilon, env);
    tag.getOrAddLeafTag("InputParameters/Max Number of Iterations", env).setIntValue(ivMaxNumIterations, env);
    tag.getOrAddLeafTag("InputParameters/IsSparse", env).setBoolValue(ivIsSparse, env);
    tag.getOrAddLeafTag("InputParameters/OutputFormat", env).setValue(ivOutputFormat != 0 ? "CSV" : "XML", env);
    tag.addTag("RunParameters", env);
    tag.getOrAddLeafTag("RunParameters/Model 1 iterations", env).setIntValue(ivModel1NumIterations, env);
    tag.getOrAddLeafTag("RunParameters/Model 1 Diff Val at Convergence", env).setRealValue(ivDiffVal, env);
}
