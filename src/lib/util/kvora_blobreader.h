// The byte source under a binary object reader. Abstract, like the sink; the
// only implementation of this system is the stream blob reader.
#pragma once

#include <cstdint>

// The decoding of readVarUnsigned over a source of bytes: `next` answers the
// next byte, or a negative number when none came.
template <class NextByte>
bool kvoraDecodeVarUnsigned(NextByte next, uint64_t &value)
{
    uint64_t result = 0;
    int32_t shift = 0;
    for (;;) {
        const int32_t byte = next();
        if (byte < 0) return false;
        if (shift < 64) {
            result |= static_cast<uint64_t>(byte & 0x7F) << shift;
            shift += 7;
        }
        if ((byte & 0x80) != 0) break;
    }
    value = result;
    return true;
}

class KVOBlobReader {
public:
    virtual ~KVOBlobReader() {}
    virtual void setOption(int32_t option) {}
    // 0 while good; 1 at the end of the source; other non-zero on a failure.
    virtual int32_t status() = 0;
    virtual void seek(int64_t offset);
    virtual int64_t getPosition();
    virtual int64_t getLength();
    // Reads up to `count` bytes; answers how many were read.
    virtual int64_t read(void *buffer, int64_t count) = 0;
    // An unsigned number of the binary object format: 7 bits a byte, low
    // groups first, the last byte marked by its high bit; groups beyond 64
    // bits are dropped. False as soon as a byte does not come or the status
    // is not good after it.
    virtual bool readVarUnsigned(uint64_t &value);
};
