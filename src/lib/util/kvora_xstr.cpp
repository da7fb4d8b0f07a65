// The registry's string over a growing array. Growth follows the array's own
// rule, one extra cell holding the terminator.
#include "util/kvora_xstr.h"

#include <cctype>
#include <cstring>

#include "util/kvora_xash.h"

const char *KVORATypeNameString::c_str() const
{
    const char *block = ivChars.getBlock();
    return block != nullptr ? block : "";
}

uint32_t KVORATypeNameString::hash() const
{
    return kvoraHashBytes(c_str(), static_cast<uint32_t>(size()), 0);
}

bool KVORATypeNameString::equals(const char *text, int32_t length) const
{
    return size() == length && (length == 0 || memcmp(c_str(), text, static_cast<size_t>(length)) == 0);
}

void KVORATypeNameString::setSize(int32_t size, KVORA_ENV env)
{
    if (size < 0) {
        size = 0;
    }
    int32_t old = ivChars.getSize();
    // The terminator's cell counts only while the size changes.
    ivChars.autoExtend(size, env);
    ivChars.setSize(size + 1, env);
    for (int32_t i = old < size ? old : size; i <= size; ++i) {
        ivChars[i] = 0;
    }
    ivChars.setSize(size, env);
}

void KVORATypeNameString::append(const char *text, int32_t length, KVORA_ENV env)
{
    if (text == nullptr || length <= 0) {
        return;
    }
    int32_t old = size();
    setSize(old + length, env);
    memcpy(ivChars.getBlock() + old, text, static_cast<size_t>(length));
}

void KVORATypeNameString::append(const char *text, KVORA_ENV env)
{
    append(text, text != nullptr ? static_cast<int32_t>(strlen(text)) : 0, env);
}

void KVORATypeNameString::copyFrom(const KVORATypeNameString &other, KVORA_ENV env)
{
    if (&other == this) {
        return;
    }
    setSize(0, env);
    append(other.c_str(), other.size(), env);
}

void KVORATypeNameString::transferFrom(KVORATypeNameString &other, KVORA_ENV env)
{
    if (&other == this) {
        return;
    }
    ivChars.transferFrom(other.ivChars, env);
}

void KVORATypeNameString::read(std::istream &in, KVORA_ENV env)
{
    setSize(0, env);
    std::istream::sentry start(in);  // skips white space
    if (!start) {
        return;
    }
    int ch;
    while ((ch = in.peek()) != std::char_traits<char>::eof() && !std::isspace(static_cast<unsigned char>(ch))) {
        char c = static_cast<char>(in.get());
        append(&c, 1, env);
    }
}
