// The kernel functions: the Friends counts in both data modes and the sign
// rule of its information, the filter of candidate pairs, the other formulas,
// their parameters in the model report, and their members through the binary
// object stream.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "control/kvora_XML_tag.h"
#include "simple_algorithm/kvora_kernel_functions.h"
#include "simple_algorithm/kvora_kernel_functions_cosine.h"
#include "simple_algorithm/kvora_kernel_functions_friends.h"
#include "simple_algorithm/kvora_kernel_functions_information.h"
#include "simple_algorithm/kvora_kernel_functions_poly.h"
#include "simple_algorithm/kvora_kernel_functions_precomputed.h"
#include "simple_algorithm/kvora_kernel_functions_rbf.h"
#include "simple_algorithm/kvora_kernel_functions_sigmoid.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

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
    std::vector<int32_t> listed() const {
        std::vector<int32_t> out;
        for (int32_t i = 1; i <= positions.getSize(); ++i) out.push_back(positions[i]);
        return out;
    }
    KVORAEnv *env = nullptr;
    KVORAKernelVector a, b;
    KVORAXaRay<uint64_t, 1> samples;
    KVORAXaRay<int32_t, 1> positions;
};

TEST_F(KernelFunctionsTest, FriendsIndicesModeCounts) {
    KVORAKernelFunctionFriends f(1, 0.0, 100.0, env);
    // The walk stops when vec1 runs out: the 4 is never counted.
    KVORAKernelFunctionFriends::Counts k = f.countPair(set(a, {1, 2, 3}), set(b, {2, 3, 4}));
    EXPECT_EQ(k.k11, 2.0);
    EXPECT_EQ(k.k10, 1.0);
    EXPECT_EQ(k.k01, 0.0);
    EXPECT_EQ(k.k00, 97.0);
    // p00 .97, p10 .01, p11 .02; r0 .97, c0 .98, c1 .02, r1 .03.
    const double expected =
        (0.97 * std::log(1 / 0.98) + 0.01 * std::log(0.01 / (0.03 * 0.98)) + 0.02 * std::log(1 / 0.03)) /
        std::log(2.0);
    EXPECT_NEAR(f.ComputeKernel(a, b, 1, 2), expected, 1e-12);
    EXPECT_GT(f.ComputeKernel(a, b, 1, 2), 0.0);

    // Empty markers are stepped over in both lists.
    k = f.countPair(set(a, {0, 1, 2}), set(b, {0, 2}));
    EXPECT_EQ(k.k11, 1.0);
    EXPECT_EQ(k.k10, 1.0);
    EXPECT_EQ(k.k01, 0.0);
    EXPECT_EQ(k.k00, 98.0);

    // The walk also ends when vec2 runs out, and a smaller B steps B alone.
    k = f.countPair(set(a, {5, 6}), set(b, {1, 2}));
    EXPECT_EQ(k.k11, 0.0);
    EXPECT_EQ(k.k10, 0.0);
    EXPECT_EQ(k.k01, 2.0);
    EXPECT_EQ(k.k00, 98.0);

    // An empty first list: no counts at all, and a value of 0.
    k = f.countPair(set(a, {}), set(b, {1, 2}));
    EXPECT_EQ(k.k00 + k.k01 + k.k10 + k.k11, 0.0);
    EXPECT_EQ(f.ComputeKernel(a, b, 1, 2), 0.0);
}

