// The diffusion object's passes: what each pass starts from, how its sums go
// from maps to arrays at its end, how two processes' partial arrays fold
// together, and how the master closes a pass and decides whether the run
// goes on. Sums are walked in ascending node order wherever they are added,
// so the order of floating-point additions is fixed by the data alone.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>
#include <vector>

#include "nelo-common/kvora_reports.h"
#include "simple_algorithm/kvora_DIF.h"
#include "util/kvora_debug.h"

namespace {

inline void assignTo(double &entry, double value) { entry = value; }
inline void addInto(double &sum, double value) { sum = sum + value; }
inline void addInto(int32_t &sum, int32_t value)
{
    sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + static_cast<uint32_t>(value));
}
inline void subtractFrom(double &sum, double value) { sum = sum - value; }

// One sum of a merge: this object's arrays into the map by assignment, the
// other's added entry by entry, and the map back into this object's arrays.
// Both folds are linear merges of sorted arrays.
template <class V>
void mergeSum(KVORADIFNodeMap<V> &map, KVORAXaRay<V, 1> &values, KVORAXaRay<uint64_t, 1> &samples,
              const KVORAXaRay<V, 1> &otherValues, const KVORAXaRay<uint64_t, 1> &otherSamples, KVORA_ENV env)
{
    auto add = [](V &sum, const V &value) { addInto(sum, value); };
    // Arrays as passes leave them, ascending without repeats, in one walk.
    if (!map.mergeAscending(values, samples, otherValues, otherSamples, add)) {
        map.clear();
        map.assign(values, samples);
        map.fold(otherValues, otherSamples, add);
    }
    map.toArrays(values, samples, env);
}

// A map rebuilt from its arrays, which are emptied.
template <class V>
void arraysToMap(KVORADIFNodeMap<V> &map, KVORAXaRay<V, 1> &values, KVORAXaRay<uint64_t, 1> &samples,
                 KVORA_ENV env)
{
    map.clear();
    map.assign(values, samples);
    values.reset(env);
    samples.reset(env);
}

// totals[node] = totals[node] - passed[node] * coefficient for each node of
// `outDegrees` whose degree is above 0, in ascending order; a node missing
// from either map counts as 0 there and stands in the totals afterwards.
void subtractPassedOn(KVORADIFNodeMap<double> &totals, const KVORADIFNodeMap<int32_t> &outDegrees,
                      const KVORADIFNodeMap<double> &passed, double coefficient)
{
    std::vector<uint64_t> keys;
    std::vector<double> amounts;
    size_t p = 0;
    for (size_t i = 0; i < outDegrees.size(); ++i) {
        if (outDegrees.value(i) <= 0) continue;
        const uint64_t node = outDegrees.key(i);
        p = passed.lowerBound(node, p);
        keys.push_back(node);
        amounts.push_back((passed.holds(p, node) ? passed.value(p) : 0.0) * coefficient);
    }
    totals.fold(
        keys.size(), [&](size_t j) { return keys[j]; }, [&](size_t j) { return amounts[j]; }, subtractFrom);
}

}  // namespace

void KVORADIFData::initIteration(KVORA_ENV env)
{
    traceEvent(20, "Entering initIteration", 1, env);
    ivCalleeIntSums.clear();
    ivCalleeRealSums.clear();
    ivCallerIntSums.clear();
    ivCallerRealSums.clear();
    ivMatState = 0;
    ivCurrentCaller = 0;
    ivRowsCounter = 0;
    resetRowCache();
    dropRowCursors();
    switch (ivState) {
    case ComputeNormalizer:
        ivNum2RowSumMap.clear();
        ivNum2InDegreeMap.clear();
        ivNum2OutDegreeMap.clear();
        break;
    case ComputeWeightedInOutDeg:
        ivNum2WeightedInDegreeMap.clear();
        ivNum2WeightedOutDegreeMap.clear();
        break;
    case DiffusionIterationModel1:
        if (ivModel1NumIterations == 0) {
            ivInDegree.reset(env);
            ivInDegreeSamples.reset(env);
            ivOutDegree.reset(env);
            ivOutDegreeSamples.reset(env);
            ivWeightedInDegree.reset(env);
            ivWeightedInDegreeSamples.reset(env);
            ivWeightedOutDegree.reset(env);
            ivWeightedOutDegreeSamples.reset(env);
            // Entered over what a merge may have left: the same entries.
            ivNum2RowSumMap.assign(ivRowSum, ivRowSumSamples);
            ivRowSum.reset(env);
            ivRowSumSamples.reset(env);
        }
        ++ivModel1NumIterations;
        ivModel1Num2FreshEnergyMap.clear();
        ivModel1Num2MultResMap.clear();
        ivModel1Num2FreshEnergyMap.assign(ivModel1FreshEnergies, ivModel1FreshEnergiesSamples);
        ivModel1FreshEnergiesSamplesOld.copyFrom(ivModel1FreshEnergiesSamples, env);
        ivModel1FreshEnergiesOld.copyFrom(ivModel1FreshEnergies, env);
        ivModel1FreshEnergies.reset(env);
        ivModel1FreshEnergiesSamples.reset(env);
        ivCallerEnteredFresh.assign(ivNum2RowSumMap.size(), 0);
        ivCallersEnteredFresh = 0;
        break;
    default:
        KVORA_NOT_IMPLEMENTED();
    }
}

