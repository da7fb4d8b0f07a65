// The kernel through the loops on one to three processes, as the bare kernel
// model (8) that the driver never selects itself. The union of the workers'
// kept-value files must be exactly the pairs (own sample i, other sample j)
// where j's row names i and the value, by a walk here, reaches the threshold
// that the master printed. With QRV_KERNEL_PROBE_MAIN this file is the
// program the test runs (qrv_kernel_probe <param-file> <input> <model-out>).
#ifdef QRV_KERNEL_PROBE_MAIN

#include <mpi.h>

#include <cstdio>
#include <cstdlib>

#include "control/kvora_XML_handler.h"
#include "kernel/kvora_fieldglobalvars.h"
#include "qrvexec/kvora_control.h"
#include "qrvexec/kvora_control_loops.h"
#include "qrvexec/kvora_pcontrol.h"
#include "qrvexec/kvora_runvalues.h"

int main(int argc, char **argv) {
    static KVORAPControl control;
    control.initialise(argc, argv);
    kvoraPControl = &control;
    if (argc != 4) {
        std::fprintf(stderr, "usage: qrv_kernel_probe <param-file> <input-file> <model-output-file>\n");
        return 2;
    }
    kvoraParamFileName = argv[1];
    kvoraInputFileName = argv[2];
    kvoraModelOutputFileName = argv[3];
    KVORAControl driver;
    KVORAEnv *env = nullptr;
    driver.ivEnvOwner.create(env);
    env = driver.ivEnvOwner.get();
    env->setValid(1);
    try {
        KVORAXMLHandler handler(env);
        KVORARunSettings settings;
        KVORAControl::readRunParameters(kvoraParamFileName, control.isMaster(), handler, settings, env);
        settings.modelId = 8;
        if (KVORAFieldGlobalVars::get(env)->ivMaxPartition == 0) KVORAFieldGlobalVars::get(env)->ivMaxPartition = 4;
        if (control.isMaster() != 0)
            kvoraRunMaster(driver, settings, env);
        else
            kvoraRunWorker(driver, settings, env);
        handler.releasePrimitive(env);
    } catch (...) {
        std::fflush(stdout);
        std::_Exit(1);
    }
    driver.validationRowNums.reset(env);
    driver.validationActualVals.reset(env);
    driver.validationPredictedVals.reset(env);
    kvoraEnvLookUpRemove(driver.ivEnvOwner.get());
    driver.ivEnvOwner.reset(env);
    std::fflush(stdout);
    MPI_Finalize();
    return 0;
}

#else

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "e2e_run.h"

