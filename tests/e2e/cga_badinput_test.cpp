// Bad input seen from outside, on group analysis runs: result files and
// reports that can't be written, a run that dies or can't put its results in
// place half way through, data files that are empty, cut short or ragged, and
// kernel values files that are no file, hold binary bytes or numbers too large
// for 32 bits. Each ends with its numbered report and status, or with its
// warning and a correct run; results appear whole or not at all.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "qrv_run.h"

namespace {

const std::string kKernelKeys =
    "<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n<isSparseData>1</isSparseData>\n"
    "<IsSparseKernel>1</IsSparseKernel>\n<SparsityLevel>0.5</SparsityLevel>\n<IndicesData>1</IndicesData>\n"
    "<OutputFormat>CSV</OutputFormat>\n<MaxClusterSize>10</MaxClusterSize>\n";
const std::string kFromFile = "<KernelValuesFileName>kernel.txt</KernelValuesFileName>\n";
const std::string kResults = "<OutputFileName>res</OutputFileName>\n";
const std::string kIll = "Log;|0;|Ill termination of qrvexec;|LogEnd";
const std::string kCGADone = "Log;|0;|CGA Terminated Successfully;|LogEnd";
const std::string kUnableToOpen =
    "Error;|2302;|KVORACGAData::printAnalysisResults: Unable to open output file;|ErrorEnd";
// A triangle {1,2,3} with node 4 hanging on node 1, and a pair {7,8}; the
// kernel knows the triangle and the pair.
const std::string kAdjacency = "node,neighbours\n1,2,3,4\n2,1,3\n3,1,2\n4,1\n7,8\n8,7\n";
const std::string kKernelValues = "1,2,0.9\n1,3,0.9\n2,3,0.8\n7,8,0.7\n";

std::string prepare(const std::string &adjacency, const std::string &kernelValues) {
    const std::string dir = qrvtest::makeTempDir("qrvcgabad");
    qrvtest::writeFile(dir, "adj.csv", adjacency);
    qrvtest::writeFile(dir, "kernel.txt", kernelValues);
    qrvtest::RunOptions options;
    options.dir = dir;
    options.timeoutSeconds = 30;
    const qrvtest::RunResult load = qrvtest::run({qrvtest::qrvloadPath(), "neighbours", "adj.csv", "adj"}, options);
    EXPECT_EQ(load.status, 0) << load.out << load.err;
    return dir;
}

std::vector<std::string> runArgs(const std::string &dir, const std::string &keys, const std::string &program,
                                 const std::string &model) {
    qrvtest::writeFile(dir, "cga.xml",
                       "<QRVInput>\n<AlgorithmName>CGA</AlgorithmName>\n" + kKernelKeys + keys + "</QRVInput>\n");
    return {program, "cga.xml", "adj", model};
}

qrvtest::RunResult runCGA(const std::string &dir, const std::string &keys, int k,
                          const std::string &model = "model.xml") {
    qrvtest::RunOptions options;
    options.dir = dir;
    options.processes = k;
    options.timeoutSeconds = 60;
    return qrvtest::run(runArgs(dir, keys, qrvtest::qrvexecPath(), model), options);
}

bool hasLine(const std::string &text, const std::string &line) {
    for (const std::string &l : qrvtest::splitLines(text))
        if (l == line) return true;
    return false;
}

// A fatal end through the run's terminating report: status 99 on one
// process; on more, whatever the launcher makes of it, but not success.
void expectTerminated(const qrvtest::RunResult &r, int k, const std::string &errorLine) {
    EXPECT_FALSE(r.timedOut);
    if (k == 1) { EXPECT_EQ(qrvtest::processStatus(r), 99) << r.out << r.err; }
    EXPECT_NE(r.status, 0) << r.out << r.err;
    // Lines of several failing processes may interleave.
    EXPECT_NE(r.out.find(k == 1 ? errorLine + "\nTerminating NELO\n" : errorLine), std::string::npos) << r.out;
    EXPECT_TRUE(hasLine(r.out, kIll)) << r.out;
}

std::vector<std::string> filesIn(const std::string &dir) {
    std::vector<std::string> names;
    for (const std::string &name : qrvtest::splitLines(qrvtest::run({"ls", "-A", dir}, {}).out))
        if (!name.empty() && name != ".stdout" && name != ".stderr") names.push_back(name);  // the runner's own
    return names;
}

// No file beside the inputs but what a run is allowed to leave.
void expectOnly(const std::string &dir, std::vector<std::string> allowed) {
    for (const char *input : {"adj.csv", "adj", "adj.info", "kernel.txt", "cga.xml"}) allowed.push_back(input);
    for (const std::string &name : filesIn(dir)) {
        bool ok = false;
        for (const std::string &a : allowed) ok = ok || a == name;
        EXPECT_TRUE(ok) << "unexpected file " << name;
    }
}

std::string results(const std::string &dir) {
    return qrvtest::readFile(dir + "/res_1.clusters.csv") + qrvtest::readFile(dir + "/res_1.nodes.csv");
}

void removeResults(const std::string &dir) {
    std::remove((dir + "/res_1.clusters.csv").c_str());
    std::remove((dir + "/res_1.nodes.csv").c_str());
}

// The header lines of the two result files, each with its line end.
std::string headers(const std::string &dir) {
    return qrvtest::splitLines(qrvtest::readFile(dir + "/res_1.clusters.csv")).at(0) + "\n" +
           qrvtest::splitLines(qrvtest::readFile(dir + "/res_1.nodes.csv")).at(0) + "\n";
}

// --- outputs that can't be written ----------------------------------------

TEST(CGABadOutput, ResultsThatCannotBeOpenedAre2302AndLeaveNothing) {
    const std::string dir = prepare(kAdjacency, kKernelValues);
    struct Case {
        std::string name, folder;  // OutputFileName, and a folder made in its place
    };
    // The nodes file is refused after the clusters file was opened: the
    // clusters file must not stay behind, under its name or a temporary one.
    const std::vector<Case> cases = {
        {"no/such/res", ""},
        {"adj.csv/res", ""},
        {"res", "res_1.clusters.csv"},
        {"res", "res_1.nodes.csv"},
    };
    for (const Case &c : cases) {
        for (int k = 1; k <= 2; ++k) {
            SCOPED_TRACE(c.name + " " + c.folder + ", processes " + std::to_string(k));
            if (!c.folder.empty()) { ASSERT_EQ(::mkdir((dir + "/" + c.folder).c_str(), 0755), 0); }
            const qrvtest::RunResult r =
                runCGA(dir, "<OutputFileName>" + c.name + "</OutputFileName>\n" + kFromFile, k);
            expectTerminated(r, k, kUnableToOpen);
            EXPECT_FALSE(hasLine(r.out, kCGADone));
            expectOnly(dir, {c.folder});
            if (!c.folder.empty()) { ASSERT_EQ(::rmdir((dir + "/" + c.folder).c_str()), 0); }
        }
    }
}

// The model report comes after the results, which stay whole; its own
// failure is 2301, after the handler's line about the file.
TEST(CGABadOutput, AModelReportThatCannotBeWrittenIs2301AfterWholeResults) {
    const std::string dir = prepare(kAdjacency, kKernelValues);
    for (int k = 1; k <= 2; ++k) {
        SCOPED_TRACE(k);
        // The groups depend on the number of processes (see below).
        const qrvtest::RunResult good = runCGA(dir, kResults + kFromFile, k);
        ASSERT_EQ(good.status, 0) << good.out << good.err;
        const std::string reference = results(dir);
        removeResults(dir);
        std::remove((dir + "/model.xml").c_str());
        const std::string name = "no/such/model.xml";
        const qrvtest::RunResult r = runCGA(dir, kResults + kFromFile, k, name);
        expectTerminated(r, k,
                         "Error: Could not open output file " + name + "\nError;|2301;|Could not write output file;|" +
                             name + ";|ErrorEnd");
        EXPECT_EQ(results(dir), reference);
        expectOnly(dir, {"res_1.clusters.csv", "res_1.nodes.csv"});
    }
}

// --- a run that ends half way ---------------------------------------------

// A thousand pairs of friends, each pair a group of its own; with a running
// limit below any group's size each collecting iteration takes one group, and
// each is a pass over all rows: the run writes its first groups early and
// goes on for a thousand passes.
std::string manyPairs(const std::string &dir) {
    std::ostringstream adjacency, kernel;
    adjacency << "node,neighbours\n";
    for (int i = 0; i < 1000; ++i) {
        adjacency << 2 * i + 1 << ',' << 2 * i + 2 << '\n' << 2 * i + 2 << ',' << 2 * i + 1 << '\n';
        kernel << 2 * i + 1 << ',' << 2 * i + 2 << ",0.9\n";
    }
    qrvtest::writeFile(dir, "adj.csv", adjacency.str());
    qrvtest::writeFile(dir, "kernel.txt", kernel.str());
    qrvtest::RunOptions options;
    options.dir = dir;
    options.timeoutSeconds = 60;
    const qrvtest::RunResult load = qrvtest::run({qrvtest::qrvloadPath(), "neighbours", "adj.csv", "adj"}, options);
    EXPECT_EQ(load.status, 0) << load.out << load.err;
    return kResults + kFromFile + "<MaxNodesCollectingEdges>-5</MaxNodesCollectingEdges>\n";
}

// Starts the long run on one process through a wrapper that records the
// process's id, waits until the first collecting iteration has written its
// groups, and calls `strike` with that id while the run goes on.
template <typename Strike>
qrvtest::RunResult strikeAfterTheFirstGroups(const std::string &dir, Strike strike) {
    const std::string keys = manyPairs(dir);
    const std::string wrapper = qrvtest::writeFile(
        dir, "wrap.sh", "#!/bin/sh\necho $$ > pid.tmp && mv pid.tmp pid\nexec \"" + qrvtest::qrvexecPath() + "\" \"$@\"\n");
    EXPECT_EQ(::chmod(wrapper.c_str(), 0755), 0);
    qrvtest::RunOptions options;
    options.dir = dir;
    options.processes = 1;
    options.timeoutSeconds = 120;
    qrvtest::RunResult result;
    std::thread job([&] { result = qrvtest::run(runArgs(dir, keys, wrapper, "model.xml"), options); });

    const std::string written = "printAnalysisResults: final network contains 2 nodes and 1 clusters";
    bool seen = false;
    const auto start = std::chrono::steady_clock::now();
    while (!seen && std::chrono::steady_clock::now() - start < std::chrono::seconds(60)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        seen = qrvtest::readFile(dir + "/.stdout").find(written) != std::string::npos;
    }
    long long pid = 0;
    std::ifstream(dir + "/pid") >> pid;
    const bool early = seen && pid > 0 && qrvtest::readFile(dir + "/.stdout").find(kCGADone) == std::string::npos;
    if (early) strike(static_cast<pid_t>(pid));
    job.join();
    EXPECT_TRUE(early) << "the run never wrote its first groups, or ended before the strike\n" << result.out;
    std::remove((dir + "/wrap.sh").c_str());
    std::remove((dir + "/pid").c_str());
    return result;
}

TEST(CGABadOutput, ARunKilledAfterItsFirstGroupsLeavesNoResultFile) {
    const std::string dir = qrvtest::makeTempDir("qrvcgakill");
    const qrvtest::RunResult r = strikeAfterTheFirstGroups(dir, [](pid_t pid) { ::kill(pid, SIGKILL); });
    EXPECT_FALSE(r.timedOut);
    EXPECT_NE(r.status, 0);
    EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.clusters.csv"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.nodes.csv"));
    EXPECT_FALSE(qrvtest::fileExists(dir + "/model.xml"));
}

