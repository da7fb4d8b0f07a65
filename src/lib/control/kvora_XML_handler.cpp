// The parameter-file reader and the report writer. The reader keeps, beside
// the stack of open tag names, the tags that those names resolve to, found
// from the root one level at a time and kept until a pop makes them stale, so
// that deep files do not walk the tree at every step. Checks that a scan
// "must be empty" look only at the first non-blank byte: whatever such a
// scan collects is overwritten before it is shown, and only its being
// non-empty is looked at, so a long line costs one pass and not one per tag.
#include "control/kvora_XML_handler.h"

#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>

#include "kernel/kvora_string_manip.h"
#include "nelo-common/kvora_reports.h"
#include "util/kvora_debug.h"
#include "util/kvora_keyword.h"
#include "util/kvora_objio.h"

KVORA_OBJECT_IMPL(KVORAXMLHandler, KVORAObject, 1)
KVORA_MEMBER_KEYWORD(KVORAXMLHandler, root, 1)

namespace {

const char *const cvRootName = "__XMLRoot__";
// Longest line that the byte string can hold.
const size_t cvMaxLineLength = 0x7FFFFFF0u;

inline bool isBlank(char c) { return c == ' ' || c == '\t'; }

// The state of one readXMLFile call.
struct KVORAXMLReadContext {
    KVORAXMLTag *root;
    // Messages are gathered and written a whole line or more at a time, so
    // that lines of processes that share the output stay whole.
    std::ostringstream out;
    KV2AscString line;
    int32_t position = 0;
    KV2AscString token;
    int32_t state = KVORAXMLHandler::IN_ROOT_TAG;
    KVORAArray<KV2AscString> tagStack;
    KVORAArray<KVORAXMLTag *> path;  // path[i]: the tag that tagStack[i] names
    int32_t resolved = 0;           // levels of path that are current

    explicit KVORAXMLReadContext(KVORAXMLTag *rootTag) : root(rootTag) {}

    void emit() {
        const std::string text = out.str();
        if (text.empty()) return;
        std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));
        std::cout.flush();
        out.str("");
    }

    void release(KVORA_ENV env) {
        tagStack.reset(env);
        path.reset(env);
    }

    int32_t length() const { return static_cast<int32_t>(line.size()); }

    void advance() {
        if (position < length()) ++position;
        else position = length();
    }

    void fail(const char *message) {
        out << message << std::endl;
        state = KVORAXMLHandler::ERROR;
    }

    void failWith(const char *before, const KV2AscString &text, const char *after) {
        out << before << text << after << std::endl;
        state = KVORAXMLHandler::ERROR;
    }

    // A mode 0 scan that must find an empty token: true with the position on
    // the delimiter (or the end) when only blanks stand before it.
    bool nothingBefore(const char *delimiters) {
        const char *bytes = line.c_str();
        const int32_t len = length();
        int32_t p = position < 0 ? 0 : (position > len ? len : position);
        while (p < len && isBlank(bytes[p])) ++p;
        if (p >= len || (bytes[p] != '\0' && std::strchr(delimiters, bytes[p]) != nullptr)) {
            position = p;
            token.setLength(0, token.pot_len > 0 ? token.pot_len : 0);
            return true;
        }
        token.assign(bytes + p, 1);
        return false;
    }

    const KV2AscString &top() const {
        static const KV2AscString empty;
        const int32_t size = tagStack.getSize();
        return size > 0 ? tagStack[size] : empty;
    }

    void push(const KV2AscString &name, KVORA_ENV env) {
        const int32_t size = tagStack.getSize() + 1;
        tagStack.autoExtend(size, env);
        tagStack[size] = name;
    }

    void pop(KVORA_ENV env) {
        const int32_t size = tagStack.getSize();
        if (size == 0) return;
        tagStack.setSize(size - 1, env);
        if (resolved > size - 1) resolved = size - 1;
    }

    // The tag that tagStack names; the first name is the root's own.
    KVORAXMLTag &currentTag(KVORA_ENV env) {
        const int32_t size = tagStack.getSize();
        if (size <= 1) return *root;
        path.autoExtend(size, env);
        path[1] = root;
        if (resolved < 1) resolved = 1;
        for (int32_t i = resolved + 1; i <= size; ++i) {
            KVORAXMLTag *parent = path[i - 1];
            const int32_t index = parent->findChild(tagStack[i]);
            if (index == 0) {
                out << "Searched: tagStack[" << i - 1 << "] = [" << tagStack[i] << "]. Found [" << parent->ivName
                    << "] at level " << i - 2 << "\n";
                emit();
                kvoraAssertFail("Search for non existent tag in tagStack", KVORA_PLACE);
            }
            path[i] = &parent->ivChildren[index];
            resolved = i;
        }
        return *path[size];
    }

    bool preprocessToken(KVORA_ENV env) {
        if (KVORAXMLHandler::preprocessText(token, env)) return true;
        failWith("Could not preprocess [", token, "]");
        return false;
    }

    // One step of the line loop; false when the rest of the line is blank.
    bool step(KVORA_ENV env);
    void closeTag(KVORA_ENV env);
};

