// The diffusion object's row scan: every record is checked against the row
// structure (header, callees, footer), then adds to the sums of the present
// phase. This runs once per record per pass: a record's callee costs one
// probe of a flat hash table, the caller's entries are looked up once per
// row, and nothing is allocated but a table's growth to a new node count.
#include "simple_algorithm/kvora_DIF.h"

#include <cfloat>
#include <algorithm>
#include <cstdio>
#include <vector>
#include <iostream>
#include <sstream>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

inline int32_t truncate32(double value)
{
    if (value > -2147483649.0 && value < 2147483648.0) return static_cast<int32_t>(value);
    return INT32_MIN;
}

const double footerWeight = static_cast<double>(7788);

}  // namespace

void KVORADIFData::dropRowCursors()
{
    ivRowSumAt = 0;
    ivFreshAt = 0;
}

// The open row's row sum and fresh energy in a diffusion pass. A caller
// above the last is searched from the last one on; a caller missing from a
// map stands in it with 0 from here on, as a map entry read would leave it.
void KVORADIFData::findRowCaller(uint64_t caller)
{
    RealMap &rowSums = ivNum2RowSumMap;
    if (ivCallerEnteredFresh.size() != rowSums.size()) {
        ivCallerEnteredFresh.assign(rowSums.size(), 0);
        ivCallersEnteredFresh = 0;
    }
    size_t at = rowSums.seek(caller, ivRowSumAt);
    if (!rowSums.holds(at, caller)) {
        at = rowSums.entryAt(caller);
        ivCallerEnteredFresh.insert(ivCallerEnteredFresh.begin() + static_cast<std::ptrdiff_t>(at), 0);
    }
    ivRowSumAt = at;
    ivRowCallerRowSum = rowSums.value(at);

    const RealMap &fresh = ivModel1Num2FreshEnergyMap;
    const size_t freshAt = fresh.seek(caller, ivFreshAt);
    ivFreshAt = freshAt;
    if (fresh.holds(freshAt, caller)) {
        ivRowCallerFresh = fresh.value(freshAt);
    } else {
        ivRowCallerFresh = 0.0;
        if (ivCallerEnteredFresh[at] == 0) {
            ivCallerEnteredFresh[at] = 1;
            ++ivCallersEnteredFresh;
        }
    }
    ivRowCallerKnown = true;
}

[[gnu::cold, gnu::noinline]] void KVORADIFData::rowError(int32_t code, const char *text, double callee,
                                                         double weight, uint64_t caller)
{
    std::ostringstream line;
    line << "worker: " << getRank() << " ERROR in row " << ivRowsCounter << ", caller: " << caller
         << ", callee: " << callee << ", weight: " << weight << "\n";
    if (code == 4604) line << "Expected " << ivMaxCallees << " callees\n";
    std::cerr << line.str() << std::flush;
    if (code == 4604) reportErrorAndExit(code, text, 1);
    // The row count as "%d" shows: its low 32 bits.
    char number[16];
    std::snprintf(number, sizeof number, "%d", static_cast<int>(static_cast<int32_t>(static_cast<uint32_t>(ivRowsCounter))));
    reportErrorAndExit(code, number, text, 1);
}

KVORADIFData::RowCheckState KVORADIFData::rowCheckState() const
{
    return RowCheckState{ivMatState, ivMaxCallees, ivRowsCounter, ivCalleesCounter, ivCurrentCaller};
}

void KVORADIFData::storeRowCheckState(const RowCheckState &state)
{
    ivMatState = state.ivMatState;
    ivMaxCallees = state.ivMaxCallees;
    ivRowsCounter = state.ivRowsCounter;
    ivCalleesCounter = state.ivCalleesCounter;
    ivCurrentCaller = state.ivCurrentCaller;
}

