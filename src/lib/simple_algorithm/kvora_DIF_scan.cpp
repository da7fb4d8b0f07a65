// The diffusion object's row scan: every record is checked against the row
// structure (header, callees, footer), then adds to the sums of the present
// phase. This runs once per record per pass, so the caller's map entries are
// looked up once per row and nothing is allocated but new map entries.
#include "simple_algorithm/kvora_DIF.h"

#include <cfloat>
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <map>
#include <vector>
#include <iostream>
#include <sstream>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

namespace {

// Truncation toward zero; outside the range (or NaN) the value that the
// hardware conversion gives, the lowest integer.
inline int64_t truncate64(double value)
{
    if (value >= -9223372036854775808.0 && value < 9223372036854775808.0) return static_cast<int64_t>(value);
    return INT64_MIN;
}

inline int32_t truncate32(double value)
{
    if (value > -2147483649.0 && value < 2147483648.0) return static_cast<int32_t>(value);
    return INT32_MIN;
}

const double footerWeight = static_cast<double>(7788);

// map[key] for a map that the pass fills in ascending key order: the entry
// goes after the last one without a search. Any other key is searched for.
template <class V>
V &ascendingEntry(std::map<uint64_t, V> &map, uint64_t key)
{
    if (!map.empty()) {
        const auto last = std::prev(map.end());
        if (last->first == key) return last->second;
        if (last->first < key) return map.emplace_hint(map.end(), key, V())->second;
    }
    return map[key];
}

}  // namespace

double &KVORADIFData::rowEntry(RealMap &map, RowCursor &cursor, uint64_t key)
{
    if (!cursor.started || key < cursor.last) {
        cursor.pos = map.lower_bound(key);
    } else {
        const auto end = map.end();
        while (cursor.pos != end && cursor.pos->first < key) ++cursor.pos;
    }
    if (cursor.pos == map.end() || cursor.pos->first != key) cursor.pos = map.emplace_hint(cursor.pos, key, 0.0);
    cursor.started = true;
    cursor.last = key;
    return cursor.pos->second;
}

void KVORADIFData::dropRowCursors()
{
    ivRowSumCursor.started = false;
    ivFreshCursor.started = false;
}

void KVORADIFData::rowError(int32_t code, const char *text, const KVORAXaRay<double, 1> &dataVec, uint64_t caller)
{
    std::ostringstream line;
    line << "worker: " << getRank() << " ERROR in row " << ivRowsCounter << ", caller: " << caller
         << ", callee: " << dataVec[1] << ", weight: " << dataVec[2] << "\n";
    if (code == 4604) line << "Expected " << ivMaxCallees << " callees\n";
    std::cerr << line.str() << std::flush;
    if (code == 4604) reportErrorAndExit(code, text, 1);
    // The row count as "%d" shows: its low 32 bits.
    char number[16];
    std::snprintf(number, sizeof number, "%d", static_cast<int>(static_cast<int32_t>(static_cast<uint32_t>(ivRowsCounter))));
    reportErrorAndExit(code, number, text, 1);
}

int32_t KVORADIFData::checkMatStateValidity(const KVORAXaRay<double, 1> &dataVec, uint64_t sampleNumber,
                                            KVORA_ENV env)
{
    ++ivRowsCounter;
    const int32_t entryState = ivMatState;
    const double callee = dataVec[1];
    const double weight = dataVec[2];
    if (entryState == 0) {
        if (callee != 0.0)
            rowError(4602, "KVORADIFData::checkMatStateValidity: Expected to see header", dataVec, sampleNumber);
        ivMaxCallees = static_cast<uint64_t>(truncate64(weight));
        ivCalleesCounter = 0;
        ivCurrentCaller = sampleNumber;
        ivMatState = 1;
    } else if (entryState == 1) {
        if (sampleNumber == ivCurrentCaller && callee == 0.0 && weight == footerWeight) {
            ivMatState = 0;
            return entryState;
        }
        if (sampleNumber != ivCurrentCaller)
            rowError(4603, "KVORADIFData::checkMatStateValidity: Caller changed without proper footer", dataVec,
                     sampleNumber);
        ++ivCalleesCounter;
        if (ivCalleesCounter > ivMaxCallees)
            rowError(4604, "KVORADIFData::checkMatStateValidity: number of callees exceeded bound", dataVec,
                     sampleNumber);
    }
    return entryState;
}

int32_t KVORADIFData::sampleTraceEvent(int32_t level)
{
    int32_t on = 0;
    if (ivVerbosityLvl == 100) {
        on = 1;
    } else if (level < ivVerbosityLvl) {
        ++ivSampleTraceEventsCounter;
        on = (ivSampleTraceEventsCounter < 10 || ivSampleTraceEventsCounter % 1000000 < 5) ? 1 : 0;
    }
    if (on != 0 && ivSampleTraceOn == 0) {
        std::cout << ">>>>>> Worker " + std::to_string(getRank()) + "[SampleTraceEventStarts]\n" << std::flush;
        ivSampleTraceOn = 1;
    } else if (on == 0 && ivSampleTraceOn != 0) {
        std::cout << ">>>>>> Worker " + std::to_string(getRank()) + "[SampleTraceEventEnds]\n" << std::flush;
        ivSampleTraceOn = 0;
    }
    return on;
}

