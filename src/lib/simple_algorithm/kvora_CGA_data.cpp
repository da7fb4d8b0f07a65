// The group analysis object's part of the object base: its registration,
// what crosses between processes in each state, merging by state, copying,
// and the object's ways of telling what it does (trace events with a state
// dump, the sampled per-record trace, progress reports).
#include "simple_algorithm/kvora_CGA_data.h"

#include <mpi.h>

#include <iostream>
#include <sstream>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORACGAData, KVORASimpleAlgorithmAbstractData, 25)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivState, 1)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCoveredNodesBuffer, 2)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivVerbosityLvl, 3)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivKernelPtr, 4)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivKernelEdges, 5)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivNodesBuffer, 6)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCBuffer, 7)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivNodesToConnect, 8)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivClustersToConnectNodesTo, 9)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivIterationCounterCollectingEdges, 10)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivMinIndRelevantClusters, 11)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivMaxIndRelevantClusters, 12)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCEdges, 13)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCEdgesNum, 14)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivPageRanks, 15)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivPageRanksTransposed, 16)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCNodesByPageRank, 17)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCNodesByPageRankTransposed, 18)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivOutDegreesWeightedByPageRank, 19)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivInDegreesWeightedByPageRankTransposed, 20)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCOutDegrees, 21)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCInDegrees, 22)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivCCNodesNum, 23)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivIterationCounter, 24)
KVORA_MEMBER_KEYWORD(KVORACGAData, ivProgressReportCounter, 25)

KVORA_SIMPLE_ALGORITHM_DATA_ID(KVORACGAData, 17)

int32_t kvoraRegisterCGAData()
{
    return kvoraRegisterSimpleAlgorithmData(17, &kvoraOpenSimpleAlgorithmData<KVORACGAData>);
}

KVORACGAData::KVORACGAData()
    : ivState(BuildingKernel), ivIterationCounter(1), ivProgressReportCounter(1), ivVerbosityLvl(1),
      ivSampleTraceOn(0), ivSampleTraceEventsCounter(0), ivConnectingNodesIterationCounter(0), ivMinClusterSize(1),
      ivMaxClusterSize(100), ivNumIterations(1), ivNumIterationsConnectingNodes(1), ivOutputFormat(FormatNormal),
      ivNumIterationsCollectingEdges(1), ivIterationCounterCollectingEdges(1), ivMinIndRelevantClusters(0),
      ivMaxIndRelevantClusters(0), ivMaxNodesCollectingEdges(0)
{
}

KVORACGAData::~KVORACGAData() {}

int32_t KVORACGAData::getRank()
{
    int initialized = 0, finalized = 0;
    MPI_Initialized(&initialized);
    MPI_Finalized(&finalized);
    if (!initialized || finalized) return 0;
    int rank = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &rank);
    return rank;
}

int32_t KVORACGAData::getWorldSize()
{
    int initialized = 0, finalized = 0;
    MPI_Initialized(&initialized);
    MPI_Finalized(&finalized);
    if (!initialized || finalized) return 1;
    int size = 1;
    MPI_Comm_size(MPI_COMM_WORLD, &size);
    return size;
}

// ---- object base ----

