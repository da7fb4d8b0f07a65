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

}  // namespace
