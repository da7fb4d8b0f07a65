// One category of a categorical field: its text and its counts, overall and
// in the pass under way. With ivPriority it is also the element of the
// distribution's sample queue, so one small class serves both.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_object.h"

class KVORACatFieldCat : public KVORAObject {
    KVORA_OBJECT_DECL(KVORACatFieldCat)
public:
    KV2AscString ivValue;
    double ivCount = 0.0;
    double ivCurrCount = 0.0;
    uint32_t ivPriority = 0;

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // The order of choosing categories: larger counts first.
    bool comesBefore(const KVORACatFieldCat &other) const { return ivCount > other.ivCount; }
};