// A folder appears under the nodes file's name while the run goes on: the
// renames at the end fail, and neither final name may show results, nor a
// temporary stay behind.
TEST(CGABadOutput, ResultsThatCannotBePutInPlaceAtTheEndAre2302AndLeaveNothing) {
    const std::string dir = qrvtest::makeTempDir("qrvcgaplace");
    const qrvtest::RunResult r = strikeAfterTheFirstGroups(
        dir, [&dir](pid_t) { EXPECT_EQ(::mkdir((dir + "/res_1.nodes.csv").c_str(), 0755), 0); });
    expectTerminated(r, 1, kUnableToOpen);
    EXPECT_FALSE(hasLine(r.out, kCGADone));
    expectOnly(dir, {"res_1.nodes.csv"});
}

// --- data files -------------------------------------------------------------

// Rows come from the file size alone: a ragged tail is never read, and a row
// cut before its closing record never closes. With the kernel values from a
// file, a data file with no whole row gives groups without links, so the
// files hold their headers alone; a kernel built from such data has no
// samples and ends with its own report.
TEST(CGABadData, EmptyCutAndRaggedDataFiles) {
    const std::string dir = prepare(kAdjacency, kKernelValues);
    const std::string full = qrvtest::readFile(dir + "/adj");
    ASSERT_EQ(full.size() % 24, 0u);
    // Rows are shared among the processes by blocks, so the groups depend on
    // their number; and with the kernel built, the small graph leaves one of
    // two processes without samples. The whole file's outcome on the same
    // number of processes, whatever it is, is the reference.
    std::vector<std::string> reference(3), built(3);
    std::vector<int> builtStatus(3);
    std::string headerLines;
    for (int k = 1; k <= 2; ++k) {
        ASSERT_EQ(runCGA(dir, kResults + kFromFile, k).status, 0);
        reference[k] = results(dir);
        headerLines = headers(dir);
        removeResults(dir);
        builtStatus[k] = runCGA(dir, kResults, k).status;
        built[k] = results(dir);
    }
    ASSERT_EQ(builtStatus[1], 0);
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
            EXPECT_FALSE(r.timedOut);
            ASSERT_EQ(r.status, 0) << r.out << r.err;
            EXPECT_TRUE(hasLine(r.out, kCGADone));
            EXPECT_EQ(results(dir), c.whole ? reference[k] : headerLines);

            removeResults(dir);
            r = runCGA(dir, kResults, k);
            if (c.whole) {
                // A failure's status under the launcher is the launcher's.
                EXPECT_EQ(r.status == 0, builtStatus[k] == 0) << r.out << r.err;
                EXPECT_EQ(results(dir), built[k]);
                continue;
            }
            expectTerminated(r, k, c.kernelBuiltError);
            EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.clusters.csv"));
            EXPECT_FALSE(qrvtest::fileExists(dir + "/res_1.nodes.csv"));
        }
    }
}

