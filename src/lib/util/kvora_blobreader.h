// The byte source under a binary object reader. Abstract, like the sink; the
// only implementation of this system is the stream blob reader.
#pragma once

#include <cstdint>

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
