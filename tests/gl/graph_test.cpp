// Graphs over dense indices: edge bookkeeping of both kinds, the node check
// and its failure, and the bounded clustering with its visiting order, its
// size limit and the dropping of single-node clusters. Expected clusters and
// densities are worked out by hand from the growth rule.
#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <set>
#include <vector>

#include "gl/kvora_gl_digraph.h"
#include "gl/kvora_gl_graph.h"

namespace {

typedef std::vector<std::vector<uint32_t>> Clusters;

void cluster(const Graph &g, int32_t limit, Clusters &clusters, std::vector<double> &densities) {
    clusters.clear();
    densities.clear();
    g.connectedComponentsBounded(clusters, limit, densities);
}

// The clustering exactly as told, step by step: fresh bit sets per
// cluster, a plain queue, and the link count by searching the cluster's list.
void literalClusters(uint32_t n, const GL_EdgeList &edges, int32_t limit, Clusters &clusters,
                     std::vector<double> &densities) {
    std::vector<std::set<uint32_t>> adj(n);
    for (const GL_Edge &e : edges) {
        adj[e.first].insert(e.second);
        adj[e.second].insert(e.first);
    }
    if (n == 0) return;
    int64_t lim = limit < 0 ? n : limit;
    std::vector<uint32_t> degrees;
    for (uint32_t u = 0; u < n; ++u) degrees.push_back(static_cast<uint32_t>(adj[u].size()));
    std::sort(degrees.begin(), degrees.end());
    std::reverse(degrees.begin(), degrees.end());
    std::vector<uint32_t> order;
    for (size_t k = 0; k < degrees.size();) {
        size_t group = 0;
        for (uint32_t u = 0; u < n; ++u) {
            if (adj[u].size() == degrees[k]) {
                order.push_back(u);
                ++group;
            }
        }
        k += group;
    }
    std::vector<bool> covered(n, false);
    size_t cursor = 0;
    bool haveStart = true;
    while (haveStart) {
        clusters.emplace_back();
        std::vector<bool> queued(n, false);
        std::deque<uint32_t> queue;
        int64_t count = 0;
        queue.push_back(order[cursor]);
        queued[order[cursor]] = true;
        while (!queue.empty() && count != lim) {
            uint32_t u = queue.front();
            queue.pop_front();
            covered[u] = true;
            ++count;
            clusters.back().push_back(u);
            if (static_cast<int64_t>(queue.size()) + count < lim) {
                for (uint32_t v : adj[u]) {
                    if (!covered[v] && !queued[v]) {
                        queue.push_back(v);
                        queued[v] = true;
                    }
                }
            }
        }
        while (cursor < order.size() && covered[order[cursor]]) ++cursor;
        haveStart = cursor < order.size();
    }
    Clusters kept;
    for (const auto &c : clusters) {
        int32_t links = 0;
        for (uint32_t u : c) {
            for (uint32_t v : adj[u]) links += std::find(c.begin(), c.end(), v) != c.end() ? 1 : 0;
        }
        int32_t s = static_cast<int32_t>(c.size());
        if (s == 1) continue;
        kept.push_back(c);
        densities.push_back(static_cast<double>(links) / static_cast<double>((s - 1) * s));
    }
    clusters = kept;
}

}  // namespace

TEST(GraphEdges, UndirectedEdgeCountsOnceDirectedTwice) {
    Graph g(3);
    g.addEdge(GL_Edge(2, 1));
    g.addEdge(GL_Edge(1, 2));
    EXPECT_EQ(g.edgeCount(), 1u);
    EXPECT_TRUE(g.hasEdge(GL_Edge(1, 2)));
    EXPECT_TRUE(g.hasEdge(GL_Edge(2, 1)));
    EXPECT_EQ(g.degree(1), 1u);
    EXPECT_EQ(g.degree(0), 0u);

    Digraph d(3);
    d.addEdge(GL_Edge(2, 1));
    d.addEdge(GL_Edge(1, 2));
    d.addEdge(GL_Edge(1, 2));
    EXPECT_EQ(d.edgeCount(), 2u);
    EXPECT_EQ(d.degree(1), 1u);
    EXPECT_FALSE(d.isDirected() == g.isDirected());
}

TEST(GraphEdges, ConstructionLoopsRemovalAndClear) {
    // A repeated pair and a loop: the loop is stored once in its own set.
    Graph g(4, GL_EdgeList{{0, 1}, {1, 0}, {3, 3}, {1, 2}});
    EXPECT_EQ(g.nodeCount(), 4u);
    EXPECT_EQ(g.edgeCount(), 3u);
    EXPECT_EQ(g.degree(3), 1u);
    EXPECT_EQ(g.degree(1), 2u);
    EXPECT_EQ(std::vector<uint32_t>(g.neighbours(1).begin(), g.neighbours(1).end()),
              (std::vector<uint32_t>{0, 2}));

    g.removeEdge(GL_Edge(0, 2));  // not there: nothing
    EXPECT_EQ(g.edgeCount(), 3u);
    g.removeEdge(GL_Edge(2, 1));  // undirected: both ends go
    EXPECT_EQ(g.edgeCount(), 2u);
    EXPECT_FALSE(g.hasEdge(GL_Edge(1, 2)));
    EXPECT_EQ(g.degree(2), 0u);
    g.removeEdge(GL_Edge(3, 3));
    EXPECT_EQ(g.degree(3), 0u);

    Digraph d(3, GL_EdgeList{{0, 1}, {1, 0}});
    d.removeEdge(GL_Edge(1, 0));  // directed: the reverse edge stays
    EXPECT_TRUE(d.hasEdge(GL_Edge(0, 1)));
    EXPECT_EQ(d.edgeCount(), 1u);

    g.clearEdges();
    EXPECT_EQ(g.edgeCount(), 0u);
    EXPECT_EQ(g.nodeCount(), 4u);
    EXPECT_EQ(g.degree(0), 0u);
}