bool KVORAXMLReadContext::step(KVORA_ENV env) {
    if (nothingBefore("")) return false;
    switch (state) {
    case KVORAXMLHandler::IN_ROOT_TAG:
    case KVORAXMLHandler::VALUE_PARSED:
    case KVORAXMLHandler::END_TAG_PARSED:
        state = KVORAXMLHandler::IN_TAG_CONTENT;
        break;

    case KVORAXMLHandler::IN_TAG_CONTENT:
        if (!nothingBefore("<")) {
            state = KVORAXMLHandler::START_VALUE;
            break;
        }
        advance();
        if (nothingBefore("/")) {
            state = KVORAXMLHandler::START_END_TAG;
            break;
        }
        --position;
        state = KVORAXMLHandler::START_START_TAG;
        break;

    case KVORAXMLHandler::START_START_TAG: {
        advance();
        if (!scanToken(line, position, 2, token, "/>", 1, env)) {
            fail("Could not locate end of tag");
            break;
        }
        KVORAXMLTag &current = currentTag(env);
        if (current.ivValue.size() != 0) {
            out << "Cannot associate more than one value to [" << current.ivName << "]. Current value is ["
                << current.ivValue << "]" << std::endl;
            state = KVORAXMLHandler::ERROR;
            break;
        }
        current.ivIsLeaf = 0;
        if (!preprocessToken(env)) break;
        if (current.findChild(token) != 0) {
            failWith("Duplicate child tag [", token, "]");
            break;
        }
        if (tagStack.getSize() > KVORAXMLHandler::cvMaxNesting) {
            fail("Tags nested deeper than 2000 levels");
            break;
        }
        current.addLeafTag(token, env);
        push(token, env);
        state = KVORAXMLHandler::TAG_NAME_PARSED;
        break;
    }

    case KVORAXMLHandler::TAG_NAME_PARSED:
    case KVORAXMLHandler::ATTRIBUTE_VALUE_PARSED:
        state = KVORAXMLHandler::START_ATTRIBUTES;
        break;

    case KVORAXMLHandler::START_ATTRIBUTES: {
        if (nothingBefore("/>")) {
            state = KVORAXMLHandler::ATTRIBUTES_PARSED;
            break;
        }
        if (!scanToken(line, position, 0, token, "=", 1, env)) {
            fail("Attributes chain ended unexpectedly");
            break;
        }
        advance();
        if (!preprocessToken(env)) break;
        KVORAXMLTag &current = currentTag(env);
        if (current.findAttribute(token) != 0) {
            failWith("Duplicate attribute [", token, "]");
            break;
        }
        current.addAttributeName(token, env);
        state = KVORAXMLHandler::ATTRIBUTE_NAME_PARSED;
        break;
    }

    case KVORAXMLHandler::ATTRIBUTE_NAME_PARSED:
        if (!nothingBefore("\"")) {
            fail("Attribute value not preceded by \", or attribute name not followed by value at the same line");
            break;
        }
        advance();
        if (!scanToken(line, position, 1, token, "\"", 1, env)) {
            fail("Attribute value not followed by \"");
            break;
        }
        if (!preprocessToken(env)) break;
        currentTag(env).addAttributeValue(token, env);
        advance();
        state = KVORAXMLHandler::ATTRIBUTE_VALUE_PARSED;
        break;

    case KVORAXMLHandler::ATTRIBUTES_PARSED:
        if (nothingBefore("/")) {
            advance();
            if (nothingBefore(">")) {
                advance();
                pop(env);
                state = KVORAXMLHandler::END_TAG_PARSED;
            } else {
                fail("Syntax error in empty tag");
            }
            break;
        }
        if (nothingBefore(">"))
            state = KVORAXMLHandler::START_TAG_PARSED;
        else
            fail("Syntax error in start tag");
        break;

    case KVORAXMLHandler::START_TAG_PARSED:
        if (nothingBefore(">")) {
            advance();
            state = KVORAXMLHandler::IN_TAG_CONTENT;
        } else {
            fail("Syntax error in start tag");
        }
        break;

    case KVORAXMLHandler::START_VALUE: {
        if (!scanToken(line, position, 1, token, "<", 1, env)) {
            fail("Syntax error reading value");
            break;
        }
        if (!preprocessToken(env)) break;
        KVORAXMLTag &current = currentTag(env);
        if (current.ivIsLeaf != 0 && current.ivValue.size() == 0) {
            current.setValue(token, env);
            state = KVORAXMLHandler::VALUE_PARSED;
        } else {
            fail("Attempting to create a value for a non-leaf, "
                 "or attempting to create more than one value for a leaf");
        }
        break;
    }

    case KVORAXMLHandler::START_END_TAG:
        closeTag(env);
        break;

    case KVORAXMLHandler::NO_MORE_DATA:
        KVORA_NEVER_HERE();
        break;

    default:
        KVORA_NOT_IMPLEMENTED();
        break;
    }
    return true;
}

