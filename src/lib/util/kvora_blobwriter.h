// The byte sink under a binary object writer. Abstract, so that the writer
// does not care whether the bytes go to a message buffer or a file; the only
// implementation of this system is the stream blob writer.
#pragma once

#include <cstdint>

class KVOBlobWriter {
public:
    virtual ~KVOBlobWriter() {}
    virtual void setOption(int32_t option) {}
    // 0 while good; non-zero once the sink has failed.
    virtual int32_t status() = 0;
    virtual void seek(int64_t offset);
    virtual int64_t getPosition();
    // Writes up to `count` bytes; answers how many were written.
    virtual int64_t write(const void *bytes, int64_t count) = 0;
};