void KVORADIFData::finishIteration(KVORA_ENV env)
{
    gatherCalleeSums();
    traceEvent(20, "Entering finishIteration", 1, env);
    resetRowCache();
    dropRowCursors();
    switch (ivState) {
    case ComputeNormalizer:
        ivNum2RowSumMap.toArrays(ivRowSum, ivRowSumSamples, env);
        ivNum2InDegreeMap.toArrays(ivInDegree, ivInDegreeSamples, env);
        ivNum2OutDegreeMap.toArrays(ivOutDegree, ivOutDegreeSamples, env);
        ivNum2RowSumMap.clear();
        ivNum2InDegreeMap.clear();
        ivNum2OutDegreeMap.clear();
        progressReport("Finished an iteration of computing normalizer", "finishIteration", env);
        break;
    case ComputeWeightedInOutDeg:
        ivNum2WeightedInDegreeMap.toArrays(ivWeightedInDegree, ivWeightedInDegreeSamples, env);
        ivNum2WeightedOutDegreeMap.toArrays(ivWeightedOutDegree, ivWeightedOutDegreeSamples, env);
        ivNum2WeightedInDegreeMap.clear();
        ivNum2WeightedOutDegreeMap.clear();
        // The degree passes are over: their tables' memory goes back.
        ivCalleeIntSums.release();
        ivCallerIntSums.release();
        ivCallerRealSums.release();
        progressReport("Finished an iteration of computing weighted in/out degree", "finishIteration", env);
        break;
    case DiffusionIterationModel1:
        // The one place where the coefficient is applied to what arrives.
        ivModel1Num2MultResMap.toArraysScaled(ivSpreadCoefficient, ivModel1FreshEnergies,
                                              ivModel1FreshEnergiesSamples, env);
        ivModel1Num2TotalEnergyMap.clear();
        ivModel1Num2FreshEnergyMap.clear();
        ivModel1Num2MultResMap.clear();
        progressReport("Finished an iteration of diffusion model 1", "finishIteration", env);
        break;
    default:
        KVORA_NOT_IMPLEMENTED();
    }
}

void KVORADIFData::merge(KVORASimpleAlgorithmAbstractData *otherData, KVORA_ENV env)
{
    if (otherData == this) return;
    KVORA_ASSERT(otherData != 0 && otherData->isKindOf(KVORADIFData::classType()));
    const KVORADIFData &other = *static_cast<const KVORADIFData *>(otherData);
    switch (ivState) {
    case ComputeNormalizer:
        mergeSum(ivNum2RowSumMap, ivRowSum, ivRowSumSamples, other.ivRowSum, other.ivRowSumSamples, env);
        mergeSum(ivNum2InDegreeMap, ivInDegree, ivInDegreeSamples, other.ivInDegree, other.ivInDegreeSamples, env);
        mergeSum(ivNum2OutDegreeMap, ivOutDegree, ivOutDegreeSamples, other.ivOutDegree, other.ivOutDegreeSamples,
                 env);
        ivNum2InDegreeMap.clear();
        ivNum2OutDegreeMap.clear();
        break;
    case ComputeWeightedInOutDeg:
        mergeSum(ivNum2WeightedInDegreeMap, ivWeightedInDegree, ivWeightedInDegreeSamples, other.ivWeightedInDegree,
                 other.ivWeightedInDegreeSamples, env);
        mergeSum(ivNum2WeightedOutDegreeMap, ivWeightedOutDegree, ivWeightedOutDegreeSamples,
                 other.ivWeightedOutDegree, other.ivWeightedOutDegreeSamples, env);
        ivNum2WeightedInDegreeMap.clear();
        ivNum2WeightedOutDegreeMap.clear();
        break;
    case DiffusionIterationModel1:
        mergeSum(ivModel1Num2FreshEnergyMap, ivModel1FreshEnergies, ivModel1FreshEnergiesSamples,
                 other.ivModel1FreshEnergies, other.ivModel1FreshEnergiesSamples, env);
        break;
    default:
        KVORA_NOT_IMPLEMENTED();
    }
    resetRowCache();
    dropRowCursors();
    traceEvent(40, "merge finished", 0, env);
}

