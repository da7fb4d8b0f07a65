// The diffusion object's row scan on hand-made records: what each phase adds,
// the pass tables, and the row bound.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "simple_algorithm/kvora_DIF.h"

namespace {

class DIFScanTest : public ::testing::Test {
protected:
    void SetUp() override {
        dataVec.setSize(2, env);
    }
    void TearDown() override {
        data.releasePrimitive(env);
        dataVec.reset(env);
        targetVec.reset(env);
    }
    void record(uint64_t caller, double callee, double weight) {
        dataVec[1] = callee;
        dataVec[2] = weight;
        data.update(dataVec, targetVec, caller, env);
    }
    // A whole row: header, the edges, footer.
    void row(uint64_t caller, const std::vector<std::pair<double, double>> &edges) {
        record(caller, 0.0, static_cast<double>(edges.size()));
        for (const auto &e : edges) record(caller, e.first, e.second);
        record(caller, 0.0, 7788.0);
    }

    KVORAEnv *env = nullptr;
    KVORADIFData data;
    KVORAXaRay<double, 1> dataVec, targetVec;
};

TEST_F(DIFScanTest, NormalizerSumsRowsAndDegreesWhateverTheWeights) {
    data.initIteration(env);
    row(1, {{2, 0.9}, {3, -2.5}, {4, 3.7}});
    row(5, {});                      // n 0: a row sum of 0 and no out-degree entry
    record(6, 0.0, 3.0);             // n 3 with two records, one of them callee 0 weight 5
    record(6, 2.0, 1.0);
    record(6, 0.0, 5.0);
    record(6, 0.0, 7788.0);
    data.gatherCalleeSums();
    EXPECT_EQ(data.ivRowsCounter, 11u);
    EXPECT_EQ(data.ivMatState, 0);
    EXPECT_EQ(data.ivNum2RowSumMap.size(), 3u);
    EXPECT_EQ(data.ivNum2RowSumMap[1], 0.9 + -2.5 + 3.7);
    EXPECT_EQ(data.ivNum2RowSumMap[5], 0.0);
    EXPECT_EQ(data.ivNum2RowSumMap[6], 1.0);
    EXPECT_EQ(data.ivNum2OutDegreeMap, (KVORADIFData::IntMap{{1, 3}, {6, 1}}));
    EXPECT_EQ(data.ivNum2InDegreeMap, (KVORADIFData::IntMap{{2, 2}, {3, 1}, {4, 1}}));

    // A row seen again restarts its sum but keeps counting degrees.
    row(1, {{2, 4.0}});
    data.gatherCalleeSums();
    EXPECT_EQ(data.ivNum2RowSumMap[1], 4.0);
    EXPECT_EQ(data.ivNum2OutDegreeMap[1], 4);
    EXPECT_EQ(data.ivNum2InDegreeMap[2], 3);
}

TEST_F(DIFScanTest, WeightedDegreesAddTruncatedWeightsOfDataRecordsOnly) {
    data.ivState = KVORADIFData::ComputeWeightedInOutDeg;
    data.initIteration(env);
    row(1, {{2, 0.9}, {3, -2.5}, {4, 3.7}, {2, 1e10}});
    record(7, 0.0, 2.0);
    record(7, 0.0, 9.0);  // callee 0 inside the row: counted against n, adds nothing
    record(7, 0.0, 7788.0);
    data.gatherCalleeSums();
    // 1e10 keeps its low 32 bits: 10000000000 - 2 * 4294967296 = 1410065408.
    EXPECT_EQ(data.ivNum2WeightedInDegreeMap, (KVORADIFData::IntMap{{2, 1410065408}, {3, -2}, {4, 3}}));
    EXPECT_EQ(data.ivNum2WeightedOutDegreeMap, (KVORADIFData::IntMap{{1, 1410065409}}));
    EXPECT_TRUE(data.ivNum2RowSumMap.empty());
}

TEST_F(DIFScanTest, DiffusionSpreadsFreshEnergyByTheMergedRowSum) {
    data.ivState = KVORADIFData::DiffusionIterationModel1;
    data.ivModel1NumIterations = 1;  // the row sums are already in their map
    data.ivNum2RowSumMap = {{1, 8.0}, {3, 0.0}, {9, 4.0}};
    data.ivModel1FreshEnergies.copyAppend(2.0, env);
    data.ivModel1FreshEnergiesSamples.copyAppend(1, env);
    data.initIteration(env);
    row(1, {{2, 2.0}, {4, 6.0}});
    row(9, {{2, 1.0}, {6, 1.0}});  // no fresh energy: entries with 0, the callees too
    row(3, {{5, 1.0}});  // a row sum of 0: an infinity flows on, without a word
    data.gatherCalleeSums();
    EXPECT_TRUE(std::isnan(data.ivModel1Num2MultResMap[5]));  // 0 times infinity
    data.ivModel1Num2MultResMap[5] = -1.0;
    EXPECT_EQ(data.ivModel1Num2MultResMap, (KVORADIFData::RealMap{{2, 0.5}, {4, 1.5}, {5, -1.0}, {6, 0.0}}));
    EXPECT_EQ(data.ivModel1Num2FreshEnergyMap, (KVORADIFData::RealMap{{1, 2.0}, {3, 0.0}, {9, 0.0}}));
}

// The pass tables change form as keys come: an array while the keys are
// dense, a hash table when one lands far beyond them, back to the array at the
// end of a pass whose keys were dense again. Whatever the form, the sums must
// be those of an ordered map, leave in key order, and start from nothing in
// the next pass.
TEST(DIFNodeTable, SumsSurviveEveryChangeOfFormAndLeaveInKeyOrder) {
    std::mt19937_64 random(7);
    KVORADIFNodeTable<double> table;
    for (int pass = 0; pass < 3; ++pass) {
        std::map<uint64_t, double> expected;
        auto add = [&](uint64_t key, double value) {
            table[key] += value;
            expected[key] += value;
        };
        for (int i = 0; i < 3000; ++i) add(random() % 5000, 1.0);  // dense
        if (pass != 2) {
            add(1ull << 40, 2.0);  // far beyond: the hash form
            add(~0ull, 3.0);       // the key that marks a free slot
        }
        for (int i = 0; i < 20000; ++i) add(random() % 60000, 0.5);  // grows, dense again
        KVORADIFData::RealMap map;
        table.foldInto(map, [](double &sum, double value) { sum = sum + value; });
        EXPECT_TRUE(table.empty());
        ASSERT_EQ(map.size(), expected.size());
        size_t i = 0;
        for (const auto &entry : expected) {
            EXPECT_EQ(map.key(i), entry.first);
            EXPECT_EQ(map.value(i), entry.second);
            ++i;
        }
    }
}

// A merge of two processes' sums in one walk must make the map that
// assigning the first and folding in the second makes, bit for bit: keys in
// one or both, -0.0 and NaN, wrapping integers, an empty side. Arrays out of
// order or with repeats are refused and leave the map alone.
TEST(DIFNodeMap, AMergeInOneWalkIsAssignThenFold) {
    KVORAEnv *env = nullptr;
    std::mt19937_64 random(11);
    const double specials[] = {-0.0, 0.0, 0.0 / 0.0, 1.0 / 0.0, -1e308};
    auto addReal = [](double &sum, const double &value) { sum = sum + value; };
    auto addInt = [](int32_t &sum, const int32_t &value) {
        sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + static_cast<uint32_t>(value));
    };
    for (int round = 0; round < 30; ++round) {
        KVORAXaRay<double, 1> a, b;
        KVORAXaRay<int32_t, 1> ai, bi;
        KVORAXaRay<uint64_t, 1> ak, bk;
        for (uint64_t key = 1; key < 300; ++key) {
            if (round != 1 && random() % 3 == 0) {
                a.copyAppend(random() % 9 == 0 ? specials[random() % 5] : static_cast<double>(random() % 100) / 7.0, env);
                ai.copyAppend(static_cast<int32_t>(random()), env);
                ak.copyAppend(key, env);
            }
            if (round != 2 && random() % 2 == 0) {
                b.copyAppend(random() % 9 == 0 ? specials[random() % 5] : -static_cast<double>(random() % 100) / 3.0, env);
                bi.copyAppend(static_cast<int32_t>(random()), env);
                bk.copyAppend(key, env);
            }
        }
        KVORADIFData::RealMap walked, folded;
        ASSERT_TRUE(walked.mergeAscending(a, ak, b, bk, addReal));
        folded.assign(a, ak);
        folded.fold(b, bk, addReal);
        ASSERT_EQ(walked.size(), folded.size());
        for (size_t i = 0; i < walked.size(); ++i) {
            EXPECT_EQ(walked.key(i), folded.key(i));
            EXPECT_EQ(std::memcmp(&walked.value(i), &folded.value(i), sizeof(double)), 0) << walked.key(i);
        }
        // Into an empty map each entry is op on a new one (0.0 + -0.0 is
        // 0.0), as beside an entry already there.
        KVORADIFData::RealMap alone, beside;
        alone.fold(b, bk, addReal);
        beside[0] = 1.0;
        beside.fold(b, bk, addReal);
        ASSERT_EQ(alone.size() + 1, beside.size());
        for (size_t i = 0; i < alone.size(); ++i)
            EXPECT_EQ(std::memcmp(&alone.value(i), &beside.value(i + 1), sizeof(double)), 0) << alone.key(i);
        KVORADIFData::IntMap walkedInt, foldedInt;
        ASSERT_TRUE(walkedInt.mergeAscending(ai, ak, bi, bk, addInt));
        foldedInt.assign(ai, ak);
        foldedInt.fold(bi, bk, addInt);
        EXPECT_EQ(walkedInt, foldedInt);

        // Out of order, or a repeat: refused, the map as it was.
        if (bk.getSize() >= 2) {
            std::swap(bk[1], bk[2]);
            EXPECT_FALSE(walked.mergeAscending(a, ak, b, bk, addReal));
            bk[1] = bk[2];
            EXPECT_FALSE(walked.mergeAscending(a, ak, b, bk, addReal));
            EXPECT_EQ(walked.size(), folded.size());
        }
        for (auto *array : {&a, &b}) array->reset(env);
        ai.reset(env);
        bi.reset(env);
        ak.reset(env);
        bk.reset(env);
    }
}

