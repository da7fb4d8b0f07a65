// The online histogram: bins open per distinct value, the closest pair melts
// when the capacity is reached (equal gaps: the low end first), and merging
// two array histograms adds counts and melts back to the capacity, checked
// against a plain walk over all pairs.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

#include "simple_algorithm/kvora_online_histogram.h"

namespace {

// The melting rule in its plainest form: a walk over every adjacent pair.
struct WalkedHistogram {
    int32_t capacity;
    std::map<double, int32_t> bins;
    void meltClosest() {
        auto best = bins.begin(), previous = bins.begin();
        double bestGap = std::next(previous)->first - previous->first;
        for (auto current = std::next(previous); current != bins.end(); previous = current, ++current) {
            if (current->first - previous->first < bestGap) {
                bestGap = current->first - previous->first;
                best = previous;
            }
        }
        const auto second = std::next(best);
        const double x = (best->first * best->second + second->first * second->second) / (best->second + second->second);
        const int32_t c = best->second + second->second;
        bins.erase(best, std::next(second));
        bins[x] = c;
    }
    void add(double v) {
        if (bins.count(v) != 0) {
            ++bins[v];
            return;
        }
        if (static_cast<int32_t>(bins.size()) >= capacity) meltClosest();
        bins[v] = 1;
    }
};

typedef std::map<double, int32_t> Bins;

class OnlineHistogramTest : public ::testing::Test {
protected:
    void TearDown() override {
        hist.releasePrimitive(env);
        loc.reset(env);
        cnt.reset(env);
        loc2.reset(env);
        cnt2.reset(env);
    }
    KVORAEnv *env = nullptr;
    KVORAOnlineHistogramData hist;
    KVORAXaRay<double, 1> loc, loc2;
    KVORAXaRay<int32_t, 1> cnt, cnt2;
};

TEST_F(OnlineHistogramTest, AddingValuesAndMeltingTheClosestPair) {
    // Gaps 1 and 1: the pair at the low end melts.
    hist.setCapacity(3, env);
    for (double v : {1.0, 2.0, 3.0, 10.0}) hist.addValue(v, env);
    EXPECT_EQ(hist.getBins(), (Bins{{1.5, 2}, {3.0, 1}, {10.0, 1}}));

    // The melted location is the count-weighted mean: (1 * 3 + 4 * 1) / 4.
    hist.setCapacity(2, env);
    for (double v : {1.0, 1.0, 1.0, 4.0, 5.0}) hist.addValue(v, env);
    EXPECT_EQ(hist.getBins(), (Bins{{1.75, 4}, {5.0, 1}}));

    // A value that stands on a bin never melts anything, even when full.
    hist.addValue(5.0, env);
    EXPECT_EQ(hist.getBins(), (Bins{{1.75, 4}, {5.0, 2}}));
}

TEST_F(OnlineHistogramTest, LongStreamsMeltAsTheWalkOverAllPairs) {
    // Small whole numbers hit bins and tie on gaps all the time; spread reals
    // melt at every value; both then go on after a merge has cut a union back.
    std::mt19937 random(5);
    for (int kind = 0; kind < 2; ++kind) {
        WalkedHistogram walked{50, {}};
        hist.setCapacity(50, env);
        for (int i = 0; i < 20000; ++i) {
            const double v = kind == 0 ? static_cast<double>(random() % 400) * 0.5
                                       : std::ldexp(static_cast<double>(random()), -20) - 2000.0;
            hist.addValue(v, env);
            walked.add(v);
        }
        ASSERT_EQ(hist.getBins(), walked.bins) << kind;

        hist.getHistogram(loc, cnt, env);
        loc2.setSize(0, env);
        cnt2.setSize(0, env);
        for (int k = 0; k < 60; ++k) {
            loc2.copyAppend(k * 3.0 + 0.125, env);
            cnt2.copyAppend(k % 4 + 1, env);
            walked.bins[k * 3.0 + 0.125] += k % 4 + 1;
        }
        hist.mergeHistograms(loc, cnt, loc2, cnt2, env);
        while (static_cast<int32_t>(walked.bins.size()) > 50) walked.meltClosest();
        ASSERT_EQ(hist.getBins(), walked.bins) << kind;
        for (int i = 0; i < 5000; ++i) {
            const double v = static_cast<double>(random() % 1000) * 0.25;
            hist.addValue(v, env);
            walked.add(v);
        }
        ASSERT_EQ(hist.getBins(), walked.bins) << kind;
    }
}

}  // namespace
