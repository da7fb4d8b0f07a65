// One node of a parameter or report tree: a name, at most one text value,
// attributes as two parallel arrays, and children held by value in the order
// of addition. Lookups go by long names ("Group/Key") through the string
// library's token scan, so blanks inside a long name vanish. Trees are small:
// every lookup is a linear scan of the children, and no index is kept.
#pragma once

#include <cstdint>

#include "kvo/kv2ustra.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_array.h"

class KVORAXMLTag : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAXMLTag)
public:
    int32_t ivIsLeaf;                       // 1 until the reader gives the tag a child
    KV2AscString ivName;
    KV2AscString ivValue;                   // empty by default
    KVORAArray<KV2AscString> ivAttrNames;
    KVORAArray<KV2AscString> ivAttrVals;   // may be shorter than ivAttrNames
    KVORAArray<KVORAXMLTag> ivChildren;

    KVORAXMLTag();
    // Moving takes the arrays over and leaves the source with empty ones; the
    // growing arrays move their cells this way.
    KVORAXMLTag(KVORAXMLTag &&other) noexcept;
    KVORAXMLTag(const KVORAXMLTag &) = delete;
    KVORAXMLTag &operator=(const KVORAXMLTag &) = delete;
    ~KVORAXMLTag() override = default;

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // Copy (deep) and move (the arrays are taken over) with the environment.
    void copyFrom(const KVORAXMLTag &source, KVORA_ENV env);
    void transferFrom(KVORAXMLTag &source, KVORA_ENV env);
    // Frees the children and the arrays; to be called before the tag goes.
    void release(KVORA_ENV env);

    // True if the path exists below this tag; an empty path is the tag itself.
    bool findTagByLongName(const KV2AscString &longName, KVORA_ENV env);
    // The tag at the path. Callers check with findTagByLongName first; a
    // missing level fails the assertion "Tag not found by its long name".
    KVORAXMLTag &getTagByLongName(const KV2AscString &longName, KVORA_ENV env);

    KV2AscString &getValue() { return ivValue; }
    const KV2AscString &getValue() const { return ivValue; }
    // Assigns, then trims blanks and tabs from both ends.
    void setValue(const KV2AscString &text, KVORA_ENV env);
    void setIntValue(int32_t value, KVORA_ENV env);
    void setRealValue(double value, KVORA_ENV env); // six significant digits
    void setBoolValue(int32_t flag, KVORA_ENV env); // "True" or "False"

    // Append a child (name trimmed) without looking for one of that name, and
    // without touching this tag's ivIsLeaf.
    KVORAXMLTag &addLeafTag(const KV2AscString &name, KVORA_ENV env);
    KVORAXMLTag &addTag(const KV2AscString &name, KVORA_ENV env);
    // The tag at the path, made (levels and all) if missing.
    KVORAXMLTag &getOrAddLeafTag(const KV2AscString &longName, KVORA_ENV env);
    KVORAXMLTag &getOrAddTag(const KV2AscString &longName, KVORA_ENV env);
    KVORAXMLTag &lastChild();

    // On a non-leaf: clears all children recursively and empties the three
    // arrays; name and value stay. A leaf is left alone. Answers true.
    bool clearTag(KVORA_ENV env);

    int32_t getNumChildren() const { return ivChildren.getSize(); }
    KVORAXMLTag &getChild(int32_t index) { return ivChildren[index]; }
    const KVORAXMLTag &getChild(int32_t index) const { return ivChildren[index]; }
    // Index (from 1) of the first child or attribute of that name; 0 if none.
    int32_t findChild(const KV2AscString &name) const;
    int32_t findAttribute(const KV2AscString &name) const;
    // Appends an attribute name, or a value to the parallel value array.
    void addAttributeName(const KV2AscString &name, KVORA_ENV env);
    void addAttributeValue(const KV2AscString &value, KVORA_ENV env);

private:
    KVORAXMLTag &appendChild(const KV2AscString &name, int32_t isLeaf, KVORA_ENV env);
    KVORAXMLTag &getOrAdd(const KV2AscString &longName, int32_t isLeaf, KVORA_ENV env);
};
