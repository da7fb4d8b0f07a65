// Field distributions: the bounded sample, the learning passes, bins, draws,
// and the same rows split over 1, 2 or 3 workers (fields distributed, their
// results merged through the scan-result streams) learning the same.
// Learning must not allocate per row: a counting operator new (backed by
// malloc, hence the pragma) watches it.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_catfielddist.h"
#include "kernel/kvora_datascan.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_numfield.h"
#include "kernel/kvora_numfielddist.h"
#include "kernel_streams.h"
#include "util/kvora_debug.h"
#include "util/kvora_xash.h"

using namespace kerneltest;


namespace {
bool gCountNew = false;
int64_t gNewCount = 0;
}  // namespace

void *operator new(std::size_t n)
{
    if (gCountNew) ++gNewCount;
    void *p = std::malloc(n != 0 ? n : 1);
    if (p == nullptr) throw std::bad_alloc();
    return p;
}
void *operator new(std::size_t n, const std::nothrow_t &) noexcept
{
    if (gCountNew) ++gNewCount;
    return std::malloc(n != 0 ? n : 1);
}
void operator delete(void *p) noexcept { std::free(p); }
void operator delete(void *p, std::size_t) noexcept { std::free(p); }
void operator delete(void *p, const std::nothrow_t &) noexcept { std::free(p); }

namespace {

const char *const kFieldName = "colour";

uint32_t nameHash()
{
    return kvoraHashBytes(kFieldName, 6, 0);
}

// A categorical and a numeric field that learn their distributions.
struct Fields {
    KVORAOwnPtr<KVORACatField> cat;
    KVORAOwnPtr<KVORANumField> num;
    KVORAEnv *env = nullptr;
    Fields(bool withDists = true)
    {
        if (!withDists) return;
        cat.reset(new KVORACatField(), env);
        num.reset(new KVORANumField(), env);
        cat->ivName = kFieldName;
        num->ivName = kFieldName;
        cat->setSampleFlag(1);
        num->setSampleFlag(1);
        cat->ivCatFieldDistPtr.reset(new KVORACatFieldDist(), env);
        num->ivNumFieldDistPtr.reset(new KVORANumFieldDist(), env);
    }
    ~Fields()
    {
        cat.reset(env);
        num.reset(env);
    }
    KVORACatFieldDist &catDist() { return *cat->ivCatFieldDistPtr; }
    KVORANumFieldDist &numDist() { return *num->ivNumFieldDistPtr; }
    void begin()
    {
        cat->beginDataScan(env);
        num->beginDataScan(env);
    }
    void end()
    {
        cat->endDataScan(env);
        num->endDataScan(env);
    }
    // One row; a null text is a missing value in both fields.
    void add(uint32_t seed, const char *text, double value)
    {
        if (text == nullptr) {
            cat->setMissing(1);
            num->setMissing(1);
        } else {
            cat->setTextValue(text, static_cast<int32_t>(std::char_traits<char>::length(text)));
            num->setRealValue(value);
        }
        cat->addToDistribution(seed, env);
        num->addToDistribution(seed, env);
    }
};

// The rows of the split test: a record hash, a skewed text and a value.
struct Row {
    uint32_t seed;
    std::string text;
    double value;
    bool missing;
};

std::vector<Row> makeRows(int32_t n)
{
    std::vector<Row> rows;
    for (int32_t r = 0; r < n; ++r) {
        uint32_t h = kvoraHashFinish(static_cast<uint32_t>(r) * 2654435761u + 17u);
        double u = (h % 10000) / 10000.0;
        rows.push_back({h, "t" + std::to_string(static_cast<int>(40.0 * u * u * u)), std::floor(1000.0 * u) / 8.0,
                        (h % 37) == 0});
    }
    return rows;
}

// One pass over `workers` processes: rank 0 scans with the master's fields,
// the others with distributed copies whose results come back pairwise.
void runPass(Fields &master, const std::vector<Row> &rows, int32_t workers, KVORA_ENV env)
{
    master.begin();
    const std::string cat = streamed(master.cat), num = streamed(master.num);
    std::vector<std::string> results;
    for (int32_t w = workers - 1; w >= 0; --w) {
        Fields copy(false);
        Fields &f = w == 0 ? master : copy;
        if (w > 0) {
            readInto(cat, copy.cat, env);
            readInto(num, copy.num, env);
        }
        for (size_t r = static_cast<size_t>(w); r < rows.size(); r += static_cast<size_t>(workers))
            f.add(rows[r].seed, rows[r].missing ? nullptr : rows[r].text.c_str(), rows[r].value);
        if (w > 0) results.push_back(written(2, [&](KVORAObjWriter &wr, KVORA_ENV e) {
            copy.cat->writeScanResult(wr, KVORA_KWD(ScanResult), e);
            copy.num->writeScanResult(wr, KVORA_KWD(ScanResult), e);
        }));
    }
    if (results.size() == 2) {
        Reader a(results[0]), b(results[1]);
        results.assign(1, written(2, [&](KVORAObjWriter &w, KVORA_ENV e) {
            mergeScanResultStreams(a.reader, b.reader, w, KVORA_KWD(ScanResult), e);
        }));
    }
    if (results.size() == 1) {
        Reader in(results[0]);
        mergeScanResultsIntoObjects(in.reader, KVORA_KWD(ScanResult), env);
    }
    master.end();
}

// What three passes learnt: the categories, the counts (missing, default,
// then each category's) and the bins (low end, high end, count).
struct Learnt {
    std::vector<std::string> cats;
    std::vector<double> counts, bins;
};

Learnt learn(const std::vector<Row> &rows, int32_t workers, KVORA_ENV env)
{
    Fields master;
    master.catDist().ivMaxCatsAllowed = 10;
    master.catDist().ivMinCatOccuranceThreshold = 20;
    for (int32_t p = 0; p < 3; ++p) runPass(master, rows, workers, env);
    const KVORACatFieldDist &c = master.catDist();
    Learnt l{{}, {c.ivMissingCount, c.ivDefaultCount}, {}};
    for (int32_t i = 1; i <= c.ivCatsVec.getSize(); ++i) {
        l.cats.push_back(c.ivCatsVec[i].ivValue.c_str());
        l.counts.push_back(c.ivCatsVec[i].ivCount);
    }
    const KVORANumFieldDist &n = master.numDist();
    for (int32_t i = 1; i <= n.ivPotBinsVec.getSize(); ++i)
        l.bins.insert(l.bins.end(), {n.ivPotBinsVec[i].ivLoEnd, n.ivPotBinsVec[i].ivHiEnd, n.ivPotBinsVec[i].ivCount});
    EXPECT_EQ(c.ivSampleVec.getSize(), 0);  // freed after the second pass
    return l;
}

}  // namespace

