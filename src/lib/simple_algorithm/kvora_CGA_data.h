// The group analysis data object: cuts the similarity graph of the input's
// rows into clusters of bounded size, draws isolated nodes into them, gathers
// the directed links inside each cluster and ranks the members twice, on the
// links as they stand and reversed.
//
// One state variable says what each pass means; what crosses between
// processes depends on it, so that each pass carries only what its work
// needs. The implementation is split by subject: object base, transfers and
// messages (kvora_CGA_data.cpp), parameters and the kernel values file
// (_open), the passes and their transitions (_scan), the cluster steps
// (_clusters), and the result files (_output).
#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <ostream>
#include <set>
#include <utility>
#include <vector>

#include "kvo/kv2ustra.h"
#include "simple_algorithm/kvora_kernel_data.h"
#include "simple_algorithm/kvora_simple_algorithm_data.h"
#include "simple_algorithm/kvora_sparse_to_dense.h"
#include "util/kvora_env.h"
#include "util/kvora_ownptr.h"
#include "util/kvora_xray.h"

class KVORAXMLTag;
class Digraph;

// Node numbers to an integer (a cluster, an iteration), walked in ascending
// node order. Passes look a node up for every neighbour of every row, so a
// lookup goes through an open-addressed index of the entries rather than
// down the tree. The index points at the tree's elements, which stay where
// they are while other keys come in; every change keeps it whole.
class KVORANodeIntMap {
public:
    using Tree = std::map<uint64_t, int32_t>;
    using const_iterator = Tree::const_iterator;

    KVORANodeIntMap() = default;
    KVORANodeIntMap(std::initializer_list<Tree::value_type> entries) : ivTree(entries) { reindex(); }
    KVORANodeIntMap(const KVORANodeIntMap &other) : ivTree(other.ivTree) { reindex(); }
    KVORANodeIntMap &operator=(const KVORANodeIntMap &other)
    {
        if (this != &other) {
            ivTree = other.ivTree;
            reindex();
        }
        return *this;
    }
    void swap(KVORANodeIntMap &other)
    {
        ivTree.swap(other.ivTree);
        ivSlots.swap(other.ivSlots);
        std::swap(ivShift, other.ivShift);
    }

    // The value of `key`, or null when it is absent.
    const int32_t *lookup(uint64_t key) const
    {
        if (ivSlots.empty()) return nullptr;
        for (size_t at = home(key);; at = (at + 1) & (ivSlots.size() - 1)) {
            const Slot &slot = ivSlots[at];
            if (slot.entry == nullptr) return nullptr;
            if (slot.key == key) return &slot.entry->second;
        }
    }
    size_t count(uint64_t key) const { return lookup(key) != nullptr ? 1 : 0; }
    // The value of `key`, entered as 0 when absent.
    int32_t &operator[](uint64_t key)
    {
        const auto placed = ivTree.try_emplace(key, 0);
        if (placed.second) {
            if (2 * ivTree.size() > ivSlots.size()) reindex();
            else enter(&*placed.first);
        }
        return placed.first->second;
    }
    void clear()
    {
        ivTree.clear();
        std::vector<Slot>().swap(ivSlots);
    }
    size_t size() const { return ivTree.size(); }
    bool empty() const { return ivTree.empty(); }
    const_iterator begin() const { return ivTree.begin(); }
    const_iterator end() const { return ivTree.end(); }
    bool operator==(const KVORANodeIntMap &other) const { return ivTree == other.ivTree; }

private:
    struct Slot {
        uint64_t key;
        Tree::value_type *entry;  // null: a free slot
    };
    size_t home(uint64_t key) const { return static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> ivShift); }
    void enter(Tree::value_type *entry)
    {
        size_t at = home(entry->first);
        while (ivSlots[at].entry != nullptr) at = (at + 1) & (ivSlots.size() - 1);
        ivSlots[at] = Slot{entry->first, entry};
    }
    // An index of the whole tree, at most half full.
    void reindex()
    {
        size_t slots = 16;
        while (slots < 2 * ivTree.size()) slots *= 2;
        ivSlots.assign(slots, Slot{0, nullptr});
        ivShift = 64;
        for (size_t n = slots; n > 1; n >>= 1) --ivShift;
        for (auto &entry : ivTree) enter(&entry);
    }

    Tree ivTree;
    std::vector<Slot> ivSlots;
    int ivShift = 64;
};

