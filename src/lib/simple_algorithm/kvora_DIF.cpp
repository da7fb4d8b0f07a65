// The diffusion data object's part of the object base: its registration,
// what crosses between processes in each phase, copying and moving, and the
// object's ways of telling what it does (trace events with a dump, progress
// reports). Only the arrays of the present phase travel: the maps are rebuilt
// where they are needed.
#include "simple_algorithm/kvora_DIF.h"

#include <mpi.h>

#include <iostream>
#include <sstream>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORADIFData, KVORASimpleAlgorithmAbstractData, 18)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivIsSparse, 1)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivSpreadCoefficient, 2)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivInDegree, 3)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivInDegreeSamples, 4)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivOutDegree, 5)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivOutDegreeSamples, 6)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivWeightedInDegree, 7)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivWeightedInDegreeSamples, 8)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivWeightedOutDegree, 9)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivWeightedOutDegreeSamples, 10)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivState, 11)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivMatState, 12)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivModel1FreshEnergies, 13)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivModel1FreshEnergiesSamples, 14)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivRowSum, 15)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivRowSumSamples, 16)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivDiffVal, 17)
KVORA_MEMBER_KEYWORD(KVORADIFData, ivVerbosityLvl, 18)

KVORA_SIMPLE_ALGORITHM_DATA_ID(KVORADIFData, 24)

int32_t kvoraRegisterDIFData()
{
    return kvoraRegisterSimpleAlgorithmData(24, &kvoraOpenSimpleAlgorithmData<KVORADIFData>);
}

KVORADIFData::KVORADIFData()
    : ivIsSparse(1), ivSpreadCoefficient(0.5), ivOutputFormat(1), ivState(ComputeNormalizer), ivMatState(0),
      ivModel1NumIterations(0), ivMaxCallees(0), ivRowsCounter(0), ivCalleesCounter(0), ivCurrentCaller(0),
      ivDiffVal(100000.0), ivMaxNumIterations(100), ivEpsilon(0.01), ivProgressReportCounter(1), ivVerbosityLvl(1),
      ivSampleTraceOn(0), ivSampleTraceEventsCounter(0), ivRowCallerSum(nullptr), ivRowCallerOut(nullptr),
      ivRowCallerKnown(false), ivRowCallerRowSum(0.0), ivRowCallerFresh(0.0), ivRowSumAt(0), ivFreshAt(0),
      ivCallersEnteredFresh(0)
{
}

KVORADIFData::~KVORADIFData() {}

void KVORADIFData::resetRowCache()
{
    ivRowCallerSum = nullptr;
    ivRowCallerOut = nullptr;
    ivRowCallerKnown = false;
}

int32_t KVORADIFData::getRank()
{
    int initialized = 0, finalized = 0;
    MPI_Initialized(&initialized);
    MPI_Finalized(&finalized);
    if (!initialized || finalized) return 0;
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    return rank;
}

// ---- object base ----

namespace {

// The members that copy and transfer carry, besides the arrays.
void copyScalars(KVORADIFData &to, const KVORADIFData &from)
{
    to.ivIsSparse = from.ivIsSparse;
    to.ivState = from.ivState;
    to.ivMatState = from.ivMatState;
    to.ivSpreadCoefficient = from.ivSpreadCoefficient;
    to.ivDiffVal = from.ivDiffVal;
    to.ivOutputFileName = from.ivOutputFileName;
    to.ivProgressReportCounter = from.ivProgressReportCounter;
    to.ivVerbosityLvl = from.ivVerbosityLvl;
    to.ivSampleTraceOn = from.ivSampleTraceOn;
    to.ivSampleTraceEventsCounter = from.ivSampleTraceEventsCounter;
    to.ivModel1NumIterations = from.ivModel1NumIterations;
}

// Applies `op(mine, theirs)` to each of the eighteen arrays that copy and
// transfer carry.
template <class D, class S, class Op>
void forEachCarriedArray(D &to, S &from, Op op)
{
    op(to.ivInDegree, from.ivInDegree);
    op(to.ivInDegreeSamples, from.ivInDegreeSamples);
    op(to.ivOutDegree, from.ivOutDegree);
    op(to.ivOutDegreeSamples, from.ivOutDegreeSamples);
    op(to.ivWeightedInDegree, from.ivWeightedInDegree);
    op(to.ivWeightedInDegreeSamples, from.ivWeightedInDegreeSamples);
    op(to.ivWeightedOutDegree, from.ivWeightedOutDegree);
    op(to.ivWeightedOutDegreeSamples, from.ivWeightedOutDegreeSamples);
    op(to.ivModel1TotalEnergies, from.ivModel1TotalEnergies);
    op(to.ivModel1TotalEnergiesSamples, from.ivModel1TotalEnergiesSamples);
    op(to.ivModel1TotalEnergiesOld, from.ivModel1TotalEnergiesOld);
    op(to.ivModel1TotalEnergiesSamplesOld, from.ivModel1TotalEnergiesSamplesOld);
    op(to.ivModel1FreshEnergies, from.ivModel1FreshEnergies);
    op(to.ivModel1FreshEnergiesSamples, from.ivModel1FreshEnergiesSamples);
    op(to.ivModel1FreshEnergiesOld, from.ivModel1FreshEnergiesOld);
    op(to.ivModel1FreshEnergiesSamplesOld, from.ivModel1FreshEnergiesSamplesOld);
    op(to.ivRowSumSamples, from.ivRowSumSamples);
    op(to.ivRowSum, from.ivRowSum);
}

}  // namespace