// The three broken-row failures and their texts are checked end to end.
TEST_F(DIFScanTest, ANegativeHeaderCountIsAHugeBoundAndAShortRowPasses) {
    data.initIteration(env);
    record(4, 0.0, -1.0);
    for (int i = 0; i < 5; ++i) record(4, 9.0, 1.0);
    record(4, 0.0, 7788.0);
    row(5, {{1, 1.0}});
    record(6, 0.0, 3.0);
    record(6, 1.0, 1.0);
    record(6, 0.0, 7788.0);
    data.gatherCalleeSums();
    EXPECT_EQ(data.ivMatState, 0);
    EXPECT_EQ(data.ivNum2OutDegreeMap, (KVORADIFData::IntMap{{4, 5}, {5, 1}, {6, 1}}));
}

// Rows taken straight from a dataset in batches must sum as the same records
// given to update one by one: every phase, every table form, bit for bit.
// The rows have the columns (weight, unused, line, callee), or the loader's
// (line, callee, weight, unused), with missing values here and there,
// callees far beyond the rest now and then, and fractional values that
// truncate.
void batchesSumAsRecordsOneByOne(int32_t calleeColumn, int32_t weightColumn, int32_t lineColumnAsLoaded);

TEST(DIFRowBatches, SumAsRecordsOneByOne) {
    struct Columns {
        int32_t callee, weight, line;
    };
    for (const Columns columns : {Columns{3, 0, 2}, Columns{1, 2, 0}}) {
        SCOPED_TRACE(columns.callee);
        batchesSumAsRecordsOneByOne(columns.callee, columns.weight, columns.line);
    }
}

