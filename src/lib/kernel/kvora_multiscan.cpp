// The begin and end of a self-contained data scan.
#include "kernel/kvora_multiscan.h"

#include "util/kvora_debug.h"
#include "util/kvora_objio.h"

KVORA_ABSTRACT_OBJECT_IMPL(KVORAMultiScan, KVORADataScan, 1)
KVORA_MEMBER_KEYWORD(KVORAMultiScan, ivScanInProgress, 1)

KVORAMultiScan::KVORAMultiScan() : ivScanInProgress(0) {}

void KVORAMultiScan::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env)
{
    KVORADataScan::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    ivScanInProgress = static_cast<const KVORAMultiScan *>(source)->ivScanInProgress;
}

void KVORAMultiScan::transferFromPrimitive(KVORAObject *source, KVORA_ENV env)
{
    if (source != nullptr) KVORA_NEVER_HERE();
}

void KVORAMultiScan::readPrimitive(KVORAObjReader &reader, KVORA_ENV env)
{
    KVORADataScan::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivScanInProgress), ivScanInProgress, env);
}

void KVORAMultiScan::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const
{
    KVORADataScan::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivScanInProgress), ivScanInProgress, env);
}

void KVORAMultiScan::releasePrimitive(KVORA_ENV env)
{
    ivScanInProgress = 0;
    KVORADataScan::releasePrimitive(env);
}

// Results go back only while a scan is in progress.
int32_t KVORAMultiScan::hasScanResults() const { return ivScanInProgress != 0 ? 1 : KVORADataScan::hasScanResults(); }

KVORAUpdateFunc KVORAMultiScan::getUpdateFunction() const { KVORA_NEVER_HERE(); }

KVORAUpdateFunc KVORAMultiScan::getAltUpdateFunction() const { KVORA_NEVER_HERE(); }

int32_t KVORAMultiScan::beginDataScan(KVORA_ENV env)
{
    if (ivScanInProgress) return 1;
    if (beginDataScanPrimitive(env) != 0) ivScanInProgress = 1;
    setUpdateFunctions();
    return ivScanInProgress;
}

int32_t KVORAMultiScan::endDataScan(int32_t flag, KVORA_ENV env)
{
    if (!ivScanInProgress) return 1;
    if (endDataScanPrimitive(flag, env) != 0) ivScanInProgress = 0;
    setUpdateFunctions();
    return ivScanInProgress == 0 ? 1 : 0;
}
