// The binary dataset as a worker sees it: small datasets written byte by byte
// (dense, sparse, in pieces), the rows each rank receives for every scan type
// with one to four workers, the values that reach the fields, and the files
// and descriptions that end the run. Expected rows follow from the block rule
// (q = N / W rows per worker, the last one taking the rest), worked out here
// by hand for the cases named in the tests.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "control/kvora_binaryindataset.h"
#include "control/kvora_pagereader.h"
#include "kernel/kvora_catfield.h"
#include "kernel/kvora_datapoint.h"
#include "kernel/kvora_numfield.h"
#include "qrv_run.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

#include <sstream>

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

// A sparse record: offset 0 unused, identifier, column index, value.
std::vector<double> rec(double id, double column, double value) { return {0.0, id, column, value}; }

std::vector<double> join(const std::vector<std::vector<double>> &parts) {
    std::vector<double> out;
    for (const auto &p : parts) out.insert(out.end(), p.begin(), p.end());
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
        if (rank != 0) receiveDataPoint(path, multi);
        ds.create(env);
        ds->setPageReader(&pages);
        ds->setMultiFile(multi);
        ds->open(path, dp, rank, workers, env);
    }
    // Another worker's data point comes from worker 0 over the object stream.
    void receiveDataPoint(const std::string &path, int32_t multi) {
        KVORAOwnPtr<KVORADataPoint> master;
        master.create(env);
        {
            KVORAPageReader masterPages;
            KVORABinaryInputDataset first;
            first.setPageReader(&masterPages);
            first.setMultiFile(multi);
            first.open(path, master, 0, 1, env);
        }
        std::stringstream ss;
        KVOStreamBlobWriter out(&ss);
        KVORABinObjWriter writer(&out, 0);
        kvoraWrite(writer, master, env);
        KVOStreamBlobReader in(&ss);
        KVORABinObjReader reader(&in);
        kvoraRead(reader, dp, env);
        master.reset(env);
    }
    ~Opened() {
        ds.reset(env);
        dp.reset(env);
    }
    double num(const char *name) { return dp->getField(name)->getRealValue(); }
    // Row indexes of one pass of the given type.
    std::vector<int64_t> pass(int32_t type, double rate = -1.0) {
        if (rate < 0)
            ds->beginScan(type);
        else
            ds->beginSampledScan(type, rate);
        std::vector<int64_t> rows;
        for (int guard = 0; guard < 100000; ++guard) {
            dp->beginRecord();
            const int64_t r = ds->getNextRecord(*dp, env);
            if (r < 0) break;
            rows.push_back(r);
        }
        return rows;
    }
};

class DatasetTest : public ::testing::Test {
protected:
    void SetUp() override { dir = qrvtest::makeTempDir("dataset"); }
    // Dense rows of (line, a, b): line = 100 + row, a = row, b = 2 * row.
    std::string denseTen(int rows = 10) {
        std::vector<double> v;
        for (int r = 0; r < rows; ++r) {
            v.push_back(100 + r);
            v.push_back(r);
            v.push_back(2.0 * r);
        }
        qrvtest::writeFile(dir, "d.info", "line Numeric LineNumber\na Numeric Explanatory\nb Numeric Target\n");
        return qrvtest::writeFile(dir, "d", bytesOf(v));
    }
    std::string dir;
};

std::vector<int64_t> range(int64_t first, int64_t last) {
    std::vector<int64_t> out;
    for (int64_t r = first; r <= last; ++r) out.push_back(r);
    return out;
}

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
}

TEST_F(DatasetTest, EveryRowOnceAcrossWorkersForOneToFourWorkers) {
    const std::string path = denseTen();
    for (int32_t w = 1; w <= 4; ++w) {
        std::vector<int> seen(10, 0), seenByLine(10, 0), seenOthers(10, 0);
        for (int32_t r = 0; r < w; ++r) {
            Opened o(path, r, w);
            for (int64_t row : o.pass(0)) ++seen[row];
            for (int64_t row : o.pass(5)) ++seenByLine[row];
            for (int64_t row : o.pass(1)) ++seenOthers[row];
        }
        for (int row = 0; row < 10; ++row) {
            EXPECT_EQ(seen[row], 1) << "W " << w << " row " << row;
            EXPECT_EQ(seenByLine[row], 1) << "W " << w << " row " << row;
            EXPECT_EQ(seenOthers[row], w - 1) << "W " << w << " row " << row;
        }
    }
}