class KVORACGAData : public KVORASimpleAlgorithmAbstractData {
    KVORA_OBJECT_DECL(KVORACGAData)
public:
    enum {
        BuildingKernel = 0,
        CollectingKernelEdges = 1,
        ConnectingIsolatedNodes = 2,
        CollectingClusterEdges = 3,
        CCAnalysis = 4,
        AnalysisDone = 5,
        StartFromKernel = 6
    };
    enum { FormatCompact = 0, FormatNormal = 1, FormatCSV = 2 };

    typedef KVORANodeIntMap NodeIntMap;

    KVORACGAData();
    ~KVORACGAData() override;

    // ---- object base ----
    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // ---- the data interface ----
    int32_t beginDataScan(int32_t numExplanatoryFields, KVORA_ENV env) override;
    void update(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec, uint64_t sampleNumber,
                KVORA_ENV env) override;
    int32_t endDataScan(KVORA_ENV env) override;
    void updateWithoutDataScan(KVORA_ENV env) override;
    void initIteration(KVORA_ENV env) override;
    void finishIteration(KVORA_ENV env) override;
    int32_t isFinished() const override { return ivState == AnalysisDone ? 1 : 0; }
    void merge(KVORASimpleAlgorithmAbstractData *other, KVORA_ENV env) override;
    void print(std::ostream &stream) const override;
    void writeXMLParameters(KVORAXMLTag &tag, KVORA_ENV env) override;
    int32_t getScanType() const override;
    int32_t canUpdateWithoutDataScan() const override { return 1; }

    // ---- parameters and kernel edges ----
    void open(const KVORAXMLTag &parameters, KVORA_ENV env);
    void readKernelValuesFile(KVORA_ENV env);
    void collectKernelEdges(KVORA_ENV env);

    // ---- cluster steps ----
    void buildInitialClusters(KVORA_ENV env);
    void checkConnectingNode(uint64_t node, const KVORAXaRay<double, 1> &neighbours, KVORA_ENV env);
    int32_t connectIsolatedNodes(KVORA_ENV env);
    void setRelevantClusterRange(KVORA_ENV env);
    void addEdges(uint64_t node, const KVORAXaRay<double, 1> &neighbours, KVORA_ENV env);
    void buildFinalClusters(KVORA_ENV env);
    void analyzeClusters(KVORA_ENV env);
    void analyzeCluster(const Digraph &graph, const std::vector<uint64_t> &numbering,
                        KVORAXaRay<uint64_t, 1> &nodes, KVORAXaRay<double, 1> &ranks,
                        KVORAXaRay<int32_t, 1> &degrees, KVORAXaRay<double, 1> &weighted, KVORA_ENV env);
    void rebuildNodeBuffers(KVORA_ENV env);
    void rebuildNodeToCCMap();
    void rebuildCoveredNodes();

    // ---- results and messages ----
    void printAnalysisResults(KVORA_ENV env);
    void traceEvent(int32_t level, const char *text, int32_t dumpState, KVORA_ENV env) const;
    int32_t updateSampleTrace(int32_t level);
    void reportProgress(const char *message, const char *methodName, KVORA_ENV env);
    void dump(std::ostream &out) const;
    static int32_t getRank();
    static int32_t getWorldSize();
    static int32_t isMasterWorker() { return getRank() == 0 ? 1 : 0; }
    static const char *stateName(int32_t state);

