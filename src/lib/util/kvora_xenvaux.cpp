// The object table of an environment.
#include "util/kvora_xenvaux.h"

#include "util/kvora_xash.h"

KVORAObject *KVORAEnvAux::find(const char *key) const {
    const KVORAEnvAuxKey k{key};
    return ivTable.findValue(k, kvoraHashText(key, 0));
}

void KVORAEnvAux::put(const char *key, KVORAObject *object, KVORA_ENV env) {
    const KVORAEnvAuxKey k{key};
    ivTable.put(k, kvoraHashText(key, 0), object, env);
}

void KVORAEnvAux::reset(KVORA_ENV env) { ivTable.reset(env); }
