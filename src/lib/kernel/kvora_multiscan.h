// A data-scan object with a begin and an end of its own (lift curves, model
// sensitivity): it knows whether a scan is in progress, so that a second
// begin or a stray end does nothing.
#pragma once

#include <cstdint>

#include "kernel/kvora_datascan.h"

class KVORAMultiScan : public KVORADataScan {
    KVORA_ABSTRACT_OBJECT_DECL(KVORAMultiScan)
public:
    KVORAMultiScan();

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;
    int32_t hasScanResults() const override;
    // Each subclass has its own update functions.
    KVORAUpdateFunc getUpdateFunction() const override;
    KVORAUpdateFunc getAltUpdateFunction() const override;

    virtual int32_t beginDataScanPrimitive(KVORA_ENV env) = 0;
    virtual int32_t endDataScanPrimitive(int32_t flag, KVORA_ENV env) = 0;

    int32_t beginDataScan(KVORA_ENV env);
    int32_t endDataScan(int32_t flag, KVORA_ENV env);

    int32_t ivScanInProgress;
};
