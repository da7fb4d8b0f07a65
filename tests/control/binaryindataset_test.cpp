// The binary dataset as a worker sees it: small datasets written byte by byte
// (dense, sparse, in pieces), the rows each rank receives per scan type, the
// values that reach the fields, and the failures that end the run. Expected
// rows follow from the block rule (q = N / W rows per worker, the last one
// taking the rest), worked out by hand.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "control/kvora_binaryindataset.h"
#include "control/kvora_pagereader.h"
#include "kernel/kvora_catfield.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_numfield.h"
#include "qrv_run.h"

namespace {

const double M = -99999.0;

std::string bytesOf(const std::vector<double> &values) {
    std::string out;
    for (double v : values) {
        uint64_t bits = 0;
        std::memcpy(&bits, &v, 8);
        for (int b = 0; b < 8; ++b) out.push_back(static_cast<char>((bits >> (8 * b)) & 0xFF));
    }
    return out;
}

// Sparse records (offset 0 unused, identifier, column index, value), joined.
std::vector<double> sparse(const std::vector<std::vector<double>> &records) {
    std::vector<double> out;
    for (const auto &r : records) out.insert(out.end(), {0.0, r[0], r[1], r[2]});
    return out;
}

std::vector<int64_t> range(int64_t first, int64_t last) {
    std::vector<int64_t> out;
    for (int64_t r = first; r <= last; ++r) out.push_back(r);
    return out;
}

// One open dataset with its data point and page reader, closed down cleanly.
struct Opened {
    KVORAEnv *env = nullptr;
    KVORAPageReader pages;
    KVORAOwnPtr<KVORADataPoint> dp;
    KVORAOwnPtr<KVORABinaryInputDataset> ds;

    Opened(const std::string &path, int32_t rank, int32_t workers, int32_t multi = 0) {
        dp.create(env);
        ds.create(env);
        ds->setPageReader(&pages);
        ds->setMultiFile(multi);
        // Another worker takes its columns from the data point that worker 0
        // made from the description file.
        if (rank != 0) ds->open(path, dp, 0, 1, env);
        ds->open(path, dp, rank, workers, env);
    }
    ~Opened() {
        ds.reset(env);
        dp.reset(env);
    }
    KVORAField *field(const char *name) { return dp->getField(name); }
    double num(const char *name) { return field(name)->getRealValue(); }
    int64_t next() { return ds->getNextRecord(*dp, env); }
    // Row indexes of one pass of the given type.
    std::vector<int64_t> pass(int32_t type, double rate = -1.0) {
        if (rate < 0)
            ds->beginScan(type);
        else
            ds->beginSampledScan(type, rate);
        std::vector<int64_t> rows;
        for (int guard = 0; guard < 100000; ++guard) {
            dp->beginRecord();
            const int64_t r = next();
            if (r < 0) break;
            rows.push_back(r);
        }
        return rows;
    }
};

// Column `column` of each row, in the order the rows come: one by one
// (capacity 0) or in batches of up to `capacity`; every batch must hold at
// least one row, at most `capacity`, and end with the row in hand.
std::vector<double> columnOfPass(Opened &o, int32_t type, int32_t capacity, int32_t column = 1) {
    o.ds->beginScan(type);
    std::vector<double> out;
    if (capacity == 0) {
        while (o.ds->nextRow() >= 0) out.push_back(o.ds->rowValues()[column]);
        return out;
    }
    std::vector<const double *> rows(static_cast<size_t>(capacity));
    for (int32_t n; (n = o.ds->nextRows(rows.data(), capacity)) > 0;) {
        EXPECT_LE(n, capacity);
        for (int32_t i = 0; i < n; ++i) out.push_back(rows[i][column]);
        EXPECT_EQ(o.ds->rowValues(), rows[n - 1]);
    }
    return out;
}

class DatasetTest : public ::testing::Test {
protected:
    void SetUp() override { dir = qrvtest::makeTempDir("dataset"); }
    // Writes `name` and its description; answers the data file's path.
    std::string dataset(const std::string &name, const std::string &info, const std::string &bytes) {
        qrvtest::writeFile(dir, name + ".info", info);
        return qrvtest::writeFile(dir, name, bytes);
    }
    // Dense rows of (line, a, b): line = 100 + row, a = row, b = 2 * row.
    std::string denseTen(int rows = 10) {
        std::vector<double> v;
        for (int r = 0; r < rows; ++r) v.insert(v.end(), {100.0 + r, 1.0 * r, 2.0 * r});
        return dataset("d", "line Numeric LineNumber\na Numeric Explanatory\nb Numeric Target\n", bytesOf(v));
    }
    std::string dir;
};

}  // namespace