TEST(CatFieldDist, PassesChooseFrequentTextsCountThemAndDrawByTheCounts)
{
    Fields f;
    f.catDist().ivMinCatOccuranceThreshold = 2;
    // a five times, b three, c once, and one missing value.
    const char *texts[] = {"a", "b", "a", "c", "a", "b", "a", "b", "a", nullptr, nullptr};
    auto pass = [&](const char *extra) {
        f.begin();
        texts[10] = extra;
        for (uint32_t r = 0; r < (extra != nullptr ? 11u : 10u); ++r) f.add(100 + r, texts[r], 1.0);
        f.end();
    };
    pass(nullptr);
    ASSERT_EQ(f.cat->getDistinctCount(), 2);  // c has fewer hits than the threshold
    EXPECT_EQ(f.cat->getCategoryAt(1), "a");
    EXPECT_EQ(f.cat->getCategoryAt(2), "b");
    EXPECT_EQ(f.catDist().ivDefaultCount, 9.0);  // in the first pass all were default values

    pass(nullptr);
    EXPECT_EQ(f.catDist().ivSampleVecCapacity, 0);  // freed after the second pass
    EXPECT_EQ(f.catDist().ivCatsVec[1].ivCount, 5.0);
    EXPECT_EQ(f.catDist().ivCatsVec[2].ivCount, 3.0);
    EXPECT_EQ(f.catDist().ivDefaultCount, 1.0);
    EXPECT_EQ(f.catDist().ivValidCount, 10.0);
    EXPECT_EQ(f.catDist().ivMissingCount, 1.0);
    f.cat->setTextValue(KV2AscString("b"));
    EXPECT_EQ(f.cat->getValueIndex(), 2);
    f.cat->setTextValue(KV2AscString("c"));
    EXPECT_EQ(f.cat->getValueIndex(), KVORAField::DefaultValueIndex);

    // A draw follows the cumulative counts: missing 1, default 1, a 5, b 3.
    for (uint32_t seed = 0; seed < 2000; ++seed) {
        double t = static_cast<double>(kvoraHashCombine(seed, nameHash())) * 10.0 / 4294967295.0;
        f.cat->drawValue(seed, f.env);
        const std::string got = f.cat->isMissing() ? "(missing)" : f.cat->getTextValue().c_str();
        ASSERT_EQ(got, t <= 1.0 ? "(missing)" : t <= 2.0 ? "" : t <= 7.0 ? "a" : "b") << seed;
    }

    // A later new value is a default value, and no sample is taken.
    pass("d");
    EXPECT_EQ(f.cat->getDistinctCount(), 2);
    EXPECT_EQ(f.catDist().ivDefaultCount, 2.0);
    EXPECT_EQ(f.catDist().ivSampleVec.getSize(), 0);
}

