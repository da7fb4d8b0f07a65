// The kernel data object: its keys and refusals, the threshold's three rules,
// and whole builds on simulated workers (stream to each worker, scan, merge
// the results) checked against a brute-force walk.
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "control/kvora_XML_handler.h"
#include "control/kvora_XML_tag.h"
#include "control/kvora_multifileoutput.h"
#include "qrv_run.h"
#include "simple_algorithm/kvora_kernel_data.h"
#include "simple_algorithm/kvora_kernel_functions_friends.h"
#include "util/kvora_binobjio.h"
#include "util/kvora_objio.h"
#include "util/kvora_streamblobreader.h"
#include "util/kvora_streamblobwriter.h"

namespace {

const std::string kGoodKeys =
    "<KernelType>Friends</KernelType>\n<FilterSimilarities>1</FilterSimilarities>\n"
    "<isSparseData>1</isSparseData>\n<IsSparseKernel>1</IsSparseKernel>\n<SparsityLevel>0.5</SparsityLevel>\n"
    "<IndicesData>1</IndicesData>\n<NormalizingFactor>1000</NormalizingFactor>\n";

struct Opened {
    KVORAKernelData *data = nullptr;
    std::string out;
    bool failed = false;
};

// Reads a parameter file holding `keys` inside QRVInput and opens a kernel
// object with it; a fatal report throws out of open and is caught here.
Opened openWith(const std::string &keys, KVORA_ENV env) {
    const std::string dir = qrvtest::makeTempDir("kdata");
    const std::string path =
        qrvtest::writeFile(dir, "params.xml", "<QRVInput>\n<AlgorithmName>CGA</AlgorithmName>\n" + keys + "</QRVInput>\n");
    KVORAXMLHandler handler(env);
    EXPECT_TRUE(handler.readXMLFile(path.c_str(), env));
    Opened result;
    result.data = new KVORAKernelData();
    testing::internal::CaptureStdout();
    try {
        result.data->open(handler.getTagByLongName("QRVInput", env), env);
    } catch (...) {
        result.failed = true;
    }
    result.out = testing::internal::GetCapturedStdout();
    handler.releasePrimitive(env);
    return result;
}

void drop(KVORAKernelData *data, KVORA_ENV env) {
    data->releasePrimitive(env);
    delete data;
}

TEST(KernelDataParameters, AGoodSetIsAnnouncedAndKeysUnderKernelParamsWin) {
    KVORAEnv *env = nullptr;
    Opened o = openWith(kGoodKeys + "<OutputFileName>k.csv</OutputFileName>\n", env);
    ASSERT_FALSE(o.failed) << o.out;
    EXPECT_EQ(o.out,
              "Log;|0;|Starting reading kernel params;|LogEnd\n"
              "Reading sparse mode data : 1\n"
              "Sparsifying kernel: \n"
              "Defaulting empty space marker to zero\n"
              "Log;|1;|Verbosity level 1;|LogEnd\n"
              "Log;|0;|Reading kernel params is done.;|LogEnd\n");
    EXPECT_EQ(o.data->ivSparsityLevel, 0.5);
    drop(o.data, env);

    // The outer tag holds a broken set; the kernel's own group is read.
    o = openWith("<KernelType>RBF</KernelType>\n<KernelParams>\n<KernelType>Friends</KernelType>\n"
                        "<FilterSimilarities>0</FilterSimilarities>\n<isSparseData>0</isSparseData>\n"
                        "<IsSparseKernel>2</IsSparseKernel>\n<SparsityLevel>0.9</SparsityLevel>\n"
                        "<IndicesData>1</IndicesData>\n<EmptyMarker>-1</EmptyMarker>\n"
                        "<KernelVerbosity>0</KernelVerbosity>\n</KernelParams>\n",
                        env);
    ASSERT_FALSE(o.failed) << o.out;
    EXPECT_NE(o.out.find("Sparsifying kernel: \nDefaulting normalizing factor to 50000000. In general, this must be in "
                         "the order of the population size, otherwise results might get skewed!\n"
                         "Log;|1;|Defaulting verbosity level to 0;|LogEnd\n"),
              std::string::npos)
        << o.out;
    EXPECT_EQ(o.data->getScanType(), 0);
    EXPECT_EQ(static_cast<KVORAKernelFunctionFriends *>(o.data->ivKernelFunctionPtr.get())->ivEmptyMarker, -1.0);
    drop(o.data, env);
}

TEST(KernelDataParameters, EveryRefusalHasItsCodeAndText) {
    KVORAEnv *env = nullptr;
    auto without = [](const std::string &key) {
        std::string keys = kGoodKeys;
        const std::string::size_type from = keys.find("<" + key + ">");
        const std::string::size_type to = keys.find("\n", from);
        return keys.erase(from, to - from + 1);
    };
    const std::string only = "VORAKernelDataParameters::readParameters: ";
    const std::string range = "2203;|KVORACGAData::readKernelValuesFile: sparsity level must stricltly greater than 0 "
                              "and strictly less than 1";
    const std::vector<std::pair<std::string, std::string>> cases = {
        {kGoodKeys + "<KernelVerbosity>101</KernelVerbosity>\n", "2202;|KVORAKernelData:, illegal verbosity level"},
        {without("KernelType"), "2204;|" + only + "only Friends Kernel is supported"},
        {without("FilterSimilarities"), "2204;|" + only + "filter similarities must me true"},
        {kGoodKeys + "<NumberOfComputeIterations>2</NumberOfComputeIterations>\n",
         "2204;|" + only + "number of computing iterations must be 1"},
        {without("isSparseData"), "2204;|" + only + "data must be sparse"},
        {without("IndicesData") + "<IndicesData>0</IndicesData>\n", "2204;|Indeces data must be 1"},
        {without("IsSparseKernel") + "<IsSparseKernel>0</IsSparseKernel>\n",
         "2203;|KVORACGAData::readKernelValuesFile: kernel must be sparse and sparsity level must be provided"},
        {without("SparsityLevel"),
         "2203;|KVORACGAData::readKernelValuesFile: kernel must be sparse and sparsity level must be provided"},
        {without("SparsityLevel") + "<SparsityLevel>0</SparsityLevel>\n", range},
        {without("SparsityLevel") + "<SparsityLevel>1</SparsityLevel>\n", range},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.second);
        Opened o = openWith(c.first, env);
        EXPECT_TRUE(o.failed);
        EXPECT_NE(o.out.find("Error;|" + c.second + ";|ErrorEnd\n"), std::string::npos) << o.out;
        drop(o.data, env);
    }
}