TEST_F(DatasetTest, TenRowsOnThreeWorkersFollowTheBlocks) {
    const std::string path = denseTen();
    // Blocks 0-2, 3-5, 6-9.
    const std::vector<std::vector<int64_t>> own = {range(0, 2), range(3, 5), range(6, 9)};
    const std::vector<std::vector<int64_t>> others = {range(3, 9), {0, 1, 2, 6, 7, 8, 9}, range(0, 5)};
    for (int32_t r = 0; r < 3; ++r) {
        Opened o(path, r, 3);
        EXPECT_EQ(o.pass(0), own[r]) << "rank " << r;
        EXPECT_EQ(o.pass(1), others[r]) << "rank " << r;
        EXPECT_EQ(o.pass(2), range(0, 9));
        EXPECT_EQ(o.pass(6), range(0, 9));
        EXPECT_TRUE(o.pass(3).empty());
        // Line numbers 100..109: line modulo 3 equal to the rank.
        std::vector<int64_t> byLine;
        for (int64_t row = 0; row < 10; ++row)
            if ((100 + row) % 3 == r) byLine.push_back(row);
        EXPECT_EQ(o.pass(5), byLine);
        // A rate of 1.0 is never exceeded by a draw: nothing is skipped.
        EXPECT_EQ(o.pass(4, 1.0), range(0, 9));
    }
    // Fewer rows than workers: all go to the last one.
    const std::string two = denseTen(2);
    for (int32_t r = 0; r < 4; ++r) {
        Opened o(two, r, 4);
        EXPECT_EQ(o.pass(0), r == 3 ? range(0, 1) : std::vector<int64_t>()) << "rank " << r;
        EXPECT_EQ(o.pass(1), r == 3 ? std::vector<int64_t>() : range(0, 1)) << "rank " << r;
    }
}

TEST_F(DatasetTest, ValuesReachTheFieldsAndRewindRepeatsTheShare) {
    const std::string path = denseTen();
    Opened o(path, 1, 3);
    ASSERT_EQ(o.dp->getFieldCount(), 3);
    o.ds->beginScan(0);
    EXPECT_EQ(o.next(), 3);
    EXPECT_EQ(o.num("line"), 103.0);
    EXPECT_EQ(o.num("a"), 3.0);
    EXPECT_EQ(o.num("b"), 6.0);
    EXPECT_EQ(o.next(), 4);
    EXPECT_EQ(o.num("b"), 8.0);
    o.ds->rewind(o.env);
    EXPECT_EQ(o.next(), 3);
    EXPECT_EQ(o.num("a"), 3.0);
    // The line number is computed; usage from the purposes: 7, 2, 1.
    EXPECT_EQ(o.dp->getFieldAt(1)->isComputed(), 1);
    EXPECT_EQ(o.ds->getLineNumberIndex(), 0);
    EXPECT_EQ(o.ds->getTargetIndex(), 2);
    Opened master(path, 0, 3);
    EXPECT_EQ(master.ds->getFieldUsage(1), 7);
    EXPECT_EQ(master.ds->getFieldUsage(2), 2);
    EXPECT_EQ(master.ds->getFieldUsage(3), 1);

    // A missing number marks its field; the next row's value clears it.
    Opened m(dataset("m", "a Numeric Explanatory\nb Numeric Target\n", bytesOf({M, 5, 2, M})), 0, 1);
    m.ds->beginScan(0);
    ASSERT_EQ(m.next(), 0);
    EXPECT_EQ(m.field("a")->isMissing(), 1);
    EXPECT_EQ(m.field("a")->getValueIndex(), -1);
    EXPECT_EQ(m.field("b")->isMissing(), 0);
    ASSERT_EQ(m.next(), 1);
    EXPECT_EQ(m.field("a")->isMissing(), 0);
    EXPECT_EQ(m.num("a"), 2.0);
    EXPECT_EQ(m.field("b")->isMissing(), 1);
}