// Edges in any order, repeated, removed and put back: every node's
// neighbours walk ascending and once each, as a set of each node's
// neighbours kept by hand has them.
TEST(GraphEdges, NeighboursAscendWhateverTheOrderOfTheEdges) {
    const uint32_t n = 40;
    Graph g(n, GL_EdgeList{});
    Digraph d(n, GL_EdgeList{});
    std::vector<std::set<uint32_t>> undirected(n), directed(n);
    uint64_t state = 5;
    auto next = [&state] {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<uint32_t>(state >> 33);
    };
    for (int i = 0; i < 3000; ++i) {
        const GL_Edge edge(next() % n, next() % n);
        if (next() % 4 == 0) {
            g.removeEdge(edge);
            d.removeEdge(edge);
            undirected[edge.first].erase(edge.second);
            undirected[edge.second].erase(edge.first);
            directed[edge.first].erase(edge.second);
        } else {
            g.addEdge(edge);
            d.addEdge(edge);
            undirected[edge.first].insert(edge.second);
            undirected[edge.second].insert(edge.first);
            directed[edge.first].insert(edge.second);
        }
    }
    size_t directedEdges = 0;
    for (uint32_t u = 0; u < n; ++u) {
        EXPECT_EQ(std::vector<uint32_t>(g.neighbours(u).begin(), g.neighbours(u).end()),
                  std::vector<uint32_t>(undirected[u].begin(), undirected[u].end()));
        EXPECT_EQ(std::vector<uint32_t>(d.neighbours(u).begin(), d.neighbours(u).end()),
                  std::vector<uint32_t>(directed[u].begin(), directed[u].end()));
        for (uint32_t v = 0; v < n; ++v) EXPECT_EQ(d.hasEdge(GL_Edge(u, v)), directed[u].count(v) != 0);
        directedEdges += directed[u].size();
    }
    EXPECT_EQ(d.edgeCount(), directedEdges);
}

TEST(GraphEdges, DistancesFromCountHops) {
    Digraph d(5, GL_EdgeList{{0, 1}, {1, 2}, {0, 2}, {2, 3}, {4, 0}});
    std::vector<int32_t> dist;
    d.distancesFrom(0, dist);
    EXPECT_EQ(dist, (std::vector<int32_t>{0, 1, 1, 2, -1}));
}

TEST(GraphNodeCheckDeathTest, IndexEqualToSizeFailsWithStatusOne) {
    Graph g(3);
    EXPECT_EXIT(g.checkNode(3), ::testing::ExitedWithCode(1),
                "Internal Error.*Trying to access node 3 in graph of size 3(.|\n)*Thrown");
    EXPECT_EXIT(g.degree(7), ::testing::ExitedWithCode(1), "Trying to access node 7 in graph of size 3");
    Digraph d(3);
    EXPECT_EXIT(d.addEdge(GL_Edge(0, 3)), ::testing::ExitedWithCode(1),
                "Trying to access node 3 in graph of size 3");
}

TEST(GraphNodeCheckDeathTest, EmptyGraphAcceptsNoEdge) {
    EXPECT_EXIT(Graph(0, GL_EdgeList{{0, 0}}), ::testing::ExitedWithCode(1),
                "Trying to access node 0 in graph of size 0");
}

TEST(BoundedClusters, VisitingOrderIsDegreeDescendingThenIndex) {
    // Degrees: 0:1, 1:3, 2:1, 3:3, 4:2, 5:0.
    Graph g(6, GL_EdgeList{{1, 3}, {1, 0}, {1, 4}, {3, 4}, {3, 2}});
    std::vector<uint32_t> order;
    g.visitingOrder(order);
    EXPECT_EQ(order, (std::vector<uint32_t>{1, 3, 4, 0, 2, 5}));
}

TEST(BoundedClusters, StarOfFiveLeavesWithLimitThree) {
    // Centre 2, leaves 0, 1, 3, 4, 5. The centre and the first two leaves
    // fill the first cluster; the other leaves stand alone and are dropped.
    Graph g(6, GL_EdgeList{{2, 0}, {2, 1}, {2, 3}, {2, 4}, {2, 5}});
    Clusters clusters;
    std::vector<double> densities;
    cluster(g, 3, clusters, densities);
    ASSERT_EQ(clusters, (Clusters{{2, 0, 1}}));
    ASSERT_EQ(densities.size(), 1u);
    EXPECT_EQ(densities[0], 4.0 / 6.0);  // links 2+1+1 over 3*2
}

