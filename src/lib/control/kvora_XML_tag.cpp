// Tree node of the parameter and report files. Long names are walked piece by
// piece with the token scan; children are found by the first equal name.
#include "control/kvora_XML_tag.h"

#include <utility>

#include "kernel/kvora_string_manip.h"
#include "util/kvora_debug.h"
#include "util/kvora_keyword.h"
#include "util/kvora_objio.h"

namespace {

// True if the rest of a long name from `position` holds another piece.
bool morePieces(const KV2AscString &longName, int32_t position) {
    const char *bytes = longName.c_str();
    const int32_t length = static_cast<int32_t>(longName.size());
    for (int32_t i = position < 0 ? 0 : position; i < length; ++i)
        if (bytes[i] != ' ' && bytes[i] != '\t' && bytes[i] != '/') return true;
    return false;
}

// Steps past the "/" that ended a piece.
void skipSlash(const KV2AscString &longName, int32_t &position) {
    if (position >= 0 && position < static_cast<int32_t>(longName.size()) && longName.c_str()[position] == '/')
        ++position;
}

}  // namespace

KVORA_OBJECT_IMPL(KVORAXMLTag, KVORAObject, 6)
KVORA_MEMBER_KEYWORD(KVORAXMLTag, ivIsLeaf, 1)
KVORA_MEMBER_KEYWORD(KVORAXMLTag, ivName, 2)
KVORA_MEMBER_KEYWORD(KVORAXMLTag, ivValue, 3)
KVORA_MEMBER_KEYWORD(KVORAXMLTag, ivAttrNames, 4)
KVORA_MEMBER_KEYWORD(KVORAXMLTag, ivAttrVals, 5)
KVORA_MEMBER_KEYWORD(KVORAXMLTag, ivChildren, 6)

KVORAXMLTag::KVORAXMLTag() : ivIsLeaf(1) {}

KVORAXMLTag::KVORAXMLTag(KVORAXMLTag &&other) noexcept
    : ivIsLeaf(other.ivIsLeaf),
      ivName(std::move(other.ivName)),
      ivValue(std::move(other.ivValue)),
      ivAttrNames(std::move(other.ivAttrNames)),
      ivAttrVals(std::move(other.ivAttrVals)),
      ivChildren(std::move(other.ivChildren)) {}

void KVORAXMLTag::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source != nullptr) copyFrom(*static_cast<const KVORAXMLTag *>(source), env);
}

void KVORAXMLTag::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source != nullptr) transferFrom(*static_cast<KVORAXMLTag *>(source), env);
}

void KVORAXMLTag::releasePrimitive(KVORA_ENV env) { release(env); }

void KVORAXMLTag::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(ivIsLeaf), ivIsLeaf, env);
    kvoraWrite(writer, KVORA_KWD(ivName), ivName, env);
    kvoraWrite(writer, KVORA_KWD(ivValue), ivValue, env);
    kvoraWrite(writer, KVORA_KWD(ivAttrNames), ivAttrNames, env);
    kvoraWrite(writer, KVORA_KWD(ivAttrVals), ivAttrVals, env);
    kvoraWrite(writer, KVORA_KWD(ivChildren), ivChildren, env);
}

void KVORAXMLTag::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(ivIsLeaf), ivIsLeaf, env);
    kvoraRead(reader, KVORA_KWD(ivName), ivName, env);
    kvoraRead(reader, KVORA_KWD(ivValue), ivValue, env);
    kvoraRead(reader, KVORA_KWD(ivAttrNames), ivAttrNames, env);
    kvoraRead(reader, KVORA_KWD(ivAttrVals), ivAttrVals, env);
    kvoraRead(reader, KVORA_KWD(ivChildren), ivChildren, env);
}

void KVORAXMLTag::copyFrom(const KVORAXMLTag &source, KVORA_ENV env) {
    if (&source == this) return;
    release(env);
    ivIsLeaf = source.ivIsLeaf;
    ivName = source.ivName;
    ivValue = source.ivValue;
    ivAttrNames.copyFrom(source.ivAttrNames, env);
    ivAttrVals.copyFrom(source.ivAttrVals, env);
    const int32_t count = source.ivChildren.getSize();
    if (count > 0) ivChildren.setSize(count, count, env);
    for (int32_t i = 1; i <= count; ++i) ivChildren[i].copyFrom(source.ivChildren[i], env);
}

void KVORAXMLTag::transferFrom(KVORAXMLTag &source, KVORA_ENV env) {
    if (&source == this) return;
    release(env);
    ivIsLeaf = source.ivIsLeaf;
    ivName = source.ivName;
    ivValue = source.ivValue;
    ivAttrNames.transferFrom(source.ivAttrNames, env);
    ivAttrVals.transferFrom(source.ivAttrVals, env);
    ivChildren.transferFrom(source.ivChildren, env);
}

void KVORAXMLTag::release(KVORA_ENV env) {
    for (int32_t i = 1; i <= ivChildren.getSize(); ++i) ivChildren[i].release(env);
    ivChildren.reset(env);
    ivAttrNames.reset(env);
    ivAttrVals.reset(env);
}

int32_t KVORAXMLTag::findChild(const KV2AscString &name) const {
    for (int32_t i = 1; i <= ivChildren.getSize(); ++i)
        if (ivChildren[i].ivName == name) return i;
    return 0;
}

