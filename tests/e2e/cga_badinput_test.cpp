// Bad input seen from outside, on group analysis runs: results and reports
// that can't be written or put in place, a run that dies half way, data files
// that are empty, cut short or ragged, and odd kernel values files. Each ends
// with its numbered report and status, or with its warning and a correct run;
// results appear whole or not at all.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "e2e_run.h"

namespace {

using e2e::hasLine;

const std::string kFromFile = "<KernelValuesFileName>kernel.txt</KernelValuesFileName>\n";
const std::string kResults = "<OutputFileName>res</OutputFileName>\n";
const std::string kCGADone = "Log;|0;|CGA Terminated Successfully;|LogEnd";
const std::string kUnableToOpen =
    "Error;|2302;|KVORACGAData::printAnalysisResults: Unable to open output file;|ErrorEnd";
// A triangle {1,2,3} with node 4 hanging on node 1, and a pair {7,8}; the
// kernel knows the triangle and the pair.
const std::string kAdjacency = "node,neighbours\n1,2,3,4\n2,1,3\n3,1,2\n4,1\n7,8\n8,7\n";
const std::string kKernelValues = "1,2,0.9\n1,3,0.9\n2,3,0.8\n7,8,0.7\n";

qrvtest::RunResult runCGA(const std::string &dir, const std::string &keys, int k,
                          const std::string &model = "model.xml") {
    return e2e::runCGA(dir, "<OutputFormat>CSV</OutputFormat>\n<MaxClusterSize>10</MaxClusterSize>\n" + keys, k,
                       model, 60);
}

void removeResults(const std::string &dir) {
    std::remove((dir + "/res_1.clusters.csv").c_str());
    std::remove((dir + "/res_1.nodes.csv").c_str());
}

TEST(CGABadOutput, ResultsThatCannotBeOpenedAre2302AndLeaveNothing) {
    const std::string dir = e2e::prepareCGA(kAdjacency, kKernelValues);
    struct Case {
        std::string name, folder;  // OutputFileName, and a folder made in its place
    };
    // The nodes file is refused after the clusters file was opened: the
    // clusters file must not stay behind, under its name or a temporary one.
    const std::vector<Case> cases = {
        {"no/such/res", ""},
        {"res", "res_1.clusters.csv"},
        {"res", "res_1.nodes.csv"},
    };
    for (const Case &c : cases) {
        for (int k = 1; k <= 2; ++k) {
            SCOPED_TRACE(c.name + " " + c.folder + ", processes " + std::to_string(k));
            if (!c.folder.empty()) { ASSERT_EQ(::mkdir((dir + "/" + c.folder).c_str(), 0755), 0); }
            const qrvtest::RunResult r =
                runCGA(dir, "<OutputFileName>" + c.name + "</OutputFileName>\n" + kFromFile, k);
            e2e::expectTerminated(r, k, kUnableToOpen);
            EXPECT_FALSE(hasLine(r.out, kCGADone));
            e2e::expectOnly(dir, {c.folder});
            if (!c.folder.empty()) { ASSERT_EQ(::rmdir((dir + "/" + c.folder).c_str()), 0); }
        }
    }
}

// A thousand pairs of friends, each pair a group of its own; with a running
// limit below any group's size each collecting iteration takes one group, and
// each is a pass over all rows: the run writes its first groups early and
// goes on for a thousand passes. The run starts on one process through a
// wrapper that records the process's id; once the first collecting iteration
// has written its groups, `strike` gets that id while the run goes on.
template <typename Strike>
qrvtest::RunResult strikeAfterTheFirstGroups(std::string &dir, Strike strike) {
    std::ostringstream adjacency, kernel;
    adjacency << "node,neighbours\n";
    for (int i = 0; i < 1000; ++i) {
        adjacency << 2 * i + 1 << ',' << 2 * i + 2 << '\n' << 2 * i + 2 << ',' << 2 * i + 1 << '\n';
        kernel << 2 * i + 1 << ',' << 2 * i + 2 << ",0.9\n";
    }
    dir = e2e::prepareCGA(adjacency.str(), kernel.str());
    const std::string wrapper = e2e::pidWrapper(dir);
    const std::string params = "<QRVInput>\n<AlgorithmName>CGA</AlgorithmName>\n" + e2e::kCGAKernelKeys +
                               "<OutputFormat>CSV</OutputFormat>\n<MaxClusterSize>10</MaxClusterSize>\n" + kResults +
                               kFromFile + "<MaxNodesCollectingEdges>-5</MaxNodesCollectingEdges>\n</QRVInput>\n";
    qrvtest::RunResult result;
    std::thread job([&] { result = e2e::runQrvexec(dir, params, "adj", 1, "model.xml", 120, wrapper); });

    const std::string written = "printAnalysisResults: final network contains 2 nodes and 1 clusters";
    bool seen = false;
    const auto start = std::chrono::steady_clock::now();
    while (!seen && std::chrono::steady_clock::now() - start < std::chrono::seconds(60)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        seen = qrvtest::readFile(dir + "/.stdout").find(written) != std::string::npos;
    }
    const pid_t pid = e2e::recordedPid(dir, 0);
    const bool early = seen && pid > 0 && qrvtest::readFile(dir + "/.stdout").find(kCGADone) == std::string::npos;
    if (early) strike(pid);
    job.join();
    EXPECT_TRUE(early) << "the run never wrote its first groups, or ended before the strike\n" << result.out;
    std::remove((dir + "/wrap.sh").c_str());
    std::remove((dir + "/pid.0").c_str());
    return result;
}

TEST(CGABadOutput, ARunKilledAfterItsFirstGroupsLeavesNoResultFile) {
    std::string dir;
    const qrvtest::RunResult r = strikeAfterTheFirstGroups(dir, [](pid_t pid) { ::kill(pid, SIGKILL); });
    EXPECT_NE(r.status, 0);
    EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.clusters.csv"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.nodes.csv"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/model.xml"));
}

// A folder appears under the nodes file's name while the run goes on: the
// renames at the end fail, and neither final name may show results, nor a
// temporary stay behind.
TEST(CGABadOutput, ResultsThatCannotBePutInPlaceAtTheEndAre2302AndLeaveNothing) {
    std::string dir;
    const qrvtest::RunResult r = strikeAfterTheFirstGroups(
        dir, [&dir](pid_t) { EXPECT_EQ(::mkdir((dir + "/res_1.nodes.csv").c_str(), 0755), 0); });
    e2e::expectTerminated(r, 1, kUnableToOpen);
    EXPECT_FALSE(hasLine(r.out, kCGADone));
    e2e::expectOnly(dir, {"res_1.nodes.csv"});
}

// Rows come from the file size alone: a ragged tail is never read, and a row
// cut before its closing record never closes. With the kernel values from a
// file, a data file with no whole row gives groups without links, so the
// files hold their headers alone; a kernel built from such data has no
// samples and ends with its own report.
TEST(CGABadData, EmptyCutAndRaggedDataFilesAndAReportThatCannotBeWritten) {
    const std::string dir = e2e::prepareCGA(kAdjacency, kKernelValues);
    const std::string full = qrvtest::readFile(dir + "/adj");
    ASSERT_EQ(full.size() % 24, 0u);
    // Rows are shared among the processes by blocks, so the groups depend on
    // their number; and with the kernel built, the small graph leaves one of
    // two processes without samples. The whole file's outcome on the same
    // number of processes, whatever it is, is the reference.
    std::vector<std::string> reference(3), built(3);
    std::vector<int> builtStatus(3);
    for (int k = 1; k <= 2; ++k) {
        ASSERT_EQ(runCGA(dir, kResults + kFromFile, k).status, 0);
        reference[k] = e2e::cgaResults(dir);
        // The model report comes after the results, which stay whole; its
        // own failure is 2301, after the handler's line about the file.
        removeResults(dir);
        std::remove((dir + "/model.xml").c_str());
        const std::string name = "no/such/model.xml";
        e2e::expectTerminated(runCGA(dir, kResults + kFromFile, k, name), k,
                              "Error: Could not open output file " + name +
                                  "\nError;|2301;|Could not write output file;|" + name + ";|ErrorEnd");
        EXPECT_EQ(e2e::cgaResults(dir), reference[k]);
        // The kernel's own files are those of the built run on one process.
        e2e::expectOnly(dir, {"res_1.clusters.csv", "res_1.nodes.csv", "res_worker_0"});
        removeResults(dir);
        builtStatus[k] = runCGA(dir, kResults, k).status;
        built[k] = e2e::cgaResults(dir);
    }
    ASSERT_EQ(builtStatus[1], 0);
    const std::string headerLines = e2e::kClustersHeader + e2e::kNodesHeader;
    ASSERT_LT(headerLines.size(), reference[1].size());
    const std::string noSamples =
        "Error;|3503;|buildSelfKernelValuesHistogram:Could not find any samples for the histogram. It is likely that "
        "the data is corrupt or parameters are set too restrictively.;|ErrorEnd";
    struct Case {
        std::string what, data;
        bool whole;                     // the same rows as the full file
        std::string kernelBuiltError;   // the report of a kernel built from it
    };
    const std::vector<Case> cases = {
        // No record moves the kernel past its first status.
        {"empty", "", false, "Error;|3502;|0;|Invalid state for KVORAKernelData::ivDataStatus;|ErrorEnd"},
        // Node 1's header and two of its entries, and an eighth of one more.
        {"cut inside node 1's row", full.substr(0, 3 * 24 + 8), false, noSamples},
        {"cut before node 1's closing record", full.substr(0, 4 * 24), false, noSamples},
        {"a ragged tail of 17 bytes", full + std::string(17, '\xff'), true, ""},
    };
    for (const Case &c : cases) {
        qrvtest::writeFile(dir, "adj", c.data);
        for (int k = 1; k <= 2; ++k) {
            SCOPED_TRACE(c.what + ", processes " + std::to_string(k));
            qrvtest::RunResult r = runCGA(dir, kResults + kFromFile, k);
            ASSERT_EQ(r.status, 0) << r.out << r.err;
            EXPECT_TRUE(hasLine(r.out, kCGADone));
            EXPECT_EQ(e2e::cgaResults(dir), c.whole ? reference[k] : headerLines);

            removeResults(dir);
            r = runCGA(dir, kResults, k);
            if (c.whole) {
                // A failure's status under the launcher is the launcher's.
                EXPECT_EQ(r.status == 0, builtStatus[k] == 0) << r.out << r.err;
                EXPECT_EQ(e2e::cgaResults(dir), built[k]);
                continue;
            }
            e2e::expectTerminated(r, k, c.kernelBuiltError);
            EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.clusters.csv"));
            EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.nodes.csv"));
        }
    }
}

// A folder under the file's name can't be read and ends the run. Numbers keep
// 32 bits (too large or negative becomes 4294967295), and a zero beside that
// largest value warns with its line's index, a zero alone does not; bytes
// that are no number read as 0; the final line feed gives one more pair of
// zeros; a field of 30 characters ends the reading with the pairs before it.
TEST(CGABadKernelValues, AFolderEndsTheRunAndOddNumbersKeep32Bits) {
    const std::string dir = e2e::prepareCGA(kAdjacency, "");
    std::remove((dir + "/kernel.txt").c_str());
    ASSERT_EQ(::mkdir((dir + "/kernel.txt").c_str(), 0755), 0);
    const qrvtest::RunResult folder = runCGA(dir, kResults + kFromFile, 1);
    e2e::expectTerminated(folder, 1,
                          "Error;|2304;|KVORACGAData::readKernelValuesFile: Unable to kernel values file;|ErrorEnd");
    EXPECT_EQ(folder.out.find("kernel values from file"), std::string::npos);
    ASSERT_EQ(::rmdir((dir + "/kernel.txt").c_str()), 0);

    struct Case {
        std::string what, values;
        std::vector<std::string> lines;  // in the run's output, in this order
        size_t warnings;
    };
    const std::string w = "Warning: Ignoring empty line or invalid numeric value in line number ";
    const std::vector<Case> cases = {
        // One read that comes back empty: a pair of zeros, a loop that is no
        // cluster, and files with their headers alone.
        {"empty", "", {"Read 1 kernel values from file"}, 0},
        // Line 1 is (0, 0); with (10, 11) and the final (0, 0): a cluster of
        // node 0 with its loop and one of 10 and 11.
        {"binary bytes", std::string("\x01\x02,\xff\xfe,0.5\n10,11,0.1\n"),
         {"Read 3 kernel values from file", "buildInitialClusters: Found 2 initial clusters"},
         0},
        // 99999999999 and -1 overflow to 4294967295, which warns beside the 0
        // of line index 1; 0x10 and 020 are both 16, a loop.
        // Clusters: {0, 4294967295, 7, 8} and {16}.
        {"huge and negative numbers", "0,7,0.9\n99999999999,0,0.1\n4294967296,7,0.5\n-1,8,0.5\n0x10,020,0.5\n",
         {"Warning;|5001;|1;|" + w + "1;|WarningEnd", "Read 6 kernel values from file",
          "buildInitialClusters: Found 2 initial clusters"},
         1},
        {"a field of 30 characters", "10,11,0.9\n1," + std::string(30, '2') + ",0.5\n3,4,0.5\n",
         {"Read 1 kernel values from file"}, 0},
        {"a field of 29 characters", "10,11,0.9\n1," + std::string(28, '0') + "2,0.5",
         {"Read 2 kernel values from file"}, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        qrvtest::writeFile(dir, "kernel.txt", c.values);
        const qrvtest::RunResult r = runCGA(dir, kResults + kFromFile, 1);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        size_t at = 0;
        for (const std::string &line : c.lines) {
            at = r.out.find(line + "\n", at);
            EXPECT_NE(at, std::string::npos) << line << "\n" << r.out;
        }
        size_t warnings = 0;
        for (size_t from = r.out.find("Warning;|5001;|"); from != std::string::npos;
             from = r.out.find("Warning;|5001;|", from + 1))
            ++warnings;
        EXPECT_EQ(warnings, c.warnings);
        EXPECT_TRUE(hasLine(r.out, kCGADone));
        if (c.values.empty()) { EXPECT_EQ(e2e::cgaResults(dir), e2e::kClustersHeader + e2e::kNodesHeader); }
    }
}

}  // namespace
