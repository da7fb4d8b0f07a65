// The field classes' run-wide variables, kept per environment.
#include "kernel/kvora_fieldglobalvars.h"

#include <new>

#include "util/kvora_debug.h"

KVORA_OBJECT_IMPL(KVORAFieldGlobalVars, KVORAObject, 0)

void KVORAFieldGlobalVars::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) { KVORA_NEVER_HERE(); }

void KVORAFieldGlobalVars::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const { KVORA_NEVER_HERE(); }

namespace {

KVORAObject *makeFieldGlobalVars(KVORA_ENV env) {
    KVORAFieldGlobalVars *vars = new (std::nothrow) KVORAFieldGlobalVars();
    if (vars != nullptr) kvoraMemAccount(vars->getObjectSize(), env);
    return vars;
}

}  // namespace

KVORAFieldGlobalVars *KVORAFieldGlobalVars::get(KVORA_ENV env) {
    return static_cast<KVORAFieldGlobalVars *>(
        kvoraGetGlobalObject("KVORAFieldGlobalVars", &makeFieldGlobalVars, env));
}
