// The abstract reader of the object streams. It keeps one current keyword,
// read ahead and matched against each member's keyword in turn, so that a
// class takes its members in any order and a member that does not come keeps
// its value. The binary and ASCII formats implement the virtual operations;
// owned objects, objects by value and arrays are read by the typed kvoraRead
// functions of util/kvora_objio.h.
//
// Back pointers: references that are not owned (a field referred to by name)
// are resolved through objects attached under a key, e.g.
// registerBackPointer(KVORAFieldNameMap::cvBackPtrName, map, env) before the
// read, and findBackPointer(KVORAFieldNameMap::cvBackPtrName) in the reading
// class. The table is tiny (a stream attaches one or two), so it is a short
// array searched by cached hash.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_keyword.h"

class KVORAObject;
class KVORATypeName;

class KVORAObjReader {
public:
    enum { MatchByName = 1, MatchByGlobalId = 2, MatchByClassLocal = 3, MatchDone = 4 };
    enum { KeywordNone = 0, KeywordPending = 1, KeywordMatched = 2, KeywordEnd = 3 };
    // Deeper nesting than this is refused rather than risking the stack.
    static const int32_t cvMaxDepth = 2000;
    static const int32_t cvMaxBackPointers = 8;

    KVORAKeyword ivKeyword;   // the current keyword
    int32_t ivMatchMode;
    int32_t ivKeywordState;
    int32_t ivDepth;
    int32_t ivKeywordCount;

    KVORAObjReader();
    virtual ~KVORAObjReader();
    KVORAObjReader(const KVORAObjReader &) = delete;
    KVORAObjReader &operator=(const KVORAObjReader &) = delete;

    virtual void readKeyword(KVORA_ENV env) = 0;
    // Always fails: "Input keyword does not match expected keyword(s)".
    virtual void unknownKeyword(KVORA_ENV env);
    virtual void readBool(bool &result, KVORA_ENV env) = 0;
    virtual void readChar(char &result, KVORA_ENV env) = 0;
    virtual void readString(KV2AscString &result, KVORA_ENV env) = 0;
    virtual void readUnsigned(uint64_t &result, KVORA_ENV env) = 0;
    virtual void readSigned(int64_t &result, KVORA_ENV env) = 0;
    virtual void readReal(double &result, KVORA_ENV env) = 0;
    // Up to `count` reals of an array into `out`, as readReal reads them;
    // answers how many came whole. A format that cannot read them in one go
    // reads them one by one (and fails where one fails).
    virtual int32_t readReals(double *out, int32_t count, KVORA_ENV env);
    // The same for the integers of an array, as readUnsigned and readSigned
    // read them.
    virtual int32_t readUnsigneds(uint64_t *out, int32_t count, KVORA_ENV env);
    virtual int32_t readSigneds(int64_t *out, int32_t count, KVORA_ENV env);
    virtual void readObjectType(KV2AscString &result, KVORA_ENV env) = 0;
    // Always fails: "Input object type does not match known object types".
    virtual void unknownObjectType(const KV2AscString &typeName, KVORA_ENV env);
    virtual void beginObject(KVORA_ENV env) = 0;
    // The array size; negative: a capacity hint, elements run to atArrayEnd.
    virtual int32_t beginArray(KVORA_ENV env) = 0;
    virtual int32_t atArrayEnd(KVORA_ENV env);
    virtual int32_t readerExtension() { return 0; }

    // True if the next keyword is `keyword`; it is then consumed (the caller
    // reads the value and calls clearKeyword()). Otherwise it stays pending.
    bool keywordMatches(const KVORAKeyword &keyword, KVORA_ENV env);
    void clearKeyword() { ivKeywordState = KeywordNone; }
    bool atEnd() const { return ivKeywordState == KeywordEnd; }

    void registerBackPointer(const KV2AscString &key, KVORAObject *object, KVORA_ENV env);
    KVORAObject *findBackPointer(const KV2AscString &key) const;

    // The members of an object up to its EndObject, then its postReadPrimitive.
    void readObjectBody(KVORAObject &object, KVORA_ENV env);
    // An object embedded as a value: BeginObject, then the body.
    void readObjectByValue(KVORAObject &object, KVORA_ENV env);
    // Reads the type name of an owned object. Answers null for the empty name
    // (a null owner); otherwise the registered type, else unknownObjectType.
    const KVORATypeName *readOwnedType(KVORA_ENV env);

    // Counts one level of nesting; refuses a stream nested beyond cvMaxDepth.
    void enterNesting(KVORA_ENV env);

private:
    struct BackPointer {
        KVORAHashString key;
        KVORAObject *object;
    };
    BackPointer ivBackPointers[cvMaxBackPointers];
    int32_t ivBackPointerCount;
    KV2AscString ivTypeNameBuffer;
};
