// Field distributions: the bounded sample by priority, the two learning
// passes of a categorical field and the choice of its categories, the bins of
// a numeric field, draws by frequency, and the decisive property: the same
// rows split over 1, 2 or 3 workers, with the workers' results merged through
// the scan-result streams, give the same categories and bins. Expected
// choices come from the rule itself, computed here over plain vectors.
// Learning must not allocate per row: a counting operator new watches it.
// The counting operator new below is this test program's own, backed by
// malloc; the compiler cannot see that the matching delete frees with free.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "kernel/kvora_catfield.h"
#include "kernel/kvora_catfielddist.h"
#include "kernel/kvora_datascan.h"
#include "kernel/kvora_field.h"
#include "kernel/kvora_numfield.h"
#include "kernel/kvora_numfielddist.h"
#include "util/kvora_binobjreader.h"
#include "util/kvora_binobjwriter.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"
#include "util/kvora_xash.h"

// ---- allocation counter ----

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

// ---- a data-scan object that carries two distributions, as a field does ----

class KVORADistTestScan : public KVORADataScan {
    KVORA_OBJECT_DECL(KVORADistTestScan)
public:
    KVORAOwnPtr<KVORACatFieldDist> ivCat;
    KVORAOwnPtr<KVORANumFieldDist> ivNum;

    void readPrimitive(KVORAObjReader &r, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override {
        ivCat.reset(env);
        ivNum.reset(env);
        KVORADataScan::releasePrimitive(env);
    }
    void merge(KVORADataScan *other, KVORA_ENV env) override {
        KVORADistTestScan *o = static_cast<KVORADistTestScan *>(other);
        ivCat->merge(*o->ivCat, env);
        ivNum->merge(*o->ivNum, env);
    }
    int32_t hasScanResults() const override { return 1; }
    KVORAUpdateFunc getUpdateFunction() const override { return nullptr; }
    KVORAUpdateFunc getAltUpdateFunction() const override { return nullptr; }
};

KVORA_OBJECT_IMPL(KVORADistTestScan, KVORADataScan, 2)
KVORA_MEMBER_KEYWORD(KVORADistTestScan, ivCat, 1)
KVORA_MEMBER_KEYWORD(KVORADistTestScan, ivNum, 2)

void KVORADistTestScan::readPrimitive(KVORAObjReader &r, KVORA_ENV env)
{
    KVORADataScan::readPrimitive(r, env);
    kvoraRead(r, KVORA_KWD(ivCat), ivCat, env);
    kvoraRead(r, KVORA_KWD(ivNum), ivNum, env);
}

void KVORADistTestScan::writePrimitive(KVORAObjWriter &w, KVORA_ENV env) const
{
    KVORADataScan::writePrimitive(w, env);
    kvoraWrite(w, KVORA_KWD(ivCat), ivCat, env);
    kvoraWrite(w, KVORA_KWD(ivNum), ivNum, env);
}

namespace {

const char *const kFieldName = "colour";

uint32_t nameHash()
{
    return kvoraHashBytes(kFieldName, 6, 0);
}

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
        Row row;
        row.seed = h;
        row.text = "t" + std::to_string(static_cast<int>(40.0 * u * u * u));
        row.value = std::floor(1000.0 * u) / 8.0;
        row.missing = (h % 37) == 0;
        rows.push_back(row);
    }
    return rows;
}

void feed(KVORADistTestScan &scan, const std::vector<Row> &rows, int32_t worker, int32_t workers, KVORA_ENV env)
{
    KV2AscString text;
    for (size_t r = 0; r < rows.size(); ++r) {
        if (static_cast<int32_t>(r % workers) != worker) continue;
        const Row &row = rows[r];
        if (row.missing) {
            scan.ivCat->addMissing();
            scan.ivNum->addMissing();
            continue;
        }
        text.assign(row.text.c_str(), static_cast<int32_t>(row.text.size()));
        scan.ivCat->add(row.seed, text, env);
        scan.ivNum->add(row.seed, row.value, env);
    }
}

