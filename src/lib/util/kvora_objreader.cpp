// The format-independent half of the object reader: keyword matching, the
// object body loop and the back-pointer table.
#include "util/kvora_objreader.h"

#include <cstring>

#include "util/kvora_debug.h"
#include "util/kvora_object.h"
#include "util/kvora_typename.h"

KVORAObjReader::KVORAObjReader()
    : ivMatchMode(MatchByName),
      ivKeywordState(KeywordNone),
      ivDepth(0),
      ivKeywordCount(0),
      ivBackPointers{},
      ivBackPointerCount(0)
{
    for (int32_t i = 0; i < cvMaxBackPointers; ++i) {
        ivBackPointers[i].object = nullptr;
    }
}

KVORAObjReader::~KVORAObjReader() {}

void KVORAObjReader::unknownKeyword(KVORA_ENV env)
{
    KVORA_FATAL("Input keyword does not match expected keyword(s)");
}

void KVORAObjReader::unknownObjectType(const KV2AscString &typeName, KVORA_ENV env)
{
    KVORA_FATAL("Input object type does not match known object types");
}

int32_t KVORAObjReader::readReals(double *out, int32_t count, KVORA_ENV env)
{
    for (int32_t i = 0; i < count; ++i) readReal(out[i], env);
    return count < 0 ? 0 : count;
}

int32_t KVORAObjReader::readUnsigneds(uint64_t *out, int32_t count, KVORA_ENV env)
{
    for (int32_t i = 0; i < count; ++i) readUnsigned(out[i], env);
    return count < 0 ? 0 : count;
}

int32_t KVORAObjReader::readSigneds(int64_t *out, int32_t count, KVORA_ENV env)
{
    for (int32_t i = 0; i < count; ++i) readSigned(out[i], env);
    return count < 0 ? 0 : count;
}

int32_t KVORAObjReader::atArrayEnd(KVORA_ENV env)
{
    KVORA_NOT_IMPLEMENTED();
}

bool KVORAObjReader::keywordMatches(const KVORAKeyword &keyword, KVORA_ENV env)
{
    if (ivKeywordState == KeywordNone) {
        readKeyword(env);
        ++ivKeywordCount;
    }
    if (ivKeywordState == KeywordEnd) {
        return false;
    }
    bool same;
    switch (ivMatchMode) {
    case MatchByGlobalId:
        same = ivKeyword.ivGlobalId == keyword.ivGlobalId;
        break;
    case MatchByClassLocal:
        same = ivKeyword.ivClassId == keyword.ivClassId && ivKeyword.ivLocalId == keyword.ivLocalId;
        break;
    default:
        same = ivKeyword.ivName.size() == keyword.ivName.size() &&
               memcmp(ivKeyword.ivName.c_str(), keyword.ivName.c_str(), keyword.ivName.size()) == 0;
        break;
    }
    if (!same) {
        return false;
    }
    ivKeyword = keyword;
    ivKeywordState = KeywordMatched;
    ivMatchMode = MatchDone;
    return true;
}

void KVORAObjReader::registerBackPointer(const KV2AscString &key, KVORAObject *object, KVORA_ENV env)
{
    KVORAHashString hashed(key);
    for (int32_t i = 0; i < ivBackPointerCount; ++i) {
        if (ivBackPointers[i].key.getHash() == hashed.getHash() && ivBackPointers[i].key == hashed) {
            ivBackPointers[i].object = object;
            return;
        }
    }
    KVORA_ASSERT(ivBackPointerCount < cvMaxBackPointers);
    ivBackPointers[ivBackPointerCount].key = hashed;
    ivBackPointers[ivBackPointerCount].object = object;
    ++ivBackPointerCount;
}

KVORAObject *KVORAObjReader::findBackPointer(const KV2AscString &key) const
{
    for (int32_t i = 0; i < ivBackPointerCount; ++i) {
        if (ivBackPointers[i].key == key) {
            return ivBackPointers[i].object;
        }
    }
    return nullptr;
}

void KVORAObjReader::enterNesting(KVORA_ENV env)
{
    ++ivDepth;
    if (ivDepth > cvMaxDepth) {
        KVORA_FATAL("Object stream nested too deeply");
    }
}

void KVORAObjReader::readObjectBody(KVORAObject &object, KVORA_ENV env)
{
    enterNesting(env);
    ivKeywordState = KeywordNone;
    while (!keywordMatches(kvoraKwd_EndObject(), env)) {
        int32_t countBefore = ivKeywordCount;
        object.readPrimitive(*this, env);
        if (ivKeywordState == KeywordMatched) {
            // A member took the keyword and left it marked: it is consumed.
            ivKeywordState = KeywordNone;
        }
        // Nothing taken: the keyword still pends (or the input ended inside
        // the object, so that EndObject can never come).
        if ((ivKeywordState == KeywordPending && ivKeywordCount == countBefore) ||
            ivKeywordState == KeywordEnd) {
            unknownKeyword(env);
        }
    }
    ivKeywordState = KeywordNone;
    object.postReadPrimitive(*this, env);
    --ivDepth;
}

void KVORAObjReader::readObjectByValue(KVORAObject &object, KVORA_ENV env)
{
    beginObject(env);
    readObjectBody(object, env);
}

const KVORATypeName *KVORAObjReader::readOwnedType(KVORA_ENV env)
{
    readObjectType(ivTypeNameBuffer, env);
    if (ivTypeNameBuffer.size() == 0) {
        return nullptr;
    }
    const KVORATypeName *type =
        KVORATypeName::getTypeAt(KVORATypeName::getIndex(ivTypeNameBuffer.c_str(), ivTypeNameBuffer.size()));
    if (type == nullptr) {
        unknownObjectType(ivTypeNameBuffer, env);
    }
    return type;
}