TEST(NumFieldDist, BinsByEqualSharesTheirStatisticsAndDraws)
{
    Fields f;
    for (int p = 0; p < 2; ++p) {
        f.begin();
        for (int v = 1; v <= 100; ++v) f.add(static_cast<uint32_t>(v * 31), "", static_cast<double>(v));
        f.add(0, nullptr, 0.0);
        f.end();
    }
    const KVORANumFieldDist &d = f.numDist();
    // 100 sorted values, edges at positions 0, 10, ..., 90 and the largest.
    ASSERT_EQ(f.num->getDistinctCount(), 10);
    for (int j = 1; j <= 10; ++j) {
        const KVORANumFieldBin &b = d.ivPotBinsVec[j];
        EXPECT_EQ(b.ivLoEnd, 10.0 * (j - 1) + 1.0) << j;
        EXPECT_EQ(b.ivHiEnd, j < 10 ? 10.0 * j + 1.0 : 100.0) << j;
        EXPECT_EQ(b.ivIncHiEnd, j == 10 ? 1 : 0);
        EXPECT_EQ(b.ivCount, 10.0);
        EXPECT_EQ(b.ivMinValue, 10.0 * (j - 1) + 1.0);
        EXPECT_EQ(b.ivMaxValue, 10.0 * j);
        EXPECT_DOUBLE_EQ(b.ivMean, 10.0 * (j - 1) + 5.5);
        EXPECT_NEAR(b.ivVariance, 8.25, 1e-6);  // of ten consecutive integers
    }
    EXPECT_EQ(d.ivValidCount, 101.0);
    EXPECT_EQ(d.ivMissingCount, 1.0);
    // Bin edges: low end in, high end out but for the last; outside: the end bins.
    const std::pair<double, int32_t> lookups[] = {{10.9, 1}, {11.0, 2}, {100.0, 10}, {-5.0, 1}, {1e300, 10}};
    for (const auto &l : lookups) EXPECT_EQ(d.getBinIndex(l.first), l.second) << l.first;
    f.num->setRealValue(55.0);
    EXPECT_EQ(f.num->getValueIndex(), 6);
    f.num->setMissing(1);
    EXPECT_EQ(f.num->getBinIndex(55.0), KVORAField::MissingValueIndex);

    // A draw: missing up to 1 of 101, then bin j holds (1 + 10(j-1), 1 + 10j].
    for (uint32_t seed = 0; seed < 5000; ++seed) {
        double t = static_cast<double>(kvoraHashCombine(seed, nameHash())) * 101.0 / 4294967295.0;
        f.num->drawValue(seed, f.env);
        ASSERT_EQ(f.num->isMissing(), t <= 1.0 ? 1 : 0) << seed;
        if (t <= 1.0) continue;
        int j = std::max(1, static_cast<int>(std::ceil((t - 1.0) / 10.0)));
        const KVORANumFieldBin &b = d.ivPotBinsVec[j];
        double expected = b.ivLoEnd + (b.ivHiEnd - b.ivLoEnd) * ((t - 1.0 - 10.0 * (j - 1)) / 10.0);
        ASSERT_DOUBLE_EQ(f.num->getRealValue(), expected) << seed;
    }

    // NaN has no bin: a clear failure, not a wrong bin.
    std::string err = failureOf([&](KVORA_ENV) { d.getBinIndex(std::nan("")); });
    EXPECT_TRUE(contains(err, "Program control should never reach this point")) << err;
}

