// Hashes worked out by hand, and the open-addressed tables: parameters,
// probe sequence, removal and reuse of positions, growth under load.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "util/kvora_hashtable.h"
#include "util/kvora_xash.h"

namespace {

// f(x) = 0xD1CCF6E9 - x * 1354167659 and r the 16-bit rotation (mod 2^32);
// the finish is f, r, f, r, f on the sum of the words and the tail.
TEST(XashHash, ValuesWorkedOutByHand) {
    // No bytes: f(0) = 0xD1CCF6E9 -> r, f = 0xF1420AA5 -> r, f = 0x69A0F653.
    EXPECT_EQ(kvoraHashBytes("", 0, 0), 0x69A0F653u);
    EXPECT_EQ(kvoraHashBytes(nullptr, 5, 0), 0x69A0F653u);
    // A tail only: t = 0x00616263 -> 0x938E1888 -> 0x948C648F -> 0x0517E465.
    EXPECT_EQ(kvoraHashBytes("abc", 3, 0), 0x0517E465u);
    EXPECT_EQ(kvoraHashText("abc", 0), 0x0517E465u);
    // One word: (0 + 0x61626364) * 1664525 + 1013904223 = 0x16CBD773 -> 0x4F9A7F1B.
    EXPECT_EQ(kvoraHashBytes("abcd", 4, 0), 0x4F9A7F1Bu);
    // A byte 0xFF is read as signed: t = 0xFFFFFFFF.
    EXPECT_EQ(kvoraHashBytes("\xff", 1, 0), 0xC619F356u);
    EXPECT_NE(kvoraHashBytes("abc", 3, 1), kvoraHashBytes("abc", 3, 0));
    EXPECT_EQ(kvoraHashLong(5), 0x3E3A2BD2u);  // f(5)
    // 1.0 = 0.5 * 2^1: t = trunc(0.5 * 2147483647.0);
    // t * 0xAF490A95 - (1 + 0) * 1432516515 + 1649599747.
    EXPECT_EQ(kvoraHashReal(1.0, 0), 0x9DA762CBu);
    // r(1) ^ 2 = 0x00010002 -> f -> r, ^ 2 -> f.
    EXPECT_EQ(kvoraHashCombine(1, 2), 0x9371E417u);
}

class XashTableTest : public testing::Test {
protected:
    void TearDown() override {
        table.reset(env);
        kv.reset(env);
    }
    KVORAEnv *env = nullptr;
    KVORAObjectIndexXAshTable<int32_t> table;
    KVORAKeyValueXAshTable<int32_t, double> kv;
};

TEST_F(XashTableTest, ParametersForAThousand) {
    table.calcHashParams(1000, env);
    EXPECT_EQ(table.getTableSize(), 1024);
    EXPECT_EQ(table.getFirstShift(), 22);
    EXPECT_EQ(table.getSecondShift(), 9);
    EXPECT_EQ(table.getMask(), 1023u);
    EXPECT_EQ(table.getMaxProbeLength(), 11);
    // Start (h >> 22) & 1023; multiplier ((h >> 9) & ~2 | 5) & 1023; addend (2h + 1) & 1023.
    EXPECT_EQ(table.probeStart(0x12345678u), 0x48u);
    EXPECT_EQ(table.probeMultiplier(0x12345678u), 0x22Du);
    EXPECT_EQ(table.probeAddend(0x12345678u), 0x0F1u);
}

TEST_F(XashTableTest, RemovedPositionIsReusedWhenTheSequenceMeetsIt) {
    // A fresh table has two slots: the start slot is the top bit, the step 1.
    EXPECT_EQ(table.lookup(10, 0), -1);
    EXPECT_EQ(table.copyPut(10, 0x00000000u, env), 1);  // slot 0
    EXPECT_EQ(table.getTableSize(), 2);
    EXPECT_EQ(table.getSecondShift(), 13);
    EXPECT_EQ(table.copyPut(20, 0x80000000u, env), 2);  // slot 1
    EXPECT_EQ(table.copyPut(20, 0x80000000u, env), 2);  // present already
    EXPECT_EQ(table.find(30, 0x00000000u), 0);          // same hash, other key
    table.remove(1, env);
    EXPECT_EQ(table.getEntry(0).ivIndex, -1);
    EXPECT_EQ(table.getUsedCount(), 1u);
    EXPECT_EQ(table.find(10, 0x00000000u), 0);
    // Key 30 starts at the tombstone's slot and takes its position 1.
    EXPECT_EQ(table.copyPut(30, 0x00000000u, env), 1);
    EXPECT_EQ(table.getKey(1), 30);
    // Full: key 40 grows the table to 4 slots; 10's old slot moves to 0 and
    // 20's to 2; 40 starts at 2, steps to 3, and gets the new position 3.
    EXPECT_EQ(table.copyPut(40, 0x80000000u, env), 3);
    EXPECT_EQ(table.getTableSize(), 4);
    EXPECT_EQ(table.getMaxProbeLength(), 3);
    EXPECT_EQ(table.getEntry(0).ivIndex, 1);
    EXPECT_EQ(table.getEntry(2).ivIndex, 2);
    EXPECT_EQ(table.getEntry(3).ivIndex, 3);
    EXPECT_EQ(table.getLongestProbe(), 2);
    EXPECT_EQ(table.find(30, 0x00000000u), 1);
    EXPECT_EQ(table.find(40, 0x80000000u), 3);
}

TEST_F(XashTableTest, NewKeyAwayFromTheTombstoneTakesANewPosition) {
    table.calcHashParams(3, env);  // 4 slots: the start is the top two bits
    EXPECT_EQ(table.copyPut(1, 0x00000000u, env), 1);  // slot 0
    EXPECT_EQ(table.copyPut(2, 0x40000000u, env), 2);  // slot 1
    table.remove(1, env);
    EXPECT_EQ(table.copyPut(3, 0x80000000u, env), 3);  // slot 2, never used
    EXPECT_EQ(table.copyPut(4, 0x00000000u, env), 1);  // slot 0, the tombstone
}

TEST_F(XashTableTest, GrowsAndKeepsPositionsUnderLoad) {
    const int32_t count = 20000;
    auto put = [&](int32_t i) { return table.copyPut(i * 7, kvoraHashLong(i * 7), env); };
    auto find = [&](int32_t i) { return table.find(i * 7, kvoraHashLong(i * 7)); };
    for (int32_t i = 0; i < count; ++i) ASSERT_EQ(put(i), i + 1);
    const int32_t size = table.getTableSize();
    EXPECT_EQ(size & (size - 1), 0);
    EXPECT_GE(size, count);
    EXPECT_LE(table.getLongestProbe(), table.getMaxProbeLength() + 64);
    // Remove every other key; the others keep their positions, and each
    // removed key comes back at some position without disturbing them.
    for (int32_t i = 0; i < count; i += 2) table.remove(i + 1, env);
    EXPECT_EQ(table.getUsedCount(), static_cast<uint32_t>(count / 2));
    for (int32_t i = 0; i < count; i += 2) ASSERT_EQ(find(i), 0);
    for (int32_t i = 0; i < count; i += 2) {
        const int32_t index = put(i);
        ASSERT_GE(index, 1);
        ASSERT_EQ(table.getKey(index), i * 7);
        ASSERT_EQ(find(i), index);
    }
    EXPECT_EQ(table.getUsedCount(), static_cast<uint32_t>(count));
    for (int32_t i = 1; i < count; i += 2) ASSERT_EQ(find(i), i + 1);
}

TEST_F(XashTableTest, BadHashesStillFindEveryKey) {
    // All keys share one hash: a lookup still walks far enough.
    for (int32_t i = 1; i <= 300; ++i) ASSERT_EQ(table.copyPut(i, 0xABCDEF01u, env), i);
    for (int32_t i = 1; i <= 300; ++i) ASSERT_EQ(table.find(i, 0xABCDEF01u), i);
    EXPECT_EQ(table.find(301, 0xABCDEF01u), 0);
}

TEST_F(XashTableTest, KeyValueTableStoresAndClearsValues) {
    EXPECT_EQ(kv.put(5, kvoraHashLong(5), 2.5, env), 1);
    EXPECT_EQ(kv.put(6, kvoraHashLong(6), 3.5, env), 2);
    EXPECT_EQ(kv.put(5, kvoraHashLong(5), 4.5, env), 1);  // replaces the value
    EXPECT_EQ(kv.findValue(5, kvoraHashLong(5)), 4.5);
    EXPECT_EQ(kv.findValue(7, kvoraHashLong(7)), 0.0);
    kv.remove(1, env);
    EXPECT_EQ(kv.getValue(1), 0.0);
    EXPECT_EQ(kv.findValue(6, kvoraHashLong(6)), 3.5);
}

}  // namespace
