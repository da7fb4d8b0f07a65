// The input dataset's interface: open a dataset for one worker's share and
// deliver its rows into the fields of a data point. The one concrete dataset
// is the binary one; the interface stays so that the run driver names a
// dataset, not a file format. A dataset is never streamed.
#pragma once

#include <cstdint>
#include <string>

#include "kernel/kvora_datapoint.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"

class KVORAInputDataset : public KVORAObject {
    KVORA_ABSTRACT_OBJECT_DECL(KVORAInputDataset)
public:
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;

    // The dataset's own virtual operations, in slot order.
    virtual int32_t open(const std::string &fileName, KVORAOwnPtr<KVORADataPoint> &dataPoint, int32_t workerRank,
                         int32_t workerCount, KVORA_ENV env) = 0;
    // The data file is not kept open between windows: nothing to close.
    virtual int32_t close() { return 1; }
    virtual int32_t rewind(KVORA_ENV env);
    // The next row of the share into the data point: the row's index (for
    // sparse rows their identifier), or -1 at the end.
    virtual int64_t getNextRecord(KVORADataPoint &dataPoint, KVORA_ENV env);
    virtual void newDataPoint(KVORAOwnPtr<KVORADataPoint> &result, KVORA_ENV env);
    virtual void setMultiFile(int32_t flag);
};
