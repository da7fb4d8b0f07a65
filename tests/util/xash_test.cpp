// Hashes and the open-addressed tables: values worked out by hand from the
// algorithm, the table parameters, the probe sequence, removal and reuse of
// positions, and growth under load.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "util/kvora_hashtable.h"
#include "util/kvora_xash.h"

namespace {

TEST(XashHash, ValuesWorkedOutByHand) {
    // No bytes: the finish on the seed 0, with f(x) = 0xD1CCF6E9 - x * 1354167659
    // and r the 16-bit rotation (all mod 2^32):
    //   f(0)          = 0xD1CCF6E9
    //   r(0xD1CCF6E9) = 0xF6E9D1CC;  f(0xF6E9D1CC) = 0xF1420AA5
    //   r(0xF1420AA5) = 0x0AA5F142;  f(0x0AA5F142) = 0x69A0F653
    EXPECT_EQ(kvoraHashBytes("", 0, 0), 0x69A0F653u);
    EXPECT_EQ(kvoraHashBytes(nullptr, 5, 0), 0x69A0F653u);
    EXPECT_EQ(kvoraHashText("", 0), 0x69A0F653u);

    // Three bytes, no full group: h = 0; tail t = (97*256 + 98)*256 + 99 = 0x00616263;
    // h + t = 0x00616263.
    //   f(0x00616263) = 0x938E1888
    //   r -> 0x1888938E;  f(0x1888938E) = 0x948C648F
    //   r -> 0x648F948C;  f(0x648F948C) = 0x0517E465
    EXPECT_EQ(kvoraHashBytes("abc", 3, 0), 0x0517E465u);
    EXPECT_EQ(kvoraHashText("abc", 0), 0x0517E465u);

    // "abcd": w = 0x61626364; h = (0 + w) * 1664525 + 1013904223 = 0x16CBD773.
    //   f(0x16CBD773) = 0x19A6DAD8; r -> 0xDAD819A6; f = 0x6CEA6087; r -> 0x60876CEA; f = 0x4F9A7F1B
    EXPECT_EQ(kvoraHashBytes("abcd", 4, 0), 0x4F9A7F1Bu);
    // One byte 0xFF read as signed: t = -1 = 0xFFFFFFFF.
    //   f(0xFFFFFFFF) = 0x2283EC54; r -> 0xEC542283; f = 0x0C792B28; r -> 0x2B280C79; f = 0xC619F356
    EXPECT_EQ(kvoraHashBytes("\xff", 1, 0), 0xC619F356u);
    // The seed counts.
    EXPECT_NE(kvoraHashBytes("abc", 3, 1), kvoraHashBytes("abc", 3, 0));

    // f(5) = 0xD1CCF6E9 - 5 * 1354167659 mod 2^32 = 0x3E3A2BD2.
    EXPECT_EQ(kvoraHashLong(5), 0x3E3A2BD2u);
    // 1.0 = 0.5 * 2^1: t = trunc(0.5 * 2147483647.0) = 1073741823;
    // t * 0xAF490A95 - (1 + 0) * 1432516515 + 1649599747 mod 2^32 = 0x9DA762CB.
    EXPECT_EQ(kvoraHashReal(1.0, 0), 0x9DA762CBu);
    // combine(1, 2): r(1) ^ 2 = 0x00010002; f -> 0x3AF40C13; r -> 0x0C133AF4, ^ 2 = 0x0C133AF6;
    // f -> 0x9371E417.
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

TEST_F(XashTableTest, ParametersForZeroAndForAThousand) {
    table.calcHashParams(0, env);
    EXPECT_EQ(table.getTableSize(), 2);
    EXPECT_EQ(table.getFirstShift(), 31);
    EXPECT_EQ(table.getSecondShift(), 13);  // 31 / 2 - 2
    EXPECT_EQ(table.getMask(), 1u);
    EXPECT_EQ(table.getMaxProbeLength(), 2);
    EXPECT_EQ(table.getLongestProbe(), 0);
    // With mask 1 both the multiplier and the addend are 1 for any hash.
    EXPECT_EQ(table.probeMultiplier(0xFFFFFFFFu), 1u);
    EXPECT_EQ(table.probeAddend(0x12345678u), 1u);

    table.reset(env);
    table.calcHashParams(1000, env);
    EXPECT_EQ(table.getTableSize(), 1024);
    EXPECT_EQ(table.getFirstShift(), 22);
    EXPECT_EQ(table.getSecondShift(), 9);
    EXPECT_EQ(table.getMask(), 1023u);
    EXPECT_EQ(table.getMaxProbeLength(), 11);
    for (int32_t slot = 0; slot < 1024; ++slot) ASSERT_EQ(table.getEntry(slot).ivIndex, 0);
    // For 0x12345678: start (h >> 22) & 1023 = 0x48; multiplier: h >> 9 = 0x91A2B, bit 1 cleared 0x91A29, or 5 0x91A2D, & 1023 = 0x22D;
    // addend: 2h + 1 = 0x2468ACF1, & 1023 = 0x0F1.
    EXPECT_EQ(table.probeStart(0x12345678u), 0x48u);
    EXPECT_EQ(table.probeMultiplier(0x12345678u), 0x22Du);
    EXPECT_EQ(table.probeAddend(0x12345678u), 0x0F1u);
}

TEST_F(XashTableTest, FirstEntryInAFreshTable) {
    EXPECT_EQ(table.find(7, 123), 0);
    EXPECT_EQ(table.lookup(7, 123), -1);
    EXPECT_EQ(table.copyPut(7, 123, env), 1);
    EXPECT_EQ(table.getTableSize(), 2);
    EXPECT_EQ(table.find(7, 123), 1);
    EXPECT_EQ(table.copyPut(7, 123, env), 1);  // present already
    EXPECT_EQ(table.getUsedCount(), 1u);
}

TEST_F(XashTableTest, RemovedPositionIsReusedWhenTheSequenceMeetsIt) {
    // Size 2: the start slot is the top bit of the hash, and the step is 1.
    table.calcHashParams(0, env);
    EXPECT_EQ(table.copyPut(10, 0x00000000u, env), 1);  // slot 0
    EXPECT_EQ(table.copyPut(20, 0x80000000u, env), 2);  // slot 1
    EXPECT_EQ(table.find(30, 0x00000000u), 0);          // same hash, other key
    table.remove(1, env);
    EXPECT_EQ(table.getEntry(0).ivIndex, -1);
    EXPECT_EQ(table.getUsedCount(), 1u);
    EXPECT_EQ(table.find(10, 0x00000000u), 0);
    EXPECT_EQ(table.find(20, 0x80000000u), 2);
    // Key 30 starts at the tombstone's slot and takes its position 1.
    EXPECT_EQ(table.copyPut(30, 0x00000000u, env), 1);
    EXPECT_EQ(table.getKey(1), 30);
    EXPECT_EQ(table.getObjectCount(), 2);
    // Full table: key 40 forces growth to 4 slots (first shift 30, mask 3);
    // 10's old slot moves to slot 0 and 20's to slot 2; 40 starts at slot 2,
    // steps by 1 to slot 3, and gets the new position 3.
    EXPECT_EQ(table.copyPut(40, 0x80000000u, env), 3);
    EXPECT_EQ(table.getTableSize(), 4);
    EXPECT_EQ(table.getFirstShift(), 30);
    EXPECT_EQ(table.getMaxProbeLength(), 3);
    EXPECT_EQ(table.getEntry(0).ivIndex, 1);
    EXPECT_EQ(table.getEntry(2).ivIndex, 2);
    EXPECT_EQ(table.getEntry(3).ivIndex, 3);
    EXPECT_EQ(table.getLongestProbe(), 2);
    EXPECT_EQ(table.find(30, 0x00000000u), 1);
    EXPECT_EQ(table.find(20, 0x80000000u), 2);
    EXPECT_EQ(table.find(40, 0x80000000u), 3);
}

TEST_F(XashTableTest, NewKeyAwayFromTheTombstoneTakesANewPosition) {
    table.calcHashParams(3, env);  // 4 slots: the start is the top two bits
    EXPECT_EQ(table.copyPut(1, 0x00000000u, env), 1);  // slot 0
    EXPECT_EQ(table.copyPut(2, 0x40000000u, env), 2);  // slot 1
    table.remove(1, env);
    EXPECT_EQ(table.copyPut(3, 0x80000000u, env), 3);  // slot 2, never used
    EXPECT_EQ(table.copyPut(4, 0x00000000u, env), 1);  // slot 0, the tombstone
    EXPECT_EQ(table.getKey(1), 4);
    EXPECT_EQ(table.getKey(2), 2);
}

TEST_F(XashTableTest, GrowsAndKeepsPositionsUnderLoad) {
    const int32_t count = 20000;
    for (int32_t i = 0; i < count; ++i) ASSERT_EQ(table.copyPut(i * 7, kvoraHashLong(i * 7), env), i + 1);
    EXPECT_EQ(table.getUsedCount(), static_cast<uint32_t>(count));
    const int32_t size = table.getTableSize();
    EXPECT_EQ(size & (size - 1), 0);
    EXPECT_GE(size, count);
    for (int32_t i = 0; i < count; ++i) ASSERT_EQ(table.find(i * 7, kvoraHashLong(i * 7)), i + 1);
    EXPECT_EQ(table.find(3, kvoraHashLong(3)), 0);
    EXPECT_LE(table.getLongestProbe(), table.getMaxProbeLength() + 64);
    // Remove every other key; the others keep their positions, and each
    // removed key comes back at some position without disturbing them.
    for (int32_t i = 0; i < count; i += 2) table.remove(i + 1, env);
    EXPECT_EQ(table.getUsedCount(), static_cast<uint32_t>(count / 2));
    for (int32_t i = 1; i < count; i += 2) ASSERT_EQ(table.find(i * 7, kvoraHashLong(i * 7)), i + 1);
    for (int32_t i = 0; i < count; i += 2) ASSERT_EQ(table.find(i * 7, kvoraHashLong(i * 7)), 0);
    for (int32_t i = 0; i < count; i += 2) {
        const int32_t index = table.copyPut(i * 7, kvoraHashLong(i * 7), env);
        ASSERT_GE(index, 1);
        ASSERT_EQ(table.getKey(index), i * 7);
        ASSERT_EQ(table.find(i * 7, kvoraHashLong(i * 7)), index);
    }
    EXPECT_EQ(table.getUsedCount(), static_cast<uint32_t>(count));
    for (int32_t i = 1; i < count; i += 2) ASSERT_EQ(table.find(i * 7, kvoraHashLong(i * 7)), i + 1);
}

TEST_F(XashTableTest, BadHashesStillFindEveryKey) {
    // All keys share one hash: probes get long, and the table grows once it
    // is half full; a lookup still walks far enough.
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
    EXPECT_EQ(kv.findValue(5, kvoraHashLong(5)), 0.0);
    EXPECT_EQ(kv.findValue(6, kvoraHashLong(6)), 3.5);
}

TEST_F(XashTableTest, TextKeysCompareByContent) {
    KVORAObjectIndexXAshTable<std::string> names;
    EXPECT_EQ(names.copyPut("alpha", kvoraHashText("alpha", 0), env), 1);
    EXPECT_EQ(names.copyPut("beta", kvoraHashText("beta", 0), env), 2);
    const std::string probe = "alp" + std::string("ha");
    EXPECT_EQ(names.find(probe, kvoraHashText(probe.c_str(), 0)), 1);
    names.remove(2, env);
    EXPECT_EQ(names.getKey(2), "");  // the cell is made empty again
    names.reset(env);
}

}  // namespace
