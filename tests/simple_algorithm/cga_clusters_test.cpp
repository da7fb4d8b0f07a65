// The group analysis object's steps on hand-built inputs, for the cases the
// end-to-end runs do not reach: cluster ranges, votes and admission of
// isolated nodes, links, final clusters, result rows with "Inf", and what
// crosses between processes in each state.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "qrv_run.h"
#include "simple_algorithm/kvora_CGA_data.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

class CGAStepsTest : public ::testing::Test {
protected:
    void TearDown() override {
        row.reset(env);
        for (KVORACGAData *object : {data, other}) {
            object->releasePrimitive(env);
            delete object;
        }
    }

    void setSizes(KVORACGAData &object, const std::vector<int32_t> &sizes) {
        object.ivClusterSizes.reset(env);
        for (int32_t s : sizes) object.ivClusterSizes.copyAppend(s, env);
    }
    void setRow(const std::vector<double> &values) {
        row.reset(env);
        for (double v : values) row.copyAppend(v, env);
    }
    template <class A>
    std::vector<typename std::decay<decltype(A()[1])>::type> items(const A &array) {
        return {array.getBlock(), array.getBlock() + array.getSize()};
    }
    void copyByStream(const KVORACGAData &from, KVORACGAData &to) {
        std::stringstream bytes;
        {
            KVOStreamBlobWriter blob(&bytes);
            KVORABinObjWriter writer(&blob, 0);
            kvoraWrite(writer, from, env);
        }
        KVOStreamBlobReader blob(&bytes);
        KVORABinObjReader reader(&blob);
        kvoraRead(reader, to, env);
    }

    KVORAEnv *env = nullptr;
    KVORACGAData *data = new KVORACGAData();
    KVORACGAData *other = new KVORACGAData();
    KVORAXaRay<double, 1> row;
};

// The clusters of collecting iteration r: split by the number of iterations,
// or, under a node limit, taken while their sum fits.
TEST_F(CGAStepsTest, CollectingRangesSplitByIterationsOrByTheNodeLimit) {
    typedef std::pair<int32_t, int32_t> R;
    auto range = [&](int32_t r) {
        data->ivIterationCounterCollectingEdges = r;
        data->setRelevantClusterRange(env);
        return R(data->ivMinIndRelevantClusters, data->ivMaxIndRelevantClusters);
    };
    setSizes(*data, {4, 4, 4, 4, 4});
    data->ivNumIterationsCollectingEdges = 2;
    EXPECT_EQ(range(1), R(1, 3));  // ceil(5 / 2) = 3
    EXPECT_EQ(range(2), R(4, 5));
    setSizes(*data, {4, 4});  // more iterations than clusters: one each
    data->ivNumIterationsCollectingEdges = 3;
    EXPECT_EQ(range(2), R(2, 2));
    // 3+2 fits, 4 alone, 9 taken although above the limit, then 1.
    setSizes(*data, {3, 2, 4, 9, 1});
    data->ivMaxNodesCollectingEdges = 5;
    EXPECT_EQ((std::vector<R>{range(1), range(2), range(3), range(4)}), (std::vector<R>{{1, 2}, {3, 3}, {4, 4}, {5, 5}}));
}

TEST_F(CGAStepsTest, IsolatedNodesVoteAndAreAdmittedWhileThereIsRoom) {
    data->ivNodeToCCMap = {{10, 3}, {11, 3}, {20, 2}, {21, 2}, {30, 1}};
    setSizes(*data, {1, 2, 2});
    data->ivMaxClusterSize = 3;
    // Cluster 3 reaches two votes first: the tie goes to it.
    setRow({10, 20, 11, 21});
    data->checkConnectingNode(5, row, env);
    // The row stops at its first zero.
    setRow({30, 0.0, 20, 21});
    data->checkConnectingNode(6, row, env);
    // A node with a cluster, an empty row and a row of strangers propose nothing.
    const std::vector<std::pair<uint64_t, std::vector<double>>> rows = {{10, {20}}, {7, {}}, {8, {99, 98}}, {9, {21, 20}}};
    for (const auto &r : rows) {
        setRow(r.second);
        data->checkConnectingNode(r.first, row, env);
    }
    EXPECT_EQ(items(data->ivNodesToConnect), (std::vector<uint64_t>{5, 6, 9}));
    EXPECT_EQ(items(data->ivClustersToConnectNodesTo), (std::vector<int32_t>{3, 1, 2}));

    data->ivConnectingNodesIterationCounter = 1;
    EXPECT_EQ(data->connectIsolatedNodes(env), 1);
    EXPECT_EQ(items(data->ivClusterSizes), (std::vector<int32_t>{2, 3, 3}));
    EXPECT_EQ(data->ivNodeToIterationConnectedMap[5], 1);
    EXPECT_EQ(items(data->ivNodesBuffer), (std::vector<uint64_t>{5, 6, 9, 10, 11, 20, 21, 30}));
    EXPECT_EQ(items(data->ivCCBuffer), (std::vector<int32_t>{3, 1, 2, 3, 3, 2, 2, 1}));

    // All votes for full clusters: nothing changes.
    data->ivNodesToConnect.reset(env);
    data->ivClustersToConnectNodesTo.reset(env);
    data->ivNodesToConnect.copyAppend(40, env);
    data->ivClustersToConnectNodesTo.copyAppend(3, env);
    EXPECT_EQ(data->connectIsolatedNodes(env), 0);
    EXPECT_EQ(data->ivNodeToCCMap.count(40), 0u);
}