// ---- the threshold ----

double thresholdOf(const std::vector<double> &locations, const std::vector<int32_t> &counts, double level,
                   std::string &out) {
    KVORAEnv *env = nullptr;
    KVORAKernelData data;
    for (double l : locations) data.ivKernelHistogramLocations.copyAppend(l, env);
    for (int32_t c : counts) data.ivKernelHistogramCounts.copyAppend(c, env);
    data.ivSparsityLevel = level;
    testing::internal::CaptureStdout();
    data.fixThreshold(env);
    out = testing::internal::GetCapturedStdout();
    const double threshold = data.ivSparsityThreshold;
    data.releasePrimitive(env);
    return threshold;
}

TEST(KernelDataThreshold, SingleBinFirstBinAndWalkRules) {
    std::string out;
    EXPECT_EQ(thresholdOf({0.75}, {40}, 0.9, out), 0.75 - 0.00001);
    EXPECT_EQ(out, "A single kernel value was found\ncutoff threshold=0.74999\n");
    // 20 values, t = 8 falls in the first bin of 10: (3 + 1) / 2 * (0.8 - 0.5) + 1.
    EXPECT_EQ(thresholdOf({1.0, 3.0}, {10, 10}, 0.4, out), 2.0 * (0.8 - 0.5) + 1.0);
    EXPECT_EQ(out, "First bin is full enough for threshold\ncutoff threshold=1.6\n");
    // t = 0 gives the lowest point of the rule, below the first location.
    EXPECT_EQ(thresholdOf({-2.0, 6.0}, {100, 1}, 0.005, out), 2.0 * -0.5 - 2.0);
    // Otherwise the bin reaching t is meaned with the one before. Total 10, t = 5: the second bin.
    EXPECT_EQ(thresholdOf({1.0, 2.0, 4.0}, {2, 3, 5}, 0.5, out), (3 * 2.0 + 2 * 1.0) / 5.0);
    EXPECT_EQ(out, "cutoff threshold=1.6\n");
    // t = 9 (0.95 of 10, truncated) is reached only in the last bin.
    EXPECT_EQ(thresholdOf({1.0, 2.0, 4.0}, {2, 3, 5}, 0.95, out), (5 * 4.0 + 3 * 2.0) / 8.0);
    // t equal to the first count is not "below" it: the walk decides.
    EXPECT_EQ(thresholdOf({1.0, 2.0}, {5, 5}, 0.5, out), (5 * 2.0 + 5 * 1.0) / 10.0);
}

