// The group analysis object's results: after each collecting iteration one
// row per group and one row per node, in files that the first iteration
// starts with their headers and later iterations extend; and the parameters
// and run counts of the model report. The XML forms stand behind the format
// parameter although open admits only CSV. The files are written under
// temporary names and renamed together after the last collecting iteration,
// so that a run that dies or fails half way leaves no file that looks whole.
#include "simple_algorithm/kvora_CGA_data.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
#include "util/kvora_atomicfile.h"
#include "util/kvora_debug.h"

namespace {

// One node of a group, joined from the two rank orders.
struct NodeRecord {
    double rank1 = 0.0;
    int32_t order1 = 0;
    double rank2 = 0.0;
    int32_t order2 = 0;
    int32_t iteration = 0;
    int32_t inDegree = 0;
    int32_t outDegree = 0;
    double weightedIn = 0.0;
    double weightedOut = 0.0;
    int32_t leader1 = 0;
    double confidence1 = 0.0;
    int32_t leader2 = 0;
    double confidence2 = 0.0;
};

// The result files of each stem that is being written, held open under their
// temporary names from the first collecting iteration to the last. They live
// here rather than in the object, which is copied between processes and which
// a fatal end never deletes: a static is destroyed at the process's exit, and
// with it whatever was not committed, so a run that fails leaves no temporary.
using ResultFiles = std::vector<std::unique_ptr<KVORAAtomicFile>>;

std::map<std::string, ResultFiles> &pendingResults()
{
    static std::map<std::string, ResultFiles> pending;
    return pending;
}

// Renames all files of a stem to their final names, or none: a failure takes
// back the renames already made, and drops the temporaries.
bool commitAll(ResultFiles &files)
{
    for (auto &file : files)
        if (!file->stream().flush()) return false;
    for (size_t i = 0; i < files.size(); ++i) {
        if (files[i]->commit()) continue;
        for (size_t j = 0; j < i; ++j) std::remove(files[j]->finalName().c_str());
        return false;
    }
    return true;
}

void writeRatio(std::ostream &out, double first, double second)
{
    if (second == 0.0)
        out << "Inf";
    else
        out << first / second;
}

}  // namespace

