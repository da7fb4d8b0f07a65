// The ASCII dump of a whole object: the leading type name and the owned object.
#include "qrvexec/kvora_t_streamlbio.h"

#include "kernel/kvora_fieldnamemap.h"
#include "qrvexec/kvora_t_asciiobjio.h"
#include "util/kvora_objio.h"

void kvoraWriteAsciiObjectDump(std::ostream &out, const KVORAObject &object, KVORA_ENV env)
{
    KVORAAsciiStreamWriter writer(&out, 0);
    writer.beginObjectType(object.getObjectType().getNameString(), env);
    writer.writeOwnedObject(&object, env);
    writer.flush();
}

void kvoraReadAsciiObjectDump(std::istream &in, KVORAOwnPtr<KVORAObject> &owner, KVORAFieldNameMap *fieldNameMap,
                              KVORA_ENV env)
{
    KVORAAsciiStreamReader reader(&in);
    if (fieldNameMap != nullptr) {
        reader.registerBackPointer(KVORAFieldNameMap::cvBackPtrName, fieldNameMap, env);
    }
    // The leading name only announces the type; the owned object repeats it.
    KV2AscString announced;
    reader.readObjectType(announced, env);
    kvoraRead(reader, owner, env);
}
