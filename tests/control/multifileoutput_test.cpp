// Per-worker number files: the worker name rule, the four number patterns,
// and writing from the start of the file without truncating it.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>

#include "control/kvora_multifileoutput.h"
#include "qrv_run.h"

namespace {

std::string fmt(double value, int32_t last) {
    char buf[400];
    const int32_t n = KVORAMultifileOutput::formatNumber(buf, value, last);
    return std::string(buf, static_cast<size_t>(n));
}

std::string workerName(const char *name, int32_t rank) {
    return KVORAMultifileOutput::makeWorkerFileName(KV2AscString(name), rank).c_str();
}

TEST(MultifileOutput, NumberPatterns) {
    EXPECT_EQ(fmt(1.5, 0), "       1.500000,\t");
    EXPECT_EQ(fmt(1.5, 1), "       1.500000\n");
    EXPECT_EQ(fmt(2.0, 1), "              2\n");
    EXPECT_EQ(fmt(-3.0, 0), "             -3,\t");
    EXPECT_EQ(fmt(12345678901234567.0, 1), "12345678901234568\n");  // wider than 15: not cut
    EXPECT_EQ(fmt(std::numeric_limits<double>::infinity(), 1), "            inf\n");
    EXPECT_EQ(fmt(std::nan(""), 0), "            nan,\t");
}

TEST(MultifileOutput, WorkerFileNames) {
    EXPECT_EQ(workerName("k.csv", 3), "k_worker_3.csv");
    EXPECT_EQ(workerName("a.b/c", 3), "a_worker_3.b/c");
    EXPECT_EQ(workerName("out.kernel.txt", 12), "out.kernel_worker_12.txt");
    EXPECT_EQ(workerName(".hidden", 0), "_worker_0.hidden");
}

class MultifileOutputFiles : public ::testing::Test {
protected:
    void SetUp() override {
        dir = qrvtest::makeTempDir("kf_mfo");
        KVORAMultifileOutput::setWorkerRank(2);
    }
    void TearDown() override {
        out.releasePrimitive(env);
        row.reset(env);
        KVORAMultifileOutput::setWorkerRank(-1);
    }
    void write(std::initializer_list<double> values) {
        row.setSize(0, env);
        for (double v : values) row.copyAppend(v, env);
        EXPECT_EQ(out.writeRow(row, env), 1);
    }
    KVORAEnv *env = nullptr;
    std::string dir;
    KVORAMultifileOutput out;
    KVORAXaRay<double, 1> row;
};

// Rows go to the worker's file, written from its start without truncating it.
TEST_F(MultifileOutputFiles, RowsGoToTheWorkersFileFromItsStart) {
    qrvtest::writeFile(dir, "kernel_worker_2.txt", std::string(60, 'X') + "\n");
    EXPECT_EQ(out.open(KV2AscString((dir + "/kernel.txt").c_str()), env), 1);
    write({1, 2.5});
    write({});  // nothing, not even a line end
    write({7});
    EXPECT_EQ(out.close(env), 1);
    EXPECT_FALSE(qrvtest::fileExists(dir + "/kernel.txt"));
    EXPECT_EQ(qrvtest::readFile(dir + "/kernel_worker_2.txt"),
              "              1,\t       2.500000\n              7\n" + std::string(11, 'X') + "\n");
}

TEST_F(MultifileOutputFiles, EmptyShareAndUnopenableFile) {
    out.open(KV2AscString((dir + "/empty").c_str()), env);
    out.close(env);
    EXPECT_TRUE(qrvtest::fileExists(dir + "/empty_worker_2"));

    // A file that can't be made: open still answers true, and rows vanish.
    EXPECT_EQ(out.open(KV2AscString((dir + "/no/such/dir/x.txt").c_str()), env), 1);
    write({1, 2});
    EXPECT_EQ(out.close(env), 1);
}

}  // namespace
