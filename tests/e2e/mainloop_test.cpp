// The job layer's tree and the scan loops seen from outside, under the
// launcher with 1, 2, 3, 4 and 8 processes. The tree probe moves a model
// whose distribution is made an exact size across the tree, each process adds
// rank + 1 records of 0.5, and rank 0 reports the totals and the order in
// which the results were merged. Expected values are worked out by hand from
// the tree's shape: rank 0 merges its children 1, 2, 4, ... in that order, and
// each merge appends the received result's ranks before its own.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "qrv_run.h"

namespace {

bool hasLine(const std::string &text, const std::string &line) {
    for (const std::string &l : qrvtest::splitLines(text))
        if (l == line) return true;
    return false;
}

// Runs the probe; its `out` becomes the lines of all processes' files.
qrvtest::RunResult runProbe(int k, const std::string &mode, const std::string &bytes) {
    qrvtest::RunOptions options;
    options.processes = k;
    options.timeoutSeconds = 120;
    qrvtest::RunResult r = qrvtest::run({QRV_TREE_PROBE, mode, bytes}, options);
    std::string lines;
    for (int rank = 0; rank < k; ++rank) {
        const std::string file = r.dir + "/probe." + std::to_string(rank);
        if (qrvtest::fileExists(file)) lines += qrvtest::readFile(file);
    }
    r.out = lines;
    return r;
}

// The merge order on rank 0, by hand: K=3: stage 1 copies "1"; stage 2 rank 2
// sends "2", merged as received-then-own: "21"; applied after "0".
const std::map<int, std::string> kOrder = {{1, "0"}, {2, "01"}, {3, "021"}, {4, "0321"}, {8, "07654321"}};

void checkTree(int k, const std::string &bytes) {
    SCOPED_TRACE("processes " + std::to_string(k) + ", bytes " + bytes);
    qrvtest::RunResult r = runProbe(k, "tree", bytes);
    ASSERT_FALSE(r.timedOut);
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    const int records = k * (k + 1) / 2;
    char line[128];
    std::snprintf(line, sizeof line, "rank 0: records %d sum %.1f order %s", records, 0.5 * records,
                  kOrder.at(k).c_str());
    EXPECT_TRUE(hasLine(r.out, line)) << r.out;
    if (bytes != "0") {
        EXPECT_TRUE(hasLine(r.out, "rank 0: distribution " + bytes)) << r.out;
    }
    for (int rank = 1; rank < k; ++rank) {
        const std::string prefix = "rank " + std::to_string(rank) + ": ";
        bool distributed = false;
        for (const std::string &l : qrvtest::splitLines(r.out))
            if (l.rfind(prefix + "distribute 1 filler ", 0) == 0 && l.size() > 7 &&
                l.compare(l.size() - 7, 7, " intact") == 0)
                distributed = true;
        EXPECT_TRUE(distributed) << prefix << r.out;
        EXPECT_TRUE(hasLine(r.out, prefix + "after end 0")) << r.out;
    }
}

TEST(JobTree, SmallModelGoesDownAndResultsComeBackInTreeOrder) {
    for (int k : {1, 2, 3, 4, 8}) checkTree(k, "0");
}

// 1,000,000 bytes are one chunk, 1,000,001 are two, the second of 1 byte; the
// results on the way back carry the same ballast.
TEST(JobTree, DistributionsAtTheChunkBoundaryCrossIntact) {
    for (int k : {2, 3, 8}) {
        checkTree(k, "1000000");
        checkTree(k, "1000001");
    }
}

TEST(JobTree, RawStreamsAtTheChunkBoundaryAndTheEmptyEndMessage) {
    for (const std::string &bytes : {std::string("999999"), std::string("1000000"), std::string("1000001"),
                                     std::string("2000001")}) {
        qrvtest::RunResult r = runProbe(3, "raw", bytes);
        ASSERT_FALSE(r.timedOut);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_TRUE(hasLine(r.out, "rank 1: result 1 size " + bytes + " intact")) << r.out;
        EXPECT_TRUE(hasLine(r.out, "rank 2: result 1 size " + bytes + " intact")) << r.out;
    }
    // Size 0 is the job-end message: no chunk follows and the receiver answers 0.
    qrvtest::RunResult r = runProbe(2, "raw", "0");
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(hasLine(r.out, "rank 1: result 0 size 0 intact")) << r.out;
}

// Validation rows climb the same tree; rank 0 appends its children's rows
// after its own (so ranks arrive in order 0, 1, 2, ...) and bubble-sorts by
// record number, equal numbers keeping that order.
TEST(JobTree, ValidationRowsAreGatheredAndSortedStably) {
    for (int k : {1, 2, 3, 4, 8}) {
        SCOPED_TRACE("processes " + std::to_string(k));
        qrvtest::RunResult r = runProbe(k, "rows", "0");
        ASSERT_EQ(r.status, 0) << r.err;
        std::string expected = "rank 0: rows";
        auto item = [&](int number, int rank) {
            char text[64];
            std::snprintf(text, sizeof text, " %d:%d:%g", number, rank, rank + 0.5);
            expected += text;
        };
        for (int rank = 0; rank < k; ++rank) item(5, rank);                 // ties: by rank
        for (int rank = k - 1; rank >= 0; --rank) item(50 - rank, rank);     // 50 - r ascending
        for (int rank = 0; rank < k; ++rank) item(100 + rank, rank);
        EXPECT_TRUE(hasLine(r.out, expected)) << "expected " << expected << "\n" << r.out;
    }
}

// ---- the master and worker loops with the tests' tally data object ----

// 37 rows: line number i + 1, x = 1 + 0.25 i, a target i mod 3. By hand:
// sum x = 37 + 0.25 * 666 = 203.5; sum x^2 = 37 + 0.5 * 666 + 0.0625 * 16206
// = 1382.875; mean = 5.5; sum of line numbers = 703. Every partial sum is a
// multiple of 1/16 far below 2^52, so the totals are exact in any order.
std::string makeLoopInput(const std::string &dir, bool print) {
    std::string rows;
    for (int i = 0; i < 37; ++i) {
        const double values[3] = {static_cast<double>(i + 1), 1.0 + 0.25 * i, static_cast<double>(i % 3)};
        rows.append(reinterpret_cast<const char *>(values), sizeof values);  // the test hosts are little-endian
    }
    qrvtest::writeFile(dir, "data.bin", rows);
    qrvtest::writeFile(dir, "data.bin.info", "id Numeric LineNumber\nx Numeric Explanatory\ny Numeric Target\n");
    std::string params = "<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n";
    if (print) params += "<PrintModelDuringTraining>1</PrintModelDuringTraining>\n";
    params += "</QRVInput>\n";
    return qrvtest::writeFile(dir, "params.xml", params);
}

// The ModelOutput part of a report: the lines between its tags.
std::string modelOutput(const std::string &path) {
    const std::string text = qrvtest::readFile(path);
    const size_t from = text.find("<ModelOutput>");
    const size_t to = text.find("</ModelOutput>");
    if (from == std::string::npos || to == std::string::npos) return "(no ModelOutput) " + text;
    return text.substr(from, to - from);
}

std::string expectedOutput(const std::string &sumSquares, const std::string &mean, int pass) {
    return "<ModelOutput>\n    <Records>37</Records>\n    <Sum>203.5</Sum>\n    <SumSquares>" + sumSquares +
           "</SumSquares>\n    <Mean>" + mean + "</Mean>\n    <LineSum>703</LineSum>\n    <Pass>" +
           std::to_string(pass) + "</Pass>\n  ";
}

qrvtest::RunResult runLoop(int k, bool print) {
    qrvtest::RunOptions options;
    options.processes = k;
    options.dir = qrvtest::makeTempDir("qrvloop");
    makeLoopInput(options.dir, print);
    return qrvtest::run({QRV_LOOP_PROBE, "params.xml", "data.bin", "model.xml"}, options);
}

// Two data passes and one without data give the plain loop's totals on the
// master whatever the number of processes; each pass's timing is reported.
TEST(MainLoop, TotalsOnTheMasterMatchAPlainLoopOnEveryJobSize) {
    for (int k : {1, 2, 3, 4, 8}) {
        SCOPED_TRACE("processes " + std::to_string(k));
        qrvtest::RunResult r = runLoop(k, false);
        ASSERT_FALSE(r.timedOut);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        EXPECT_EQ(modelOutput(r.dir + "/model.xml"), expectedOutput("1382.875", "5.5", 3));
        EXPECT_FALSE(qrvtest::fileExists(r.dir + "/model_intermediate_1.xml"));
        for (const char *phase : {"distribute", "computation", "collect", "end scan"}) {
            int n = 0;
            const std::string head = std::string("Log;|2;|Time spent [");
            const std::string tail = std::string("s] doing ") + phase + " ;|LogEnd";
            for (const std::string &l : qrvtest::splitLines(r.out))
                if (l.rfind(head, 0) == 0 && l.size() > tail.size() &&
                    l.compare(l.size() - tail.size(), tail.size(), tail) == 0)
                    ++n;
            EXPECT_EQ(n, 3) << phase << "\n" << r.out;
        }
    }
}

// With the print flag: a numbered report after each pass that goes on (the
// third pass ends the loop), then the final one under the plain name.
TEST(MainLoop, PrintFlagWritesNumberedReportsThenTheFinalOne) {
    for (int k : {1, 3}) {
        SCOPED_TRACE("processes " + std::to_string(k));
        qrvtest::RunResult r = runLoop(k, true);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        EXPECT_EQ(modelOutput(r.dir + "/model_intermediate_1.xml"), expectedOutput("0", "0", 1));
        EXPECT_EQ(modelOutput(r.dir + "/model_intermediate_2.xml"), expectedOutput("1382.875", "0", 2));
        EXPECT_FALSE(qrvtest::fileExists(r.dir + "/model_intermediate_3.xml"));
        EXPECT_EQ(modelOutput(r.dir + "/model.xml"), expectedOutput("1382.875", "5.5", 3));
    }
}

}  // namespace