void KVORACGAData::printAnalysisResults(KVORA_ENV env)
{
    if (ivOutputFileName.size() == 0) return;
    std::ostringstream stemText;
    stemText << ivOutputFileName.c_str() << "_" << ivIterationCounter;
    const std::string stem = stemText.str();
    const bool first = ivIterationCounterCollectingEdges <= 1;
    const bool csv = ivOutputFormat == FormatCSV;
    const std::string prefix = ivTagPrefix.c_str();
    const auto open = [&prefix](const std::string &name) { return "<" + prefix + name + ">"; };
    const auto close = [&prefix](const std::string &name) { return "</" + prefix + name + ">"; };

    static const char *const kUnableToOpen = "KVORACGAData::printAnalysisResults: Unable to open output file";
    std::map<std::string, ResultFiles> &pending = pendingResults();
    if (first) {
        // A name written before is started afresh; its old temporaries go
        // first, as the new ones have the same names.
        pending.erase(stem);
        ResultFiles files;
        for (const char *suffix : csv ? std::vector<const char *>{".clusters.csv", ".nodes.csv"}
                                      : std::vector<const char *>{".xml"}) {
            files.push_back(std::make_unique<KVORAAtomicFile>(stem + suffix));
            if (!files.back()->open()) {
                files.clear();
                reportError(2302, kUnableToOpen, env, 1);
            }
        }
        pending[stem] = std::move(files);
    } else if (pending.count(stem) == 0) {
        // The first iteration's files are gone: nothing whole can be written.
        reportError(2302, kUnableToOpen, env, 1);
    }
    ResultFiles &files = pending[stem];
    // Only the streams of the format in use are written: the CSV files, or
    // the single XML file.
    std::ofstream &clustersFile = files.front()->stream();
    std::ofstream &nodesFile = files.back()->stream();
    std::ofstream &xmlFile = files.front()->stream();
    if (csv) {
        if (first) {
            clustersFile << "GroupNumber,Size,Density,KernelDensity,CoreNodesFraction,"
                         << "MaxRankType1,MinRankType1,MaxMinRankRatioType1,MaxRankLinksType2,"
                         << "MinRankLinksType2,MaxMinRankRatioLinksType2\n";
            nodesFile << "NodeNumber,GroupNumber,IsCoreNode,RankType1,RankOrderType1,"
                      << "RankType2,RankOrderType2,"
                      << "InDegree,OutDegree,WeightedInDegree,WeightedOutDegree,"
                      << "IsGroupLeaderType1,GroupLeaderType1Conf,IsGroupLeaderType2,GroupLeaderType2Conf\n";
        }
    } else {
        if (first) xmlFile << "<" << prefix << "CGA-Output " << ivOutputNamespace.c_str() << " >\n";
    }

    std::map<uint64_t, NodeRecord> records;
    int64_t total = 0;
    int32_t s = 1;
    for (int32_t i = 1; i <= ivCCNodesNum.getSize(); ++i) {
        const int32_t n = ivCCNodesNum[i];
        total += n;
        const int32_t group = ivMinIndRelevantClusters - 1 + i;
        const int32_t last = s + n - 1;
        const int32_t *clusterOf = ivNodeToCCMap.lookup(ivCCNodesByPageRank[s]);
        const int32_t cluster = clusterOf != nullptr ? *clusterOf : 0;
        const double density = cluster >= 1 && cluster <= ivCCDensities.getSize() ? ivCCDensities[cluster] : 0.0;
        const double kernelDensity =
            cluster >= 1 && cluster <= ivCCKernelDensities.getSize() ? ivCCKernelDensities[cluster] : 0.0;

        records.clear();
        int32_t core = 0;
        for (int32_t j = 1; j <= n; ++j) {
            const int32_t at = s + j - 1;
            NodeRecord &a = records[ivCCNodesByPageRank[at]];
            a.rank1 = ivPageRanks[at];
            a.order1 = j;
            const int32_t *connected = ivNodeToIterationConnectedMap.lookup(ivCCNodesByPageRank[at]);
            a.iteration = connected != nullptr ? *connected : 0;
            if (a.iteration == 0) ++core;
            a.outDegree = ivCCOutDegrees[at];
            a.weightedOut = ivOutDegreesWeightedByPageRank[at];
            if (j == 1) {
                a.leader1 = 1;
                a.confidence1 = a.rank1 / (ivPageRanks[last] + 1e-07);
            }
            NodeRecord &b = records[ivCCNodesByPageRankTransposed[at]];
            b.rank2 = ivPageRanksTransposed[at];
            b.order2 = j;
            b.inDegree = ivCCInDegrees[at];
            b.weightedIn = ivInDegreesWeightedByPageRankTransposed[at];
            if (j == 1) {
                b.leader2 = 1;
                b.confidence2 = b.rank2 / (ivPageRanksTransposed[last] + 1e-07);
            }
        }
        const double coreFraction = static_cast<double>(core) / static_cast<double>(n);

        if (csv) {
            clustersFile << group << "," << n << "," << density << "," << kernelDensity << "," << coreFraction << ","
                         << ivPageRanks[s] << "," << ivPageRanks[last] << ",";
            writeRatio(clustersFile, ivPageRanks[s], ivPageRanks[last]);
            clustersFile << "," << ivPageRanksTransposed[s] << "," << ivPageRanksTransposed[last] << ",";
            writeRatio(clustersFile, ivPageRanksTransposed[s], ivPageRanksTransposed[last]);
            clustersFile << "\n";
            for (const auto &entry : records) {
                const NodeRecord &r = entry.second;
                nodesFile << entry.first << "," << group << "," << (r.iteration == 0 ? 1 : 0) << "," << r.rank1 << ","
                          << r.order1 << "," << r.rank2 << "," << r.order2 << "," << r.inDegree << "," << r.outDegree
                          << "," << r.weightedIn << "," << r.weightedOut << "," << r.leader1 << "," << r.confidence1
                          << "," << r.leader2 << "," << r.confidence2 << "\n";
            }
        } else {
            xmlFile << open("Cluster") << "\n";
            xmlFile << open("Number") << group << close("Number") << "\n";
            xmlFile << open("Size") << n << close("Size") << "\n";
            xmlFile << open("Density") << density << close("Density") << "\n";
            xmlFile << open("KernelDensity") << kernelDensity << close("KernelDensity") << "\n";
            xmlFile << open("CoreNodesFraction") << coreFraction << close("CoreNodesFraction") << "\n";
            xmlFile << open("MaxRank") << ivPageRanks[s] << close("MaxRank") << "\n";
            xmlFile << open("MinRank") << ivPageRanks[last] << close("MinRank") << "\n";
            xmlFile << open("MaxMinRankRatio");
            writeRatio(xmlFile, ivPageRanks[s], ivPageRanks[last]);
            xmlFile << close("MaxMinRankRatio") << "\n";
            xmlFile << open("MaxRankLinksReversed") << ivPageRanksTransposed[s] << close("MaxRankLinksReversed") << "\n";
            xmlFile << open("MinRankLinksReversed") << ivPageRanksTransposed[last] << close("MinRankLinksReversed")
                    << "\n";
            xmlFile << open("MaxMinRankRatioLinksReversed");
            writeRatio(xmlFile, ivPageRanksTransposed[s], ivPageRanksTransposed[last]);
            xmlFile << close("MaxMinRankRatioLinksReversed") << "\n";
            if (ivOutputFormat == FormatCompact) {
                const auto joined = [&](const char *name, auto value) {
                    xmlFile << open(name);
                    for (int32_t j = 0; j < n; ++j) xmlFile << (j > 0 ? ", " : "") << value(s + j);
                    xmlFile << close(name) << "\n";
                };
                joined("Nodes", [&](int32_t at) { return ivCCNodesByPageRank[at]; });
                joined("Ranks", [&](int32_t at) { return ivPageRanks[at]; });
                joined("Iterations", [&](int32_t at) { return records[ivCCNodesByPageRank[at]].iteration; });
                joined("NodesLinksReversed", [&](int32_t at) { return ivCCNodesByPageRankTransposed[at]; });
                joined("RanksLinksReversed", [&](int32_t at) { return ivPageRanksTransposed[at]; });
            } else {
                xmlFile << open("Nodes") << "\n";
                for (const auto &entry : records) {
                    const NodeRecord &r = entry.second;
                    xmlFile << open("Node") << "\n";
                    xmlFile << open("Number") << entry.first << close("Number") << "\n";
                    xmlFile << open("Iteration") << r.iteration << close("Iteration") << "\n";
                    xmlFile << open("Rank") << r.rank1 << close("Rank") << "\n";
                    xmlFile << open("RankOrder") << r.order1 << close("RankOrder") << "\n";
                    xmlFile << open("RankLinksReversed") << r.rank2 << close("RankLinksReversed") << "\n";
                    xmlFile << open("RankOrderLinksReversed") << r.order2 << close("RankOrderLinksReversed") << "\n";
                    xmlFile << close("Node") << "\n";
                }
                xmlFile << close("Nodes") << "\n";
            }
            xmlFile << close("Cluster") << "\n";
        }
        s += n;
    }
    if (!csv && ivMaxIndRelevantClusters == ivClusterSizes.getSize()) xmlFile << close("CGA-Output") << "\n";

    std::ostringstream text;
    text << "printAnalysisResults: final network contains " << total << " nodes and " << ivCCNodesNum.getSize()
         << " clusters";
    reportLog(1, text.str());
    // The last collecting iteration of this stem: the one after which
    // endDataScan goes on to no further range of clusters.
    if (ivMaxIndRelevantClusters >= ivClusterSizes.getSize()) {
        ResultFiles done = std::move(files);
        pending.erase(stem);
        // A set of files that can't be put in place is one that couldn't be opened.
        if (!commitAll(done)) {
            done.clear();
            reportError(2302, kUnableToOpen, env, 1);
        }
    }
}