std::string writeResult(const KVORADataScan &scan, KVORA_ENV env)
{
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, 2);
        scan.writeScanResult(writer, KVORA_KWD(ScanResult), env);
    }
    return ss.str();
}

// One pass of a job of `workers` processes: the master scans the share of
// rank 0, each other rank a copy made by distribution, and their results
// come back pairwise through the result streams.
void runPass(KVORADistTestScan &master, const std::vector<Row> &rows, int32_t workers, KVORA_ENV env)
{
    master.ivCat->beginPass(env);
    master.ivNum->beginPass(env);
    std::string distributed;
    {
        std::stringstream ss;
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, 0);
        kvoraWrite(writer, master, env);
        distributed = ss.str();
    }
    std::vector<std::string> results;
    for (int32_t w = 1; w < workers; ++w) {
        KVORADistTestScan copy;
        std::stringstream in(distributed);
        KVOStreamBlobReader blob(&in);
        KVORABinObjReader reader(&blob);
        kvoraRead(reader, copy, env);
        // A field gives its distribution the name before its first row.
        copy.ivCat->setFieldName(KV2AscString(kFieldName));
        copy.ivNum->setFieldName(KV2AscString(kFieldName));
        feed(copy, rows, w, workers, env);
        results.push_back(writeResult(copy, env));
        copy.releasePrimitive(env);
    }
    feed(master, rows, 0, workers, env);
    if (results.size() == 2) {
        std::stringstream a(results[0]), b(results[1]), out;
        KVOStreamBlobReader blobA(&a), blobB(&b);
        KVORABinObjReader readerA(&blobA), readerB(&blobB);
        {
            KVOStreamBlobWriter blobOut(&out);
            KVORABinObjWriter writer(&blobOut, 2);
            mergeScanResultStreams(readerA, readerB, writer, KVORA_KWD(ScanResult), env);
        }
        results.assign(1, out.str());
    }
    if (results.size() == 1) {
        std::stringstream in(results[0]);
        KVOStreamBlobReader blob(&in);
        KVORABinObjReader reader(&blob);
        mergeScanResultsIntoObjects(reader, KVORA_KWD(ScanResult), env);
    }
    master.ivCat->endPass(env);
    master.ivNum->endPass(env);
}

struct Learnt {
    std::vector<std::string> cats;
    std::vector<double> catCounts;
    std::vector<double> binEnds;
    std::vector<double> binCounts;
    double valid = 0, missing = 0, deflt = 0;
};

Learnt learn(const std::vector<Row> &rows, int32_t workers, int32_t passes, KVORA_ENV env)
{
    KVORADistTestScan master;
    master.ivCat.reset(new KVORACatFieldDist(), env);
    master.ivNum.reset(new KVORANumFieldDist(), env);
    master.ivCat->ivMaxCatsAllowed = 8;
    master.ivCat->ivMinCatOccuranceThreshold = 20;
    master.ivCat->setFieldName(KV2AscString(kFieldName));
    master.ivNum->setFieldName(KV2AscString(kFieldName));
    for (int32_t p = 0; p < passes; ++p) runPass(master, rows, workers, env);
    Learnt l;
    const KVORACatFieldDist &c = *master.ivCat;
    for (int32_t i = 1; i <= c.ivCatsVec.getSize(); ++i) {
        l.cats.push_back(c.ivCatsVec[i].ivValue.c_str());
        l.catCounts.push_back(c.ivCatsVec[i].ivCount);
    }
    const KVORANumFieldDist &n = *master.ivNum;
    for (int32_t i = 1; i <= n.ivPotBinsVec.getSize(); ++i) {
        l.binEnds.push_back(n.ivPotBinsVec[i].ivLoEnd);
        l.binEnds.push_back(n.ivPotBinsVec[i].ivHiEnd);
        l.binCounts.push_back(n.ivPotBinsVec[i].ivCount);
    }
    l.valid = c.ivValidCount;
    l.missing = c.ivMissingCount;
    l.deflt = c.ivDefaultCount;
    EXPECT_EQ(c.ivSampleVec.getSize(), passes >= 2 ? 0 : c.ivSampleVec.getSize());
    master.releasePrimitive(env);
    return l;
}

}  // namespace