TEST_F(DatasetTest, FewerRowsThanWorkersGoToTheLastWorker) {
    const std::string path = denseTen(2);
    for (int32_t r = 0; r < 3; ++r) {
        Opened o(path, r, 4);
        EXPECT_TRUE(o.pass(0).empty()) << "rank " << r;
        EXPECT_EQ(o.ds->getFirstRow(), 0);
        EXPECT_EQ(o.ds->getLastRow(), -1);
        EXPECT_EQ(o.pass(1), range(0, 1));
    }
    Opened last(path, 3, 4);
    EXPECT_EQ(last.pass(0), range(0, 1));
    EXPECT_TRUE(last.pass(1).empty());
}

TEST_F(DatasetTest, ValuesReachTheFieldsAndRewindRepeatsTheShare) {
    const std::string path = denseTen();
    Opened o(path, 1, 3);
    ASSERT_EQ(o.dp->getFieldCount(), 3);
    o.ds->beginScan(0);
    EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), 3);
    EXPECT_EQ(o.num("line"), 103.0);
    EXPECT_EQ(o.num("a"), 3.0);
    EXPECT_EQ(o.num("b"), 6.0);
    EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), 4);
    EXPECT_EQ(o.num("b"), 8.0);
    o.ds->rewind(o.env);
    EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), 3);
    EXPECT_EQ(o.num("a"), 3.0);
    // Fields as the description file says: purposes 7, 2, 1; the line number computed.
    EXPECT_EQ(o.dp->getFieldAt(1)->getPurpose(), 7);
    EXPECT_EQ(o.dp->getFieldAt(1)->isComputed(), 1);
    EXPECT_EQ(o.dp->getFieldAt(2)->getPurpose(), 2);
    EXPECT_EQ(o.dp->getFieldAt(3)->getPurpose(), 1);
    EXPECT_EQ(o.ds->getLineNumberIndex(), 0);
    EXPECT_EQ(o.ds->getTargetIndex(), 2);
    // Usage from the column purposes of worker 0's description file.
    Opened master(path, 0, 3);
    EXPECT_EQ(master.ds->getFieldUsage(1), 7);
    EXPECT_EQ(master.ds->getFieldUsage(2), 2);
    EXPECT_EQ(master.ds->getFieldUsage(3), 1);

    // Missing numbers, and a value after a missing one, in every column.
    qrvtest::writeFile(dir, "m.info", "line Numeric LineNumber\na Numeric Explanatory\nb Numeric Target\n");
    Opened m(qrvtest::writeFile(dir, "m", bytesOf({1, M, 3, M, 5, M, 2, 6, 7})), 0, 1);
    const std::vector<std::vector<int32_t>> missing = {{0, 1, 0}, {1, 0, 1}, {0, 0, 0}};
    m.ds->beginScan(0);
    for (int64_t row = 0; row < 3; ++row) {
        m.dp->beginRecord();
        ASSERT_EQ(m.ds->getNextRecord(*m.dp, m.env), row);
        for (int32_t c = 0; c < 3; ++c) {
            const KVORAField *f = m.dp->getFieldAt(c + 1);
            EXPECT_EQ(f->isPresent(), 1) << row << " " << c;
            EXPECT_EQ(f->isMissing(), missing[row][c]) << row << " " << c;
            EXPECT_EQ(f->getValueIndex(), missing[row][c] ? -1 : 0) << row << " " << c;
        }
    }
    EXPECT_EQ(m.num("line"), 2.0);
    EXPECT_EQ(m.num("b"), 7.0);
}

