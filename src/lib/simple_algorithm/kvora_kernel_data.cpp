// The kernel data object's part of the object base: its registration, what
// crosses between processes, copying and moving, and its trace events. The
// settings and the histogram always travel; the own samples, the kernel
// function and the matrices only in the first message, before any record:
// later messages leave them as each worker has built them.
#include "simple_algorithm/kvora_kernel_data.h"

#include <mpi.h>

#include <iostream>
#include <sstream>

#include "control/kvora_XML_tag.h"
#include "nelo-common/kvora_reports.h"
#include "simple_algorithm/kvora_online_histogram.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAKernelData, KVORASimpleAlgorithmAbstractData, 25)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivDataStatus, 1)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivKernelVerbosityLvl, 2)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivKernelMode, 3)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivIsSparseKernel, 4)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivSparsityLevel, 5)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivKernelHistogramLocations, 6)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivKernelHistogramCounts, 7)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivSparsityThreshold, 8)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivIsSparseData, 9)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivSparseDataPtr, 10)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivOutputFileName, 11)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivFilterSimilarities, 12)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivNumberOfComputeIterations, 13)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivCurComputeIteration, 14)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivSamplesNum, 15)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivAllSamplesNum, 16)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivFirstKernelCol, 17)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivKernelFunctionPtr, 18)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivSamplesOrder, 19)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivOtherSamplesOrder, 20)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivMyInputMatrixPtr, 21)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivMyTargetMatrixPtr, 22)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivOtherTargetMatrixPtr, 23)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivKernelMatrixPtr, 24)
KVORA_MEMBER_KEYWORD(KVORAKernelData, ivSamplesCounter, 25)

KVORA_SIMPLE_ALGORITHM_DATA_ID(KVORAKernelData, 8)

int32_t kvoraRegisterKernelData()
{
    return kvoraRegisterSimpleAlgorithmData(8, &kvoraOpenSimpleAlgorithmData<KVORAKernelData>);
}

KVORAKernelData::KVORAKernelData()
    : ivKernelMode(KernelMode), ivSamplesNum(0), ivAllSamplesNum(0), ivIsSparseKernel(0), ivSparsityLevel(1.0),
      ivSparsityThreshold(0.0), ivIsSparseData(0), ivColumnNum(0.0), ivFilterSimilarities(0),
      ivNumberOfComputeIterations(1), ivCurComputeIteration(1), ivFirstKernelCol(0), ivSamplesCounter(0),
      ivKernelVerbosityLvl(1), ivKernelSampleTraceOn(0), ivSampleTraceKernelEventsCounter(0),
      ivDataStatus(InitKernelObject), ivComputedPairs(0)
{
}

KVORAKernelData::~KVORAKernelData() {}

int32_t KVORAKernelData::getRank()
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

template <class T>
void copyOwned(KVORAOwnPtr<T> &to, const KVORAOwnPtr<T> &from, KVORA_ENV env)
{
    if (from.get() == nullptr) {
        to.reset(env);
        return;
    }
    KVORAOwnPtr<KVORAObject> made;
    from->cloneObject(made, env);
    made->copyFromPrimitive(from.get(), env);
    to.transferFrom(made, env);
}

void copyScalars(KVORAKernelData &to, const KVORAKernelData &from)
{
    to.ivKernelMode = from.ivKernelMode;
    to.ivSamplesNum = from.ivSamplesNum;
    to.ivAllSamplesNum = from.ivAllSamplesNum;
    to.ivIsSparseKernel = from.ivIsSparseKernel;
    to.ivSparsityLevel = from.ivSparsityLevel;
    to.ivSparsityThreshold = from.ivSparsityThreshold;
    to.ivIsSparseData = from.ivIsSparseData;
    to.ivColumnNum = from.ivColumnNum;
    to.ivOutputFileName = from.ivOutputFileName;
    to.ivFilterSimilarities = from.ivFilterSimilarities;
    to.ivNumberOfComputeIterations = from.ivNumberOfComputeIterations;
    to.ivCurComputeIteration = from.ivCurComputeIteration;
    to.ivFirstKernelCol = from.ivFirstKernelCol;
    to.ivSamplesCounter = from.ivSamplesCounter;
    to.ivKernelVerbosityLvl = from.ivKernelVerbosityLvl;
    to.ivKernelSampleTraceOn = from.ivKernelSampleTraceOn;
    to.ivSampleTraceKernelEventsCounter = from.ivSampleTraceKernelEventsCounter;
    to.ivDataStatus = from.ivDataStatus;
}

}  // namespace

