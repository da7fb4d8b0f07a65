// Per-worker number files: the worker name rule, the four number patterns,
// and writing from the start of the file without truncating it.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "control/kvora_multifileoutput.h"
#include "qrv_run.h"

namespace {

std::string fmt(double value, int32_t last) {
    char buf[KVORAMultifileOutput::kNumberRoom];
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

// The number text is written without printf, and must still be printf's
// text of the value as a long double, byte for byte, for every kind of
// double: halfway cases at the sixth decimal (multiples of 1/128), values
// next to them, whole numbers up to and past 2^63, huge and subnormal
// values, signed zeros and NaN with either sign.
TEST(MultifileOutput, NumberTextIsPrintfsText) {
    auto printfText = [](double value, int32_t last) {
        char buf[512];
        const bool whole = (value - std::floor(value)) == 0.0;
        const char *pattern = whole ? (last ? "%15.0Lf\n" : "%15.0Lf,\t") : (last ? "%15.6Lf\n" : "%15.6Lf,\t");
        const int n = std::snprintf(buf, sizeof buf, pattern, static_cast<long double>(value));
        return std::string(buf, static_cast<size_t>(n));
    };
    std::vector<double> values = {0.0, -0.0, 1e-300, -1e-300, 4.9e-324, -4.9e-324, 0.0000005, 0.0000015,
                                  -0.0000025, 999999.9999995, 1e15, -1e15, 99999999999999.0, 1e308, -1.7e308,
                                  9007199254740993.0, 9223372036854775808.0, -9223372036854775808.0, 1e19,
                                  std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                                  std::nan(""), -std::nan("")};
    uint64_t state = 20261125;
    auto next = [&state] {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        return state;
    };
    for (int i = 0; i < 50000; ++i) {
        const uint64_t r = next();
        const double sign = (r & 1) ? -1.0 : 1.0;
        // Any bit pattern at all.
        uint64_t bits = next();
        double any;
        std::memcpy(&any, &bits, sizeof any);
        values.push_back(any);
        // Halfway at the sixth decimal, and the doubles on either side.
        const double half = sign * static_cast<double>(next() % (1ull << 40)) / 128.0;
        values.push_back(half);
        values.push_back(std::nextafter(half, 0.0));
        values.push_back(std::nextafter(half, 1e300));
        // Fractions of every binary depth, at every scale of the integer part.
        const int depth = static_cast<int>(next() % 60);
        const double fraction = static_cast<double>(next() % (1ull << 52)) / std::ldexp(1.0, depth + 1);
        values.push_back(sign * fraction);
        // Whole numbers of every size.
        values.push_back(sign * std::ldexp(static_cast<double>(next() >> 11), static_cast<int>(next() % 80) - 10));
    }
    for (double value : values)
        for (int32_t last : {0, 1}) ASSERT_EQ(fmt(value, last), printfText(value, last)) << value;
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
