// Hands bytes to the stream's buffer and stops at the first failure, so that
// the count written is exact.
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
    if (ivStream == nullptr || count <= 0) {
        return 0;
    }
    if (!ivStream->good()) {
        // As a put on a stream that is not good: nothing goes, the stream fails.
        ivStream->setstate(std::ios::badbit);
        return 0;
    }
    // The buffer's own bulk put answers how many bytes it took, so the count
    // stays exact without a call per byte; a short put fails the stream as
    // a failed single put would.
    std::streambuf *buffer = ivStream->rdbuf();
    const int64_t written =
        buffer == nullptr ? 0 : static_cast<int64_t>(buffer->sputn(static_cast<const char *>(bytes), count));
    if (written < count) {
        ivStream->setstate(std::ios::badbit);
    }
    return written;
}
