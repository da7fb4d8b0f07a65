// The diffusion object's passes: what each pass starts from, how its sums go
// from maps to arrays at its end, how two processes' partial arrays fold
// together, and how the master closes a pass and decides whether the run
// goes on. Sums are walked in ascending node order wherever they are added,
// so the order of floating-point additions is fixed by the data alone.
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "nelo-common/kvora_reports.h"
#include "simple_algorithm/kvora_DIF.h"
#include "util/kvora_debug.h"

namespace {

// The entry of a key, created with 0 if missing, like map[key], but keys met
// in ascending order (as the arrays hold them) cost a step along the map, not
// a search from its root. The first key, and a key below the last one, are
// searched for, so any order gives the same entries.
template <class V>
class MapCursor {
public:
    explicit MapCursor(std::map<uint64_t, V> &map) : ivMap(map), ivPos(map.begin()) {}
    V &operator[](uint64_t key)
    {
        if (!ivStarted || key < ivLast) {
            ivPos = ivMap.lower_bound(key);
        } else {
            const auto end = ivMap.end();
            while (ivPos != end && ivPos->first < key) ++ivPos;
        }
        if (ivPos == ivMap.end() || ivPos->first != key) ivPos = ivMap.emplace_hint(ivPos, key, V());
        ivStarted = true;
        ivLast = key;
        return ivPos->second;
    }

private:
    std::map<uint64_t, V> &ivMap;
    typename std::map<uint64_t, V>::iterator ivPos;
    bool ivStarted = false;
    uint64_t ivLast = 0;
};

template <class V>
void arraysToMap(std::map<uint64_t, V> &map, const KVORAXaRay<V, 1> &values, const KVORAXaRay<uint64_t, 1> &samples)
{
    const int32_t n = values.getSize() < samples.getSize() ? values.getSize() : samples.getSize();
    MapCursor<V> at(map);
    for (int32_t i = 1; i <= n; ++i) at[samples[i]] = values[i];
}

template <class V>
void mapToArrays(const std::map<uint64_t, V> &map, KVORAXaRay<V, 1> &values, KVORAXaRay<uint64_t, 1> &samples,
                 KVORA_ENV env)
{
    values.setSize(0, env);
    samples.setSize(0, env);
    const int32_t n = static_cast<int32_t>(map.size());
    values.setSize(n, env);
    samples.setSize(n, env);
    int32_t i = 1;
    for (const auto &entry : map) {
        samples[i] = entry.first;
        values[i] = entry.second;
        ++i;
    }
}

void mapToArraysScaled(const std::map<uint64_t, double> &map, double factor, KVORAXaRay<double, 1> &values,
                       KVORAXaRay<uint64_t, 1> &samples, KVORA_ENV env)
{
    values.setSize(0, env);
    samples.setSize(0, env);
    const int32_t n = static_cast<int32_t>(map.size());
    values.setSize(n, env);
    samples.setSize(n, env);
    int32_t i = 1;
    for (const auto &entry : map) {
        samples[i] = entry.first;
        values[i] = entry.second * factor;
        ++i;
    }
}

inline void addInto(double &sum, double value) { sum = sum + value; }
inline void addInto(int32_t &sum, int32_t value)
{
    sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + static_cast<uint32_t>(value));
}

// One sum of a merge: this object's arrays into the map by assignment, the
// other's added entry by entry, and the map back into this object's arrays.
template <class V>
void mergeSum(std::map<uint64_t, V> &map, KVORAXaRay<V, 1> &values, KVORAXaRay<uint64_t, 1> &samples,
              const KVORAXaRay<V, 1> &otherValues, const KVORAXaRay<uint64_t, 1> &otherSamples, KVORA_ENV env)
{
    map.clear();
    arraysToMap(map, values, samples);
    const int32_t n = otherValues.getSize() < otherSamples.getSize() ? otherValues.getSize() : otherSamples.getSize();
    MapCursor<V> at(map);
    for (int32_t i = 1; i <= n; ++i) addInto(at[otherSamples[i]], otherValues[i]);
    mapToArrays(map, values, samples, env);
}

}  // namespace

