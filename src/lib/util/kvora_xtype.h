// The generic maker of the object streams: a new object from a class's name,
// through the type registered first under that name.
#pragma once

#include <cstdint>

#include "util/kvora_env.h"

template <class T> class KVORAOwnPtr;
class KVORAObject;

// Makes a new object of the named class under `result`. Answers 1, or 0 (and
// leaves `result` alone) if the name is not registered; a registered type
// without a factory fails "ivFactoryFunc != 0".
int32_t kvoraNewObjectByName(const char *name, int32_t length, KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env);
