// The Friends kernel in indices mode: its counts, the sign rule of its
// information, the filter of candidate pairs, and its report keys. Value mode
// and the other kernel types are refused before any run computes with them;
// Friends crosses the stream in every multi-process kernel build.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "control/kvora_XML_tag.h"
#include "simple_algorithm/kvora_kernel_functions_friends.h"

namespace {

class KernelFunctionsTest : public ::testing::Test {
protected:
    void TearDown() override {
        a.reset(env);
        b.reset(env);
        samples.reset(env);
        positions.reset(env);
    }
    KVORAKernelVector &set(KVORAKernelVector &v, std::initializer_list<double> values) {
        v.setSize(0, env);
        for (double x : values) v.copyAppend(x, env);
        return v;
    }
    // k11, k10, k01, k00 of a pair.
    std::vector<double> counts(KVORAKernelFunctionFriends &f, std::initializer_list<double> x,
                               std::initializer_list<double> y) {
        const KVORAKernelFunctionFriends::Counts k = f.countPair(set(a, x), set(b, y));
        return {k.k11, k.k10, k.k01, k.k00};
    }
    std::vector<int32_t> listed() const {
        return std::vector<int32_t>(positions.getBlock(), positions.getBlock() + positions.getSize());
    }
    KVORAEnv *env = nullptr;
    KVORAKernelVector a, b;
    KVORAXaRay<uint64_t, 1> samples;
    KVORAXaRay<int32_t, 1> positions;
};

TEST_F(KernelFunctionsTest, FriendsCountsAndTheSignRule) {
    KVORAKernelFunctionFriends f(1, 0.0, 100.0, env);
    // The walk stops when vec1 runs out: the 4 is never counted.
    EXPECT_EQ(counts(f, {1, 2, 3}, {2, 3, 4}), (std::vector<double>{2, 1, 0, 97}));
    // p00 .97, p10 .01, p11 .02; r0 .97, c0 .98, c1 .02, r1 .03.
    const double expected =
        (0.97 * std::log(1 / 0.98) + 0.01 * std::log(0.01 / (0.03 * 0.98)) + 0.02 * std::log(1 / 0.03)) /
        std::log(2.0);
    EXPECT_NEAR(f.ComputeKernel(a, b, 1, 2), expected, 1e-12);
    EXPECT_EQ(counts(f, {0, 1, 2}, {0, 2}), (std::vector<double>{1, 1, 0, 98}));  // markers stepped over
    // The walk also ends when vec2 runs out, and a smaller B steps B alone.
    EXPECT_EQ(counts(f, {5, 6}, {1, 2}), (std::vector<double>{0, 0, 2, 98}));
    EXPECT_EQ(counts(f, {}, {1, 2}), (std::vector<double>{0, 0, 0, 0}));
    EXPECT_EQ(f.ComputeKernel(a, b, 1, 2), 0.0);


    EXPECT_EQ(KVORAKernelFunctionFriends::signedInformation(10.0, 0, 0, 0, 0), 0.0);
    // Off-diagonal equal to diagonal (4 against 4) keeps the sign positive.
    EXPECT_GT(KVORAKernelFunctionFriends::signedInformation(8.0, 3, 2, 2, 1), 0.0);
    // Swapping the second sample's labels keeps the information and flips the sign.
    const double agree = KVORAKernelFunctionFriends::signedInformation(8.0, 3, 1, 1, 3);
    EXPECT_GT(agree, 0.0);
    EXPECT_NEAR(KVORAKernelFunctionFriends::signedInformation(8.0, 1, 3, 3, 1), -agree, 1e-15);
}

TEST_F(KernelFunctionsTest, FriendsFilterListsMentionedOwnSamples) {
    KVORAKernelFunctionFriends f(1, 0.0, 100.0, env);
    // A repeated 10 keeps its first position; 3 is skipped.
    for (uint64_t s : {10, 20, 10, 30}) samples.copyAppend(s, env);
    f.prepareFilter(samples, env);
    EXPECT_EQ(f.ivFilterSamplesCount, 5);
    EXPECT_EQ(f.filterCandidates(positions, set(a, {30, 10, 99, 10, 0}), env), 2);
    EXPECT_EQ(listed(), (std::vector<int32_t>{4, 1, -1, -1, -1}));
    // Each call lists afresh.
    EXPECT_EQ(f.filterCandidates(positions, set(a, {10, 20}), env), 2);
    EXPECT_EQ(listed(), (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(f.filterCandidates(positions, set(a, {7, 0, 8}), env), 1);
    EXPECT_EQ(listed(), (std::vector<int32_t>{-1, -1, -1}));
    f.releasePrimitive(env);
}

TEST_F(KernelFunctionsTest, FriendsParametersInTheModelReport) {
    KVORAXMLTag tag;
    KVORAKernelFunctionFriends(1, 0.0, 50000000.0, env).writeXMLKernelParameters(tag, env);
    std::string leaves;
    for (int32_t i = 1; i <= tag.getNumChildren(); ++i)
        leaves += std::string(tag.getChild(i).ivName.c_str()) + "=" + tag.getChild(i).getValue().c_str() + ";";
    EXPECT_EQ(leaves, "KernelType=Friends;IsIndicesData=1;EmptyMarker=0;NormalizingFactor=5e+07;");
    tag.release(env);
}

}  // namespace
