// Row assembly from (column, value) records: a header opens a row, records
// fill it, a record past its end completes it and carries the target.
#include <gtest/gtest.h>

#include <vector>

#include "simple_algorithm/kvora_sparse_to_dense.h"

namespace {

class SparseToDenseTest : public ::testing::Test {
protected:
    void SetUp() override { EXPECT_EQ(s2d.beginDataScan(2, env), 1); }
    void TearDown() override {
        s2d.releasePrimitive(env);
        rec.reset(env);
        target.reset(env);
        row.reset(env);
    }
    void feed(std::vector<double> values, uint64_t sample) {
        rec.setSize(0, env);
        for (double v : values) rec.copyAppend(v, env);
        s2d.update(rec, target, sample, env);
    }
    std::vector<double> taken(uint64_t &sample, double &t) {
        sample = s2d.takeRow(row, t, env);
        return std::vector<double>(row.getBlock(), row.getBlock() + row.getSize());
    }
    KVORAEnv *env = nullptr;
    KVORASparseToDenseData s2d;
    KVORAXaRay<double, 1> rec, target, row;
};

TEST_F(SparseToDenseTest, AssemblesRowsOneAfterAnother) {
    feed({0, 3}, 11);
    feed({1, 5}, 11);
    feed({3, 7}, 11);  // the last column is still data
    EXPECT_FALSE(s2d.isFinished());
    feed({4, 9}, 11);  // past the end: the target
    EXPECT_TRUE(s2d.isFinished());
    feed({4, 10}, 11);  // a complete row takes further values as its target
    uint64_t sample = 0;
    double t = 0;
    EXPECT_EQ(taken(sample, t), (std::vector<double>{5, 0, 7}));
    EXPECT_EQ(sample, 11u);
    EXPECT_EQ(t, 10.0);
    EXPECT_FALSE(s2d.isFinished());
    EXPECT_EQ(s2d.ivRow.getSize(), 0);
    EXPECT_EQ(s2d.ivTarget, 0.0);

    // The next row starts from zeros, not from what the last one held.
    feed({0, 2}, 12);
    feed({3, 1}, 12);
    EXPECT_TRUE(s2d.isFinished());
    EXPECT_EQ(taken(sample, t), (std::vector<double>{0, 0}));
    EXPECT_EQ(sample, 12u);
    EXPECT_EQ(t, 1.0);
}

TEST_F(SparseToDenseTest, RecordsThatChangeNothing) {
    feed({0, 3, 1}, 5);  // three elements
    feed({2, 3}, 5);     // no header yet
    feed({0, 0}, 5);     // a header of length 0
    feed({0, -2}, 5);
    EXPECT_EQ(s2d.ivState, 0);
    EXPECT_EQ(s2d.ivRow.getSize(), 0);

    feed({0, 2}, 5);
    feed({0, 4}, 5);   // column 0 of the same sample has no cell
    feed({-1, 4}, 5);  // nor has a negative column
    feed({1, 6, 0}, 5);
    EXPECT_EQ(s2d.ivState, 1);
    ASSERT_EQ(s2d.ivRow.getSize(), 2);
    EXPECT_EQ(s2d.ivRow[1], 0.0);
    EXPECT_EQ(s2d.ivRow[2], 0.0);
}

TEST_F(SparseToDenseTest, HeaderWithoutTargetRestartsTheRow) {
    feed({0, 2}, 1);
    feed({1, 4}, 1);
    feed({0, 3}, 2);  // sample 2's header: sample 1's row is lost
    EXPECT_EQ(s2d.ivState, 1);
    feed({2, 6}, 2);
    feed({4, 1}, 2);
    ASSERT_TRUE(s2d.isFinished());
    uint64_t sample = 0;
    double t = 0;
    EXPECT_EQ(taken(sample, t), (std::vector<double>{0, 6, 0}));
    EXPECT_EQ(sample, 2u);
    EXPECT_EQ(t, 1.0);
}

}  // namespace