void KVORAXMLReadContext::closeTag(KVORA_ENV env) {
    if (!scanToken(line, position, 0, token, "/", 0, env)) {
        failWith("Expected end tag, got [", token, "]");
        return;
    }
    advance();
    if (!scanToken(line, position, 2, token, ">", 1, env)) {
        fail("Syntax error in end tag");
        return;
    }
    if (!preprocessToken(env)) return;
    const bool matches = tagStack.getSize() > 0 && token == top();
    if (matches)
        pop(env);
    else
        out << "Closing tag [" << token << "] does not match opening tag [" << top() << "]" << std::endl;
    if (nothingBefore(">")) {
        advance();
        state = matches ? KVORAXMLHandler::IN_TAG_CONTENT : KVORAXMLHandler::ERROR;
    } else {
        fail("Syntax error in end tag");
    }
}

// Decodes one entity body; false for anything that is not one.
bool decodeEntity(const char *body, size_t length, char &result) {
    struct Named {
        const char *name;
        char value;
    };
    static const Named named[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"apos", '\''}, {"quot", '"'}};
    for (const Named &n : named) {
        if (length == std::strlen(n.name) && std::memcmp(body, n.name, length) == 0) {
            result = n.value;
            return true;
        }
    }
    if (length == 0 || body[0] != '#') return false;
    size_t first = 1;
    uint32_t base = 10;
    if (length > 1 && (body[1] == 'x' || body[1] == 'X')) {
        base = 16;
        first = 2;
    }
    if (first >= length || body[first] > '7') return false;
    uint32_t sum = 0;
    uint32_t place = 1;  // held at 128 once above: any further non-zero digit overflows
    for (size_t i = length; i-- > first;) {
        const char c = body[i];
        uint32_t digit;
        if (c >= 'A' && c <= 'Z')
            digit = static_cast<uint32_t>(c - 'A') + 10;
        else if (c >= 'a' && c <= 'z')
            digit = static_cast<uint32_t>(c - 'a') + 10;
        else if (c >= '0' && c <= '9')
            digit = static_cast<uint32_t>(c - '0');
        else
            return false;
        if (digit > base) return false;
        sum += digit * place;
        if (sum > 127) return false;
        place = place * base > 127 ? 128 : place * base;
    }
    result = static_cast<char>(sum);
    return true;
}

}  // namespace