TEST_F(DatasetTest, RowsStraddlingAWindowStartTheNextWindow) {
    // Rows of 24 bytes: row 8333 spans bytes 199992 to 200015, across the
    // first window's end; windows then start at 199992 and at 399984.
    const int rows = 20000;
    std::vector<double> v;
    for (int r = 0; r < rows; ++r) v.insert(v.end(), {1.0 * r, r + 0.5, -1.0 * r});
    Opened o(dataset("w", "x Numeric Explanatory\ny Numeric Explanatory\nz Numeric Explanatory\n", bytesOf(v)), 0,
             1);
    o.ds->beginScan(0);
    int64_t count = 0;
    for (int64_t r; (r = o.next()) >= 0; ++count) {
        ASSERT_EQ(o.num("x"), static_cast<double>(r));
        ASSERT_EQ(o.num("y"), r + 0.5);
        ASSERT_EQ(o.num("z"), -static_cast<double>(r));
    }
    EXPECT_EQ(count, rows);
    EXPECT_EQ(o.pages.getRefillCount(), 3);
    EXPECT_EQ(o.pages.getWindowFirst(), 399984);
    EXPECT_EQ(o.pages.getWindowLast(), rows * 24 - 1);
}

TEST_F(DatasetTest, PiecesFormOneDataset) {
    // Ten rows of one column in pieces of 3, 4 and 3 rows.
    qrvtest::writeFile(dir, "p.info", "v Numeric Explanatory\n");
    qrvtest::writeFile(dir, "p.0", bytesOf({0, 1, 2}));
    qrvtest::writeFile(dir, "p.1", bytesOf({3, 4, 5, 6}));
    qrvtest::writeFile(dir, "p.2", bytesOf({7, 8, 9}));
    const std::vector<std::vector<int64_t>> own = {range(0, 2), range(3, 5), range(6, 9), range(0, 9)};
    for (int32_t r = 0; r < 4; ++r) {
        Opened o(dir + "/p", r % 3, r < 3 ? 3 : 1, 1);
        EXPECT_EQ(o.ds->getTotalSize(), 80);
        o.ds->beginScan(0);
        std::vector<int64_t> rows;
        for (int64_t row; (row = o.next()) >= 0; rows.push_back(row)) EXPECT_EQ(o.num("v"), static_cast<double>(row));
        EXPECT_EQ(rows, own[r]);
        // In batches, which end where a piece does.
        const std::vector<double> values(own[r].begin(), own[r].end());
        EXPECT_EQ(columnOfPass(o, 0, 512, 0), values);
    }
}

TEST_F(DatasetTest, DescriptionAndDataFileQuirks) {
    // Two columns of one name: the first field stays, both write into it;
    // words after the third are ignored.
    {
        Opened o(dataset("u", "a Numeric Explanatory extra words\na Numeric Explanatory\nb Numeric Target\n",
                         bytesOf({1, 2, 3})),
                 0, 1);
        EXPECT_EQ(o.ds->getColumnCount(), 3);
        EXPECT_EQ(o.dp->getFieldCount(), 2);
        o.ds->beginScan(0);
        EXPECT_EQ(o.next(), 0);
        EXPECT_EQ(o.num("a"), 2.0);
        EXPECT_EQ(o.num("b"), 3.0);
    }
    // An empty data file opens with every pass empty; a tail shorter than a
    // row is never read.
    Opened e(dataset("e", "a Numeric Explanatory\n", ""), 0, 2);
    EXPECT_TRUE(e.pass(0).empty());
    EXPECT_TRUE(e.pass(1).empty());
    Opened t(dataset("t", "a Numeric Explanatory\nb Numeric Explanatory\n", bytesOf({1, 2, 3})), 0, 1);
    EXPECT_EQ(t.pass(0), range(0, 0));
    EXPECT_EQ(t.pass(2), range(0, 0));
}

