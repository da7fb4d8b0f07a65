// The format-independent half of the object writer: the two object forms.
#include "util/kvora_objwriter.h"

#include "util/kvora_object.h"
#include "util/kvora_typename.h"

void KVORAObjWriter::writeOwnedObject(const KVORAObject *object, KVORA_ENV env)
{
    if (object == nullptr) {
        static const KV2AscString noType;
        beginObjectType(noType, env);
        return;
    }
    ++ivDepth;
    beginObjectType(object->getObjectType().getNameString(), env);
    object->writePrimitive(*this, env);
    writeKeyword(kvoraKwd_EndObject(), env);
    --ivDepth;
}

void KVORAObjWriter::writeObjectByValue(const KVORAObject &object, KVORA_ENV env)
{
    ++ivDepth;
    beginObject(env);
    object.writePrimitive(*this, env);
    writeKeyword(kvoraKwd_EndObject(), env);
    --ivDepth;
}

void KVORAObjWriter::writeUnsigneds(const uint64_t *values, int32_t count, KVORA_ENV env)
{
    for (int32_t i = 0; i < count; ++i) writeUnsigned(values[i], env);
}

void KVORAObjWriter::writeReals(const double *values, int32_t count, KVORA_ENV env)
{
    for (int32_t i = 0; i < count; ++i) writeReal(values[i], env);
}
