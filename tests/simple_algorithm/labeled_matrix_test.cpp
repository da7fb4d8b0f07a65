// The labeled matrix: sizing, growing without loss, appending rows, and its
// text dump.
#include <gtest/gtest.h>

#include <sstream>

#include "simple_algorithm/kvora_labeled_matrix.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

// Writes an object by value to the binary stream and reads it into `out`.
template <class T>
void roundTrip(const T &in, T &out, KVORA_ENV env) {
    std::stringstream bytes;
    {
        KVOStreamBlobWriter blob(&bytes);
        KVORABinObjWriter writer(&blob, 0);
        kvoraWrite(writer, in, env);
    }
    KVOStreamBlobReader blob(&bytes);
    KVORABinObjReader reader(&blob);
    kvoraRead(reader, out, env);
}

class LabeledMatrixTest : public ::testing::Test {
protected:
    void TearDown() override {
        m.releasePrimitive(env);
        v.reset(env);
    }
    void vec(std::initializer_list<double> values) {
        v.setSize(0, env);
        for (double x : values) v.copyAppend(x, env);
    }
    KVORAEnv *env = nullptr;
    KVORALabeledMatrix m;
    KVORAXaRay<double, 1> v;
};

TEST_F(LabeledMatrixTest, AddRowAndGetRow) {
    vec({1, 2, 3});
    m.addRow(v, env);
    vec({4, 5});
    m.addRow(v, env);  // only the first row sets the column count
    EXPECT_EQ(m.getRowNum(), 2);
    EXPECT_EQ(m.getColumnNum(), 3);
    m.getRow(2, v, env);
    ASSERT_EQ(v.getSize(), 2);
    EXPECT_EQ(v[1], 4.0);
    EXPECT_EQ(v[2], 5.0);
    EXPECT_EQ(m.label(1), 0.0);
    EXPECT_ANY_THROW(m.getRow(3, v, env));
}

TEST_F(LabeledMatrixTest, SizingKeepsOrFillsAsTold) {
    m.setSize(2, 3, 1.5, env);
    m.label(2) = 7.0;
    m.at(2, 3) = 9.0;
    EXPECT_EQ(m.at(1, 1), 1.5);

    m.resizeKeeping(1, 1, env);  // never shrinks
    EXPECT_EQ(m.getRowNum(), 2);
    EXPECT_EQ(m.getColumnNum(), 3);
    m.resizeKeeping(3, 4, env);
    EXPECT_EQ(m.getRowNum(), 3);
    EXPECT_EQ(m.getColumnNum(), 4);
    EXPECT_EQ(m.at(2, 3), 9.0);
    EXPECT_EQ(m.label(2), 7.0);
    EXPECT_EQ(m.at(2, 4), 0.0);
    EXPECT_EQ(m.at(3, 1), 0.0);
    EXPECT_GE(m.row(3).getSize(), 4);

    m.setShape(1, 2, env);
    EXPECT_EQ(m.getRowNum(), 1);
    EXPECT_EQ(m.getColumnNum(), 2);
    EXPECT_EQ(m.row(1).getSize(), 2);
    EXPECT_EQ(m.at(1, 2), 1.5);

    m.setSize(2, 2, 0.0, env);  // labels back to 0.0 as well
    EXPECT_EQ(m.label(1), 0.0);
}

TEST_F(LabeledMatrixTest, PrintWithAndWithoutLabels) {
    vec({1, 2.5});
    m.addRow(v, env);
    vec({3, 4});
    m.addRow(v, env);
    m.label(2) = 6.0;
    std::ostringstream plain, labeled;
    m.print(plain, 0, env);
    m.print(labeled, 1, env);
    EXPECT_EQ(plain.str(), "% Matrix 2x2:\n1 2.5 \n3 4 \n");
    EXPECT_EQ(labeled.str(), "% Matrix 2x2:\n% first column is label\n0 1 2.5 \n6 3 4 \n");
}

TEST_F(LabeledMatrixTest, CopyIsDeep) {
    m.setSize(2, 2, 3.0, env);
    KVORALabeledMatrix copy;
    copy.setSize(5, 1, 0.0, env);
    copy.copyFromPrimitive(&m, env);
    m.at(1, 1) = 8.0;
    EXPECT_EQ(copy.getRowNum(), 2);
    EXPECT_EQ(copy.getColumnNum(), 2);
    EXPECT_EQ(copy.at(1, 1), 3.0);
    copy.releasePrimitive(env);
}

TEST_F(LabeledMatrixTest, CrossesTheBinaryStream) {
    vec({1, 2, 3});
    m.addRow(v, env);
    vec({-4.5});
    m.addRow(v, env);
    m.label(2) = 9.0;
    KVORALabeledMatrix back;
    back.setSize(4, 4, 7.0, env);  // more rows than the stream brings
    roundTrip(m, back, env);
    EXPECT_EQ(back.getRowNum(), 2);
    EXPECT_EQ(back.getColumnNum(), 3);
    ASSERT_EQ(back.ivRows.getSize(), 2);
    ASSERT_EQ(back.row(1).getSize(), 3);
    EXPECT_EQ(back.at(1, 3), 3.0);
    ASSERT_EQ(back.row(2).getSize(), 1);
    EXPECT_EQ(back.at(2, 1), -4.5);
    EXPECT_EQ(back.label(2), 9.0);
    back.releasePrimitive(env);
}

}  // namespace
