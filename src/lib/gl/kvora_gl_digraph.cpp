// Directed-graph algorithms. pageRank runs many times per run on clusters of
// up to 800 nodes: it fills a dense column-major matrix once and then works
// on contiguous blocks, adding in the order that fixes its exact results.
// The depth-first searches keep explicit stacks, so a long path cannot
// exhaust the call stack.
#include "gl/kvora_gl_digraph.h"

#include <cfloat>
#include <cmath>

#include "gl/kvora_gl_failure.h"
#include "mat/kvora_mat_mdarray.h"

Digraph::Digraph(uint32_t nodeCount, const GL_EdgeList &edges) : GraphBase(true, nodeCount, edges) {}

Digraph::~Digraph() {}

void Digraph::transpose() {
    GL_AdjacencyLists old(ivAdjacency);
    clearEdges();
    uint32_t n = nodeCount();
    for (uint32_t u = 0; u < n; ++u) {
        for (uint32_t v : old[u]) addEdge(GL_Edge(v, u));
    }
}

void Digraph::pageRank(std::vector<double> &ranks, uint32_t maxIterations, double tolerance,
                       double jumpShare) const {
    uint32_t n = nodeCount();
    const double dn = static_cast<double>(n);

    // M(j, i) = w for each successor j of i; a node without successors keeps
    // an empty column (its infinite w is never stored).
    MDArray<double> m(DimensionSizes{n, n}, 0.0, false);
    double *cells = m.denseDataForWrite();
    for (uint32_t i = 0; i < n; ++i) {
        const GL_NodeSet &successors = neighbours(i);
        const double w = (1.0 / static_cast<double>(successors.size())) * (1.0 - jumpShare);
        double *column = cells + static_cast<uint64_t>(i) * n;
        for (uint32_t j : successors) {
            if (column[j] != w) column[j] = w;
        }
    }

    MDArray<double> r(std::vector<double>(n, 1.0 / dn));
    uint32_t iterations = 0;
    for (;;) {
        MDArray<double> old = r;
        r = m * r;
        // One correction gives both the random jump and the share of the
        // nodes without successors, and makes the ranks sum to 1.
        const double c = (1.0 - r.sum()) / dn;
        r.addScalar(c);
        const double *now = r.denseData();
        const double *before = old.denseData();
        double d = 0.0;
        for (uint32_t i = 0; i < n; ++i) d += std::fabs(now[i] - before[i]);
        if (!(d > tolerance)) break;
        ++iterations;
        if (iterations >= maxIterations) break;
    }
    const double *result = r.denseData();
    ranks.assign(result, result + n);
}

void Digraph::checkFlow(const GL_EdgeValues &flow) const {
    uint32_t n = nodeCount();
    for (uint32_t u = 0; u < n; ++u) {
        for (uint32_t v : ivAdjacency[u]) {
            GL_EdgeValues::const_iterator it = flow.find(GL_Edge(u, v));
            if (it == flow.end()) GL_FAIL("Flow not defined properly");
            if (it->second > 0.0 && ivAdjacency[v].count(u) != 0) {
                GL_EdgeValues::const_iterator back = flow.find(GL_Edge(v, u));
                if (back != flow.end() && back->second > 0.0) {
                    GL_FAIL("Positive flow defined on anti-parallel edges");
                }
            }
        }
    }
}

void Digraph::checkCapacity(const GL_EdgeValues &capacity) const {
    uint32_t n = nodeCount();
    for (uint32_t u = 0; u < n; ++u) {
        for (uint32_t v : ivAdjacency[u]) {
            if (capacity.find(GL_Edge(u, v)) == capacity.end()) GL_FAIL("Capacity not defined properly");
        }
    }
}

double Digraph::flowValue(const GL_EdgeValues &flow, uint32_t source) const {
    checkFlow(flow);
    double value = 0.0;
    for (uint32_t v : neighbours(source)) value += flow.find(GL_Edge(source, v))->second;
    return value;
}