// Inlined into the record paths: most records only count a callee. The
// counters are this object's members, or a batch's copy of them, which goes
// back to the members before an error report reads them.
template <class Counters>
[[gnu::always_inline]] inline int32_t KVORADIFData::checkRow(Counters &c, double callee, double weight,
                                                            uint64_t sampleNumber)
{
    ++c.ivRowsCounter;
    const int32_t entryState = c.ivMatState;
    if (entryState == 0) {
        if (callee != 0.0) {
            settleRowCheck(c);
            rowError(4602, "KVORADIFData::checkMatStateValidity: Expected to see header", callee, weight,
                     sampleNumber);
        }
        c.ivMaxCallees = static_cast<uint64_t>(kvoraTruncate64(weight));
        c.ivCalleesCounter = 0;
        c.ivCurrentCaller = sampleNumber;
        c.ivMatState = 1;
    } else if (entryState == 1) {
        // A callee of 0.0 first: it alone tells most records from a footer.
        if (callee == 0.0 && sampleNumber == c.ivCurrentCaller && weight == footerWeight) {
            c.ivMatState = 0;
            return entryState;
        }
        if (sampleNumber != c.ivCurrentCaller) {
            settleRowCheck(c);
            rowError(4603, "KVORADIFData::checkMatStateValidity: Caller changed without proper footer", callee,
                     weight, sampleNumber);
        }
        ++c.ivCalleesCounter;
        if (c.ivCalleesCounter > c.ivMaxCallees) {
            settleRowCheck(c);
            rowError(4604, "KVORADIFData::checkMatStateValidity: number of callees exceeded bound", callee, weight,
                     sampleNumber);
        }
    }
    return entryState;
}

int32_t KVORADIFData::checkMatStateValidity(const KVORAXaRay<double, 1> &dataVec, uint64_t sampleNumber,
                                            KVORA_ENV env)
{
    return checkRow(*this, dataVec[1], dataVec[2], sampleNumber);
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

// A callee's sum is the one random access of a record: on a graph larger
// than the cache its miss would otherwise cost more than the record's work.
void KVORADIFData::prefetchRecord(const double *dataValues, int32_t count) const
{
    if (count < 1) return;
    if (ivState == DiffusionIterationModel1)
        KVORADIFNodeTable<double>::ValuePrefetcher{ivCalleeRealSums}(dataValues[0]);
    else
        KVORADIFNodeTable<int32_t>::ValuePrefetcher{ivCalleeIntSums}(dataValues[0]);
}

template <int State, class Callees, class Counters>
[[gnu::always_inline]] inline void KVORADIFData::addRecord(double callee, double weight, uint64_t lineNumber,
                                                          Callees &callees, Counters &counters)
{
    const int32_t wasInRow = checkRow(counters, callee, weight, lineNumber);
    if (wasInRow == 0) resetRowCache();
    const bool isData = wasInRow == 1 && callee != 0.0;

    if constexpr (State == ComputeNormalizer) {
        if (wasInRow == 0) {
            double &sum = ivCallerRealSums[lineNumber];
            sum = 0.0;  // a row seen twice restarts its sum
            ivRowCallerSum = &sum;
        } else if (isData) {
            const uint64_t x = static_cast<uint64_t>(kvoraTruncate64(callee));
            *ivRowCallerSum += weight;
            int32_t &in = callees[x];
            in = static_cast<int32_t>(static_cast<uint32_t>(in) + 1u);
            if (ivRowCallerOut == nullptr) ivRowCallerOut = &ivCallerIntSums[lineNumber];
            *ivRowCallerOut = static_cast<int32_t>(static_cast<uint32_t>(*ivRowCallerOut) + 1u);
        }
    } else if constexpr (State == ComputeWeightedInOutDeg) {
        if (isData) {
            const uint64_t x = static_cast<uint64_t>(kvoraTruncate64(callee));
            // Only the low 32 bits of the truncated weight count.
            const uint32_t v = static_cast<uint32_t>(static_cast<uint64_t>(kvoraTruncate64(weight)));
            int32_t &in = callees[x];
            in = static_cast<int32_t>(static_cast<uint32_t>(in) + v);
            if (ivRowCallerOut == nullptr) ivRowCallerOut = &ivCallerIntSums[lineNumber];
            *ivRowCallerOut = static_cast<int32_t>(static_cast<uint32_t>(*ivRowCallerOut) + v);
        }
    } else {
        if (isData) {
            const uint64_t x = static_cast<uint64_t>(kvoraTruncate64(callee));
            if (!ivRowCallerKnown) findRowCaller(lineNumber);
            const double rowSum = ivRowCallerRowSum;
            const double share = weight / rowSum;
            if (rowSum < -DBL_MAX) reportWarning(5004, "Warning: Row sum smaller than min real value");
            double &arrived = callees[x];
            arrived = arrived + ivRowCallerFresh * share;
        }
    }
}

void KVORADIFData::update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                          uint64_t lineNumber, KVORA_ENV env)
{
    if (ivVerbosityLvl > 30 && sampleTraceEvent(30) != 0) traceRecord(dataVec, targetVec, lineNumber);
    else if (ivSampleTraceOn != 0) sampleTraceEvent(30);
    // A matrix record has a callee and a weight; anything narrower is not
    // one of the loader's matrices.
    KVORA_ASSERT_CAUSE(dataVec.getSize() >= 2, "A matrix record needs a callee and a weight");

    const double callee = dataVec[1];
    const double weight = dataVec[2];
    switch (ivState) {
    case ComputeNormalizer:
        addRecord<ComputeNormalizer>(callee, weight, lineNumber, ivCalleeIntSums, *this);
        break;
    case ComputeWeightedInOutDeg:
        addRecord<ComputeWeightedInOutDeg>(callee, weight, lineNumber, ivCalleeIntSums, *this);
        break;
    case DiffusionIterationModel1:
        addRecord<DiffusionIterationModel1>(callee, weight, lineNumber, ivCalleeRealSums, *this);
        break;
    default:
        if (checkRow(*this, callee, weight, lineNumber) == 0) resetRowCache();
        KVORA_NOT_IMPLEMENTED();
    }
}