TEST(BoundedClusters, PathOfFiveWithLimitTwo) {
    // Order 1, 2, 3, 0, 4: {1, 0}, then {2, 3}; 4 is cut off alone.
    Graph g(5, GL_EdgeList{{0, 1}, {1, 2}, {2, 3}, {3, 4}});
    Clusters clusters;
    std::vector<double> densities;
    cluster(g, 2, clusters, densities);
    EXPECT_EQ(clusters, (Clusters{{1, 0}, {2, 3}}));
    EXPECT_EQ(densities, (std::vector<double>{1.0, 1.0}));
}

TEST(BoundedClusters, LimitOneAndNoEdgesGiveNothing) {
    Clusters clusters;
    std::vector<double> densities;
    Graph path(5, GL_EdgeList{{0, 1}, {1, 2}, {2, 3}, {3, 4}});
    cluster(path, 1, clusters, densities);
    EXPECT_TRUE(clusters.empty());
    EXPECT_TRUE(densities.empty());

    Graph bare(4);
    cluster(bare, 3, clusters, densities);
    EXPECT_TRUE(clusters.empty());
    EXPECT_TRUE(densities.empty());

    Graph none(0);
    cluster(none, 3, clusters, densities);
    EXPECT_TRUE(clusters.empty());
}

TEST(BoundedClusters, NegativeLimitTakesWholeComponentsInOrder) {
    // Two disjoint edges of equal degree: ties go by index, so {0, 1} first
    // although its edge was listed second. A triangle is complete: density 1.
    Graph g(8, GL_EdgeList{{7, 6}, {1, 0}, {2, 3}, {3, 4}, {4, 2}});
    Clusters clusters;
    std::vector<double> densities;
    cluster(g, -1, clusters, densities);
    EXPECT_EQ(clusters, (Clusters{{2, 3, 4}, {0, 1}, {6, 7}}));
    EXPECT_EQ(densities, (std::vector<double>{1.0, 1.0, 1.0}));
}

TEST(BoundedClusters, LargeComponentIsCutBreadthFirst) {
    // 0 has neighbours 1, 2, 3; 1 has 4, 5. Limit 4 from node 0 (degree 3,
    // ties with 1 broken by index): 0, 1, 2, 3 are taken; 4 and 5 were never
    // queued, and form the next cluster of their own.
    Graph g(6, GL_EdgeList{{0, 1}, {0, 2}, {0, 3}, {1, 4}, {1, 5}, {4, 5}});
    Clusters clusters;
    std::vector<double> densities;
    cluster(g, 4, clusters, densities);
    EXPECT_EQ(clusters, (Clusters{{0, 1, 2, 3}, {4, 5}}));
    EXPECT_EQ(densities, (std::vector<double>{6.0 / 12.0, 1.0}));
}

TEST(BoundedClusters, LoopsCountAsLinks) {
    // A lone node with a loop is dropped; a loop inside a pair adds a link,
    // so the density can exceed 1.
    Clusters clusters;
    std::vector<double> densities;
    Graph lone(1, GL_EdgeList{{0, 0}});
    cluster(lone, 5, clusters, densities);
    EXPECT_TRUE(clusters.empty());

    Graph pair(2, GL_EdgeList{{0, 1}, {0, 0}});
    cluster(pair, 5, clusters, densities);
    EXPECT_EQ(clusters, (Clusters{{0, 1}}));
    EXPECT_EQ(densities, (std::vector<double>{1.5}));
}

TEST(BoundedClustersDeathTest, LimitZeroIsRefused) {
    Graph g(2, GL_EdgeList{{0, 1}});
    Clusters clusters;
    std::vector<double> densities;
    EXPECT_EXIT(g.connectedComponentsBounded(clusters, 0, densities), ::testing::ExitedWithCode(1),
                "at most 0 nodes");
}

TEST(BoundedClusters, AgreesWithTheRuleTakenLiterally) {
    // Random graphs, sparse and dense, with loops and repeated pairs, at
    // limits that cut and limits that don't.
    for (uint32_t seed = 1; seed <= 12; ++seed) {
        uint32_t n = 5 + seed * 13;
        std::mt19937 gen(seed);
        std::uniform_int_distribution<uint32_t> pick(0, n - 1);
        GL_EdgeList edges;
        for (uint32_t k = 0; k < n * (seed % 4 + 1); ++k) edges.emplace_back(pick(gen), pick(gen));
        Graph g(n, edges);
        for (int32_t limit : {-1, 1, 2, 3, 5, 17, 1000}) {
            Clusters got, want;
            std::vector<double> gotDensities, wantDensities;
            cluster(g, limit, got, gotDensities);
            literalClusters(n, edges, limit, want, wantDensities);
            EXPECT_EQ(got, want) << "seed " << seed << " limit " << limit;
            EXPECT_EQ(gotDensities, wantDensities) << "seed " << seed << " limit " << limit;
        }
    }
}