TEST_F(DatasetTest, CategoricalValuesAndMissingOnes) {
    Opened o(dataset("c", "k Categorical Explanatory\nx Numeric Explanatory\n",
                     bytesOf({3.0, 1.5, M, M, 0.1, 2.0, 1e20, 4.0})),
             0, 1);
    KVORAField *k = o.field("k");
    ASSERT_TRUE(k->isKindOf(KVORACatField::classType()));
    o.ds->beginScan(0);
    ASSERT_EQ(o.next(), 0);
    EXPECT_STREQ(k->getTextValue().c_str(), "3");
    EXPECT_EQ(o.num("x"), 1.5);
    // Missing in a categorical column: no category is made of -99999.
    ASSERT_EQ(o.next(), 1);
    EXPECT_EQ(k->isMissing(), 1);
    EXPECT_EQ(k->getValueIndex(), -1);
    EXPECT_EQ(k->ivTextValue.size(), 0u);
    EXPECT_EQ(o.field("x")->isMissing(), 1);
    o.next();
    EXPECT_STREQ(k->getTextValue().c_str(), "0.1");
    o.next();
    EXPECT_STREQ(k->getTextValue().c_str(), "1e+20");
}

TEST_F(DatasetTest, LineGroupsInTheGroupSample) {
    // Line numbers 1 1 2 2 2 3 4 4. A rate of 1.0 draws k = 0, so each new
    // group ends at the next change: groups 1 and 3 are left out. A rate of
    // 10 or more answers -1: the same groups.
    Opened o(dataset("g", "line Numeric LineNumber\n", bytesOf({1, 1, 2, 2, 2, 3, 4, 4})), 0, 1);
    EXPECT_EQ(o.pass(7, 1.0), std::vector<int64_t>({2, 3, 4, 6, 7}));
    EXPECT_EQ(o.pass(7, 10.0), std::vector<int64_t>({2, 3, 4, 6, 7}));
    EXPECT_EQ(KVORABinaryInputDataset::skipCount(10.0), -1);
    EXPECT_EQ(KVORABinaryInputDataset::skipCount(1.0), 0);
    // Draws are at least 0.0: a rate just below 0 would never stop, 0.0 soon does.
    EXPECT_GE(KVORABinaryInputDataset::skipCount(0.0), 0);
}

// Lines of 1 to 300 rows over several windows: each worker gets exactly the
// rows of the lines it owns, wherever a line starts or ends against a window,
// and values that truncate alike (7.2, 7.9) are one line.
TEST_F(DatasetTest, TheSplitByLineAcrossWindows) {
    std::vector<double> values;
    std::vector<int64_t> lineOf;
    uint64_t state = 12345;
    for (int64_t line = 1; values.size() < 2 * 45000; ++line) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        // Lines of one row over the first two windows' ends (rows 12,500 and
        // 25,000), so that windows also end where lines do.
        const int rows = values.size() < 2 * 26000 ? 1 : 1 + static_cast<int>((state >> 33) % 300);
        for (int r = 0; r < rows; ++r) {
            // Fractions within a line; a negative line now and then.
            const double magnitude = static_cast<double>(line) + (r % 2 == 0 ? 0.2 : 0.9);
            const double value = line % 17 == 0 ? -magnitude : magnitude;
            values.push_back(value);
            values.push_back(static_cast<double>(r));
            lineOf.push_back(line % 17 == 0 ? -line : line);
        }
    }
    qrvtest::writeFile(dir, "w.info", "line Numeric LineNumber\nv Numeric Explanatory\n");
    const std::string path = qrvtest::writeFile(dir, "w", bytesOf(values));
    ASSERT_GT(values.size() * 8, 3u * KVORAPageReader::WindowBytes);
    for (int32_t workers = 1; workers <= 4; ++workers) {
        for (int32_t rank = 0; rank < workers; ++rank) {
            std::vector<int64_t> expected;
            for (size_t row = 0; row < lineOf.size(); ++row)
                if (lineOf[row] % workers == rank) expected.push_back(static_cast<int64_t>(row));
            Opened w(path, rank, workers);
            EXPECT_EQ(w.pass(5), expected) << rank << " of " << workers;
        }
    }
}