namespace {

// How a batch finds its values in a row: by the layout, which tests for an
// absent column; every column present (the usual layout); or, further, the
// weight in the column after the callee's (the loader's own order).
enum RowColumns { AnyColumns, AllColumns, CalleeThenWeight };

// A row's value by its column, 0.0 where missing.
template <int Columns>
inline double columnValue(const double *row, int32_t column)
{
    if (Columns != AnyColumns) {
        const double value = row[column];
        return value == KVORARowLayout::cvMissingValue ? 0.0 : value;
    }
    return KVORARowLayout::value(row, column);
}

// A row's callee and weight, each 0.0 where missing; side by side they are
// loaded and tested as one pair.
template <int Columns>
inline void calleeAndWeight(const double *row, int32_t calleeColumn, int32_t weightColumn, double &callee,
                            double &weight)
{
#if defined(__SSE2__)
    if (Columns == CalleeThenWeight) {
        const __m128d pair = _mm_loadu_pd(row + calleeColumn);
        // All bits clear where missing: +0.0, as the single test gives.
        const __m128d kept = _mm_andnot_pd(_mm_cmpeq_pd(pair, _mm_set1_pd(KVORARowLayout::cvMissingValue)), pair);
        callee = _mm_cvtsd_f64(kept);
        weight = _mm_cvtsd_f64(_mm_unpackhi_pd(kept, kept));
        return;
    }
#endif
    callee = columnValue<Columns>(row, calleeColumn);
    weight = columnValue<Columns>(row, weightColumn);
}

}  // namespace

// The records of a batch with the callee sum of each asked for some records
// ahead of its use, as prefetchRecord does for records one by one.
template <int State, int Columns, class Table>
void KVORADIFData::addRows(const double *const *rows, int32_t count, const KVORARowLayout &layout, Table &callees)
{
    const int32_t calleeColumn = layout.dataColumns[0];
    const int32_t weightColumn = layout.dataColumns[1];
    const int32_t lineColumn = layout.lineColumn;
    const int32_t ahead = calleeColumn >= 0 ? 32 : 0;
    const typename Table::ValuePrefetcher prefetch(callees);
    typename Table::BatchView view(callees);
    for (int32_t i = 0; i < count && i < ahead; ++i) prefetch(rows[i][calleeColumn]);
    // The rows of a line come together: its number is worked out once, when
    // the value as stored changes, since one stored value gives one number.
    double lastLine = __builtin_nan("");
    uint64_t lineNumber = 0;
    RowCheckState counters = rowCheckState();
    auto add = [&](const double *row) __attribute__((always_inline)) {
        const double line = Columns != AnyColumns ? row[lineColumn] : KVORARowLayout::value(row, lineColumn);
        if (!(line == lastLine)) {
            lineNumber = KVORARowLayout::lineNumber(Columns != AnyColumns ? columnValue<AllColumns>(row, lineColumn)
                                                                          : line);
            lastLine = line;
        }
        double callee, weight;
        calleeAndWeight<Columns>(row, calleeColumn, weightColumn, callee, weight);
        addRecord<State>(callee, weight, lineNumber, view, counters);
    };
    int32_t i = 0;
    for (; i + ahead < count; ++i) {
        prefetch(rows[i + ahead][calleeColumn]);
        add(rows[i]);
    }
    for (; i < count; ++i) add(rows[i]);
    storeRowCheckState(counters);
}