// ---- whole builds ----

typedef std::map<uint64_t, std::vector<uint64_t>> FriendLists;  // node -> ascending friends

std::string bytesOf(const KVORAKernelData &from, int32_t mode, KVORA_ENV env) {
    std::stringstream bytes;
    {
        KVOStreamBlobWriter blob(&bytes);
        KVORABinObjWriter writer(&blob, mode);
        kvoraWrite(writer, from, env);
    }
    return bytes.str();
}

void readInto(const std::string &bytes, KVORAKernelData &to, KVORA_ENV env) {
    std::stringstream in(bytes);
    KVOStreamBlobReader blob(&in);
    KVORABinObjReader reader(&blob);
    kvoraRead(reader, to, env);
}

struct Build {
    std::vector<KVORAKernelData *> workers;  // 0 is the master
    std::string out;
    int32_t passes = 0;
    bool failed = false;
};

// Drives the kernel on `k` simulated processes until it reports the end. The
// rows go as the loader writes them: header, entries, closing record.
Build build(const FriendLists &lists, const std::string &keys, int k, KVORA_ENV env) {
    Build b;
    Opened o = openWith(keys, env);
    EXPECT_FALSE(o.failed) << o.out;
    b.workers.push_back(o.data);
    for (int p = 1; p < k; ++p) b.workers.push_back(new KVORAKernelData());
    KVORAKernelData &master = *b.workers[0];
    std::vector<std::vector<double>> records;  // node, column, value
    for (const auto &row : lists) {
        records.push_back({double(row.first), 0.0, double(row.second.size())});
        for (size_t j = 0; j < row.second.size(); ++j)
            records.push_back({double(row.first), double(j + 1), double(row.second[j])});
        records.push_back({double(row.first), double(row.second.size() + 1), 0.0});
    }
    KVORAXaRay<double, 1> dataVec, targetVec;
    dataVec.setSize(2, env);
    testing::internal::CaptureStdout();
    try {
        int32_t done = 0;
        while (done == 0 && b.passes < 10) {
            for (int p = 1; p < k; ++p) readInto(bytesOf(master, 0, env), *b.workers[p], env);
            for (int p = 0; p < k; ++p) {
                KVORAMultifileOutput::setWorkerRank(p);
                KVORAKernelData &w = *b.workers[p];
                w.initIteration(env);
                const int32_t type = w.getScanType();
                for (const auto &r : records) {
                    const uint64_t node = static_cast<uint64_t>(r[0]);
                    if (type == 5 && node % static_cast<uint64_t>(k) != static_cast<uint64_t>(p)) continue;
                    dataVec[1] = r[1];
                    dataVec[2] = r[2];
                    w.update(dataVec, targetVec, node, env);
                }
                w.finishIteration(env);
            }
            // Results in result mode into the master's live object (the
            // launcher's tree of merges is run end to end).
            for (int p = 1; p < k; ++p) {
                KVORAKernelData result;
                readInto(bytesOf(*b.workers[p], 2, env), result, env);
                master.merge(&result, env);
                result.releasePrimitive(env);
            }
            KVORAMultifileOutput::setWorkerRank(0);
            done = master.endDataScan(env);
            ++b.passes;
        }
    } catch (...) {
        b.failed = true;
    }
    b.out = testing::internal::GetCapturedStdout();
    KVORAMultifileOutput::setWorkerRank(-1);
    dataVec.reset(env);
    return b;
}

