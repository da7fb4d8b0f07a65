// Bounded clustering of an undirected graph. The per-cluster bit sets of the
// algorithm are one reusable mark array each, cleared node by node after the
// cluster, so that a graph of many small clusters costs time in its size, not
// in clusters times nodes. The link count of a cluster uses a membership mark
// in place of a search of the cluster's list; the count is the same. The
// neighbour sets are copied once into one flat array (same ascending order),
// since walking tree nodes twice per edge costs more than the copy.
#include "gl/kvora_gl_graph.h"

#include "gl/kvora_gl_failure.h"

Graph::Graph(uint32_t nodeCount, const GL_EdgeList &edges) : GraphBase(false, nodeCount, edges) {}

Graph::~Graph() {}

void Graph::visitingOrder(std::vector<uint32_t> &order) const {
    uint32_t n = nodeCount();
    uint32_t maxDegree = 0;
    for (uint32_t u = 0; u < n; ++u) {
        uint32_t d = static_cast<uint32_t>(ivAdjacency[u].size());
        if (d > maxDegree) maxDegree = d;
    }
    // Group the nodes by degree, each group in ascending index, and lay the
    // groups out from the largest degree down.
    std::vector<uint32_t> start(static_cast<size_t>(maxDegree) + 2, 0);
    for (uint32_t u = 0; u < n; ++u) ++start[maxDegree - ivAdjacency[u].size() + 1];
    for (size_t k = 1; k < start.size(); ++k) start[k] += start[k - 1];
    order.assign(n, 0);
    for (uint32_t u = 0; u < n; ++u) order[start[maxDegree - ivAdjacency[u].size()]++] = u;
}

void Graph::connectedComponentsBounded(std::vector<std::vector<uint32_t>> &clusters, int32_t limit,
                                       std::vector<double> &densities) const {
    uint32_t n = nodeCount();
    if (n == 0) return;
    if (limit == 0) {
        // No node could ever be taken, so the start node would stay free for ever.
        GL_FAIL("Trying to build clusters of at most 0 nodes in graph of size " << n);
    }
    uint64_t bound = limit < 0 ? n : static_cast<uint64_t>(limit);

    std::vector<uint32_t> order;
    visitingOrder(order);

    std::vector<uint64_t> first(static_cast<size_t>(n) + 1, 0);
    for (uint32_t u = 0; u < n; ++u) first[u + 1] = first[u] + ivAdjacency[u].size();
    std::vector<uint32_t> flat(first[n]);
    for (uint32_t u = 0; u < n; ++u) {
        uint64_t k = first[u];
        for (uint32_t v : ivAdjacency[u]) flat[k++] = v;
    }

    std::vector<uint8_t> covered(n, 0);
    std::vector<uint8_t> queued(n, 0);
    std::vector<uint32_t> queue;  // everything queued for the cluster; the front is at `head`
    queue.reserve(n);
    size_t cursor = 0;
    while (cursor < n) {
        uint32_t startNode = order[cursor];
        clusters.emplace_back();
        std::vector<uint32_t> &cluster = clusters.back();
        queue.clear();
        size_t head = 0;
        uint64_t count = 0;
        queue.push_back(startNode);
        queued[startNode] = 1;
        while (head < queue.size() && count < bound) {
            uint32_t u = queue[head++];
            covered[u] = 1;
            ++count;
            cluster.push_back(u);
            if ((queue.size() - head) + count < bound) {
                for (uint64_t k = first[u]; k < first[u + 1]; ++k) {
                    uint32_t v = flat[k];
                    if (!covered[v] && !queued[v]) {
                        queue.push_back(v);
                        queued[v] = 1;
                    }
                }
            }
        }
        // `queued` belongs to this cluster: nodes left waiting are free again.
        for (uint32_t v : queue) queued[v] = 0;
        while (cursor < n && covered[order[cursor]]) ++cursor;
    }

    // Densities, dropping the clusters of one node.
    std::vector<uint8_t> &member = queued;  // all clear again
    size_t kept = 0;
    for (size_t k = 0; k < clusters.size(); ++k) {
        std::vector<uint32_t> &cluster = clusters[k];
        if (cluster.size() == 1) continue;
        for (uint32_t u : cluster) {
            checkNode(u);  // a list handed in by the caller may hold anything
            member[u] = 1;
        }
        int64_t links = 0;
        for (uint32_t u : cluster) {
            for (uint64_t k = first[u]; k < first[u + 1]; ++k) links += member[flat[k]];
        }
        for (uint32_t u : cluster) member[u] = 0;
        uint32_t s = static_cast<uint32_t>(cluster.size());
        // The product is a 32-bit integer, as it has always been.
        int32_t pairs = static_cast<int32_t>((s - 1u) * s);
        densities.push_back(static_cast<double>(links) / static_cast<double>(pairs));
        if (kept != k) clusters[kept] = std::move(cluster);
        ++kept;
    }
    clusters.resize(kept);
}
