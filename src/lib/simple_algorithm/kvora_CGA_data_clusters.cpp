// The group analysis object's cluster steps: initial clusters cut from the
// kernel edges, the clusters kept for a collecting iteration with their link
// densities, and the ranking of each kept cluster, shared among the
// processes by rank. Graph indices are dense numberings made per step, so
// that the graphs are as small as the nodes they hold.
#include "simple_algorithm/kvora_CGA_data.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <map>
#include <sstream>
#include <unordered_map>
#include <vector>

#include "gl/kvora_gl_digraph.h"
#include "gl/kvora_gl_graph.h"
#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

namespace {

// Node numbers to dense indices from 0, in order of first request.
class DenseNumbering {
public:
    uint32_t indexOf(uint64_t node)
    {
        const auto found = ivIndex.find(node);
        if (found != ivIndex.end()) return found->second;
        const uint32_t index = static_cast<uint32_t>(ivNodes.size());
        ivIndex.emplace(node, index);
        ivNodes.push_back(node);
        return index;
    }
    const std::vector<uint64_t> &nodes() const { return ivNodes; }

private:
    std::unordered_map<uint64_t, uint32_t> ivIndex;
    std::vector<uint64_t> ivNodes;
};

}  // namespace

void KVORACGAData::buildInitialClusters(KVORA_ENV env)
{
    if (ivState != CollectingKernelEdges && ivState != StartFromKernel) KVORA_NEVER_HERE();

    DenseNumbering numbering;
    GL_EdgeList edges;
    edges.reserve(static_cast<size_t>(ivKernelEdges.getSize() / 2));
    for (int32_t i = 1; i + 1 <= ivKernelEdges.getSize(); i += 2) {
        // The second node of a pair is numbered first.
        const uint32_t b = numbering.indexOf(ivKernelEdges[i + 1]);
        const uint32_t a = numbering.indexOf(ivKernelEdges[i]);
        edges.emplace_back(a, b);
    }
    const Graph graph(static_cast<uint32_t>(numbering.nodes().size()), edges);
    std::vector<std::vector<uint32_t>> clusters;
    std::vector<double> densities;
    if (graph.nodeCount() > 0) graph.connectedComponentsBounded(clusters, ivMaxClusterSize, densities);

    const int32_t count = static_cast<int32_t>(clusters.size());
    ivNumCCInGraph.autoExtend(ivIterationCounter, env);
    ivNumCCInGraph[ivIterationCounter] = count;
    ivClusterSizes.reset(env);
    ivCCKernelDensities.reset(env);
    ivClusterSizes.setSize(count, env);
    ivCCKernelDensities.setSize(count, env);

    int32_t k = 1;
    int64_t sizeSum = 0;
    double densitySum = 0.0;
    for (; k <= count; ++k) {
        const std::vector<uint32_t> &cluster = clusters[static_cast<size_t>(k - 1)];
        for (uint32_t index : cluster) {
            const uint64_t node = numbering.nodes()[index];
            ivNodeToCCMap[node] = k;
            ivNodeToIterationConnectedMap[node] = 0;
        }
        ivClusterSizes[k] = static_cast<int32_t>(cluster.size());
        ivCCKernelDensities[k] = densities[static_cast<size_t>(k - 1)];
        sizeSum += static_cast<int64_t>(cluster.size());
        densitySum += densities[static_cast<size_t>(k - 1)];
    }
    // The counter stands one past the last cluster here; the report shows it
    // as it stands, and divides by it.
    std::ostringstream out;
    out << "buildInitialClusters: Found " << k << " initial clusters\n";
    out << "buildInitialClusters: Found " << sizeSum << " kernel nodes\n";
    if (k != 0)
        out << "buildInitialClusters: avg core cluster size = " << static_cast<double>(sizeSum) / k
            << ", avg kernel density = " << densitySum / k << "\n";
    std::cout << out.str() << std::flush;

    rebuildNodeBuffers(env);
}