void release(Build &b, KVORA_ENV env) {
    for (KVORAKernelData *w : b.workers) drop(w, env);
    b.workers.clear();
}

typedef std::map<std::pair<uint64_t, uint64_t>, double> Entries;  // (own node, other node) -> value

Entries keptEntries(const Build &b) {
    Entries kept;
    for (const KVORAKernelData *w : b.workers)
        for (const auto &row : w->getSparseKernelMatrix())
            for (const auto &entry : row.second) {
                const auto key = std::make_pair(w->getKernelColSampleNumber(static_cast<int32_t>(row.first)),
                                                w->getOtherSampleNumber(static_cast<int32_t>(entry.first)));
                EXPECT_EQ(kept.count(key), 0u) << "a pair kept twice";
                kept[key] = entry.second;
            }
    return kept;
}

// The Friends value of two friend lists, as one-based vectors.
double friendsValue(const std::vector<uint64_t> &a, const std::vector<uint64_t> &b) {
    KVORAEnv *env = nullptr;
    KVORAKernelFunctionFriends kernel(1, 0.0, 1000.0, env);
    KVORAKernelVector va, vb;
    for (uint64_t x : a) va.copyAppend(static_cast<double>(x), env);
    for (uint64_t x : b) vb.copyAppend(static_cast<double>(x), env);
    const double value = kernel.ComputeKernel(va, vb, 0, 0);
    va.reset(env);
    vb.reset(env);
    kernel.releasePrimitive(env);
    return value;
}

FriendLists randomLists(int nodes, int perRow, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> pick(1, nodes + nodes / 10);  // some names are no node
    FriendLists lists;
    for (int n = 1; n <= nodes; ++n) {
        std::set<uint64_t> friends;
        const int want = 1 + static_cast<int>(random() % static_cast<uint32_t>(perRow));
        while (static_cast<int>(friends.size()) < want) friends.insert(static_cast<uint64_t>(pick(random)));
        lists[static_cast<uint64_t>(n)] = std::vector<uint64_t>(friends.begin(), friends.end());
    }
    return lists;
}

TEST(KernelDataBuild, TheKeptEntriesAreTheFilteredPairsAtOrAboveTheMergedThresholdOnOneToThreeProcesses) {
    KVORAEnv *env = nullptr;
    const FriendLists lists = randomLists(300, 12, 4711);
    for (int k = 1; k <= 3; ++k) {
        SCOPED_TRACE(k);
        Build b = build(lists, kGoodKeys, k, env);
        ASSERT_FALSE(b.failed) << b.out;
        EXPECT_EQ(b.passes, 2);
        const double threshold = b.workers[0]->ivSparsityThreshold;
        for (int p = 1; p < k; ++p) EXPECT_EQ(b.workers[p]->ivSparsityThreshold, threshold);
        EXPECT_EQ(b.workers[0]->isFinished(), 1);
        // Every pair (i, j) with i a node named in j's list, at or above the threshold.
        Entries expected;
        int64_t candidates = 0;
        for (const auto &other : lists)
            for (uint64_t i : std::set<uint64_t>(other.second.begin(), other.second.end())) {
                const auto own = lists.find(i);
                if (own == lists.end()) continue;
                ++candidates;
                const double value = friendsValue(own->second, other.second);
                if (value >= threshold) expected[std::make_pair(i, other.first)] = value;
            }
        EXPECT_EQ(keptEntries(b), expected);
        EXPECT_GT(expected.size(), 100u);
        EXPECT_LT(expected.size(), static_cast<size_t>(candidates));
        // Only the pairs that the filter admits were computed.
        int64_t computed = 0;
        for (const KVORAKernelData *w : b.workers) computed += w->getComputedPairs();
        EXPECT_EQ(computed, candidates);
        release(b, env);
    }
}