TEST(NumFieldDist, OneDistinctValueMakesOneClosedBin)
{
    KVORAEnv *env = nullptr;
    KVORANumFieldDist d;
    d.beginPass(env);
    for (uint32_t s = 0; s < 50; ++s) d.add(s, 7.0, env);
    d.endPass(env);
    ASSERT_EQ(d.getBinCount(), 1);
    EXPECT_EQ(d.ivPotBinsVec[1].ivLoEnd, 7.0);
    EXPECT_EQ(d.ivPotBinsVec[1].ivHiEnd, 7.0);
    EXPECT_EQ(d.ivPotBinsVec[1].ivIncHiEnd, 1);
    EXPECT_EQ(d.getBinIndex(8.0), 1);
    d.releasePrimitive(env);
}

// The fields also cross the streams mid-learning (categories, sample,
// capacity, pass count), so a member lost on the wire shows here; a sample
// heap keeping the wrong rows shows in the categories against the rule.
TEST(FieldDistWorkers, SplitsOverOneTwoAndThreeWorkersLearnTheSame)
{
    KVORAEnv *env = nullptr;
    std::vector<Row> rows = makeRows(12000);

    // The rule itself: the 3000 valid rows of largest priority are the
    // sample; their texts by hits (then by text) above the threshold, at most
    // 10. The ceiling falls between two texts of 56 hits: the tie decides.
    std::vector<std::pair<uint32_t, std::string>> byPriority;
    for (const Row &r : rows)
        if (!r.missing) byPriority.push_back({kvoraHashCombine(r.seed, nameHash()), r.text});
    std::sort(byPriority.begin(), byPriority.end(),
              [](const auto &a, const auto &b) { return a.first > b.first; });
    std::map<std::string, int> hits;
    for (size_t i = 0; i < 3000; ++i) hits[byPriority[i].second]++;
    std::vector<std::pair<int, std::string>> ranked;
    for (const auto &h : hits) ranked.push_back({-h.second, h.first});
    std::sort(ranked.begin(), ranked.end());
    std::vector<std::string> expectedCats;
    for (const auto &r : ranked) {
        if (-r.first < 20 || expectedCats.size() >= 10) break;
        expectedCats.push_back(r.second);
    }
    ASSERT_EQ(expectedCats.size(), 10u);

    Learnt one = learn(rows, 1, env);
    EXPECT_EQ(one.cats, expectedCats);
    for (int32_t k = 2; k <= 3; ++k) {
        Learnt split = learn(rows, k, env);
        EXPECT_EQ(split.cats, one.cats) << k;
        EXPECT_EQ(split.counts, one.counts) << k;
        EXPECT_EQ(split.bins, one.bins) << k;
    }
    // The counts of the last pass cover every row once.
    double total = 0, binned = one.counts[0];
    for (double c : one.counts) total += c;
    for (size_t i = 2; i < one.bins.size(); i += 3) binned += one.bins[i];
    EXPECT_EQ(total, 12000.0);
    EXPECT_EQ(binned, 12000.0);
}

TEST(FieldDistWorkers, LearningAllocatesNothingPerRow)
{
    KVORAEnv *env = nullptr;
    KVORANumFieldDist num;
    KVORACatFieldDist cat;
    num.beginPass(env);
    cat.beginPass(env);
    KV2AscString text("00000");
    // Fill the categorical sample first: its elements take their texts once.
    for (uint32_t s = 0; s < 3000; ++s) cat.add(s, text, env);
    // The sampling pass, then the counting pass.
    for (uint32_t mult : {2654435761u, 1u}) {
        gNewCount = 0;
        gCountNew = true;
        for (uint32_t s = 0; s < 50000; ++s) {
            num.add(s * mult, static_cast<double>(s % 977), env);
            text.base[s % 5] = static_cast<char>('0' + s % 10);  // same length, new texts
            cat.add(s * mult, text, env);
        }
        gCountNew = false;
        EXPECT_EQ(gNewCount, 0) << mult;
        num.endPass(env);
        cat.endPass(env);
        num.beginPass(env);
        cat.beginPass(env);
    }
    num.releasePrimitive(env);
    cat.releasePrimitive(env);
}