void KVORACGAData::buildFinalClusters(KVORA_ENV env)
{
    const int32_t count = ivIterationCounter <= ivNumCCInGraph.getSize() ? ivNumCCInGraph[ivIterationCounter] : 0;
    std::vector<char> mask(static_cast<size_t>(count) + 1, 0);
    for (int32_t k = ivMinIndRelevantClusters; k <= ivMaxIndRelevantClusters; ++k) {
        if (k < 1 || k > count || k > ivClusterSizes.getSize()) continue;
        if (ivClusterSizes[k] >= ivMinClusterSize && ivClusterSizes[k] <= ivMaxClusterSize) mask[k] = 1;
    }
    const auto masked = [&mask, count](int32_t k) { return k >= 1 && k <= count && mask[k] != 0; };
    for (const auto &entry : ivNodeToCCMap)
        if (masked(entry.second)) ivCoveredNodes.insert(entry.first);

    std::vector<std::vector<uint64_t>> lists(static_cast<size_t>(count) + 1);
    std::vector<std::vector<uint64_t>> kernelLists(static_cast<size_t>(count) + 1);

    ivNumEdgesInGraph.autoExtend(ivIterationCounter, env);
    ivNumEdgesInGraph[ivIterationCounter] += ivCCEdges.getSize() / 2;

    int64_t links = 0;
    for (int32_t i = 1; i + 1 <= ivCCEdges.getSize(); i += 2) {
        const int32_t k = ivNodeToCCMap[ivCCEdges[i]];
        if (!masked(k)) continue;
        ++links;
        lists[static_cast<size_t>(k)].push_back(ivCCEdges[i]);
        lists[static_cast<size_t>(k)].push_back(ivCCEdges[i + 1]);
    }
    for (int32_t i = 1; i + 1 <= ivRelevantKernelEdges.getSize(); i += 2) {
        const int32_t k = ivNodeToCCMap[ivRelevantKernelEdges[i]];
        if (!masked(k)) continue;
        kernelLists[static_cast<size_t>(k)].push_back(ivRelevantKernelEdges[i]);
        kernelLists[static_cast<size_t>(k)].push_back(ivRelevantKernelEdges[i + 1]);
    }

    ivNodesInRelevantClusters.autoExtend(ivIterationCounter, env);
    ivNodesInRelevantClusters[ivIterationCounter] = 0;
    int32_t kept = 0;
    for (int32_t k = 1; k <= count; ++k) {
        if (lists[static_cast<size_t>(k)].empty()) continue;
        ++kept;
        ivNodesInRelevantClusters[ivIterationCounter] += ivClusterSizes[k];
    }

    ivCCEdges.reset(env);
    ivCCEdgesNum.reset(env);
    if (ivIterationCounterCollectingEdges == 1) {
        ivCCDensities.reset(env);
        ivCCDensities.setSize(count, env);
        for (int32_t k = 1; k <= count; ++k) ivCCDensities[k] = 0.0;
    }
    ivCCEdges.setSize(static_cast<int32_t>(2 * links), env);
    ivCCEdgesNum.setSize(kept, env);
    int32_t place = 1, edgePlace = 1;
    for (int32_t k = 1; k <= count; ++k) {
        const std::vector<uint64_t> &list = lists[static_cast<size_t>(k)];
        if (list.empty()) continue;
        const int32_t e = static_cast<int32_t>(list.size() / 2);
        const double n = static_cast<double>(ivClusterSizes[k]);
        if (k <= ivCCDensities.getSize()) ivCCDensities[k] = static_cast<double>(e) / (n * (n - 1.0));
        ivCCEdgesNum[place++] = e;
        for (uint64_t node : list) ivCCEdges[edgePlace++] = node;
    }

    const int32_t rank = getRank();
    std::ostringstream text;
    text << "\n[Worker:" << rank << " >>> buildFinalClusters: going over cluster number " << ivMinIndRelevantClusters
         << " to " << ivMaxIndRelevantClusters << " (total " << count << ") ]";
    text << "\n[Worker:" << rank << " >>> buildFinalClusters: done, " << kept << " clusters found relevant "
         << "(out of " << count << ") ]";
    reportLog(0, text.str());
}

