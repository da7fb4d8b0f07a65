// The labeled matrix holds the kernel's own rows in dense data mode: rows are
// appended and read back whole. (The dense kernel that grows it column by
// column is refused at open.)
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
    m.getRow(1, v, env);
    ASSERT_EQ(v.getSize(), 3);
    EXPECT_EQ(v[3], 3.0);
    m.getRow(2, v, env);
    ASSERT_EQ(v.getSize(), 2);
    EXPECT_EQ(v[1], 4.0);
    EXPECT_EQ(v[2], 5.0);
    EXPECT_ANY_THROW(m.getRow(3, v, env));
    m.releasePrimitive(env);
    v.reset(env);
}

}  // namespace
