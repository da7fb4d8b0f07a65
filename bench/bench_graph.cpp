// Timings of the two graph algorithms of group analysis: pageRank on one
// cluster at the sizes a run meets (it runs on every cluster, twice), and
// the bounded clustering of a kernel graph of a million edges. Graphs are
// built outside the timed loop; only the algorithm is measured.
#include <benchmark/benchmark.h>

#include <random>

#include "gl/kvora_gl_digraph.h"
#include "gl/kvora_gl_graph.h"

namespace {

GL_EdgeList randomEdges(uint32_t nodes, uint64_t edges, uint32_t seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<uint32_t> pick(0, nodes - 1);
    GL_EdgeList list;
    list.reserve(edges);
    for (uint64_t k = 0; k < edges; ++k) list.emplace_back(pick(gen), pick(gen));
    return list;
}

// A cluster of n nodes with about 8 links out of each node, ranked with the
// parameters of group analysis (10 iterations, tolerance 0.1, jump 0.15).
void BM_PageRankCluster(benchmark::State &state) {
    uint32_t n = static_cast<uint32_t>(state.range(0));
    Digraph cluster(n, randomEdges(n, 8ull * n, n));
    std::vector<double> ranks;
    for (auto _ : state) {
        cluster.pageRank(ranks, 10, 0.1, 0.15);
        benchmark::DoNotOptimize(ranks.data());
    }
    state.SetLabel("nodes " + std::to_string(n));
}
BENCHMARK(BM_PageRankCluster)->Arg(100)->Arg(400)->Arg(800)->Unit(benchmark::kMicrosecond);

// The same at a tolerance that never stops early: ten full products.
void BM_PageRankClusterTenSteps(benchmark::State &state) {
    uint32_t n = static_cast<uint32_t>(state.range(0));
    Digraph cluster(n, randomEdges(n, 8ull * n, n));
    std::vector<double> ranks;
    for (auto _ : state) {
        cluster.pageRank(ranks, 10, 0.0, 0.15);
        benchmark::DoNotOptimize(ranks.data());
    }
}
BENCHMARK(BM_PageRankClusterTenSteps)->Arg(100)->Arg(400)->Arg(800)->Unit(benchmark::kMicrosecond);

// A kernel graph of 200 000 nodes and a million edges cut into clusters of
// at most 100 nodes.
void BM_ConnectedComponentsBounded(benchmark::State &state) {
    static const Graph graph(200000, randomEdges(200000, 1000000, 7));
    int32_t limit = static_cast<int32_t>(state.range(0));
    std::vector<std::vector<uint32_t>> clusters;
    std::vector<double> densities;
    for (auto _ : state) {
        clusters.clear();
        densities.clear();
        graph.connectedComponentsBounded(clusters, limit, densities);
        benchmark::DoNotOptimize(clusters.data());
    }
    state.counters["clusters"] = static_cast<double>(clusters.size());
}
BENCHMARK(BM_ConnectedComponentsBounded)->Arg(100)->Arg(800)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
