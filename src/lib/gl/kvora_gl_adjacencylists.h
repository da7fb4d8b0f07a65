// Common part of undirected and directed graphs over dense node indices
// 0..n-1: one sorted set of neighbours per node, so every walk over a node's
// neighbours goes in ascending index and a repeated edge is stored once. The
// graphs are built for one cluster or one kernel and dropped at once, so
// nothing here is shared or updated incrementally across steps.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

typedef std::pair<uint32_t, uint32_t> GL_Edge;
typedef std::vector<GL_Edge> GL_EdgeList;

// A node's neighbours, ascending and each once, as an ordered set keeps
// them, in one sorted block: a graph of a hundred thousand nodes is built
// for a single step, and a node per neighbour would cost an allocation each.
// Edges mostly come in ascending order, so an insert mostly appends.
class GL_NodeSet {
public:
    typedef std::vector<uint32_t>::const_iterator const_iterator;
    typedef const_iterator iterator;

    const_iterator begin() const { return ivItems.begin(); }
    const_iterator end() const { return ivItems.end(); }
    size_t size() const { return ivItems.size(); }
    bool empty() const { return ivItems.empty(); }
    const_iterator find(uint32_t node) const
    {
        const const_iterator at = std::lower_bound(ivItems.begin(), ivItems.end(), node);
        return at != ivItems.end() && *at == node ? at : ivItems.end();
    }
    size_t count(uint32_t node) const { return find(node) != end() ? 1 : 0; }
    // Answers whether the node was new.
    bool insert(uint32_t node)
    {
        if (ivItems.empty() || ivItems.back() < node) {
            ivItems.push_back(node);
            return true;
        }
        const auto at = std::lower_bound(ivItems.begin(), ivItems.end(), node);
        if (*at == node) return false;
        ivItems.insert(at, node);
        return true;
    }
    size_t erase(uint32_t node)
    {
        const auto at = std::lower_bound(ivItems.begin(), ivItems.end(), node);
        if (at == ivItems.end() || *at != node) return 0;
        ivItems.erase(at);
        return 1;
    }
    void clear() { ivItems.clear(); }
    bool operator==(const GL_NodeSet &other) const { return ivItems == other.ivItems; }

private:
    std::vector<uint32_t> ivItems;
};
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
