// The parallel job object: this process's rank and the job's size. Created by
// the entry point and shared through a process-wide pointer; the tree
// operations that move object streams between processes grow on it.
#pragma once

#include <cstdint>
#include <sstream>

#include "util/kvora_array.h"
#include "util/kvora_env.h"
#include "util/kvora_ownptr.h"

class KVORAControl;
class KVORADataPoint;
class KVORAFieldNameMap;
class KVORAModel;
class KVORAMultiScan;
class KVORAObject;

class KVORAPControl {
public:
    KVORAPControl() = default;

    // Rank 0 and size 1, then MPI_Init and the size and rank of the world;
    // rank 0 announces the size on standard output.
    void initialise(int &argc, char **&argv);
    int32_t isMaster() const { return ivRank == 0 ? 1 : 0; }

    // The tree operations (kvora_pcontrol_tree.cpp). The output pair, lift and
    // sensitivity objects are held by their bases: the job layer only writes,
    // reads and merges them.
    // Master: writes the scan's objects and sends them down the tree. Worker:
    // receives, forwards, then reads into the objects it holds. 0 on a worker
    // means that the job has ended.
    int32_t distribute(KVORAOwnPtr<KVORAModel> &model, KVORAOwnPtr<KVORADataPoint> &dataPoint,
                       KVORAOwnPtr<KVORAFieldNameMap> &fieldNameMap, KVORAControl *control,
                       KVORAOwnPtr<KVORAObject> &modelOutputPair, KVORAOwnPtr<KVORAMultiScan> &liftData,
                       KVORAOwnPtr<KVORAMultiScan> &modelSensitivity, int32_t &scanPurpose, KVORA_ENV env);
    // Scan results up the tree, merged pairwise; rank 0 folds them in.
    int32_t collect(KVORAOwnPtr<KVORAModel> &model, KVORAOwnPtr<KVORADataPoint> &dataPoint,
                    KVORAOwnPtr<KVORAFieldNameMap> &fieldNameMap, KVORAOwnPtr<KVORAObject> &modelOutputPair,
                    KVORAOwnPtr<KVORAMultiScan> &liftData, KVORAOwnPtr<KVORAMultiScan> &modelSensitivity,
                    int32_t scanPurpose, KVORA_ENV env);
    int32_t collectValidationRows(KVORAArray<int32_t> &rowNumbers, KVORAArray<double> &actualValues,
                                  KVORAArray<double> &predictedValues, KVORA_ENV env);
    // Master only: the job-end message down the tree.
    void terminateWorkers();
    void barrier();

    // The tree's depth: the smallest number with 2 to its power not below the size.
    int32_t getLevels() const;

    // Public for the job layer's own tests; the run uses them through the above.
    void sendStream(std::stringstream &stream, int32_t destination);
    // `source` -1 takes the size message from any rank; collect names the child,
    // so that a child of a later stage, already sending, cannot overtake.
    int32_t receiveStream(std::stringstream &stream, int32_t source = -1);
    void mergeResultStreams(std::stringstream &received, std::stringstream &own, KVORAFieldNameMap *fieldNameMap,
                            KVORA_ENV env);
    void applyResultStream(KVORAFieldNameMap *fieldNameMap, std::stringstream &stream, KVORA_ENV env);

    void writeDistribution(std::stringstream &stream, KVORAOwnPtr<KVORAModel> &model,
                           KVORAOwnPtr<KVORADataPoint> &dataPoint, KVORAOwnPtr<KVORAObject> &modelOutputPair,
                           KVORAOwnPtr<KVORAMultiScan> &liftData, KVORAOwnPtr<KVORAMultiScan> &modelSensitivity,
                           int32_t scanPurpose, KVORA_ENV env);

private:
    void readDistribution(std::stringstream &stream, KVORAOwnPtr<KVORAModel> &model,
                          KVORAOwnPtr<KVORADataPoint> &dataPoint, KVORAOwnPtr<KVORAFieldNameMap> &fieldNameMap,
                          KVORAOwnPtr<KVORAObject> &modelOutputPair, KVORAOwnPtr<KVORAMultiScan> &liftData,
                          KVORAOwnPtr<KVORAMultiScan> &modelSensitivity, int32_t &scanPurpose, KVORA_ENV env);
    void writeScanResults(std::stringstream &stream, KVORAOwnPtr<KVORAModel> &model,
                          KVORAOwnPtr<KVORADataPoint> &dataPoint, KVORAOwnPtr<KVORAObject> &modelOutputPair,
                          KVORAOwnPtr<KVORAMultiScan> &liftData, KVORAOwnPtr<KVORAMultiScan> &modelSensitivity,
                          int32_t scanPurpose, KVORA_ENV env);
    // Sends the size with `tag` 1, or 0 for the job's end, to each child.
    void sendToChildren(std::stringstream *stream);
    void sendValidationRows(int32_t destination, const KVORAArray<int32_t> &rowNumbers,
                            const KVORAArray<double> &actualValues, const KVORAArray<double> &predictedValues);
    void receiveValidationRows(int32_t source, KVORAArray<int32_t> &rowNumbers, KVORAArray<double> &actualValues,
                               KVORAArray<double> &predictedValues, KVORA_ENV env);
    void appendValidationRows(KVORAArray<int32_t> &rowNumbers, KVORAArray<double> &actualValues,
                              KVORAArray<double> &predictedValues, const KVORAArray<int32_t> &moreRowNumbers,
                              const KVORAArray<double> &moreActualValues,
                              const KVORAArray<double> &morePredictedValues, KVORA_ENV env);
public:

    int32_t ivRank = 0;
    int32_t ivSize = 1;
};