void KVORADIFData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::copyFromPrimitive(source, env);
    if (source == nullptr || source == this) return;
    const KVORADIFData *other = static_cast<const KVORADIFData *>(source);
    copyScalars(*this, *other);
    forEachCarriedArray(*this, *other, [&env](auto &mine, const auto &theirs) { mine.copyFrom(theirs, env); });
    resetRowCache();
    traceEvent(40, "copyFromPrimitive finished", 0, env);
}

void KVORADIFData::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::transferFromPrimitive(source, env);
    if (source == nullptr || source == this) return;
    KVORADIFData *other = static_cast<KVORADIFData *>(source);
    copyScalars(*this, *other);
    forEachCarriedArray(*this, *other, [&env](auto &mine, auto &theirs) { mine.transferFrom(theirs, env); });
    resetRowCache();
    traceEvent(40, "transferFromPrimitive finished", 0, env);
}

void KVORADIFData::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORASimpleAlgorithmAbstractData::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivIsSparse), ivIsSparse, env);
    kvoraWrite(writer, KVORA_KWD(ivVerbosityLvl), ivVerbosityLvl, env);
    kvoraWrite(writer, KVORA_KWD(ivState), static_cast<int64_t>(ivState), env);
    kvoraWrite(writer, KVORA_KWD(ivMatState), static_cast<int64_t>(ivMatState), env);
    kvoraWrite(writer, KVORA_KWD(ivRowSum), ivRowSum, env);
    kvoraWrite(writer, KVORA_KWD(ivRowSumSamples), ivRowSumSamples, env);
    kvoraWrite(writer, KVORA_KWD(ivSpreadCoefficient), ivSpreadCoefficient, env);
    kvoraWrite(writer, KVORA_KWD(ivDiffVal), ivDiffVal, env);
    if (ivState == ComputeNormalizer) {
        kvoraWrite(writer, KVORA_KWD(ivInDegree), ivInDegree, env);
        kvoraWrite(writer, KVORA_KWD(ivInDegreeSamples), ivInDegreeSamples, env);
        kvoraWrite(writer, KVORA_KWD(ivOutDegree), ivOutDegree, env);
        kvoraWrite(writer, KVORA_KWD(ivOutDegreeSamples), ivOutDegreeSamples, env);
    } else if (ivState == ComputeWeightedInOutDeg) {
        kvoraWrite(writer, KVORA_KWD(ivWeightedInDegree), ivWeightedInDegree, env);
        kvoraWrite(writer, KVORA_KWD(ivWeightedInDegreeSamples), ivWeightedInDegreeSamples, env);
        kvoraWrite(writer, KVORA_KWD(ivWeightedOutDegree), ivWeightedOutDegree, env);
        kvoraWrite(writer, KVORA_KWD(ivWeightedOutDegreeSamples), ivWeightedOutDegreeSamples, env);
    } else if (ivState == DiffusionIterationModel1) {
        kvoraWrite(writer, KVORA_KWD(ivModel1FreshEnergies), ivModel1FreshEnergies, env);
        kvoraWrite(writer, KVORA_KWD(ivModel1FreshEnergiesSamples), ivModel1FreshEnergiesSamples, env);
    }
    traceEvent(40, "writePrimitive finished", 0, env);
}