void KVORAKernelData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::copyFromPrimitive(source, env);
    if (source == nullptr || source == this) return;
    const KVORAKernelData *other = static_cast<const KVORAKernelData *>(source);
    copyScalars(*this, *other);
    copyOwned(ivMyInputMatrixPtr, other->ivMyInputMatrixPtr, env);
    copyOwned(ivMyTargetMatrixPtr, other->ivMyTargetMatrixPtr, env);
    copyOwned(ivOtherTargetMatrixPtr, other->ivOtherTargetMatrixPtr, env);
    copyOwned(ivKernelMatrixPtr, other->ivKernelMatrixPtr, env);
    copyOwned(ivKernelFunctionPtr, other->ivKernelFunctionPtr, env);
    copyOwned(ivSparseDataPtr, other->ivSparseDataPtr, env);
    ivSamplesOrder.copyFrom(other->ivSamplesOrder, env);
    ivOtherSamplesOrder.copyFrom(other->ivOtherSamplesOrder, env);
    ivKernelHistogramLocations.copyFrom(other->ivKernelHistogramLocations, env);
    ivKernelHistogramCounts.copyFrom(other->ivKernelHistogramCounts, env);
    ivKernelColSampleNumber.copyFrom(other->ivKernelColSampleNumber, env);
    ivSparseInputMatrix = other->ivSparseInputMatrix;
    forgetOwnRows();
    ivSparseKernelMatrix = other->ivSparseKernelMatrix;
    forgetKeptRows();
    ivOtherSamplesMap = other->ivOtherSamplesMap;
    traceEvent(40, "KVORAKernelData::copyFromPrimitive finished", 0, env);
}

void KVORAKernelData::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::transferFromPrimitive(source, env);
    if (source == nullptr || source == this) return;
    KVORAKernelData *other = static_cast<KVORAKernelData *>(source);
    copyScalars(*this, *other);
    ivMyInputMatrixPtr.transferFrom(other->ivMyInputMatrixPtr, env);
    ivMyTargetMatrixPtr.transferFrom(other->ivMyTargetMatrixPtr, env);
    ivOtherTargetMatrixPtr.transferFrom(other->ivOtherTargetMatrixPtr, env);
    ivKernelMatrixPtr.transferFrom(other->ivKernelMatrixPtr, env);
    ivKernelFunctionPtr.transferFrom(other->ivKernelFunctionPtr, env);
    ivSparseDataPtr.transferFrom(other->ivSparseDataPtr, env);
    ivSamplesOrder.transferFrom(other->ivSamplesOrder, env);
    ivOtherSamplesOrder.transferFrom(other->ivOtherSamplesOrder, env);
    ivKernelHistogramLocations.transferFrom(other->ivKernelHistogramLocations, env);
    ivKernelHistogramCounts.transferFrom(other->ivKernelHistogramCounts, env);
    ivKernelColSampleNumber.transferFrom(other->ivKernelColSampleNumber, env);
    ivSparseInputMatrix.swap(other->ivSparseInputMatrix);
    other->ivSparseInputMatrix.clear();
    forgetOwnRows();
    other->forgetOwnRows();
    ivSparseKernelMatrix.swap(other->ivSparseKernelMatrix);
    other->ivSparseKernelMatrix.clear();
    forgetKeptRows();
    other->forgetKeptRows();
    ivOtherSamplesMap.swap(other->ivOtherSamplesMap);
    other->ivOtherSamplesMap.clear();
    traceEvent(40, "KVORAKernelData::transferFromPrimitive finished", 0, env);
}