TEST_F(DatasetTest, BatchesHoldTheRowsThatComeOneByOne) {
    // Lines of 1 to 40 rows, some negative and some fractional, over more
    // than three windows; some lines hold NaN, an infinity or zeros of both
    // signs, which compare unlike their integer values.
    std::vector<double> values;
    uint64_t state = 777;
    for (int64_t line = 1, row = 0; row < 30000; ++line) {
        state = state * 6364136223846793005ull + 1442695040888963407ull;
        const int rows = 1 + static_cast<int>((state >> 33) % 40);
        for (int r = 0; r < rows; ++r, ++row) {
            double value = static_cast<double>(line) + (r % 3 == 0 ? 0.0 : 0.5);
            if (line % 11 == 0) value = r % 2 == 0 ? std::nan("") : -std::numeric_limits<double>::infinity();
            if (line % 13 == 0) value = r % 2 == 0 ? 0.0 : -0.0;
            values.push_back(line % 7 == 0 ? -value : value);
            values.push_back(static_cast<double>(row));
        }
    }
    const std::string path = dataset("b", "line Numeric LineNumber\nindex Numeric Explanatory\n", bytesOf(values));
    for (int32_t workers = 1; workers <= 3; ++workers) {
        for (int32_t rank = 0; rank < workers; ++rank) {
            Opened o(path, rank, workers);
            for (int32_t type : {0, 1, 2, 5, 6}) {
                const std::vector<double> oneByOne = columnOfPass(o, type, 0);
                // Alone, a worker's block is all rows: the others' are none.
                ASSERT_EQ(oneByOne.empty(), type == 1 && workers == 1);
                for (int32_t capacity : {1, 7, 512})
                    EXPECT_EQ(columnOfPass(o, type, capacity), oneByOne)
                        << "type " << type << ", rank " << rank << " of " << workers << ", batches of " << capacity;
            }
        }
    }
}

TEST_F(DatasetTest, ARowWhoseNumberIsPrintedBeginsABatch) {
    // The number of every 5,000,000th row is printed as the row is passed;
    // work on the rows before it must come first, so it never joins them.
    // The second worker's block starts at row 2,500,300, so that this row
    // lies inside a window and inside what would be a batch.
    const int64_t rows = 5000600;
    std::vector<double> values(static_cast<size_t>(rows));
    for (int64_t r = 0; r < rows; ++r) values[static_cast<size_t>(r)] = static_cast<double>(r);
    Opened o(dataset("big", "index Numeric Explanatory\n", bytesOf(values)), 1, 2);
    o.ds->beginScan(0);
    const double *batch[512];
    int64_t seen = 0;
    int32_t place = -1;
    for (int32_t n; (n = o.ds->nextRows(batch, 512)) > 0; seen += n)
        for (int32_t i = 0; i < n; ++i)
            if (batch[i][0] == 5000000.0) place = i;
    EXPECT_EQ(seen, rows - rows / 2);
    EXPECT_EQ(place, 0);
}