void KVORADIFData::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivIsSparse), ivIsSparse, env);
    kvoraRead(reader, KVORA_KWD(ivVerbosityLvl), ivVerbosityLvl, env);
    kvoraRead(reader, KVORA_KWD(ivState), ivState, env);
    kvoraRead(reader, KVORA_KWD(ivMatState), ivMatState, env);
    kvoraRead(reader, KVORA_KWD(ivRowSum), ivRowSum, env);
    kvoraRead(reader, KVORA_KWD(ivRowSumSamples), ivRowSumSamples, env);
    kvoraRead(reader, KVORA_KWD(ivSpreadCoefficient), ivSpreadCoefficient, env);
    kvoraRead(reader, KVORA_KWD(ivDiffVal), ivDiffVal, env);
    if (ivState == ComputeNormalizer) {
        kvoraRead(reader, KVORA_KWD(ivInDegree), ivInDegree, env);
        kvoraRead(reader, KVORA_KWD(ivInDegreeSamples), ivInDegreeSamples, env);
        kvoraRead(reader, KVORA_KWD(ivOutDegree), ivOutDegree, env);
        kvoraRead(reader, KVORA_KWD(ivOutDegreeSamples), ivOutDegreeSamples, env);
    } else if (ivState == ComputeWeightedInOutDeg) {
        kvoraRead(reader, KVORA_KWD(ivWeightedInDegree), ivWeightedInDegree, env);
        kvoraRead(reader, KVORA_KWD(ivWeightedInDegreeSamples), ivWeightedInDegreeSamples, env);
        kvoraRead(reader, KVORA_KWD(ivWeightedOutDegree), ivWeightedOutDegree, env);
        kvoraRead(reader, KVORA_KWD(ivWeightedOutDegreeSamples), ivWeightedOutDegreeSamples, env);
    } else if (ivState == DiffusionIterationModel1) {
        kvoraRead(reader, KVORA_KWD(ivModel1FreshEnergies), ivModel1FreshEnergies, env);
        kvoraRead(reader, KVORA_KWD(ivModel1FreshEnergiesSamples), ivModel1FreshEnergiesSamples, env);
    }
    resetRowCache();
    traceEvent(40, "readPrimitive finished", 0, env);
}

void KVORADIFData::releasePrimitive(KVORA_ENV env)
{
    forEachCarriedArray(*this, *this, [&env](auto &mine, auto &) { mine.reset(env); });
    // The maps hold no accounted memory; they are emptied with the arrays so
    // that a released object keeps nothing of its run.
    ivNum2InDegreeMap.clear();
    ivNum2OutDegreeMap.clear();
    ivNum2WeightedInDegreeMap.clear();
    ivNum2WeightedOutDegreeMap.clear();
    ivModel1Num2TotalEnergyMap.clear();
    ivModel1Num2FreshEnergyMap.clear();
    ivModel1Num2MultResMap.clear();
    ivNum2RowSumMap.clear();
    ivCalleeIntSums.release();
    ivCalleeRealSums.release();
    ivCallerIntSums.release();
    ivCallerRealSums.release();
    std::vector<uint8_t>().swap(ivCallerEnteredFresh);
    ivCallersEnteredFresh = 0;
    resetRowCache();
    dropRowCursors();
    KVORASimpleAlgorithmAbstractData::releasePrimitive(env);
}

// ---- the simple operations of the data interface ----

void KVORADIFData::reservedOperationA() { KVORA_NOT_IMPLEMENTED(); }

int32_t KVORADIFData::beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env)
{
    traceEvent(20, "Entering beginDataScan", 1, env);
    return 1;
}

int32_t KVORADIFData::isFinished() const
{
    return (ivEpsilon >= ivDiffVal || ivModel1NumIterations >= ivMaxNumIterations) ? 1 : 0;
}

void KVORADIFData::print(std::ostream &stream) const {}

// ---- messages ----

void KVORADIFData::progressReport(const char *message, const char *methodName, KVORA_ENV env)
{
    std::ostringstream text;
    text << "\n[Worker:" << getRank() << ", ProgressReport:" << ivProgressReportCounter << "]\nMethod name:"
         << methodName << ": " << message << "\n\n";
    reportLog(1, text.str());
    ++ivProgressReportCounter;
}

void KVORADIFData::traceEvent(int32_t level, const char *text, int32_t withDump, KVORA_ENV env) const
{
    if (level > ivVerbosityLvl) return;
    std::ostringstream dumpText;
    if (withDump != 0) dump(dumpText);
    kvoraWriteTraceEvent(getRank(), "TraceEvent", text, dumpText.str());
}

namespace {

const char *stateName(int32_t state)
{
    switch (state) {
    case KVORADIFData::ComputeNormalizer: return "ComputeNormalizer";
    case KVORADIFData::ComputeWeightedInOutDeg: return "ComputeWeightedInOutDeg";
    case KVORADIFData::DiffusionIterationModel1: return "DiffusionIterationModel1";
    default: return "Unknown";
    }
}

template <class A>
void dumpArray(std::ostream &out, const char *name, const A &array)
{
    out << " <- " << name << " contains " << array.getSize() << " elements\n";
    for (int32_t i = 1; i <= array.getSize(); ++i) out << "  <- Elm " << i << ": " << array[i] << "\n";
}

template <class M>
void dumpMap(std::ostream &out, const char *name, const M &map)
{
    out << " <- " << name << " contains " << map.size() << " elements\n";
    for (size_t i = 0; i < map.size(); ++i) out << "  <- [" << map.key(i) << "] : " << map.value(i) << "\n";
}

}  // namespace