void KVORAKernelData::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORASimpleAlgorithmAbstractData::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivDataStatus), ivDataStatus, env);
    kvoraWrite(writer, KVORA_KWD(ivKernelVerbosityLvl), ivKernelVerbosityLvl, env);
    kvoraWrite(writer, KVORA_KWD(ivKernelMode), ivKernelMode, env);
    kvoraWrite(writer, KVORA_KWD(ivIsSparseKernel), ivIsSparseKernel, env);
    kvoraWrite(writer, KVORA_KWD(ivSparsityLevel), ivSparsityLevel, env);
    kvoraWrite(writer, KVORA_KWD(ivKernelHistogramLocations), ivKernelHistogramLocations, env);
    kvoraWrite(writer, KVORA_KWD(ivKernelHistogramCounts), ivKernelHistogramCounts, env);
    kvoraWrite(writer, KVORA_KWD(ivSparsityThreshold), ivSparsityThreshold, env);
    kvoraWrite(writer, KVORA_KWD(ivIsSparseData), ivIsSparseData, env);
    kvoraWrite(writer, KVORA_KWD(ivSparseDataPtr), ivSparseDataPtr, env);
    kvoraWrite(writer, KVORA_KWD(ivOutputFileName), ivOutputFileName, env);
    kvoraWrite(writer, KVORA_KWD(ivFilterSimilarities), ivFilterSimilarities, env);
    kvoraWrite(writer, KVORA_KWD(ivNumberOfComputeIterations), ivNumberOfComputeIterations, env);
    kvoraWrite(writer, KVORA_KWD(ivCurComputeIteration), ivCurComputeIteration, env);
    if (ivDataStatus == InitKernelObject) {
        kvoraWrite(writer, KVORA_KWD(ivSamplesNum), ivSamplesNum, env);
        kvoraWrite(writer, KVORA_KWD(ivAllSamplesNum), ivAllSamplesNum, env);
        kvoraWrite(writer, KVORA_KWD(ivFirstKernelCol), ivFirstKernelCol, env);
        kvoraWrite(writer, KVORA_KWD(ivKernelFunctionPtr), ivKernelFunctionPtr, env);
        kvoraWrite(writer, KVORA_KWD(ivSamplesOrder), ivSamplesOrder, env);
        kvoraWrite(writer, KVORA_KWD(ivOtherSamplesOrder), ivOtherSamplesOrder, env);
        kvoraWrite(writer, KVORA_KWD(ivMyInputMatrixPtr), ivMyInputMatrixPtr, env);
        kvoraWrite(writer, KVORA_KWD(ivMyTargetMatrixPtr), ivMyTargetMatrixPtr, env);
        kvoraWrite(writer, KVORA_KWD(ivOtherTargetMatrixPtr), ivOtherTargetMatrixPtr, env);
        kvoraWrite(writer, KVORA_KWD(ivKernelMatrixPtr), ivKernelMatrixPtr, env);
        kvoraWrite(writer, KVORA_KWD(ivSamplesCounter), ivSamplesCounter, env);
    }
    traceEvent(40, "KVORAKernelData::writePrimitive finished", 0, env);
}

void KVORAKernelData::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivDataStatus), ivDataStatus, env);
    kvoraRead(reader, KVORA_KWD(ivKernelVerbosityLvl), ivKernelVerbosityLvl, env);
    kvoraRead(reader, KVORA_KWD(ivKernelMode), ivKernelMode, env);
    kvoraRead(reader, KVORA_KWD(ivIsSparseKernel), ivIsSparseKernel, env);
    kvoraRead(reader, KVORA_KWD(ivSparsityLevel), ivSparsityLevel, env);
    kvoraRead(reader, KVORA_KWD(ivKernelHistogramLocations), ivKernelHistogramLocations, env);
    kvoraRead(reader, KVORA_KWD(ivKernelHistogramCounts), ivKernelHistogramCounts, env);
    kvoraRead(reader, KVORA_KWD(ivSparsityThreshold), ivSparsityThreshold, env);
    kvoraRead(reader, KVORA_KWD(ivIsSparseData), ivIsSparseData, env);
    kvoraRead(reader, KVORA_KWD(ivSparseDataPtr), ivSparseDataPtr, env);
    kvoraRead(reader, KVORA_KWD(ivOutputFileName), ivOutputFileName, env);
    kvoraRead(reader, KVORA_KWD(ivFilterSimilarities), ivFilterSimilarities, env);
    kvoraRead(reader, KVORA_KWD(ivNumberOfComputeIterations), ivNumberOfComputeIterations, env);
    kvoraRead(reader, KVORA_KWD(ivCurComputeIteration), ivCurComputeIteration, env);
    // The reading loop comes back while keywords are taken, so the order of
    // this second group need not be the writer's.
    kvoraRead(reader, KVORA_KWD(ivKernelFunctionPtr), ivKernelFunctionPtr, env);
    kvoraRead(reader, KVORA_KWD(ivSamplesNum), ivSamplesNum, env);
    kvoraRead(reader, KVORA_KWD(ivAllSamplesNum), ivAllSamplesNum, env);
    kvoraRead(reader, KVORA_KWD(ivSamplesOrder), ivSamplesOrder, env);
    kvoraRead(reader, KVORA_KWD(ivOtherSamplesOrder), ivOtherSamplesOrder, env);
    kvoraRead(reader, KVORA_KWD(ivFirstKernelCol), ivFirstKernelCol, env);
    kvoraRead(reader, KVORA_KWD(ivMyInputMatrixPtr), ivMyInputMatrixPtr, env);
    kvoraRead(reader, KVORA_KWD(ivMyTargetMatrixPtr), ivMyTargetMatrixPtr, env);
    kvoraRead(reader, KVORA_KWD(ivOtherTargetMatrixPtr), ivOtherTargetMatrixPtr, env);
    kvoraRead(reader, KVORA_KWD(ivKernelMatrixPtr), ivKernelMatrixPtr, env);
    kvoraRead(reader, KVORA_KWD(ivSamplesCounter), ivSamplesCounter, env);
    forgetOwnRows();
    traceEvent(40, "KVORAKernelData::readPrimitive finished", 0, env);
}

