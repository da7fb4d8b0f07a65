// The escape rule shared by the ASCII writer's strings and characters. Bytes
// are taken as unsigned, so that bytes above 127 pass unchanged rather than
// being taken for control characters.
#include "qrvexec/kvora_t_asciiobjio.h"

void kvoraAsciiPutEscaped(std::ostream &out, const char *text, uint32_t length)
{
    // Runs of plain bytes go out in one call.
    uint32_t start = 0;
    for (uint32_t i = 0; i < length; ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 32 && c != '\\' && c != '^' && c != '"' && c != '\'') {
            continue;
        }
        if (i > start) {
            out.write(text + start, static_cast<std::streamsize>(i - start));
        }
        if (c < 32) {
            out.put('^');
            out.put(static_cast<char>(c + 64));
        } else {
            out.put('\\');
            out.put(static_cast<char>(c));
        }
        start = i + 1;
    }
    if (length > start) {
        out.write(text + start, static_cast<std::streamsize>(length - start));
    }
}