void KVORACGAData::analyzeClusters(KVORA_ENV env)
{
    emptyResultArrays(env);
    const int32_t size = getWorldSize();
    const int32_t rank = getRank();
    const int32_t m = ivCCEdgesNum.getSize();
    std::ostringstream text;
    text << "\n[Worker:" << rank << " >>> analyzeClusters starts, " << "numOfWorkers = " << size << "nedges = " << m
         << ", as KVORAInt" << m << ",nedgel " << m;

    int32_t local = 0;
    int32_t p = 1;
    for (int32_t i = 1; i <= m; ++i) {
        const int32_t e = ivCCEdgesNum[i];
        if (i % size != rank) {
            p += 2 * e;
            continue;
        }
        ++local;
        DenseNumbering numbering;
        GL_EdgeList edges;
        edges.reserve(static_cast<size_t>(e));
        for (int32_t j = 0; j < e; ++j, p += 2) {
            // Here the first node of a pair is numbered first.
            const uint32_t from = numbering.indexOf(ivCCEdges[p]);
            const uint32_t to = numbering.indexOf(ivCCEdges[p + 1]);
            edges.emplace_back(from, to);
        }
        Digraph graph(static_cast<uint32_t>(numbering.nodes().size()), edges);
        ivCCNodesNum.copyAppend(static_cast<int32_t>(graph.nodeCount()), env);
        analyzeCluster(graph, numbering.nodes(), ivCCNodesByPageRank, ivPageRanks, ivCCOutDegrees,
                       ivOutDegreesWeightedByPageRank, env);
        graph.transpose();
        analyzeCluster(graph, numbering.nodes(), ivCCNodesByPageRankTransposed, ivPageRanksTransposed, ivCCInDegrees,
                       ivInDegreesWeightedByPageRankTransposed, env);
    }
    text << "\n[Worker:" << rank << " >>> analyzeClusters completed, " << local << " clusters analyzed locally ]";
    reportLog(2, text.str());
}

void KVORACGAData::analyzeCluster(const Digraph &graph, const std::vector<uint64_t> &numbering,
                                  KVORAXaRay<uint64_t, 1> &nodes, KVORAXaRay<double, 1> &ranks,
                                  KVORAXaRay<int32_t, 1> &degrees, KVORAXaRay<double, 1> &weighted, KVORA_ENV env)
{
    std::vector<double> rank;
    graph.pageRank(rank, 10, 0.1, 0.15);
    // Nodes of equal rank keep ascending index order.
    std::map<double, std::vector<uint32_t>> byValue;
    for (uint32_t v = 0; v < rank.size(); ++v) byValue[rank[v]].push_back(v);
    std::vector<double> sorted(rank);
    std::sort(sorted.begin(), sorted.end(), std::greater<double>());

    const uint32_t n = graph.nodeCount();
    int32_t place = nodes.getSize() + 1;
    // The lists of all clusters grow cluster by cluster: geometrically, so
    // that the entries are not copied again for every cluster.
    if (n != 0) {
        nodes.autoExtend(nodes.getSize() + static_cast<int32_t>(n), env);
        ranks.autoExtend(ranks.getSize() + static_cast<int32_t>(n), env);
        degrees.autoExtend(degrees.getSize() + static_cast<int32_t>(n), env);
        weighted.autoExtend(weighted.getSize() + static_cast<int32_t>(n), env);
    }
    for (size_t s = 0; s < sorted.size();) {
        const std::vector<uint32_t> &list = byValue[sorted[s]];
        for (uint32_t v : list) {
            const GL_NodeSet &adjacent = graph.neighbours(v);
            double sum = 0.0;
            for (uint32_t w : adjacent) sum += rank[w];
            nodes[place] = numbering[v];
            ranks[place] = rank[v];
            degrees[place] = static_cast<int32_t>(adjacent.size());
            weighted[place] = sum;
            ++place;
        }
        s += list.empty() ? 1 : list.size();
    }
}
