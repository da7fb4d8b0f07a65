// The root of the persistent classes: it has no members, so its stream
// operations do nothing, and a plain KVORAObject can be made by name.
#include "util/kvora_object.h"

#include <new>

#include "util/kvora_debug.h"
#include "util/kvora_ownptr.h"

const KVORATypeName &KVORAObject::classType()
{
    static const KVORATypeName type("KVORAObject", &KVORAObject::factory);
    return type;
}

[[maybe_unused]] static const KVORATypeName &kvoraTypeRegistration_KVORAObject = KVORAObject::classType();

void KVORAObject::factory(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env)
{
    kvoraNewObject<KVORAObject>(result, env);
}

int64_t KVORAObject::getObjectSize() const
{
    return static_cast<int64_t>(sizeof(KVORAObject));
}

void KVORAObject::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {}

void KVORAObject::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {}

const KVORATypeName &KVORAObject::getObjectType() const
{
    return KVORAObject::classType();
}

int32_t KVORAObject::isKindOf(const KVORATypeName &typeName) const
{
    return typeName.getIndex() == KVORAObject::classType().getIndex() ? 1 : 0;
}

void KVORAObject::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {}

void KVORAObject::postReadPrimitive(KVORAObjReader &reader, KVORA_ENV env) {}

void KVORAObject::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {}

void KVORAObject::releasePrimitive(KVORA_ENV env) {}

void KVORAObject::cloneObject(KVORAOwnPtr<KVORAObject> &result, KVORA_ENV env) const
{
    kvoraNewObject<KVORAObject>(result, env);
}

void kvoraDestroyObject(KVORAObject *object, KVORA_ENV env)
{
    if (object == nullptr) {
        return;
    }
    kvoraMemAccount(-object->getObjectSize(), env);
    object->releasePrimitive(env);
    delete object;
}

void kvoraAdoptObject(KVORAOwnPtr<KVORAObject> &result, KVORAObject *object, KVORA_ENV env)
{
    if (object == nullptr) {
        kvoraObjectAllocFailed(KVORA_PLACE);
    }
    kvoraMemAccount(object->getObjectSize(), env);
    result.reset(object, env);
}
