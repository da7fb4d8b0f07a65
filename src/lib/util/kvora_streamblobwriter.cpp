// Writes bytes one by one and stops at the first failure, so that the count
// written is exact.
#include "util/kvora_streamblobwriter.h"

KVOStreamBlobWriter::~KVOStreamBlobWriter()
{
    if (ivStream != nullptr) {
        ivStream->flush();
    }
}

int32_t KVOStreamBlobWriter::status()
{
    return (ivStream == nullptr || ivStream->fail()) ? 1 : 0;
}

int64_t KVOStreamBlobWriter::write(const void *bytes, int64_t count)
{
    if (ivStream == nullptr) {
        return 0;
    }
    const char *p = static_cast<const char *>(bytes);
    int64_t written = 0;
    while (written < count) {
        ivStream->put(p[written]);
        if (ivStream->fail()) {
            break;
        }
        ++written;
    }
    return written;
}
