// Directed graph: the set of a node holds its successors. Carries the ranking
// of group analysis (pageRank on a dense matrix), transpose in place for the
// reversed ranking, and a small flow and reachability family that nothing in
// the run calls but that belongs to the library.
#pragma once

#include <map>
#include <vector>

#include "gl/kvora_gl_adjacencylists.h"

// Capacity and flow tables: ordered maps from an edge to a double.
typedef std::map<GL_Edge, double> GL_EdgeValues;

class Digraph : public GraphBase {
public:
    explicit Digraph(uint32_t nodeCount = 0, const GL_EdgeList &edges = GL_EdgeList());
    ~Digraph() override;

    // Reverses every edge in place; the node count stays.
    void transpose();

    // Ranks by node index into `ranks` (resized to the node count).
    void pageRank(std::vector<double> &ranks, uint32_t maxIterations, double tolerance, double jumpShare) const;

    void checkFlow(const GL_EdgeValues &flow) const;
    void checkCapacity(const GL_EdgeValues &capacity) const;
    double flowValue(const GL_EdgeValues &flow, uint32_t source) const;

    // Depth-first search for a path from `from` to `to` over this graph's
    // edges, appending its edges to `path`. An edge that leads nowhere is
    // removed so that it is not tried again. On success `bottleneck` is the
    // smallest residual capacity along the path.
    bool augmentingPath(uint32_t from, uint32_t to, const GL_EdgeValues &residual, GL_EdgeList &path,
                        double &bottleneck);

    void maxFlow(uint32_t source, uint32_t destination, const GL_EdgeValues &capacity, GL_EdgeValues &flow) const;

    // Nodes, ascending, that `source` reaches and that reach `destination`.
    void nodesBetween(uint32_t source, uint32_t destination, std::vector<uint32_t> &nodes) const;

    // Appends the strongly connected components, in reverse finishing order
    // of a depth-first pass; each lists its nodes in the order found.
    void stronglyConnectedComponents(std::vector<std::vector<uint32_t>> &components) const;
};