KVORAXMLHandler::KVORAXMLHandler() {}

KVORAXMLHandler::KVORAXMLHandler(KVORA_ENV env) {
    root.create(env);
    root->ivName = cvRootName;
}

void KVORAXMLHandler::copyFromPrimitive(const KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr || source == this) return;
    const KVORAXMLHandler *other = static_cast<const KVORAXMLHandler *>(source);
    if (other->root.get() == nullptr) {
        root.reset(env);
        return;
    }
    if (root.get() == nullptr) root.create(env);
    root->copyFrom(*other->root, env);
}

void KVORAXMLHandler::transferFromPrimitive(KVORAObject *source, KVORA_ENV env) {
    if (source == nullptr || source == this) return;
    root.transferFrom(static_cast<KVORAXMLHandler *>(source)->root, env);
}

void KVORAXMLHandler::readPrimitive(KVORAObjReader &reader, KVORA_ENV env) {
    KVORAObject::readPrimitive(reader, env);
    kvoraRead(reader, KVORA_KWD(root), root, env);
}

void KVORAXMLHandler::writePrimitive(KVORAObjWriter &writer, KVORA_ENV env) const {
    KVORAObject::writePrimitive(writer, env);
    kvoraWrite(writer, KVORA_KWD(root), root, env);
}

void KVORAXMLHandler::releasePrimitive(KVORA_ENV env) { root.reset(env); }

const char *KVORAXMLHandler::stateName(int32_t state) {
    static const char *const names[] = {"IN_ROOT_TAG",      "IN_TAG_CONTENT",         "START_START_TAG",
                                        "TAG_NAME_PARSED",  "START_ATTRIBUTES",       "ATTRIBUTE_NAME_PARSED",
                                        "ATTRIBUTE_VALUE_PARSED", "ATTRIBUTES_PARSED", "START_TAG_PARSED",
                                        "START_VALUE",      "VALUE_PARSED",           "START_END_TAG",
                                        "END_TAG_PARSED",   "NO_MORE_DATA",           "ERROR"};
    if (state < 0 || state > ERROR) return "Unknown State";
    return names[state];
}

bool KVORAXMLHandler::transitionAllowed(int32_t from, int32_t to) {
    switch (from) {
    case IN_ROOT_TAG:
    case START_TAG_PARSED:
    case VALUE_PARSED:
    case START_END_TAG:
    case END_TAG_PARSED:
        return to == IN_TAG_CONTENT;
    case IN_TAG_CONTENT:
        return to == START_START_TAG || to == START_VALUE || to == START_END_TAG;
    case START_START_TAG:
        return to == TAG_NAME_PARSED;
    case TAG_NAME_PARSED:
        return to == START_ATTRIBUTES || to == END_TAG_PARSED;
    case START_ATTRIBUTES:
        return to == ATTRIBUTES_PARSED || to == ATTRIBUTE_NAME_PARSED;
    case ATTRIBUTE_NAME_PARSED:
        return to == ATTRIBUTE_VALUE_PARSED;
    case ATTRIBUTE_VALUE_PARSED:
        return to == START_ATTRIBUTES;
    case ATTRIBUTES_PARSED:
        return to == START_TAG_PARSED || to == END_TAG_PARSED;
    case START_VALUE:
        return to == VALUE_PARSED;
    case NO_MORE_DATA:
        KVORA_NEVER_HERE();
        return false;
    default:
        return false;
    }
}

bool KVORAXMLHandler::readXMLFile(const char *fileName, KVORA_ENV env) {
    std::ifstream file(fileName, std::ios::in | std::ios::binary);
    if (!file.is_open()) return false;
    if (file.fail()) reportError(2100, "KVORAXMLHandler::readXMLFile, bad ifstream", env, 1);
    std::istream *in = &file;
    if (in == nullptr || in->fail())
        reportError(2100,
                    "KVORAXMLHandler::readXMLFile, bad conversion to std::istream (can result from comatibility "
                    "issues either in code building or between the code build and the target machine)",
                    env, 1);
    const bool result = readFrom(*in, env);
    file.close();
    return result;
}