// --- kernel values files ----------------------------------------------------

// A folder under the file's name can't be read and ends the run; numbers
// keep 32 bits (too large or negative becomes 4294967295, a zero beside it
// warns), bytes that are no number read as 0, and each line's pair is kept.
TEST(CGABadKernelValues, AFolderEndsTheRunAndOddNumbersKeep32Bits) {
    const std::string dir = prepare(kAdjacency, "");
    std::remove((dir + "/kernel.txt").c_str());
    ASSERT_EQ(::mkdir((dir + "/kernel.txt").c_str(), 0755), 0);
    const qrvtest::RunResult folder = runCGA(dir, kResults + kFromFile, 1);
    expectTerminated(folder, 1,
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
        // Line 1 is (0, 0); with (10, 11) and the final (0, 0): a cluster of
        // node 0 with its loop and one of 10 and 11.
        {"binary bytes", std::string("\x01\x02,\xff\xfe,0.5\n10,11,0.1\n"),
         {"Read 3 kernel values from file", "buildInitialClusters: Found 2 initial clusters"},
         0},
        // 99999999999 and -1 overflow to 4294967295, which warns beside a 0;
        // 0x10 and 020 are both 16, a loop. Clusters: {0, 4294967295, 7, 8}
        // and {16}.
        {"huge and negative numbers", "99999999999,0,0.1\n4294967296,7,0.5\n-1,8,0.5\n0x10,020,0.5\n",
         {"Warning;|5001;|0;|" + w + "0;|WarningEnd", "Read 5 kernel values from file",
          "buildInitialClusters: Found 2 initial clusters"},
         1},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        qrvtest::writeFile(dir, "kernel.txt", c.values);
        const qrvtest::RunResult r = runCGA(dir, kResults + kFromFile, 1);
        EXPECT_FALSE(r.timedOut);
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
    }
}

}  // namespace
