// Arrays: copy on write and the counted body with its free list of cells,
// column-major storage, the order of additions in sums and in the matrix
// product (blocks of four), the sparse family's stubs, printing, and the
// failure texts with their exit status.
#include <gtest/gtest.h>

#include <unistd.h>

#include <sstream>

#include "mat/kvora_mat_dimensions.h"
#include "mat/kvora_mat_mdarray.h"

typedef MDArray<double> Array;

TEST(MDArrayShare, CopyThenWriteLeavesTheFirstUnchanged) {
    Array a(DimensionSizes{2, 2}, 1.0);
    Array b(a);
    Array c;
    c = b;
    EXPECT_EQ(a.referenceCount(), 3);
    EXPECT_EQ(&a.body(), &c.body());

    b.setElement(3, 5.0);
    EXPECT_EQ(a.elementAt(3), 1.0);
    EXPECT_EQ(c.elementAt(3), 1.0);
    EXPECT_EQ(b.elementAt(3), 5.0);
    EXPECT_EQ(a.referenceCount(), 2);  // b left the shared body
    EXPECT_EQ(b.referenceCount(), 1);
    EXPECT_NE(&a.body(), &b.body());

    // A write through the last holder does not copy.
    const MDArrayImp<double> *before = &b.body();
    b.addScalar(1.0);
    EXPECT_EQ(&b.body(), before);
    EXPECT_EQ(b.elementAt(0), 2.0);
}

TEST(MDArrayShare, CellsGoBackOnTheFreeList) {
    // The list is process-wide: put two cells on it first, so that the counts
    // below do not depend on which tests ran before in this process.
    { Array w1(DimensionSizes{1}, 0.0); Array w2(DimensionSizes{1}, 0.0); }
    const uint64_t freeBefore = BASE_GEC_ReferenceCounter::freeCells();
    ASSERT_GE(freeBefore, 2u);
    {
        Array a(DimensionSizes{3}, 0.0);
        Array b(a);
        EXPECT_EQ(BASE_GEC_ReferenceCounter::freeCells(), freeBefore - 1);  // one shared cell
        b = Array(DimensionSizes{1}, 2.0);  // a new cell; a's cell keeps count 1
        EXPECT_EQ(a.referenceCount(), 1);
        EXPECT_EQ(BASE_GEC_ReferenceCounter::freeCells(), freeBefore - 2);
    }
    // Both cells came back when their counts fell below 1.
    EXPECT_EQ(BASE_GEC_ReferenceCounter::freeCells(), freeBefore);
    Array again(DimensionSizes{1}, 0.0);
    EXPECT_EQ(BASE_GEC_ReferenceCounter::freeCells(), freeBefore - 1);
}

TEST(MDArrayShare, OperandsSharingTheBodyKeepTheirValues) {
    Array a(std::vector<double>{1.0, 2.0, 3.0});
    Array b(a);
    b.add(b);  // b must read its old values while writing
    EXPECT_EQ(b.elementAt(2), 6.0);
    EXPECT_EQ(a.elementAt(2), 3.0);
    a.subtract(b);
    EXPECT_EQ(a.elementAt(1), -2.0);

    Array m(DimensionSizes{2, 2}, 0.0);
    m.setDiagonal(2.0);
    Array keep(m);
    Array v(std::vector<double>{1.0, 4.0});
    Array p = m * v;
    EXPECT_EQ(p.elementAt(1), 8.0);
    EXPECT_EQ(m.dimensionSizes().nDims(), 2u);  // the left operand is untouched
    EXPECT_EQ(keep.elementAt(3), 2.0);
    EXPECT_EQ(m.referenceCount(), 2);
}

TEST(MDArrayDense, ColumnMajorPositions) {
    Array a(DimensionSizes{2, 3}, 0.0);
    a.setAtIndexes(Indexes{1, 2}, 7.0);
    EXPECT_EQ(a.elementAt(5), 7.0);  // 1 + 2 * 2
    a.setAtIndexes(Indexes{0, 1}, 9.0);
    EXPECT_EQ(a.elementAt(2), 9.0);
    Indexes at;
    a.argMax(at);
    EXPECT_EQ(at[0], 0u);
    EXPECT_EQ(at[1], 1u);

    Array b(DimensionSizes{2, 2, 2}, 0.0);
    b.setDiagonal(1.0);
    EXPECT_EQ(b.elementAt(0), 1.0);
    EXPECT_EQ(b.elementAt(7), 1.0);  // (1, 1, 1)
    EXPECT_EQ(b.sum(), 2.0);
    Array slice = b.subArray(Indexes{1});
    EXPECT_EQ(slice.size(), 4u);
    EXPECT_EQ(slice.elementAt(3), 1.0);
}