namespace {

// Columns id (line number), x, y, t (target); rows 11 (x 1.5, y 2.5, closing
// 9), 12 (y missing, closing 7), 13 (no entries, closing 5). Closing records
// carry column index 3, so that they are not taken for headers.
std::string sparseFile(const std::string &dir) {
    qrvtest::writeFile(dir, "s.info",
                       "id Numeric LineNumber\nx Numeric Explanatory\ny Numeric Explanatory\nt Numeric Target\n");
    return qrvtest::writeFile(dir, "s",
                              bytesOf(sparse({{11, 0, 2}, {11, 1, 1.5}, {11, 2, 2.5}, {11, 3, 9}, {12, 0, 1},
                                              {12, 2, M}, {12, 3, 7}, {13, 0, 0}, {13, 3, 5}})));
}

}  // namespace

TEST_F(DatasetTest, SparseRowsGoToTheWorkerHoldingTheirHeader) {
    const std::string path = sparseFile(dir);
    // 9 records. W=2: 0-3, 4-8. W=3: 0-2, 3-5, 6-8. W=4: 0-1, 2-3, 4-5, 6-8.
    const std::vector<std::vector<std::vector<int64_t>>> expected = {
        {{11, 12, 13}},
        {{11}, {12, 13}},
        {{11}, {12}, {13}},
        {{11}, {}, {12}, {13}},
    };
    for (int32_t w = 1; w <= 4; ++w)
        for (int32_t r = 0; r < w; ++r) {
            Opened o(path, r, w);
            EXPECT_EQ(o.pass(8), expected[w - 1][r]) << "W " << w << " rank " << r;
            EXPECT_EQ(o.ds->getSparseRowCount(), static_cast<int32_t>(expected[w - 1][r].size()));
        }
}

TEST_F(DatasetTest, SparseRowValuesAndActiveFields) {
    Opened o(sparseFile(dir), 0, 1);
    o.ds->beginScan(8);
    ASSERT_EQ(o.next(), 11);
    EXPECT_EQ(o.num("id"), 11.0);
    EXPECT_EQ(o.num("x"), 1.5);
    EXPECT_EQ(o.num("y"), 2.5);
    EXPECT_EQ(o.num("t"), 9.0);
    ASSERT_EQ(o.dp->getActiveFieldCount(), 2);
    EXPECT_EQ(o.dp->getActiveField(1), 1);
    EXPECT_EQ(o.dp->getActiveField(2), 2);
    // A missing entry is not active; a column without an entry keeps its value.
    ASSERT_EQ(o.next(), 12);
    EXPECT_EQ(o.dp->getActiveFieldCount(), 0);
    EXPECT_EQ(o.field("y")->isMissing(), 1);
    EXPECT_EQ(o.num("x"), 1.5);
    EXPECT_EQ(o.num("t"), 7.0);
    ASSERT_EQ(o.next(), 13);
    EXPECT_EQ(o.num("t"), 5.0);
    EXPECT_EQ(o.next(), -1);
    // Rewind clears the end of the share; record 0 is a header again.
    o.ds->rewind(o.env);
    EXPECT_EQ(o.next(), 11);
}

TEST(DatasetArithmetic, RowOffsetsBeyondFourGiBAreSixtyFourBit) {
    int64_t first = 0, last = 0;
    // 6,000,000,001 rows on 4 workers: blocks of 1,500,000,000.
    KVORABinaryInputDataset::workerBlock(6000000001LL, 3, 4, first, last);
    EXPECT_EQ(first, 4500000000LL);
    EXPECT_EQ(last, 6000000000LL);

    // A sparse file of 20 GiB holding one column: 2,684,354,560 rows. Worker 7
    // of 8 starts at row 2,348,810,240, byte 18,790,481,920.
    const std::string dir = qrvtest::makeTempDir("bigdataset");
    qrvtest::writeFile(dir, "big.info", "v Numeric Explanatory\n");
    const std::string path = dir + "/big";
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
    ASSERT_GE(fd, 0);
    const int64_t row = 2348810240LL;
    const std::string value = bytesOf({7.5, 8.5});
    const bool sparseOk = ::ftruncate(fd, 20LL << 30) == 0 &&
                          ::pwrite(fd, value.data(), value.size(), static_cast<off_t>(row * 8)) == 16;
    ::close(fd);
    if (!sparseOk) {
        ::unlink(path.c_str());
        GTEST_SKIP() << "no sparse files here";
    }
    {
        Opened o(path, 7, 8);
        o.ds->beginScan(0);
        EXPECT_EQ(o.ds->getLastRow(), 2684354560LL - 1);
        EXPECT_EQ(o.next(), row);
        EXPECT_EQ(o.num("v"), 7.5);
        EXPECT_EQ(o.next(), row + 1);
        EXPECT_EQ(o.num("v"), 8.5);
        EXPECT_EQ(o.pages.getWindowFirst(), row * 8);
    }
    ::unlink(path.c_str());
}

