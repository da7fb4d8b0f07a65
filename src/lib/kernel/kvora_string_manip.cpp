// The free string library. Conversions go through string streams because the
// system's texts are defined by the default stream formats; scanToken works
// on the bytes in two passes (measure, then fill) so that the token's storage
// is sized once and reused between calls.
#include "kernel/kvora_string_manip.h"

#include <cstring>
#include <sstream>
#include <string>

#include "util/kvora_debug.h"

namespace {

inline bool isBlank(char c) { return c == ' ' || c == '\t'; }

inline bool isDelimiter(char c, const char *delimiters) {
    return c != '\0' && delimiters != nullptr && std::strchr(delimiters, c) != nullptr;
}

// Replaces the contents of `target` with `length` bytes, reusing its storage.
void assignBytes(KV2AscString &target, const char *bytes, int32_t length) {
    if (length <= 0) {
        target.setLength(0, target.pot_len > 0 ? target.pot_len : 0);
        return;
    }
    target.setLength(length, length + 1);
    std::memcpy(target.base, bytes, static_cast<size_t>(length));
    target.base[length] = '\0';
}

// Turns commas into blanks and counts them.
int32_t commasToBlanks(const KV2AscString &text, std::string &out) {
    out.assign(text.c_str(), text.size());
    int32_t commas = 0;
    for (char &c : out) {
        if (c == ',') {
            c = ' ';
            ++commas;
        }
    }
    return commas + 1;
}

}  // namespace

char kvoraCharAt(const KV2AscString &text, int32_t index) { return text[index]; }

void kvoraTrim(KV2AscString &text, KVORA_ENV env) {
    uint32_t length = text.size();
    if (length == 0) return;
    const char *bytes = text.base;
    uint32_t first = 0;
    while (first < length && isBlank(bytes[first])) ++first;
    uint32_t end = length;
    while (end > first && isBlank(bytes[end - 1])) --end;
    if (first == 0 && end == length) return;
    uint32_t kept = end - first;
    if (kept > 0 && first > 0) std::memmove(text.base, text.base + first, kept);
    text.setLength(static_cast<int32_t>(kept), text.pot_len);
}

void kvoraSubstring(const KV2AscString &text, KV2AscString &result, int32_t first, int32_t last, KVORA_ENV env) {
    int64_t length = text.size();
    int64_t from = first < 0 ? 0 : first;
    int64_t to = last > length ? length : last;
    if (to <= from) {
        assignBytes(result, "", 0);
        return;
    }
    if (&text == &result) {
        if (from > 0) std::memmove(result.base, result.base + from, static_cast<size_t>(to - from));
        result.setLength(static_cast<int32_t>(to - from), result.pot_len);
        return;
    }
    assignBytes(result, text.c_str() + from, static_cast<int32_t>(to - from));
}

int32_t kvoraStringToLong(const KV2AscString &text) {
    std::istringstream in(std::string(text.c_str(), text.size()));
    int32_t value = 0;
    in >> value;
    return value;
}

double kvoraStringToReal(const KV2AscString &text) {
    std::istringstream in(std::string(text.c_str(), text.size()));
    double value = 0.0;
    in >> value;
    return value;
}

void kvoraRealToString(double value, KV2AscString &result, KVORA_ENV env) {
    std::ostringstream out;
    out << value;
    const std::string s = out.str();
    assignBytes(result, s.data(), static_cast<int32_t>(s.size()));
}

void kvoraLongToString(int32_t value, KV2AscString &result, KVORA_ENV env) {
    std::ostringstream out;
    out << value;
    const std::string s = out.str();
    assignBytes(result, s.data(), static_cast<int32_t>(s.size()));
}

int32_t kvoraSplitLongs(const KV2AscString &text, KVORAXaRay<int32_t, 1> &result, KVORA_ENV env) {
    std::string blanked;
    int32_t count = commasToBlanks(text, blanked);
    result.setSizeCapacity(count, count, env);
    std::istringstream in(blanked);
    for (int32_t i = 1; i <= count; ++i) {
        int32_t value = 0;
        in >> value;
        result[i] = value;
    }
    return count;
}

int32_t kvoraSplitReals(const KV2AscString &text, KVORAXaRay<double, 1> &result, KVORA_ENV env) {
    std::string blanked;
    int32_t count = commasToBlanks(text, blanked);
    result.setSizeCapacity(count, count, env);
    std::istringstream in(blanked);
    for (int32_t i = 1; i <= count; ++i) {
        double value = 0.0;
        in >> value;
        result[i] = value;
    }
    return count;
}

bool scanToken(const KV2AscString &text, int32_t &position, int32_t mode, KV2AscString &token,
               const char *delimiters, int32_t mustBeNonEmpty, KVORA_ENV env) {
    if ((mustBeNonEmpty != 0 && mustBeNonEmpty != 1) || mode < 0 || mode > 2) KVORA_NOT_IMPLEMENTED();
    const char *bytes = text.c_str();
    const int32_t length = static_cast<int32_t>(text.size());
    const int32_t start = position < 0 ? 0 : (position > length ? length : position);
    // Mode 2 looks at the token as it came in, not as it grows.
    const bool dropBlanks = mode == 0 || (mode == 2 && token.size() == 0);
    const bool blankEnds = mode == 2 && !dropBlanks;

    // First pass: where the scan stops and how many bytes it keeps.
    int32_t stop = start;
    int32_t kept = 0;
    for (; stop < length; ++stop) {
        char c = bytes[stop];
        if (isDelimiter(c, delimiters)) break;
        if (isBlank(c)) {
            if (blankEnds) break;
            if (dropBlanks) continue;
        }
        ++kept;
    }

    // Second pass: fill the token, then trim it.
    if (&token == &text) KVORA_NEVER_HERE();
    if (kept == 0) {
        assignBytes(token, "", 0);
    } else {
        token.setLength(kept, kept + 1);
        char *out = token.base;
        for (int32_t i = start; i < stop; ++i) {
            char c = bytes[i];
            if (dropBlanks && isBlank(c)) continue;
            *out++ = c;
        }
        token.base[kept] = '\0';
        kvoraTrim(token, env);
    }

    const bool empty = token.size() == 0;
    const bool result = mustBeNonEmpty == 1 ? !empty : empty;
    if (result) position = stop;
    return result;
}
