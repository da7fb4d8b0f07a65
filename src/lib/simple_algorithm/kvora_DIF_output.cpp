// The diffusion object's results: one line per node, in ascending node
// order, for every node that holds energy or stands in a degree map; and the
// run's parameters for the model report. The energy is printed in the
// stream's default form (six significant digits), which the file's readers
// expect.
#include <fstream>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
#include "simple_algorithm/kvora_DIF.h"
#include "util/kvora_atomicfile.h"
#include "util/kvora_debug.h"
#include "util/kvora_numtext.h"

namespace {

struct NodeRecord {
    double energy = 0.0;
    int32_t inDegree = 0;
    int32_t outDegree = 0;
    int32_t weightedInDegree = 0;
    int32_t weightedOutDegree = 0;
};

// The union of the energies and the degree maps, node by node: a node holds
// energy 0.0 and zero degrees except where a map has it.
class NodeWalk {
public:
    NodeWalk(const KVORADIFData::RealMap &energies, const KVORADIFData::IntMap &in, const KVORADIFData::IntMap &out,
             const KVORADIFData::IntMap &weightedIn, const KVORADIFData::IntMap &weightedOut)
        : ivEnergies(energies), ivDegrees{&in, &out, &weightedIn, &weightedOut}
    {
    }
    bool next(uint64_t &node, NodeRecord &record)
    {
        bool any = false;
        if (ivEnergyAt < ivEnergies.size()) {
            node = ivEnergies.key(ivEnergyAt);
            any = true;
        }
        for (int k = 0; k < 4; ++k) {
            if (ivAt[k] >= ivDegrees[k]->size()) continue;
            const uint64_t key = ivDegrees[k]->key(ivAt[k]);
            if (!any || key < node) node = key;
            any = true;
        }
        if (!any) return false;
        record = NodeRecord();
        if (ivEnergies.holds(ivEnergyAt, node)) record.energy = ivEnergies.value(ivEnergyAt++);
        int32_t *fields[4] = {&record.inDegree, &record.outDegree, &record.weightedInDegree,
                              &record.weightedOutDegree};
        for (int k = 0; k < 4; ++k)
            if (ivDegrees[k]->holds(ivAt[k], node)) *fields[k] = ivDegrees[k]->value(ivAt[k]++);
        return true;
    }

private:
    const KVORADIFData::RealMap &ivEnergies;
    const KVORADIFData::IntMap *ivDegrees[4];
    size_t ivEnergyAt = 0;
    size_t ivAt[4] = {0, 0, 0, 0};
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

    // The records walk the energies and the four degree maps side by side,
    // all in ascending node order, so no map of records is built.
    RealMap energies;
    energies.assign(ivModel1TotalEnergies, ivModel1TotalEnergiesSamples);
    NodeWalk walk(energies, ivNum2InDegreeMap, ivNum2OutDegreeMap, ivNum2WeightedInDegreeMap,
                  ivNum2WeightedOutDegreeMap);
    uint64_t node = 0;
    NodeRecord r;

    if (ivOutputFormat == 1) {
        out << "Number,DA_DiffusedEnergy,InDegree,OutDegree,WeightedInDegree,WeightedOutDegree\n";
        // A line at a time, each number as the stream would write it.
        char line[6 * kvoraNumTextRoom + 8];
        while (walk.next(node, r)) {
            char *at = kvoraIntText(line, node);
            *at++ = ',';
            at = kvoraRealText(at, r.energy);
            for (int32_t degree : {r.inDegree, r.outDegree, r.weightedInDegree, r.weightedOutDegree}) {
                *at++ = ',';
                at = kvoraIntText(at, degree);
            }
            *at++ = '\n';
            out.write(line, at - line);
        }
    } else if (ivOutputFormat == 0) {
        const std::string p(ivTagPrefix.c_str());
        while (walk.next(node, r)) {
            out << "<" << p << "Node>\n";
            out << "<" << p << "Number>" << node << "</" << p << "Number>\n";
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