bool KVORAXMLHandler::readFrom(std::istream &in, KVORA_ENV env) {
    KVORAXMLReadContext context(root.get());
    std::ostringstream &out = context.out;
    context.push(KV2AscString(cvRootName), env);
    std::string raw;
    bool ok = false;
    try {
        while (context.state != ERROR && std::getline(in, raw)) {
            // Carriage returns go; every other byte below 32 (signed) becomes a blank.
            size_t kept = 0;
            for (size_t i = 0; i < raw.size(); ++i) {
                char c = raw[i];
                if (c == '\r') continue;
                raw[kept++] = static_cast<signed char>(c) < 32 ? ' ' : c;
            }
            raw.resize(kept);
            if (kept > cvMaxLineLength) {
                context.fail("Line too long to be read");
                break;
            }
            context.line.assign(raw.data(), static_cast<int32_t>(kept));
            context.position = 0;
            context.token.setLength(0, context.token.pot_len > 0 ? context.token.pot_len : 0);
            while (context.state != ERROR && context.state != NO_MORE_DATA) {
                const int32_t old = context.state;
                if (!context.step(env)) break;
                if (context.state != ERROR && !transitionAllowed(old, context.state)) {
                    out << "Failed on transition from [" << stateName(old) << "] to [" << stateName(context.state)
                        << "]" << std::endl;
                    context.state = ERROR;
                }
            }
            context.emit();
        }

        // The root's name is closed as an end tag is.
        bool popped = false;
        if (context.state != ERROR) {
            KV2AscString rootName(cvRootName);
            if (context.tagStack.getSize() > 0 && context.top() == rootName) {
                context.pop(env);
                popped = true;
            } else {
                out << "Closing tag [" << rootName << "] does not match opening tag [" << context.top() << "]"
                    << std::endl;
            }
        }
        ok = popped && context.tagStack.getSize() == 0;
        if (context.state == ERROR || !popped) {
            out << "XML Parse error." << std::endl;
            out << "Current tag stack: " << std::endl;
            for (int32_t i = 1; i <= context.tagStack.getSize(); ++i) out << context.tagStack[i] << " ";
            out << std::endl;
            out << "Current XML partial read: " << std::endl;
            dumpTag(*root, out, 0);
            out << std::endl;
            if (context.state == ERROR) out << "ERROR ecnountered while reading XML file" << std::endl;
        }
        context.emit();
    } catch (...) {
        context.emit();
        context.release(env);
        throw;
    }
    context.release(env);
    return ok;
}

void KVORAXMLHandler::dumpTag(const KVORAXMLTag &tag, std::ostream &out, int32_t level) {
    for (int32_t i = 0; i < level; ++i) out << "  ";
    out << "[" << tag.ivName << "]";
    if (tag.ivIsLeaf != 0) out << "[" << tag.ivValue << "]";
    out << " { ";
    for (int32_t i = 1; i <= tag.ivAttrNames.getSize(); ++i) {
        out << "<" << tag.ivAttrNames[i] << ", ";
        if (i <= tag.ivAttrVals.getSize())
            out << tag.ivAttrVals[i];
        else
            out << "NULL";
        out << "> ";
    }
    out << "}" << std::endl;
    for (int32_t i = 1; i <= tag.ivChildren.getSize(); ++i) dumpTag(tag.ivChildren[i], out, level + 1);
}

bool KVORAXMLHandler::writeXMLFile(const char *fileName, KVORA_ENV env) {
    std::ofstream out(fileName, std::ios::out | std::ios::trunc | std::ios::binary);
    if (!out.is_open()) {
        std::cout << std::string("Error: Could not open output file ") + fileName + "\n" << std::flush;
        return false;
    }
    if (!writeTo(out, env)) return false;
    out.close();
    return !out.fail();
}

bool KVORAXMLHandler::writeTo(std::ostream &out, KVORA_ENV env) {
    if (root.get() != nullptr) writeTag(*root, out, -1, env);
    out.flush();
    return out.good();
}

