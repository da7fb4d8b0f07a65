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

// The same for a signed number: the first byte holds the sign (0x40) and
// six bits, the bytes after it seven bits each, the last byte marked by its
// high bit; a negative number is stored as its complement.
template <class NextByte>
bool kvoraDecodeVarSigned(NextByte next, int64_t &value)
{
    int32_t byte = next();
    if (byte < 0) return false;
    const bool negative = (byte & 0x40) != 0;
    uint64_t magnitude = static_cast<uint64_t>(byte & 0x3F);
    int32_t shift = 6;
    while ((byte & 0x80) == 0) {
        byte = next();
        if (byte < 0) return false;
        // Groups beyond 64 bits carry nothing a writer could have put there.
        if (shift < 64) magnitude |= static_cast<uint64_t>(byte & 0x7F) << shift;
        shift += 7;
    }
    value = static_cast<int64_t>(negative ? ~magnitude : magnitude);
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
    // Up to `count` numbers of each kind into `values`; answers how many came
    // whole. The bytes of one that broke off are consumed.
    virtual int32_t readVarUnsigneds(uint64_t *values, int32_t count);
    virtual int32_t readVarSigneds(int64_t *values, int32_t count);
};