TEST(MDArrayDense, SumsAndProductsInStorageOrder) {
    Array empty(DimensionSizes{0}, 3.0);
    EXPECT_EQ(empty.sum(), 0.0);
    EXPECT_EQ(empty.product(), 1.0);
    // In storage order: 1e16 + 1 rounds back to 1e16, minus 1e16 is 0, plus 1.
    Array a(std::vector<double>{1e16, 1.0, -1e16, 1.0});
    EXPECT_EQ(a.sum(), 1.0);
    Array b(std::vector<double>{2.0, 0.5, 3.0});
    EXPECT_EQ(b.product(), 3.0);
    EXPECT_EQ(b.countEqual(0.5), 1u);

    // First of equal largest entries.
    Array c(std::vector<double>{1.0, 4.0, 4.0});
    Indexes at;
    c.argMax(at);
    EXPECT_EQ(at[0], 1u);
}

TEST(MDArrayDense, MatrixProductAddsInBlocksOfFour) {
    // A 2x3 by 3 product, by hand.
    Array m(DimensionSizes{2, 3}, 0.0);
    double values[] = {1, 4, 2, 5, 3, 6};  // rows (1 2 3) and (4 5 6)
    for (int i = 0; i < 6; ++i) m.setElement(i, values[i]);
    Array v(std::vector<double>{1.0, 0.0, -1.0});
    Array p = m * v;
    EXPECT_EQ(p.dimensionSizes().nDims(), 2u);
    EXPECT_EQ(p.dimensionSizes()[0], 2u);
    EXPECT_EQ(p.dimensionSizes()[1], 1u);
    EXPECT_EQ(p.elementAt(0), -2.0);
    EXPECT_EQ(p.elementAt(1), -2.0);

    // Terms 1e16, 0, 0, 0 | 1, 1, 0, 0: the second block sums to 2 before it
    // meets the running sum, giving 1e16 + 2; one term at a time would give
    // 1e16, since 1e16 + 1 rounds back to 1e16.
    Array row(DimensionSizes{1, 8}, 0.0);
    row.setElement(0, 1e16);
    row.setElement(4, 1.0);
    row.setElement(5, 1.0);
    Array ones(DimensionSizes{8}, 1.0);
    EXPECT_EQ((row * ones).elementAt(0), 1e16 + 2.0);
    // Leftover terms go one by one: 1e16, 0, 0, 0 | 1 | 1.
    Array row6(DimensionSizes{1, 6}, 0.0);
    row6.setElement(0, 1e16);
    row6.setElement(4, 1.0);
    row6.setElement(5, 1.0);
    EXPECT_EQ((row6 * Array(DimensionSizes{6}, 1.0)).elementAt(0), 1e16);

    // In place, the result replaces the sizes.
    Array sq(DimensionSizes{2, 2}, 1.0);
    sq.multiply(sq);
    EXPECT_EQ(sq.elementAt(0), 2.0);
    Array col(std::vector<double>{1.0, 2.0});
    sq.multiply(col);
    EXPECT_EQ(sq.size(), 2u);
    EXPECT_EQ(sq.elementAt(1), 6.0);
}

TEST(MDArrayMap, StoresOnlyNonZeroAndCountsZeros) {
    Array s(DimensionSizes{6}, 0.0, true);
    EXPECT_TRUE(s.isSparse());
    s.setElement(2, 3.0);
    EXPECT_EQ(s.countEqual(0.0), 5u);
    EXPECT_EQ(s.elementAt(2), 3.0);
    EXPECT_EQ(s.elementAt(4), 0.0);
    s.setElement(2, 0.0);  // removes the entry
    s.setElement(3, 0.0);  // stores nothing
    EXPECT_EQ(s.countEqual(0.0), 6u);
    EXPECT_EQ(dynamic_cast<const MDArrayImpMap<double> &>(s.body()).storedCount(), 0u);

    // The sum and product stubs answer 0 whatever is stored.
    s.setElement(1, 2.0);
    EXPECT_EQ(s.sum(), 0.0);
    EXPECT_EQ(s.product(), 0.0);

    // The matrix product goes through the same loop as the dense one.
    Array sm(DimensionSizes{2, 2}, 0.0, true);
    sm.setDiagonal(3.0);
    Array p = sm * Array(std::vector<double>{1.0, 2.0});
    std::vector<double> out;
    p.toVector(out);
    EXPECT_EQ(out, (std::vector<double>{3.0, 6.0}));
}