void batchesSumAsRecordsOneByOne(int32_t calleeColumn, int32_t weightColumn, int32_t lineColumnAsLoaded) {
    KVORAEnv *env = nullptr;
    std::mt19937_64 random(20261125);
    std::vector<double> cells;
    for (uint64_t line = 1; line <= 400; ++line) {
        const uint64_t callees = random() % 30;
        const double lineValue = static_cast<double>(line) + (line % 3 == 0 ? 0.75 : 0.0);
        auto add = [&](double callee, double weight) {
            double row[4] = {5.0, 5.0, 5.0, 5.0};
            row[calleeColumn] = callee;
            row[weightColumn] = weight;
            row[lineColumnAsLoaded] = lineValue;
            cells.insert(cells.end(), row, row + 4);
        };
        add(0.0, static_cast<double>(callees));
        for (uint64_t k = 0; k < callees; ++k) {
            double callee = static_cast<double>(1 + random() % 900) + (k % 4 == 0 ? 0.5 : 0.0);
            if (random() % 50 == 0) callee = 1e12;
            if (random() % 40 == 0) callee = KVORARowLayout::cvMissingValue;  // reads as 0: no edge
            double weight = static_cast<double>(random() % 1000) / 7.0 - 20.0;
            if (random() % 60 == 0) weight = KVORARowLayout::cvMissingValue;
            add(callee, weight);
        }
        add(0.0, 7788.0);
    }
    const size_t rowCount = cells.size() / 4;
    std::vector<const double *> rows;
    for (size_t r = 0; r < rowCount; ++r) rows.push_back(&cells[4 * r]);
    const int32_t dataColumns[] = {calleeColumn, weightColumn};
    // The line column as loaded, and absent (every row then of line 0).
    for (const int32_t lineColumn : {lineColumnAsLoaded, -1}) {
        SCOPED_TRACE(lineColumn);
        const KVORARowLayout layout{dataColumns, 2, lineColumn};

        KVORADIFData one, batched;
        for (KVORADIFData *d : {&one, &batched}) {
            d->ivEpsilon = -1.0;  // no change ends these passes
            d->ivMaxNumIterations = 1 << 30;
            for (uint64_t seed : {0u, 3u, 17u, 500u}) {
                d->ivModel1FreshEnergies.copyAppend(1.0, env);
                d->ivModel1FreshEnergiesSamples.copyAppend(seed, env);
            }
        }
        KVORAXaRay<double, 1> dataVec, targetVec;
        dataVec.setSize(2, env);
        auto sameBits = [](const auto &a, const auto &b) {
            if (a.getSize() != b.getSize()) return false;
            for (int32_t i = 1; i <= a.getSize(); ++i)
                if (std::memcmp(&a[i], &b[i], sizeof(a[i])) != 0) return false;
            return true;
        };
        // Two degree passes and three diffusion passes.
        for (int pass = 0; pass < 5; ++pass) {
            one.initIteration(env);
            batched.initIteration(env);
            for (const double *row : rows) {
                dataVec[1] = KVORARowLayout::value(row, calleeColumn);
                dataVec[2] = KVORARowLayout::value(row, weightColumn);
                one.update(dataVec, targetVec, KVORARowLayout::lineNumber(KVORARowLayout::value(row, lineColumn)), env);
            }
            for (size_t at = 0; at < rowCount;) {
                const int32_t count = static_cast<int32_t>(std::min<size_t>(1 + random() % 700, rowCount - at));
                ASSERT_EQ(batched.updateRows(rows.data() + at, count, layout, env), 1);
                at += static_cast<size_t>(count);
            }
            EXPECT_EQ(batched.ivRowsCounter, one.ivRowsCounter);
            EXPECT_EQ(batched.ivMatState, 0);
            one.finishIteration(env);
            batched.finishIteration(env);
            EXPECT_TRUE(sameBits(batched.ivRowSum, one.ivRowSum)) << pass;
            EXPECT_TRUE(sameBits(batched.ivInDegree, one.ivInDegree) && sameBits(batched.ivOutDegree, one.ivOutDegree))
                << pass;
            EXPECT_TRUE(sameBits(batched.ivWeightedInDegree, one.ivWeightedInDegree) &&
                        sameBits(batched.ivWeightedOutDegree, one.ivWeightedOutDegree))
                << pass;
            EXPECT_TRUE(sameBits(batched.ivModel1FreshEnergies, one.ivModel1FreshEnergies)) << pass;
            EXPECT_TRUE(sameBits(batched.ivModel1FreshEnergiesSamples, one.ivModel1FreshEnergiesSamples)) << pass;
            one.endDataScan(env);
            batched.endDataScan(env);
        }
        EXPECT_GT(one.ivModel1FreshEnergies.getSize(), 100);

        // A record trace takes records one by one only.
        batched.ivVerbosityLvl = 31;
        EXPECT_EQ(batched.updateRows(rows.data(), 1, layout, env), 0);
        one.releasePrimitive(env);
        batched.releasePrimitive(env);
        dataVec.reset(env);
    }
}

}  // namespace
