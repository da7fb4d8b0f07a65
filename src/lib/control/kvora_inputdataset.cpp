// Placeholders of the abstract dataset, and the making of a data point.
#include "control/kvora_inputdataset.h"

#include "util/kvora_debug.h"

KVORA_ABSTRACT_OBJECT_IMPL(KVORAInputDataset, KVORAObject, 0)

void KVORAInputDataset::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) { KVORA_NOT_IMPLEMENTED(); }

void KVORAInputDataset::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const { KVORA_NOT_IMPLEMENTED(); }

int32_t KVORAInputDataset::rewind(KVORA_ENV env) {
    KVORA_NOT_IMPLEMENTED();
    return 0;
}

int64_t KVORAInputDataset::getNextRecord(KVORADataPoint &dataPoint, KVORA_ENV env) {
    KVORA_NOT_IMPLEMENTED();
    return -1;
}

void KVORAInputDataset::newDataPoint(KVORAOwnPtr<KVORADataPoint> &result, KVORA_ENV env) { result.create(env); }

void KVORAInputDataset::setMultiFile(int32_t flag) { KVORA_NOT_IMPLEMENTED(); }