TEST_F(CGAStepsTest, LinksAreKeptInsideOneClusterOnceEach) {
    data->ivNodeToCCMap = {{1, 1}, {2, 1}, {3, 1}, {4, 2}};
    setRow({2, 2, 1, 4, 3, 99, 0.0, 3});
    data->addEdges(1, row, env);
    setRow({3});
    data->addEdges(50, row, env);  // not in any cluster
    EXPECT_EQ(items(data->ivCCEdges), (std::vector<uint64_t>{1, 2, 1, 3}));
}

TEST_F(CGAStepsTest, FinalClustersKeepAdmissibleSizesWithLinks) {
    // Cluster 1: 3 nodes with 2 links; 2: 2 nodes, no links; 3: 4 nodes, too big.
    data->ivNodeToCCMap = {{1, 1}, {2, 1}, {3, 1}, {4, 2}, {5, 2}, {6, 3}, {7, 3}, {8, 3}, {9, 3}};
    setSizes(*data, {3, 2, 4});
    data->ivNumCCInGraph.copyAppend(3, env);
    data->ivMinClusterSize = 2;
    data->ivMaxClusterSize = 3;
    data->ivMinIndRelevantClusters = 1;
    data->ivMaxIndRelevantClusters = 3;
    for (uint64_t n : {6, 7, 1, 2, 2, 3}) data->ivCCEdges.copyAppend(n, env);
    testing::internal::CaptureStdout();
    data->buildFinalClusters(env);
    const std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("buildFinalClusters: done, 1 clusters found relevant (out of 3) ]"), std::string::npos) << out;
    EXPECT_EQ(items(data->ivCCEdges), (std::vector<uint64_t>{1, 2, 2, 3}));
    EXPECT_EQ(items(data->ivCCEdgesNum), (std::vector<int32_t>{2}));
    EXPECT_EQ(items(data->ivCCDensities), (std::vector<double>{2.0 / 6.0, 0.0, 0.0}));
    EXPECT_EQ(data->ivNumEdgesInGraph[1], 3);
    EXPECT_EQ(data->ivNodesInRelevantClusters[1], 3);
    // Masked clusters are covered, links or not; the oversized one is not.
    EXPECT_EQ(data->ivCoveredNodes, (std::set<uint64_t>{1, 2, 3, 4, 5}));
}

TEST_F(CGAStepsTest, ResultRowsJoinTheTwoOrdersAndShowInf) {
    const std::string dir = qrvtest::makeTempDir("cgaout");
    data->ivOutputFileName = (dir + "/r").c_str();
    data->ivOutputFormat = KVORACGAData::FormatCSV;
    data->ivIterationCounterCollectingEdges = 1;
    data->ivMinIndRelevantClusters = 4;
    data->ivNodeToCCMap = {{8, 4}, {9, 4}};
    data->ivNodeToIterationConnectedMap = {{8, 0}, {9, 2}};
    for (double d : {0.0, 0.0, 0.0, 0.5}) data->ivCCDensities.copyAppend(d, env);
    for (double d : {0.0, 0.0, 0.0, 1.0}) data->ivCCKernelDensities.copyAppend(d, env);
    data->ivCCNodesNum.copyAppend(2, env);
    for (uint64_t n : {9, 8}) data->ivCCNodesByPageRank.copyAppend(n, env);
    for (double r : {0.5, 0.0}) data->ivPageRanks.copyAppend(r, env);
    for (int32_t d : {1, 0}) data->ivCCOutDegrees.copyAppend(d, env);
    for (double w : {0.0, 0.0}) data->ivOutDegreesWeightedByPageRank.copyAppend(w, env);
    for (uint64_t n : {8, 9}) data->ivCCNodesByPageRankTransposed.copyAppend(n, env);
    for (double r : {0.75, 0.25}) data->ivPageRanksTransposed.copyAppend(r, env);
    for (int32_t d : {0, 1}) data->ivCCInDegrees.copyAppend(d, env);
    for (double w : {0.25, 0.0}) data->ivInDegreesWeightedByPageRankTransposed.copyAppend(w, env);
    testing::internal::CaptureStdout();
    data->printAnalysisResults(env);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(qrvtest::splitLines(qrvtest::readFile(dir + "/r_1.clusters.csv"))[1], "4,2,0.5,1,0.5,0.5,0,Inf,0.75,0.25,3");
    const std::vector<std::string> nodes = qrvtest::splitLines(qrvtest::readFile(dir + "/r_1.nodes.csv"));
    // 0.5 / 1e-07 = 5e+06; 0.75 / 0.2500001 = 2.9999988, which six digits round to 3.
    EXPECT_EQ(nodes[1], "8,4,1,0,2,0.75,1,0,0,0.25,0,0,0,1,3");
    EXPECT_EQ(nodes[2], "9,4,0,0.5,1,0.25,2,1,1,0,0,1,5e+06,0,0");
}

