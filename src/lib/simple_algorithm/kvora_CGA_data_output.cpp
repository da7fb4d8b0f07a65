// The group analysis object's results: after each collecting iteration one
// row per group and one row per node, in files that the first iteration
// starts with their headers and later iterations extend; and the parameters
// and run counts of the model report. The XML forms stand behind the format
// parameter although open admits only CSV.
#include "simple_algorithm/kvora_CGA_data.h"

#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
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
    const std::ios::openmode mode = first ? std::ios::out | std::ios::trunc : std::ios::out | std::ios::app;
    const bool csv = ivOutputFormat == FormatCSV;
    const std::string prefix = ivTagPrefix.c_str();
    const auto open = [&prefix](const std::string &name) { return "<" + prefix + name + ">"; };
    const auto close = [&prefix](const std::string &name) { return "</" + prefix + name + ">"; };

    std::ofstream clustersFile, nodesFile, xmlFile;
    if (csv) {
        clustersFile.open(stem + ".clusters.csv", mode);
        nodesFile.open(stem + ".nodes.csv", mode);
        if (!clustersFile.is_open() || !nodesFile.is_open())
            reportError(2302, "KVORACGAData::printAnalysisResults: Unable to open output file", env, 1);
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
        xmlFile.open(stem + ".xml", mode);
        if (!xmlFile.is_open())
            reportError(2302, "KVORACGAData::printAnalysisResults: Unable to open output file", env, 1);
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
        const auto clusterOf = ivNodeToCCMap.find(ivCCNodesByPageRank[s]);
        const int32_t cluster = clusterOf != ivNodeToCCMap.end() ? clusterOf->second : 0;
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
            const auto connected = ivNodeToIterationConnectedMap.find(ivCCNodesByPageRank[at]);
            a.iteration = connected != ivNodeToIterationConnectedMap.end() ? connected->second : 0;
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
    clustersFile.close();
    nodesFile.close();
    xmlFile.close();
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