int32_t KVORAXMLTag::findAttribute(const KV2AscString &name) const {
    for (int32_t i = 1; i <= ivAttrNames.getSize(); ++i)
        if (ivAttrNames[i] == name) return i;
    return 0;
}

void KVORAXMLTag::addAttributeName(const KV2AscString &name, KVORA_ENV env) {
    const int32_t index = ivAttrNames.getSize() + 1;
    ivAttrNames.autoExtend(index, env);
    ivAttrNames[index] = name;
}

void KVORAXMLTag::addAttributeValue(const KV2AscString &value, KVORA_ENV env) {
    const int32_t index = ivAttrVals.getSize() + 1;
    ivAttrVals.autoExtend(index, env);
    ivAttrVals[index] = value;
}

bool KVORAXMLTag::findTagByLongName(const KV2AscString &longName, KVORA_ENV env) {
    KVORAXMLTag *current = this;
    KV2AscString piece;
    int32_t position = 0;
    for (;;) {
        if (scanToken(longName, position, 0, piece, "", 0, env)) return true;
        if (!scanToken(longName, position, 0, piece, "/", 1, env)) return false;
        const int32_t index = current->findChild(piece);
        if (index == 0) return false;
        skipSlash(longName, position);
        current = &current->ivChildren[index];
    }
}

KVORAXMLTag &KVORAXMLTag::getTagByLongName(const KV2AscString &longName, KVORA_ENV env) {
    KVORAXMLTag *current = this;
    KV2AscString piece;
    int32_t position = 0;
    for (;;) {
        if (scanToken(longName, position, 0, piece, "", 0, env)) return *current;
        // The walk does not check the path: a missing level would leave the
        // children, so it stops here instead.
        const int32_t index = scanToken(longName, position, 0, piece, "/", 1, env) ? current->findChild(piece) : 0;
        if (index == 0) kvoraAssertFailCause("Tag not found by its long name", longName.c_str(), KVORA_PLACE);
        skipSlash(longName, position);
        current = &current->ivChildren[index];
    }
}

void KVORAXMLTag::setValue(const KV2AscString &text, KVORA_ENV env) {
    if (&text != &ivValue) ivValue = text;
    kvoraTrim(ivValue, env);
}

void KVORAXMLTag::setIntValue(int32_t value, KVORA_ENV env) { kvoraLongToString(value, ivValue, env); }

void KVORAXMLTag::setRealValue(double value, KVORA_ENV env) { kvoraRealToString(value, ivValue, env); }

void KVORAXMLTag::setBoolValue(int32_t flag, KVORA_ENV env) { ivValue = flag != 0 ? "True" : "False"; }

KVORAXMLTag &KVORAXMLTag::appendChild(const KV2AscString &name, int32_t isLeaf, KVORA_ENV env) {
    const int32_t index = ivChildren.getSize() + 1;
    ivChildren.autoExtend(index, env);
    KVORAXMLTag &child = ivChildren[index];
    child.ivIsLeaf = isLeaf;
    child.ivName = name;
    kvoraTrim(child.ivName, env);
    return child;
}

KVORAXMLTag &KVORAXMLTag::addLeafTag(const KV2AscString &name, KVORA_ENV env) {
    KVORAXMLTag &child = appendChild(name, 1, env);
    child.ivValue = "";
    child.release(env);
    return child;
}

KVORAXMLTag &KVORAXMLTag::addTag(const KV2AscString &name, KVORA_ENV env) { return appendChild(name, 0, env); }

KVORAXMLTag &KVORAXMLTag::getOrAdd(const KV2AscString &longName, int32_t isLeaf, KVORA_ENV env) {
    KVORAXMLTag *current = this;
    KV2AscString piece;
    int32_t position = 0;
    bool creating = false;
    for (;;) {
        if (scanToken(longName, position, 0, piece, "", 0, env)) return *current;
        if (!scanToken(longName, position, 0, piece, "/", 1, env)) {
            // An empty piece ("a//b") names no level: step over its "/".
            skipSlash(longName, position);
            continue;
        }
        skipSlash(longName, position);
        if (!creating) {
            const int32_t index = current->findChild(piece);
            if (index > 0) {
                current = &current->ivChildren[index];
                continue;
            }
            creating = true;
        }
        if (morePieces(longName, position))
            current = &current->appendChild(piece, 0, env);
        else
            current = isLeaf != 0 ? &current->addLeafTag(piece, env) : &current->addTag(piece, env);
    }
}

KVORAXMLTag &KVORAXMLTag::getOrAddLeafTag(const KV2AscString &longName, KVORA_ENV env) {
    return getOrAdd(longName, 1, env);
}

KVORAXMLTag &KVORAXMLTag::getOrAddTag(const KV2AscString &longName, KVORA_ENV env) {
    return getOrAdd(longName, 0, env);
}

KVORAXMLTag &KVORAXMLTag::lastChild() {
    KVORA_ASSERT(ivChildren.getSize() > 0);
    return ivChildren[ivChildren.getSize()];
}

bool KVORAXMLTag::clearTag(KVORA_ENV env) {
    if (ivIsLeaf != 0) return true;
    release(env);
    return true;
}