void KVORADIFData::dump(std::ostream &out) const
{
    // The label is the one that the group analysis object prints too.
    out << " <- Worker " << getRank() << " [CGADataObjectStarts]\n";
    out << " <- ivState = " << stateName(ivState) << "\n";
    out << " <- ivIsSparse = " << ivIsSparse << "\n";
    out << " <- ivSpreadCoefficient = " << ivSpreadCoefficient << "\n";
    out << " <- ivOutputFileName = " << ivOutputFileName << "\n";
    out << " <- ivTagPrefix = " << ivTagPrefix << "\n";
    out << " <- ivOutputNamespace = " << ivOutputNamespace << "\n";
    out << " <- ivOutputFormat = " << ivOutputFormat << "\n";
    out << " <- ivMatState = " << ivMatState << "\n";
    out << " <- ivModel1NumIterations = " << ivModel1NumIterations << "\n";
    out << " <- ivMaxCallees = " << ivMaxCallees << "\n";
    out << " <- ivRowsCounter = " << ivRowsCounter << "\n";
    out << " <- ivCalleesCounter = " << ivCalleesCounter << "\n";
    out << " <- ivCurrentCaller = " << ivCurrentCaller << "\n";
    out << " <- ivDiffVal = " << ivDiffVal << "\n";
    out << " <- ivMaxNumIterations = " << ivMaxNumIterations << "\n";
    out << " <- ivEpsilon = " << ivEpsilon << "\n";
    out << " <- ivProgressReportCounter = " << ivProgressReportCounter << "\n";
    out << " <- ivVerbosityLvl = " << ivVerbosityLvl << "\n";
    out << " <- ivSampleTraceOn = " << ivSampleTraceOn << "\n";
    out << " <- ivSampleTraceEventsCounter = " << ivSampleTraceEventsCounter << "\n";
    dumpArray(out, "ivInDegree", ivInDegree);
    dumpArray(out, "ivInDegreeSamples", ivInDegreeSamples);
    dumpArray(out, "ivOutDegree", ivOutDegree);
    dumpArray(out, "ivOutDegreeSamples", ivOutDegreeSamples);
    dumpArray(out, "ivWeightedInDegree", ivWeightedInDegree);
    dumpArray(out, "ivWeightedInDegreeSamples", ivWeightedInDegreeSamples);
    dumpArray(out, "ivWeightedOutDegree", ivWeightedOutDegree);
    dumpArray(out, "ivWeightedOutDegreeSamples", ivWeightedOutDegreeSamples);
    dumpArray(out, "ivModel1TotalEnergies", ivModel1TotalEnergies);
    dumpArray(out, "ivModel1TotalEnergiesSamples", ivModel1TotalEnergiesSamples);
    dumpArray(out, "ivModel1TotalEnergiesOld", ivModel1TotalEnergiesOld);
    dumpArray(out, "ivModel1TotalEnergiesSamplesOld", ivModel1TotalEnergiesSamplesOld);
    dumpArray(out, "ivModel1FreshEnergies", ivModel1FreshEnergies);
    dumpArray(out, "ivModel1FreshEnergiesSamples", ivModel1FreshEnergiesSamples);
    dumpArray(out, "ivModel1FreshEnergiesOld", ivModel1FreshEnergiesOld);
    dumpArray(out, "ivModel1FreshEnergiesSamplesOld", ivModel1FreshEnergiesSamplesOld);
    dumpArray(out, "ivRowSum", ivRowSum);
    dumpArray(out, "ivRowSumSamples", ivRowSumSamples);
    dumpMap(out, "ivNum2InDegreeMap", ivNum2InDegreeMap);
    dumpMap(out, "ivNum2OutDegreeMap", ivNum2OutDegreeMap);
    dumpMap(out, "ivNum2WeightedInDegreeMap", ivNum2WeightedInDegreeMap);
    dumpMap(out, "ivNum2WeightedOutDegreeMap", ivNum2WeightedOutDegreeMap);
    dumpMap(out, "ivModel1Num2TotalEnergyMap", ivModel1Num2TotalEnergyMap);
    dumpMap(out, "ivModel1Num2FreshEnergyMap", ivModel1Num2FreshEnergyMap);
    dumpMap(out, "ivModel1Num2MultResMap", ivModel1Num2MultResMap);
    dumpMap(out, "ivNum2RowSumMap", ivNum2RowSumMap);
}
