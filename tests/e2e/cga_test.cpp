// Group analysis runs from outside: an adjacency list loaded with qrvload, a
// parameter file (with the kernel's own keys, which are read in every run),
// a kernel values file or the kernel itself, and qrvexec under the launcher.
// Expected rows are worked out by hand from the graphs below.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_run.h"

namespace {

using e2e::kClustersHeader;
using e2e::kNodesHeader;

// Two cliques, {1,2,3,4} and {10,11,12}, and node 5 hanging on node 1.
const std::string kAdjacency =
    "node,neighbours\n1,2,3,4,5\n2,1,3,4\n3,1,2,4\n4,1,2,3\n5,1\n10,11,12\n11,10,12\n12,10,11\n";
// The kernel knows the cliques only: node 5 must come in as an isolated node.
const std::string kKernelValues = "1,2,0.9\n1,3,0.9\n1,4,0.9\n2,3,0.8\n2,4,0.8\n3,4,0.8\n10,11,0.7\n10,12,0.7\n11,12,0.7\n";

using e2e::runCGA;

std::string fileKeys(const std::string &maxClusterSize = "10") {
    return "<OutputFileName>res</OutputFileName>\n<OutputFormat>CSV</OutputFormat>\n<MaxClusterSize>" +
           maxClusterSize + "</MaxClusterSize>\n<KernelValuesFileName>kernel.txt</KernelValuesFileName>\n";
}

std::vector<std::vector<std::string>> csvRows(const std::string &text) {
    std::vector<std::vector<std::string>> rows;
    for (const std::string &line : qrvtest::splitLines(text)) {
        if (line.empty()) continue;
        std::vector<std::string> fields;
        std::stringstream in(line);
        std::string field;
        while (std::getline(in, field, ',')) fields.push_back(field);
        rows.push_back(fields);
    }
    return rows;
}

TEST(CGARun, TwoCliquesAndAPendantNodeFromAKernelValuesFile) {
    const std::string dir = e2e::prepareCGA(kAdjacency, kKernelValues);
    const qrvtest::RunResult r = runCGA(dir, fileKeys(), 1);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    // Nine lines and the pair of zeros that the final line feed gives.
    EXPECT_NE(r.out.find("Read 10 kernel values from file\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("buildInitialClusters: Found 3 initial clusters\nbuildInitialClusters: Found 7 kernel nodes\n"),
              std::string::npos);
    EXPECT_NE(r.out.find("Log;|0;|CGA Terminated Successfully;|LogEnd"), std::string::npos);
    const std::string clusters = qrvtest::readFile(dir + "/res_1.clusters.csv");
    const auto groups = csvRows(clusters);
    ASSERT_EQ(groups.size(), 3u) << clusters;
    EXPECT_EQ(clusters.substr(0, kClustersHeader.size()), kClustersHeader);
    // The clique of four is grown first (its nodes have the higher degree);
    // node 5 joined it: 14 links among 5 nodes, kernel density 6/6, 4 of 5 core.
    EXPECT_EQ((std::vector<std::string>(groups[1].begin(), groups[1].begin() + 5)),
              (std::vector<std::string>{"1", "5", "0.7", "1", "0.8"}));
    // The clique of three is symmetric: equal ranks of 1/3.
    EXPECT_EQ(qrvtest::splitLines(clusters)[2], "2,3,1,1,1,0.333333,0.333333,1,0.333333,0.333333,1");

    const std::string nodes = qrvtest::readFile(dir + "/res_1.nodes.csv");
    EXPECT_EQ(nodes.substr(0, kNodesHeader.size()), kNodesHeader);
    const auto rows = csvRows(nodes);
    ASSERT_EQ(rows.size(), 9u) << nodes;
    std::map<std::string, std::vector<std::string>> byNode;
    for (const auto &row : rows) byNode[row[0]] = row;
    // Node 1 links to every other member: leader of both kinds. Equal ranks
    // of 2, 3 and 4 keep their order of first appearance. The pendant node is
    // drawn in by the isolated-node pass, not core, last. (node, column, value)
    const std::vector<std::vector<std::string>> fields = {
        {"1", "1", "1"}, {"1", "2", "1"}, {"1", "4", "1"}, {"1", "6", "1"},  {"1", "7", "4"},
        {"1", "8", "4"}, {"1", "11", "1"}, {"1", "13", "1"}, {"2", "4", "2"}, {"3", "4", "3"},
        {"4", "4", "4"}, {"4", "11", "0"}, {"5", "1", "1"}, {"5", "2", "0"},  {"5", "4", "5"},
        {"5", "7", "1"}, {"5", "8", "1"}};
    for (const auto &f : fields) EXPECT_EQ(byNode[f[0]].at(std::stoul(f[1])), f[2]) << f[0] << " " << f[1];
    EXPECT_EQ(qrvtest::splitLines(nodes)[6], "10,2,1,0.333333,1,0.333333,1,2,2,0.666667,0.666667,1,1,1,1");
    EXPECT_EQ(qrvtest::splitLines(nodes)[7], "11,2,1,0.333333,2,0.333333,2,2,2,0.666667,0.666667,0,0,0,0");
    EXPECT_EQ(qrvtest::splitLines(nodes)[8], "12,2,1,0.333333,3,0.333333,3,2,2,0.666667,0.666667,0,0,0,0");

    const std::string report = qrvtest::readFile(dir + "/model.xml");
    EXPECT_NE(report.find("NumClustersInGraph>2<"), std::string::npos) << report;
    // 14 + 6 links collected, 5 + 3 nodes in the kept clusters.
    EXPECT_NE(report.find("NumEdgesInGraph>20<"), std::string::npos) << report;
    EXPECT_NE(report.find("NumNodesInRelevantClusters>8<"), std::string::npos) << report;
}

// The clique of four gives two pairs, the clique of three one pair and a
// dropped single; full clusters admit nobody.
TEST(CGARun, AComponentLargerThanTheLimitIsCut) {
    const std::string dir = e2e::prepareCGA(kAdjacency, kKernelValues);
    ASSERT_EQ(runCGA(dir, fileKeys("2"), 1).status, 0);
    const auto groups = csvRows(qrvtest::readFile(dir + "/res_1.clusters.csv"));
    ASSERT_EQ(groups.size(), 4u);
    for (size_t i = 1; i < groups.size(); ++i) EXPECT_EQ(groups[i][1], "2");
    for (const auto &row : csvRows(qrvtest::readFile(dir + "/res_1.nodes.csv")))
        if (row[0] != "NodeNumber") { EXPECT_EQ(row[2], "1"); }
}

// A running limit below any cluster's size takes one cluster per collecting
// iteration: two iterations append to the files under one header, which hold
// what one iteration gives. The same runs check warning 5002 from 801 on.
TEST(CGARun, CollectingIterationsAppendToTheFilesUnderOneHeader) {
    const std::string dir = e2e::prepareCGA(kAdjacency, kKernelValues);
    const qrvtest::RunResult r801 = runCGA(dir, fileKeys("801"), 1);
    ASSERT_EQ(r801.status, 0) << r801.out << r801.err;
    EXPECT_TRUE(e2e::hasLine(r801.out, "Warning;|5002;|801;|Warning: Cluster size maybe too high. 801. This might "
                                       "reflect on the performance of the algorithm;|WarningEnd"))
        << r801.out;
    const std::string reference = e2e::cgaResults(dir);
    const qrvtest::RunResult r = runCGA(dir, fileKeys("800") + "<MaxNodesCollectingEdges>-5</MaxNodesCollectingEdges>\n"
                                        "<NumIterationsCollectingEdges>1</NumIterationsCollectingEdges>\n", 1);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    EXPECT_NE(r.out.find("going over cluster number 1 to 1 (total 2)"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("going over cluster number 2 to 2 (total 2)"), std::string::npos);
    EXPECT_EQ(r.out.find("5002"), std::string::npos);
    EXPECT_EQ(e2e::cgaResults(dir), reference);
}

// Twenty cliques of six, each tied to the next by one link: enough samples
// on every worker for the kernel's histogram on up to four processes.
std::string ringOfCliques() {
    std::ostringstream out;
    out << "node,neighbours\n";
    for (int g = 0; g < 20; ++g)
        for (int i = 1; i <= 6; ++i) {
            out << g * 10 + i;
            for (int j = 1; j <= 6; ++j)
                if (j != i) out << "," << g * 10 + j;
            if (i == 1) out << "," << ((g + 1) % 20) * 10 + 2;
            out << "\n";
        }
    return out.str();
}

// The groups depend on the number of processes, which share the rows by blocks.
TEST(CGARun, OneToFourProcessesSucceedAndOneProcessRepeatsItself) {
    const std::string dir = e2e::prepareCGA(ringOfCliques(), kKernelValues);
    const std::string keys =
        "<OutputFileName>res</OutputFileName>\n<OutputFormat>CSV</OutputFormat>\n<MaxClusterSize>10</MaxClusterSize>\n";
    std::string first;
    for (int k = 1; k <= 4; ++k) {
        SCOPED_TRACE(k);
        for (const std::string &extra : {std::string(), std::string("<KernelValuesFileName>kernel.txt</KernelValuesFileName>\n")}) {
            const qrvtest::RunResult r = runCGA(dir, keys + extra, k);
            ASSERT_EQ(r.status, 0) << r.out << r.err;
            EXPECT_EQ(e2e::cgaResults(dir).substr(0, kClustersHeader.size()), kClustersHeader);
            EXPECT_NE(r.out.find("Log;|0;|CGA Terminated Successfully;|LogEnd"), std::string::npos);
            if (k == 1 && extra.empty()) first = e2e::cgaResults(dir);
        }
    }
    ASSERT_EQ(runCGA(dir, keys, 1).status, 0);
    EXPECT_EQ(e2e::cgaResults(dir), first);
}

TEST(CGARun, EveryRefusedParameterEndsTheRunWithItsText) {
    const std::string dir = e2e::prepareCGA(kAdjacency, kKernelValues);
    const std::string out = "<OutputFileName>res</OutputFileName>\n";
    const std::string csv = "<OutputFormat>CSV</OutputFormat>\n";
    const std::string max = "<MaxClusterSize>10</MaxClusterSize>\n";
    const std::string base = out + csv + max;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {base + "<MinClusterSize>0</MinClusterSize>\n", "2202;|KVORACGAData::open, illegal min cluster size"},
        {base + "<MinClusterSize>2x</MinClusterSize>\n", "2202;|KVORACGAData::open, illegal min cluster size"},
        {out + csv + "<MaxClusterSize>0</MaxClusterSize>\n", "2202;|KVORACGAData::open, illegal max cluster size"},
        {out + csv, "2202;|KVORACGAData::open, illegal max cluster size"},
        {base + "<NumIterations>2</NumIterations>\n", "2204;|KVORACGAData::open, number of iterations must be 1"},
        {base + "<NumIterationsCollectingEdges>0</NumIterationsCollectingEdges>\n",
         "2202;|KVORACGAData::open, illegal NumIterationsCollectingEdges value"},
        {base + "<MaxNodesCollectingEdges>many</MaxNodesCollectingEdges>\n",
         "2202;|KVORACGAData::open, illegal MaxNodesCollectingEdges value"},
        {base + "<NumIterationsConnectingNodes>0</NumIterationsConnectingNodes>\n",
         "2202;|KVORACGAData::open, illegal NumIterationsConnectingNodes value"},
        {base + "<VerbosityLevel>101</VerbosityLevel>\n", "2202;|KVORACGAData::open, illegal verbosity level"},
        {"<OutputFileName></OutputFileName>\n" + csv + max,
         "2202;|KVORACGAData::open, output file is illegal or not provided"},
        {out + max + "<OutputFormat>Fancy</OutputFormat>\n", "2202;|KVORACGAData::open, unknown format"},
        {out + max, "2204;|KVORACGAData::open, only CSV format is supported in this version"},
        {out + max + "<OutputFormat>Compact</OutputFormat>\n",
         "2204;|KVORACGAData::open, only CSV format is supported in this version"},
        {out + csv + "<MinClusterSize>5</MinClusterSize>\n<MaxClusterSize>3</MaxClusterSize>\n",
         "2202;|KVORACGAData::open: Min cluster size is larger than max cluster size"},
        {base + "<KernelValuesFileName>missing.txt</KernelValuesFileName>\n",
         "2304;|KVORACGAData::readKernelValuesFile: Unable to kernel values file"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.first);
        e2e::expectTerminated(runCGA(dir, c.first, 1), 1, "Error;|" + c.second + ";|ErrorEnd");
    }
    // A kernel named but not Friends is the kernel's own refusal.
    std::string keys = e2e::kCGAKernelKeys;
    keys.replace(keys.find("Friends"), 7, "RBF");
    e2e::expectTerminated(
        e2e::runQrvexec(dir, "<QRVInput>\n<AlgorithmName>CGA</AlgorithmName>\n" + keys + base + "</QRVInput>\n", "adj", 1,
                        "model.xml", 120),
        1, "Error;|2204;|VORAKernelDataParameters::readParameters: only Friends Kernel is supported;|ErrorEnd");
}

}  // namespace
