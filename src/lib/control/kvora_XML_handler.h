// Reader and writer of the system's own small XML dialect, for the parameter
// file and the model reports. The reader is deliberately not a general XML
// parser: it goes line by line through fifteen named states with a table of
// allowed transitions, takes each child name once per parent and one value per
// leaf, and stops at the first fault after printing what it has read. Its
// messages go to standard output and its result is a truth value: the caller
// decides what a failed read means.
#pragma once

#include <cstdint>
#include <istream>
#include <ostream>

#include "control/kvora_XML_tag.h"
#include "kvo/kv2ustra.h"
#include "util/kvora_array.h"
#include "util/kvora_env.h"
#include "util/kvora_object.h"
#include "util/kvora_ownptr.h"

class KVORAXMLHandler : public KVORAObject {
    KVORA_OBJECT_DECL(KVORAXMLHandler)
public:
    // The reader's states, in their numeric order.
    enum State : int32_t {
        IN_ROOT_TAG = 0,
        IN_TAG_CONTENT = 1,
        START_START_TAG = 2,
        TAG_NAME_PARSED = 3,
        START_ATTRIBUTES = 4,
        ATTRIBUTE_NAME_PARSED = 5,
        ATTRIBUTE_VALUE_PARSED = 6,
        ATTRIBUTES_PARSED = 7,
        START_TAG_PARSED = 8,
        START_VALUE = 9,
        VALUE_PARSED = 10,
        START_END_TAG = 11,
        END_TAG_PARSED = 12,
        NO_MORE_DATA = 13,
        ERROR = 14
    };

    // Deeper nesting than this is refused: the tree is walked recursively.
    static constexpr int32_t cvMaxNesting = 2000;

    KVORAOwnPtr<KVORAXMLTag> root;

    // The factory's form: no root until one is read from a stream.
    KVORAXMLHandler();
    // Makes the root tag "__XMLRoot__".
    explicit KVORAXMLHandler(KVORA_ENV env);

    void copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) override;
    void transferFromPrimitive(KVORAObject *source, KVORA_ENV env) override;
    void readPrimitive(KVORAObjReader &reader, KVORA_ENV env) override;
    void writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const override;
    void releasePrimitive(KVORA_ENV env) override;

    // Reads a file into the tree under the root; true on success. A file that
    // cannot be opened is false without a message.
    bool readXMLFile(const char *fileName, KVORA_ENV env);
    // The same on an open stream (the line loop of readXMLFile).
    bool readFrom(std::istream &in, KVORA_ENV env);
    // Writes the tree below the root; true on success.
    bool writeXMLFile(const char *fileName, KVORA_ENV env);
    bool writeTo(std::ostream &out, KVORA_ENV env);

    // Long names with blanks and tabs dropped and entities decoded.
    bool findTagByLongName(const KV2AscString &longName, KVORA_ENV env);
    KVORAXMLTag &getTagByLongName(const KV2AscString &longName, KVORA_ENV env);
    KVORAXMLTag &getRootTag() { return *root; }

    // Decodes the entities in place; false (the text cut before the faulty
    // "&") for a missing ";" or an unknown or ill-formed entity.
    static bool preprocessText(KV2AscString &text, KVORA_ENV env);
    // `result` becomes `text` with " & ' < > escaped, then trimmed.
    static void escapeText(const KV2AscString &text, KV2AscString &result, KVORA_ENV env);
    // The state's name, or "Unknown State".
    static const char *stateName(int32_t state);
    // Whether the reader may go from one state to the other.
    static bool transitionAllowed(int32_t from, int32_t to);

    // Writes one tag and its children; the root is written at level -1.
    static void writeTag(const KVORAXMLTag &tag, std::ostream &out, int32_t level, KVORA_ENV env);
    // The partial tree printed after a parse error.
    static void dumpTag(const KVORAXMLTag &tag, std::ostream &out, int32_t level);

private:
    bool normaliseLongName(const KV2AscString &longName, KV2AscString &result, KVORA_ENV env);
};