bool KVORADIFData::strictlyAscending(const KVORAXaRay<uint64_t, 1> &samples)
{
    return RealMap::ascendingWithoutRepeats(samples, samples.getSize());
}

double KVORADIFData::closeDiffusionByMaps(KVORA_ENV env)
{
    RealMap &totals = ivModel1Num2TotalEnergyMap;
    RealMap temporary;
    totals.clear();
    totals.assign(ivModel1TotalEnergiesOld, ivModel1TotalEnergiesSamplesOld);
    totals.fold(ivModel1FreshEnergies, ivModel1FreshEnergiesSamples, [](double &sum, double value) {
        addInto(sum, value);
    });
    // A node that passes energy on keeps only what it did not pass.
    temporary.assign(ivModel1FreshEnergiesOld, ivModel1FreshEnergiesSamplesOld);
    subtractPassedOn(totals, ivNum2OutDegreeMap, temporary, ivSpreadCoefficient);
    totals.toArrays(ivModel1TotalEnergies, ivModel1TotalEnergiesSamples, env);
    totals.clear();
    temporary.clear();
    temporary.assign(ivModel1TotalEnergies, ivModel1TotalEnergiesSamples);
    temporary.fold(ivModel1TotalEnergiesOld, ivModel1TotalEnergiesSamplesOld, subtractFrom);
    double largest = 0.0;
    for (size_t i = 0; i < temporary.size(); ++i) {
        const double size = std::fabs(temporary.value(i));
        if (size > largest) largest = size;
    }
    return largest;
}

// The same walk with every input in ascending order without repeats, as
// after the first pass: one merge of the old totals, the fresh energies and
// the nodes that pass energy on gives each node's total, with the same
// operations in the same order as the maps (a node new to the totals starts
// from 0.0), and its change against the old total.
double KVORADIFData::closeDiffusionByArrays(KVORA_ENV env)
{
    const KVORAXaRay<double, 1> &oldValues = ivModel1TotalEnergiesOld;
    const KVORAXaRay<uint64_t, 1> &oldNodes = ivModel1TotalEnergiesSamplesOld;
    const KVORAXaRay<double, 1> &fresh = ivModel1FreshEnergies;
    const KVORAXaRay<uint64_t, 1> &freshNodes = ivModel1FreshEnergiesSamples;
    const KVORAXaRay<double, 1> &passed = ivModel1FreshEnergiesOld;
    const KVORAXaRay<uint64_t, 1> &passedNodes = ivModel1FreshEnergiesSamplesOld;
    const IntMap &outDegrees = ivNum2OutDegreeMap;
    const int32_t nOld = std::min(oldValues.getSize(), oldNodes.getSize());
    const int32_t nFresh = std::min(fresh.getSize(), freshNodes.getSize());
    const int32_t nPassed = std::min(passed.getSize(), passedNodes.getSize());
    const size_t nOut = outDegrees.size();

    std::vector<uint64_t> nodes;
    std::vector<double> totals;
    nodes.reserve(static_cast<size_t>(nOld) + static_cast<size_t>(nFresh));
    totals.reserve(nodes.capacity());
    double largest = 0.0;
    int32_t o = 1, f = 1, p = 1;
    size_t d = 0;
    for (;;) {
        while (d < nOut && outDegrees.value(d) <= 0) ++d;
        // The smallest node still to come from any of the three.
        bool any = false;
        uint64_t node = 0;
        if (o <= nOld) node = oldNodes[o], any = true;
        if (f <= nFresh && (!any || freshNodes[f] < node)) node = freshNodes[f], any = true;
        if (d < nOut && (!any || outDegrees.key(d) < node)) node = outDegrees.key(d), any = true;
        if (!any) break;
        const bool wasTotal = o <= nOld && oldNodes[o] == node;
        const double old = wasTotal ? oldValues[o] : 0.0;
        double total = old;
        if (f <= nFresh && freshNodes[f] == node) addInto(total, fresh[f++]);
        if (d < nOut && outDegrees.key(d) == node) {
            while (p <= nPassed && passedNodes[p] < node) ++p;
            const double amount = (p <= nPassed && passedNodes[p] == node ? passed[p] : 0.0) * ivSpreadCoefficient;
            subtractFrom(total, amount);
            ++d;
        }
        if (wasTotal) ++o;
        nodes.push_back(node);
        totals.push_back(total);
        double change = total;
        if (wasTotal) subtractFrom(change, old);
        const double size = std::fabs(change);
        if (size > largest) largest = size;
    }
    const int32_t n = static_cast<int32_t>(nodes.size());
    ivModel1TotalEnergies.setSize(0, env);
    ivModel1TotalEnergiesSamples.setSize(0, env);
    ivModel1TotalEnergies.setSize(n, env);
    ivModel1TotalEnergiesSamples.setSize(n, env);
    for (int32_t i = 0; i < n; ++i) {
        ivModel1TotalEnergiesSamples[i + 1] = nodes[static_cast<size_t>(i)];
        ivModel1TotalEnergies[i + 1] = totals[static_cast<size_t>(i)];
    }
    ivModel1Num2TotalEnergyMap.clear();
    return largest;
}