// ---- the sample ----

TEST(FieldDistSample, KeepsTheLargestPrioritiesWithTheLowestAtTheRoot)
{
    KVORAEnv *env = nullptr;
    KVORANumFieldDist d;
    d.ivSampleSortVecCapacity = 4;
    for (uint32_t p : {5u, 1u, 9u, 3u}) d.offer(p * 10.0, p, env);
    ASSERT_EQ(d.ivSampleSortVec.getSize(), 4);
    EXPECT_EQ(d.ivSampleSortVec[1].ivPriority, 1u);  // heapified when full
    d.offer(20.0, 2, env);  // beats the root 1
    d.offer(10.0, 1, env);  // not above the root 2: dropped
    d.offer(30.0, 2, env);  // equal to the root: dropped
    std::vector<uint32_t> kept;
    for (int32_t i = 1; i <= 4; ++i) kept.push_back(d.ivSampleSortVec[i].ivPriority);
    std::sort(kept.begin(), kept.end());
    EXPECT_EQ(kept, (std::vector<uint32_t>{2, 3, 5, 9}));
    EXPECT_EQ(d.ivSampleSortVec[1].ivValue, 20.0);

    // A freed sample takes nothing.
    d.ivSampleSortVec.reset(env);
    d.ivSampleSortVecCapacity = 0;
    d.offer(1.0, 99, env);
    EXPECT_EQ(d.ivSampleSortVec.getSize(), 0);

    // The priority of a row is its hash combined with the field name's hash.
    d.setFieldName(KV2AscString(kFieldName));
    EXPECT_EQ(d.priorityOf(12345u), kvoraHashCombine(12345u, nameHash()));
    d.releasePrimitive(env);
}

// ---- categorical passes ----

TEST(CatFieldDist, TwoLearningPassesChooseFrequentTexts)
{
    KVORAEnv *env = nullptr;
    KVORACatFieldDist d;
    d.setFieldName(KV2AscString(kFieldName));
    d.ivMinCatOccuranceThreshold = 2;
    d.ivMaxCatsAllowed = 5;
    // a five times, b three, c once, and one missing value.
    const char *texts[] = {"a", "b", "a", "c", "a", "b", "a", "b", "a"};
    auto pass = [&](const char *extra) {
        d.beginPass(env);
        uint32_t seed = 100;
        for (const char *t : texts) d.add(seed++, KV2AscString(t), env);
        if (extra != nullptr) d.add(seed++, KV2AscString(extra), env);
        d.addMissing();
        d.endPass(env);
    };
    pass(nullptr);
    EXPECT_EQ(d.ivScansDone, 1);
    EXPECT_EQ(d.ivSampleVecCapacity, 3000);
    EXPECT_EQ(d.ivSampleVec.getSize(), 9);  // fewer than the capacity: all of them
    ASSERT_EQ(d.getCategoryCount(), 2);     // c has fewer hits than the threshold
    EXPECT_EQ(d.getCategoryAt(1), "a");
    EXPECT_EQ(d.getCategoryAt(2), "b");
    EXPECT_EQ(d.getCategoryAt(0), "");
    // In the first pass everything was a default value.
    EXPECT_EQ(d.ivValidCount, 10.0);
    EXPECT_EQ(d.ivMissingCount, 1.0);
    EXPECT_EQ(d.ivDefaultCount, 9.0);

    pass(nullptr);
    EXPECT_EQ(d.ivScansDone, 2);
    EXPECT_EQ(d.ivSampleVecCapacity, 0);  // freed after the second pass
    EXPECT_EQ(d.ivSampleVec.getSize(), 0);
    EXPECT_EQ(d.ivCatsVec[1].ivCount, 5.0);
    EXPECT_EQ(d.ivCatsVec[2].ivCount, 3.0);
    EXPECT_EQ(d.ivDefaultCount, 1.0);
    EXPECT_EQ(d.ivValidCount, 10.0);
    EXPECT_EQ(d.getCatIndex(KV2AscString("b")), 2);
    EXPECT_EQ(d.getCatIndex(KV2AscString("c")), KVORAField::DefaultValueIndex);

    // A later new value is a default value, and no sample is taken.
    pass("d");
    pass("d");
    EXPECT_EQ(d.getCategoryCount(), 2);
    EXPECT_EQ(d.ivDefaultCount, 2.0);
    EXPECT_EQ(d.ivSampleVec.getSize(), 0);
    d.releasePrimitive(env);
}

