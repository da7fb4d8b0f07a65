// The labeled matrix: appending and reading rows, and growing without loss
// (the dense kernel grows column by column).
#include <gtest/gtest.h>

#include "simple_algorithm/kvora_labeled_matrix.h"

namespace {

TEST(LabeledMatrix, AddRowAndGetRow) {
    KVORAEnv *env = nullptr;
    KVORALabeledMatrix m;
    KVORAXaRay<double, 1> v;
    for (double x : {1, 2, 3}) v.copyAppend(x, env);
    m.addRow(v, env);
    v.setSize(0, env);
    for (double x : {4, 5}) v.copyAppend(x, env);
    m.addRow(v, env);  // only the first row sets the column count
    EXPECT_EQ(m.getRowNum(), 2);
    EXPECT_EQ(m.getColumnNum(), 3);
    m.getRow(2, v, env);
    ASSERT_EQ(v.getSize(), 2);
    EXPECT_EQ(v[1], 4.0);
    EXPECT_EQ(v[2], 5.0);
    EXPECT_EQ(m.label(1), 0.0);
    EXPECT_ANY_THROW(m.getRow(3, v, env));
    m.releasePrimitive(env);
    v.reset(env);
}

TEST(LabeledMatrix, ResizeKeepsEveryCellAndNeverShrinks) {
    KVORAEnv *env = nullptr;
    KVORALabeledMatrix m;
    m.setSize(2, 3, 1.5, env);
    m.label(2) = 7.0;
    m.at(2, 3) = 9.0;
    EXPECT_EQ(m.at(1, 1), 1.5);
    m.resizeKeeping(1, 1, env);
    EXPECT_EQ(m.getRowNum(), 2);
    EXPECT_EQ(m.getColumnNum(), 3);
    m.resizeKeeping(3, 4, env);
    EXPECT_EQ(m.getRowNum(), 3);
    EXPECT_EQ(m.getColumnNum(), 4);
    EXPECT_EQ(m.at(1, 1), 1.5);
    EXPECT_EQ(m.at(2, 3), 9.0);
    EXPECT_EQ(m.label(2), 7.0);
    EXPECT_EQ(m.at(2, 4), 0.0);
    EXPECT_EQ(m.at(3, 1), 0.0);
    EXPECT_GE(m.row(3).getSize(), 4);
    m.setSize(2, 2, 0.0, env);  // labels back to 0.0 as well
    EXPECT_EQ(m.label(1), 0.0);
    m.releasePrimitive(env);
}

}  // namespace
