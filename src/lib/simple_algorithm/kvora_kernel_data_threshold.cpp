// The kernel's cut-off: a histogram of kernel values among each worker's own
// samples, merged over the workers, read as a quantile on the master; and
// the kept values written out per worker. The histogram is bounded at 1000
// bins whatever the number of pairs sampled.
#include "simple_algorithm/kvora_kernel_data.h"

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "control/kvora_multifileoutput.h"
#include "nelo-common/kvora_reports.h"
#include "simple_algorithm/kvora_online_histogram.h"
#include "util/kvora_debug.h"

namespace {

const char *const kNoSamples =
    "buildSelfKernelValuesHistogram:Could not find any samples for the histogram. It is likely that the data is "
    "corrupt or parameters are set too restrictively.";

// The C library's draw cut to 15 bits: the walk's step is scaled for draws
// below 32768, as the first platform's library gave them. Where RAND_MAX is
// 32767 this is rand() itself; where it is wider, the step keeps its range
// instead of leaping past the whole table at the first draw.
int32_t kvoraRand15()
{
    return std::rand() % 32768;
}

}  // namespace

void KVORAKernelData::buildSelfKernelValuesHistogram(KVORA_ENV env)
{
    KVORAOwnPtr<KVORAOnlineHistogramData> histogram;
    histogram.create(env);
    histogram->setCapacity(1000, env);
    KVORAKernelFunction &kernel = *ivKernelFunctionPtr;
    const int32_t n = ivSamplesOrder.getSize();

    if (ivFilterSimilarities == 0) {
        // Pairs drawn at random steps through the n x n table; a step of 0
        // draws the same pair again.
        const double s = n > 70 ? (n / 70.0) * (n / 70.0) : 1.0;
        const int64_t total = static_cast<int64_t>(n) * static_cast<int64_t>(n);
        int64_t k = 0;
        while (k < total) {
            const int32_t a = static_cast<int32_t>(k / n);
            const int32_t b = static_cast<int32_t>(k % n);
            mineRow(a + 1, ivMine, ivMineDirty, env);
            mineRow(b + 1, ivOther, ivOtherDirty, env);
            histogram->addValue(kernel.ComputeKernel(ivMine, ivOther, ivSamplesOrder[a + 1], ivSamplesOrder[b + 1]),
                                env);
            k += static_cast<int64_t>(kvoraRand15() * (1.0 / 32768.0) * 2.0 * s);
        }
    } else {
        int64_t count = 0;
        for (int32_t i = 1; i <= n; ++i) {
            mineRow(i, ivMine, ivMineDirty, env);
            if (ivIsSparseData != 0 && ivMine.getSize() == 0) continue;
            if (kernel.filterCandidates(ivCandidates, ivMine, env) != 2) continue;
            for (int32_t c = 1; c <= ivCandidates.getSize(); ++c) {
                const int32_t p = ivCandidates[c];
                if (p <= 0) continue;
                mineRow(p, ivOther, ivOtherDirty, env);
                histogram->addValue(kernel.ComputeKernel(ivMine, ivOther, ivSamplesOrder[i], ivSamplesOrder[p]),
                                    env);
                ++count;
            }
        }
        if (count == 0) {
            histogram.reset(env);
            reportError(3503, kNoSamples, env, 1);
        }
        std::ostringstream line;
        line << "Added " << count << " samples to the histogram";
        reportLog(1, line.str());
    }

    histogram->getHistogram(ivKernelHistogramLocations, ivKernelHistogramCounts, env);
    histogram.reset(env);
}

void KVORAKernelData::fixThreshold(KVORA_ENV env)
{
    const KVORAXaRay<double, 1> &L = ivKernelHistogramLocations;
    const KVORAXaRay<int32_t, 1> &C = ivKernelHistogramCounts;
    const int32_t m = L.getSize();
    // Only a run in which no worker met a pair gets here with nothing.
    if (m == 0 || C.getSize() != m) reportError(3503, kNoSamples, env, 1);

    int64_t total = 0;
    for (int32_t i = 1; i <= m; ++i) total += C[i];
    const int32_t t = static_cast<int32_t>(static_cast<double>(total) * ivSparsityLevel);
    ivSparsityThreshold = L[1];

    if (m < 2) {
        std::cout << "A single kernel value was found\n" << std::flush;
        ivSparsityThreshold = L[1] - 0.00001;
    } else if (t < C[1]) {
        ivSparsityThreshold =
            (L[2] + L[1]) * 0.5 * (static_cast<double>(t) / static_cast<double>(C[1]) - 0.5) + L[1];
        std::cout << "First bin is full enough for threshold\n" << std::flush;
    } else {
        int64_t sum = C[1];
        for (int32_t i = 2; i <= m; ++i) {
            sum += C[i];
            if (sum >= t) {
                ivSparsityThreshold = (C[i] * L[i] + C[i - 1] * L[i - 1]) / static_cast<double>(C[i] + C[i - 1]);
                break;
            }
        }
    }
    std::ostringstream line;
    line << "cutoff threshold=" << ivSparsityThreshold << "\n";
    std::cout << line.str() << std::flush;
}

void KVORAKernelData::writeSparseKernel(KVORA_ENV env)
{
    std::ostringstream line;
    line << "Sparse kernel size: " << ivSparseKernelMatrix.size() << "\n";
    std::cout << line.str() << std::flush;

    KVORAOwnPtr<KVORAMultifileOutput> output;
    output.create(env);
    output->open(ivOutputFileName, env);
    KVORAXaRay<double, 1> record;
    record.setSize(3, env);
    for (const auto &row : ivSparseKernelMatrix) {
        for (const auto &entry : row.second) {
            record[1] = static_cast<double>(ivKernelColSampleNumber[static_cast<int32_t>(row.first)]);
            record[2] = static_cast<double>(ivOtherSamplesOrder[static_cast<int32_t>(entry.first)]);
            record[3] = entry.second;
            output->writeRow(record, env);
        }
    }
    output->close(env);
    output.reset(env);
    record.reset(env);
}