bool Digraph::augmentingPath(uint32_t from, uint32_t to, const GL_EdgeValues &residual, GL_EdgeList &path,
                             double &bottleneck) {
    checkNode(from);
    checkNode(to);
    // The recursion of the search, with the path as its stack. A successor
    // already on the path is passed over (not removed): following it would
    // circle for ever, and it may serve once the path has moved away from it.
    const size_t base = path.size();
    std::vector<uint8_t> onPath(nodeCount(), 0);
    uint32_t current = from;
    onPath[current] = 1;
    for (;;) {
        if (current == to) {
            bottleneck = DBL_MAX;
            for (size_t k = path.size(); k > base; --k) {
                GL_EdgeValues::const_iterator it = residual.find(path[k - 1]);
                if (it == residual.end()) GL_FAIL("Capacity not defined properly");
                if (it->second < bottleneck) bottleneck = it->second;
            }
            return true;
        }
        uint32_t next = current;
        bool found = false;
        for (uint32_t w : ivAdjacency[current]) {
            if (!onPath[w]) {
                next = w;
                found = true;
                break;
            }
        }
        if (found) {
            path.push_back(GL_Edge(current, next));
            onPath[next] = 1;
            current = next;
            continue;
        }
        // Nothing leads on from here: step back and drop the edge that came here.
        onPath[current] = 0;
        if (path.size() == base) return false;
        GL_Edge edge = path.back();
        path.pop_back();
        removeEdge(edge);
        current = edge.first;
    }
}

void Digraph::maxFlow(uint32_t source, uint32_t destination, const GL_EdgeValues &capacity,
                      GL_EdgeValues &flow) const {
    if (source == destination) GL_FAIL("Max flow called where source same as destination");
    checkNode(source);
    checkNode(destination);
    GL_EdgeValues residual(capacity);
    flow.clear();
    GL_EdgeList path;
    for (;;) {
        // The path state for the next search: the edges with residual capacity left.
        Digraph search(nodeCount());
        for (const auto &entry : residual) {
            if (entry.second > 0.0) search.addEdge(entry.first);
        }
        path.clear();
        double bottleneck = 0.0;
        if (!search.augmentingPath(source, destination, residual, path, bottleneck)) break;
        for (const GL_Edge &edge : path) {
            flow[edge] += bottleneck;
            residual[edge] -= bottleneck;
            residual[GL_Edge(edge.second, edge.first)] += bottleneck;
        }
    }
}

void Digraph::nodesBetween(uint32_t source, uint32_t destination, std::vector<uint32_t> &nodes) const {
    std::vector<int32_t> fromSource, toDestination;
    distancesFrom(source, fromSource);
    Digraph reversed(*this);
    reversed.transpose();
    reversed.distancesFrom(destination, toDestination);
    nodes.clear();
    for (uint32_t v = 0; v < nodeCount(); ++v) {
        if (fromSource[v] >= 0 && toDestination[v] >= 0) nodes.push_back(v);
    }
}

void Digraph::stronglyConnectedComponents(std::vector<std::vector<uint32_t>> &components) const {
    uint32_t n = nodeCount();
    // Depth-first finishing order, with an explicit stack of (node, next successor).
    std::vector<uint32_t> finished;
    finished.reserve(n);
    std::vector<uint8_t> visited(n, 0);
    std::vector<std::pair<uint32_t, GL_NodeSet::const_iterator>> stack;
    for (uint32_t s = 0; s < n; ++s) {
        if (visited[s]) continue;
        visited[s] = 1;
        stack.emplace_back(s, ivAdjacency[s].begin());
        while (!stack.empty()) {
            uint32_t u = stack.back().first;
            GL_NodeSet::const_iterator &it = stack.back().second;
            if (it != ivAdjacency[u].end()) {
                uint32_t v = *it;
                ++it;
                if (!visited[v]) {
                    visited[v] = 1;
                    stack.emplace_back(v, ivAdjacency[v].begin());
                }
            } else {
                finished.push_back(u);
                stack.pop_back();
            }
        }
    }

    Digraph reversed(*this);
    reversed.transpose();
    std::vector<uint8_t> taken(n, 0);
    std::vector<uint32_t> work;
    for (size_t k = finished.size(); k > 0; --k) {
        uint32_t s = finished[k - 1];
        if (taken[s]) continue;
        components.emplace_back();
        std::vector<uint32_t> &component = components.back();
        taken[s] = 1;
        work.assign(1, s);
        while (!work.empty()) {
            uint32_t u = work.back();
            work.pop_back();
            component.push_back(u);
            for (uint32_t v : reversed.ivAdjacency[u]) {
                if (!taken[v]) {
                    taken[v] = 1;
                    work.push_back(v);
                }
            }
        }
    }
}