void KVORADIFData::traceRecord(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                               uint64_t sampleNumber) const
{
    std::ostringstream out;
    out << " Entering KVORADIFData::update, ivState = " << ivState << ", sample num = " << sampleNumber << "\n";
    out << " -- dataVec size =  " << dataVec.getSize() << "\n";
    for (int32_t i = 1; i <= dataVec.getSize(); ++i) out << "  - Elm " << i << ": " << truncate32(dataVec[i]) << "\n";
    if (targetVec.getSize() > 0) {
        out << "-- targetVec size =  " << targetVec.getSize() << "\n";
        for (int32_t i = 1; i <= targetVec.getSize(); ++i)
            out << "  - Elm " << i << ": " << truncate32(targetVec[i]) << "\n";
    }
    std::cout << out.str() << std::flush;
}

void KVORADIFData::update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                          uint64_t lineNumber, KVORA_ENV env)
{
    if (ivVerbosityLvl > 30 && sampleTraceEvent(30) != 0) traceRecord(dataVec, targetVec, lineNumber);
    else if (ivSampleTraceOn != 0) sampleTraceEvent(30);
    // A matrix record has a callee and a weight; anything narrower is not
    // one of the loader's matrices.
    KVORA_ASSERT_CAUSE(dataVec.getSize() >= 2, "A matrix record needs a callee and a weight");

    const int32_t wasInRow = checkMatStateValidity(dataVec, lineNumber, env);
    const double callee = dataVec[1];
    const double weight = dataVec[2];
    if (wasInRow == 0) resetRowCache();
    const bool isData = wasInRow == 1 && callee != 0.0;

    switch (ivState) {
    case ComputeNormalizer:
        if (wasInRow == 0) {
            double &sum = ascendingEntry(ivNum2RowSumMap, lineNumber);
            sum = 0.0;  // a row seen twice restarts its sum
            ivRowCallerSum = &sum;
        } else if (isData) {
            const uint64_t x = static_cast<uint64_t>(truncate64(callee));
            *ivRowCallerSum += weight;
            int32_t &in = ivCalleeIntSums[x];
            in = static_cast<int32_t>(static_cast<uint32_t>(in) + 1u);
            if (ivRowCallerOut == nullptr) ivRowCallerOut = &ascendingEntry(ivNum2OutDegreeMap, lineNumber);
            *ivRowCallerOut = static_cast<int32_t>(static_cast<uint32_t>(*ivRowCallerOut) + 1u);
        }
        break;
    case ComputeWeightedInOutDeg:
        if (isData) {
            const uint64_t x = static_cast<uint64_t>(truncate64(callee));
            // Only the low 32 bits of the truncated weight count.
            const uint32_t v = static_cast<uint32_t>(static_cast<uint64_t>(truncate64(weight)));
            int32_t &in = ivCalleeIntSums[x];
            in = static_cast<int32_t>(static_cast<uint32_t>(in) + v);
            if (ivRowCallerWeightedOut == nullptr)
                ivRowCallerWeightedOut = &ascendingEntry(ivNum2WeightedOutDegreeMap, lineNumber);
            *ivRowCallerWeightedOut = static_cast<int32_t>(static_cast<uint32_t>(*ivRowCallerWeightedOut) + v);
        }
        break;
    case DiffusionIterationModel1:
        if (isData) {
            const uint64_t x = static_cast<uint64_t>(truncate64(callee));
            if (ivRowCallerSum == nullptr) ivRowCallerSum = &rowEntry(ivNum2RowSumMap, ivRowSumCursor, lineNumber);
            const double rowSum = *ivRowCallerSum;
            const double share = weight / rowSum;
            if (rowSum < -DBL_MAX) reportWarning(5004, "Warning: Row sum smaller than min real value");
            if (ivRowCallerFresh == nullptr)
                ivRowCallerFresh = &rowEntry(ivModel1Num2FreshEnergyMap, ivFreshCursor, lineNumber);
            double &arrived = ivCalleeRealSums[x];
            arrived = arrived + *ivRowCallerFresh * share;
        }
        break;
    default:
        KVORA_NOT_IMPLEMENTED();
    }
}

namespace {

inline void addInto(double &sum, double value) { sum = sum + value; }
inline void addInto(int32_t &sum, int32_t value)
{
    sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + static_cast<uint32_t>(value));
}

// Moves the hash table's sums, in ascending node order, into the map. In a
// pass the map is empty here, and adding to a new entry of 0 gives the sum
// itself (a sum that starts at 0.0 is never -0.0).
template <class Sums, class V>
void moveSorted(Sums &sums, std::map<uint64_t, V> &map)
{
    if (sums.empty()) return;
    std::vector<std::pair<uint64_t, V>> entries;
    sums.takeSorted(entries);
    for (const auto &entry : entries) addInto(map.emplace_hint(map.end(), entry.first, V())->second, entry.second);
}

}  // namespace

void KVORADIFData::gatherCalleeSums()
{
    switch (ivState) {
    case ComputeNormalizer: moveSorted(ivCalleeIntSums, ivNum2InDegreeMap); break;
    case ComputeWeightedInOutDeg: moveSorted(ivCalleeIntSums, ivNum2WeightedInDegreeMap); break;
    case DiffusionIterationModel1: moveSorted(ivCalleeRealSums, ivModel1Num2MultResMap); break;
    default: break;
    }
    ivCalleeIntSums.clear();
    ivCalleeRealSums.clear();
}
