// The second half of the run driver: the master's training loop and the
// worker's receive-scan-return loop, and the one pass over a process's share
// of the records. They are free functions over the driver's values, so that
// a test program can run them with a data object of its own.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"
#include "util/kvora_ownptr.h"

class KVORABinaryInputDataset;
class KVORAControl;
class KVORADataPoint;
class KVORAModel;
class KVORAMultiScan;
class KVORAObject;
class KVORAXMLTag;
struct KVORARunSettings;

// The master's path: dataset, data point, model, the training loop, the
// validation passes, the end of the job and the final model report.
void kvoraRunMaster(KVORAControl &control, KVORARunSettings &settings, KVORA_ENV env);

// The worker's path: receive, open the dataset, scan, return the results,
// until the master ends the job.
void kvoraRunWorker(KVORAControl &control, KVORARunSettings &settings, KVORA_ENV env);

// One pass over this process's share of the records.
void kvoraScanData(KVORAControl &control, KVORAOwnPtr<KVORAModel> &model, KVORAOwnPtr<KVORADataPoint> &dataPoint,
                   KVORABinaryInputDataset &dataset, int32_t scanPurpose, KVORAOwnPtr<KVORAObject> &modelOutputPair,
                   KVORAOwnPtr<KVORAMultiScan> &liftData, KVORAOwnPtr<KVORAMultiScan> &modelSensitivity,
                   KVORA_ENV env);

// The partition of a record: its index modulo the partition span (the
// maximum partition number minus 2), plus 3.
int32_t kvoraRecordPartition(int64_t recordIndex, int32_t maxPartition);

// The partitions of the records of one pass. Rows mostly come in order, so
// the partition of the record after the last one steps on from the last
// partition; any other record is divided out by kvoraRecordPartition.
class KVORARecordPartitions {
public:
    explicit KVORARecordPartitions(int32_t maxPartition) : ivMaxPartition(maxPartition) {}
    int32_t of(int64_t recordIndex) {
        if (recordIndex != ivNextIndex)
            ivPartition = kvoraRecordPartition(recordIndex, ivMaxPartition);
        else if (++ivPartition > ivMaxPartition)
            ivPartition = 3;
        ivNextIndex = recordIndex < INT64_MAX ? recordIndex + 1 : -1;
        return ivPartition;
    }

private:
    int32_t ivMaxPartition;
    int32_t ivPartition = 0;
    int64_t ivNextIndex = -1;
};