TEST_F(DatasetTest, OtherWorkersTakeTheirColumnsFromTheDataPoint) {
    const std::string path = denseTen();
    Opened master(path, 0, 2);
    // A worker's data point arrives with the fields; its own .info is not read.
    KVORAEnv *env = nullptr;
    KVORAPageReader pages;
    KVORAOwnPtr<KVORABinaryInputDataset> ds;
    ds.create(env);
    ds->setPageReader(&pages);
    ds->open(path, master.dp, 1, 2, env);
    EXPECT_EQ(ds->getColumnCount(), 3);
    EXPECT_EQ(ds->getLineNumberIndex(), 0);
    EXPECT_EQ(ds->getTargetIndex(), 2);
    // Numeric fields (type 2) give column type 1; the purpose stays the field's.
    EXPECT_EQ(ds->getColumnType(1), 1);
    EXPECT_EQ(ds->getColumnPurpose(1), 2);
    ds->beginScan(0);
    EXPECT_EQ(ds->getNextRecord(*master.dp, env), 5);
    EXPECT_EQ(master.num("a"), 5.0);
    ds.reset(env);
}

TEST_F(DatasetTest, RowsStraddlingAWindowStartTheNextWindow) {
    // Rows of 24 bytes: row 8333 spans bytes 199992 to 200015, across the
    // first window's end; windows then start at 199992 and at 399984.
    const int rows = 20000;
    std::vector<double> v;
    for (int r = 0; r < rows; ++r) {
        v.push_back(r);
        v.push_back(r + 0.5);
        v.push_back(-r);
    }
    qrvtest::writeFile(dir, "w.info", "x Numeric Explanatory\ny Numeric Explanatory\nz Numeric Explanatory\n");
    const std::string path = qrvtest::writeFile(dir, "w", bytesOf(v));
    Opened o(path, 0, 1);
    o.ds->beginScan(0);
    int64_t count = 0;
    for (int64_t r; (r = o.ds->getNextRecord(*o.dp, o.env)) >= 0; ++count) {
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
    const std::string stem = dir + "/p";
    const std::vector<std::vector<int64_t>> own = {range(0, 2), range(3, 5), range(6, 9)};
    for (int32_t r = 0; r < 3; ++r) {
        Opened o(stem, r, 3, 1);
        EXPECT_EQ(o.ds->getTotalSize(), 80);
        ASSERT_EQ(o.ds->getPieceSizes().size(), 3u);
        o.ds->beginScan(0);
        std::vector<int64_t> rows;
        for (int64_t row; (row = o.ds->getNextRecord(*o.dp, o.env)) >= 0;) {
            EXPECT_EQ(o.num("v"), static_cast<double>(row));
            rows.push_back(row);
        }
        EXPECT_EQ(rows, own[r]);
    }
    Opened all(stem, 0, 1, 1);
    all.ds->beginScan(2);
    for (int64_t row; (row = all.ds->getNextRecord(*all.dp, all.env)) >= 0;)
        EXPECT_EQ(all.num("v"), static_cast<double>(row));
    EXPECT_EQ(all.pages.getPieceIndex(), 2);
}

TEST_F(DatasetTest, DescriptionFileQuirks) {
    // No final line feed: the last column is lost, rows are 16 bytes.
    qrvtest::writeFile(dir, "n.info", "a Numeric Explanatory\nb Numeric Explanatory\nc Numeric Target");
    const std::string n = qrvtest::writeFile(dir, "n", bytesOf({1, 2, 3, 4, 5, 6}));
    {
        Opened o(n, 0, 1);
        EXPECT_EQ(o.ds->getColumnCount(), 2);
        EXPECT_EQ(o.ds->getTargetIndex(), -1);
        EXPECT_EQ(o.pass(0), range(0, 2));
        o.ds->rewind(o.env);
        o.ds->getNextRecord(*o.dp, o.env);
        EXPECT_EQ(o.num("b"), 2.0);
    }
    // Two columns of one name: the first field stays, both write into it;
    // words after the third are ignored.
    qrvtest::writeFile(dir, "u.info", "a Numeric Explanatory extra words\na Numeric Explanatory\nb Numeric Target\n");
    const std::string u = qrvtest::writeFile(dir, "u", bytesOf({1, 2, 3}));
    {
        Opened o(u, 0, 1);
        EXPECT_EQ(o.ds->getColumnCount(), 3);
        EXPECT_EQ(o.dp->getFieldCount(), 2);
        o.ds->beginScan(0);
        EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), 0);
        EXPECT_EQ(o.num("a"), 2.0);
        EXPECT_EQ(o.num("b"), 3.0);
    }
    // An empty data file opens; every pass is empty.
    qrvtest::writeFile(dir, "e.info", "a Numeric Explanatory\n");
    const std::string e = qrvtest::writeFile(dir, "e", "");
    {
        Opened o(e, 0, 2);
        EXPECT_TRUE(o.pass(0).empty());
        EXPECT_TRUE(o.pass(1).empty());
    }
    // A tail shorter than a row is never read.
    qrvtest::writeFile(dir, "t.info", "a Numeric Explanatory\nb Numeric Explanatory\n");
    const std::string t = qrvtest::writeFile(dir, "t", bytesOf({1, 2, 3}));
    {
        Opened o(t, 0, 1);
        EXPECT_EQ(o.pass(0), range(0, 0));
        EXPECT_EQ(o.pass(2), range(0, 0));
    }
}