namespace {

// The arrays that copy and transfer carry.
template <class D, class S, class Op>
void forEachArray(D &to, S &from, Op op)
{
    op(to.ivKernelEdges, from.ivKernelEdges);
    op(to.ivRelevantKernelEdges, from.ivRelevantKernelEdges);
    op(to.ivNodesBuffer, from.ivNodesBuffer);
    op(to.ivCCBuffer, from.ivCCBuffer);
    op(to.ivCoveredNodesBuffer, from.ivCoveredNodesBuffer);
    op(to.ivClusterSizes, from.ivClusterSizes);
    op(to.ivNodesToConnect, from.ivNodesToConnect);
    op(to.ivClustersToConnectNodesTo, from.ivClustersToConnectNodesTo);
    op(to.ivCCEdges, from.ivCCEdges);
    op(to.ivCCEdgesNum, from.ivCCEdgesNum);
    op(to.ivPageRanks, from.ivPageRanks);
    op(to.ivPageRanksTransposed, from.ivPageRanksTransposed);
    op(to.ivCCNodesByPageRank, from.ivCCNodesByPageRank);
    op(to.ivCCNodesByPageRankTransposed, from.ivCCNodesByPageRankTransposed);
    op(to.ivOutDegreesWeightedByPageRank, from.ivOutDegreesWeightedByPageRank);
    op(to.ivInDegreesWeightedByPageRankTransposed, from.ivInDegreesWeightedByPageRankTransposed);
    op(to.ivCCOutDegrees, from.ivCCOutDegrees);
    op(to.ivCCInDegrees, from.ivCCInDegrees);
    op(to.ivCCNodesNum, from.ivCCNodesNum);
    op(to.ivCCKernelDensities, from.ivCCKernelDensities);
    op(to.ivCCDensities, from.ivCCDensities);
    op(to.ivNumEdgesInGraph, from.ivNumEdgesInGraph);
    op(to.ivNumCCInGraph, from.ivNumCCInGraph);
    op(to.ivNodesInRelevantClusters, from.ivNodesInRelevantClusters);
}

// Copy and transfer leave out the parameters that only the master's open
// and result writer use: the number of outer iterations, the format, the
// XML names, the kernel file and the node limit of a collecting iteration.
void copyScalars(KVORACGAData &to, const KVORACGAData &from)
{
    to.ivState = from.ivState;
    to.ivIterationCounter = from.ivIterationCounter;
    to.ivProgressReportCounter = from.ivProgressReportCounter;
    to.ivVerbosityLvl = from.ivVerbosityLvl;
    to.ivSampleTraceOn = from.ivSampleTraceOn;
    to.ivSampleTraceEventsCounter = from.ivSampleTraceEventsCounter;
    to.ivNodeToCCMap = from.ivNodeToCCMap;
    to.ivCoveredNodes = from.ivCoveredNodes;
    to.ivNodeToIterationConnectedMap = from.ivNodeToIterationConnectedMap;
    to.ivConnectingNodesIterationCounter = from.ivConnectingNodesIterationCounter;
    to.ivMinClusterSize = from.ivMinClusterSize;
    to.ivMaxClusterSize = from.ivMaxClusterSize;
    to.ivNumIterationsConnectingNodes = from.ivNumIterationsConnectingNodes;
    to.ivOutputFileName = from.ivOutputFileName;
    to.ivNumIterationsCollectingEdges = from.ivNumIterationsCollectingEdges;
    to.ivIterationCounterCollectingEdges = from.ivIterationCounterCollectingEdges;
    to.ivMinIndRelevantClusters = from.ivMinIndRelevantClusters;
    to.ivMaxIndRelevantClusters = from.ivMaxIndRelevantClusters;
}

template <class A>
void appendAll(A &to, const A &from, KVORA_ENV env)
{
    for (int32_t i = 1; i <= from.getSize(); ++i) to.copyAppend(from[i], env);
}

}  // namespace

void KVORACGAData::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::copyFromPrimitive(source, env);
    if (source == nullptr || source == this) return;
    const KVORACGAData *other = static_cast<const KVORACGAData *>(source);
    copyScalars(*this, *other);
    ivKernelPtr.reset(env);
    if (other->ivKernelPtr.get() != nullptr) {
        ivKernelPtr.create(env);
        ivKernelPtr.get()->copyFromPrimitive(other->ivKernelPtr.get(), env);
    }
    forEachArray(*this, *other, [&env](auto &mine, const auto &theirs) { mine.copyFrom(theirs, env); });
    traceEvent(40, "copyFromPrimitive finished", 0, env);
}

void KVORACGAData::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::transferFromPrimitive(source, env);
    if (source == nullptr || source == this) return;
    KVORACGAData *other = static_cast<KVORACGAData *>(source);
    copyScalars(*this, *other);
    ivKernelPtr.reset(other->ivKernelPtr.transfer(), env);
    ivNodeToCCMap.swap(other->ivNodeToCCMap);
    ivCoveredNodes.swap(other->ivCoveredNodes);
    ivNodeToIterationConnectedMap.swap(other->ivNodeToIterationConnectedMap);
    forEachArray(*this, *other, [&env](auto &mine, auto &theirs) { mine.transferFrom(theirs, env); });
    traceEvent(40, "transferFromPrimitive finished", 0, env);
}

