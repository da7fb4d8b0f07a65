// Growing arrays: the growth rule, both index bases, resizing with elements
// that own memory, the memory account, and KVORAArray over the same code.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "util/kvora_array.h"
#include "util/kvora_xray.h"

namespace {

TEST(XaRay, GrowthByTheRootOfTwo) {
    KVORAEnv *env = nullptr;
    KVORAXaRay<char, 0> bytes;
    std::vector<int32_t> capacities;
    for (int32_t i = 0; i < 60; ++i) {
        bytes.autoExtend(i, env);
        ASSERT_EQ(bytes.getSize(), i + 1);
        if (capacities.empty() || capacities.back() != bytes.getCapacity()) capacities.push_back(bytes.getCapacity());
    }
    // 1; 1 * r * r = 2.00000000000003 -> 3; 3r = 4.24 -> 5; 7.07 -> 8; 11.3 -> 12; 16.97 -> 17;
    // 24.04 -> 25; 35.36 -> 36; 50.9 -> 51; 72.1 -> 73.
    EXPECT_EQ(capacities, (std::vector<int32_t>{1, 3, 5, 8, 12, 17, 25, 36, 51, 73}));
    bytes.reset(env);
    EXPECT_EQ(bytes.getBlock(), nullptr);

    KVORAXaRay<int32_t, 1> a;
    a.setSizeCapacity(10, 10, env);
    a.autoExtend(11, env);  // base 1: index 11 needs 11 elements; 10 * 1.414 = 14.14 -> 15
    EXPECT_EQ(a.getCapacity(), 15);
    EXPECT_EQ(a.getSize(), 11);
    // A jump grows by as many factors as it needs: 15 -> 21.2 -> 30.0 -> 42.4 -> 43.
    a.autoExtend(40, env);
    EXPECT_EQ(a.getCapacity(), 43);
    a.reset(env);
}

TEST(XaRay, IndexBaseAndInitialisation) {
    KVORAEnv *env = nullptr;
    KVORAXaRay<int32_t, 1> one;
    one.autoExtend(3, env);
    EXPECT_EQ(one.getSize(), 3);
    one[1] = 11;
    EXPECT_EQ(one.getBlock()[0], 11);
    EXPECT_EQ(one[2], 0);  // new cells are zero
    KVORAXaRay<int32_t, 0> zero;
    zero.autoExtend(0, env);
    EXPECT_EQ(zero.getCapacity(), 1);
    zero[0] = 5;
    zero.copyAppend(6, env);
    zero.copyAppend(zero[0], env);  // a value from the array's own block
    EXPECT_EQ(zero[2], 5);
    // KVORAArray counts from 1 too, and grows by the same rule.
    KVORAArray<int32_t> array;
    for (int32_t i = 1; i <= 4; ++i) array.autoExtend(i, env);
    EXPECT_EQ(array.getCapacity(), 5);
    one.reset(env);
    zero.reset(env);
    array.reset(env);
}

TEST(XaRay, ResizingKeepsAndDestroysElements) {
    KVORAEnv *env = nullptr;
    KVORAXaRay<std::string, 0> texts;
    texts.setSize(3, env);
    texts[0] = "zero";
    texts[1] = std::string(100, 'x');  // owns heap memory: must be moved, not copied bytewise
    texts[2] = "two";
    texts.setCapacity(50, env);
    EXPECT_EQ(texts.getSize(), 3);
    EXPECT_EQ(texts[1], std::string(100, 'x'));
    texts.setSize(1, env);  // same capacity: cells 1 and 2 destroyed
    EXPECT_EQ(texts.getCapacity(), 50);
    texts.setSize(2, env);
    EXPECT_EQ(texts[1], "");  // re-initialised, not the old value
    texts.setSizeCapacity(1, 1, env);
    EXPECT_EQ(texts[0], "zero");
    texts.setSizeCapacity(0, 0, env);  // a capacity below 1 is a reset
    EXPECT_EQ(texts.getCapacity(), 0);
}

TEST(XaRay, CopyTransferAndTheMemoryAccount) {
    KVORAEnv *env = nullptr;
    const int64_t before = kvoraGetEnv(env)->getBytesInUse();
    KVORAXaRay<double, 1> a;
    a.setSizeCapacity(4, 8, env);
    EXPECT_EQ(kvoraGetEnv(env)->getBytesInUse() - before, 8 * 8);
    a[4] = 4.5;
    KVORAXaRay<double, 1> b;
    b.copyFrom(a, env);
    EXPECT_EQ(b.getSize(), 4);
    EXPECT_EQ(b[4], 4.5);
    KVORAXaRay<double, 1> c;
    c.transferFrom(a, env);
    EXPECT_EQ(a.getCapacity(), 0);
    EXPECT_EQ(c[4], 4.5);
    b.reset(env);
    c.reset(env);
    EXPECT_EQ(kvoraGetEnv(env)->getBytesInUse(), before);
}

TEST(XaRay, DestroyedWhileHoldingMemoryComplains) {
    testing::internal::CaptureStderr();
    {
        KVORAEnv *env = nullptr;
        KVORAXaRay<int32_t, 0> leaky;
        leaky.setSize(2, env);
    }
    const std::string out = testing::internal::GetCapturedStderr();
    EXPECT_NE(out.find("\n*** ERROR in function ~KVORAXaRay"), std::string::npos) << out;
    EXPECT_NE(out.find("\n    KVORAXaRay destructor called without resetting array\n"), std::string::npos) << out;
    kvoraErrorFlag = 0;
}

}  // namespace