TEST_F(CGAStepsTest, WhatCrossesDependsOnTheState) {
    data->ivState = KVORACGAData::ConnectingIsolatedNodes;
    data->ivNodeToCCMap = {{3, 1}, {4, 2}};
    data->rebuildNodeBuffers(env);
    data->ivNodesToConnect.copyAppend(9, env);
    data->ivClustersToConnectNodesTo.copyAppend(2, env);
    data->ivMinIndRelevantClusters = 7;
    copyByStream(*data, *other);
    EXPECT_EQ(other->ivState, KVORACGAData::ConnectingIsolatedNodes);
    EXPECT_EQ(other->ivNodeToCCMap, data->ivNodeToCCMap);
    EXPECT_EQ(items(other->ivNodesToConnect), (std::vector<uint64_t>{9}));
    EXPECT_EQ(other->ivMinIndRelevantClusters, 0);  // not carried in this state

    // Later collecting iterations leave the node image out; the range and the links cross.
    data->ivState = KVORACGAData::CollectingClusterEdges;
    data->ivIterationCounterCollectingEdges = 2;
    data->ivMaxIndRelevantClusters = 8;
    data->ivCCEdges.copyAppend(3, env);
    data->ivCCEdges.copyAppend(4, env);
    other->ivNodeToCCMap.clear();
    copyByStream(*data, *other);
    EXPECT_TRUE(other->ivNodeToCCMap.empty());
    EXPECT_EQ(other->ivMinIndRelevantClusters, 7);
    EXPECT_EQ(other->ivMaxIndRelevantClusters, 8);
    // Merge appends the links of the other.
    data->merge(other, env);
    EXPECT_EQ(items(data->ivCCEdges), (std::vector<uint64_t>{3, 4, 3, 4}));
    data->merge(data, env);
    EXPECT_EQ(data->ivCCEdges.getSize(), 4);
}

// The node map's lookup index against a plain ordered map: entries come in
// through [] (as zeros, then written through the reference), the index grows
// with them, and copies, swaps and clears leave both the walk and every
// lookup as the ordered map has them. Keys are spread over the whole 64-bit
// range, 0 and the all-ones key among them.
TEST(CGANodeMap, LookupsAndWalkAgreeWithAnOrderedMap) {
    KVORANodeIntMap map, copy;
    std::map<uint64_t, int32_t> reference, copied;
    uint64_t state = 99;
    auto next = [&state] {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return state >> 11;
    };
    auto key = [&next]() -> uint64_t {
        const uint64_t r = next();
        switch (r % 4) {
        case 0: return r % 3000;                 // dense node numbers
        case 1: return (r % 3000) << 40;         // far apart, same low bits
        case 2: return r % 2 == 0 ? 0ull : ~0ull;
        default: return r * 0x9E3779B97F4A7C15ull;  // anywhere
        }
    };
    auto agree = [](const KVORANodeIntMap &m, const std::map<uint64_t, int32_t> &r, uint64_t probe) {
        ASSERT_EQ(m.size(), r.size());
        ASSERT_TRUE(std::equal(m.begin(), m.end(), r.begin(), r.end()));
        const int32_t *found = m.lookup(probe);
        const auto expected = r.find(probe);
        ASSERT_EQ(found != nullptr, expected != r.end()) << probe;
        if (found != nullptr) {
            ASSERT_EQ(*found, expected->second);
        }
        for (const auto &entry : r) {
            const int32_t *value = m.lookup(entry.first);
            ASSERT_NE(value, nullptr) << entry.first;
            ASSERT_EQ(*value, entry.second);
        }
    };
    for (int round = 0; round < 6; ++round) {
        for (int i = 0; i < 2000; ++i) {
            const uint64_t k = key();
            const int32_t value = static_cast<int32_t>(next() % 1000) - 500;
            if (next() % 5 == 0) {
                EXPECT_EQ(map[k], reference[k]);  // a read that enters a zero
            } else {
                map[k] = value;
                reference[k] = value;
            }
            if (i % 250 == 0) agree(map, reference, key());
        }
        agree(map, reference, key());
        switch (round % 3) {
        case 0:
            copy = map;
            copied = reference;
            agree(copy, copied, key());
            break;
        case 1:
            map.swap(copy);
            reference.swap(copied);
            agree(copy, copied, key());
            break;
        default:
            map.clear();
            reference.clear();
            EXPECT_EQ(map.lookup(0), nullptr);
            EXPECT_EQ(map.count(~0ull), 0u);
            break;
        }
        agree(map, reference, key());
    }
}

}  // namespace