void KVORACGAData::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORASimpleAlgorithmAbstractData::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivState), ivState, env);
    kvoraWrite(writer, KVORA_KWD(ivCoveredNodesBuffer), ivCoveredNodesBuffer, env);
    kvoraWrite(writer, KVORA_KWD(ivVerbosityLvl), ivVerbosityLvl, env);
    switch (ivState) {
    case BuildingKernel:
    case CollectingKernelEdges:
        kvoraWrite(writer, KVORA_KWD(ivKernelPtr), ivKernelPtr, env);
        kvoraWrite(writer, KVORA_KWD(ivKernelEdges), ivKernelEdges, env);
        break;
    case ConnectingIsolatedNodes:
        kvoraWrite(writer, KVORA_KWD(ivNodesBuffer), ivNodesBuffer, env);
        kvoraWrite(writer, KVORA_KWD(ivCCBuffer), ivCCBuffer, env);
        kvoraWrite(writer, KVORA_KWD(ivNodesToConnect), ivNodesToConnect, env);
        kvoraWrite(writer, KVORA_KWD(ivClustersToConnectNodesTo), ivClustersToConnectNodesTo, env);
        break;
    case CollectingClusterEdges:
        kvoraWrite(writer, KVORA_KWD(ivIterationCounterCollectingEdges), ivIterationCounterCollectingEdges, env);
        if (ivIterationCounterCollectingEdges == 1) {
            kvoraWrite(writer, KVORA_KWD(ivNodesBuffer), ivNodesBuffer, env);
            kvoraWrite(writer, KVORA_KWD(ivCCBuffer), ivCCBuffer, env);
        }
        kvoraWrite(writer, KVORA_KWD(ivMinIndRelevantClusters), ivMinIndRelevantClusters, env);
        kvoraWrite(writer, KVORA_KWD(ivMaxIndRelevantClusters), ivMaxIndRelevantClusters, env);
        kvoraWrite(writer, KVORA_KWD(ivCCEdges), ivCCEdges, env);
        break;
    case CCAnalysis:
        kvoraWrite(writer, KVORA_KWD(ivCCEdges), ivCCEdges, env);
        kvoraWrite(writer, KVORA_KWD(ivCCEdgesNum), ivCCEdgesNum, env);
        kvoraWrite(writer, KVORA_KWD(ivPageRanks), ivPageRanks, env);
        kvoraWrite(writer, KVORA_KWD(ivPageRanksTransposed), ivPageRanksTransposed, env);
        kvoraWrite(writer, KVORA_KWD(ivCCNodesByPageRank), ivCCNodesByPageRank, env);
        kvoraWrite(writer, KVORA_KWD(ivCCNodesByPageRankTransposed), ivCCNodesByPageRankTransposed, env);
        kvoraWrite(writer, KVORA_KWD(ivOutDegreesWeightedByPageRank), ivOutDegreesWeightedByPageRank, env);
        kvoraWrite(writer, KVORA_KWD(ivInDegreesWeightedByPageRankTransposed),
                   ivInDegreesWeightedByPageRankTransposed, env);
        kvoraWrite(writer, KVORA_KWD(ivCCOutDegrees), ivCCOutDegrees, env);
        kvoraWrite(writer, KVORA_KWD(ivCCInDegrees), ivCCInDegrees, env);
        kvoraWrite(writer, KVORA_KWD(ivCCNodesNum), ivCCNodesNum, env);
        break;
    default:
        KVORA_NEVER_HERE();
    }
    traceEvent(40, "writePrimitive finished", 0, env);
}

