// A category's members on the object streams.
#include "kernel/kvora_catfieldcat.h"

#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORACatFieldCat, KVORAObject, 4)
KVORA_MEMBER_KEYWORD(KVORACatFieldCat, ivValue, 1)
KVORA_MEMBER_KEYWORD(KVORACatFieldCat, ivCount, 2)
KVORA_MEMBER_KEYWORD(KVORACatFieldCat, ivCurrCount, 3)
KVORA_MEMBER_KEYWORD(KVORACatFieldCat, ivPriority, 4)

void KVORACatFieldCat::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    KVORAObject::copyFromPrimitive(source, env);
    if (source == nullptr) return;
    const KVORACatFieldCat *other = static_cast<const KVORACatFieldCat *>(source);
    ivValue = other->ivValue;
    ivCount = other->ivCount;
    ivCurrCount = other->ivCurrCount;
    ivPriority = other->ivPriority;
}

void KVORACatFieldCat::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(reader, KVORA_KWD(ivCount), ivCount, env);
    kvoraRead(reader, KVORA_KWD(ivCurrCount), ivCurrCount, env);
    kvoraRead(reader, KVORA_KWD(ivPriority), ivPriority, env);
}

void KVORACatFieldCat::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(writer, KVORA_KWD(ivCount), ivCount, env);
    kvoraWrite(writer, KVORA_KWD(ivCurrCount), ivCurrCount, env);
    kvoraWrite(writer, KVORA_KWD(ivPriority), ivPriority, env);
}

void KVORACatFieldCat::releasePrimitive(KVORA_ENV env) {
    ivValue.setLength(0, 0);
    ivCount = 0.0;
    ivCurrCount = 0.0;
    ivPriority = 0;
    KVORAObject::releasePrimitive(env);
}