TEST(CatFieldDist, CeilingAndTiesDoNotDependOnOrder)
{
    KVORAEnv *env = nullptr;
    for (int order = 0; order < 2; ++order) {
        KVORACatFieldDist d;
        d.setFieldName(KV2AscString(kFieldName));
        d.ivMaxCatsAllowed = 2;
        d.beginPass(env);
        std::vector<std::string> texts = {"x", "x", "w", "w", "v", "v", "z"};
        if (order == 1) std::reverse(texts.begin(), texts.end());
        uint32_t seed = 7;
        for (const std::string &t : texts) d.add(seed++, KV2AscString(t.c_str()), env);
        d.endPass(env);
        // Three texts tie at two hits: the ceiling of two takes v and w.
        ASSERT_EQ(d.getCategoryCount(), 2) << order;
        EXPECT_EQ(d.getCategoryAt(1), "v");
        EXPECT_EQ(d.getCategoryAt(2), "w");
        d.releasePrimitive(env);
    }
}

TEST(CatFieldDist, DrawFollowsTheCumulativeCounts)
{
    KVORAEnv *env = nullptr;
    KVORACatFieldDist d;
    d.setFieldName(KV2AscString(kFieldName));
    d.ivMinCatOccuranceThreshold = 2;
    const char *texts[] = {"a", "b", "a", "c", "a", "b", "a", "b", "a"};
    for (int p = 0; p < 2; ++p) {
        d.beginPass(env);
        uint32_t seed = 100;
        for (const char *t : texts) d.add(seed++, KV2AscString(t), env);
        d.addMissing();
        d.endPass(env);
    }
    // missing 1, default 1, a 5, b 3 of 10: the cumulative sums 1, 2, 7, 10.
    int32_t seen[4] = {0, 0, 0, 0};
    for (uint32_t seed = 0; seed < 20000; ++seed) {
        double t = static_cast<double>(kvoraHashCombine(seed, nameHash())) * 10.0 / 4294967295.0;
        int32_t expected = t <= 1.0 ? -1 : (t <= 2.0 ? 0 : (t <= 7.0 ? 1 : 2));
        int32_t got = d.drawIndex(seed);
        ASSERT_EQ(got, expected) << seed;
        ASSERT_EQ(d.drawIndex(seed), got);
        ++seen[got + 1];
    }
    // The frequencies come out near 10%, 10%, 50%, 30%.
    EXPECT_NEAR(seen[0] / 20000.0, 0.1, 0.02);
    EXPECT_NEAR(seen[1] / 20000.0, 0.1, 0.02);
    EXPECT_NEAR(seen[2] / 20000.0, 0.5, 0.02);
    EXPECT_NEAR(seen[3] / 20000.0, 0.3, 0.02);
    d.releasePrimitive(env);
}

// ---- numeric passes ----