void KVORACGAData::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivState), ivState, env);
    if (kvoraRead(reader, KVORA_KWD(ivCoveredNodesBuffer), ivCoveredNodesBuffer, env)) rebuildCoveredNodes();
    kvoraRead(reader, KVORA_KWD(ivVerbosityLvl), ivVerbosityLvl, env);
    switch (ivState) {
    case BuildingKernel:
    case CollectingKernelEdges:
        kvoraRead(reader, KVORA_KWD(ivKernelPtr), ivKernelPtr, env);
        kvoraRead(reader, KVORA_KWD(ivKernelEdges), ivKernelEdges, env);
        break;
    case ConnectingIsolatedNodes:
        kvoraRead(reader, KVORA_KWD(ivNodesBuffer), ivNodesBuffer, env);
        if (kvoraRead(reader, KVORA_KWD(ivCCBuffer), ivCCBuffer, env)) rebuildNodeToCCMap();
        kvoraRead(reader, KVORA_KWD(ivNodesToConnect), ivNodesToConnect, env);
        kvoraRead(reader, KVORA_KWD(ivClustersToConnectNodesTo), ivClustersToConnectNodesTo, env);
        break;
    case CollectingClusterEdges:
        kvoraRead(reader, KVORA_KWD(ivIterationCounterCollectingEdges), ivIterationCounterCollectingEdges, env);
        if (ivIterationCounterCollectingEdges == 1) {
            kvoraRead(reader, KVORA_KWD(ivNodesBuffer), ivNodesBuffer, env);
            if (kvoraRead(reader, KVORA_KWD(ivCCBuffer), ivCCBuffer, env)) rebuildNodeToCCMap();
        }
        kvoraRead(reader, KVORA_KWD(ivMinIndRelevantClusters), ivMinIndRelevantClusters, env);
        kvoraRead(reader, KVORA_KWD(ivMaxIndRelevantClusters), ivMaxIndRelevantClusters, env);
        kvoraRead(reader, KVORA_KWD(ivCCEdges), ivCCEdges, env);
        break;
    case CCAnalysis:
        kvoraRead(reader, KVORA_KWD(ivCCEdges), ivCCEdges, env);
        kvoraRead(reader, KVORA_KWD(ivCCEdgesNum), ivCCEdgesNum, env);
        kvoraRead(reader, KVORA_KWD(ivPageRanks), ivPageRanks, env);
        kvoraRead(reader, KVORA_KWD(ivPageRanksTransposed), ivPageRanksTransposed, env);
        kvoraRead(reader, KVORA_KWD(ivCCNodesByPageRank), ivCCNodesByPageRank, env);
        kvoraRead(reader, KVORA_KWD(ivCCNodesByPageRankTransposed), ivCCNodesByPageRankTransposed, env);
        kvoraRead(reader, KVORA_KWD(ivOutDegreesWeightedByPageRank), ivOutDegreesWeightedByPageRank, env);
        kvoraRead(reader, KVORA_KWD(ivInDegreesWeightedByPageRankTransposed), ivInDegreesWeightedByPageRankTransposed,
                  env);
        kvoraRead(reader, KVORA_KWD(ivCCOutDegrees), ivCCOutDegrees, env);
        kvoraRead(reader, KVORA_KWD(ivCCInDegrees), ivCCInDegrees, env);
        kvoraRead(reader, KVORA_KWD(ivCCNodesNum), ivCCNodesNum, env);
        break;
    default:
        KVORA_NEVER_HERE();
    }
    traceEvent(40, "readPrimitive finished", 0, env);
}

void KVORACGAData::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORASimpleAlgorithmAbstractData::postReadPrimitive(reader, env);
    traceEvent(40, "postReadPrimitive finished", 0, env);
}

void KVORACGAData::releasePrimitive(KVORA_ENV env)
{
    ivKernelPtr.reset(env);
    ivSparseDataPtr.reset(env);
    forEachArray(*this, *this, [&env](auto &mine, auto &) { mine.reset(env); });
    ivRowScratch.reset(env);
    KVORASimpleAlgorithmAbstractData::releasePrimitive(env);
}

void KVORACGAData::rebuildCoveredNodes()
{
    ivCoveredNodes.clear();
    for (int32_t i = 1; i <= ivCoveredNodesBuffer.getSize(); ++i) ivCoveredNodes.insert(ivCoveredNodesBuffer[i]);
}

void KVORACGAData::rebuildNodeToCCMap()
{
    ivNodeToCCMap.clear();
    const int32_t n = ivNodesBuffer.getSize() < ivCCBuffer.getSize() ? ivNodesBuffer.getSize() : ivCCBuffer.getSize();
    for (int32_t i = 1; i <= n; ++i) ivNodeToCCMap[ivNodesBuffer[i]] = ivCCBuffer[i];
}

void KVORACGAData::rebuildNodeBuffers(KVORA_ENV env)
{
    ivNodesBuffer.reset(env);
    ivCCBuffer.reset(env);
    const int32_t n = static_cast<int32_t>(ivNodeToCCMap.size());
    ivNodesBuffer.setSize(n, env);
    ivCCBuffer.setSize(n, env);
    int32_t i = 1;
    for (const auto &entry : ivNodeToCCMap) {
        ivNodesBuffer[i] = entry.first;
        ivCCBuffer[i] = entry.second;
        ++i;
    }
}

