// The group analysis object's passes: what a record means in each state,
// what happens before and after a pass, and the transitions of endDataScan,
// which alone decide the next state. The row paths (votes of isolated nodes,
// links inside a cluster) work on one assembled row at a time and reuse
// their scratch tables, so that a row allocates nothing once the largest row
// has been seen.
#include "simple_algorithm/kvora_CGA_data.h"

#include <algorithm>
#include <cmath>
#include <iostream>
#include <sstream>

#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"

int32_t KVORACGAData::getScanType() const
{
    switch (ivState) {
    case BuildingKernel:
        KVORA_ASSERT(ivKernelPtr.get() != nullptr);
        return ivKernelPtr.get()->getScanType();
    case CollectingKernelEdges:
    case CCAnalysis:
        return 3;
    case ConnectingIsolatedNodes:
    case CollectingClusterEdges:
        return 0;
    default:
        KVORA_NEVER_HERE();
        return 0;
    }
}

int32_t KVORACGAData::beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env)
{
    switch (ivState) {
    case BuildingKernel:
        KVORA_ASSERT(ivKernelPtr.get() != nullptr);
        return ivKernelPtr.get()->beginDataScan(numExplanatoryFields, env);
    case StartFromKernel:
        readKernelValuesFile(env);
        buildInitialClusters(env);
        ivState = ivNumIterationsConnectingNodes < 1 ? CollectingClusterEdges : ConnectingIsolatedNodes;
        return 1;
    default:
        KVORA_NEVER_HERE();
        return 0;
    }
}

void KVORACGAData::update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                          uint64_t sampleNumber, KVORA_ENV env)
{
    if (updateSampleTrace(5) != 0) {
        std::ostringstream out;
        out << " Entering KVORACGAData::update, ivState = " << ivState << ", sample num = " << sampleNumber
            << " -- dataVec size =  " << dataVec.getSize() << "\n";
        for (int32_t i = 1; i <= dataVec.getSize(); ++i) out << "  - Elm " << i << ": " << dataVec[i] << "\n";
        out << "-- targetVec size =  " << targetVec.getSize() << "\n";
        for (int32_t i = 1; i <= targetVec.getSize(); ++i) out << "  - Elm " << i << ": " << targetVec[i] << "\n";
        std::cout << out.str() << std::flush;
    }
    if (!ivCoveredNodes.empty() && ivCoveredNodes.count(sampleNumber) != 0) {
        if (ivSampleTraceOn != 0) std::cout << " skipping " << sampleNumber << " (aleardy covered)\n";
        return;
    }
    if (ivState == CollectingClusterEdges) {
        const int32_t *found = ivNodeToCCMap.lookup(sampleNumber);
        if (found == nullptr || *found < ivMinIndRelevantClusters || *found > ivMaxIndRelevantClusters) {
            if (ivSampleTraceOn != 0) std::cout << " skipping " << sampleNumber << " (not in relevant cluster)\n";
            return;
        }
    }
    switch (ivState) {
    case BuildingKernel:
        ivKernelPtr.get()->update(dataVec, targetVec, sampleNumber, env);
        return;
    case ConnectingIsolatedNodes:
    case CollectingClusterEdges:
        forwardToRowAssembly(dataVec, targetVec, sampleNumber, env);
        return;
    default:
        KVORA_NEVER_HERE();
    }
}

void KVORACGAData::forwardToRowAssembly(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                                        uint64_t sampleNumber, KVORA_ENV env)
{
    KVORASparseToDenseData *rows = ivSparseDataPtr.get();
    KVORA_ASSERT(rows != nullptr);
    rows->update(dataVec, targetVec, sampleNumber, env);
    if (rows->isFinished() == 0) return;
    double target = 0.0;
    const uint64_t node = rows->takeRow(ivRowScratch, target, env);
    if (ivState == ConnectingIsolatedNodes)
        checkConnectingNode(node, ivRowScratch, env);
    else
        addEdges(node, ivRowScratch, env);
    ivRowScratch.setSize(0, env);  // emptied; the storage stays for the next row
}