TEST(NumFieldDist, BinsByEqualSharesAndTheirStatistics)
{
    KVORAEnv *env = nullptr;
    KVORANumFieldDist d;
    d.setFieldName(KV2AscString(kFieldName));
    EXPECT_EQ(d.getBinIndex(5.0), 0);  // no bins yet
    for (int p = 0; p < 2; ++p) {
        d.beginPass(env);
        for (int v = 1; v <= 100; ++v) d.add(static_cast<uint32_t>(v * 31), static_cast<double>(v), env);
        d.addMissing();
        d.endPass(env);
    }
    // 100 sorted values, edges at positions 0, 10, ..., 90 and the largest.
    ASSERT_EQ(d.getBinCount(), 10);
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
    EXPECT_EQ(d.ivSampleSortVec.getSize(), 0);
    EXPECT_EQ(d.getBinIndex(1.0), 1);
    EXPECT_EQ(d.getBinIndex(10.9), 1);
    EXPECT_EQ(d.getBinIndex(11.0), 2);
    EXPECT_EQ(d.getBinIndex(91.0), 10);
    EXPECT_EQ(d.getBinIndex(100.0), 10);
    EXPECT_EQ(d.getBinIndex(-5.0), 1);   // below the sample: the first bin
    EXPECT_EQ(d.getBinIndex(1e300), 10); // above it: the last

    // A draw: missing up to 1 of 101, then bin j holds (1 + 10(j-1), 1 + 10j].
    for (uint32_t seed = 0; seed < 5000; ++seed) {
        double t = static_cast<double>(kvoraHashCombine(seed, nameHash())) * 101.0 / 4294967295.0;
        int32_t missing = 0;
        double v = d.drawValue(seed, missing);
        if (t <= 1.0) {
            ASSERT_EQ(missing, 1) << seed;
            continue;
        }
        ASSERT_EQ(missing, 0) << seed;
        int j = static_cast<int>(std::ceil((t - 1.0) / 10.0));
        if (j < 1) j = 1;
        const KVORANumFieldBin &b = d.ivPotBinsVec[j];
        double expected = b.ivLoEnd + (b.ivHiEnd - b.ivLoEnd) * ((t - 1.0 - 10.0 * (j - 1)) / 10.0);
        ASSERT_DOUBLE_EQ(v, expected) << seed;
    }

    // NaN has no bin: a clear failure, not a wrong bin.
    testing::internal::CaptureStderr();
    bool threw = false;
    try {
        d.getBinIndex(std::nan(""));
    } catch (int) {
        threw = true;
    }
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(threw);
    EXPECT_NE(err.find("Program control should never reach this point"), std::string::npos);
    d.releasePrimitive(env);
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
    EXPECT_EQ(d.getBinIndex(7.0), 1);
    EXPECT_EQ(d.getBinIndex(8.0), 1);
    d.releasePrimitive(env);
}

// ---- workers ----

TEST(FieldDistWorkers, SplitsOverOneTwoAndThreeWorkersLearnTheSame)
{
    KVORAEnv *env = nullptr;
    std::vector<Row> rows = makeRows(12000);

    // The rule itself: the 3000 valid rows of largest priority are the
    // sample; their texts by hits (then by text) above the threshold, at most 8.
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
        if (-r.first < 20 || expectedCats.size() >= 8) break;
        expectedCats.push_back(r.second);
    }
    ASSERT_EQ(expectedCats.size(), 8u);

    Learnt one = learn(rows, 1, 3, env);
    EXPECT_EQ(one.cats, expectedCats);
    for (int32_t k = 2; k <= 3; ++k) {
        Learnt split = learn(rows, k, 3, env);
        EXPECT_EQ(split.cats, one.cats) << k;
        EXPECT_EQ(split.catCounts, one.catCounts) << k;
        EXPECT_EQ(split.binEnds, one.binEnds) << k;
        EXPECT_EQ(split.binCounts, one.binCounts) << k;
        EXPECT_EQ(split.valid, one.valid) << k;
        EXPECT_EQ(split.missing, one.missing) << k;
        EXPECT_EQ(split.deflt, one.deflt) << k;
    }
    // The counts of the last pass cover every row once.
    double total = one.missing + one.deflt;
    for (double c : one.catCounts) total += c;
    EXPECT_EQ(total, 12000.0);
    EXPECT_EQ(one.valid, 12000.0);
    double binned = 0;
    for (double c : one.binCounts) binned += c;
    EXPECT_EQ(binned + one.missing, 12000.0);
}

