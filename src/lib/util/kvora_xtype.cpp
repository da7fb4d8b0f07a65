// The generic maker: name to index, index to type, type to factory.
#include "util/kvora_xtype.h"

#include "util/kvora_typename.h"

int32_t kvoraNewObjectByName(const char *name, int32_t length, KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env)
{
    const KVORATypeName *type = KVORATypeName::getTypeAt(KVORATypeName::getIndex(name, length));
    if (type == nullptr) {
        return 0;
    }
    type->newInstance(result, env);
    return 1;
}
