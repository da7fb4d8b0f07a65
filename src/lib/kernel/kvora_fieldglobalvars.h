// The run-wide variables of the field classes: the channel count and the
// maximum partition number. One object per environment, kept in the
// environment's table of run-wide objects so that every thread of a run and
// every data-scan object made in it see the same values without a global.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"
#include "util/kvora_object.h"

class KVORAFieldGlobalVars : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAFieldGlobalVars)
public:
    int32_t ivGlobalNumChannels = 0;
    int32_t ivMaxPartition = 0;  // 0 until the run driver sets it

    // Run-wide state is never streamed.
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;

    // The environment's object, made on first use.
    static KVORAFieldGlobalVars *get(KVORA_ENV env);
};