void KVORACGAData::merge(KVORASimpleAlgorithmAbstractData *otherData, KVORA_ENV env)
{
    if (otherData == this) return;
    KVORACGAData *other = static_cast<KVORACGAData *>(otherData);
    switch (ivState) {
    case BuildingKernel:
        KVORA_ASSERT(ivKernelPtr.get() != nullptr && other->ivKernelPtr.get() != nullptr);
        ivKernelPtr.get()->merge(other->ivKernelPtr.get(), env);
        break;
    case CollectingKernelEdges:
        appendAll(ivKernelEdges, other->ivKernelEdges, env);
        break;
    case ConnectingIsolatedNodes:
        appendAll(ivNodesToConnect, other->ivNodesToConnect, env);
        appendAll(ivClustersToConnectNodesTo, other->ivClustersToConnectNodesTo, env);
        break;
    case CollectingClusterEdges:
        appendAll(ivCCEdges, other->ivCCEdges, env);
        break;
    case CCAnalysis:
        appendAll(ivPageRanks, other->ivPageRanks, env);
        appendAll(ivPageRanksTransposed, other->ivPageRanksTransposed, env);
        appendAll(ivCCNodesByPageRank, other->ivCCNodesByPageRank, env);
        appendAll(ivCCNodesByPageRankTransposed, other->ivCCNodesByPageRankTransposed, env);
        appendAll(ivOutDegreesWeightedByPageRank, other->ivOutDegreesWeightedByPageRank, env);
        appendAll(ivInDegreesWeightedByPageRankTransposed, other->ivInDegreesWeightedByPageRankTransposed, env);
        appendAll(ivCCOutDegrees, other->ivCCOutDegrees, env);
        appendAll(ivCCInDegrees, other->ivCCInDegrees, env);
        appendAll(ivCCNodesNum, other->ivCCNodesNum, env);
        break;
    default:
        KVORA_NEVER_HERE();
    }
    traceEvent(40, "merge finished", 0, env);
}

void KVORACGAData::print(std::ostream &stream) const
{
    if (ivState == BuildingKernel && ivKernelPtr.get() != nullptr) ivKernelPtr.get()->print(stream);
}

// ---- messages ----

void KVORACGAData::reportProgress(const char *message, const char *methodName, KVORA_ENV env)
{
    std::ostringstream text;
    text << "\n[Worker:" << getRank() << ", Iteration: " << ivIterationCounter
         << ", ProgressReport:" << ivProgressReportCounter << "]\nMethod name:" << methodName << ": " << message
         << "\n\n";
    reportLog(1, text.str());
    ++ivProgressReportCounter;
}

void KVORACGAData::traceEvent(int32_t level, const char *text, int32_t dumpState, KVORA_ENV env) const
{
    if (level > ivVerbosityLvl) return;
    std::ostringstream dumpText;
    if (dumpState != 0) dump(dumpText);
    kvoraWriteTraceEvent(getRank(), "TraceEvent", text, dumpText.str());
}

int32_t KVORACGAData::updateSampleTrace(int32_t level)
{
    int32_t on = 0;
    if (ivVerbosityLvl == 100) {
        on = 1;
    } else if (level < ivVerbosityLvl) {
        ++ivSampleTraceEventsCounter;
        on = (ivSampleTraceEventsCounter <= 9 || ivSampleTraceEventsCounter % 1000000 < 5) ? 1 : 0;
    }
    if (on != ivSampleTraceOn) {
        std::cout << ">>>>>> Worker " << getRank() << (on ? "[SampleTraceEventStarts]" : "[SampleTraceEventEnds]")
                  << "\n" << std::flush;
    }
    ivSampleTraceOn = on;
    return on;
}

const char *KVORACGAData::stateName(int32_t state)
{
    switch (state) {
    case BuildingKernel: return "BuildingKernel";
    case CollectingKernelEdges: return "CollectingKernelEdges";
    case ConnectingIsolatedNodes: return "ConnectingIsolatedNodes";
    case CollectingClusterEdges: return "CollectingClusterEdges";
    case CCAnalysis: return "CCAnalysis";
    case AnalysisDone: return "AnalysisDone";
    case StartFromKernel: return "StartFromKernel";
    default: return "Unknown";
    }
}