void KVORADIFData::initIteration(KVORA_ENV env)
{
    traceEvent(20, "Entering initIteration", 1, env);
    ivCalleeIntSums.clear();
    ivCalleeRealSums.clear();
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
            arraysToMap(ivNum2RowSumMap, ivRowSum, ivRowSumSamples);
            ivRowSum.reset(env);
            ivRowSumSamples.reset(env);
        }
        ++ivModel1NumIterations;
        ivModel1Num2FreshEnergyMap.clear();
        ivModel1Num2MultResMap.clear();
        arraysToMap(ivModel1Num2FreshEnergyMap, ivModel1FreshEnergies, ivModel1FreshEnergiesSamples);
        ivModel1FreshEnergiesSamplesOld.copyFrom(ivModel1FreshEnergiesSamples, env);
        ivModel1FreshEnergiesOld.copyFrom(ivModel1FreshEnergies, env);
        ivModel1FreshEnergies.reset(env);
        ivModel1FreshEnergiesSamples.reset(env);
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
        mapToArrays(ivNum2RowSumMap, ivRowSum, ivRowSumSamples, env);
        mapToArrays(ivNum2InDegreeMap, ivInDegree, ivInDegreeSamples, env);
        mapToArrays(ivNum2OutDegreeMap, ivOutDegree, ivOutDegreeSamples, env);
        ivNum2RowSumMap.clear();
        ivNum2InDegreeMap.clear();
        ivNum2OutDegreeMap.clear();
        progressReport("Finished an iteration of computing normalizer", "finishIteration", env);
        break;
    case ComputeWeightedInOutDeg:
        mapToArrays(ivNum2WeightedInDegreeMap, ivWeightedInDegree, ivWeightedInDegreeSamples, env);
        mapToArrays(ivNum2WeightedOutDegreeMap, ivWeightedOutDegree, ivWeightedOutDegreeSamples, env);
        ivNum2WeightedInDegreeMap.clear();
        ivNum2WeightedOutDegreeMap.clear();
        progressReport("Finished an iteration of computing weighted in/out degree", "finishIteration", env);
        break;
    case DiffusionIterationModel1:
        // The one place where the coefficient is applied to what arrives.
        mapToArraysScaled(ivModel1Num2MultResMap, ivSpreadCoefficient, ivModel1FreshEnergies,
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

int32_t KVORADIFData::endDataScan(KVORA_ENV env)
{
    traceEvent(2, "Entering endDataScan", 1, env);
    switch (ivState) {
    case ComputeNormalizer:
        ivState = ComputeWeightedInOutDeg;
        ivNum2OutDegreeMap.clear();
        arraysToMap(ivNum2OutDegreeMap, ivOutDegree, ivOutDegreeSamples);
        ivOutDegree.reset(env);
        ivOutDegreeSamples.reset(env);
        ivNum2InDegreeMap.clear();
        arraysToMap(ivNum2InDegreeMap, ivInDegree, ivInDegreeSamples);
        ivInDegree.reset(env);
        ivInDegreeSamples.reset(env);
        progressReport("Finished computing normalizer", "endDataScan", env);
        break;
    case ComputeWeightedInOutDeg:
        ivState = DiffusionIterationModel1;
        ivNum2WeightedOutDegreeMap.clear();
        arraysToMap(ivNum2WeightedOutDegreeMap, ivWeightedOutDegree, ivWeightedOutDegreeSamples);
        ivWeightedOutDegree.reset(env);
        ivWeightedOutDegreeSamples.reset(env);
        ivNum2WeightedInDegreeMap.clear();
        arraysToMap(ivNum2WeightedInDegreeMap, ivWeightedInDegree, ivWeightedInDegreeSamples);
        ivWeightedInDegree.reset(env);
        ivWeightedInDegreeSamples.reset(env);
        progressReport("Finished computing weighted in/out degree", "endDataScan", env);
        break;
    case DiffusionIterationModel1: {
        RealMap &totals = ivModel1Num2TotalEnergyMap;
        RealMap temporary;
        totals.clear();
        double largest = 0.0;
        {
            MapCursor<double> at(totals);
            for (int32_t i = 1; i <= ivModel1TotalEnergiesOld.getSize(); ++i)
                at[ivModel1TotalEnergiesSamplesOld[i]] = ivModel1TotalEnergiesOld[i];
        }
        {
            MapCursor<double> at(totals);
            for (int32_t i = 1; i <= ivModel1FreshEnergies.getSize(); ++i) {
                double &total = at[ivModel1FreshEnergiesSamples[i]];
                total = total + ivModel1FreshEnergies[i];
            }
        }
        {
            MapCursor<double> at(temporary);
            for (int32_t i = 1; i <= ivModel1FreshEnergiesOld.getSize(); ++i)
                at[ivModel1FreshEnergiesSamplesOld[i]] = ivModel1FreshEnergiesOld[i];
        }
        {
            // A node that passes energy on keeps only what it did not pass.
            MapCursor<double> passed(temporary);
            MapCursor<double> at(totals);
            for (const auto &entry : ivNum2OutDegreeMap) {
                if (entry.second <= 0) continue;
                const double passedOn = passed[entry.first] * ivSpreadCoefficient;
                double &total = at[entry.first];
                total = total - passedOn;
            }
        }
        mapToArrays(totals, ivModel1TotalEnergies, ivModel1TotalEnergiesSamples, env);
        totals.clear();
        temporary.clear();
        {
            MapCursor<double> at(temporary);
            for (int32_t i = 1; i <= ivModel1TotalEnergies.getSize(); ++i)
                at[ivModel1TotalEnergiesSamples[i]] = ivModel1TotalEnergies[i];
        }
        {
            MapCursor<double> at(temporary);
            for (int32_t i = 1; i <= ivModel1TotalEnergiesOld.getSize(); ++i) {
                double &change = at[ivModel1TotalEnergiesSamplesOld[i]];
                change = change - ivModel1TotalEnergiesOld[i];
            }
        }
        for (const auto &entry : temporary) {
            const double size = std::fabs(entry.second);
            if (size > largest) largest = size;
        }
        ivDiffVal = largest;
        temporary.clear();
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
