// The model classes' run-wide variables: the scores vector that every model
// fills after a scan. One object per environment, so that the vector's block
// is kept from scan to scan instead of being made anew.
#pragma once

#include <cstdint>

#include "kernel/kvora_modelscores.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_xray.h"

class KVORAModelGlobalVars : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAModelGlobalVars)
public:
    KVORAModelGlobalVars();

    // Run-wide state is never streamed.
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // The environment's object, made on first use.
    static KVORAModelGlobalVars *get(KVORA_ENV env);

    KVORAXaRay<KVORAModelScores, 1> modelScores;
};