TEST_F(DatasetTest, CategoricalAndMissingValues) {
    qrvtest::writeFile(dir, "c.info", "k Categorical Explanatory\nx Numeric Explanatory\n");
    const std::string path = qrvtest::writeFile(dir, "c", bytesOf({3.0, 1.5, M, M, 0.1, 2.0, 1e20, 4.0}));
    Opened o(path, 0, 1);
    KVORAField *k = o.dp->getField("k");
    KVORAField *x = o.dp->getField("x");
    ASSERT_TRUE(k->isKindOf(KVORACatField::classType()));
    o.ds->beginScan(0);
    ASSERT_EQ(o.ds->getNextRecord(*o.dp, o.env), 0);
    EXPECT_STREQ(k->getTextValue().c_str(), "3");
    EXPECT_EQ(k->getValueIndex(), KVORAField::DefaultValueIndex);
    EXPECT_EQ(x->getRealValue(), 1.5);
    ASSERT_EQ(o.ds->getNextRecord(*o.dp, o.env), 1);
    // Missing in a categorical column: no category is made of -99999.
    EXPECT_EQ(k->isMissing(), 1);
    EXPECT_EQ(k->isPresent(), 1);
    EXPECT_EQ(k->getValueIndex(), -1);
    EXPECT_EQ(k->ivTextValue.size(), 0u);
    EXPECT_EQ(x->isMissing(), 1);
    EXPECT_EQ(x->getRealValue(), 0.0);
    ASSERT_EQ(o.ds->getNextRecord(*o.dp, o.env), 2);
    EXPECT_STREQ(k->getTextValue().c_str(), "0.1");
    EXPECT_EQ(x->isMissing(), 0);
    ASSERT_EQ(o.ds->getNextRecord(*o.dp, o.env), 3);
    EXPECT_STREQ(k->getTextValue().c_str(), "1e+20");
}

