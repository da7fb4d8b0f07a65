// The table of live data-scan objects of one environment.
#include "kernel/kvora_datascanglobalvars.h"

#include <new>

#include "util/kvora_debug.h"
#include "util/kvora_keyword.h"

KVORA_OBJECT_IMPL(KVORADataScanGlobalVars, KVORAObject, 1)
// Its one keyword, serialNumCounter, is counted but never written: the
// variables do not travel.

KVORADataScanGlobalVars::KVORADataScanGlobalVars() : serialNumCounter(0), ivObjects(KVORA_PLACE) {}

void KVORADataScanGlobalVars::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) { KVORA_NEVER_HERE(); }

void KVORADataScanGlobalVars::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const { KVORA_NEVER_HERE(); }

void KVORADataScanGlobalVars::releasePrimitive(KVORA_ENV env)
{
    ivSerialTable.reset(env);
    ivObjects.reset(env);
    serialNumCounter = 0;
    KVORAObject::releasePrimitive(env);
}

namespace {

KVORAObject *makeDataScanGlobalVars(KVORA_ENV env)
{
    KVORADataScanGlobalVars *vars = new (std::nothrow) KVORADataScanGlobalVars();
    if (vars != nullptr) kvoraMemAccount(vars->getObjectSize(), env);
    return vars;
}

}  // namespace

KVORADataScanGlobalVars *KVORADataScanGlobalVars::get(KVORA_ENV env)
{
    return static_cast<KVORADataScanGlobalVars *>(
        kvoraGetGlobalObject("KVORADataScanGlobalVars", &makeDataScanGlobalVars, env));
}

int32_t KVORADataScanGlobalVars::enter(KVORADataScan *object, KVORA_ENV env)
{
    const int32_t serialNumber = ++serialNumCounter;
    const int32_t index = ivSerialTable.copyPut(serialNumber, hashSerialNumber(serialNumber), env);
    ivObjects.autoExtend(index, env);
    ivObjects[index] = object;
    return serialNumber;
}

void KVORADataScanGlobalVars::remove(int32_t serialNumber, KVORA_ENV env)
{
    const int32_t slot = ivSerialTable.lookup(serialNumber, hashSerialNumber(serialNumber));
    if (slot < 0) return;
    const int32_t index = ivSerialTable.removeSlot(slot);
    if (index <= ivObjects.getSize()) ivObjects[index] = nullptr;
}

KVORADataScan *KVORADataScanGlobalVars::find(int32_t serialNumber) const
{
    const int32_t index = ivSerialTable.find(serialNumber, hashSerialNumber(serialNumber));
    if (index <= 0 || index > ivObjects.getSize()) return nullptr;
    return ivObjects[index];
}
