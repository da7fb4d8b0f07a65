// Construction, edge updates and the node check of graphs.
#include "gl/kvora_gl_adjacencylists.h"

#include "gl/kvora_gl_failure.h"

GraphBase::GraphBase(bool directed, uint32_t nodeCount, const GL_EdgeList &edges)
    : ivDirected(directed), ivAdjacency(nodeCount), ivEdgeCount(0) {
    for (const GL_Edge &edge : edges) addEdge(edge);
}

GraphBase::~GraphBase() {}

void GraphBase::checkNode(uint32_t node) const {
    if (node >= ivAdjacency.size()) {
        GL_FAIL("Trying to access node " << node << " in graph of size " << ivAdjacency.size());
    }
}

bool GraphBase::hasEdge(const GL_Edge &edge) const {
    const GL_NodeSet &set = neighbours(edge.first);
    return set.find(edge.second) != set.end();
}

void GraphBase::addEdge(const GL_Edge &edge) {
    if (hasEdge(edge)) return;
    checkNode(edge.first);
    checkNode(edge.second);
    ivAdjacency[edge.first].insert(edge.second);
    if (!ivDirected) ivAdjacency[edge.second].insert(edge.first);
    ++ivEdgeCount;
}

void GraphBase::removeEdge(const GL_Edge &edge) {
    if (!hasEdge(edge)) return;
    checkNode(edge.second);
    ivAdjacency[edge.first].erase(edge.second);
    if (!ivDirected) ivAdjacency[edge.second].erase(edge.first);
    --ivEdgeCount;
}

void GraphBase::clearEdges() {
    for (GL_NodeSet &set : ivAdjacency) set.clear();
    ivEdgeCount = 0;
}

void GraphBase::distancesFrom(uint32_t source, std::vector<int32_t> &distances) const {
    checkNode(source);
    distances.assign(ivAdjacency.size(), -1);
    std::vector<uint32_t> queue;
    queue.reserve(ivAdjacency.size());
    distances[source] = 0;
    queue.push_back(source);
    for (size_t head = 0; head < queue.size(); ++head) {
        uint32_t u = queue[head];
        for (uint32_t v : ivAdjacency[u]) {
            if (distances[v] < 0) {
                distances[v] = distances[u] + 1;
                queue.push_back(v);
            }
        }
    }
}
