// A keyword of the object streams: a name with numbers. Class keywords carry
// the owning class (the hash of its name), a local number from 1 and a global
// number that counts on from the base class's last keyword, so that the binary
// format writes them as one byte. A keyword made from a plain string at run
// time has all three numbers 0 and is told by its name alone. Keywords are
// built on first use by functions, so that no static initialisation order
// matters; KVORA_KWD(name) names one.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"

class KVORAKeyword {
public:
    KV2AscString ivName;
    int32_t ivClassId;   // 0 for the reserved and the run-time keywords
    int32_t ivLocalId;
    int32_t ivGlobalId;
    uint32_t ivHash;

    KVORAKeyword();
    explicit KVORAKeyword(const char *name);
    KVORAKeyword(const char *name, int32_t classId, int32_t localId, int32_t globalId);
    KVORAKeyword(const KVORAKeyword &other) = default;
    KVORAKeyword &operator=(const KVORAKeyword &other) = default;

    bool hasNumbers() const { return ivClassId != 0 || ivLocalId != 0 || ivGlobalId != 0; }
    const char *getName() const { return ivName.c_str(); }

private:
    void computeHash();
};

// The reserved keywords, global numbers 1 to 6.
const KVORAKeyword &kvoraKwd_BeginObject();
const KVORAKeyword &kvoraKwd_BeginObjectType();
const KVORAKeyword &kvoraKwd_EndObject();
const KVORAKeyword &kvoraKwd_BeginArray();
const KVORAKeyword &kvoraKwd_BeginArraySize();
const KVORAKeyword &kvoraKwd_EndArray();

// The keyword of a name declared by one of the macros below.
#define KVORA_KWD(name) kvoraKwd_##name()

// A member keyword of Class, in the class's source file: local number n.
// Some members have a number but are not streamed, so the keyword may go unused.
#define KVORA_MEMBER_KEYWORD(Class, member, n)                                                   \
    [[maybe_unused]] static const KVORAKeyword &kvoraKwd_##member() {                            \
        static const KVORAKeyword keyword(#member, static_cast<int32_t>(Class::classType().getNameHash()), \
                                          (n), Class::keywordBase() + (n));                      \
        return keyword;                                                                          \
    }

// A keyword told by its name alone (numbers 0), such as a stream marker.
#define KVORA_NAMED_KEYWORD(name)                                                                \
    static const KVORAKeyword &kvoraKwd_##name() {                                               \
        static const KVORAKeyword keyword(#name);                                                \
        return keyword;                                                                          \
    }