void KVORAKernelData::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::postReadPrimitive(reader, env);
    traceEvent(40, "KVORAKernelData::postReadPrimitive finished", 0, env);
}

void KVORAKernelData::releasePrimitive(KVORA_ENV env)
{
    ivMyInputMatrixPtr.reset(env);
    ivMyTargetMatrixPtr.reset(env);
    ivOtherTargetMatrixPtr.reset(env);
    ivKernelMatrixPtr.reset(env);
    ivKernelFunctionPtr.reset(env);
    ivSparseDataPtr.reset(env);
    ivSamplesOrder.reset(env);
    ivOtherSamplesOrder.reset(env);
    ivKernelHistogramLocations.reset(env);
    ivKernelHistogramCounts.reset(env);
    ivKernelColSampleNumber.reset(env);
    ivSparseInputMatrix.clear();
    ivSparseKernelMatrix.clear();
    forgetKeptRows();
    ivOtherSamplesMap.clear();
    forgetOwnRows();
    ivFlatStart = std::vector<size_t>();
    ivFlatPlace = std::vector<int32_t>();
    ivFlatValue = std::vector<double>();
    ivRow.reset(env);
    ivTarget.reset(env);
    ivMine.reset(env);
    ivOther.reset(env);
    ivCandidates.reset(env);
    KVORASimpleAlgorithmAbstractData::releasePrimitive(env);
}

void KVORAKernelData::releaseMatrices(KVORA_ENV env)
{
    ivMyInputMatrixPtr.create(env);
    ivMyTargetMatrixPtr.create(env);
    ivOtherTargetMatrixPtr.create(env);
    ivKernelMatrixPtr.create(env);
}

// ---- the simple operations of the data interface ----

void KVORAKernelData::reservedOperationA() { KVORA_NOT_IMPLEMENTED(); }
void KVORAKernelData::reservedOperationB() { KVORA_NOT_IMPLEMENTED(); }

int32_t KVORAKernelData::beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env)
{
    traceEvent(20, "Entering KVORAKernelData::beginDataScan", 0, env);
    return ivDataStatus != ReadyForQuery ? 1 : 0;
}

void KVORAKernelData::initIteration(KVORA_ENV env)
{
    ivSparseDataPtr.create(env);
}

int32_t KVORAKernelData::getScanType() const
{
    switch (ivDataStatus) {
    case InitKernelObject:
    case InputMySamples: return ivIsSparseData == 0 ? 0 : 5;
    case InputOtherSamples: return ivIsSparseData == 0 ? 2 : 6;
    case ReadyForQuery: return 3;
    default: KVORA_NOT_IMPLEMENTED();
    }
    return 3;
}

void KVORAKernelData::merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env)
{
    if (ivIsSparseKernel != 1 || other == this || ivDataStatus != InputMySamples) return;
    KVORAKernelData *theirs = static_cast<KVORAKernelData *>(other);
    KVORAOwnPtr<KVORAOnlineHistogramData> histogram;
    histogram.create(env);
    histogram->setCapacity(1000, env);
    histogram->mergeHistograms(ivKernelHistogramLocations, ivKernelHistogramCounts, theirs->ivKernelHistogramLocations,
                               theirs->ivKernelHistogramCounts, env);
    histogram.reset(env);
    traceEvent(40, "KVORAKernelData::merge finished", 0, env);
}