void KVORAXMLHandler::writeTag(const KVORAXMLTag &tag, std::ostream &out, int32_t level, KVORA_ENV env) {
    if (level < 0) {
        for (int32_t i = 1; i <= tag.ivChildren.getSize(); ++i) writeTag(tag.ivChildren[i], out, level + 1, env);
        return;
    }
    KV2AscString escaped;
    for (int32_t i = 0; i < level; ++i) out << "  ";
    escapeText(tag.ivName, escaped, env);
    out << "<" << escaped;
    for (int32_t i = 1; i <= tag.ivAttrNames.getSize(); ++i) {
        escapeText(tag.ivAttrNames[i], escaped, env);
        out << " " << escaped << "=\"";
        if (i <= tag.ivAttrVals.getSize()) {
            escapeText(tag.ivAttrVals[i], escaped, env);
            out << escaped;
        } else {
            out << "NULL";
        }
        out << "\"";
    }
    out << ">";
    if (tag.ivIsLeaf != 0) {
        if (tag.ivValue.size() != 0) {
            escapeText(tag.ivValue, escaped, env);
            out << escaped;
        }
    } else {
        out << "\n";
        for (int32_t i = 1; i <= tag.ivChildren.getSize(); ++i) writeTag(tag.ivChildren[i], out, level + 1, env);
        for (int32_t i = 0; i < level; ++i) out << "  ";
    }
    escapeText(tag.ivName, escaped, env);
    out << "</" << escaped << ">\n";
}

bool KVORAXMLHandler::preprocessText(KV2AscString &text, KVORA_ENV env) {
    const char *bytes = text.c_str();
    const size_t length = text.size();
    std::string decoded;
    decoded.reserve(length);
    bool ok = true;
    for (size_t i = 0; i < length; ++i) {
        if (bytes[i] != '&') {
            decoded.push_back(bytes[i]);
            continue;
        }
        const char *end = static_cast<const char *>(std::memchr(bytes + i + 1, ';', length - i - 1));
        char c = 0;
        if (end == nullptr || !decodeEntity(bytes + i + 1, static_cast<size_t>(end - (bytes + i + 1)), c)) {
            ok = false;
            break;
        }
        decoded.push_back(c);
        i = static_cast<size_t>(end - bytes);
    }
    // The text is a terminated string: a decoded zero ends it.
    const size_t kept = std::strlen(decoded.c_str());
    if (kept == 0)
        text.setLength(0, text.pot_len > 0 ? text.pot_len : 0);
    else
        text.assign(decoded.c_str(), static_cast<int32_t>(kept));
    return ok;
}

void KVORAXMLHandler::escapeText(const KV2AscString &text, KV2AscString &result, KVORA_ENV env) {
    std::string escaped;
    const char *bytes = text.c_str();
    const uint32_t length = text.size();
    escaped.reserve(length);
    for (uint32_t i = 0; i < length; ++i) {
        switch (bytes[i]) {
        case '"': escaped += "&quot;"; break;
        case '&': escaped += "&amp;"; break;
        case '\'': escaped += "&apos;"; break;
        case '<': escaped += "&lt;"; break;
        case '>': escaped += "&gt;"; break;
        default: escaped.push_back(bytes[i]); break;
        }
    }
    if (escaped.empty())
        result.setLength(0, result.pot_len > 0 ? result.pot_len : 0);
    else
        result.assign(escaped.data(), static_cast<int32_t>(escaped.size()));
    kvoraTrim(result, env);
}

bool KVORAXMLHandler::normaliseLongName(const KV2AscString &longName, KV2AscString &result, KVORA_ENV env) {
    int32_t position = 0;
    scanToken(longName, position, 0, result, "", 1, env);
    return preprocessText(result, env);
}

bool KVORAXMLHandler::findTagByLongName(const KV2AscString &longName, KVORA_ENV env) {
    KV2AscString name;
    if (!normaliseLongName(longName, name, env) || name.size() == 0) return false;
    return root->findTagByLongName(name, env);
}

KVORAXMLTag &KVORAXMLHandler::getTagByLongName(const KV2AscString &longName, KVORA_ENV env) {
    KV2AscString name;
    normaliseLongName(longName, name, env);
    return root->getTagByLongName(name, env);
}
