// Reads what the stream has, up to the count asked; the end of the stream is
// status 1, so that the object reader can tell a clean end between keywords
// from a stream that broke off.
#include "util/kvora_streamblobreader.h"

int32_t KVOStreamBlobReader::status()
{
    if (ivStream == nullptr) {
        return 2;
    }
    if (ivStream->eof()) {
        return 1;
    }
    return ivStream->fail() ? 2 : 0;
}

int64_t KVOStreamBlobReader::read(void *buffer, int64_t count)
{
    if (ivStream == nullptr || count <= 0) {
        return 0;
    }
    ivStream->read(static_cast<char *>(buffer), static_cast<std::streamsize>(count));
    return static_cast<int64_t>(ivStream->gcount());
}