void KVORACGAData::updateWithoutDataScan(KVORA_ENV env)
{
    traceEvent(30, "Entering updateWithoutDataScan", 0, env);
    switch (ivState) {
    case CollectingKernelEdges:
        collectKernelEdges(env);
        break;
    case CCAnalysis:
        analyzeClusters(env);
        break;
    default:
        KVORA_NEVER_HERE();
    }
}

void KVORACGAData::initIteration(KVORA_ENV env)
{
    traceEvent(20, "Entering initIteration", 0, env);
    switch (ivState) {
    case BuildingKernel:
        KVORA_ASSERT(ivKernelPtr.get() != nullptr);
        ivKernelPtr.get()->initIteration(env);
        return;
    case CollectingKernelEdges:
    case CCAnalysis:
        return;
    case ConnectingIsolatedNodes:
    case CollectingClusterEdges:
        ivKernelEdges.reset(env);
        if (ivKernelPtr.get() != nullptr) ivKernelPtr.get()->releaseMatrices(env);
        ivSparseDataPtr.create(env);
        ivSparseDataPtr.get()->beginDataScan(0, env);
        ivNodesToConnect.reset(env);
        ivClustersToConnectNodesTo.reset(env);
        if (ivState == CollectingClusterEdges) ivCCEdges.reset(env);
        return;
    default:
        KVORA_NEVER_HERE();
    }
}

void KVORACGAData::finishIteration(KVORA_ENV env)
{
    traceEvent(20, "Entering finishIteration", 0, env);
    static const char *const method = "finishIteration";
    switch (ivState) {
    case BuildingKernel:
        KVORA_ASSERT(ivKernelPtr.get() != nullptr);
        ivKernelPtr.get()->finishIteration(env);
        return;
    case CollectingKernelEdges:
        reportProgress("Finished an iteration of kernel building and edge collection", method, env);
        ivKernelPtr.reset(env);
        return;
    case ConnectingIsolatedNodes:
        reportProgress("Finished an iteration of issolated nodes connection", method, env);
        if (isMasterWorker() == 0) {
            ivNodesBuffer.reset(env);
            ivCCBuffer.reset(env);
            ivNodeToCCMap.clear();
        }
        return;
    case CollectingClusterEdges:
        reportProgress("Finished an iteration cluster edges collection", method, env);
        if (isMasterWorker() == 0 && ivIterationCounterCollectingEdges == 1) {
            ivNodesBuffer.reset(env);
            ivCCBuffer.reset(env);
        }
        return;
    case CCAnalysis:
        reportProgress("Finished an iteration cluster analysis", method, env);
        ivCCEdges.reset(env);
        ivCCEdgesNum.reset(env);
        return;
    default:
        return;
    }
}

void KVORACGAData::emptyResultArrays(KVORA_ENV env)
{
    ivPageRanks.reset(env);
    ivPageRanksTransposed.reset(env);
    ivCCNodesByPageRank.reset(env);
    ivCCNodesByPageRankTransposed.reset(env);
    ivOutDegreesWeightedByPageRank.reset(env);
    ivInDegreesWeightedByPageRankTransposed.reset(env);
    ivCCOutDegrees.reset(env);
    ivCCInDegrees.reset(env);
    ivCCNodesNum.reset(env);
}