TEST_F(KernelFunctionsTest, FriendsValueModeAndTheSignRule) {
    KVORAKernelFunctionFriends f(0, -1.0, 4.0, env);
    // Opposite patterns: k01 2, k10 2, information exactly one bit, negated.
    EXPECT_EQ(f.ComputeKernel(set(a, {1, 0, 1, 0}), set(b, {0, 1, 0, 1}), 1, 2), -1.0);
    // Equal patterns: k11 2, k00 2, one bit, positive.
    EXPECT_EQ(f.ComputeKernel(set(a, {1, 0, 1, 0}), set(b, {1, 0, 1, 0}), 1, 2), 1.0);
    // A marker in either vector removes that position from the table.
    KVORAKernelFunctionFriends::Counts k = f.countPair(set(a, {1, -1, 1, 0, 2}), set(b, {1, 1, -1, 0, 0}));
    EXPECT_EQ(k.k11, 1.0);
    EXPECT_EQ(k.k00, 1.0);
    EXPECT_EQ(k.k10, 1.0);
    EXPECT_EQ(k.k01, 0.0);

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
    samples.copyAppend(10, env);
    samples.copyAppend(20, env);
    samples.copyAppend(10, env);  // a repeat keeps its first position; 3 is skipped
    samples.copyAppend(30, env);
    f.prepareFilter(samples, env);
    EXPECT_EQ(f.ivFilterSamplesCount, 5);
    EXPECT_EQ(f.filterCandidates(positions, set(a, {30, 10, 99, 10, 0}), env), 2);
    EXPECT_EQ(listed(), (std::vector<int32_t>{4, 1, -1, -1, -1}));
    // Each call lists afresh.
    EXPECT_EQ(f.filterCandidates(positions, set(a, {10, 20}), env), 2);
    EXPECT_EQ(listed(), (std::vector<int32_t>{1, 2}));
    EXPECT_EQ(f.filterCandidates(positions, set(a, {7, 0, 8}), env), 1);
    EXPECT_EQ(listed(), (std::vector<int32_t>{-1, -1, -1}));

    // Value mode: the key is the column, and a marker skips its column.
    KVORAKernelFunctionFriends v(0, 0.0, 100.0, env);
    samples.setSize(0, env);
    samples.copyAppend(1, env);
    samples.copyAppend(3, env);
    v.prepareFilter(samples, env);
    EXPECT_EQ(v.filterCandidates(positions, set(a, {5, 0, 7}), env), 2);
    EXPECT_EQ(listed(), (std::vector<int32_t>{1, 2, -1}));
    f.releasePrimitive(env);
    v.releasePrimitive(env);

    // The other members have no filter.
    KVORAKernelFunctionCosine c;
    c.prepareFilter(samples, env);
    EXPECT_EQ(c.filterCandidates(positions, a, env), 0);
}

TEST_F(KernelFunctionsTest, OtherFormulas) {
    // Sums run strictly left to right: 1e16 + 1 is lost before -1e16 cancels.
    EXPECT_EQ(kvoraKernelDot(set(a, {1e16, 1, -1e16, 1, 1}), set(b, {1, 1, 1, 1, 1})), 2.0);

    KVORAKernelFunctionPoly p3(3, 2.0, 1.0, env);
    set(a, {1, 2});
    set(b, {3, 4});  // dot 11, x = 23
    testing::internal::CaptureStdout();
    EXPECT_EQ(p3.ComputeKernel(a, b, 1, 2), 12167.0);
    KVORAKernelFunctionPoly p2(2, 2.0, 1.0, env);
    EXPECT_EQ(p2.ComputeKernel(a, b, 1, 2), 529.0);
    KVORAKernelFunctionPoly p0(0, 2.0, 1.0, env);
    EXPECT_EQ(p0.ComputeKernel(a, b, 1, 2), 1.0);
    const std::string line =
        "KVORAKernelFunctionPoly::ComputeKernel, alleged dead code reached (multi-platform adjustments)\n";
    EXPECT_EQ(testing::internal::GetCapturedStdout(), line + line + line);

    KVORAKernelFunctionRBF rbf(0.5, env);
    EXPECT_EQ(rbf.ComputeKernel(set(a, {1, 2}), set(b, {3, 5}), 1, 2), std::exp(-6.5));
    KVORAKernelFunctionSigmoid sig(0.5, -1.0, env);
    EXPECT_EQ(sig.ComputeKernel(set(a, {1, 2}), set(b, {3, 4}), 1, 2), std::tanh(4.5));

    KVORAKernelFunctionCosine cos;
    EXPECT_EQ(cos.ComputeKernel(set(a, {0, 0}), set(b, {3, 4}), 1, 2), 0.0);
    EXPECT_EQ(cos.ComputeKernel(set(a, {3, 4}), set(b, {3, 4}), 1, 2), 1.0);
    EXPECT_NEAR(cos.ComputeKernel(set(a, {1, 0}), set(b, {1, 1}), 1, 2), std::sqrt(0.5), 1e-15);

    KVORAKernelFunctionPrecomputed pre;
    set(a, {0.1, 0.2, 0.3});
    EXPECT_EQ(pre.ComputeKernel(a, b, 9, (uint64_t(1) << 32) + 2), 0.2);  // low 32 bits
    EXPECT_ANY_THROW(pre.ComputeKernel(a, b, 9, 4));

    KVORAKernelFunctionInformation info(2, env);
    EXPECT_NEAR(info.ComputeKernel(set(a, {1, 1, 2, 2}), set(b, {1, 1, 2, 2}), 1, 2), 1.0, 1e-15);
    EXPECT_EQ(info.ComputeKernel(set(a, {1, 1, 2, 2}), set(b, {1, 2, 1, 2}), 1, 2), 0.0);
    KVORAKernelFunctionInformation noBins(0, env);
    EXPECT_ANY_THROW(noBins.ComputeKernel(a, b, 1, 2));

    KVORAKernelFunction root;
    EXPECT_ANY_THROW(root.ComputeKernel(a, b, 1, 2));
    EXPECT_ANY_THROW(root.filterCandidates(positions, a, env));
}