TEST_F(DatasetTest, LineGroupsInTheGroupSampleAndTheSplitByLine) {
    // Line numbers 1 1 2 2 2 3 4 4. A rate of 1.0 draws k = 0, so each new
    // group ends at the next change: groups 1 and 3 are left out.
    qrvtest::writeFile(dir, "g.info", "line Numeric LineNumber\n");
    const std::string path = qrvtest::writeFile(dir, "g", bytesOf({1, 1, 2, 2, 2, 3, 4, 4}));
    Opened o(path, 0, 1);
    EXPECT_EQ(o.pass(7, 1.0), std::vector<int64_t>({2, 3, 4, 6, 7}));
    // By line number, a group goes whole to one of two workers, pass after pass.
    for (int32_t rank = 0; rank < 2; ++rank) {
        Opened w(path, rank, 2);
        const std::vector<int64_t> mine = rank == 0 ? std::vector<int64_t>({2, 3, 4, 6, 7})
                                                    : std::vector<int64_t>({0, 1, 5});
        EXPECT_EQ(w.pass(5), mine) << "rank " << rank;
        EXPECT_EQ(w.pass(5), mine) << "rank " << rank;
    }
    // A rate of 10 or more answers -1: the same groups.
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

namespace {

// Columns id (line number), x, y, t (target); rows 11 (x 1.5, y 2.5, closing
// 9), 12 (y missing, closing 7), 13 (no entries, closing 5). Closing records
// carry column index 3, so that they are not taken for headers.
std::string sparseFile(const std::string &dir) {
    qrvtest::writeFile(dir, "s.info",
                       "id Numeric LineNumber\nx Numeric Explanatory\ny Numeric Explanatory\nt Numeric Target\n");
    return qrvtest::writeFile(dir, "s",
                              bytesOf(join({rec(11, 0, 2), rec(11, 1, 1.5), rec(11, 2, 2.5), rec(11, 3, 9),
                                            rec(12, 0, 1), rec(12, 2, M), rec(12, 3, 7),
                                            rec(13, 0, 0), rec(13, 3, 5)})));
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
    const std::string path = sparseFile(dir);
    Opened o(path, 0, 1);
    o.ds->beginScan(8);
    ASSERT_EQ(o.ds->getNextRecord(*o.dp, o.env), 11);
    EXPECT_EQ(o.num("id"), 11.0);
    EXPECT_EQ(o.num("x"), 1.5);
    EXPECT_EQ(o.num("y"), 2.5);
    EXPECT_EQ(o.num("t"), 9.0);
    ASSERT_EQ(o.dp->getActiveFieldCount(), 2);
    EXPECT_EQ(o.dp->getActiveField(1), 1);
    EXPECT_EQ(o.dp->getActiveField(2), 2);
    ASSERT_EQ(o.ds->getNextRecord(*o.dp, o.env), 12);
    // A missing entry is not active; a column without an entry keeps its value.
    EXPECT_EQ(o.dp->getActiveFieldCount(), 0);
    EXPECT_EQ(o.dp->getField("y")->isMissing(), 1);
    EXPECT_EQ(o.num("x"), 1.5);
    EXPECT_EQ(o.num("t"), 7.0);
    ASSERT_EQ(o.ds->getNextRecord(*o.dp, o.env), 13);
    EXPECT_EQ(o.num("t"), 5.0);
    EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), -1);
    // Rewind clears the end of the share; record 0 is a header again.
    o.ds->rewind(o.env);
    EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), 11);
}

TEST(DatasetArithmetic, RowOffsetsBeyondFourGiBAreSixtyFourBit) {
    int64_t first = 0, last = 0;
    // 6,000,000,000 rows on 4 workers: blocks of 1,500,000,000.
    KVORABinaryInputDataset::workerBlock(6000000000LL, 3, 4, first, last);
    EXPECT_EQ(first, 4500000000LL);
    EXPECT_EQ(last, 5999999999LL);
    KVORABinaryInputDataset::workerBlock(6000000001LL, 1, 4, first, last);
    EXPECT_EQ(first, 1500000000LL);
    EXPECT_EQ(last, 2999999999LL);

    // A sparse file of 20 GiB holding one column: 2,684,354,560 rows. Worker 7
    // of 8 starts at row 2,348,810,240, byte 18,790,481,920.
    const std::string dir = qrvtest::makeTempDir("bigdataset");
    qrvtest::writeFile(dir, "big.info", "v Numeric Explanatory\n");
    const std::string path = dir + "/big";
    const int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0644);
    ASSERT_GE(fd, 0);
    const int64_t size = 20LL << 30;
    const int64_t row = 2348810240LL;
    const std::string value = bytesOf({7.5, 8.5});
    const bool sparseOk = ::ftruncate(fd, size) == 0 &&
                          ::pwrite(fd, value.data(), value.size(), static_cast<off_t>(row * 8)) == 16;
    ::close(fd);
    if (!sparseOk) {
        ::unlink(path.c_str());
        GTEST_SKIP() << "no sparse files here";
    }
    {
        Opened o(path, 7, 8);
        EXPECT_EQ(o.ds->getTotalSize(), size);
        o.ds->beginScan(0);
        EXPECT_EQ(o.ds->getFirstRow(), row);
        EXPECT_EQ(o.ds->getLastRow(), 2684354560LL - 1);
        EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), row);
        EXPECT_EQ(o.num("v"), 7.5);
        EXPECT_EQ(o.ds->getNextRecord(*o.dp, o.env), row + 1);
        EXPECT_EQ(o.num("v"), 8.5);
        EXPECT_EQ(o.pages.getWindowFirst(), row * 8);
    }
    ::unlink(path.c_str());
}