int32_t KVORADIFData::endDataScan(KVORA_ENV env)
{
    traceEvent(2, "Entering endDataScan", 1, env);
    switch (ivState) {
    case ComputeNormalizer:
        ivState = ComputeWeightedInOutDeg;
        arraysToMap(ivNum2OutDegreeMap, ivOutDegree, ivOutDegreeSamples, env);
        arraysToMap(ivNum2InDegreeMap, ivInDegree, ivInDegreeSamples, env);
        progressReport("Finished computing normalizer", "endDataScan", env);
        break;
    case ComputeWeightedInOutDeg:
        ivState = DiffusionIterationModel1;
        arraysToMap(ivNum2WeightedOutDegreeMap, ivWeightedOutDegree, ivWeightedOutDegreeSamples, env);
        arraysToMap(ivNum2WeightedInDegreeMap, ivWeightedInDegree, ivWeightedInDegreeSamples, env);
        progressReport("Finished computing weighted in/out degree", "endDataScan", env);
        break;
    case DiffusionIterationModel1: {
        if (strictlyAscending(ivModel1TotalEnergiesSamplesOld) && strictlyAscending(ivModel1FreshEnergiesSamples) &&
            strictlyAscending(ivModel1FreshEnergiesSamplesOld))
            ivDiffVal = closeDiffusionByArrays(env);
        else
            ivDiffVal = closeDiffusionByMaps(env);
        std::ostringstream line;
        line << "Diffusion Model 1, Iteration " << ivModel1NumIterations << " diffVal = " << ivDiffVal << "\n";
        reportLog(1, line.str());
        if (ivDiffVal > ivEpsilon && ivModel1NumIterations < ivMaxNumIterations) {
            ivModel1TotalEnergiesOld.copyFrom(ivModel1TotalEnergies, env);
            ivModel1TotalEnergiesSamplesOld.copyFrom(ivModel1TotalEnergiesSamples, env);
            progressReport("Finished an iteration of diffusion model 1", "endDataScan", env);
        } else {
            progressReport("Finished diffusion iteration model 1", "endDataScan", env);
        }
        break;
    }
    default:
        KVORA_NOT_IMPLEMENTED();
    }

    if (ivEpsilon >= ivDiffVal || ivModel1NumIterations >= ivMaxNumIterations) {
        writeDataOutputFile(env);
        reportLog(0, "DIF Terminated Successfully");
        std::cout << std::flush;
        std::fflush(stdout);
        return 1;
    }
    return 0;
}
