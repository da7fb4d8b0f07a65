// Common part of undirected and directed graphs over dense node indices
// 0..n-1: one ordered set of neighbours per node, so every walk over a node's
// neighbours goes in ascending index and a repeated edge is stored once. The
// graphs are built for one cluster or one kernel and dropped at once, so
// nothing here is shared or updated incrementally across steps.
#pragma once

#include <cstdint>
#include <set>
#include <utility>
#include <vector>

typedef std::pair<uint32_t, uint32_t> GL_Edge;
typedef std::vector<GL_Edge> GL_EdgeList;
typedef std::set<uint32_t> GL_NodeSet;
typedef std::vector<GL_NodeSet> GL_AdjacencyLists;

class GraphBase {
public:
    virtual ~GraphBase() = 0;

    uint32_t nodeCount() const { return static_cast<uint32_t>(ivAdjacency.size()); }
    uint32_t edgeCount() const { return ivEdgeCount; }
    bool isDirected() const { return ivDirected; }

    // Fails with "Trying to access node i in graph of size n" (status 1).
    void checkNode(uint32_t node) const;

    // The node's set: its neighbours, or its successors in a directed graph.
    const GL_NodeSet &neighbours(uint32_t node) const {
        checkNode(node);
        return ivAdjacency[node];
    }
    uint32_t degree(uint32_t node) const { return static_cast<uint32_t>(neighbours(node).size()); }

    bool hasEdge(const GL_Edge &edge) const;
    void addEdge(const GL_Edge &edge);
    void removeEdge(const GL_Edge &edge);
    void clearEdges();

    // Breadth-first hop counts from `source`; -1 for nodes it can't reach.
    void distancesFrom(uint32_t source, std::vector<int32_t> &distances) const;

protected:
    GraphBase(bool directed, uint32_t nodeCount, const GL_EdgeList &edges);

    bool ivDirected;
    GL_AdjacencyLists ivAdjacency;
    uint32_t ivEdgeCount;
};