int32_t KVORACGAData::endDataScan(KVORA_ENV env)
{
    traceEvent(2, "Entering endDataScan", 0, env);
    static const char *const method = "endDataScan";
    switch (ivState) {
    case BuildingKernel: {
        KVORA_ASSERT(ivKernelPtr.get() != nullptr);
        const int32_t built = ivKernelPtr.get()->endDataScan(env);
        if (built == 1) {
            reportProgress("Finished building kernel", method, env);
            ivState = CollectingKernelEdges;
        }
        return 0;
    }
    case CollectingKernelEdges:
        reportProgress("Finished collecting kernel edges", method, env);
        buildInitialClusters(env);
        if (ivNumIterationsConnectingNodes < 1) setRelevantClusterRange(env);
        reportProgress("Finished building initial clusters", method, env);
        ivState = ivNumIterationsConnectingNodes < 1 ? CollectingClusterEdges : ConnectingIsolatedNodes;
        return 0;
    case ConnectingIsolatedNodes: {
        ++ivConnectingNodesIterationCounter;
        const int32_t changed = connectIsolatedNodes(env);
        if (changed == 0 || ivConnectingNodesIterationCounter >= ivNumIterationsConnectingNodes) {
            setRelevantClusterRange(env);
            ivState = CollectingClusterEdges;
        }
        reportProgress("Finished connecting isolated nodes", method, env);
        return 0;
    }
    case CollectingClusterEdges:
        buildFinalClusters(env);
        reportProgress("Final cluster edges connected", method, env);
        ivState = CCAnalysis;
        return 0;
    case CCAnalysis:
        traceEvent(2, "", 1, env);
        printAnalysisResults(env);
        if (ivMaxIndRelevantClusters < ivClusterSizes.getSize()) {
            ++ivIterationCounterCollectingEdges;
            ivState = CollectingClusterEdges;
            setRelevantClusterRange(env);
            ivCCEdges.reset(env);
            ivCCEdgesNum.reset(env);
            emptyResultArrays(env);
            return 0;
        }
        reportProgress("Final clusters built", method, env);
        if (ivIterationCounter >= ivNumIterations) {
            ivState = AnalysisDone;
            reportProgress("Analysis done", method, env);
            reportLog(0, "CGA Terminated Successfully");
            std::cout << std::flush;
            return 1;
        }
        // A further outer iteration: open refuses more than one, so this is
        // kept only so that the covered nodes stay out of a next kernel.
        reportProgress("Restart building kernel", method, env);
        ++ivIterationCounter;
        ivState = BuildingKernel;
        if (ivKernelPtr.get() != nullptr) ivKernelPtr.get()->releaseMatrices(env);
        ivKernelEdges.reset(env);
        ivRelevantKernelEdges.reset(env);
        ivNodeToCCMap.clear();
        ivNodeToIterationConnectedMap.clear();
        ivConnectingNodesIterationCounter = 0;
        ivIterationCounterCollectingEdges = 0;
        ivCoveredNodesBuffer.reset(env);
        for (uint64_t node : ivCoveredNodes) ivCoveredNodesBuffer.copyAppend(node, env);
        return 0;
    default:
        KVORA_NEVER_HERE();
        return 0;
    }
}

void KVORACGAData::setRelevantClusterRange(KVORA_ENV env)
{
    const int32_t clusters = ivClusterSizes.getSize();
    const int32_t r = ivIterationCounterCollectingEdges;
    if (ivMaxNodesCollectingEdges == 0) {
        const int32_t p = static_cast<int32_t>(
            std::ceil(static_cast<double>(clusters) / static_cast<double>(ivNumIterationsCollectingEdges)));
        ivMinIndRelevantClusters = (r - 1) * p + 1;
        ivMaxIndRelevantClusters = r == ivNumIterationsCollectingEdges ? clusters : ivMinIndRelevantClusters + p - 1;
        return;
    }
    ivMinIndRelevantClusters = r == 1 ? 1 : ivMaxIndRelevantClusters + 1;
    ivMaxIndRelevantClusters = ivMinIndRelevantClusters;
    // The first cluster of an iteration is taken whatever its size.
    int64_t sum = ivMinIndRelevantClusters <= clusters ? ivClusterSizes[ivMinIndRelevantClusters] : 0;
    while (ivMaxIndRelevantClusters < clusters) {
        const int64_t next = sum + ivClusterSizes[ivMaxIndRelevantClusters + 1];
        if (next > ivMaxNodesCollectingEdges) break;
        sum = next;
        ++ivMaxIndRelevantClusters;
    }
}

void KVORACGAData::startRowTable(int32_t rowLength)
{
    size_t capacity = 16;
    while (capacity < 2 * static_cast<size_t>(rowLength) + 2) capacity *= 2;
    if (capacity > ivRowKeys.size()) {
        // Grows only for a row longer than any before it.
        ivRowKeys.assign(capacity, 0);
        ivRowCounts.assign(capacity, 0);
        ivRowStamps.assign(capacity, 0);
        ivRowStamp = 0;
    }
    if (++ivRowStamp == 0) {
        std::fill(ivRowStamps.begin(), ivRowStamps.end(), 0u);
        ivRowStamp = 1;
    }
}