// ---- what ends the run ----

namespace {

// The report line goes to standard output: the death test watches standard
// error, so the child sends one to the other.
void openWithReports(const std::string &path, int32_t rank, int32_t multi) {
    ::dup2(2, 1);
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORADataPoint> dp;
    dp.create(env);
    KVORABinaryInputDataset ds;
    ds.setMultiFile(multi);
    try {
        ds.open(path, dp, rank, 1, env);
    } catch (...) {
        dp.reset(env);
        throw;
    }
    dp.reset(env);
}

}  // namespace

using DatasetDeathTest = DatasetTest;

// A failure throws up to the entry point, which ends the process with 99.
#define EXPECT_RUN_ENDS(statement, pattern)                                            \
    EXPECT_EXIT(                                                                        \
        {                                                                               \
            try {                                                                       \
                statement;                                                              \
            } catch (...) {                                                             \
                std::exit(99);                                                          \
            }                                                                           \
            std::exit(0);                                                               \
        },                                                                              \
        ::testing::ExitedWithCode(99), pattern)

TEST_F(DatasetDeathTest, MissingFilesReportAndEnd) {
    const std::string none = dir + "/none";
    EXPECT_RUN_ENDS(openWithReports(none, 0, 0),
                 "Error;\\|2305;\\|" + none + ";\\|Failed to open input data file !!;\\|ErrorEnd[^*]*"
                 "\\*\\*\\* ERROR in function.*\n    Failed to open input data file !!");
    // No piece at all in multi-file mode; an empty piece alone is the same.
    EXPECT_RUN_ENDS(openWithReports(none, 0, 1), "Error;\\|2305;\\|");
    qrvtest::writeFile(dir, "z.0", "");
    EXPECT_RUN_ENDS(openWithReports(dir + "/z", 0, 1), "Failed to open input data file !!");
    const std::string data = qrvtest::writeFile(dir, "noinfo", bytesOf({1}));
    EXPECT_RUN_ENDS(openWithReports(data, 0, 0),
                 "Error;\\|2306;\\|Failed to open input data file info !!;\\|" + data +
                     "\\.info;\\|ErrorEnd.*Failed to open input info file !!");
}

TEST_F(DatasetDeathTest, BrokenDescriptionsAndScansEnd) {
    const std::string data = qrvtest::writeFile(dir, "b", bytesOf({1, 2}));
    qrvtest::writeFile(dir, "b.info", "a numeric Explanatory\n");
    EXPECT_RUN_ENDS(openWithReports(data, 0, 0), "Unknown attribute type \n");
    qrvtest::writeFile(dir, "b.info", "a Numeric Explanatory\n\nb Numeric Target\n");
    EXPECT_RUN_ENDS(openWithReports(data, 0, 0), "Unknown attribute type \n");
    qrvtest::writeFile(dir, "b.info", "a Numeric Explanatory\nb Numeric Label\n");
    EXPECT_RUN_ENDS(openWithReports(data, 0, 0), "Unknown attribute purpose \n");
    qrvtest::writeFile(dir, "b.info", std::string(1200, 'x') + " Numeric Explanatory\n");
    EXPECT_RUN_ENDS(openWithReports(data, 0, 0), "Line longer than 999 characters");

    qrvtest::writeFile(dir, "b.info", "a Numeric Explanatory\n");
    EXPECT_RUN_ENDS(
        {
            KVORAEnv *env = nullptr;
            KVORAOwnPtr<KVORADataPoint> dp;
            KVORABinaryInputDataset ds;
            ds.open(data, dp, 0, 1, env);
        },
        "datapointPtr cannot be NULL");
    EXPECT_RUN_ENDS(
        {
            Opened o(data, 0, 1);
            o.ds->beginScan(9);
        },
        "ivScanType should be 0, 1, 2 or 3");
    EXPECT_RUN_ENDS(
        {
            Opened o(data, 0, 1);
            o.ds->beginScan(5);
        },
        "Sparse mode requires a line number column in the data. No such column detected.");
    EXPECT_RUN_ENDS(
        {
            Opened o(data, 0, 1);
            o.ds->beginSampledScan(7, 0.5);
        },
        "Sparse mode requires a line number column");
    EXPECT_RUN_ENDS(
        {
            Opened o(data, 0, 1);
            o.ds->beginScan(0);
            o.ds->beginScan(-1);
            o.ds->getNextRecord(*o.dp, o.env);
        },
        "Unknown sampling mode.");
    // Rates that would make a sampled pass run for ever are refused.
    EXPECT_RUN_ENDS(
        {
            ::dup2(2, 1);
            Opened o(data, 0, 1);
            o.ds->beginSampledScan(4, 10.0);
        },
        "Error;\\|2202;\\|A sampled scan needs a sampling rate below 10.0");
    EXPECT_RUN_ENDS(
        {
            ::dup2(2, 1);
            Opened o(data, 0, 1);
            o.ds->beginSampledScan(4, -0.5);
        },
        "Error;\\|2202;\\|A sampled scan needs a sampling rate that is not negative");
}

