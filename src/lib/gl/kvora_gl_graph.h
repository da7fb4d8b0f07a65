// Undirected graph: each edge is stored at both ends and counted once. Its
// one algorithm cuts the graph into clusters of bounded size, grown breadth
// first from the best connected free node (group analysis builds its initial
// clusters with it).
#pragma once

#include <vector>

#include "gl/kvora_gl_adjacencylists.h"

class Graph : public GraphBase {
public:
    explicit Graph(uint32_t nodeCount = 0, const GL_EdgeList &edges = GL_EdgeList());
    ~Graph() override;

    // Appends the clusters (node indices in the order taken) to `clusters`
    // and one density per kept cluster to `densities`; clusters of one node
    // are dropped. A negative limit means the node count; 0 is refused.
    // Densities are taken over the whole list, so callers pass it empty.
    void connectedComponentsBounded(std::vector<std::vector<uint32_t>> &clusters, int32_t limit,
                                    std::vector<double> &densities) const;

    // The visiting order of connectedComponentsBounded: degree descending,
    // ties by ascending index.
    void visitingOrder(std::vector<uint32_t> &order) const;
};