TEST(MDArrayPrint, IndexListsAndSlices) {
    std::ostringstream text;
    text << DimensionSizes{2, 3} << "|" << Indexes() << "|" << Dimensions{4};
    EXPECT_EQ(text.str(), "[ 2, 3 ]|[ ]|[ 4 ]");

    Array a(DimensionSizes{1, 2, 2, 2}, 0.0);
    for (uint64_t i = 0; i < 8; ++i) a.setElement(i, static_cast<double>(i));
    std::ostringstream slices;
    a.print(slices);
    EXPECT_EQ(slices.str(),
              "(:,:,0,0)\n0 1\n(:,:,1,0)\n2 3\n(:,:,0,1)\n4 5\n(:,:,1,1)\n6 7\n");
}

TEST(MDArraySave, NetworkByteOrder) {
    std::ostringstream bytes;
    DimensionSizes{2, 3}.save(bytes);
    EXPECT_EQ(bytes.str(), std::string("\0\0\0\2\0\0\0\2\0\0\0\3", 12));

    // "MDArray" as length and bytes, the family, the sizes, then each double
    // as its bit pattern, high half first.
    std::ostringstream array;
    Array(std::vector<double>{1.0}).save(array);
    std::string expected("\0\0\0\7MDArray\0\0\0\0\0\0\0\1\0\0\0\1\x3f\xf0\0\0\0\0\0\0", 31);
    EXPECT_EQ(array.str(), expected);
}

TEST(MDArrayPerDimension, SumsAndFolds) {
    Array m(DimensionSizes{2, 3}, 0.0);
    for (uint64_t i = 0; i < 6; ++i) m.setElement(i, static_cast<double>(i + 1));  // rows 1 3 5, 2 4 6
    Array rows = m.sumDimension(1);
    EXPECT_EQ(rows.elementAt(0), 9.0);
    EXPECT_EQ(rows.elementAt(1), 12.0);
    Array maxima = m.applyFold(0, MAT_Max());
    EXPECT_EQ(maxima.size(), 3u);
    EXPECT_EQ(maxima.elementAt(2), 6.0);
    m.normalize();
    EXPECT_EQ(m.elementAt(5), 1.0);

    DimensionSizes sizes{2, 3};
    EXPECT_EQ(sizes.product(), 6u);
    sizes.set(1, 5);
    EXPECT_FALSE(sizes.productValid());
    EXPECT_EQ(sizes.product(), 10u);
}

TEST(MDArrayDeathTest, FailureTextsAndStatus) {
    Array none;
    EXPECT_EXIT(none.sum(), ::testing::ExitedWithCode(1), "Internal Error.*No object exist");
    EXPECT_EXIT(none.setElement(0, 1.0), ::testing::ExitedWithCode(1), "No object exist");
    Array m(DimensionSizes{2, 2}, 1.0);
    EXPECT_EXIT(m.sumDimension(2), ::testing::ExitedWithCode(1), "Dim 2 out of range 0..1");
    Array emptyLine(DimensionSizes{2, 0}, 1.0);
    EXPECT_EXIT(emptyLine.applyFold(1, MAT_Plus()), ::testing::ExitedWithCode(1), "no start value");
    EXPECT_EXIT(m.elementAt(4), ::testing::ExitedWithCode(1), "out of range");
    EXPECT_EXIT(m * Array(DimensionSizes{3}, 1.0), ::testing::ExitedWithCode(1), "does not match");
}

TEST(MDArrayDeathTest, MapStubsEndTheProcess) {
    Array s(DimensionSizes{6}, 0.0, true);
    s.setElement(1, 2.0);
    // countEqual speaks on standard output: send it to the captured stream.
    EXPECT_EXIT(
        {
            dup2(2, 1);
            s.countEqual(2.0);
        },
        ::testing::ExitedWithCode(1), "Error: need to replace __gnu_cxx");
    Indexes at;
    EXPECT_EXIT(s.argMax(at), ::testing::ExitedWithCode(1), "Error: need to replace __gnu_cxx");
    Array empty(DimensionSizes{2, 3}, 0.0, true);
    empty.argMax(at);
    EXPECT_EQ(at.size(), 2u);
    EXPECT_EQ(at[0], 0u);
    EXPECT_EQ(at[1], 0u);
}