TEST(FieldDistWorkers, DistributionsCrossTheStreamIntact)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORACatFieldDist> d;
    d.reset(new KVORACatFieldDist(), env);
    d->setFieldName(KV2AscString(kFieldName));
    d->ivMinCatOccuranceThreshold = 1;
    d->beginPass(env);
    const char *texts[] = {"p", "q", "p", "r"};
    for (uint32_t i = 0; i < 4; ++i) d->add(i, KV2AscString(texts[i]), env);
    d->endPass(env);
    d->beginPass(env);
    d->add(9, KV2AscString("s"), env);  // the pass's sample and counts travel too
    std::stringstream ss;
    {
        KVOStreamBlobWriter blob(&ss);
        KVORABinObjWriter writer(&blob, 2);
        kvoraWrite(writer, d, env);
    }
    KVORAOwnPtr<KVORACatFieldDist> back;
    KVOStreamBlobReader blob(&ss);
    KVORABinObjReader reader(&blob);
    kvoraRead(reader, back, env);
    ASSERT_NE(back.get(), nullptr);
    EXPECT_EQ(back->getCategoryCount(), 3);
    // The text index is rebuilt on reading.
    EXPECT_EQ(back->getCatIndex(KV2AscString("q")), d->getCatIndex(KV2AscString("q")));
    EXPECT_EQ(back->getCatIndex(KV2AscString("r")), d->getCatIndex(KV2AscString("r")));
    ASSERT_EQ(back->ivSampleVec.getSize(), 1);
    EXPECT_EQ(back->ivSampleVec[1].ivValue, "s");
    EXPECT_EQ(back->ivSampleVecCapacity, 3000);
    EXPECT_EQ(back->ivCurrValidCount, 1.0);
    EXPECT_EQ(back->ivScansDone, 1);
    d.reset(env);
    back.reset(env);
}

// ---- per-row cost ----

TEST(FieldDistWorkers, LearningAllocatesNothingPerRow)
{
    KVORAEnv *env = nullptr;
    KVORANumFieldDist num;
    num.setFieldName(KV2AscString(kFieldName));
    KVORACatFieldDist cat;
    cat.setFieldName(KV2AscString(kFieldName));
    num.beginPass(env);
    cat.beginPass(env);
    KV2AscString text;
    text.assign("00000", 5);
    // Fill the categorical sample first: its elements take their texts once.
    for (uint32_t s = 0; s < 3000; ++s) cat.add(s, text, env);

    gNewCount = 0;
    gCountNew = true;
    for (uint32_t s = 0; s < 50000; ++s) {
        num.add(s * 2654435761u, static_cast<double>(s % 977), env);
        text.base[s % 5] = static_cast<char>('0' + s % 10);  // same length, new texts
        cat.add(s * 2246822519u, text, env);
    }
    gCountNew = false;
    EXPECT_EQ(gNewCount, 0);
    EXPECT_EQ(num.ivSampleSortVec.getSize(), 3000);

    num.endPass(env);
    cat.endPass(env);
    num.beginPass(env);
    cat.beginPass(env);
    gNewCount = 0;
    gCountNew = true;
    for (uint32_t s = 0; s < 50000; ++s) {
        num.add(s, static_cast<double>(s % 977), env);
        text.base[s % 5] = static_cast<char>('0' + s % 10);
        cat.add(s, text, env);
    }
    gCountNew = false;
    EXPECT_EQ(gNewCount, 0);
    num.releasePrimitive(env);
    cat.releasePrimitive(env);
}

// ---- on the fields ----

namespace {

// Makes a categorical field with a distribution and the sample flag set.
KVORACatField *sampledCatField(KVORA_ENV env)
{
    KVORACatField *f = new KVORACatField();
    f->ivName = kFieldName;
    f->setSampleFlag(1);
    f->ivCatFieldDistPtr.reset(new KVORACatFieldDist(), env);
    f->ivCatFieldDistPtr->ivMinCatOccuranceThreshold = 2;
    return f;
}

}  // namespace