namespace {

typedef std::map<uint64_t, std::vector<uint64_t>> FriendLists;
typedef std::map<std::pair<uint64_t, uint64_t>, double> Entries;

// The Friends similarity of two ascending lists over a population, worked
// out here on its own: the merge walk that stops when either list runs out,
// then the signed mutual information in bits.
double friends(const std::vector<uint64_t> &a, const std::vector<uint64_t> &b, double n) {
    double k11 = 0, tA = 0, tB = 0;
    size_t i = 0, j = 0;
    if (!a.empty()) {
        while (j < b.size() && i < a.size()) {
            if (a[i] == b[j]) {
                ++i, ++j, ++k11, ++tA, ++tB;
            } else if (b[j] < a[i]) {
                ++j, ++tB;
            } else {
                ++i, ++tA;
            }
        }
    }
    const double k10 = tA - k11, k01 = tB - k11, k00 = n - k11 - k01 - k10;
    const double p00 = k00 / n, p01 = k01 / n, p10 = k10 / n, p11 = k11 / n;
    const double r0 = p01 + p00, c0 = p10 + p00, c1 = 1.0 - c0, r1 = 1.0 - r0;
    double s = 0.0;
    if (r0 > 0) {
        if (c0 > 0 && p00 > 0) s = std::log(p00 / (c0 * r0)) * p00;
        if (c1 > 0 && p01 > 0) s += std::log(p01 / (c1 * r0)) * p01;
    }
    if (r1 > 0) {
        if (c0 > 0 && p10 > 0) s += std::log(p10 / (r1 * c0)) * p10;
        if (c1 > 0 && p11 > 0) s += std::log(p11 / (c1 * r1)) * p11;
    }
    const double info = s / std::log(2.0);
    return k01 + k10 > k00 + k11 ? -info : info;
}

FriendLists randomLists(int nodes, int perRow, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> pick(1, nodes + nodes / 10);
    FriendLists lists;
    for (int n = 1; n <= nodes; ++n) {
        std::set<uint64_t> named;
        const int want = 1 + static_cast<int>(random() % static_cast<uint32_t>(perRow));
        while (static_cast<int>(named.size()) < want) named.insert(static_cast<uint64_t>(pick(random)));
        lists[static_cast<uint64_t>(n)] = std::vector<uint64_t>(named.begin(), named.end());
    }
    return lists;
}

TEST(KernelRun, TheWorkersKeepExactlyTheNamedPairsAtOrAboveTheMastersThreshold) {
    const FriendLists lists = randomLists(400, 10, 9001);
    std::ostringstream csv;
    csv << "node,friends\n";
    for (const auto &row : lists) {
        csv << row.first;
        for (uint64_t f : row.second) csv << "," << f;
        csv << "\n";
    }
    const std::string dir = e2e::prepare("neighbours", csv.str(), "friends", {});
    const std::string params =
        "<QRVInput>\n<AlgorithmName>CGA</AlgorithmName>\n<KernelType>Friends</KernelType>\n"
        "<FilterSimilarities>1</FilterSimilarities>\n<isSparseData>1</isSparseData>\n<IsSparseKernel>1</IsSparseKernel>\n"
        "<SparsityLevel>0.6</SparsityLevel>\n<IndicesData>1</IndicesData>\n<NormalizingFactor>60</NormalizingFactor>\n<OutputFileName>kernel.csv</OutputFileName>\n</QRVInput>\n";
    for (int k = 1; k <= 3; ++k) {
        SCOPED_TRACE(k);
        for (int r = 0; r < 3; ++r) std::remove((dir + "/kernel_worker_" + std::to_string(r) + ".csv").c_str());
        const qrvtest::RunResult run = e2e::runQrvexec(dir, params, "friends", k, "model.xml", 300, QRV_KERNEL_PROBE);
        ASSERT_EQ(run.status, 0) << run.out << run.err;

        // Fixed once, on the master, from the merged histogram.
        const std::string cut = "cutoff threshold=";
        const std::string::size_type at = run.out.find(cut);
        ASSERT_NE(at, std::string::npos) << run.out;
        EXPECT_EQ(run.out.find(cut, at + 1), std::string::npos);
        const double threshold = std::strtod(run.out.c_str() + at + cut.size(), nullptr);

        Entries kept;
        for (int r = 0; r < k; ++r) {
            const std::string path = dir + "/kernel_worker_" + std::to_string(r) + ".csv";
            ASSERT_TRUE(qrvtest::fileExists(path)) << path;
            for (const std::string &line : qrvtest::splitLines(qrvtest::readFile(path))) {
                double a = 0, c = 0, v = 0;
                ASSERT_EQ(std::sscanf(line.c_str(), "%lf,%lf,%lf", &a, &c, &v), 3) << line;
                // Every worker keeps the rows of its own samples alone.
                EXPECT_EQ(static_cast<uint64_t>(a) % static_cast<uint64_t>(k), static_cast<uint64_t>(r)) << line;
                const auto key = std::make_pair(static_cast<uint64_t>(a), static_cast<uint64_t>(c));
                EXPECT_EQ(kept.count(key), 0u) << line;
                kept[key] = v;
            }
        }

        // The threshold is printed to six digits: pairs that close to it may
        // fall either way and are left out of the comparison.
        const double band = 1e-5 * (std::fabs(threshold) + 1e-3);
        size_t expectedCount = 0, unsure = 0;
        for (const auto &other : lists) {
            for (uint64_t i : other.second) {
                const auto own = lists.find(i);
                if (own == lists.end()) continue;
                const double value = friends(own->second, other.second, 60.0);
                const auto key = std::make_pair(i, other.first);
                if (std::fabs(value - threshold) <= band) {
                    ++unsure;
                    kept.erase(key);
                    continue;
                }
                if (value >= threshold) {
                    ++expectedCount;
                    const auto found = kept.find(key);
                    ASSERT_NE(found, kept.end()) << i << " " << other.first << " " << value;
                    EXPECT_NEAR(found->second, value, 1e-6);
                    kept.erase(found);
                }
            }
        }
        EXPECT_TRUE(kept.empty()) << kept.size() << " entries kept that the walk does not give, first "
                                  << (kept.empty() ? 0 : kept.begin()->first.first) << " "
                                  << (kept.empty() ? 0 : kept.begin()->first.second);
        EXPECT_GT(expectedCount, 200u);
        EXPECT_LT(unsure, 50u);
    }
}

}  // namespace

#endif