size_t KVORACGAData::rowSlot(uint64_t key, bool &isNew)
{
    const size_t mask = ivRowKeys.size() - 1;
    size_t slot = static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> 17) & mask;
    while (ivRowStamps[slot] == ivRowStamp) {
        if (ivRowKeys[slot] == key) {
            isNew = false;
            return slot;
        }
        slot = (slot + 1) & mask;
    }
    ivRowStamps[slot] = ivRowStamp;
    ivRowKeys[slot] = key;
    ivRowCounts[slot] = 0;
    isNew = true;
    return slot;
}

void KVORACGAData::checkConnectingNode(uint64_t node, const KVORAXaRay<double, 1> &neighbours, KVORA_ENV env)
{
    if (ivNodeToCCMap.count(node) != 0) return;
    int32_t bestCount = 0;
    int32_t bestCluster = -1;
    startRowTable(neighbours.getSize());
    bool isNew = false;
    for (int32_t i = 1; i <= neighbours.getSize(); ++i) {
        const double v = neighbours[i];
        if (!(v > 0.0)) break;
        const int32_t *found = ivNodeToCCMap.lookup(static_cast<uint64_t>(static_cast<int64_t>(v)));
        if (found == nullptr) continue;
        const int32_t count = ++ivRowCounts[rowSlot(static_cast<uint64_t>(static_cast<uint32_t>(*found)), isNew)];
        if (count > bestCount) {
            bestCount = count;
            bestCluster = *found;
        }
    }
    if (bestCluster >= 0) {
        ivNodesToConnect.copyAppend(node, env);
        ivClustersToConnectNodesTo.copyAppend(bestCluster, env);
    }
    if (ivSampleTraceOn != 0) {
        if (bestCluster >= 0)
            std::cout << "checkConnectingNode: node " << node << " to be connected to cluster " << bestCluster << "\n";
        else
            std::cout << "checkConnectingNode: node " << node << ", no connecting cluster was found \n";
    }
}

int32_t KVORACGAData::connectIsolatedNodes(KVORA_ENV env)
{
    int32_t changed = 0;
    for (int32_t i = 1; i <= ivNodesToConnect.getSize(); ++i) {
        const uint64_t node = ivNodesToConnect[i];
        const int32_t cluster = ivClustersToConnectNodesTo[i];
        KVORA_ASSERT(cluster >= 1 && cluster <= ivClusterSizes.getSize());
        if (ivClusterSizes[cluster] >= ivMaxClusterSize) continue;
        changed = 1;
        ivNodeToCCMap[node] = cluster;
        ivNodeToIterationConnectedMap[node] = ivConnectingNodesIterationCounter;
        ++ivClusterSizes[cluster];
    }
    rebuildNodeBuffers(env);
    return changed;
}

void KVORACGAData::addEdges(uint64_t node, const KVORAXaRay<double, 1> &neighbours, KVORA_ENV env)
{
    const int32_t *own = ivNodeToCCMap.lookup(node);
    if (own == nullptr) return;
    const int32_t cluster = *own;
    if (ivSampleTraceOn != 0) std::cout << "addEdges: statring node " << node << "\n";
    startRowTable(neighbours.getSize());
    bool isNew = false;
    for (int32_t i = 1; i <= neighbours.getSize(); ++i) {
        const double v = neighbours[i];
        if (!(v > 0.0)) break;
        const uint64_t other = static_cast<uint64_t>(v);
        rowSlot(other, isNew);
        if (!isNew) continue;
        if (other == node) continue;
        const int32_t *found = ivNodeToCCMap.lookup(other);
        if (found == nullptr || *found != cluster) continue;
        ivCCEdges.copyAppend(node, env);
        ivCCEdges.copyAppend(other, env);
        if (ivSampleTraceOn != 0) std::cout << "addEdges: added edge (" << node << ", " << other << ")\n";
    }
    if (ivSampleTraceOn != 0) std::cout << "addEdges: ending node " << node << "\n";
}
