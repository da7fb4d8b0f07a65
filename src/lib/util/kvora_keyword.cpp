// Keywords and the six reserved ones of the object streams.
#include "util/kvora_keyword.h"

#include "util/kvora_xash.h"

KVORAKeyword::KVORAKeyword() : ivClassId(0), ivLocalId(0), ivGlobalId(0), ivHash(0)
{
    computeHash();
}

KVORAKeyword::KVORAKeyword(const char *name) : ivName(name), ivClassId(0), ivLocalId(0), ivGlobalId(0), ivHash(0)
{
    computeHash();
}

KVORAKeyword::KVORAKeyword(const char *name, int32_t classId, int32_t localId, int32_t globalId)
    : ivName(name), ivClassId(classId), ivLocalId(localId), ivGlobalId(globalId), ivHash(0)
{
    computeHash();
}

void KVORAKeyword::computeHash()
{
    uint32_t h = kvoraHashBytes(ivName.c_str(), ivName.size(), 0);
    h = kvoraHashCombine(h, static_cast<uint32_t>(ivClassId));
    h = kvoraHashCombine(h, static_cast<uint32_t>(ivLocalId));
    ivHash = kvoraHashCombine(h, static_cast<uint32_t>(ivGlobalId));
}

#define KVORA_RESERVED_KEYWORD(name, number)                        \
    const KVORAKeyword &kvoraKwd_##name() {                         \
        static const KVORAKeyword keyword(#name, 0, number, number); \
        return keyword;                                             \
    }

KVORA_RESERVED_KEYWORD(BeginObject, 1)
KVORA_RESERVED_KEYWORD(BeginObjectType, 2)
KVORA_RESERVED_KEYWORD(EndObject, 3)
KVORA_RESERVED_KEYWORD(BeginArray, 4)
KVORA_RESERVED_KEYWORD(BeginArraySize, 5)
KVORA_RESERVED_KEYWORD(EndArray, 6)