TEST(KernelDataBuild, TheMergedHistogramHoldsEveryOwnPairOnceWhateverTheSplit) {
    KVORAEnv *env = nullptr;
    // Few distinct values: no bins melt, so the merge must count exactly.
    FriendLists lists;
    for (uint64_t n = 1; n <= 12; ++n) {
        std::set<uint64_t> named = {n, n % 12 + 1, (n + 2) % 12 + 1};
        lists[n] = std::vector<uint64_t>(named.begin(), named.end());
    }
    for (int k = 1; k <= 3; ++k) {
        SCOPED_TRACE(k);
        Build b = build(lists, kGoodKeys, k, env);
        ASSERT_FALSE(b.failed) << b.out;
        // Own pairs: a sample and the names in its list that fall to the same worker.
        std::map<double, int32_t> expected, merged;
        for (const auto &row : lists)
            for (uint64_t m : row.second)
                if (m % static_cast<uint64_t>(k) == row.first % static_cast<uint64_t>(k))
                    ++expected[friendsValue(row.second, lists.at(m))];
        const KVORAKernelData &m = *b.workers[0];
        ASSERT_EQ(m.ivKernelHistogramLocations.getSize(), m.ivKernelHistogramCounts.getSize());
        for (int32_t i = 1; i <= m.ivKernelHistogramLocations.getSize(); ++i)
            merged[m.ivKernelHistogramLocations[i]] = m.ivKernelHistogramCounts[i];
        EXPECT_EQ(merged, expected);
        if (k == 1) {
            EXPECT_GT(merged.size(), 1u);  // distinct values, or the check is idle
        }
        release(b, env);
    }
}

TEST(KernelDataBuild, WithoutTheFilterPairsAreDrawnAtRandomAndEveryColumnIsComputed) {
    KVORAEnv *env = nullptr;
    FriendLists lists;
    for (uint64_t n = 1; n <= 9; ++n) lists[n] = {n, n % 9 + 1, 40};
    std::string keys = kGoodKeys;
    keys.replace(keys.find("<FilterSimilarities>1"), 21, "<FilterSimilarities>0");
    Build b = build(lists, keys, 1, env);
    ASSERT_FALSE(b.failed) << b.out;
    const KVORAKernelData &m = *b.workers[0];
    // The histogram takes a random draw of the 81 pairs, each step 0 or 1 place on.
    int64_t total = 0;
    for (int32_t i = 1; i <= m.ivKernelHistogramCounts.getSize(); ++i) total += m.ivKernelHistogramCounts[i];
    EXPECT_GE(total, 81);
    EXPECT_EQ(m.getComputedPairs(), 81);  // all own samples against all samples
    // The unfiltered kernel also keeps pairs that share no name.
    Entries full;
    for (const auto &i : lists)
        for (const auto &j : lists) {
            const double v = friendsValue(i.second, j.second);
            if (v >= m.ivSparsityThreshold) full[std::make_pair(i.first, j.first)] = v;
        }
    EXPECT_EQ(keptEntries(b), full);
    release(b, env);
}

TEST(KernelDataObject, ScanTypesByStatus) {
    KVORAKernelData d;
    const int32_t dense[4] = {0, 0, 2, 3};
    const int32_t sparse[4] = {5, 5, 6, 3};
    for (int32_t s = 0; s < 4; ++s) {
        d.ivDataStatus = s;
        d.ivIsSparseData = 0;
        EXPECT_EQ(d.getScanType(), dense[s]);
        d.ivIsSparseData = 1;
        EXPECT_EQ(d.getScanType(), sparse[s]);
    }
}

}  // namespace
