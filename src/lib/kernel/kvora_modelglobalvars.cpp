// The model classes' run-wide variables, kept per environment.
#include "kernel/kvora_modelglobalvars.h"

#include <new>

#include "util/kvora_debug.h"

KVORA_OBJECT_IMPL(KVORAModelGlobalVars, KVORAObject, 0)

KVORAModelGlobalVars::KVORAModelGlobalVars() : modelScores(KVORA_PLACE) {}

void KVORAModelGlobalVars::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) { KVORA_NEVER_HERE(); }

void KVORAModelGlobalVars::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const { KVORA_NEVER_HERE(); }

void KVORAModelGlobalVars::releasePrimitive(KVORA_ENV env)
{
    modelScores.reset(env);
    KVORAObject::releasePrimitive(env);
}

namespace {

KVORAObject *makeModelGlobalVars(KVORA_ENV env)
{
    KVORAModelGlobalVars *vars = new (std::nothrow) KVORAModelGlobalVars();
    if (vars != nullptr) kvoraMemAccount(vars->getObjectSize(), env);
    return vars;
}

}  // namespace

KVORAModelGlobalVars *KVORAModelGlobalVars::get(KVORA_ENV env)
{
    return static_cast<KVORAModelGlobalVars *>(
        kvoraGetGlobalObject("KVORAModelGlobalVars", &makeModelGlobalVars, env));
}