std::string leaves(const KVORAXMLTag &tag) {
    std::string out;
    for (int32_t i = 1; i <= tag.getNumChildren(); ++i) {
        const KVORAXMLTag &c = tag.getChild(i);
        out += std::string(c.ivName.c_str()) + "=" + c.getValue().c_str() + ";";
    }
    return out;
}

TEST_F(KernelFunctionsTest, ParametersInTheModelReport) {
    KVORAXMLTag tag;
    KVORAKernelFunctionFriends(1, 0.0, 50000000.0, env).writeXMLKernelParameters(tag, env);
    EXPECT_EQ(leaves(tag), "KernelType=Friends;IsIndicesData=1;EmptyMarker=0;NormalizingFactor=5e+07;");
    tag.release(env);
    KVORAKernelFunctionPoly(2, 1.5, 0.25, env).writeXMLKernelParameters(tag, env);
    EXPECT_EQ(leaves(tag), "KernelType=Poly;Deg=2;Bias=0.25;Mul=1.5;");
    tag.release(env);
    KVORAKernelFunctionSigmoid(3.0, -1.0, env).writeXMLKernelParameters(tag, env);
    EXPECT_EQ(leaves(tag), "KernelType=Sigmoid;Bias=-1;Mul=3;");
    tag.release(env);
    KVORAKernelFunctionInformation(16, env).writeXMLKernelParameters(tag, env);
    EXPECT_EQ(leaves(tag), "KernelType=Information;NumberOfBins=16;");
    tag.release(env);
    KVORAKernelFunctionRBF(0.125, env).writeXMLKernelParameters(tag, env);
    EXPECT_EQ(leaves(tag), "KernelType=RBF;Gamma=0.125;");
    tag.release(env);
    KVORAKernelFunctionPrecomputed().writeXMLKernelParameters(tag, env);
    EXPECT_EQ(leaves(tag), "KernelType=Precomputed;");
    tag.release(env);
}

// Writes the owned object and reads it back into `out`.
void roundTrip(const KVORAOwnPtr<KVORAKernelFunction> &in, KVORAOwnPtr<KVORAKernelFunction> &out, KVORA_ENV env) {
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

TEST_F(KernelFunctionsTest, MembersCrossTheBinaryStream) {
    KVORAOwnPtr<KVORAKernelFunction> in, out;
    KVORAKernelFunctionFriends *friends = new KVORAKernelFunctionFriends(1, -2.5, 12345.0, env);
    friends->ivDummy = 7;
    samples.copyAppend(4, env);
    friends->prepareFilter(samples, env);
    in.reset(friends, env);
    roundTrip(in, out, env);
    ASSERT_NE(out.get(), nullptr);
    ASSERT_TRUE(out->isKindOf(KVORAKernelFunctionFriends::classType()));
    const KVORAKernelFunctionFriends *back = static_cast<KVORAKernelFunctionFriends *>(out.get());
    EXPECT_EQ(back->ivDummy, 7);
    EXPECT_EQ(back->ivIsIndicesData, 1);
    EXPECT_EQ(back->ivEmptyMarker, -2.5);
    EXPECT_EQ(back->ivNormalizingFactor, 12345.0);
    EXPECT_TRUE(back->ivFilterSamplesMap.empty());  // the filter stays on its worker

    // A different type in the stream replaces the object held.
    in.reset(new KVORAKernelFunctionPoly(3, 0.5, -4.0, env), env);
    roundTrip(in, out, env);
    ASSERT_TRUE(out->isKindOf(KVORAKernelFunctionPoly::classType()));
    const KVORAKernelFunctionPoly *poly = static_cast<KVORAKernelFunctionPoly *>(out.get());
    EXPECT_EQ(poly->ivDeg, 3);
    EXPECT_EQ(poly->ivMul, 0.5);
    EXPECT_EQ(poly->ivBias, -4.0);

    in.reset(new KVORAKernelFunctionInformation(9, env), env);
    roundTrip(in, out, env);
    ASSERT_TRUE(out->isKindOf(KVORAKernelFunctionInformation::classType()));
    EXPECT_EQ(static_cast<KVORAKernelFunctionInformation *>(out.get())->ivNumberOfBins, 9);
    in.reset(env);
    out.reset(env);
}

}  // namespace