void KVORAKernelData::writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env)
{
    tag.clearTag(env);
    if (ivKernelFunctionPtr.get() != nullptr) ivKernelFunctionPtr->writeXMLKernelParameters(tag, env);
}

// ---- messages ----

void KVORAKernelData::traceEvent(int32_t level, const char *text, int32_t withDump, KVORA_ENV env) const
{
    if (level > ivKernelVerbosityLvl) return;
    std::ostringstream dumpText;
    if (withDump != 0) dump(dumpText);
    kvoraWriteTraceEvent(getRank(), "TraceKernelEvent", text, dumpText.str());
}

int32_t KVORAKernelData::sampleTraceEvent(int32_t level)
{
    int32_t on = 0;
    if (ivKernelVerbosityLvl == 100) {
        on = 1;
    } else if (level < ivKernelVerbosityLvl) {
        ++ivSampleTraceKernelEventsCounter;
        on = (ivSampleTraceKernelEventsCounter < 10 || ivSampleTraceKernelEventsCounter % 1000000 < 5) ? 1 : 0;
    }
    if (on != 0 && ivKernelSampleTraceOn == 0) {
        std::cout << ">>>>>> Worker " + std::to_string(getRank()) + "[SampleTraceKernelEventStarts]\n" << std::flush;
        ivKernelSampleTraceOn = 1;
    } else if (on == 0 && ivKernelSampleTraceOn != 0) {
        std::cout << ">>>>>> Worker " + std::to_string(getRank()) + "[SampleTraceKernelEventEnds]\n" << std::flush;
        ivKernelSampleTraceOn = 0;
    }
    return on;
}

namespace {

template <class A>
void dumpArray(std::ostream &out, const char *name, const A &array)
{
    out << " <- " << name << " contains " << array.getSize() << " elements\n";
    const int32_t shown = array.getSize() < 10 ? array.getSize() : 10;
    for (int32_t i = 1; i <= shown; ++i) out << "  <- Elm " << i << ": " << array[i] << "\n";
}

}  // namespace

void KVORAKernelData::dump(std::ostream &out) const
{
    out << " <- Worker " << getRank() << " [KernelDataObjectStarts]\n";
    out << "The following should be const during runtime: \n";
    out << " <- ivKernelMode = " << ivKernelMode << "\n";
    out << " <- ivIsSparseKernel = " << ivIsSparseKernel << "\n";
    out << " <- ivSparsityLevel = " << ivSparsityLevel << "\n";
    out << " <- ivIsSparseData = " << ivIsSparseData << "\n";
    out << " <- ivOutputFileName = " << ivOutputFileName << "\n";
    out << " <- ivFilterSimilarities = " << ivFilterSimilarities << "\n";
    out << " <- ivNumberOfComputeIterations = " << ivNumberOfComputeIterations << "\n";
    out << " <- ivKernelVerbosityLvl = " << ivKernelVerbosityLvl << "\n";
    out << "The following should change during runtime: \n";
    out << " <- ivDataStatus = " << ivDataStatus << "\n";
    out << " <- ivSamplesNum = " << ivSamplesNum << "\n";
    out << " <- ivAllSamplesNum = " << ivAllSamplesNum << "\n";
    out << " <- ivSparsityThreshold = " << ivSparsityThreshold << "\n";
    out << " <- ivColumnNum = " << ivColumnNum << "\n";
    out << " <- ivCurComputeIteration = " << ivCurComputeIteration << "\n";
    out << " <- ivFirstKernelCol = " << ivFirstKernelCol << "\n";
    out << " <- ivSamplesCounter = " << ivSamplesCounter << "\n";
    dumpArray(out, "ivSamplesOrder", ivSamplesOrder);
    dumpArray(out, "ivOtherSamplesOrder", ivOtherSamplesOrder);
    dumpArray(out, "ivKernelColSampleNumber", ivKernelColSampleNumber);
    dumpArray(out, "ivKernelHistogramLocations", ivKernelHistogramLocations);
    dumpArray(out, "ivKernelHistogramCounts", ivKernelHistogramCounts);
    out << " <- ivSparseInputMatrix contains " << ivSparseInputMatrix.size() << " rows\n";
    out << " <- ivSparseKernelMatrix contains " << ivSparseKernelMatrix.size() << " rows\n";
    out << " <- ivOtherSamplesMap contains " << ivOtherSamplesMap.size() << " elements\n";
    out << " <- Worker " << getRank() << " [KernelDataObjectEnds]\n";
}