namespace {

const int32_t dumpShown = 3;

template <class A>
void dumpArray(std::ostream &out, const char *name, const A &array)
{
    out << " <- " << name << " contains " << array.getSize() << " elements\n";
    if (array.getSize() > 100) {
        out << " <- skipping all property fields \n";
        return;
    }
    for (int32_t i = 1; i <= array.getSize() && i <= dumpShown; ++i) out << "  <- Elm " << array[i] << "\n";
}

void dumpEdges(std::ostream &out, const char *name, const KVORAXaRay<uint64_t, 1> &edges)
{
    out << " <- " << name << " contains " << edges.getSize() << " elements (" << edges.getSize() / 2 << " pairs)\n";
    for (int32_t i = 1; i + 1 <= edges.getSize() && i <= 2 * dumpShown; i += 2)
        out << "  <- Edge " << edges[i] << " " << edges[i + 1] << "\n";
}

}  // namespace

void KVORACGAData::dump(std::ostream &out) const
{
    out << " [CGADataObjectStarts]\n";
    out << " <- Worker " << getRank() << "\n";
    out << " <- ivState = " << stateName(ivState) << "\n";
    out << " <- ivIterationCounter = " << ivIterationCounter << "\n";
    dumpEdges(out, "ivKernelEdges", ivKernelEdges);
    dumpEdges(out, "ivRelevantKernelEdges", ivRelevantKernelEdges);
    out << " <- ivNodeToCCMap contains " << ivNodeToCCMap.size() << " elements\n";
    int32_t shown = 0;
    for (const auto &entry : ivNodeToCCMap) {
        if (++shown > dumpShown) break;
        out << "  <- Node " << entry.first << " --> cluster: " << entry.second << "\n";
    }
    dumpArray(out, "ivNodesBuffer", ivNodesBuffer);
    dumpArray(out, "ivCCBuffer", ivCCBuffer);
    out << " <- ivCoveredNodes contains " << ivCoveredNodes.size() << " elements\n";
    dumpArray(out, "ivCoveredNodesBuffer", ivCoveredNodesBuffer);
    dumpArray(out, "ivClusterSizes", ivClusterSizes);
    out << (ivKernelPtr.get() != nullptr ? " <- ivKernelPtr is non NULL\n" : " <- ivKernelPtr is NULL\n");
    out << (ivSparseDataPtr.get() != nullptr ? " <- ivSparseDataPtr is non NULL\n" : " <- ivSparseDataPtr is NULL\n");
    out << " <- ivNodeToIterationConnectedMap contains " << ivNodeToIterationConnectedMap.size() << " elements\n";
    dumpArray(out, "ivNodesToConnect", ivNodesToConnect);
    dumpArray(out, "ivClustersToConnectNodesTo", ivClustersToConnectNodesTo);
    if (ivNodesToConnect.getSize() != ivClustersToConnectNodesTo.getSize())
        out << "WARNING: size mismathch between ivNodesToConnect and ivClustersToConnectNodesTo\n";
    out << " <- ivConnectingNodesIterationCounter = " << ivConnectingNodesIterationCounter << "\n";
    dumpEdges(out, "ivCCEdges", ivCCEdges);
    dumpArray(out, "ivCCEdgesNum", ivCCEdgesNum);
    dumpArray(out, "ivPageRanks", ivPageRanks);
    dumpArray(out, "ivPageRanksTransposed", ivPageRanksTransposed);
    dumpArray(out, "ivCCNodesByPageRank", ivCCNodesByPageRank);
    dumpArray(out, "ivCCNodesByPageRankTransposed", ivCCNodesByPageRankTransposed);
    dumpArray(out, "ivCCNodesNum", ivCCNodesNum);
    dumpArray(out, "ivCCKernelDensities", ivCCKernelDensities);
    dumpArray(out, "ivCCDensities", ivCCDensities);
    out << " <- ivIterationCounterCollectingEdges = " << ivIterationCounterCollectingEdges << "\n";
    out << " <- ivMinIndRelevantClusters = " << ivMinIndRelevantClusters << "\n";
    out << " <- ivMaxIndRelevantClusters = " << ivMaxIndRelevantClusters << "\n";
}