TEST_F(DatasetDeathTest, BrokenSparseRowsEnd) {
    qrvtest::writeFile(dir, "x.info", "id Numeric LineNumber\nv Numeric Explanatory\n");
    const std::string bad = qrvtest::writeFile(dir, "x", bytesOf(join({rec(1, 0, 1), rec(1, 5, 2.0), rec(1, 1, 0)})));
    EXPECT_RUN_ENDS(
        {
            Opened o(bad, 0, 1);
            o.pass(8);
        },
        "Column index of a sparse record out of range");
    const std::string neg = qrvtest::writeFile(dir, "x", bytesOf(join({rec(1, 0, -3), rec(1, 1, 2.0)})));
    EXPECT_RUN_ENDS(
        {
            Opened o(neg, 0, 1);
            o.pass(8);
        },
        "Negative entry count");
    // A row cut short by the end of the data ends the pass.
    const std::string cut = qrvtest::writeFile(dir, "x", bytesOf(join({rec(1, 0, 5), rec(1, 1, 2.0)})));
    Opened o(cut, 0, 1);
    EXPECT_TRUE(o.pass(8).empty());
}

TEST_F(DatasetTest, ReadsWhatTheLoaderWrites) {
    if (!qrvtest::fileExists(qrvtest::qrvloadPath())) GTEST_SKIP() << "no loader built";
    qrvtest::writeFile(dir, "t.csv", "id,x,k\n1,0.5,3\n2,,4\n3,2.5,\n");
    qrvtest::RunOptions options;
    options.dir = dir;
    const qrvtest::RunResult load = qrvtest::run(
        {qrvtest::qrvloadPath(), "table", "t.csv", "t", "--line-number", "id", "--categorical", "k"}, options);
    ASSERT_EQ(load.status, 0) << load.out << load.err;
    for (int32_t w = 1; w <= 2; ++w) {
        std::vector<int64_t> rows;
        for (int32_t r = 0; r < w; ++r) {
            Opened o(dir + "/t", r, w);
            o.ds->beginScan(0);
            for (int64_t row; (row = o.ds->getNextRecord(*o.dp, o.env)) >= 0;) {
                rows.push_back(row);
                KVORAField *x = o.dp->getField("x");
                KVORAField *k = o.dp->getField("k");
                EXPECT_EQ(o.num("id"), row + 1.0);
                if (row == 0) { EXPECT_EQ(x->getRealValue(), 0.5); }
                if (row == 1) { EXPECT_EQ(x->isMissing(), 1); }
                if (row == 1) { EXPECT_STREQ(k->getTextValue().c_str(), "4"); }
                if (row == 2) { EXPECT_EQ(k->isMissing(), 1); }
            }
        }
        EXPECT_EQ(rows, range(0, 2));
    }
}