void KVORACGAData::writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env)
{
    tag.clearTag(env);
    tag.addTag("InputParameters", env);
    tag.getOrAddLeafTag("InputParameters/MinClusterSize", env).setIntValue(ivMinClusterSize, env);
    tag.getOrAddLeafTag("InputParameters/MaxClusterSize", env).setIntValue(ivMaxClusterSize, env);
    tag.getOrAddLeafTag("InputParameters/NumIterationsConnectingNodes", env)
        .setIntValue(ivNumIterationsConnectingNodes, env);
    tag.getOrAddTag("InputParameters/Kernel", env);
    tag.addTag("RunParameters", env);
    for (int32_t k = 1; k <= ivIterationCounter; ++k) {
        const std::string base = "RunParameters/Iteration-" + std::to_string(k) + "/";
        const auto at = [k](const KVORAXaRay<int32_t, 1> &array) { return k <= array.getSize() ? array[k] : 0; };
        tag.getOrAddLeafTag((base + "NumEdgesInGraph").c_str(), env).setIntValue(at(ivNumEdgesInGraph), env);
        tag.getOrAddLeafTag((base + "NumClustersInGraph").c_str(), env).setIntValue(at(ivNumCCInGraph), env);
        tag.getOrAddLeafTag((base + "NumNodesInRelevantClusters").c_str(), env)
            .setIntValue(at(ivNodesInRelevantClusters), env);
    }
}