// ---- what ends the run ----

using DatasetDeathTest = DatasetTest;

// A failure throws up to the entry point, which ends the process with 99.
// The report line goes to standard output; the death test watches standard
// error, so the child sends one to the other.
TEST_F(DatasetDeathTest, BrokenInputsAndScansEnd) {
    const std::string data = dataset("b", "a Numeric Explanatory\n", bytesOf({1, 2}));
    const std::string longLine = dataset("l", std::string(1200, 'x') + " Numeric Explanatory\n", "");
    const std::string sparseData = dataset("x", "id Numeric LineNumber\nv Numeric Explanatory\n", "");
    auto open = [](const std::string &path, int32_t multi) {
        Opened o(path, 0, 1, multi);
    };
    auto scan = [data](int32_t type, double rate) {
        Opened o(data, 0, 1);
        o.ds->beginScan(0);
        o.ds->beginSampledScan(type, rate);
        o.next();
    };
    auto sparsePass = [this, sparseData](const std::vector<std::vector<double>> &records) {
        qrvtest::writeFile(dir, "x", bytesOf(sparse(records)));
        Opened(sparseData, 0, 1).pass(8);
    };
    const std::vector<std::pair<std::function<void()>, std::string>> cases = {
        // No piece at all in multi-file mode; an empty piece alone is the same.
        {[&] { open(dir + "/none", 1); },
         "Error;\\|2305;\\|" + dir + "/none;\\|Failed to open input data file !!;\\|ErrorEnd[^*]*"
         "\\*\\*\\* ERROR in function.*\n    Failed to open input data file !!"},
        {[&] {
             qrvtest::writeFile(dir, "z.0", "");
             open(dir + "/z", 1);
         },
         "Error;\\|2305;\\|"},
        {[&] { open(longLine, 0); }, "Line longer than 999 characters"},
        {[&] { scan(9, 1.0); }, "ivScanType should be 0, 1, 2 or 3"},
        {[&] { scan(5, 1.0); }, "Sparse mode requires a line number column in the data. No such column detected."},
        {[&] { scan(7, 0.5); }, "Sparse mode requires a line number column"},
        {[&] { scan(-1, 1.0); }, "Unknown sampling mode."},
        // Rates that would make a sampled pass run for ever are refused.
        {[&] { scan(4, 10.0); }, "Error;\\|2202;\\|A sampled scan needs a sampling rate below 10.0"},
        {[&] { scan(4, -0.5); }, "Error;\\|2202;\\|A sampled scan needs a sampling rate that is not negative"},
        {[&] { sparsePass({{1, 0, 1}, {1, 5, 2.0}, {1, 1, 0}}); }, "Column index of a sparse record out of range"},
        {[&] { sparsePass({{1, 0, -3}, {1, 1, 2.0}}); }, "Negative entry count"},
    };
    for (const auto &c : cases) {
        EXPECT_EXIT(
            {
                ::dup2(2, 1);
                try {
                    c.first();
                } catch (...) {
                    std::exit(99);
                }
                std::exit(0);
            },
            ::testing::ExitedWithCode(99), c.second);
    }
    // A sparse row cut short by the end of the data ends the pass.
    qrvtest::writeFile(dir, "x", bytesOf(sparse({{1, 0, 5}, {1, 1, 2.0}})));
    EXPECT_TRUE(Opened(sparseData, 0, 1).pass(8).empty());
}