template <int State, class Table>
void KVORADIFData::addRows(const double *const *rows, int32_t count, const KVORARowLayout &layout, Table &callees)
{
    const int32_t calleeColumn = layout.dataColumns[0];
    const int32_t weightColumn = layout.dataColumns[1];
    if (calleeColumn < 0 || weightColumn < 0 || layout.lineColumn < 0)
        addRows<State, AnyColumns>(rows, count, layout, callees);
    else if (weightColumn == calleeColumn + 1)
        addRows<State, CalleeThenWeight>(rows, count, layout, callees);
    else
        addRows<State, AllColumns>(rows, count, layout, callees);
}

int32_t KVORADIFData::updateRows(const double *const *rows, int32_t count, const KVORARowLayout &layout,
                                 KVORA_ENV env)
{
    // The per-record trace, and the check of a record too narrow for a
    // matrix, stay with update.
    if (ivVerbosityLvl > 30 || ivSampleTraceOn != 0 || layout.dataCount < 2) return 0;
    switch (ivState) {
    case ComputeNormalizer:
        addRows<ComputeNormalizer>(rows, count, layout, ivCalleeIntSums);
        return 1;
    case ComputeWeightedInOutDeg:
        addRows<ComputeWeightedInOutDeg>(rows, count, layout, ivCalleeIntSums);
        return 1;
    case DiffusionIterationModel1:
        addRows<DiffusionIterationModel1>(rows, count, layout, ivCalleeRealSums);
        return 1;
    default:
        return 0;
    }
}

namespace {

inline void addInto(double &sum, double value) { sum = sum + value; }
inline void addInto(int32_t &sum, int32_t value)
{
    sum = static_cast<int32_t>(static_cast<uint32_t>(sum) + static_cast<uint32_t>(value));
}

void assignTo(double &entry, double value) { entry = value; }

}  // namespace

void KVORADIFData::gatherCalleeSums()
{
    switch (ivState) {
    case ComputeNormalizer:
        ivCallerRealSums.foldInto(ivNum2RowSumMap, assignTo);
        ivCalleeIntSums.foldInto(ivNum2InDegreeMap, [](int32_t &sum, int32_t value) { addInto(sum, value); });
        ivCallerIntSums.foldInto(ivNum2OutDegreeMap, [](int32_t &sum, int32_t value) { addInto(sum, value); });
        break;
    case ComputeWeightedInOutDeg:
        ivCalleeIntSums.foldInto(ivNum2WeightedInDegreeMap, [](int32_t &sum, int32_t value) { addInto(sum, value); });
        ivCallerIntSums.foldInto(ivNum2WeightedOutDegreeMap, [](int32_t &sum, int32_t value) { addInto(sum, value); });
        break;
    case DiffusionIterationModel1: {
        // A pass fills an empty result map, and adding to a new entry of 0
        // gives the sum itself (a sum that starts at 0.0 is never -0.0).
        ivCalleeRealSums.foldInto(ivModel1Num2MultResMap, [](double &sum, double value) { addInto(sum, value); });
        if (ivCallersEnteredFresh != 0) {
            std::vector<uint64_t> entered;
            entered.reserve(ivCallersEnteredFresh);
            for (size_t i = 0; i < ivCallerEnteredFresh.size(); ++i)
                if (ivCallerEnteredFresh[i] != 0) entered.push_back(ivNum2RowSumMap.key(i));
            ivModel1Num2FreshEnergyMap.fold(
                entered.size(), [&](size_t j) { return entered[j]; }, [](size_t) { return 0.0; },
                [](double &, double) {});
            std::fill(ivCallerEnteredFresh.begin(), ivCallerEnteredFresh.end(), 0);
            ivCallersEnteredFresh = 0;
            ivFreshAt = 0;
        }
        break;
    }
    default: break;
    }
    ivCalleeIntSums.clear();
    ivCalleeRealSums.clear();
    ivCallerIntSums.clear();
    ivCallerRealSums.clear();
}