TEST(FieldDistOnFields, CategoricalFieldLearnsMergesAndDraws)
{
    KVORAEnv *env = nullptr;
    const char *texts[] = {"a", "b", "a", "c", "a", "b", "a", "b", "a", nullptr};
    KVORAOwnPtr<KVORACatField> master;
    master.reset(sampledCatField(env), env);
    for (int pass = 0; pass < 2; ++pass) {
        master->beginDataScan(env);
        // Distribution to a second worker, which takes the odd rows.
        std::stringstream out;
        {
            KVOStreamBlobWriter blob(&out);
            KVORABinObjWriter writer(&blob, 0);
            kvoraWrite(writer, master, env);
        }
        KVORAOwnPtr<KVORACatField> worker;
        {
            KVOStreamBlobReader blob(&out);
            KVORABinObjReader reader(&blob);
            kvoraRead(reader, worker, env);
        }
        for (uint32_t r = 0; r < 10; ++r) {
            KVORACatField &f = r % 2 == 0 ? *master : *worker;
            if (texts[r] == nullptr)
                f.setMissing(1);
            else
                f.setTextValue(KV2AscString(texts[r]));
            f.addToDistribution(1000 + r, env);
        }
        std::stringstream result;
        {
            KVOStreamBlobWriter blob(&result);
            KVORABinObjWriter writer(&blob, 2);
            worker->writeScanResult(writer, KVORA_KWD(ScanResult), env);
        }
        worker.reset(env);
        {
            KVOStreamBlobReader blob(&result);
            KVORABinObjReader reader(&blob);
            mergeScanResultsIntoObjects(reader, KVORA_KWD(ScanResult), env);
        }
        master->endDataScan(env);
    }
    // Both halves counted: a five times, b three, of ten rows.
    ASSERT_EQ(master->getDistinctCount(), 2);
    EXPECT_EQ(master->getCategoryAt(1), "a");
    EXPECT_EQ(master->getCategoryAt(2), "b");
    EXPECT_EQ(master->ivCatFieldDistPtr->ivCatsVec[1].ivCount, 5.0);
    EXPECT_EQ(master->ivCatFieldDistPtr->ivCatsVec[2].ivCount, 3.0);
    EXPECT_EQ(master->ivCatFieldDistPtr->ivValidCount, 10.0);
    master->setTextValue(KV2AscString("b"));
    EXPECT_EQ(master->getValueIndex(), 2);
    master->setTextValue(KV2AscString("c"));
    EXPECT_EQ(master->getValueIndex(), KVORAField::DefaultValueIndex);

    // A draw sets the field by the cumulative counts 1, 2, 7, 10.
    for (uint32_t seed = 0; seed < 200; ++seed) {
        double t = static_cast<double>(kvoraHashCombine(seed, nameHash())) * 10.0 / 4294967295.0;
        master->drawValue(seed, env);
        if (t <= 1.0) {
            EXPECT_EQ(master->isMissing(), 1) << seed;
        } else {
            ASSERT_EQ(master->isMissing(), 0) << seed;
            const char *expected = t <= 2.0 ? "" : (t <= 7.0 ? "a" : "b");
            EXPECT_EQ(master->getTextValue(), expected) << seed;
        }
    }
    master.reset(env);
}

TEST(FieldDistOnFields, NumericFieldTakesItsBins)
{
    KVORAEnv *env = nullptr;
    KVORAOwnPtr<KVORANumField> f;
    f.reset(new KVORANumField(), env);
    f->ivName = kFieldName;
    f->setSampleFlag(1);
    f->ivNumFieldDistPtr.reset(new KVORANumFieldDist(), env);
    for (int pass = 0; pass < 2; ++pass) {
        f->beginDataScan(env);
        for (int v = 1; v <= 100; ++v) {
            f->setRealValue(static_cast<double>(v));
            f->addToDistribution(static_cast<uint32_t>(v), env);
        }
        f->setMissing(1);
        f->addToDistribution(0, env);
        f->endDataScan(env);
    }
    EXPECT_EQ(f->getDistinctCount(), 10);
    f->setRealValue(55.0);
    EXPECT_EQ(f->getValueIndex(), 6);
    f->setMissing(1);
    EXPECT_EQ(f->getBinIndex(55.0), KVORAField::MissingValueIndex);
    EXPECT_EQ(f->ivNumFieldDistPtr->ivMissingCount, 1.0);
    EXPECT_EQ(f->ivNumFieldDistPtr->ivPotBinsVec[6].ivCount, 10.0);
    f->drawValue(3, env);
    EXPECT_EQ(f->isPresent(), 1);
    f.reset(env);
}