    // ---- members, in declaration order ----
    int32_t ivState;
    int32_t ivIterationCounter;
    int32_t ivProgressReportCounter;
    int32_t ivVerbosityLvl;
    int32_t ivSampleTraceOn;
    int64_t ivSampleTraceEventsCounter;
    KVORAOwnPtr<KVORAKernelData> ivKernelPtr;
    KVORAXaRay<uint64_t, 1> ivKernelEdges;
    KVORAXaRay<uint64_t, 1> ivRelevantKernelEdges;
    NodeIntMap ivNodeToCCMap;
    KVORAXaRay<uint64_t, 1> ivNodesBuffer;
    KVORAXaRay<int32_t, 1> ivCCBuffer;
    std::set<uint64_t> ivCoveredNodes;
    KVORAXaRay<uint64_t, 1> ivCoveredNodesBuffer;
    KVORAXaRay<int32_t, 1> ivClusterSizes;
    KVORAOwnPtr<KVORASparseToDenseData> ivSparseDataPtr;
    NodeIntMap ivNodeToIterationConnectedMap;
    KVORAXaRay<uint64_t, 1> ivNodesToConnect;
    KVORAXaRay<int32_t, 1> ivClustersToConnectNodesTo;
    int32_t ivConnectingNodesIterationCounter;
    KVORAXaRay<uint64_t, 1> ivCCEdges;
    KVORAXaRay<int32_t, 1> ivCCEdgesNum;
    KVORAXaRay<double, 1> ivPageRanks;
    KVORAXaRay<double, 1> ivPageRanksTransposed;
    KVORAXaRay<uint64_t, 1> ivCCNodesByPageRank;
    KVORAXaRay<uint64_t, 1> ivCCNodesByPageRankTransposed;
    KVORAXaRay<double, 1> ivOutDegreesWeightedByPageRank;
    KVORAXaRay<double, 1> ivInDegreesWeightedByPageRankTransposed;
    KVORAXaRay<int32_t, 1> ivCCOutDegrees;
    KVORAXaRay<int32_t, 1> ivCCInDegrees;
    KVORAXaRay<int32_t, 1> ivCCNodesNum;
    KVORAXaRay<double, 1> ivCCKernelDensities;
    KVORAXaRay<double, 1> ivCCDensities;
    KVORAXaRay<int32_t, 1> ivNumEdgesInGraph;
    KVORAXaRay<int32_t, 1> ivNumCCInGraph;
    KVORAXaRay<int32_t, 1> ivNodesInRelevantClusters;
    int32_t ivMinClusterSize;
    int32_t ivMaxClusterSize;
    int32_t ivNumIterations;
    int32_t ivNumIterationsConnectingNodes;
    int32_t ivOutputFormat;
    KV2AscString ivOutputFileName;
    KV2AscString ivTagPrefix;
    KV2AscString ivOutputNamespace;
    KV2AscString ivKernelFileName;
    int32_t ivNumIterationsCollectingEdges;
    int32_t ivIterationCounterCollectingEdges;
    int32_t ivMinIndRelevantClusters;
    int32_t ivMaxIndRelevantClusters;
    int32_t ivMaxNodesCollectingEdges;

private:
    // Scratch of the row paths, kept between rows so that a row allocates
    // only when it is longer or wider than any before it.
    KVORAXaRay<double, 1> ivRowScratch;
    // An open-addressed table of the keys of one row (node numbers seen, or
    // cluster numbers with their votes). A slot is live when its stamp is the
    // row's stamp, so a new row empties the table by moving the stamp on.
    std::vector<uint64_t> ivRowKeys;
    std::vector<int32_t> ivRowCounts;
    std::vector<uint32_t> ivRowStamps;
    uint32_t ivRowStamp = 0;
    void startRowTable(int32_t rowLength);
    // The slot of `key`, made live with a count of 0 when it was not.
    size_t rowSlot(uint64_t key, bool &isNew);
    void forwardToRowAssembly(const KVORAXaRay<double, 1> &dataVec, const KVORAXaRay<double, 1> &targetVec,
                              uint64_t sampleNumber, KVORA_ENV env);
    void emptyResultArrays(KVORA_ENV env);
};

// Enters the class under its model identifier, 17; the same entry is made
// before main when this class's object file is linked in.
int32_t kvoraRegisterCGAData();
