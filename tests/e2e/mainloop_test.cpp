// The job layer's tree and the scan loops seen from outside, under the
// launcher with 1 to 8 processes. The tree probe moves a model of an exact
// size down the tree, each process adds rank + 1 records of 0.5, and rank 0
// reports the totals and the order in which the results were merged: its
// children 1, 2, 4, ... in that order, each merge putting the received
// result's ranks before its own.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "e2e_run.h"

namespace {

using e2e::hasLine;

// Runs the probe; its `out` becomes the lines of all processes' files.
qrvtest::RunResult runProbe(int k, const std::string &mode, const std::string &bytes) {
    qrvtest::RunOptions options;
    options.processes = k;
    qrvtest::RunResult r = qrvtest::run({QRV_TREE_PROBE, mode, bytes}, options);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(r.status, 0) << r.out << r.err;
    r.out.clear();
    for (int rank = 0; rank < k; ++rank) {
        const std::string file = r.dir + "/probe." + std::to_string(rank);
        if (qrvtest::fileExists(file)) r.out += qrvtest::readFile(file);
    }
    return r;
}

// 1,000,000 bytes are one chunk, 1,000,001 are two, the second of 1 byte; the
// results on the way back carry the same ballast. The merge order for K=3:
// stage 1 copies "1"; stage 2 rank 2 sends "2", merged as "21"; after "0".
TEST(JobTree, ModelsGoDownAndResultsComeBackInTreeOrderAcrossTheChunkBoundary) {
    const std::map<int, std::string> order = {{1, "0"}, {2, "01"}, {3, "021"}, {4, "0321"}, {8, "07654321"}};
    for (const auto &c : std::vector<std::pair<int, std::string>>{
             {1, "0"}, {2, "1000000"}, {3, "1000001"}, {4, "0"}, {8, "1000000"}, {8, "1000001"}}) {
        const int k = c.first, records = k * (k + 1) / 2;
        SCOPED_TRACE("processes " + std::to_string(k) + ", bytes " + c.second);
        const qrvtest::RunResult r = runProbe(k, "tree", c.second);
        char line[128];
        std::snprintf(line, sizeof line, "rank 0: records %d sum %.1f order %s", records, 0.5 * records,
                      order.at(k).c_str());
        EXPECT_TRUE(hasLine(r.out, line)) << r.out;
        if (c.second != "0") { EXPECT_TRUE(hasLine(r.out, "rank 0: distribution " + c.second)) << r.out; }
        for (int rank = 1; rank < k; ++rank) {
            const std::string prefix = "rank " + std::to_string(rank) + ": ";
            bool distributed = false;
            for (const std::string &l : qrvtest::splitLines(r.out))
                distributed = distributed || (l.rfind(prefix + "distribute 1 filler ", 0) == 0 && l.size() > 7 &&
                                              l.compare(l.size() - 7, 7, " intact") == 0);
            EXPECT_TRUE(distributed) << prefix << r.out;
            EXPECT_TRUE(hasLine(r.out, prefix + "after end 0")) << r.out;
        }
    }
}

// Size 0 is the job-end message: no chunk follows and the receiver answers 0.
TEST(JobTree, RawStreamsAtTheChunkBoundaryAndTheEmptyEndMessage) {
    for (const std::string bytes : {"1000000", "1000001", "2000001"}) {
        const qrvtest::RunResult r = runProbe(3, "raw", bytes);
        EXPECT_TRUE(hasLine(r.out, "rank 1: result 1 size " + bytes + " intact")) << r.out;
        EXPECT_TRUE(hasLine(r.out, "rank 2: result 1 size " + bytes + " intact")) << r.out;
    }
    EXPECT_TRUE(hasLine(runProbe(2, "raw", "0").out, "rank 1: result 0 size 0 intact"));
}

// Validation rows climb the same tree; rank 0 appends its children's rows
// after its own (so ranks arrive in order 0, 1, 2, ...) and bubble-sorts by
// record number, equal numbers keeping that order.
TEST(JobTree, ValidationRowsAreGatheredAndSortedStably) {
    for (int k : {3, 8}) {
        SCOPED_TRACE("processes " + std::to_string(k));
        const qrvtest::RunResult r = runProbe(k, "rows", "0");
        std::string expected = "rank 0: rows";
        auto item = [&](int number, int rank) {
            char text[64];
            std::snprintf(text, sizeof text, " %d:%d:%g", number, rank, rank + 0.5);
            expected += text;
        };
        for (int rank = 0; rank < k; ++rank) item(5, rank);              // ties: by rank
        for (int rank = k - 1; rank >= 0; --rank) item(50 - rank, rank);  // 50 - r ascending
        for (int rank = 0; rank < k; ++rank) item(100 + rank, rank);
        EXPECT_TRUE(hasLine(r.out, expected)) << "expected " << expected << "\n" << r.out;
    }
}

// The ModelOutput part of a report: the lines between its tags.
std::string modelOutput(const std::string &path) {
    const std::string text = qrvtest::readFile(path);
    const size_t from = text.find("<ModelOutput>"), to = text.find("</ModelOutput>");
    if (from == std::string::npos || to == std::string::npos) return "(no ModelOutput) " + text;
    return text.substr(from, to - from);
}

std::string expectedOutput(const std::string &sumSquares, const std::string &mean, int pass) {
    return "<ModelOutput>\n    <Records>37</Records>\n    <Sum>203.5</Sum>\n    <SumSquares>" + sumSquares +
           "</SumSquares>\n    <Mean>" + mean + "</Mean>\n    <LineSum>703</LineSum>\n    <Pass>" +
           std::to_string(pass) + "</Pass>\n  ";
}

// The loops with the tests' tally data object on 37 rows: line number i + 1,
// x = 1 + 0.25 i, a target i mod 3. By hand: sum x = 37 + 0.25 * 666 = 203.5;
// sum x^2 = 37 + 0.5 * 666 + 0.0625 * 16206 = 1382.875; mean = 5.5; sum of
// line numbers = 703. Every partial sum is a multiple of 1/16 far below
// 2^52, so the totals are exact in any order. Two data passes and one
// without data give these totals on the master whatever the number of
// processes, and each pass's timing is reported. With the print flag: a
// numbered report after each pass that goes on (the third ends the loop),
// then the final one under the plain name.
TEST(MainLoop, TotalsOnTheMasterMatchAPlainLoopAndThePrintFlagAddsNumberedReports) {
    std::string rows;
    for (int i = 0; i < 37; ++i) {
        const double values[3] = {static_cast<double>(i + 1), 1.0 + 0.25 * i, static_cast<double>(i % 3)};
        rows.append(reinterpret_cast<const char *>(values), sizeof values);  // the test hosts are little-endian
    }
    for (int k : {1, 3, 8}) {
        const bool print = k != 8;
        SCOPED_TRACE("processes " + std::to_string(k));
        const std::string dir = qrvtest::makeTempDir("qrvloop");
        qrvtest::writeFile(dir, "data.bin", rows);
        qrvtest::writeFile(dir, "data.bin.info", "id Numeric LineNumber\nx Numeric Explanatory\ny Numeric Target\n");
        const qrvtest::RunResult r = e2e::runQrvexec(
            dir, std::string("<QRVInput>\n<AlgorithmName>DIF</AlgorithmName>\n") +
                     (print ? "<PrintModelDuringTraining>1</PrintModelDuringTraining>\n" : "") + "</QRVInput>\n",
            "data.bin", k, "model.xml", 120, QRV_LOOP_PROBE);
        ASSERT_EQ(r.status, 0) << r.out << r.err;
        EXPECT_EQ(modelOutput(dir + "/model.xml"), expectedOutput("1382.875", "5.5", 3));
        if (print) {
            EXPECT_EQ(modelOutput(dir + "/model_intermediate_1.xml"), expectedOutput("0", "0", 1));
            EXPECT_EQ(modelOutput(dir + "/model_intermediate_2.xml"), expectedOutput("1382.875", "0", 2));
        }
        EXPECT_EQ(qrvtest::fileExists(dir + "/model_intermediate_1.xml"), print);
        EXPECT_FALSE(qrvtest::fileExists(dir + "/model_intermediate_3.xml"));
        for (const char *phase : {"distribute", "computation", "collect", "end scan"}) {
            int n = 0;
            const std::string head = "Log;|2;|Time spent [", tail = std::string("s] doing ") + phase + " ;|LogEnd";
            for (const std::string &l : qrvtest::splitLines(r.out))
                n += l.rfind(head, 0) == 0 && l.size() > tail.size() &&
                     l.compare(l.size() - tail.size(), tail.size(), tail) == 0;
            EXPECT_EQ(n, 3) << phase << "\n" << r.out;
        }
    }
}

}  // namespace
