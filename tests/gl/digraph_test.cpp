// Directed graphs: transpose in place, page rank against hand-worked values
// and against a plain evaluation of the ranking arithmetic written here on
// its own (bit for bit), and the flow and reachability family.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "gl/kvora_gl_digraph.h"

namespace {

// The ranking, evaluated directly: M(j, i) = (1 / outdegree(i)) * (1 - jump)
// for each edge i -> j; each step r = M r, with every dot product summed
// from 0.0 in ascending order, four products at a time (the four summed
// first) and the rest one by one; then c = (1 - sum r) / n added to each
// entry; stop when the sum of absolute changes is not above the tolerance or
// the iteration count reaches the maximum. Also answers the last c.
std::vector<double> referenceRank(uint32_t n, const GL_EdgeList &edges, uint32_t maxIterations, double tolerance,
                                  double jump, double *lastC = nullptr) {
    std::vector<std::vector<uint32_t>> out(n);
    for (const GL_Edge &e : edges) {
        bool seen = false;
        for (uint32_t v : out[e.first]) seen = seen || v == e.second;
        if (!seen) out[e.first].push_back(e.second);
    }
    std::vector<std::vector<double>> m(n, std::vector<double>(n, 0.0));  // m[row][col]
    for (uint32_t i = 0; i < n; ++i) {
        double w = (1.0 / static_cast<double>(out[i].size())) * (1.0 - jump);
        for (uint32_t j : out[i]) m[j][i] = w;
    }
    std::vector<double> r(n, 1.0 / n);
    uint32_t count = 0;
    for (;;) {
        std::vector<double> old = r;
        for (uint32_t row = 0; row < n; ++row) {
            double s = 0.0;
            uint32_t k = 0;
            for (; k + 4 <= n; k += 4) {
                double block = m[row][k] * old[k];
                block = block + m[row][k + 1] * old[k + 1];
                block = block + m[row][k + 2] * old[k + 2];
                block = block + m[row][k + 3] * old[k + 3];
                s = s + block;
            }
            for (; k < n; ++k) s = s + m[row][k] * old[k];
            r[row] = s;
        }
        double total = 0.0;
        for (uint32_t i = 0; i < n; ++i) total = total + r[i];
        double c = (1.0 - total) / n;
        if (lastC != nullptr) *lastC = c;
        for (uint32_t i = 0; i < n; ++i) r[i] = r[i] + c;
        double d = 0.0;
        for (uint32_t i = 0; i < n; ++i) d = d + std::fabs(r[i] - old[i]);
        if (!(d > tolerance)) break;
        if (++count >= maxIterations) break;
    }
    return r;
}

bool sameBits(const std::vector<double> &a, const std::vector<double> &b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

GL_EdgeList randomEdges(uint32_t n, uint32_t count, uint32_t seed) {
    std::mt19937 gen(seed);
    std::uniform_int_distribution<uint32_t> pick(0, n - 1);
    GL_EdgeList edges;
    for (uint32_t k = 0; k < count; ++k) edges.emplace_back(pick(gen), pick(gen));
    return edges;
}

}  // namespace

TEST(DigraphTranspose, ReversesInPlaceAndKeepsIsolatedNodes) {
    Digraph d(4, GL_EdgeList{{0, 1}, {0, 2}, {2, 1}, {1, 1}});
    d.transpose();
    EXPECT_EQ(d.nodeCount(), 4u);
    EXPECT_EQ(d.edgeCount(), 4u);
    EXPECT_TRUE(d.hasEdge(GL_Edge(1, 0)));
    EXPECT_TRUE(d.hasEdge(GL_Edge(2, 0)));
    EXPECT_TRUE(d.hasEdge(GL_Edge(1, 2)));
    EXPECT_TRUE(d.hasEdge(GL_Edge(1, 1)));
    EXPECT_FALSE(d.hasEdge(GL_Edge(0, 1)));
    EXPECT_EQ(d.degree(0), 0u);
    EXPECT_EQ(d.degree(3), 0u);
    EXPECT_EQ(d.degree(1), 3u);
}

TEST(PageRank, SingleNodeAndTwoNodeCycle) {
    std::vector<double> ranks;
    Digraph one(1);
    one.pageRank(ranks, 10, 0.1, 0.15);
    EXPECT_EQ(ranks, (std::vector<double>{1.0}));

    Digraph cycle(2, GL_EdgeList{{0, 1}, {1, 0}});
    cycle.pageRank(ranks, 10, 0.1, 0.15);
    EXPECT_EQ(ranks, (std::vector<double>{0.5, 0.5}));

    Digraph empty(0);
    ranks.assign(3, 9.0);
    empty.pageRank(ranks, 10, 0.1, 0.15);
    EXPECT_TRUE(ranks.empty());
}

TEST(PageRank, NodeThatOnlyReceivesWorkedByHand) {
    // 0 -> 1 only; 1 is dangling. By hand, with link share 0.85:
    // step 1: M r = (0, 0.425), c = 0.2875, r = (0.2875, 0.7125), d = 0.425
    // step 2: M r = (0, 0.244375), c = 0.3778125, r = (0.3778125, 0.6221875), d = 0.180625
    // step 3: M r = (0, 0.321140625), c = 0.3394296875, d = 0.076765625: stop.
    Digraph d(2, GL_EdgeList{{0, 1}});
    std::vector<double> ranks;
    d.pageRank(ranks, 1, 0.1, 0.15);
    ASSERT_EQ(ranks.size(), 2u);
    EXPECT_NEAR(ranks[0], 0.2875, 1e-15);
    EXPECT_NEAR(ranks[1], 0.7125, 1e-15);
    d.pageRank(ranks, 2, 0.1, 0.15);
    EXPECT_NEAR(ranks[0], 0.3778125, 1e-15);
    d.pageRank(ranks, 10, 0.1, 0.15);
    EXPECT_NEAR(ranks[0], 0.3394296875, 1e-15);
    EXPECT_NEAR(ranks[1], 0.6605703125, 1e-15);
    double c = 0.0;
    EXPECT_TRUE(sameBits(ranks, referenceRank(2, GL_EdgeList{{0, 1}}, 10, 0.1, 0.15, &c)));
    EXPECT_GE(ranks[1], c);
    EXPECT_GE(ranks[0], c);  // 0 receives nothing: its rank is exactly c
    EXPECT_EQ(ranks[0], c);
}

TEST(PageRank, BitIdenticalToDirectEvaluation) {
    // Sizes 1 to 13 cover every leftover after the blocks of four; the
    // tight tolerance runs the full iteration count.
    for (uint32_t n = 1; n <= 13; ++n) {
        GL_EdgeList edges = randomEdges(n, 3 * n, 17 + n);
        Digraph d(n, edges);
        std::vector<double> ranks;
        d.pageRank(ranks, 10, 0.1, 0.15);
        EXPECT_TRUE(sameBits(ranks, referenceRank(n, edges, 10, 0.1, 0.15))) << "n = " << n;
        d.pageRank(ranks, 40, 1e-300, 0.15);
        EXPECT_TRUE(sameBits(ranks, referenceRank(n, edges, 40, 1e-300, 0.15))) << "n = " << n;
    }
    for (uint32_t n : {97u, 800u}) {
        GL_EdgeList edges = randomEdges(n, 6 * n, n);
        Digraph d(n, edges);
        std::vector<double> ranks, reversed;
        d.pageRank(ranks, 25, 1e-300, 0.15);
        EXPECT_TRUE(sameBits(ranks, referenceRank(n, edges, 25, 1e-300, 0.15))) << "n = " << n;
        double sum = 0.0;
        for (double r : ranks) sum += r;
        EXPECT_NEAR(sum, 1.0, 1e-12);

        // The reversed ranking of group analysis: transpose, rank again.
        d.transpose();
        GL_EdgeList back;
        for (const GL_Edge &e : edges) back.emplace_back(e.second, e.first);
        d.pageRank(reversed, 10, 0.1, 0.15);
        EXPECT_TRUE(sameBits(reversed, referenceRank(n, back, 10, 0.1, 0.15))) << "n = " << n;
    }
}

TEST(Flow, MaxFlowOfASmallNetwork) {
    // Searches, by hand: 0-1-2-3 carries 1; 0-1-3 carries 2 (the edge back
    // to 0 is passed over); 0-2-3 carries 2; then 0 has no residual left.
    Digraph d(4, GL_EdgeList{{0, 1}, {0, 2}, {1, 2}, {1, 3}, {2, 3}});
    GL_EdgeValues capacity{{{0, 1}, 3.0}, {{0, 2}, 2.0}, {{1, 2}, 1.0}, {{1, 3}, 2.0}, {{2, 3}, 3.0}};
    d.checkCapacity(capacity);
    GL_EdgeValues flow;
    d.maxFlow(0, 3, capacity, flow);
    GL_EdgeValues expected{{{0, 1}, 3.0}, {{0, 2}, 2.0}, {{1, 2}, 1.0}, {{1, 3}, 2.0}, {{2, 3}, 3.0}};
    EXPECT_EQ(flow, expected);
    EXPECT_EQ(d.flowValue(flow, 0), 5.0);
    EXPECT_EQ(d.edgeCount(), 5u);  // the searches work on their own copy
}

TEST(Flow, AugmentingPathDropsDeadEndsAndSurvivesCycles) {
    Digraph d(5, GL_EdgeList{{0, 1}, {1, 0}, {1, 3}, {0, 2}, {3, 1}});
    GL_EdgeValues residual{{{0, 1}, 4.0}, {{1, 0}, 1.0}, {{1, 3}, 2.0}, {{0, 2}, 1.5}, {{3, 1}, 1.0}};
    GL_EdgeList path;
    double bottleneck = 0.0;
    ASSERT_TRUE(d.augmentingPath(0, 2, residual, path, bottleneck));
    EXPECT_EQ(path, (GL_EdgeList{{0, 2}}));
    EXPECT_EQ(bottleneck, 1.5);
    EXPECT_FALSE(d.hasEdge(GL_Edge(0, 1)));  // led nowhere: removed
    EXPECT_FALSE(d.hasEdge(GL_Edge(1, 3)));
    EXPECT_TRUE(d.hasEdge(GL_Edge(1, 0)));   // passed over only

    path.clear();
    EXPECT_FALSE(d.augmentingPath(1, 4, residual, path, bottleneck));
    EXPECT_TRUE(path.empty());
}

TEST(Reachability, NodesBetweenAndStrongComponents) {
    Digraph d(6, GL_EdgeList{{0, 1}, {1, 2}, {2, 0}, {2, 3}, {3, 4}, {4, 3}, {5, 4}});
    std::vector<uint32_t> nodes;
    d.nodesBetween(1, 3, nodes);
    EXPECT_EQ(nodes, (std::vector<uint32_t>{0, 1, 2, 3, 4}));  // 4 and 3 reach each other
    d.nodesBetween(3, 0, nodes);
    EXPECT_TRUE(nodes.empty());

    std::vector<std::vector<uint32_t>> components;
    d.stronglyConnectedComponents(components);
    ASSERT_EQ(components.size(), 3u);
    for (auto &c : components) std::sort(c.begin(), c.end());
    std::sort(components.begin(), components.end());
    EXPECT_EQ(components, (std::vector<std::vector<uint32_t>>{{0, 1, 2}, {3, 4}, {5}}));
}

TEST(FlowDeathTest, TablesAndArgumentsAreChecked) {
    Digraph d(3, GL_EdgeList{{0, 1}, {1, 0}, {1, 2}});
    GL_EdgeValues flow{{{0, 1}, 1.0}, {{1, 0}, 0.0}};
    EXPECT_EXIT(d.checkFlow(flow), ::testing::ExitedWithCode(1), "Flow not defined properly");
    flow[GL_Edge(1, 2)] = 0.0;
    d.checkFlow(flow);
    flow[GL_Edge(1, 0)] = 0.5;
    EXPECT_EXIT(d.checkFlow(flow), ::testing::ExitedWithCode(1), "Positive flow defined on anti-parallel edges");
    EXPECT_EXIT(d.checkCapacity(GL_EdgeValues{{{0, 1}, 1.0}}), ::testing::ExitedWithCode(1),
                "Capacity not defined properly");
    GL_EdgeValues result;
    EXPECT_EXIT(d.maxFlow(1, 1, GL_EdgeValues(), result), ::testing::ExitedWithCode(1),
                "Max flow called where source same as destination");
}
